// Saves one new snippet after another into a store whose every save goes to the sync folder
// (never compacted, so the journal keeps every entry for the test to count),
// printing the abbreviation of each save (and its export) that returned, until it is killed.
// argv: data folder, sync folder, prefix.
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "sync/LibrarySync.h"

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc < 4)
        return 2;
    const QString data = QString::fromLocal8Bit(argv[1]);
    PersistenceController::Options options;
    options.databasePath = data + QStringLiteral("/ScrivLane.sqlite");
    options.watchForExternalChanges = false;
    options.syncLog = [](const QString&) {};
    PersistenceController store(options);
    if (!store.isAvailable())
        return 3;
    scrivlane::sync::LibrarySync sync({&store,
                                       QString::fromLocal8Bit(argv[2]),
                                       data,
                                       QStringLiteral("machine"),
                                       {},
                                       {},
                                       1 << 30});
    QObject::connect(&store, &PersistenceController::recordsSaved, &sync,
                     &scrivlane::sync::LibrarySync::recordsSaved);
    const QString prefix = QString::fromLocal8Bit(argv[3]);
    for (int i = 0;; ++i) {
        const QString abbreviation = prefix + QString::number(i);
        store.insertSnippet(SnippetEntity::create(QString(), abbreviation, nullptr,
                                                  QDateTime::currentDateTimeUtc()));
        store.save();
        if (!store.syncError().isEmpty())
            return 4;
        std::printf("%s\n", abbreviation.toUtf8().constData());
        std::fflush(stdout);
    }
}

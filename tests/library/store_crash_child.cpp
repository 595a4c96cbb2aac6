// Saves one new snippet after another into the store at argv[1], printing the abbreviation of
// each save that returned, until it is killed.
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc < 3)
        return 2;
    PersistenceController::Options options;
    options.databasePath = QString::fromLocal8Bit(argv[1]);
    options.watchForExternalChanges = false;
    PersistenceController store(options);
    if (!store.isAvailable())
        return 3;
    const QString prefix = QString::fromLocal8Bit(argv[2]);
    for (int i = 0;; ++i) {
        const QString abbreviation = prefix + QString::number(i);
        store.insertSnippet(SnippetEntity::create(QString(), abbreviation, nullptr,
                                                  QDateTime::currentDateTimeUtc()));
        store.save();
        if (!store.syncError().isNull())
            return 4;
        std::printf("%s\n", abbreviation.toUtf8().constData());
        std::fflush(stdout);
    }
}

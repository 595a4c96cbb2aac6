#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "sync/Journal.h"
#include "sync/LibrarySync.h"

#include <QDir>
#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace scrivlane::sync;

namespace {

QStringList abbreviationsIn(const QString& data, const QString& syncFolder)
{
    PersistenceController::Options options;
    options.databasePath = data + u"/ScrivLane.sqlite"_s;
    options.watchForExternalChanges = false;
    options.syncLog = [](const QString&) {};
    PersistenceController store(options);
    LibrarySync sync({&store, syncFolder, data, u"machine"_s, {}, {}, 1 << 30});
    sync.syncNow();
    QStringList list;
    for (const SnippetEntity* snippet : store.fetchAllSnippets())
        list << snippet->abbreviation().value_or(QString());
    list.sort();
    return list;
}

} // namespace

// A process killed while it exports: after the next start every saved snippet is in the
// folder once, and the journals read cleanly.
class TestSyncCrash : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void killedWhileExporting()
    {
        QTemporaryDir dir;
        const QString syncFolder = dir.filePath(u"Sync"_s);
        const QString home = dir.filePath(u"a"_s);
        QVERIFY(QDir().mkpath(syncFolder) && QDir().mkpath(home));
        QRandomGenerator random(17);
        QSet<QString> returned;
        for (int round = 0; round < 50; ++round) {
            QProcess child;
            child.start(QStringLiteral(SYNC_CRASH_CHILD), {home, syncFolder, u"r%1-"_s.arg(round)});
            QVERIFY(child.waitForStarted());
            QVERIFY(child.waitForReadyRead(10000));
            QTest::qWait(int(random.bounded(30)));
            child.kill();
            QVERIFY(child.waitForFinished());
            QCOMPARE(child.exitStatus(), QProcess::CrashExit);
            for (const QByteArray& line : child.readAllStandardOutput().split('\n'))
                if (!line.isEmpty())
                    returned.insert(QString::fromUtf8(line));
        }
        QVERIFY(returned.size() > 50);

        const QStringList here = abbreviationsIn(home, syncFolder);
        QCOMPARE(QSet<QString>(here.cbegin(), here.cend()).size(), here.size());
        for (const QString& abbreviation : std::as_const(returned))
            QVERIFY2(here.contains(abbreviation), qPrintable(abbreviation));
        // Another computer reading the folder gets every snippet, once.
        QCOMPARE(abbreviationsIn(dir.filePath(u"b"_s), syncFolder), here);

        // Each snippet went out in one entry; none twice.
        QHash<QString, int> sets;
        const QDir library(syncFolder + u"/Library"_s);
        for (const QString& name : library.entryList({u"*.journal"_s}, QDir::Files)) {
            QFile file(library.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            const JournalReadResult read = readJournal(file.readAll());
            QCOMPARE(read.damaged, 0);
            for (const JournalEntry& entry : read.entries)
                if (entry.change.value(u"op"_s) == u"set"_s)
                    ++sets[entry.change.value(u"id"_s).toString()];
        }
        for (auto it = sets.cbegin(); it != sets.cend(); ++it)
            QVERIFY2(it.value() == 1, qPrintable(it.key()));
    }
};

QTEST_GUILESS_MAIN(TestSyncCrash)
#include "tst_synccrash.moc"

#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "platform/sqlite/SqliteDatabase.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

// A process killed in the middle of saving must leave a readable library that holds every
// save that had returned.
class TestStoreCrash : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void killedWhileSaving();
};

void TestStoreCrash::killedWhileSaving()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("ScrivLane.sqlite"));
    QRandomGenerator random(7);
    QSet<QString> returned;
    for (int round = 0; round < 50; ++round) {
        QProcess child;
        child.start(QStringLiteral(STORE_CRASH_CHILD), {path, QStringLiteral("r%1-").arg(round)});
        QVERIFY(child.waitForStarted());
        // Let it save a few times, then kill it wherever it is.
        QVERIFY(child.waitForReadyRead(10000));
        QTest::qWait(int(random.bounded(40)));
        child.kill();
        QVERIFY(child.waitForFinished());
        const QList<QByteArray> lines = child.readAllStandardOutput().split('\n');
        for (const QByteArray& line : lines)
            if (!line.isEmpty())
                returned.insert(QString::fromUtf8(line));
    }
    QVERIFY(returned.size() > 50);

    SqliteDatabase db;
    QVERIFY(db.open(path, false));
    auto check = db.prepare(QStringLiteral("PRAGMA integrity_check"));
    QVERIFY(check && check->step() == SqliteStatement::Step::Row);
    QCOMPARE(check->text(0), QStringLiteral("ok"));

    PersistenceController::Options options;
    options.databasePath = path;
    options.watchForExternalChanges = false;
    PersistenceController store(options);
    QVERIFY(store.isAvailable());
    QSet<QString> stored;
    for (const SnippetEntity* snippet : store.fetchAllSnippets())
        stored.insert(*snippet->abbreviation());
    const QSet<QString> lost = returned - stored;
    QVERIFY2(lost.isEmpty(), qPrintable(QStringList(lost.values()).join(u' ')));
}

QTEST_GUILESS_MAIN(TestStoreCrash)
#include "tst_storecrash.moc"

#include "support/CommandRun.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// Backup and restore from the command line, between two separate homes.
class TestBackupCommands : public QObject {
    Q_OBJECT
private:
    static CommandRun scrivlane(const QString& home, const QStringList& arguments)
    {
        CommandRun run =
            runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments, homeEnvironment(home));
        run.out = run.out.trimmed();
        run.err = run.err.trimmed();
        return run;
    }

private Q_SLOTS:
    void exportThenRestoreElsewhere();
    void exportFailuresSayWhy_data();
    void exportFailuresSayWhy();
};

void TestBackupCommands::exportThenRestoreElsewhere()
{
    QTemporaryDir first, second, backups;
    QSettings(first.filePath(u"config/settings.ini"_s), QSettings::IniFormat)
        .setValue(u"tw_expansionEnabled"_s, false);
    QCOMPARE(scrivlane(first.path(), {u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"a"_s,
                                      u"--category"_s, u"Work"_s})
                 .exitCode,
             0);
    QCOMPARE(
        scrivlane(first.path(), {u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"b"_s}).exitCode, 0);

    const CommandRun exported = scrivlane(first.path(), {u"backup"_s, u"export"_s, backups.path()});
    QCOMPARE(exported.exitCode, 0);
    QVERIFY(QFileInfo(exported.out).isFile());
    QVERIFY(QFileInfo(exported.out).fileName().startsWith(u"ScrivLane-Backup-"_s));

    const CommandRun restored = scrivlane(second.path(), {u"backup"_s, u"restore"_s, exported.out});
    QCOMPARE(restored.out, u"\u2713 2 snippets added, settings restored"_s);
    QCOMPARE(QSettings(second.filePath(u"config/settings.ini"_s), QSettings::IniFormat)
                 .value(u"tw_expansionEnabled"_s)
                 .toBool(),
             false);
    const CommandRun list = scrivlane(second.path(), {u"category"_s, u"list"_s});
    QVERIFY(list.out.contains(u"\"Work\""_s));

    const CommandRun again = scrivlane(first.path(), {u"backup"_s, u"restore"_s, exported.out});
    QCOMPARE(again.out, u"\u2713 2 already existed, settings restored"_s);

    const QString broken =
        TestFiles::write(backups.filePath(u"broken.json"_s), "{\"snippets\": []}");
    const CommandRun failed = scrivlane(second.path(), {u"backup"_s, u"restore"_s, broken});
    QCOMPARE(failed.exitCode, 1);
    QVERIFY2(failed.err.startsWith(u"Restore failed: missing required key \"exportedAt\""_s),
             qPrintable(failed.err));
}

void TestBackupCommands::exportFailuresSayWhy_data()
{
    QTest::addColumn<QString>("target"); // under a temporary folder
    QTest::addColumn<QString>("line");   // standard error, one line

    QTest::newRow("missing folder")
        << u"none"_s << u"Export failed: The folder TARGET does not exist."_s;
    QTest::newRow("a file") << u"file.txt"_s << u"Export failed: TARGET is not a folder."_s;
}

void TestBackupCommands::exportFailuresSayWhy()
{
    QFETCH(QString, target);
    QFETCH(QString, line);
    QTemporaryDir home, backups;
    TestFiles::write(backups.filePath(u"file.txt"_s), {});
    const QString path = backups.filePath(target);
    const CommandRun run = scrivlane(home.path(), {u"backup"_s, u"export"_s, path});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QString(line).replace(u"TARGET"_s, path));
}

QTEST_GUILESS_MAIN(TestBackupCommands)
#include "tst_backupcommands.moc"

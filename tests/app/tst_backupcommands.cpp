#include "support/CommandRun.h"

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

    QFile broken(backups.filePath(u"broken.json"_s));
    QVERIFY(broken.open(QIODevice::WriteOnly));
    broken.write("{\"snippets\": []}");
    broken.close();
    const CommandRun failed =
        scrivlane(second.path(), {u"backup"_s, u"restore"_s, broken.fileName()});
    QCOMPARE(failed.exitCode, 1);
    QVERIFY2(failed.err.startsWith(u"Restore failed: missing required key \"exportedAt\""_s),
             qPrintable(failed.err));
    QCOMPARE(
        scrivlane(second.path(), {u"backup"_s, u"export"_s, backups.filePath(u"none"_s)}).exitCode,
        1);
}

QTEST_GUILESS_MAIN(TestBackupCommands)
#include "tst_backupcommands.moc"

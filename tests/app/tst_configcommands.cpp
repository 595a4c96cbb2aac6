#include "support/CommandRun.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// `scrivlane config` and the settings a backup carries, with settings.ini as a user may have
// edited it by hand.
class TestConfigCommands : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<QTemporaryDir> m_home;

    CommandRun scrivlane(const QStringList& arguments) const
    {
        return runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments,
                          homeEnvironment(m_home->path()));
    }
    QString iniPath() const { return m_home->filePath(u"config/settings.ini"_s); }
    QByteArray ini() const { return TestFiles::read(iniPath()); }
    void writeIni(const QByteArray& lines)
    {
        QVERIFY(!TestFiles::write(iniPath(), "[General]\n" + lines + "\n").isEmpty());
    }

private Q_SLOTS:
    void init() { m_home = std::make_unique<QTemporaryDir>(); }
    void refused_data();
    void refused();
    void accepted_data();
    void accepted();
    void handEditedReadsAsDefault_data();
    void handEditedReadsAsDefault();
    void backupAfterBadHandEdit_data();
    void backupAfterBadHandEdit();
    void commandLineChangesReachSync_data();
    void commandLineChangesReachSync();
    void settingsThatCannotBeWrittenFail_data();
    void settingsThatCannotBeWrittenFail();
    void settingsThatCannotBeParsedStayAsTheyAre();
};

void TestConfigCommands::refused_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("says"); // what the one line must name
    // clang-format off
    QTest::newRow("volume beyond a float") << u"tw_soundVolume"_s << u"1e39"_s << u"from 0 to 1"_s;
    QTest::newRow("volume above 1") << u"tw_soundVolume"_s << u"1.01"_s << u"from 0 to 1"_s;
    QTest::newRow("volume nan") << u"tw_soundVolume"_s << u"nan"_s << u"from 0 to 1"_s;
    QTest::newRow("volume inf") << u"tw_soundVolume"_s << u"inf"_s << u"from 0 to 1"_s;
    QTest::newRow("port 70000") << u"ai_ollama_port"_s << u"70000"_s << u"from 1 to 65535"_s;
    QTest::newRow("port a fraction") << u"ai_ollama_port"_s << u"80.5"_s << u"whole number"_s;
    QTest::newRow("tokens -5 is a value, not an option") << u"ai_max_tokens"_s << u"-5"_s << u"from 64 to 4096"_s;
    QTest::newRow("temperature above 2") << u"ai_temperature"_s << u"2.5"_s << u"from 0 to 2"_s;
    QTest::newRow("sync folder relative") << u"tw_syncFolder"_s << u"Sync"_s << u"absolute path"_s;
    QTest::newRow("shortcut without window class") << u"tw_pasteShortcuts"_s << u"=ctrl+v"_s << u"WindowClass="_s;
    // clang-format on
}

// Exit code 2, one line naming the key and what it takes, and the file left as it was.
void TestConfigCommands::refused()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QString, says);
    writeIni("tw_soundVolume=0.5");
    const QByteArray before = ini();
    const CommandRun r = scrivlane({u"config"_s, u"set"_s, key, value});
    QCOMPARE(r.exitCode, 2);
    QCOMPARE(r.out, QString());
    QCOMPARE(r.err.count(u'\n'), 1);
    QVERIFY2(r.err.contains(key) && r.err.contains(says), qPrintable(r.err));
    QCOMPARE(ini(), before);
}

void TestConfigCommands::accepted_data()
{
    QTest::addColumn<QStringList>("set"); // KEY VALUE, or KEY -- VALUE
    QTest::addColumn<QString>("get");
    QTest::addColumn<QByteArray>("line"); // in settings.ini
    // clang-format off
    QTest::newRow("volume in its shortest form") << QStringList{u"tw_soundVolume"_s, u"0.3"_s} << u"0.3\n"_s << QByteArray("tw_soundVolume=0.3");
    QTest::newRow("volume at the top") << QStringList{u"tw_soundVolume"_s, u"1"_s} << u"1\n"_s << QByteArray("tw_soundVolume=1");
    QTest::newRow("sync folder") << QStringList{u"tw_syncFolder"_s, u"/some/dir"_s} << u"/some/dir\n"_s << QByteArray("tw_syncFolder=/some/dir");
    QTest::newRow("one paste shortcut") << QStringList{u"tw_pasteShortcuts"_s, u"kitty=ctrl+shift+v"_s} << u"kitty=ctrl+shift+v\n"_s << QByteArray("tw_pasteShortcuts=\"kitty=ctrl+shift+v\"");
    QTest::newRow("two paste shortcuts") << QStringList{u"tw_pasteShortcuts"_s, u"kitty=ctrl+shift+v, XTerm=Shift+Insert"_s} << u"kitty=ctrl+shift+v, XTerm=Shift+Insert\n"_s << QByteArray("tw_pasteShortcuts=\"kitty=ctrl+shift+v\", \"XTerm=Shift+Insert\"");
    QTest::newRow("negative after --") << QStringList{u"ai_temperature"_s, u"--"_s, u"0"_s} << u"0\n"_s << QByteArray("ai_temperature=0");
    QTest::newRow("text starting with a dash") << QStringList{u"ai_system_prompt"_s, u"-be brief"_s} << u"-be brief\n"_s << QByteArray("ai_system_prompt=-be brief");
    QTest::newRow("custom sound path") << QStringList{u"tw_customSoundPath"_s, u"/x/ding.wav"_s} << u"/x/ding.wav\n"_s << QByteArray("tw_customSoundPath=/x/ding.wav");
    // clang-format on
}

void TestConfigCommands::accepted()
{
    QFETCH(QStringList, set);
    QFETCH(QString, get);
    QFETCH(QByteArray, line);
    const CommandRun r = scrivlane(QStringList{u"config"_s, u"set"_s} + set);
    QVERIFY2(r.exitCode == 0, qPrintable(r.err));
    QVERIFY2(ini().contains(QByteArray(line + "\n")), ini().constData());
    QCOMPARE(scrivlane({u"config"_s, u"get"_s, set.first()}).out, get);
}

void TestConfigCommands::handEditedReadsAsDefault_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("get");
    // clang-format off
    QTest::newRow("volume beyond a float") << QByteArray("tw_soundVolume=1e39") << u"tw_soundVolume"_s << u"0.8\n"_s;
    QTest::newRow("temperature too hot") << QByteArray("ai_temperature=9") << u"ai_temperature"_s << u"0.7\n"_s;
    // clang-format on
}

void TestConfigCommands::handEditedReadsAsDefault()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, key);
    QFETCH(QString, get);
    writeIni(line);
    const CommandRun r = scrivlane({u"config"_s, u"get"_s, key});
    QCOMPARE(r.exitCode, 0);
    QCOMPARE(r.out, get);
    QVERIFY2(ini().contains(line), "the user's value must stay in the file");
}

void TestConfigCommands::backupAfterBadHandEdit_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QString>("configSet"); // a volume set with `config set` first
    QTest::addColumn<double>("volume");     // in the backup
    // clang-format off
    QTest::newRow("volume beyond a float") << QByteArray("tw_soundVolume=1e39") << QString() << 0.8;
    QTest::newRow("volume above 1") << QByteArray("tw_soundVolume=5") << QString() << 0.8;
    QTest::newRow("volume set from the command line") << QByteArray() << u"0.3"_s << 0.3;
    // clang-format on
}

// The backup holds what the services use, is valid JSON, and restores.
void TestConfigCommands::backupAfterBadHandEdit()
{
    QFETCH(QByteArray, lines);
    QFETCH(QString, configSet);
    QFETCH(double, volume);
    writeIni(lines);
    if (!configSet.isEmpty())
        QCOMPARE(scrivlane({u"config"_s, u"set"_s, u"tw_soundVolume"_s, configSet}).exitCode, 0);
    QTemporaryDir backups;
    const CommandRun exported = scrivlane({u"backup"_s, u"export"_s, backups.path()});
    QVERIFY2(exported.exitCode == 0, qPrintable(exported.err));
    QFile file(exported.out.trimmed());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    QVERIFY2(error.error == QJsonParseError::NoError, bytes.constData());
    QCOMPARE(document.object().value(u"settings"_s).toObject().value(u"soundVolume"_s).toDouble(),
             volume);
    QVERIFY2(bytes.contains(QByteArray("\"soundVolume\" : " + QByteArray::number(volume) + "\n")),
             bytes.constData());

    const CommandRun restored = scrivlane({u"backup"_s, u"restore"_s, file.fileName()});
    QVERIFY2(restored.exitCode == 0, qPrintable(restored.err));
    QCOMPARE(restored.out, u"\u2713 settings restored\n"_s);
    QCOMPARE(scrivlane({u"config"_s, u"get"_s, u"tw_soundVolume"_s}).out,
             QString::number(volume) + u"\n"_s);
}

void TestConfigCommands::commandLineChangesReachSync_data()
{
    QTest::addColumn<bool>("syncOn");
    QTest::addColumn<bool>("throughBackup"); // else config set
    QTest::addColumn<QString>("shared");     // the expansion switch in the shared file

    QTest::newRow("config set, sync on") << true << false << u"false"_s;
    QTest::newRow("config set, sync off") << false << false << QString();
    QTest::newRow("backup restore, sync on") << true << true << u"false"_s;
}

// Other machines hear of a change made on the command line as of one made in the app.
void TestConfigCommands::commandLineChangesReachSync()
{
    QFETCH(bool, syncOn);
    QFETCH(bool, throughBackup);
    QFETCH(QString, shared);
    const QString folder = m_home->filePath(u"shared"_s);
    QVERIFY(QDir().mkpath(folder));
    QCOMPARE(scrivlane({u"config"_s, u"set"_s, u"tw_syncFolder"_s, folder}).exitCode, 0);
    QCOMPARE(scrivlane({u"config"_s, u"set"_s, u"tw_iCloudSyncEnabled"_s,
                        syncOn ? u"true"_s : u"false"_s})
                 .exitCode,
             0);
    if (throughBackup) {
        QCOMPARE(scrivlane({u"config"_s, u"set"_s, u"tw_expansionEnabled"_s, u"false"_s}).exitCode,
                 0);
        QTemporaryDir backups;
        const CommandRun exported = scrivlane({u"backup"_s, u"export"_s, backups.path()});
        QCOMPARE(exported.exitCode, 0);
        QFile::remove(QDir(folder).filePath(u"ScrivLane-Preferences.json"_s));
        QCOMPARE(scrivlane({u"config"_s, u"set"_s, u"tw_soundVolume"_s, u"0.3"_s}).exitCode, 0);
        const CommandRun restored = scrivlane({u"backup"_s, u"restore"_s, exported.out.trimmed()});
        QVERIFY2(restored.exitCode == 0, qPrintable(restored.err));
    } else {
        QCOMPARE(scrivlane({u"config"_s, u"set"_s, u"tw_expansionEnabled"_s, u"false"_s}).exitCode,
                 0);
    }
    QFile file(QDir(folder).filePath(u"ScrivLane-Preferences.json"_s));
    if (shared.isEmpty()) {
        QVERIFY(!file.exists());
        return;
    }
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QJsonObject object = QJsonDocument::fromJson(file.readAll()).object();
    QCOMPARE(object.value(u"tw_expansionEnabled"_s).toVariant().toString(), shared);
    if (throughBackup) // the volume of the backup, not the one set after it
        QCOMPARE(object.value(u"tw_soundVolume"_s).toDouble(), 0.8);
}

void TestConfigCommands::settingsThatCannotBeWrittenFail_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::newRow("config set") << QStringList{u"config"_s, u"set"_s, u"tw_soundVolume"_s,
                                               u"0.5"_s};
    QTest::newRow("backup restore") << QStringList{u"backup"_s, u"restore"_s, u"BACKUP"_s};
    QTest::newRow("sound import") << QStringList{u"sound"_s, u"import"_s, u"WAV"_s};
}

// A folder where settings.ini belongs: no write can succeed, and none may claim to.
void TestConfigCommands::settingsThatCannotBeWrittenFail()
{
    QFETCH(QStringList, command);
    QTemporaryDir backups;
    const CommandRun exported = scrivlane({u"backup"_s, u"export"_s, backups.path()});
    QCOMPARE(exported.exitCode, 0);
    command.replaceInStrings(u"BACKUP"_s, exported.out.trimmed());
    command.replaceInStrings(u"WAV"_s,
                             TestFiles::write(backups.filePath(u"beep.wav"_s), TestFiles::tinyWav));
    QFile::remove(iniPath());
    QVERIFY(QDir().mkpath(iniPath()));
    const CommandRun run = scrivlane(command);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.lastErrLine().contains(iniPath()), qPrintable(run.err));
}

void TestConfigCommands::settingsThatCannotBeParsedStayAsTheyAre()
{
    QVERIFY(!TestFiles::write(iniPath(), "[General\ntw_soundVolume=0.2\n").isEmpty());
    const CommandRun run = scrivlane({u"config"_s, u"set"_s, u"tw_soundVolume"_s, u"0.5"_s});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, u"scrivlane: cannot parse "_s + iniPath() + u"; nothing was changed\n"_s);
    QCOMPARE(ini(), QByteArray("[General\ntw_soundVolume=0.2\n"));
}

QTEST_GUILESS_MAIN(TestConfigCommands)
#include "tst_configcommands.moc"

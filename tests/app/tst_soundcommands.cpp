#include "support/CommandRun.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The sound commands, run as a user would: the real executable with a temporary SCRIVLANE_HOME.
class TestSoundCommands : public QObject {
    Q_OBJECT
private:
    using Run = CommandRun;
    std::unique_ptr<QTemporaryDir> m_home;

    Run scrivlane(const QStringList& arguments)
    {
        QProcessEnvironment env = homeEnvironment(m_home->path());
        env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        return runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments, env);
    }
    QString soundsFolder() const { return m_home->filePath(u"data/Sounds"_s); }
    QStringList listed()
    {
        const Run run = scrivlane({u"sound"_s, u"list"_s});
        return run.exitCode == 0 ? run.out.split(u'\n', Qt::SkipEmptyParts) : QStringList();
    }

private Q_SLOTS:
    void init() { m_home = std::make_unique<QTemporaryDir>(); }
    void listShowsNamesAndSelection();
    void importSelects();
    void failures_data();
    void failures();
    void playEndsWithOrWithoutDevice();
};

void TestSoundCommands::listShowsNamesAndSelection()
{
    const QStringList lines = listed();
    QCOMPARE(lines.size(), 14);
    QCOMPARE(lines.first(), u"  Basso"_s);
    QCOMPARE(lines.last(), u"* Tink"_s); // the default selection
    QCOMPARE(lines.filter(u"* "_s).size(), 1);
}

void TestSoundCommands::importSelects()
{
    const QString file = TestFiles::write(m_home->filePath(u"in/My Chime.wav"_s), "RIFF one");
    const Run run = scrivlane({u"sound"_s, u"import"_s, file});
    QCOMPARE(run.exitCode, 0);
    const QString stored = QDir(soundsFolder()).absoluteFilePath(u"My Chime.wav"_s);
    QCOMPARE(run.out, stored + u"\n"_s);
    QVERIFY(run.err.contains(u"not a PCM WAV"_s)); // "RIFF one" is no sound

    QStringList lines = listed();
    QCOMPARE(lines.size(), 15);
    QCOMPARE(lines.last(), u"* custom\t"_s + stored);
    QCOMPARE(lines.at(13), u"  Tink"_s);

    QSettings settings(m_home->filePath(u"config/settings.ini"_s), QSettings::IniFormat);
    QCOMPARE(settings.value(u"tw_selectedSound"_s).toString(), u"custom"_s);
    QCOMPARE(settings.value(u"tw_customSoundPath"_s).toString(), stored);

    // The selection went to the shared store; the path did not.
    QFile shared(m_home->filePath(u"data/Sync/ScrivLane-Preferences.json"_s));
    QVERIFY(shared.open(QIODevice::ReadOnly));
    const QJsonObject values = QJsonDocument::fromJson(shared.readAll()).object();
    QCOMPARE(values.value(u"tw_selectedSound"_s).toString(), u"custom"_s);
    QVERIFY(!values.contains(u"tw_customSoundPath"_s));
}

void TestSoundCommands::failures_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
    QTest::newRow("no action") << QStringList{u"sound"_s} << 2 << u"expected list"_s;
    QTest::newRow("unknown action")
        << QStringList{u"sound"_s, u"stop"_s} << 2 << u"expected list"_s;
    QTest::newRow("import missing file")
        << QStringList{u"sound"_s, u"import"_s, u"/no/such/file.wav"_s} << 1
        << u"sound import: /no/such/file.wav: not a file"_s;
    QTest::newRow("import without file")
        << QStringList{u"sound"_s, u"import"_s} << 2 << u"missing FILE"_s;
    QTest::newRow("play unknown") << QStringList{u"sound"_s, u"play"_s, u"tink"_s} << 1
                                  << u"no sound named \"tink\""_s;
    QTest::newRow("play custom before import")
        << QStringList{u"sound"_s, u"play"_s, u"custom"_s} << 1 << u"no custom sound"_s;
}

void TestSoundCommands::failures()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    const Run run = scrivlane(arguments);
    QCOMPARE(run.exitCode, exitCode);
    QVERIFY2(run.err.contains(message), qPrintable(run.err));
    QVERIFY(run.out.isEmpty());
    // Nothing was selected or copied.
    QCOMPARE(listed().filter(u"* "_s), QStringList{u"* Tink"_s});
    QVERIFY(!QFileInfo::exists(soundsFolder()));
}

void TestSoundCommands::playEndsWithOrWithoutDevice()
{
    QElapsedTimer timer;
    timer.start();
    const Run run = scrivlane({u"sound"_s, u"play"_s, u"Hero"_s});
    QCOMPARE(run.exitCode, 0);
    QVERIFY(run.out.isEmpty());
    QVERIFY(timer.elapsed() < 12000);
    if (run.err.contains(u"no audio output device"_s))
        return;
    // With a device, the synthesised file was written and played to its end.
    QVERIFY(QFileInfo::exists(m_home->filePath(u"data/SystemSounds/Hero.wav"_s)));
    QVERIFY(timer.elapsed() >= 400);
}

QTEST_GUILESS_MAIN(TestSoundCommands)
#include "tst_soundcommands.moc"

#include "common/Preferences.h"
#include "support/TestFiles.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// Reading and writing settings.ini through the preferences table, as every service does.
class TestPreferences : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    int m_run = 0;
    // A fresh file each time: QSettings caches files by path, size and time of change.
    QString iniPath() const { return m_dir.filePath(QString::number(m_run) + u".ini"_s); }

private Q_SLOTS:
    void init() { ++m_run; }
    void handEditedValues_data();
    void handEditedValues();
    void writes_data();
    void writes();
};

void TestPreferences::handEditedValues_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("reads"); // as `config get` prints it
    QTest::addColumn<bool>("refused");
    const QString syncDefault = m_dir.filePath(u"home/data/Sync"_s);
    // clang-format off
    QTest::newRow("volume a word") << QByteArray("tw_soundVolume=loud") << u"tw_soundVolume"_s << u"0.8"_s << true;
    QTest::newRow("volume infinite") << QByteArray("tw_soundVolume=inf") << u"tw_soundVolume"_s << u"0.8"_s << true;
    QTest::newRow("volume") << QByteArray("tw_soundVolume=0.3") << u"tw_soundVolume"_s << u"0.3"_s << false;
    QTest::newRow("port a fraction") << QByteArray("ai_ollama_port=8080.5") << u"ai_ollama_port"_s << u"11434"_s << true;
    QTest::newRow("switch a number") << QByteArray("tw_expansionEnabled=0") << u"tw_expansionEnabled"_s << u"true"_s << true;
    QTest::newRow("provider unknown") << QByteArray("ai_provider=gemini") << u"ai_provider"_s << u"openai"_s << true;
    QTest::newRow("one shortcut") << QByteArray("tw_pasteShortcuts=kitty=ctrl+shift+v") << u"tw_pasteShortcuts"_s << u"kitty=ctrl+shift+v"_s << false;
    QTest::newRow("two shortcuts") << QByteArray("tw_pasteShortcuts=\"kitty=ctrl+shift+v\", \"xterm=Shift+Insert\"") << u"tw_pasteShortcuts"_s << u"kitty=ctrl+shift+v, xterm=Shift+Insert"_s << false;
    QTest::newRow("shortcut unknown keys") << QByteArray("tw_pasteShortcuts=\"kitty=ctrl+shift+v\", \"xterm=alt+v\"") << u"tw_pasteShortcuts"_s << QString() << true;
    QTest::newRow("sync folder relative") << QByteArray("tw_syncFolder=Sync") << u"tw_syncFolder"_s << syncDefault << true;
    QTest::newRow("sync folder") << QByteArray("tw_syncFolder=/srv/sync") << u"tw_syncFolder"_s << u"/srv/sync"_s << false;
    QTest::newRow("date as text") << QByteArray("tw_lastBackupDate=2026-01-02T04:04:05+01:00") << u"tw_lastBackupDate"_s << u"2026-01-02T03:04:05.000Z"_s << false;
    // clang-format on
}

void TestPreferences::handEditedValues()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, key);
    QFETCH(QString, reads);
    QFETCH(bool, refused);
    qputenv("SCRIVLANE_HOME", m_dir.filePath(u"home"_s).toUtf8());
    QVERIFY(!TestFiles::write(iniPath(), "[General]\n" + line + "\n").isEmpty());

    const QSettings settings(iniPath(), QSettings::IniFormat);
    QCOMPARE(Preferences::format(Preferences::value(settings, key)), reads);
    QCOMPARE(Preferences::isRefused(settings, key), refused);
    qunsetenv("SCRIVLANE_HOME");
}

void TestPreferences::writes_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QByteArray>("line"); // the file's line afterwards; empty: no line
    // clang-format off
    QTest::newRow("float in its shortest form") << u"tw_soundVolume"_s << QVariant(0.3f) << true << QByteArray("tw_soundVolume=0.3");
    QTest::newRow("volume out of range") << u"tw_soundVolume"_s << QVariant(1.5) << false << QByteArray();
    QTest::newRow("volume infinite") << u"tw_soundVolume"_s << QVariant(qInf()) << false << QByteArray();
    QTest::newRow("text for a number") << u"ai_temperature"_s << QVariant(u"warm"_s) << false << QByteArray();
    QTest::newRow("whole double as an integer") << u"ai_max_tokens"_s << QVariant(2048.0) << true << QByteArray("ai_max_tokens=2048");
    QTest::newRow("empty list removes") << u"tw_pasteShortcuts"_s << QVariant(QStringList()) << true << QByteArray();
    // clang-format on
}

void TestPreferences::writes()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(bool, accepted);
    QFETCH(QByteArray, line);
    {
        QSettings settings(iniPath(), QSettings::IniFormat);
        settings.setValue(key, u"before"_s);
        QCOMPARE(Preferences::write(settings, key, value), accepted);
    }
    const QByteArray text = TestFiles::read(iniPath());
    const QByteArray expected =
        accepted ? line : key.toUtf8() + "=before"; // a refused value leaves the old one
    if (expected.isEmpty())
        QVERIFY2(!text.contains(key.toUtf8()), text.constData());
    else
        QVERIFY2(text.contains(QByteArray(expected + "\n")), text.constData());
}

QTEST_GUILESS_MAIN(TestPreferences)
#include "tst_preferences.moc"

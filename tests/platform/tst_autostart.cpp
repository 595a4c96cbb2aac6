#include "platform/desktop/Autostart.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// Launch at login through the XDG autostart entry: what it writes, and what it reads back.
class TestAutostart : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;

    QString program(const QString& name)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return {};
        file.write("#!/bin/sh\n");
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }
    QString autostartDir() const { return m_dir.filePath(u"config/autostart"_s); }
    void writeEntry(const QString& text)
    {
        QDir().mkpath(autostartDir());
        QFile file(autostartDir() + u"/scrivlane.desktop"_s);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(text.toUtf8());
    }

private Q_SLOTS:
    void init()
    {
        QDir(m_dir.path()).removeRecursively();
        QDir().mkpath(m_dir.path());
    }
    void execValueRoundTrips_data();
    void execValueRoundTrips();
    void switchWritesAndRemovesTheEntry();
    void entryStatesReadBack_data();
    void entryStatesReadBack();
    void unwritableFolderSaysWhy();
};

void TestAutostart::execValueRoundTrips_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("exec");
    QTest::newRow("plain") << u"/opt/scrivlane/scrivlane"_s << u"\"/opt/scrivlane/scrivlane\""_s;
    QTest::newRow("space") << u"/home/a b/ScrivLane.AppImage"_s
                           << u"\"/home/a b/ScrivLane.AppImage\""_s;
    QTest::newRow("quote, dollar, backtick")
        << u"/x/\"q\"$HOME`id`"_s << u"\"/x/\\\\\"q\\\\\"\\\\$HOME\\\\`id\\\\`\""_s;
    QTest::newRow("backslash") << u"/x/a\\b"_s << u"\"/x/a\\\\\\\\b\""_s;
    QTest::newRow("percent") << u"/x/100%u"_s << u"\"/x/100%%u\""_s;
    QTest::newRow("unicode") << u"/home/zoë/Appar/ScrivLane"_s
                             << u"\"/home/zoë/Appar/ScrivLane\""_s;
}

void TestAutostart::execValueRoundTrips()
{
    QFETCH(QString, path);
    QFETCH(QString, exec);
    QCOMPARE(Autostart::execValue(path), exec);
    QCOMPARE(Autostart::programOf(exec), path);
}

void TestAutostart::switchWritesAndRemovesTheEntry()
{
    const QString app = program(u"Scriv Lane $1.AppImage"_s);
    Autostart autostart(autostartDir(), app);
    QVERIFY(!autostart.isEnabled());
    QCOMPARE(autostart.setEnabled(false), QString()); // nothing to remove is no error
    QCOMPARE(autostart.setEnabled(true), QString());
    QVERIFY(autostart.isEnabled());
    QFile entry(autostart.entryPath());
    QVERIFY(entry.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(entry.readAll());
    QVERIFY(text.startsWith(u"[Desktop Entry]\n"_s));
    QVERIFY(text.contains(u"\nType=Application\n"_s));
    QVERIFY(text.contains(u"\nExec="_s + Autostart::execValue(app) + u"\n"_s));
    // A second instance (the pane opened again) reads the same truth.
    QVERIFY(Autostart(autostartDir(), QString()).isEnabled());
    QCOMPARE(autostart.setEnabled(false), QString());
    QVERIFY(!QFile::exists(autostart.entryPath()));
    QVERIFY(!autostart.isEnabled());
}

void TestAutostart::entryStatesReadBack_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("plain") << u"Exec=%1\n"_s << true;
    QTest::newRow("hidden") << u"Exec=%1\nHidden=true\n"_s << false;
    QTest::newRow("disabled in GNOME") << u"Exec=%1\nX-GNOME-Autostart-enabled=false\n"_s << false;
    QTest::newRow("program moved away") << u"Exec=\"/nowhere/ScrivLane.AppImage\"\n"_s << false;
    QTest::newRow("hidden in another group")
        << u"Exec=%1\n\n[Desktop Action x]\nHidden=true\n"_s << true;
    QTest::newRow("no Exec") << QString() << false;
}

void TestAutostart::entryStatesReadBack()
{
    QFETCH(QString, body);
    QFETCH(bool, enabled);
    const QString app = program(u"scrivlane"_s);
    QString text = u"[Desktop Entry]\nType=Application\nName=ScrivLane\n"_s + body;
    if (text.contains(u"%1"_s))
        text = text.arg(Autostart::execValue(app));
    writeEntry(text);
    QCOMPARE(Autostart(autostartDir(), app).isEnabled(), enabled);
}

void TestAutostart::unwritableFolderSaysWhy()
{
    // A file where the folder should be: nothing can be written, and the switch stays off.
    QFile blocker(m_dir.filePath(u"blocked"_s));
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    Autostart autostart(m_dir.filePath(u"blocked/autostart"_s), program(u"scrivlane"_s));
    const QString error = autostart.setEnabled(true);
    QVERIFY2(error.contains(u"blocked"_s), qPrintable(error));
    QVERIFY(!autostart.isEnabled());
}

QTEST_GUILESS_MAIN(TestAutostart)
#include "tst_autostart.moc"

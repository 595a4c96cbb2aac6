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
    void writeEntry(const QString& text,
                    const QString& name = QStringLiteral(SCRIVLANE_APP_ID ".desktop"))
    {
        QDir().mkpath(autostartDir());
        QFile file(autostartDir() + u"/"_s + name);
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
    void entryOfAnEarlierReleaseIsReplaced();
    void installedEntryStartsThisExecutable();
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

// Before the application id the entry was scrivlane.desktop: the switch shows it, and turning
// the switch on or off never leaves two entries starting ScrivLane twice.
void TestAutostart::entryOfAnEarlierReleaseIsReplaced()
{
    const QString app = program(u"scrivlane"_s);
    const QString old =
        u"[Desktop Entry]\nType=Application\nExec=%1\n"_s.arg(Autostart::execValue(app));
    for (const bool on : {true, false}) {
        writeEntry(old, u"scrivlane.desktop"_s);
        Autostart autostart(autostartDir(), app);
        QVERIFY(autostart.isEnabled());
        QCOMPARE(autostart.setEnabled(on), QString());
        QVERIFY(!QFile::exists(autostart.legacyEntryPath()));
        QCOMPARE(QFile::exists(autostart.entryPath()), on);
        QCOMPARE(autostart.isEnabled(), on);
    }
}

// Installed (a package, or cmake --install into a prefix), the entry is the installed desktop
// entry, with its name and icon, starting this executable by its full path; its desktop
// actions stay out.
void TestAutostart::installedEntryStartsThisExecutable()
{
    QVERIFY(QDir().mkpath(m_dir.filePath(u"usr/bin"_s)));
    QVERIFY(QDir().mkpath(m_dir.filePath(u"usr/share/applications"_s)));
    const QString app = program(u"usr/bin/scrivlane"_s);
    QFile installed(m_dir.filePath(u"usr/share/applications/" SCRIVLANE_APP_ID ".desktop"_s));
    QVERIFY(installed.open(QIODevice::WriteOnly));
    installed.write(
        "[Desktop Entry]\nType=Application\nName=ScrivLane\nName[de]=ScrivLane\n"
        "Icon=" SCRIVLANE_APP_ID "\nExec=scrivlane\nActions=new-snippet;\n"
        "StartupWMClass=scrivlane\n\n"
        "[Desktop Action new-snippet]\nName=New Snippet\nExec=scrivlane --new-snippet\n");
    installed.close();
    QCOMPARE(Autostart::installedEntryFor(app), QFileInfo(installed).absoluteFilePath());
    QCOMPARE(Autostart::installedEntryFor(program(u"ScrivLane.AppImage"_s)), QString());

    Autostart autostart(autostartDir(), app);
    QCOMPARE(autostart.setEnabled(true), QString());
    QVERIFY(autostart.isEnabled());
    QFile entry(autostart.entryPath());
    QVERIFY(entry.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(entry.readAll());
    for (const QString& line : QStringList{
             u"Name[de]=ScrivLane"_s, u"Icon=" SCRIVLANE_APP_ID ""_s, u"StartupWMClass=scrivlane"_s,
             u"Exec="_s + Autostart::execValue(app), u"X-GNOME-Autostart-enabled=true"_s})
        QVERIFY2(text.split(u'\n').contains(line), qPrintable(line + u" missing from\n"_s + text));
    QVERIFY2(!text.contains(u"Action"_s) && text.count(u"Exec="_s) == 1, qPrintable(text));
}

QTEST_GUILESS_MAIN(TestAutostart)
#include "tst_autostart.moc"

#include "support/CommandRun.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
using Run = CommandRun;

Run scrivlane(const QStringList& arguments)
{
    // Without a display, no arguments can only say so.
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("DISPLAY"));
    return runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments, env);
}

QString json(const QString& text, int cursor, const QString& pending = {})
{
    return u"{\"text\":"_s + text + u",\"cursorBacktrackCount\":"_s + QString::number(cursor) +
           u",\"pendingFillIns\":["_s + pending + u"]}\n"_s;
}
} // namespace

class TestCommandLine : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void run_data();
    void run();
    void help();
    void autostartCommand();
    void withoutAnXDisplay_data();
    void withoutAnXDisplay();
};

void TestCommandLine::run_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("out"); // exact; errors must also say something on stderr
    const QString name = u"{\"id\":\"Name\",\"label\":\"Name\"}"_s;
    // clang-format off
    QTest::newRow("fill") << QStringList{u"resolve"_s, u"--fill"_s, u"Name=Ada"_s, u"Dear {fill:Name},{cursor}"_s} << 0 << json(u"\"Dear Ada,\""_s, 0);
    QTest::newRow("pending") << QStringList{u"resolve"_s, u"{cursor}{fill:Name}{fill:Name}"_s} << 0 << json(u"\"{cursor}{fill:Name}{fill:Name}\""_s, 0, name);
    QTest::newRow("empty label") << QStringList{u"resolve"_s, u"--fill"_s, u"=x"_s, u"{fill:}|{fill}"_s} << 0 << json(u"\"{fill:}|{fill}\""_s, 0, u"{\"id\":\"Value\",\"label\":\"Value\"}"_s);
    QTest::newRow("repeated fills") << QStringList{u"resolve"_s, u"--fill"_s, u"=x"_s, u"--fill=Value=v"_s, u"{fill:}|{fill}"_s} << 0 << json(u"\"x|v\""_s, 0);
    QTest::newRow("value after first =") << QStringList{u"resolve"_s, u"--fill"_s, u"a=b=c"_s, u"{fill:a}"_s} << 0 << json(u"\"b=c\""_s, 0);
    QTest::newRow("first snippet wins") << QStringList{u"resolve"_s, u"--snippet"_s, u"s=one"_s, u"--snippet"_s, u"s=two"_s, u"{snippet:s}"_s} << 0 << json(u"\"one\""_s, 0);
    QTest::newRow("canonically equal abbreviation") << QStringList{u"resolve"_s, u"--snippet"_s, u"cafe\u0301=x"_s, u"{snippet:caf\u00e9}"_s} << 0 << json(u"\"x\""_s, 0);
    QTest::newRow("json escapes") << QStringList{u"resolve"_s, u"a\"b\\c\nd\te\x01"_s} << 0 << json(u"\"a\\\"b\\\\c\\nd\\te\\u0001\""_s, 0);
    QTest::newRow("non-ascii") << QStringList{u"resolve"_s, u"--fill"_s, u"Ñame=Zoë"_s, u"Grüße {cursor}👍🏽 {fill:Ñame}"_s} << 0 << json(u"\"Grüße 👍🏽 Zoë\""_s, 5);
    QTest::newRow("text after --") << QStringList{u"resolve"_s, u"--"_s, u"--fill"_s} << 0 << json(u"\"--fill\""_s, 0);
    QTest::newRow("preview") << QStringList{u"preview"_s, u"a{cursor}b {fill:Näme} {ai:x}"_s} << 0 << u"a│b [Näme] [AI: x…]\n"_s;
    QTest::newRow("version") << QStringList{u"--version"_s} << 0 << u"scrivlane " SCRIVLANE_VERSION "\n"_s;
    QTest::newRow("no arguments") << QStringList{} << 1 << QString();
    QTest::newRow("missing text") << QStringList{u"resolve"_s, u"--fill"_s, u"a=b"_s} << 2 << QString();
    QTest::newRow("two texts") << QStringList{u"resolve"_s, u"a"_s, u"b"_s} << 2 << QString();
    QTest::newRow("fill without =") << QStringList{u"resolve"_s, u"--fill"_s, u"Name"_s, u"x"_s} << 2 << QString();
    QTest::newRow("unknown option") << QStringList{u"resolve"_s, u"--bogus"_s, u"x"_s} << 2 << QString();
    QTest::newRow("unknown command") << QStringList{u"frobnicate"_s, u"x"_s} << 2 << QString();
    // clang-format on
}

void TestCommandLine::run()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, out);
    const Run r = scrivlane(arguments);
    QCOMPARE(r.exitCode, exitCode);
    QCOMPARE(r.out, out);
    QCOMPARE(r.err.isEmpty(), exitCode == 0);
}

void TestCommandLine::help()
{
    for (const QStringList& arguments : {QStringList{u"--help"_s}, {u"resolve"_s, u"-h"_s}}) {
        const Run r = scrivlane(arguments);
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains(u"resolve [--clipboard TEXT]"_s) &&
                r.out.contains(u"preview TEXT"_s));
    }
}

// Launch at Login from a script: the entry starts this executable, and status reads it back.
void TestCommandLine::autostartCommand()
{
    QTemporaryDir config;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(u"XDG_CONFIG_HOME"_s, config.path());
    env.remove(u"APPIMAGE"_s);
    const auto run = [&env](const QStringList& arguments) {
        return runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments, env);
    };
    const QString entry = config.filePath(u"autostart/" SCRIVLANE_APP_ID ".desktop"_s);
    QCOMPARE(run({u"autostart"_s}).out, u"off\t"_s + entry + u"\n"_s);
    const Run on = run({u"autostart"_s, u"on"_s});
    QCOMPARE(on.exitCode, 0);
    QCOMPARE(on.out, u"on\t"_s + entry + u"\n"_s);
    QFile file(entry);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().contains("\nExec=\"" SCRIVLANE_EXECUTABLE "\"\n"));
    QCOMPARE(run({u"autostart"_s, u"status"_s}).out, u"on\t"_s + entry + u"\n"_s);
    QCOMPARE(run({u"autostart"_s, u"off"_s}).out, u"off\t"_s + entry + u"\n"_s);
    QVERIFY(!QFile::exists(entry));
    QCOMPARE(run({u"autostart"_s, u"maybe"_s}).exitCode, 2);
}

void TestCommandLine::withoutAnXDisplay_data()
{
    QTest::addColumn<QString>("display"); // empty: not set
    QTest::addColumn<QString>("wayland");
    QTest::addColumn<QString>("says");
    QTest::newRow("no display") << QString() << QString() << u"DISPLAY is not set"_s;
    QTest::newRow("Wayland without XWayland")
        << QString() << u"wayland-0"_s << u"Wayland session without XWayland"_s;
    QTest::newRow("display unreachable")
        << u":973"_s << QString() << u"cannot connect to the X display \":973\""_s;
}

// The application cannot start: one clear line, and no supervisor left waiting.
void TestCommandLine::withoutAnXDisplay()
{
    QFETCH(QString, display);
    QFETCH(QString, wayland);
    QFETCH(QString, says);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(u"DISPLAY"_s);
    env.remove(u"WAYLAND_DISPLAY"_s);
    if (!display.isEmpty())
        env.insert(u"DISPLAY"_s, display);
    if (!wayland.isEmpty())
        env.insert(u"WAYLAND_DISPLAY"_s, wayland);
    const Run r = runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), {}, env);
    QCOMPARE(r.exitCode, 1);
    QVERIFY2(r.err.contains(says), qPrintable(r.err));
    QCOMPARE(r.err.trimmed().count(u'\n'), 0);
}

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"

#include "EndToEnd.h"
#include "support/CommandRun.h"
#include "support/HttpTestServer.h"
#include "support/MissingTool.h"
#include "support/XvfbServer.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// ScrivLane as a user runs it: the real executable on a private X server, a real text field
// in another process, and keys typed through XTEST by xdotool.
class TestExpansionEndToEnd : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<XvfbServer> m_server;
    QTemporaryDir m_home;
    QTemporaryDir m_tmp;     // the session's TMPDIR, where nothing of ours belongs
    QTemporaryDir m_runtime; // the session's XDG_RUNTIME_DIR
    QProcess m_app;
    QProcess m_target;
    QString m_received;
    QString m_window; // the plain field's window
    HttpTestServer m_ai;
    QString m_stderr;

    QProcessEnvironment environment(const QByteArray& display = {}) const
    {
        QProcessEnvironment env =
            EndToEnd::environment(m_home.path(), display.isEmpty() ? m_server->display() : display);
        env.insert(u"TMPDIR"_s, m_tmp.path());
        env.insert(u"XDG_RUNTIME_DIR"_s, m_runtime.path());
        return env;
    }
    bool scrivlane(const QStringList& arguments)
    {
        return runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments, environment())
                   .exitCode == 0;
    }
    QString received() const { return EndToEnd::readFile(m_received); }
    bool type(const QString& text)
    {
        return XvfbServer::run(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"40"_s, text});
    }
    static bool xclipIn(const QString& selection, const QString& type, const QByteArray& bytes)
    {
        QProcess set;
        set.start(u"xclip"_s, {u"-selection"_s, selection, u"-t"_s, type, u"-i"_s});
        set.write(bytes);
        set.closeWriteChannel();
        return set.waitForFinished() && set.exitCode() == 0;
    }
    static QByteArray xclipOut(const QString& selection, const QString& type)
    {
        QProcess get;
        get.start(u"xclip"_s, {u"-selection"_s, selection, u"-t"_s, type, u"-o"_s});
        get.waitForFinished(10000);
        return get.readAllStandardOutput();
    }
    QString startWindow(QProcess& process, const QString& program, const QStringList& arguments,
                        const QStringList& search)
    {
        return EndToEnd::startWindow(process, environment(), program, arguments, search);
    }
    static void stop(QProcess& process)
    {
        process.terminate();
        process.waitForFinished(5000);
    }
    // The fill-in form is up and has had a moment to take the keyboard.
    static bool formOpened()
    {
        const bool found = !EndToEnd::output(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--name"_s,
                                                            u"Complete Snippet"_s})
                                .isEmpty();
        QTest::qWait(300);
        return found;
    }
    void clearField()
    {
        XvfbServer::run(u"xdotool"_s, {u"key"_s, u"ctrl+a"_s, u"BackSpace"_s});
        QTRY_COMPARE(received(), QString());
    }
    // Starts ScrivLane afresh and waits until it watches the keyboard.
    bool startApp()
    {
        stop(m_app);
        m_stderr.clear();
        m_app.setProcessEnvironment(environment());
        m_app.setProcessChannelMode(QProcess::SeparateChannels);
        m_app.setChildProcessModifier([] { ::umask(0); }); // the loosest: nothing may rely on it
        m_app.start(QStringLiteral(SCRIVLANE_EXECUTABLE), {});
        return QTest::qWaitFor(
            [this] {
                return (m_stderr += QString::fromUtf8(m_app.readAllStandardError()))
                    .contains(u"watching the keyboard"_s);
            },
            15000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_server = std::make_unique<XvfbServer>();
        if (!m_server->isRunning() || QStandardPaths::findExecutable(u"xdotool"_s).isEmpty() ||
            QStandardPaths::findExecutable(u"xclip"_s).isEmpty())
            SKIP_FOR_MISSING_TOOL("needs Xvfb, xdotool and xclip");
        QVERIFY(scrivlane({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";sig"_s, u"--text"_s,
                           u"Best regards,{cursor}!"_s}));
        QVERIFY(scrivlane({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";cb"_s, u"--text"_s,
                           u"[{clipboard}]"_s}));
        // An AI provider answering on this machine.
        QVERIFY(m_ai.listen());
        QVERIFY(scrivlane({u"ai"_s, u"provider"_s, u"custom"_s}));
        QVERIFY(scrivlane({u"config"_s, u"set"_s, u"ai_base_url"_s, m_ai.baseUrl() + u"/v1"_s}));
        QVERIFY(scrivlane({u"config"_s, u"set"_s, u"ai_enabled"_s, u"true"_s}));
        QVERIFY(runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), {u"ai"_s, u"key"_s, u"set"_s},
                           environment(), "sk-test\n")
                    .exitCode == 0);
        QVERIFY(scrivlane({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";ai"_s, u"--text"_s,
                           u"Q: {ai: greet {clipboard}} end"_s}));
        QVERIFY(scrivlane({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"caf\u00e9"_s, u"--text"_s,
                           u"coffee"_s}));
        QVERIFY(scrivlane({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";fi"_s, u"--text"_s,
                           u"Dear {fill:Name} of {fill:City}."_s}));

        QVERIFY(scrivlane({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";xt"_s, u"--text"_s,
                           u"pasted in xterm"_s}));
        const QString rtf = m_home.filePath(u"rich.rtf"_s);
        QFile rtfFile(rtf);
        QVERIFY(rtfFile.open(QIODevice::WriteOnly));
        rtfFile.write("{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 Plain {\\b Bold} {\\i Slanted}}");
        rtfFile.close();
        QVERIFY(scrivlane(
            {u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";rich"_s, u"--rtf-file"_s, rtf}));

        m_received = m_home.filePath(u"received.txt"_s);
        m_window = startWindow(m_target, QStringLiteral(E2E_TARGET), {m_received},
                               {u"--name"_s, u"scrivlane-e2e-target"_s});
        QVERIFY(!m_window.isEmpty());

        QVERIFY2(startApp(), qPrintable(m_stderr));
    }
    void cleanupTestCase()
    {
        m_app.terminate();
        m_app.waitForFinished(5000);
        m_target.terminate();
        m_target.waitForFinished(5000);
        m_server.reset();
    }
    void init()
    {
        XvfbServer::run(u"xdotool"_s, {u"windowfocus"_s, u"--sync"_s, m_window});
        clearField();
    }
    void plainSnippetWithCursor();
    void clipboardMacroAndRestore();
    void fillInFormCompleted();
    void fillInFormCancelled();
    void deadKeyInAbbreviation();
    void aiMacroAnsweredByTheProvider();
    void richSnippetKeepsItsFormatting();
    void imageClipboardComesBack();
    void formFieldsNeverExpand();
    void xtermPastesThePrimarySelection();
    void sessionFilesArePrivate();
    void secondInstanceDoesNotStart_data();
    void secondInstanceDoesNotStart();
    void settingsChangedOutsideTakeEffectAtOnce();
    void clipboardOutlivesTheApp(); // it ends the app
    void signalMidExpansion_data();
    void signalMidExpansion(); // ends the app
};

void TestExpansionEndToEnd::plainSnippetWithCursor()
{
    QVERIFY(type(u"x;sig"_s));
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"xBest regards,!"_s, 5000);
    QTest::qWait(500); // the cursor moves once the field has read the paste
    QVERIFY(type(u"Y"_s));
    QTRY_COMPARE(received(), u"xBest regards,Y!"_s);
    QTest::qWait(700); // the expansion ends when the clipboard is back
}

void TestExpansionEndToEnd::clipboardMacroAndRestore()
{
    QProcess set;
    set.start(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-i"_s});
    set.write("user's own ✓");
    set.closeWriteChannel();
    QVERIFY(set.waitForFinished());
    QTest::qWait(300);
    QVERIFY(type(u";cb"_s));
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"[user's own ✓]"_s, 5000);
    QTRY_COMPARE_WITH_TIMEOUT(
        EndToEnd::output(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s}), u"user's own ✓"_s,
        5000);
}

void TestExpansionEndToEnd::fillInFormCompleted()
{
    QVERIFY(type(u";fi"_s));
    QVERIFY(formOpened());
    QVERIFY(type(u"Ada"_s));
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"key"_s, u"Return"_s}));
    QVERIFY(type(u"Oslo"_s));
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"key"_s, u"Return"_s}));
    // The text field gets the focus back and the expansion, not the form.
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"Dear Ada of Oslo."_s, 5000);
    QTest::qWait(700);
}

void TestExpansionEndToEnd::fillInFormCancelled()
{
    QVERIFY(type(u"a;fi"_s));
    QVERIFY(formOpened());
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"key"_s, u"Escape"_s}));
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"a"_s, 5000); // the abbreviation is gone, nothing came
    QTest::qWait(300);
    QVERIFY(type(u"b;sig"_s)); // and expansion works again at once
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"abBest regards,!"_s, 5000);
    QTest::qWait(700);
}

void TestExpansionEndToEnd::deadKeyInAbbreviation()
{
    if (!XvfbServer::run(u"setxkbmap"_s, {u"de"_s}))
        SKIP_FOR_MISSING_TOOL("no German layout");
    // On a German keyboard the acute accent is a dead key: café is typed c a f ´ e.
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"key"_s, u"--delay"_s, u"40"_s, u"c"_s, u"a"_s, u"f"_s,
                                           u"dead_acute"_s, u"e"_s}));
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"coffee"_s, 5000);
    QTest::qWait(700);
    QVERIFY(XvfbServer::run(u"setxkbmap"_s, {u"us"_s}));
}

void TestExpansionEndToEnd::aiMacroAnsweredByTheProvider()
{
    m_ai.setReply({200, R"({"choices":[{"message":{"role":"assistant","content":" Hello! "}}]})",
                   200ms, false});
    QVERIFY(type(u";ai"_s));
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"Q: Hello! end"_s, 10000);
    QCOMPARE(m_ai.requests().size(), 1);
    QVERIFY(m_ai.requests().at(0).body.contains("greet"));
    QCOMPARE(m_ai.requests().at(0).header("authorization"),
             std::optional<QByteArray>("Bearer sk-test"));
    QTest::qWait(700);

    clearField();
    m_ai.setReply({500, R"({"error":{"message":"overloaded"}})", 0ms, false});
    QVERIFY(type(u";ai"_s));
    QTRY_VERIFY_WITH_TIMEOUT(received().startsWith(u"Q: [AI error: "_s), 10000);
    QVERIFY2(received().contains(u"overloaded"_s), qPrintable(received()));
    QVERIFY(received().endsWith(u"] end"_s));
    QTest::qWait(700);
}

void TestExpansionEndToEnd::richSnippetKeepsItsFormatting()
{
    const QString path = m_home.filePath(u"rich.html"_s);
    QProcess rich;
    QVERIFY(!startWindow(rich, QStringLiteral(E2E_TARGET), {path, u"--rich"_s},
                         {u"--name"_s, u"scrivlane-e2e-rich"_s})
                 .isEmpty());
    QTest::qWait(300);
    QVERIFY(type(u"a;rich"_s));
    // The field took the formatted version (HTML or RTF), not the plain text.
    QTRY_VERIFY_WITH_TIMEOUT(EndToEnd::readFile(path).contains(u"Slanted"_s), 5000);
    const QString html = EndToEnd::readFile(path);
    QVERIFY2(QRegularExpression(u">a<span[^>]*>Plain <"_s).match(html).hasMatch(),
             qPrintable(html));
    QVERIFY2(QRegularExpression(u"font-weight:\\s*(700|bold)[^>]*>Bold<"_s).match(html).hasMatch(),
             qPrintable(html));
    QVERIFY2(QRegularExpression(u"font-style:\\s*italic[^>]*>Slanted<"_s).match(html).hasMatch(),
             qPrintable(html));
    QTest::qWait(700);
    stop(rich);
}

void TestExpansionEndToEnd::imageClipboardComesBack()
{
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QByteArray png;
    QBuffer buffer(&png);
    QVERIFY(image.save(&buffer, "PNG"));
    QVERIFY(xclipIn(u"clipboard"_s, u"image/png"_s, png));
    QTest::qWait(300);
    QVERIFY(type(u";sig"_s));
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"Best regards,!"_s, 5000);
    QTRY_COMPARE_WITH_TIMEOUT(xclipOut(u"clipboard"_s, u"image/png"_s), png, 5000);
}

void TestExpansionEndToEnd::formFieldsNeverExpand()
{
    QVERIFY(type(u";fi"_s));
    QVERIFY(formOpened());
    // An abbreviation typed into our own form stays as typed.
    QVERIFY(type(u"x;sig"_s));
    QTest::qWait(300);
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"key"_s, u"Return"_s}));
    QVERIFY(type(u";cb"_s));
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"key"_s, u"Return"_s}));
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"Dear x;sig of ;cb."_s, 5000);
    QTest::qWait(700);
}

void TestExpansionEndToEnd::xtermPastesThePrimarySelection()
{
    if (QStandardPaths::findExecutable(u"xterm"_s).isEmpty())
        SKIP_FOR_MISSING_TOOL("needs xterm");
    const QString path = m_home.filePath(u"xterm.txt"_s);
    // xterm's Shift+Insert pastes the primary selection, which holds something of the user's.
    QVERIFY(xclipIn(u"primary"_s, u"UTF8_STRING"_s, "user selection"));
    QProcess xterm;
    QVERIFY(!startWindow(xterm, u"xterm"_s, {u"-e"_s, u"sh"_s, u"-c"_s, u"cat > \"$0\""_s, path},
                         {u"--class"_s, u"xterm"_s})
                 .isEmpty());
    // Keys typed before the shell runs cat would go nowhere.
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(path), 10000);
    QTest::qWait(500);
    QVERIFY(type(u"x;xt"_s));
    QTest::qWait(1000);
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"key"_s, u"Return"_s}));
    QTRY_COMPARE_WITH_TIMEOUT(EndToEnd::readFile(path), u"xpasted in xterm\n"_s, 5000);
    QTRY_COMPARE_WITH_TIMEOUT(xclipOut(u"primary"_s, u"UTF8_STRING"_s),
                              QByteArray("user selection"), 5000);
    stop(xterm);
}

// The single-instance socket and the locks live in the session's private runtime folder,
// never under a name in the temporary folder that another user could take first.
void TestExpansionEndToEnd::sessionFilesArePrivate()
{
    QCOMPARE(QDir(m_tmp.path())
                 .entryList({u"*scrivlane*"_s, u"*ScrivLane*"_s},
                            QDir::AllEntries | QDir::Hidden | QDir::System),
             QStringList());
    const QString folder = m_runtime.filePath(u"scrivlane"_s);
    struct stat st {};
    QCOMPARE(::lstat(QFile::encodeName(folder).constData(), &st), 0);
    QVERIFY(S_ISDIR(st.st_mode));
    QCOMPARE(st.st_mode & 07777, 0700u);
    const QStringList sockets = QDir(folder).entryList({u"*.sock"_s}, QDir::System);
    QCOMPARE(sockets.size(), 1);
    QCOMPARE(::lstat(QFile::encodeName(QDir(folder).filePath(sockets.first())).constData(), &st),
             0);
    QVERIFY(S_ISSOCK(st.st_mode));
    QCOMPARE(st.st_mode & 07777, 0600u);
}

// However the display is spelled, it is one display and one engine.
void TestExpansionEndToEnd::secondInstanceDoesNotStart_data()
{
    QTest::addColumn<QByteArray>("display");
    const QByteArray number = m_server->display().mid(1);
    QTest::newRow("same name") << m_server->display();
    QTest::newRow("with a screen number") << m_server->display() + ".0";
    QTest::newRow("unix: prefix") << "unix:" + number;
}

void TestExpansionEndToEnd::secondInstanceDoesNotStart()
{
    QFETCH(QByteArray, display);
    QProcess second;
    second.setProcessEnvironment(environment(display));
    second.start(QStringLiteral(SCRIVLANE_EXECUTABLE), {});
    QVERIFY(second.waitForFinished(10000));
    QCOMPARE(second.exitCode(), 0);
    QVERIFY(QString::fromUtf8(second.readAllStandardError()).contains(u"already running"_s));
}

// The command line writes the settings file; the running app follows within a second.
void TestExpansionEndToEnd::settingsChangedOutsideTakeEffectAtOnce()
{
    QVERIFY(scrivlane({u"config"_s, u"set"_s, u"tw_expansionEnabled"_s, u"false"_s}));
    QTest::qWait(1000);
    QVERIFY(type(u"x;sig"_s));
    QTest::qWait(1500);
    QCOMPARE(received(), u"x;sig"_s);

    clearField();
    QVERIFY(scrivlane({u"config"_s, u"set"_s, u"tw_expansionEnabled"_s, u"true"_s}));
    QVERIFY(scrivlane({u"config"_s, u"set"_s, u"ai_model"_s, u"model-set-outside"_s}));
    QTest::qWait(1000);
    QVERIFY(type(u"x;sig"_s));
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"xBest regards,!"_s, 5000);
    QTest::qWait(700);

    clearField();
    m_ai.clearRequests();
    m_ai.setReply(
        {200, R"({"choices":[{"message":{"role":"assistant","content":"Hi"}}]})", 0ms, false});
    QVERIFY(type(u";ai"_s));
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"Q: Hi end"_s, 10000);
    QCOMPARE(m_ai.requests().size(), 1);
    QVERIFY(m_ai.requests().at(0).body.contains("model-set-outside"));
    QTest::qWait(700);
}

// After an expansion the app serves the user's clipboard; quitting must not empty it, with no
// clipboard manager running to take it over.
void TestExpansionEndToEnd::clipboardOutlivesTheApp()
{
    QVERIFY(xclipIn(u"clipboard"_s, u"UTF8_STRING"_s, "kept after quitting"));
    QTest::qWait(300);
    QVERIFY(type(u";cb"_s));
    QTRY_COMPARE_WITH_TIMEOUT(received(), u"[kept after quitting]"_s, 5000);
    QTRY_COMPARE_WITH_TIMEOUT(xclipOut(u"clipboard"_s, u"UTF8_STRING"_s),
                              QByteArray("kept after quitting"), 5000);
    m_app.terminate();
    QVERIFY(m_app.waitForFinished(10000));
    QTRY_COMPARE_WITH_TIMEOUT(xclipOut(u"clipboard"_s, u"UTF8_STRING"_s),
                              QByteArray("kept after quitting"), 5000);
    // The keeper leaves once another application owns the clipboard.
    QVERIFY(xclipIn(u"clipboard"_s, u"UTF8_STRING"_s, "someone else's"));
    QTRY_COMPARE_WITH_TIMEOUT(xclipOut(u"clipboard"_s, u"UTF8_STRING"_s),
                              QByteArray("someone else's"), 5000);
    QTRY_VERIFY_WITH_TIMEOUT(
        EndToEnd::output(u"pgrep"_s, {u"-f"_s, u"--"_s, u"--keep-clipboard "_s + m_runtime.path()})
            .isEmpty(),
        5000);
}

void TestExpansionEndToEnd::signalMidExpansion_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGHUP") << SIGHUP;
}

// A termination signal while the expansion is on the clipboard: the user's text comes back and
// outlives the app. A read-only field never fetches the paste, so the expansion stays on the
// clipboard for the whole wait for that read (seconds); the user's own xclip, which quits when
// another program takes the clipboard, marks its start.
void TestExpansionEndToEnd::signalMidExpansion()
{
    QFETCH(int, signal);
    QVERIFY2(startApp(), qPrintable(m_stderr));
    QProcess readOnly;
    QVERIFY(!startWindow(readOnly, QStringLiteral(E2E_TARGET),
                         {m_home.filePath(u"read-only.txt"_s), u"--read-only"_s},
                         {u"--name"_s, u"scrivlane-e2e-read-only"_s})
                 .isEmpty());
    const auto closeField = qScopeGuard([&readOnly] { stop(readOnly); });
    QProcess owner;
    owner.start(u"xclip"_s, {u"-quiet"_s, u"-selection"_s, u"clipboard"_s, u"-i"_s});
    owner.write("the user's own");
    owner.closeWriteChannel();
    QTRY_COMPARE_WITH_TIMEOUT(xclipOut(u"clipboard"_s, u"UTF8_STRING"_s),
                              QByteArray("the user's own"), 5000);
    QTest::qWait(300);
    QVERIFY(type(u";sig"_s));
    QVERIFY(owner.waitForFinished(5000));
    QCOMPARE(::kill(pid_t(m_app.processId()), signal), 0);
    QVERIFY(m_app.waitForFinished(10000));
    QCOMPARE(m_app.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_app.exitCode(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(xclipOut(u"clipboard"_s, u"UTF8_STRING"_s),
                              QByteArray("the user's own"), 5000);
    QVERIFY(xclipIn(u"clipboard"_s, u"UTF8_STRING"_s, "someone else's")); // the keeper leaves
}

QTEST_GUILESS_MAIN(TestExpansionEndToEnd)
#include "tst_expansion_e2e.moc"

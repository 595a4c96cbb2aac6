#include "EndToEnd.h"
#include "support/CommandRun.h"
#include "support/MissingTool.h"
#include "support/ProcessTree.h"
#include "support/XvfbServer.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// ScrivLane in applications nobody on the project wrote (xterm, a GTK editor, AbiWord) under a
// real window manager, which moves the focus on its own time.
class TestApplicationsEndToEnd : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<XvfbServer> m_server;
    QTemporaryDir m_home;
    QTemporaryDir m_runtime;
    QProcess m_windowManager;
    QProcess m_app;
    QString m_stderr;

    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = EndToEnd::environment(m_home.path(), m_server->display());
        env.insert(u"XDG_RUNTIME_DIR"_s, m_runtime.path());
        env.insert(u"HOME"_s, m_home.path()); // the editors' own settings stay here
        env.insert(u"NO_AT_BRIDGE"_s, u"1"_s);
        return env;
    }
    bool scrivlane(const QStringList& arguments)
    {
        return runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments, environment())
                   .exitCode == 0;
    }
    static bool xdotool(const QStringList& arguments)
    {
        return XvfbServer::run(u"xdotool"_s, arguments);
    }
    static bool type(const QString& text)
    {
        return xdotool({u"type"_s, u"--delay"_s, u"40"_s, text});
    }
    static bool setLayout(const QString& layout)
    {
        return XvfbServer::run(u"setxkbmap"_s, {layout});
    }
    // What an editor holds, copied out with its own Select All and Copy once the expansion has
    // given the clipboard back.
    static QString editorText()
    {
        QTest::qWait(900);
        xdotool({u"key"_s, u"--delay"_s, u"60"_s, u"ctrl+a"_s, u"ctrl+c"_s});
        QTest::qWait(300);
        return EndToEnd::output(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-o"_s});
    }
    static void clearEditor()
    {
        xdotool({u"key"_s, u"--delay"_s, u"60"_s, u"ctrl+a"_s, u"BackSpace"_s});
        QTest::qWait(200);
    }
    QString startWindow(QProcess& process, const QString& program, const QStringList& arguments,
                        const QStringList& search)
    {
        const QString window =
            EndToEnd::startWindow(process, environment(), program, arguments, search);
        QTest::qWait(1500); // the window manager maps it and the application settles
        if (!window.isEmpty())
            xdotool({u"windowactivate"_s, u"--sync"_s, window});
        return window;
    }
    // Killed: an editor asked to quit would ask about saving the text first.
    static void stop(QProcess& process)
    {
        process.kill();
        process.waitForFinished(5000);
        QTest::qWait(300); // its window is gone before the next one is looked for
    }
    void requireProgram(const QString& program)
    {
        if (QStandardPaths::findExecutable(program).isEmpty())
            SKIP_FOR_MISSING_TOOL("an application of the suite is missing (scripts/setup)");
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_server = std::make_unique<XvfbServer>();
        if (!m_server->isRunning() || QStandardPaths::findExecutable(u"xdotool"_s).isEmpty() ||
            QStandardPaths::findExecutable(u"xclip"_s).isEmpty() ||
            QStandardPaths::findExecutable(u"openbox"_s).isEmpty())
            SKIP_FOR_MISSING_TOOL("needs Xvfb, xdotool, xclip and openbox");
        QVERIFY(scrivlane(
            {u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";pl"_s, u"--text"_s, u"PLAIN-TEXT"_s}));
        for (const QString& abbreviation : {u"щщ"_s, u"ωω"_s, u"שש"_s, u"شش"_s})
            QVERIFY(scrivlane({u"snippet"_s, u"add"_s, u"--abbreviation"_s, abbreviation,
                               u"--text"_s, u"PLAIN-TEXT"_s}));
        QVERIFY(scrivlane({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";cu"_s, u"--text"_s,
                           u"left{cursor}right"_s}));
        QVERIFY(scrivlane({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";fx"_s, u"--text"_s,
                           u"Hi {fill:Name}!"_s}));
        // Rich, ending with a paragraph mark as word processors write it.
        const QString rtf = m_home.filePath(u"cursor.rtf"_s);
        QFile rtfFile(rtf);
        QVERIFY(rtfFile.open(QIODevice::WriteOnly));
        rtfFile.write("{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 {\\b Dear} \\{cursor\\},\\par "
                      "Thanks.\\par}");
        rtfFile.close();
        QVERIFY(scrivlane(
            {u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";rc"_s, u"--rtf-file"_s, rtf}));

        m_windowManager.setProcessEnvironment(environment());
        m_windowManager.start(u"openbox"_s, {u"--sm-disable"_s});
        // Up once it names itself on the root window.
        const bool managed = QTest::qWaitFor(
            [] {
                return EndToEnd::output(u"xprop"_s, {u"-root"_s, u"_NET_SUPPORTING_WM_CHECK"_s})
                    .contains(u"window id"_s);
            },
            10000);
        QVERIFY2(managed, "openbox did not start");

        m_app.setProcessEnvironment(environment());
        m_app.setProcessChannelMode(QProcess::SeparateChannels);
        m_app.start(QStringLiteral(SCRIVLANE_EXECUTABLE), {});
        QTRY_VERIFY_WITH_TIMEOUT((m_stderr += QString::fromUtf8(m_app.readAllStandardError()))
                                     .contains(u"watching the keyboard"_s),
                                 15000);
    }
    void cleanupTestCase()
    {
        setLayout(u"us"_s);
        stop(m_app);
        stop(m_windowManager);
        m_server.reset();
    }
    void xtermGetsTheFillInFormsText();
    void editorsApplyEveryKey_data();
    void editorsApplyEveryKey();
    void engineIsNamedInProcessLists();
    void audioBackendNoiseIsOneLine();
};

// The form closes, the window manager gives xterm the focus back a moment later, and the paste
// key is still xterm's own.
void TestApplicationsEndToEnd::xtermGetsTheFillInFormsText()
{
    requireProgram(u"xterm"_s);
    const QString path = m_home.filePath(u"xterm.txt"_s);
    QProcess xterm;
    QVERIFY(!startWindow(xterm, u"xterm"_s, {u"-e"_s, u"sh"_s, u"-c"_s, u"cat > \"$0\""_s, path},
                         {u"--class"_s, u"xterm"_s})
                 .isEmpty());
    // Keys typed before the shell runs cat would go nowhere.
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(path), 10000);
    QString expected;
    for (const QString& name : {u"Ada"_s, u"Bo"_s, u"Cy"_s}) {
        QVERIFY(type(u";fx"_s));
        QVERIFY(!EndToEnd::output(u"xdotool"_s,
                                  {u"search"_s, u"--sync"_s, u"--name"_s, u"Complete Snippet"_s})
                     .isEmpty());
        QTest::qWait(400);
        QVERIFY(type(name));
        QVERIFY(xdotool({u"key"_s, u"Return"_s}));
        QTest::qWait(1000);
        QVERIFY(xdotool({u"key"_s, u"Return"_s}));
        expected += u"Hi "_s + name + u"!\n"_s;
        QTRY_COMPARE_WITH_TIMEOUT(EndToEnd::readFile(path), expected, 5000);
    }
    stop(xterm);
}

void TestApplicationsEndToEnd::editorsApplyEveryKey_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("windowClass");
    QTest::addColumn<QString>("layout");
    QTest::addColumn<QString>("abbreviation"); // typed on that layout
    QTest::addColumn<QString>("cursorSnippet");
    QTest::addColumn<QString>("expected"); // with X typed where the snippet leaves the cursor
    const QStringList mousepad{u"--disable-server"_s};
    const QString plainCursor = u"aPLAIN-TEXT bleftXright"_s;
    QTest::newRow("mousepad") << u"mousepad"_s << mousepad << u"mousepad"_s << u"us"_s << u";pl"_s
                              << u";cu"_s << plainCursor;
    // Without a Latin group the paste key is found by its place on the keyboard.
    QTest::newRow("mousepad, Russian layout") << u"mousepad"_s << mousepad << u"mousepad"_s
                                              << u"ru"_s << u"щщ"_s << u";cu"_s << plainCursor;
    QTest::newRow("mousepad, Greek layout") << u"mousepad"_s << mousepad << u"mousepad"_s << u"gr"_s
                                            << u"ωω"_s << u";cu"_s << plainCursor;
    QTest::newRow("mousepad, Hebrew layout") << u"mousepad"_s << mousepad << u"mousepad"_s
                                             << u"il"_s << u"שש"_s << u";cu"_s << plainCursor;
    QTest::newRow("mousepad, Arabic layout") << u"mousepad"_s << mousepad << u"mousepad"_s
                                             << u"ara"_s << u"شش"_s << u";cu"_s << plainCursor;
    // AbiWord applies only the first of backspaces and arrows sent together.
    const QStringList abiword{u"--nosplash"_s};
    QTest::newRow("AbiWord") << u"abiword"_s << abiword << u"abiword"_s << u"us"_s << u";pl"_s
                             << u";cu"_s << plainCursor;
    // It drops the paragraph mark that ends a pasted RTF: the arrows count without it.
    QTest::newRow("AbiWord, rich {cursor}")
        << u"abiword"_s << abiword << u"abiword"_s << u"us"_s << u";pl"_s << u";rc"_s
        << u"aPLAIN-TEXT bDear X,\nThanks."_s;
}

void TestApplicationsEndToEnd::editorsApplyEveryKey()
{
    QFETCH(QString, program);
    QFETCH(QStringList, arguments);
    QFETCH(QString, windowClass);
    QFETCH(QString, layout);
    QFETCH(QString, abbreviation);
    QFETCH(QString, cursorSnippet);
    QFETCH(QString, expected);
    requireProgram(program);
    QProcess editor;
    QVERIFY(!startWindow(editor, program, arguments, {u"--class"_s, windowClass}).isEmpty());
    QTest::qWait(1000);
    clearEditor();

    if (!setLayout(layout))
        SKIP_FOR_MISSING_TOOL("no such keyboard layout");
    QVERIFY(type(u"a"_s + abbreviation));
    QTest::qWait(1000);
    QVERIFY(setLayout(u"us"_s));
    QVERIFY(type(u" b"_s + cursorSnippet));
    QTest::qWait(1000);
    QVERIFY(type(u"X"_s));
    QString text = editorText();
    text.remove(QChar(0)); // AbiWord ends its copy with one
    QCOMPARE(text, expected);
    stop(editor);
}

// ps and top show the engine under the program's name, not the /proc/self/exe it was started by.
void TestApplicationsEndToEnd::engineIsNamedInProcessLists()
{
    const QList<qint64> children = childrenOf(m_app.processId());
    QCOMPARE(children.size(), 1);
    QCOMPARE(EndToEnd::readFile(u"/proc/%1/comm"_s.arg(children.first())).trimmed(),
             u"scrivlane"_s);
}

// Every expansion above played its sound; without a sound server that is said once.
void TestApplicationsEndToEnd::audioBackendNoiseIsOneLine()
{
    m_stderr += QString::fromUtf8(m_app.readAllStandardError());
    const QStringList lines = m_stderr.split(u'\n').filter(u"audio"_s, Qt::CaseInsensitive);
    QVERIFY2(lines.size() <= 1, qPrintable(lines.join(u'\n')));
}

QTEST_GUILESS_MAIN(TestApplicationsEndToEnd)
#include "tst_apps_e2e.moc"

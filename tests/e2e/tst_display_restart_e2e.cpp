#include "EndToEnd.h"
#include "support/CommandRun.h"
#include "support/MissingTool.h"
#include "support/ProcessTree.h"
#include "support/XvfbServer.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <cerrno>
#include <csignal>

using namespace Qt::StringLiterals;

// ScrivLane when its X server goes away: the real executable on a private X server that is
// killed and started again under the same display name, a text field in another process, and
// keys typed by xdotool.
class TestDisplayRestartEndToEnd : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<XvfbServer> m_server;
    QTemporaryDir m_home;
    QString m_received;
    QProcess m_app;
    QString m_log;
    QProcess m_target;
    QList<qint64> m_children; // every child seen, for the clean-up after a failure

    QProcessEnvironment environment() const
    {
        return EndToEnd::environment(m_home.path(), m_server->display());
    }
    QString received() const { return EndToEnd::readFile(m_received); }
    // True once `text` has appeared `count` times on the application's standard error.
    bool logged(const QString& text, int count, int timeout)
    {
        return QTest::qWaitFor(
            [&] {
                m_log += QString::fromUtf8(m_app.readAllStandardError());
                return m_log.count(text) >= count;
            },
            timeout);
    }
    // Waits for the application's one child, other than `previous`; 0 when it ended instead.
    qint64 nextChild(qint64 previous)
    {
        qint64 child = 0;
        (void)QTest::qWaitFor(
            [&] {
                const QList<qint64> children = childrenOf(m_app.processId());
                child = children.size() == 1 && children.first() != previous ? children.first() : 0;
                return child != 0 || m_app.state() == QProcess::NotRunning;
            },
            10000);
        if (child)
            m_children << child;
        return child;
    }
    // A zombie still exists: its parent forgot to reap it.
    static bool exists(qint64 pid) { return ::kill(pid, 0) == 0 || errno != ESRCH; }

    void startApp()
    {
        m_log.clear();
        m_app.setProcessEnvironment(environment());
        m_app.start(QStringLiteral(SCRIVLANE_EXECUTABLE), {});
        QVERIFY(m_app.waitForStarted());
    }
    void openTarget()
    {
        m_target.kill();
        m_target.waitForFinished();
        QFile::remove(m_received);
        QVERIFY(!EndToEnd::startWindow(m_target, environment(), QStringLiteral(E2E_TARGET),
                                       {m_received}, {u"--name"_s, u"scrivlane-e2e-target"_s})
                     .isEmpty());
    }
    void expands(int timeout)
    {
        QVERIFY(XvfbServer::run(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"40"_s, u"x;rs"_s}));
        QTRY_COMPARE_WITH_TIMEOUT(received(), u"xRestarted fine"_s, timeout);
    }

private Q_SLOTS:
    void initTestCase()
    {
        // A display number that stays the same when the server comes back.
        m_server = std::make_unique<XvfbServer>(160);
        if (!m_server->isRunning() || QStandardPaths::findExecutable(u"xdotool"_s).isEmpty())
            SKIP_FOR_MISSING_TOOL("needs Xvfb and xdotool");
        QCOMPARE(runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE),
                            {u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";rs"_s, u"--text"_s,
                             u"Restarted fine"_s},
                            environment())
                     .exitCode,
                 0);
        m_received = m_home.filePath(u"received.txt"_s);
    }
    void init()
    {
        if (!m_server->isRunning())
            QVERIFY(m_server->restart());
    }
    void cleanup()
    {
        m_target.kill();
        m_target.waitForFinished();
        if (m_app.state() != QProcess::NotRunning) {
            m_app.terminate();
            if (!m_app.waitForFinished(10000)) {
                m_app.kill();
                m_app.waitForFinished();
            }
        }
        for (qint64 child : std::as_const(m_children))
            if (exists(child))
                ::kill(static_cast<pid_t>(child), SIGKILL);
        m_children.clear();
    }
    void cleanupTestCase() { m_server.reset(); }

    void expandsAgainAfterTheServerComesBack();
    void stopsWhileWaitingForTheDisplay();
    void givesUpWhenTheApplicationKeepsDying(); // last: it leaves the server running
};

void TestDisplayRestartEndToEnd::expandsAgainAfterTheServerComesBack()
{
    startApp();
    QVERIFY2(logged(u"watching the keyboard"_s, 1, 15000), qPrintable(m_log));
    const qint64 first = nextChild(0);
    QVERIFY(first);
    openTarget();
    expands(5000);

    m_server->kill();
    QVERIFY(m_target.waitForFinished(10000));
    QVERIFY2(logged(u"went away"_s, 1, 10000), qPrintable(m_log));
    QCOMPARE(m_app.state(), QProcess::Running);
    QTRY_VERIFY(!exists(first));
    QTest::qWait(2000); // more than one look at the display while there is none
    QVERIFY(childrenOf(m_app.processId()).isEmpty());

    QVERIFY(m_server->restart());
    QVERIFY2(logged(u"watching the keyboard"_s, 2, 20000), qPrintable(m_log));
    const qint64 second = nextChild(first);
    QVERIFY(second);
    openTarget();
    expands(20000);

    // The child quits as on a normal quit, and the parent ends with its status.
    m_app.terminate();
    QVERIFY(m_app.waitForFinished(10000));
    QCOMPARE(m_app.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_app.exitCode(), 0);
    QVERIFY(!exists(second));
    QCOMPARE(m_log.count(u"went away"_s), 1);
}

void TestDisplayRestartEndToEnd::givesUpWhenTheApplicationKeepsDying()
{
    startApp();
    QVERIFY2(logged(u"watching the keyboard"_s, 1, 15000), qPrintable(m_log));
    qint64 child = nextChild(0);
    QVERIFY(child);
    // A death with the display still there starts a new child that works.
    ::kill(static_cast<pid_t>(child), SIGKILL);
    QVERIFY2(logged(u"ended unexpectedly"_s, 1, 10000), qPrintable(m_log));
    QVERIFY2(logged(u"watching the keyboard"_s, 2, 15000), qPrintable(m_log));
    // Children killed as soon as they appear, until the parent stops starting them: after five
    // quick deaths in a row, or six when the first child took more than seconds to come up.
    int deaths = 1;
    for (child = nextChild(child); child && deaths < 7; child = nextChild(child)) {
        ::kill(static_cast<pid_t>(child), SIGKILL);
        ++deaths;
    }
    QVERIFY(m_app.state() == QProcess::NotRunning || m_app.waitForFinished(10000));
    QCOMPARE(m_app.exitCode(), 1);
    m_log += QString::fromUtf8(m_app.readAllStandardError());
    QVERIFY2(deaths == 5 || deaths == 6, qPrintable(m_log));
    QVERIFY2(m_log.contains(u"5 times in a row"_s), qPrintable(m_log));
    QCOMPARE(m_log.count(u"ended unexpectedly"_s), deaths - 1);
    for (qint64 pid : std::as_const(m_children))
        QVERIFY(!exists(pid));
}

void TestDisplayRestartEndToEnd::stopsWhileWaitingForTheDisplay()
{
    startApp();
    QVERIFY2(logged(u"watching the keyboard"_s, 1, 15000), qPrintable(m_log));
    m_server->kill();
    QVERIFY2(logged(u"went away"_s, 1, 10000), qPrintable(m_log));
    m_app.terminate();
    QVERIFY(m_app.waitForFinished(5000));
    QCOMPARE(m_app.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_app.exitCode(), 0);
}

QTEST_GUILESS_MAIN(TestDisplayRestartEndToEnd)
#include "tst_display_restart_e2e.moc"

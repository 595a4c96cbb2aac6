#include "EndToEnd.h"
#include "support/CommandRun.h"
#include "support/MissingTool.h"
#include "support/XvfbServer.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <sys/prctl.h>

using namespace Qt::StringLiterals;

namespace {

quint16 freePort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    return server.serverPort();
}

// One computer: a ScrivLane home, its sync folder and the Syncthing that keeps the folder in
// step with the other computer's, over loopback only (no discovery, no relays).
struct Computer {
    QTemporaryDir home;
    QTemporaryDir syncthingHome;
    QString syncFolder;
    QString deviceId;
    quint16 listenPort = freePort();
    quint16 guiPort = freePort();
    QProcess syncthing;

    Computer() : syncFolder(home.filePath(u"Sync"_s))
    {
        QDir().mkpath(syncFolder + u"/.stfolder"_s);
        QProcess generate;
        generate.setProcessChannelMode(QProcess::MergedChannels);
        generate.start(u"syncthing"_s, {u"generate"_s, u"--home="_s + syncthingHome.path()});
        generate.waitForFinished(30000);
        const QRegularExpressionMatch match = QRegularExpression(u"Device ID: ([A-Z0-9-]{63})"_s)
                                                  .match(QString::fromUtf8(generate.readAll()));
        deviceId = match.captured(1);
    }
    ~Computer()
    {
        syncthing.terminate();
        syncthing.waitForFinished(10000);
    }

    void configure(const Computer& other)
    {
        const QString config = uR"(<configuration version="36">
  <folder id="scrivlane" label="ScrivLane" path="%1" type="sendreceive" rescanIntervalS="10" fsWatcherEnabled="true" fsWatcherDelayS="1">
    <device id="%2"></device>
    <device id="%3"></device>
  </folder>
  <device id="%2" name="self"><address>dynamic</address></device>
  <device id="%3" name="other"><address>tcp://127.0.0.1:%4</address></device>
  <gui enabled="true" tls="false"><address>127.0.0.1:%5</address><apikey>scrivlane-test</apikey></gui>
  <options>
    <listenAddress>tcp://127.0.0.1:%6</listenAddress>
    <globalAnnounceEnabled>false</globalAnnounceEnabled>
    <localAnnounceEnabled>false</localAnnounceEnabled>
    <relaysEnabled>false</relaysEnabled>
    <natEnabled>false</natEnabled>
    <startBrowser>false</startBrowser>
    <urAccepted>-1</urAccepted>
    <autoUpgradeIntervalH>0</autoUpgradeIntervalH>
    <crashReportingEnabled>false</crashReportingEnabled>
    <reconnectionIntervalS>1</reconnectionIntervalS>
  </options>
</configuration>
)"_s.arg(syncFolder, deviceId, other.deviceId)
                                   .arg(other.listenPort)
                                   .arg(guiPort)
                                   .arg(listenPort);
        QFile file(syncthingHome.filePath(u"config.xml"_s));
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write(config.toUtf8());
    }

    void start()
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"STNOUPGRADE"_s, u"1"_s);
        syncthing.setProcessEnvironment(env);
        syncthing.setProcessChannelMode(QProcess::MergedChannels);
        // Gone with the test, even when a watchdog kills it.
        syncthing.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
        syncthing.start(u"syncthing"_s,
                        {u"serve"_s, u"--home="_s + syncthingHome.path(), u"--no-browser"_s,
                         u"--no-restart"_s, u"--no-default-folder"_s, u"--skip-port-probing"_s});
    }
};

} // namespace

// Two computers on loopback, each with its own ScrivLane home and its own Syncthing keeping
// the sync folders in step. What one computer does reaches the other through Syncthing alone.
class TestSyncthingEndToEnd : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<XvfbServer> m_server;
    std::unique_ptr<Computer> m_a;
    std::unique_ptr<Computer> m_b;
    QTemporaryDir m_runtime;
    QProcess m_app; // on computer b, watching the keyboard
    QProcess m_target;
    QString m_received;
    QString m_window;

    QProcessEnvironment environment(const Computer& computer) const
    {
        QProcessEnvironment env = EndToEnd::environment(computer.home.path(), m_server->display());
        env.insert(u"XDG_RUNTIME_DIR"_s, m_runtime.path());
        return env;
    }
    CommandRun scrivlane(const Computer& computer, const QStringList& arguments)
    {
        return runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments, environment(computer));
    }
    QJsonArray snippets(const Computer& computer)
    {
        return QJsonDocument::fromJson(
                   scrivlane(computer, {u"snippet"_s, u"list"_s, u"--all"_s}).out.toUtf8())
            .array();
    }
    // The snippet's text as computer `a` has it after a sync; empty when it has none such.
    QString textOnA(const QString& id)
    {
        scrivlane(*m_a, {u"sync"_s, u"now"_s});
        for (const QJsonValue& snippet : snippets(*m_a))
            if (snippet.toObject().value(u"id"_s).toString() == id)
                return snippet.toObject().value(u"expandedText"_s).toString();
        return QString();
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_server = std::make_unique<XvfbServer>();
        if (!m_server->isRunning() || QStandardPaths::findExecutable(u"xdotool"_s).isEmpty() ||
            QStandardPaths::findExecutable(u"syncthing"_s).isEmpty())
            SKIP_FOR_MISSING_TOOL("needs Xvfb, xdotool and syncthing");
        m_a = std::make_unique<Computer>();
        m_b = std::make_unique<Computer>();
        QVERIFY2(!m_a->deviceId.isEmpty() && !m_b->deviceId.isEmpty(),
                 "syncthing generate printed no device id");
        m_a->configure(*m_b);
        m_b->configure(*m_a);
        for (const Computer* computer : {m_a.get(), m_b.get()}) {
            QCOMPARE(scrivlane(*computer,
                               {u"config"_s, u"set"_s, u"tw_syncFolder"_s, computer->syncFolder})
                         .exitCode,
                     0);
            QCOMPARE(
                scrivlane(*computer, {u"config"_s, u"set"_s, u"tw_iCloudSyncEnabled"_s, u"true"_s})
                    .exitCode,
                0);
        }
        m_a->start();
        m_b->start();

        m_received = m_b->home.filePath(u"received.txt"_s);
        m_window = EndToEnd::startWindow(m_target, environment(*m_b), QStringLiteral(E2E_TARGET),
                                         {m_received}, {u"--name"_s, u"scrivlane-e2e-target"_s});
        QVERIFY(!m_window.isEmpty());
        m_app.setProcessEnvironment(environment(*m_b));
        m_app.start(QStringLiteral(SCRIVLANE_EXECUTABLE), {});
        QString log;
        QTRY_VERIFY_WITH_TIMEOUT((log += QString::fromUtf8(m_app.readAllStandardError()))
                                     .contains(u"watching the keyboard"_s),
                                 15000);
    }
    void cleanupTestCase()
    {
        m_app.terminate();
        m_app.waitForFinished(5000);
        m_target.terminate();
        m_target.waitForFinished(5000);
        m_a.reset();
        m_b.reset();
        m_server.reset();
    }

    void snippetTravelsAndComesBack()
    {
        const CommandRun added =
            scrivlane(*m_a, {u"snippet"_s, u"add"_s, u"--abbreviation"_s, u";st"_s, u"--text"_s,
                             u"sent through Syncthing"_s});
        QCOMPARE(added.exitCode, 0);
        const QString id = added.out.trimmed();

        // On b, the running app takes it in and expands it.
        QTRY_VERIFY_WITH_TIMEOUT(snippets(*m_b).size() == 1, 60000);
        XvfbServer::run(u"xdotool"_s, {u"windowfocus"_s, u"--sync"_s, m_window});
        QTest::qWait(500);
        QVERIFY(XvfbServer::run(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"40"_s, u";st"_s}));
        QTRY_COMPARE_WITH_TIMEOUT(EndToEnd::readFile(m_received), u"sent through Syncthing"_s,
                                  10000);

        // An edit on b travels back.
        QCOMPARE(
            scrivlane(*m_b, {u"snippet"_s, u"edit"_s, id, u"--text"_s, u"edited on b"_s}).exitCode,
            0);
        QTRY_COMPARE_WITH_TIMEOUT(textOnA(id), u"edited on b"_s, 60000);

        // And so does deleting it for good.
        QCOMPARE(scrivlane(*m_b, {u"snippet"_s, u"delete"_s, id}).exitCode, 0);
        QTRY_VERIFY_WITH_TIMEOUT(textOnA(id).isEmpty() && snippets(*m_a).isEmpty(), 60000);
    }
};

QTEST_GUILESS_MAIN(TestSyncthingEndToEnd)
#include "tst_syncthing_e2e.moc"

#include "support/CommandRun.h"
#include "support/HttpTestServer.h"
#include "support/MissingTool.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

using Run = CommandRun;

QByteArray chatReply(const QByteArray& content)
{
    return R"({"choices":[{"message":{"role":"assistant","content":")" + content + R"("}}]})";
}

} // namespace

class TestAiCommands : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void config_data();
    void config();
    void providerSwitch();
    void keyCompleteAndClear();
    void models();
    void connectionTest();
    void badKeyRefused_data();
    void badKeyRefused();
    void endlessInputEnds();
    void realSecretService();

private:
    // Runs scrivlane without blocking this thread's event loop, which serves m_server.
    Run scrivlane(const QStringList& arguments, const QByteArray& input = {},
                  const QString& program = QStringLiteral(SCRIVLANE_EXECUTABLE));
    void setUp(const QList<QStringList>& commands);

    HttpTestServer m_server;
    std::unique_ptr<QTemporaryDir> m_home;
    QProcessEnvironment m_env;
};

Run TestAiCommands::scrivlane(const QStringList& arguments, const QByteArray& input,
                              const QString& program)
{
    return runCommand(program, arguments, m_env, input);
}

void TestAiCommands::setUp(const QList<QStringList>& commands)
{
    for (const QStringList& command : commands) {
        const Run r = scrivlane(command);
        QVERIFY2(r.exitCode == 0, qPrintable(command.join(u' ') + u": "_s + r.err));
    }
}

void TestAiCommands::initTestCase()
{
    QVERIFY(m_server.listen());
}

void TestAiCommands::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    m_env = QProcessEnvironment::systemEnvironment();
    m_env.insert(u"SCRIVLANE_HOME"_s, m_home->path());
    m_env.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"disabled:"_s);
    m_server.clearRequests();
    m_server.setReply({200, chatReply("Hi!")});
}

void TestAiCommands::config_data()
{
    QTest::addColumn<QList<QStringList>>("before");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("out");

    using L = QList<QStringList>;
    const auto set = [](const QString& key, const QString& value) {
        return QStringList{u"config"_s, u"set"_s, key, value};
    };
    const auto get = [](const QString& key) { return QStringList{u"config"_s, u"get"_s, key}; };

    // clang-format off
    QTest::newRow("switch default") << L{} << get(u"tw_expansionEnabled"_s) << 0 << u"true\n"_s;
    QTest::newRow("no default, not set") << L{} << get(u"tw_customSoundPath"_s) << 1 << QString();
    QTest::newRow("ai defaults follow the provider") << L{} << get(u"ai_base_url"_s) << 0 << u"https://api.openai.com/v1\n"_s;
    QTest::newRow("raw provider: model default follows") << L{set(u"ai_provider"_s, u"anthropic"_s)} << get(u"ai_model"_s) << 0 << u"claude-haiku-4-5-20251001\n"_s;
    QTest::newRow("unknown key, get") << L{} << get(u"tw_nope"_s) << 2 << QString();
    QTest::newRow("unknown key, set") << L{} << set(u"ai_api_key"_s, u"x"_s) << 2 << QString();
    QTest::newRow("not a switch") << L{} << set(u"tw_soundEnabled"_s, u"yes"_s) << 2 << QString();
    QTest::newRow("not a provider") << L{} << set(u"ai_provider"_s, u"gemini"_s) << 2 << QString();
    QTest::newRow("not a date") << L{} << set(u"tw_lastBackupDate"_s, u"yesterday"_s) << 2 << QString();
    QTest::newRow("value missing") << L{} << QStringList{u"config"_s, u"set"_s, u"ai_model"_s} << 2 << QString();
    QTest::newRow("unknown action") << L{} << QStringList{u"config"_s, u"list"_s, u"x"_s} << 2 << QString();
    // clang-format on
}

void TestAiCommands::config()
{
    QFETCH(QList<QStringList>, before);
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, out);

    setUp(before);
    const Run r = scrivlane(arguments);
    QCOMPARE(r.exitCode, exitCode);
    QCOMPARE(r.out, out);
    QCOMPARE(r.err.isEmpty(), exitCode == 0);
}

void TestAiCommands::providerSwitch()
{
    setUp({{u"config"_s, u"set"_s, u"ai_model"_s, u"gpt-custom"_s},
           {u"ai"_s, u"provider"_s, u"grok"_s}});
    QCOMPARE(scrivlane({u"ai"_s, u"provider"_s}).out, u"grok\n"_s);
    QCOMPARE(scrivlane({u"config"_s, u"get"_s, u"ai_model"_s}).out, u"grok-3-mini\n"_s);
    QCOMPARE(scrivlane({u"config"_s, u"get"_s, u"ai_base_url"_s}).out, u"https://api.x.ai/v1\n"_s);
    QCOMPARE(scrivlane({u"ai"_s, u"provider"_s, u"gemini"_s}).exitCode, 2);
    QCOMPARE(scrivlane({u"ai"_s, u"provider"_s}).out, u"grok\n"_s);
}

void TestAiCommands::keyCompleteAndClear()
{
    setUp({{u"ai"_s, u"provider"_s, u"custom"_s},
           {u"config"_s, u"set"_s, u"ai_base_url"_s, m_server.baseUrl() + u"/v1/"_s},
           {u"config"_s, u"set"_s, u"ai_model"_s, u"m-1"_s}});
    const Run saved = scrivlane({u"ai"_s, u"key"_s, u"set"_s}, " sk-cli-1 \nsecond line\n");
    QCOMPARE(saved.exitCode, 0);
    QVERIFY(!saved.out.contains(u"sk-cli"_s) && !saved.err.contains(u"sk-cli"_s));
    // Where keys are kept is the tray app's note, not something every command repeats.
    QCOMPARE(saved.err, QString());

    const QString secrets = m_home->filePath(u"data/secrets.json"_s);
    struct stat info {};
    QCOMPARE(::stat(QFile::encodeName(secrets).constData(), &info), 0);
    QCOMPARE(info.st_mode & 0777, 0600u);
    QVERIFY(TestFiles::read(secrets).contains(R"("ai_api_key_custom":"sk-cli-1")"));
    QVERIFY(!TestFiles::read(m_home->filePath(u"config/settings.ini"_s)).contains("sk-cli"));

    const Run reply = scrivlane({u"ai"_s, u"complete"_s, u" Say hi "_s});
    QCOMPARE(reply.exitCode, 0);
    QCOMPARE(reply.out, u"Hi!\n"_s);
    QCOMPARE(reply.err, QString());
    QCOMPARE(m_server.requests().size(), 1);
    const RecordedRequest& request = m_server.requests().first();
    QCOMPARE(request.path, QByteArray("/v1/chat/completions"));
    QCOMPARE(request.header("Authorization"), QByteArray("Bearer sk-cli-1"));
    QVERIFY(request.body.startsWith(R"({"model":"m-1","messages":[{"role":"system")"));
    QVERIFY(request.body.contains(R"({"role":"user","content":" Say hi "})"));

    // A provider's message over several lines is said on one.
    m_server.setReply({500, "{\"error\":{\"message\":\"upstream\\nfailed\\n\\ttry later\"}}"});
    const Run failed = scrivlane({u"ai"_s, u"complete"_s, u"x"_s});
    QCOMPARE(failed.exitCode, 1);
    QCOMPARE(failed.out, QString());
    QCOMPARE(failed.err, u"scrivlane: API error 500: upstream failed try later\n"_s);

    QCOMPARE(scrivlane({u"ai"_s, u"key"_s, u"clear"_s}).exitCode, 0);
    QVERIFY(!TestFiles::read(secrets).contains("sk-cli-1"));
    const Run noKey = scrivlane({u"ai"_s, u"complete"_s, u"x"_s});
    QCOMPARE(noKey.exitCode, 1);
    QCOMPARE(noKey.out, QString());
    QCOMPARE(noKey.lastErrLine(), u"scrivlane: API key not set"_s);
    QCOMPARE(m_server.requests().size(), 2);
}

void TestAiCommands::models()
{
    m_server.setReply({200, R"({"data":[{"id":"b"},{"id":"tts-1"},{"id":"a"}]})"});
    setUp({{u"ai"_s, u"provider"_s, u"custom"_s},
           {u"config"_s, u"set"_s, u"ai_base_url"_s, m_server.baseUrl()}});
    QCOMPARE(scrivlane({u"ai"_s, u"key"_s, u"set"_s}, "k\n").exitCode, 0);
    const Run listed = scrivlane({u"ai"_s, u"models"_s});
    QCOMPARE(listed.exitCode, 0);
    QCOMPARE(listed.out,
             u"{\"model\":\"a\",\"availableModels\":[\"a\",\"b\"],\"ollamaDetected\":null}\n"_s);

    // Ollama not running: an empty list, and a line that says so.
    setUp({{u"ai"_s, u"provider"_s, u"ollama"_s},
           {u"config"_s, u"set"_s, u"ai_ollama_port"_s,
            QString::number(HttpTestServer::unusedPort())}});
    const Run failed = scrivlane({u"ai"_s, u"models"_s});
    QCOMPARE(failed.exitCode, 1);
    QCOMPARE(failed.out,
             u"{\"model\":\"llama3.2\",\"availableModels\":[],\"ollamaDetected\":false}\n"_s);
    QVERIFY2(
        failed.lastErrLine().startsWith(u"scrivlane: could not list the provider's models: "_s),
        qPrintable(failed.err));
}

void TestAiCommands::connectionTest()
{
    setUp({{u"ai"_s, u"provider"_s, u"custom"_s},
           {u"config"_s, u"set"_s, u"ai_base_url"_s, m_server.baseUrl()}});
    QCOMPARE(scrivlane({u"ai"_s, u"key"_s, u"set"_s}, "k\n").exitCode, 0);
    m_server.setReply({200, chatReply(" Ready.\\n")});
    const Run ok = scrivlane({u"ai"_s, u"test"_s});
    QCOMPARE(ok.exitCode, 0);
    QCOMPARE(ok.out.trimmed(), u"ok: Ready."_s);
    QVERIFY(m_server.requests().value(0).body.contains("Reply with only the single word: ready"));
    m_server.setReply({500, {}});
    const Run failed = scrivlane({u"ai"_s, u"test"_s});
    QCOMPARE(failed.exitCode, 1);
    QCOMPARE(failed.lastErrLine(), u"error: API error 500"_s);
}

// A key goes into request headers: a control character would break or forge them. A refused
// key leaves the stored one as it was.
void TestAiCommands::badKeyRefused_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("error");
    QTest::newRow("only blanks") << QByteArray(" \t \r\n") << u"no key on standard input"_s;
    QTest::newRow("carriage return inside") << QByteArray("sk-a\rX-Evil: 1\n") << u"control"_s;
    QTest::newRow("delete") << QByteArray("sk-\x7f\n") << u"control"_s;
    QTest::newRow("C1 control") << QByteArray("sk-\xc2\x85x\n") << u"control"_s;
    QTest::newRow("invalid UTF-8") << QByteArray("sk-\xff\xfe\n") << u"UTF-8"_s;
    QTest::newRow("too long") << QByteArray(9000, 'k') + "\n" << u"longer than"_s;
}

void TestAiCommands::badKeyRefused()
{
    QFETCH(QByteArray, input);
    QFETCH(QString, error);
    QCOMPARE(scrivlane({u"ai"_s, u"key"_s, u"set"_s}, "sk-good\n").exitCode, 0);
    const Run refused = scrivlane({u"ai"_s, u"key"_s, u"set"_s}, input);
    QCOMPARE(refused.exitCode, 2);
    QVERIFY2(refused.err.contains(error), qPrintable(refused.err));
    QVERIFY(TestFiles::read(m_home->filePath(u"data/secrets.json"_s)).contains("\"sk-good\""));
}

// `ai key set </dev/zero` must end, and without eating all the memory on its way.
void TestAiCommands::endlessInputEnds()
{
    QProcess process;
    process.setProcessEnvironment(m_env);
    process.setStandardInputFile(u"/dev/zero"_s);
    process.setChildProcessModifier([] {
        const rlimit memory{rlim_t(1) << 30, rlim_t(1) << 30};
        ::setrlimit(RLIMIT_AS, &memory);
    });
    process.start(QStringLiteral(SCRIVLANE_EXECUTABLE), {u"ai"_s, u"key"_s, u"set"_s});
    const bool ended = process.waitForFinished(10000);
    if (!ended)
        process.kill();
    QVERIFY(ended);
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 2);
    QVERIFY(QString::fromUtf8(process.readAllStandardError()).contains(u"longer than"_s));
    QVERIFY(!QFile::exists(m_home->filePath(u"data/secrets.json"_s)));
}

void TestAiCommands::realSecretService()
{
    const QString dbusRunSession = QStandardPaths::findExecutable(u"dbus-run-session"_s);
    const QString keyringDaemon = QStandardPaths::findExecutable(u"gnome-keyring-daemon"_s);
    if (dbusRunSession.isEmpty() || keyringDaemon.isEmpty())
        SKIP_FOR_MISSING_TOOL(
            "needs dbus-run-session and gnome-keyring-daemon (scripts/setup installs them)");

    setUp({{u"ai"_s, u"provider"_s, u"custom"_s},
           {u"config"_s, u"set"_s, u"ai_base_url"_s, m_server.baseUrl()}});
    // A private session bus with an unlocked keyring in a home of its own.
    QTemporaryDir sessionHome;
    const QString runtime = sessionHome.filePath(u"run"_s);
    QVERIFY(QDir().mkpath(runtime));
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_env.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
    m_env.insert(u"HOME"_s, sessionHome.path());
    m_env.insert(u"XDG_RUNTIME_DIR"_s, runtime);
    m_env.insert(u"SCRIVLANE"_s, QStringLiteral(SCRIVLANE_EXECUTABLE));
    const QString script =
        uR"sh(eval "$(printf pw | gnome-keyring-daemon --unlock --components=secrets)" >/dev/null
printf 'sk-ring\n' | "$SCRIVLANE" ai key set || exit 10
"$SCRIVLANE" ai complete hi || exit 11
"$SCRIVLANE" ai key clear || exit 12
"$SCRIVLANE" ai complete hi 2>&1 && exit 13
exit 0)sh"_s;
    const Run r = scrivlane({u"--"_s, u"sh"_s, u"-c"_s, script}, {}, dbusRunSession);
    QVERIFY2(r.exitCode == 0, qPrintable(r.out + r.err));
    QVERIFY(r.out.contains(u"Hi!\n"_s));
    QVERIFY(r.out.contains(u"API key not set"_s)); // cleared from the keyring
    QVERIFY(!r.err.contains(u"No Secret Service"_s));
    QCOMPARE(m_server.requests().size(), 1);
    QCOMPARE(m_server.requests().first().header("Authorization"), QByteArray("Bearer sk-ring"));
    QVERIFY(!QFile::exists(m_home->filePath(u"data/secrets.json"_s)));
}

QTEST_GUILESS_MAIN(TestAiCommands)
#include "tst_aicommands.moc"

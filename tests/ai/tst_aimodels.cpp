#include "AITestSupport.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QByteArray dataList(const QStringList& ids)
{
    QStringList entries;
    for (const QString& id : ids)
        entries.append(u"{\"id\":\""_s + id + u"\",\"object\":\"model\"}"_s);
    return "{\"object\":\"list\",\"data\":[" + entries.join(u',').toUtf8() + "]}";
}

QByteArray ollamaList(const QStringList& names)
{
    QStringList entries;
    for (const QString& name : names)
        entries.append(u"{\"name\":\""_s + name + u"\",\"size\":1}"_s);
    return "{\"models\":[" + entries.join(u',').toUtf8() + "]}";
}

QString detected(std::optional<bool> d)
{
    return d ? (*d ? u"true"_s : u"false"_s) : u"unknown"_s;
}

struct Refresh {
    AIProvider provider;
    QVariantMap properties{};
    QString key = u"k"_s; // empty: none stored
    QStringList before{}; // availableModels before the refresh
    int status = 200;
    QByteArray body{};
    QByteArray path{}; // empty: no request expected
    QString authorization = u"Bearer k"_s;
    QStringList models{};
    QString model{};
    QString ollamaDetected = u"unknown"_s;
};

} // namespace

Q_DECLARE_METATYPE(Refresh)

class TestAIModels : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void refresh_data();
    void refresh();
    void oneRefreshAtATime();
    void refreshTimeLimits_data();
    void refreshTimeLimits();
    void providerSwitchedDuringRefresh();
    void anthropicListReadPageByPage_data();
    void anthropicListReadPageByPage();
    void connectionTest_data();
    void connectionTest();

private:
    HttpTestServer m_server;
};

void TestAIModels::initTestCase()
{
    QVERIFY(m_server.listen());
}

void TestAIModels::init()
{
    m_server.clearRequests();
}

void TestAIModels::refresh_data()
{
    QTest::addColumn<Refresh>("r");
    const QVariant port = QVariant::fromValue<qint64>(m_server.port());
    const QVariant deadPort = QVariant::fromValue<qint64>(HttpTestServer::unusedPort());
    const QVariantMap ollama{{u"ollamaPort"_s, port}};
    const QVariantMap custom{{u"customBaseURL"_s, QVariant(m_server.baseUrl() + u"/c/v1/"_s)},
                             {u"model"_s, u"m"_s}};
    const QStringList openAIDefaults = defaultModels(AIProvider::openAI);
    const QStringList grokDefaults = defaultModels(AIProvider::grok);
    using P = AIProvider;

    // clang-format off
    QTest::newRow("openai filter example") << Refresh{.provider = P::openAI, .before = openAIDefaults,
        .body = dataList({u"gpt-4o"_s, u"text-embedding-3-small"_s, u"o1-mini"_s, u"gpt-4o-realtime-preview"_s, u"dall-e-3"_s, u"chatgpt-4o-latest"_s}),
        .path = "/openai/v1/models", .models = {u"gpt-4o"_s, u"o1-mini"_s}, .model = u"gpt-4o"_s};
    QTest::newRow("openai exclusions are substrings, case-blind") << Refresh{.provider = P::openAI, .before = openAIDefaults,
        .body = dataList({u"GPT-4o-Audio"_s, u"gpt-4o-mini"_s, u"o3-canada"_s, u"gpt-3.5-turbo-instruct"_s, u"o5"_s, u"gpt-tts"_s}),
        .path = "/openai/v1/models", .models = {u"gpt-4o-mini"_s, u"o5"_s}, .model = u"gpt-4o-mini"_s};
    QTest::newRow("grok: seven exclusions, sorted") << Refresh{.provider = P::grok, .before = grokDefaults,
        .body = dataList({u"grok-3"_s, u"grok-2-image"_s, u"grok-embedding"_s, u"Grok-Beta"_s, u"grok-3-mini"_s, u"grok-realtime"_s}),
        .path = "/xai/v1/models", .models = {u"Grok-Beta"_s, u"grok-2-image"_s, u"grok-3"_s, u"grok-3-mini"_s, u"grok-realtime"_s}, .model = u"grok-3-mini"_s};
    QTest::newRow("custom: filtered, first model when default absent") << Refresh{.provider = P::custom, .properties = custom,
        .body = dataList({u"zeta"_s, u"whisper-1"_s, u"alpha-tts"_s, u"Beta"_s, u"alpha"_s}),
        .path = "/c/v1/models", .models = {u"Beta"_s, u"alpha"_s, u"zeta"_s}, .model = u"Beta"_s};
    QTest::newRow("custom: current model kept") << Refresh{.provider = P::custom, .properties = custom,
        .body = dataList({u"z"_s, u"m"_s}), .path = "/c/v1/models", .models = {u"m"_s, u"z"_s}, .model = u"m"_s};
    QTest::newRow("anthropic: all ids, sorted, x-api-key") << Refresh{.provider = P::anthropic, .properties = {{u"model"_s, u"gone"_s}},
        .body = dataList({u"claude-sonnet-4-6"_s, u"claude-embedding"_s, u"claude-haiku-4-5-20251001"_s}), .path = "/anthropic/v1/models", .authorization = {},
        .models = {u"claude-embedding"_s, u"claude-haiku-4-5-20251001"_s, u"claude-sonnet-4-6"_s}, .model = u"claude-haiku-4-5-20251001"_s};
    QTest::newRow("anthropic enterprise: bearer") << Refresh{.provider = P::anthropic, .properties = {{u"anthropicEnterpriseBaseURL"_s, QVariant(m_server.baseUrl() + u"/ent//"_s)}},
        .body = dataList({u"b"_s, u"a"_s}), .path = "/ent/models", .models = {u"a"_s, u"b"_s}, .model = u"a"_s};
    QTest::newRow("sort: upper case first, prefix first") << Refresh{.provider = P::grok, .before = grokDefaults,
        .body = dataList({u"ab"_s, u"a"_s, u"B"_s, u"a-b"_s}), .path = "/xai/v1/models", .models = {u"B"_s, u"a"_s, u"a-b"_s, u"ab"_s}, .model = u"B"_s};
    QTest::newRow("ollama: as received, detected") << Refresh{.provider = P::ollama, .properties = ollama, .key = {},
        .body = ollamaList({u"qwen:7b"_s, u"llama3.2:latest"_s, u"all-minilm-embedding"_s}), .path = "/api/tags", .authorization = {},
        .models = {u"qwen:7b"_s, u"llama3.2:latest"_s, u"all-minilm-embedding"_s}, .model = u"qwen:7b"_s, .ollamaDetected = u"true"_s};
    QTest::newRow("ollama: nothing pulled") << Refresh{.provider = P::ollama, .properties = ollama, .key = {},
        .body = ollamaList({}), .path = "/api/tags", .authorization = {}, .model = u"llama3.2"_s, .ollamaDetected = u"false"_s};
    QTest::newRow("ollama: error status is not running") << Refresh{.provider = P::ollama, .properties = ollama, .key = {}, .before = {u"x"_s},
        .status = 500, .path = "/api/tags", .authorization = {}, .model = u"llama3.2"_s, .ollamaDetected = u"false"_s};
    QTest::newRow("ollama: nothing listening") << Refresh{.provider = P::ollama, .properties = {{u"ollamaPort"_s, deadPort}}, .key = {}, .before = {u"x"_s},
        .authorization = {}, .model = u"llama3.2"_s, .ollamaDetected = u"false"_s};
    QTest::newRow("ollama: undecodable reply changes nothing") << Refresh{.provider = P::ollama, .properties = ollama, .key = {}, .before = {u"x"_s},
        .body = R"({"models":[{"size":1}]})", .path = "/api/tags", .authorization = {}, .models = {u"x"_s}, .model = u"llama3.2"_s};
    QTest::newRow("openai without key: built-in list, no traffic") << Refresh{.provider = P::openAI, .key = {}, .before = {u"x"_s},
        .body = dataList({u"gpt-9"_s}), .models = openAIDefaults, .model = u"gpt-4o-mini"_s};
    QTest::newRow("custom without key: empty, no traffic") << Refresh{.provider = P::custom, .properties = custom, .key = {}, .before = {u"x"_s},
        .body = dataList({u"a"_s}), .model = u"m"_s};
    QTest::newRow("401 leaves a list as it was") << Refresh{.provider = P::openAI, .before = {u"kept"_s},
        .status = 401, .body = R"({"error":{"message":"no"}})", .path = "/openai/v1/models", .models = {u"kept"_s}, .model = u"gpt-4o-mini"_s};
    QTest::newRow("401 fills an empty list for anthropic") << Refresh{.provider = P::anthropic, .status = 401, .path = "/anthropic/v1/models",
        .authorization = {}, .models = defaultModels(AIProvider::anthropic), .model = u"claude-haiku-4-5-20251001"_s};
    QTest::newRow("401 leaves custom empty") << Refresh{.provider = P::custom, .properties = custom, .status = 401, .path = "/c/v1/models", .model = u"m"_s};
    QTest::newRow("200 that does not decode: built-in list for an empty one") << Refresh{.provider = P::grok,
        .body = R"({"data":[{"name":"x"}]})", .path = "/xai/v1/models", .models = grokDefaults, .model = u"grok-3-mini"_s};
    QTest::newRow("empty list from the server is kept, model too") << Refresh{.provider = P::grok, .before = grokDefaults,
        .body = dataList({}), .path = "/xai/v1/models", .model = u"grok-3-mini"_s};
    // clang-format on
}

void TestAIModels::refresh()
{
    QFETCH(Refresh, r);
    m_server.setReply({r.status, r.body});
    AIHarness h(m_server);
    AIService& s = h.start();
    s.setProvider(r.provider);
    for (auto it = r.properties.cbegin(); it != r.properties.cend(); ++it)
        QVERIFY(s.setProperty(it.key().toUtf8().constData(), it.value()));
    s.setAvailableModels(r.before);
    s.setModel(s.model()); // stored now, so the file shows whether a correction is stored too
    if (!r.key.isEmpty())
        h.setKey(r.provider, r.key);
    QSignalSpy fetching(&s, &AIService::isFetchingModelsChanged);

    h.refresh();
    QCOMPARE(s.availableModels(), r.models);
    QCOMPARE(s.model(), r.model);
    QCOMPARE(detected(s.ollamaDetected()), r.ollamaDetected);
    QCOMPARE(s.isFetchingModels(), false);
    QCOMPARE(s.connectionStatus(), AIConnectionStatus{});
    h.settings.sync();
    QCOMPARE(QSettings(h.settings.fileName(), QSettings::IniFormat).value(u"ai_model"_s).toString(),
             r.model);
    if (r.path.isEmpty()) {
        QVERIFY(m_server.requests().isEmpty());
        QCOMPARE(fetching.size(), r.provider == AIProvider::ollama ? 2 : 0);
        return;
    }
    QCOMPARE(fetching.size(), 2);
    QCOMPARE(m_server.requests().size(), 1);
    const RecordedRequest& request = m_server.requests().first();
    QCOMPARE(request.method, QByteArray("GET"));
    QCOMPARE(request.path, r.path);
    QCOMPARE(QString::fromUtf8(request.header("Authorization").value_or(QByteArray())),
             r.authorization);
    const bool publicAnthropic = r.provider == AIProvider::anthropic && r.authorization.isEmpty();
    QCOMPARE(request.header("x-api-key").value_or(QByteArray()),
             publicAnthropic ? QByteArray("k") : QByteArray());
    QCOMPARE(request.header("anthropic-version").value_or(QByteArray()),
             publicAnthropic ? QByteArray("2023-06-01") : QByteArray());
}

void TestAIModels::oneRefreshAtATime()
{
    m_server.setReply({200, dataList({u"gpt-4o"_s}), 300ms});
    AIHarness h(m_server);
    AIService& s = h.start();
    h.setKey(AIProvider::openAI, u"k"_s);
    QSignalSpy fetching(&s, &AIService::isFetchingModelsChanged);
    QSignalSpy done(&s, &AIService::modelsRefreshed);
    s.refreshModels();
    s.refreshModels();
    QVERIFY(fetching.wait(5000));
    QCOMPARE(s.isFetchingModels(), true);
    s.refreshModels();
    QVERIFY(done.wait(5000));
    QTest::qWait(400); // room for a second request that must not come
    QCOMPARE(m_server.requests().size(), 1);
    QCOMPARE(done.size(), 1);
    QCOMPARE(fetching.size(), 2);
    QCOMPARE(s.availableModels(), QStringList{u"gpt-4o"_s});
}

void TestAIModels::anthropicListReadPageByPage_data()
{
    QTest::addColumn<bool>("serverIgnoresAfterId");
    QTest::addColumn<QStringList>("models");
    QTest::addColumn<int>("requests");

    QTest::newRow("three pages") << false
                                 << QStringList{u"claude-a"_s, u"claude-b"_s, u"claude-c"_s,
                                                u"claude-d"_s, u"claude-e"_s}
                                 << 3;
    // A server that keeps sending the first page must not be asked forever.
    QTest::newRow("the same page again") << true << QStringList{u"claude-d"_s, u"claude-e"_s} << 2;
}

void TestAIModels::anthropicListReadPageByPage()
{
    QFETCH(bool, serverIgnoresAfterId);
    QFETCH(QStringList, models);
    QFETCH(int, requests);

    const auto page = [](const QStringList& ids, bool more) {
        QStringList entries;
        for (const QString& id : ids)
            entries.append(u"{\"id\":\""_s + id + u"\",\"type\":\"model\"}"_s);
        return CannedReply{200, "{\"data\":[" + entries.join(u',').toUtf8() +
                                    "],\"has_more\":" + (more ? "true" : "false") +
                                    ",\"first_id\":\"" + ids.first().toUtf8() +
                                    "\",\"last_id\":\"" + ids.last().toUtf8() + "\"}"};
    };
    m_server.setHandler([&](const RecordedRequest& request) {
        if (serverIgnoresAfterId || !request.path.contains("after_id="))
            return page({u"claude-e"_s, u"claude-d"_s}, true);
        if (request.path.endsWith("after_id=claude-d"))
            return page({u"claude-c"_s, u"claude-b"_s}, true);
        return page({u"claude-a"_s}, false);
    });
    AIHarness h(m_server);
    AIService& s = h.start();
    s.setProvider(AIProvider::anthropic);
    h.setKey(AIProvider::anthropic, u"k"_s);
    h.refresh();
    m_server.setHandler({});
    QCOMPARE(s.availableModels(), models);
    QCOMPARE(m_server.requests().size(), requests);
    QCOMPARE(m_server.requests().at(0).path, QByteArray("/anthropic/v1/models"));
    if (!serverIgnoresAfterId)
        QCOMPARE(m_server.requests().at(1).path,
                 QByteArray("/anthropic/v1/models?after_id=claude-d"));
    QVERIFY(!s.modelsFailure());
}

void TestAIModels::refreshTimeLimits_data()
{
    QTest::addColumn<AIProvider>("provider");
    QTest::addColumn<QStringList>("models");
    QTest::addColumn<QString>("ollamaDetected");

    QTest::newRow("model list") << AIProvider::openAI << defaultModels(AIProvider::openAI)
                                << u"unknown"_s;
    QTest::newRow("ollama tags") << AIProvider::ollama << QStringList{} << u"false"_s;
}

void TestAIModels::refreshTimeLimits()
{
    QFETCH(AIProvider, provider);
    QFETCH(QStringList, models);
    QFETCH(QString, ollamaDetected);

    m_server.setReply({200, ollamaList({u"late"_s}), 3000ms});
    AIHarness h(m_server);
    // Each kind of request has its own limit: the other one is long enough to fail the test.
    h.limits.modelList = provider == AIProvider::ollama ? 10s : 300ms;
    h.limits.ollamaTags = provider == AIProvider::ollama ? 300ms : 10s;
    AIService& s = h.start();
    s.setProvider(provider);
    s.setOllamaPort(m_server.port());
    s.setAvailableModels({});
    h.setKey(provider, u"k"_s);
    QElapsedTimer clock;
    clock.start();
    h.refresh();
    QVERIFY(clock.elapsed() < 2500);
    QCOMPARE(s.availableModels(), models);
    QCOMPARE(detected(s.ollamaDetected()), ollamaDetected);
}

void TestAIModels::providerSwitchedDuringRefresh()
{
    m_server.setReply({200, dataList({u"grok-3"_s, u"grok-4"_s}), 200ms});
    AIHarness h(m_server);
    AIService& s = h.start();
    s.setProvider(AIProvider::grok);
    h.setKey(AIProvider::grok, u"k"_s);
    QSignalSpy done(&s, &AIService::modelsRefreshed);
    s.refreshModels();
    QTRY_COMPARE(m_server.requests().size(), 1);
    s.setProvider(AIProvider::custom);
    QVERIFY(done.wait(5000));
    // The finished refresh still writes its list, corrected against the refresh's provider.
    QCOMPARE(s.availableModels(), (QStringList{u"grok-3"_s, u"grok-4"_s}));
    QCOMPARE(s.model(), u"grok-3"_s);
}

void TestAIModels::connectionTest_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<AIConnectionStatus>("expected");

    QTest::newRow("any reply counts")
        << u"k"_s << 200 << openAIReply(u" Ready.\\n"_s) << AIConnectionStatus::ok(u"Ready."_s);
    QTest::newRow("no key") << QString() << 200 << openAIReply(u"x"_s)
                            << AIConnectionStatus::error(u"API key not set"_s);
    QTest::newRow("api error") << u"k"_s << 500 << QByteArray()
                               << AIConnectionStatus::error(u"API error 500"_s);
    QTest::newRow("undecodable reply")
        << u"k"_s << 200 << QByteArray("[]")
        << AIConnectionStatus::error(u"The reply could not be read: not a JSON object"_s);
}

void TestAIModels::connectionTest()
{
    QFETCH(QString, key);
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(AIConnectionStatus, expected);

    m_server.setReply({status, body});
    AIHarness h(m_server);
    AIService& s = h.start();
    if (!key.isEmpty())
        h.setKey(AIProvider::openAI, key);
    QList<AIConnectionStatus> seen;
    connect(&s, &AIService::connectionStatusChanged, this,
            [&] { seen.append(s.connectionStatus()); });
    s.testConnection();
    QTRY_COMPARE_WITH_TIMEOUT(seen.size(), 2, 10000);
    QCOMPARE(seen.first().kind, AIConnectionStatus::Kind::testing);
    QCOMPARE(seen.last(), expected);
    QCOMPARE(m_server.requests().size(), key.isEmpty() ? 0 : 1);
    if (!key.isEmpty())
        QVERIFY(m_server.requests().first().body.contains(
            "{\"role\":\"user\",\"content\":\"Reply with only the single word: ready\"}"));
}

QTEST_GUILESS_MAIN(TestAIModels)
#include "tst_aimodels.moc"

#include "AITestSupport.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

Q_DECLARE_METATYPE(CannedReply)

namespace {

// The system text as it travels in a body: the base message has no characters JSON escapes.
QByteArray systemJson(const QByteArray& extra = {})
{
    return "\"" + AIService::baseSystemMessage.toUtf8() + extra + "\"";
}

QByteArray openAIBody(const QByteArray& model, const QByteArray& system, const QByteArray& prompt,
                      const QByteArray& temperature = "0.7", const QByteArray& maxTokens = "1024")
{
    return "{\"model\":\"" + model + "\",\"messages\":[{\"role\":\"system\",\"content\":" + system +
           "},{\"role\":\"user\",\"content\":\"" + prompt + "\"}],\"temperature\":" + temperature +
           ",\"max_tokens\":" + maxTokens + "}";
}

// OpenAI's reasoning models: no temperature, and the limit under its newer name.
QByteArray reasoningBody(const QByteArray& model)
{
    return "{\"model\":\"" + model +
           "\",\"messages\":[{\"role\":\"system\",\"content\":" + systemJson() +
           "},{\"role\":\"user\",\"content\":\"Hi\"}],\"max_completion_tokens\":1024}";
}

QByteArray anthropicBody(const QByteArray& first, const QByteArray& prompt = "Hi")
{
    return "{" + first + ",\"max_tokens\":1024,\"system\":" + systemJson() +
           ",\"messages\":[{\"role\":\"user\",\"content\":\"" + prompt + "\"}]}";
}

// One request as it goes out: sent with the key unless it is empty; each of `headers`
// ("Name: value") present exactly so, each of `absent` not at all.
struct Wire {
    QString provider = u"openai"_s;
    QVariantMap properties{};
    QString key = u"sk-test-1"_s;
    QString prompt = u"Hi"_s;
    QByteArray path{};
    QStringList headers{u"Content-Type: application/json"_s, u"Authorization: Bearer sk-test-1"_s};
    QStringList absent{};
    QByteArray body{};
};

void apply(AIService& service, const QVariantMap& properties)
{
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        QVERIFY2(service.setProperty(it.key().toUtf8().constData(), it.value()),
                 qPrintable(it.key()));
}

} // namespace

Q_DECLARE_METATYPE(Wire)

class TestAICompletion : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void wireFormat_data();
    void wireFormat();
    void replies_data();
    void replies();
    void failuresBeforeSending_data();
    void failuresBeforeSending();
    void temperatureNotEncodable();
    void transportFailures_data();
    void transportFailures();
    void redirectsStayWithTheKeysOrigin_data();
    void redirectsStayWithTheKeysOrigin();
    void severalInFlight();
    void settingsReadWhenCalled();
    void serviceGoneBeforeReply();

private:
    HttpTestServer m_server;
};

void TestAICompletion::initTestCase()
{
    QVERIFY(m_server.listen());
}

void TestAICompletion::init()
{
    m_server.clearRequests();
    // Each wire format answers in its own shape, so decoding is checked along the way.
    m_server.setHandler([](const RecordedRequest& request) {
        const bool chat = request.path.contains("/chat/completions");
        return CannedReply{200, chat ? openAIReply(u"Hello"_s) : anthropicReply(u" Hello\\n"_s)};
    });
}

void TestAICompletion::wireFormat_data()
{
    QTest::addColumn<Wire>("w");
    const QString base = m_server.baseUrl();
    const QVariant port = QVariant::fromValue<qint64>(m_server.port());
    const QStringList json{u"Content-Type: application/json"_s};
    const QStringList bearer{json.first(), u"Authorization: Bearer sk-test-1"_s};
    const QStringList xApiKey{json.first(), u"x-api-key: sk-test-1"_s,
                              u"anthropic-version: 2023-06-01"_s};
    const QStringList anthropicHeaders{u"x-api-key"_s, u"anthropic-version"_s};
    const QStringList noCredential{u"Authorization"_s, u"x-api-key"_s, u"anthropic-version"_s};
    const auto enterprise = [&](AnthropicEnterpriseEndpointStyle style,
                                AnthropicEnterpriseAuthType auth, const QVariantMap& more = {}) {
        QVariantMap map{{u"anthropicEnterpriseBaseURL"_s, QVariant(base + u"/ent/"_s)},
                        {u"anthropicEnterpriseEndpointStyle"_s, QVariant::fromValue(style)},
                        {u"anthropicEnterpriseAuthType"_s, QVariant::fromValue(auth)},
                        {u"model"_s, u"claude-x"_s}};
        map.insert(more);
        return map;
    };
    using Style = AnthropicEnterpriseEndpointStyle;
    using Auth = AnthropicEnterpriseAuthType;
    const QByteArray chat = "/openai/v1/chat/completions";
    const QByteArray modelFirst = "\"model\":\"claude-x\"";
    const QByteArray bedrockFirst = "\"anthropic_version\":\"bedrock-2023-05-31\"";

    // clang-format off
    QTest::newRow("openai") << Wire{.path = chat, .absent = anthropicHeaders, .body = openAIBody("gpt-4o-mini", systemJson(), "Hi")};
    for (const char* model : {"o1", "o3", "o4-mini", "O3-pro"})
        QTest::addRow("openai reasoning model %s", model) << Wire{.properties = {{u"model"_s, QString::fromLatin1(model)}},
            .path = chat, .absent = anthropicHeaders, .body = reasoningBody(model)};
    QTest::newRow("openai, a name that only starts with o") << Wire{.properties = {{u"model"_s, u"omni-x"_s}},
        .path = chat, .absent = anthropicHeaders, .body = openAIBody("omni-x", systemJson(), "Hi")};
    QTest::newRow("custom provider's o3 keeps the classic fields") << Wire{.provider = u"custom"_s,
        .properties = {{u"customBaseURL"_s, QVariant(base + u"/c/v1"_s)}, {u"model"_s, u"o3"_s}},
        .path = "/c/v1/chat/completions", .absent = anthropicHeaders, .body = openAIBody("o3", systemJson(), "Hi")};
    QTest::newRow("grok, own settings and system prompt") << Wire{.provider = u"grok"_s,
        .properties = {{u"temperature"_s, 0.25}, {u"maxTokens"_s, QVariant::fromValue<qint64>(128)}, {u"globalSystemPrompt"_s, u" Be brief.\n"_s}},
        .path = "/xai/v1/chat/completions", .absent = anthropicHeaders,
        .body = openAIBody("grok-3-mini", systemJson("\\n\\n Be brief.\\n"), "Hi", "0.25", "128")};
    QTest::newRow("ollama without key") << Wire{.provider = u"ollama"_s, .properties = {{u"ollamaPort"_s, port}}, .key = {},
        .path = "/v1/chat/completions", .headers = json, .absent = {u"Authorization"_s, u"x-api-key"_s},
        .body = openAIBody("llama3.2", systemJson(), "Hi")};
    QTest::newRow("ollama with a stored key") << Wire{.provider = u"ollama"_s, .properties = {{u"ollamaPort"_s, port}},
        .path = "/v1/chat/completions", .body = openAIBody("llama3.2", systemJson(), "Hi")};
    QTest::newRow("custom, slashes trimmed") << Wire{.provider = u"custom"_s,
        .properties = {{u"customBaseURL"_s, QVariant(base + u"/custom/v1///"_s)}, {u"model"_s, u"my/model"_s}},
        .path = "/custom/v1/chat/completions", .body = openAIBody("my/model", systemJson(), "Hi")};
    QTest::newRow("prompt escaped, sent untrimmed") << Wire{.prompt = u" Say \"hi\"\\\n\t\x01 Grüße 👍🏽 "_s,
        .path = chat, .body = openAIBody("gpt-4o-mini", systemJson(), " Say \\\"hi\\\"\\\\\\n\\t\\u0001 Grüße 👍🏽 ")};
    QTest::newRow("anthropic public") << Wire{.provider = u"anthropic"_s, .properties = {{u"customBaseURL"_s, u"http://ignored.invalid"_s}},
        .path = "/anthropic/v1/messages", .headers = xApiKey, .absent = {u"Authorization"_s},
        .body = anthropicBody("\"model\":\"claude-haiku-4-5-20251001\"")};
    QTest::newRow("enterprise standard, bearer by default") << Wire{.provider = u"anthropic"_s,
        .properties = {{u"anthropicEnterpriseBaseURL"_s, QVariant(base + u"/ent/"_s)}, {u"model"_s, u"claude-x"_s}},
        .path = "/ent/messages", .absent = anthropicHeaders, .body = anthropicBody(modelFirst)};
    QTest::newRow("enterprise standard, api key") << Wire{.provider = u"anthropic"_s, .properties = enterprise(Style::standard, Auth::apiKey),
        .path = "/ent/messages", .headers = xApiKey, .absent = {u"Authorization"_s}, .body = anthropicBody(modelFirst)};
    QTest::newRow("enterprise custom header, trimmed") << Wire{.provider = u"anthropic"_s,
        .properties = enterprise(Style::standard, Auth::custom, {{u"anthropicEnterpriseCustomHeader"_s, u" \tX-Corp-Key \t"_s}}),
        .path = "/ent/messages", .headers = {json.first(), u"X-Corp-Key: sk-test-1"_s}, .absent = noCredential, .body = anthropicBody(modelFirst)};
    QTest::newRow("enterprise custom header, blank: no credential") << Wire{.provider = u"anthropic"_s,
        .properties = enterprise(Style::standard, Auth::custom, {{u"anthropicEnterpriseCustomHeader"_s, u"  "_s}}),
        .path = "/ent/messages", .headers = json, .absent = noCredential, .body = anthropicBody(modelFirst)};
    QTest::newRow("bedrock path") << Wire{.provider = u"anthropic"_s, .properties = enterprise(Style::bedrockPath, Auth::apiKey),
        .path = "/ent/model/claude-x/messages", .headers = xApiKey, .body = anthropicBody(bedrockFirst)};
    QTest::newRow("bedrock invoke, bearer") << Wire{.provider = u"anthropic"_s, .properties = enterprise(Style::bedrockInvoke, Auth::bearer),
        .path = "/ent/model/claude-x/invoke", .absent = anthropicHeaders, .body = anthropicBody(bedrockFirst)};
    QTest::newRow("custom endpoint, model substituted, slash added") << Wire{.provider = u"anthropic"_s,
        .properties = enterprise(Style::custom, Auth::bearer, {{u"anthropicEnterpriseCustomEndpoint"_s, u"deployments/{model}/chat?v={model}"_s}}),
        .path = "/ent/deployments/claude-x/chat?v=claude-x", .body = anthropicBody(modelFirst)};
    QTest::newRow("custom endpoint with its own slash") << Wire{.provider = u"anthropic"_s,
        .properties = enterprise(Style::custom, Auth::bearer, {{u"anthropicEnterpriseCustomEndpoint"_s, u"/x/{model}"_s}}),
        .path = "/ent/x/claude-x", .body = anthropicBody(modelFirst)};
    // clang-format on
}

void TestAICompletion::wireFormat()
{
    QFETCH(Wire, w);
    AIHarness h(m_server);
    AIService& service = h.start();
    service.setProvider(*providerFromRawValue(w.provider));
    apply(service, w.properties);
    if (!w.key.isEmpty())
        h.setKey(service.provider(), w.key);

    QCOMPARE(h.completeText(w.prompt), u"Hello"_s);
    QCOMPARE(m_server.requests().size(), 1);
    const RecordedRequest& request = m_server.requests().first();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.path, w.path);
    for (const QString& header : w.headers) {
        const qsizetype colon = header.indexOf(u':');
        QCOMPARE(request.header(header.left(colon).toUtf8()).value_or("(absent)"),
                 header.mid(colon + 2).toUtf8());
    }
    for (const QString& name : w.absent)
        QVERIFY2(!request.header(name.toUtf8()), qPrintable(name));
    QCOMPARE(request.body, w.body);
}

void TestAICompletion::replies_data()
{
    QTest::addColumn<QString>("provider");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expected"); // the reply, or "error: " and the failure's text

    const QByteArray html = "<html>" + QByteArray(394, 'x');
    const QString thumbs = u"👍🏽"_s;
    QString thumbsBody;
    for (int i = 0; i < 130; ++i)
        thumbsBody += thumbs;

    // clang-format off
    QTest::newRow("chat: trimmed") << u"openai"_s << 200 << openAIReply(u"  Hello there\\n"_s) << u"Hello there"_s;
    QTest::newRow("chat: first choice") << u"openai"_s << 200 << QByteArray(R"({"choices":[{"message":{"content":"one"}},{"message":{"content":"two"}}]})") << u"one"_s;
    QTest::newRow("chat: no choices") << u"openai"_s << 200 << QByteArray(R"({"choices":[]})") << u"error: Empty response from model"_s;
    QTest::newRow("chat: content null") << u"openai"_s << 200 << QByteArray(R"({"choices":[{"message":{"content":null}}]})") << u"error: The reply could not be read: a choice lacks its message content"_s;
    QTest::newRow("chat: not json") << u"openai"_s << 200 << html << u"error: The reply could not be read: illegal value"_s;
    QTest::newRow("chat: no choices key") << u"openai"_s << 200 << QByteArray(R"({"data":[]})") << u"error: The reply could not be read: \"choices\" is missing or not a list"_s;
    QTest::newRow("messages: first text block") << u"anthropic"_s << 200 << QByteArray(R"({"content":[{"type":"thinking","thinking":"x"},{"type":"text","text":" Hi \n"},{"type":"text","text":"later"}]})") << u"Hi"_s;
    QTest::newRow("messages: blank text") << u"anthropic"_s << 200 << QByteArray(R"({"content":[{"type":"text","text":" \n "}]})") << QString();
    QTest::newRow("messages: no text block") << u"anthropic"_s << 200 << QByteArray(R"({"content":[{"type":"tool_use","id":"t"}]})") << u"error: Empty response from model"_s;
    QTest::newRow("messages: text block without text") << u"anthropic"_s << 200 << QByteArray(R"({"content":[{"type":"text"},{"type":"text","text":"second"}]})") << u"error: Empty response from model"_s;
    QTest::newRow("messages: not json") << u"anthropic"_s << 200 << html << u"error: Network error: Unexpected response format: "_s + QString::fromLatin1(html.left(300));
    QTest::newRow("messages: text not a string") << u"anthropic"_s << 200 << QByteArray(R"({"content":[{"type":"text","text":5}]})") << uR"(error: Network error: Unexpected response format: {"content":[{"type":"text","text":5}]})"_s;
    QTest::newRow("messages: not utf-8") << u"anthropic"_s << 200 << QByteArray("\xff\xfe{") << u"error: Network error: Unexpected response format: (unreadable)"_s;
    QTest::newRow("api error: error.message") << u"openai"_s << 401 << QByteArray(R"({"error":{"message":"Invalid key","type":"auth"}})") << u"error: API error 401: Invalid key"_s;
    QTest::newRow("api error: top-level message") << u"anthropic"_s << 400 << QByteArray(R"({"message":"bad"})") << u"error: API error 400: bad"_s;
    QTest::newRow("api error: error.message not a string") << u"openai"_s << 400 << QByteArray(R"({"error":{"message":5},"message":"top"})") << u"error: API error 400: top"_s;
    QTest::newRow("api error: json without message") << u"openai"_s << 429 << QByteArray(R"({"error":"slow down"})") << uR"(error: API error 429: {"error":"slow down"})"_s;
    QTest::newRow("api error: html cut at 120") << u"openai"_s << 404 << html << u"error: API error 404: "_s + QString::fromLatin1(html.left(120));
    QTest::newRow("api error: 120 characters, not units") << u"openai"_s << 502 << thumbsBody.toUtf8() << u"error: API error 502: "_s + thumbsBody.left(120 * thumbs.size());
    QTest::newRow("api error: empty body") << u"anthropic"_s << 500 << QByteArray() << u"error: API error 500"_s;
    QTest::newRow("api error: body not utf-8") << u"openai"_s << 503 << QByteArray("\xff\xfe") << u"error: API error 503"_s;
    QTest::newRow("api error: 201 is not success") << u"openai"_s << 201 << openAIReply(u"x"_s) << u"error: API error 201: "_s + QString::fromUtf8(openAIReply(u"x"_s).left(120));
    // clang-format on
}

void TestAICompletion::replies()
{
    QFETCH(QString, provider);
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(QString, expected);

    m_server.setReply({status, body});
    AIHarness h(m_server);
    AIService& service = h.start();
    service.setProvider(*providerFromRawValue(provider));
    h.setKey(service.provider(), u"k"_s);
    QCOMPARE(h.completeText(u"Hi"_s), expected);
}

void TestAICompletion::failuresBeforeSending_data()
{
    QTest::addColumn<QString>("provider");
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");

    // clang-format off
    QTest::newRow("openai without key") << u"openai"_s << QVariantMap{} << QString() << u"error: API key not set"_s;
    QTest::newRow("custom base url unparsable") << u"custom"_s << QVariantMap{{u"customBaseURL"_s, u"http://exa mple.com/v1"_s}} << u"k"_s << u"error: Network error: invalid base URL"_s;
    QTest::newRow("enterprise url unparsable") << u"anthropic"_s << QVariantMap{{u"anthropicEnterpriseBaseURL"_s, u"http://a b/"_s}} << u"k"_s << u"error: Network error: invalid Anthropic URL"_s;
    // clang-format on
}

// The service never holds such a temperature; the request builder still refuses one.
void TestAICompletion::temperatureNotEncodable()
{
    AIRequestSettings settings;
    settings.baseURL = m_server.baseUrl();
    settings.temperature = qQNaN();
    const auto request = AIRequests::completionRequest(settings, u"k"_s, u"Hi"_s, 1000ms);
    QVERIFY(std::holds_alternative<AIFailure>(request));
    QCOMPARE(failureDescription(std::get<AIFailure>(request)),
             u"The request could not be encoded: the temperature is not a number"_s);
}

void TestAICompletion::failuresBeforeSending()
{
    QFETCH(QString, provider);
    QFETCH(QVariantMap, properties);
    QFETCH(QString, key);
    QFETCH(QString, expected);

    AIHarness h(m_server);
    AIService& service = h.start();
    service.setProvider(*providerFromRawValue(provider));
    apply(service, properties);
    if (!key.isEmpty())
        h.setKey(service.provider(), key);
    QCOMPARE(h.completeText(u"Hi"_s), expected);
    QVERIFY(m_server.requests().isEmpty());
}

void TestAICompletion::transportFailures_data()
{
    QTest::addColumn<bool>("listening");
    QTest::addColumn<CannedReply>("reply");
    QTest::addColumn<QString>("expected"); // exact, or a prefix ending in "…"

    QTest::newRow("time limit") << true << CannedReply{200, openAIReply(u"late"_s), 3000ms}
                                << u"error: Request timed out"_s;
    QTest::newRow("refused") << false << CannedReply{}
                             << u"error: Network error: Connection refused"_s;
    QTest::newRow("closed without a reply")
        << true << CannedReply{200, {}, 0ms, true} << u"error: Network error: …"_s;
}

void TestAICompletion::transportFailures()
{
    QFETCH(bool, listening);
    QFETCH(CannedReply, reply);
    QFETCH(QString, expected);

    m_server.setReply(reply);
    AIHarness h(m_server);
    h.limits.completion = 400ms;
    AIService& service = h.start();
    service.setProvider(AIProvider::custom);
    const QString base =
        listening ? m_server.baseUrl()
                  : u"http://127.0.0.1:"_s + QString::number(HttpTestServer::unusedPort());
    service.setCustomBaseURL(base + u"/v1"_s);
    h.setKey(AIProvider::custom, u"k"_s);

    QElapsedTimer clock;
    clock.start();
    const QString text = h.completeText(u"Hi"_s);
    if (expected.endsWith(u'…')) {
        QVERIFY2(text.startsWith(expected.chopped(1)), qPrintable(text));
        QVERIFY2(text.size() > expected.size(), "the transport's own text follows");
    } else {
        QCOMPARE(text, expected);
    }
    QVERIFY(clock.elapsed() < 2500);
}

// The custom provider's server answers with a redirect; `target` is where to, "A" standing for
// its own port and "B" for a second server's.
void TestAICompletion::redirectsStayWithTheKeysOrigin_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<int>("requestsToA");
    QTest::addColumn<int>("requestsToB");
    QTest::addColumn<QString>("expected"); // exact, or a prefix ending in "…"

    QTest::newRow("same origin: followed")
        << u"http://127.0.0.1:A/v1/moved"_s << 2 << 0 << u"Hello"_s;
    QTest::newRow("same origin, relative: followed") << u"/v1/moved"_s << 2 << 0 << u"Hello"_s;
    QTest::newRow("another port") << u"http://127.0.0.1:B/v1/moved"_s << 1 << 0
                                  << u"error: Network error: …"_s;
    QTest::newRow("another host name")
        << u"http://localhost:A/v1/moved"_s << 1 << 0 << u"error: Network error: …"_s;
    QTest::newRow("another scheme")
        << u"https://127.0.0.1:A/v1/moved"_s << 1 << 0 << u"error: Network error: …"_s;
}

void TestAICompletion::redirectsStayWithTheKeysOrigin()
{
    QFETCH(QString, target);
    QFETCH(int, requestsToA);
    QFETCH(int, requestsToB);
    QFETCH(QString, expected);

    HttpTestServer other;
    QVERIFY(other.listen());
    other.setReply(CannedReply{200, openAIReply(u"Stolen"_s)});
    target.replace(u":A/"_s, u":"_s + QString::number(m_server.port()) + u"/"_s);
    target.replace(u":B/"_s, u":"_s + QString::number(other.port()) + u"/"_s);
    m_server.setHandler([target](const RecordedRequest& request) {
        if (request.path.endsWith("/moved"))
            return CannedReply{200, openAIReply(u"Hello"_s)};
        return CannedReply{307, {}, 0ms, false, {{"Location", target.toUtf8()}}};
    });

    AIHarness h(m_server);
    AIService& service = h.start();
    service.setProvider(AIProvider::custom);
    service.setCustomBaseURL(m_server.baseUrl() + u"/v1"_s);
    h.setKey(AIProvider::custom, u"sk-secret"_s);

    const QString text = h.completeText(u"Hi"_s);
    if (expected.endsWith(u'…')) {
        QVERIFY2(text.startsWith(expected.chopped(1)) && text.contains(u"redirect"_s),
                 qPrintable(text));
    } else {
        QCOMPARE(text, expected);
    }
    QCOMPARE(m_server.requests().size(), requestsToA);
    QCOMPARE(other.requests().size(), requestsToB);
    for (const RecordedRequest& request : m_server.requests())
        QCOMPARE(request.header("Authorization"), QByteArray("Bearer sk-secret"));
}

void TestAICompletion::severalInFlight()
{
    // The first prompt is answered last: each call must still get its own reply.
    m_server.setHandler([](const RecordedRequest& request) {
        const int n = request.body.contains("prompt-1")   ? 1
                      : request.body.contains("prompt-2") ? 2
                                                          : 3;
        return CannedReply{200, openAIReply(u"reply-%1"_s.arg(n)),
                           std::chrono::milliseconds(600 - 200 * n)};
    });
    AIHarness h(m_server);
    AIService& service = h.start();
    h.setKey(AIProvider::openAI, u"k"_s);

    QStringList finished;
    QHash<QString, QString> replies;
    for (const QString& prompt : {u"prompt-1"_s, u"prompt-2"_s, u"prompt-3"_s}) {
        service.complete(prompt, [&, prompt](const AIResult<QString>& r) {
            finished.append(prompt);
            replies.insert(prompt, std::get<QString>(r));
        });
    }
    QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 3, 10000);
    QCOMPARE(finished, (QStringList{u"prompt-3"_s, u"prompt-2"_s, u"prompt-1"_s}));
    for (int n = 1; n <= 3; ++n)
        QCOMPARE(replies.value(u"prompt-%1"_s.arg(n)), u"reply-%1"_s.arg(n));
}

void TestAICompletion::settingsReadWhenCalled()
{
    AIHarness h(m_server);
    AIService& service = h.start();
    h.setKey(AIProvider::openAI, u"k"_s);
    std::optional<AIResult<QString>> result;
    service.complete(u"Hi"_s, [&result](const AIResult<QString>& r) { result = r; });
    service.setModel(u"changed-after-the-call"_s);
    QTRY_VERIFY_WITH_TIMEOUT(result.has_value(), 10000);
    QCOMPARE(m_server.requests().size(), 1);
    QVERIFY(m_server.requests().first().body.contains("\"model\":\"gpt-4o-mini\""));
}

void TestAICompletion::serviceGoneBeforeReply()
{
    // The request is dropped with its service; the caller hears nothing and nothing crashes.
    m_server.setReply({200, openAIReply(u"late"_s), 300ms});
    AIHarness h(m_server);
    AIService& service = h.start();
    h.setKey(AIProvider::openAI, u"k"_s);
    bool called = false;
    service.complete(u"Hi"_s, [&called](const AIResult<QString>&) { called = true; });
    QTRY_COMPARE(m_server.requests().size(), 1);
    h.service.reset();
    QTest::qWait(600);
    QVERIFY(!called);
}

QTEST_GUILESS_MAIN(TestAICompletion)
#include "tst_aicompletion.moc"

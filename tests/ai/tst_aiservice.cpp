#include "AITestSupport.h"
#include "common/Preferences.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

// Writes an INI file as it lies on disk: every value a string, as another process left it.
void writeIni(const QString& path, const QStringList& lines)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("[General]\n" + lines.join(u'\n').toUtf8() + "\n");
}

struct Loaded {
    QString provider;
    QString model;
    QString customBaseURL;
    QString authType;
    QString endpointStyle;
    double temperature;
    qint64 maxTokens;
    bool isEnabled;
    qint64 ollamaPort;
    QStringList availableModels;
};

QString describe(const Loaded& l)
{
    return QStringList{l.provider,
                       l.model,
                       l.customBaseURL,
                       l.authType,
                       l.endpointStyle,
                       QString::number(l.temperature),
                       QString::number(l.maxTokens),
                       l.isEnabled ? u"on"_s : u"off"_s,
                       QString::number(l.ollamaPort),
                       l.availableModels.join(u',')}
        .join(u" | "_s);
}

Loaded loadedFrom(const AIService& s)
{
    return {rawValue(s.provider()),
            s.model(),
            s.customBaseURL(),
            rawValue(s.anthropicEnterpriseAuthType()),
            rawValue(s.anthropicEnterpriseEndpointStyle()),
            s.temperature(),
            s.maxTokens(),
            s.isEnabled(),
            s.ollamaPort(),
            s.availableModels()};
}

} // namespace

Q_DECLARE_METATYPE(Loaded)

class TestAIService : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void load_data();
    void load();
    void reload_data() { load_data(); }
    void reload();
    void writesAreStoredAtOnce_data();
    void writesAreStoredAtOnce();
    void writesOutOfRangeAreIgnored_data();
    void writesOutOfRangeAreIgnored();
    void rawValuesAreAccepted();
    void providerSwitch_data();
    void providerSwitch();
    void sameProviderStoresOnly();
    void baseURL_data();
    void baseURL();
    void keysPerProvider();
    void keyReadsFollowWrites();

private:
    HttpTestServer m_server; // never asked: nothing here sends
};

void TestAIService::initTestCase()
{
    QVERIFY(m_server.listen());
}

void TestAIService::load_data()
{
    QTest::addColumn<QStringList>("ini");
    QTest::addColumn<Loaded>("expected");

    const QStringList openAIModels{u"gpt-4o-mini"_s, u"gpt-4o"_s, u"o3"_s};
    const Loaded fresh{u"openai"_s,
                       u"gpt-4o-mini"_s,
                       u"https://api.openai.com/v1"_s,
                       u"bearer"_s,
                       u"standard"_s,
                       0.7,
                       1024,
                       false,
                       11434,
                       openAIModels};
    const auto with = [&fresh](auto change) {
        Loaded l = fresh;
        change(l);
        return l;
    };

    // clang-format off
    QTest::newRow("fresh installation") << QStringList{} << fresh;
    QTest::newRow("anthropic, no model") << QStringList{u"ai_provider=anthropic"_s}
        << with([](Loaded& l) { l.provider = u"anthropic"_s; l.model = u"claude-haiku-4-5-20251001"_s; l.customBaseURL = u"https://api.anthropic.com/v1"_s; l.availableModels = defaultModels(AIProvider::anthropic); });
    QTest::newRow("custom: empty model and url, no models") << QStringList{u"ai_provider=custom"_s}
        << with([](Loaded& l) { l.provider = u"custom"_s; l.model.clear(); l.customBaseURL.clear(); l.availableModels.clear(); });
    QTest::newRow("unknown provider") << QStringList{u"ai_provider=gemini"_s} << fresh;
    QTest::newRow("stored model and url kept") << QStringList{u"ai_provider=grok"_s, u"ai_model=grok-9"_s, u"ai_base_url=http://x/"_s}
        << with([](Loaded& l) { l.provider = u"grok"_s; l.model = u"grok-9"_s; l.customBaseURL = u"http://x/"_s; l.availableModels = defaultModels(AIProvider::grok); });
    QTest::newRow("auth api_key") << QStringList{u"ai_anthropic_enterprise_auth=api_key"_s} << with([](Loaded& l) { l.authType = u"api_key"_s; });
    QTest::newRow("auth unknown") << QStringList{u"ai_anthropic_enterprise_auth=oauth"_s} << fresh;
    QTest::newRow("endpoint bedrock_invoke") << QStringList{u"ai_anthropic_enterprise_endpoint=bedrock_invoke"_s} << with([](Loaded& l) { l.endpointStyle = u"bedrock_invoke"_s; });
    QTest::newRow("endpoint unknown") << QStringList{u"ai_anthropic_enterprise_endpoint=Standard"_s} << fresh;
    QTest::newRow("numbers") << QStringList{u"ai_temperature=0.25"_s, u"ai_max_tokens=2048"_s, u"ai_ollama_port=8080"_s, u"ai_enabled=true"_s}
        << with([](Loaded& l) { l.temperature = 0.25; l.maxTokens = 2048; l.ollamaPort = 8080; l.isEnabled = true; });
    QTest::newRow("wrong kinds fall back") << QStringList{u"ai_temperature=warm"_s, u"ai_max_tokens=3.5"_s, u"ai_ollama_port=\"\""_s, u"ai_enabled=yes"_s} << fresh;
    QTest::newRow("temperature not finite") << QStringList{u"ai_temperature=nan"_s} << fresh;
    QTest::newRow("numbers above range fall back") << QStringList{u"ai_temperature=2.5"_s, u"ai_max_tokens=5000"_s, u"ai_ollama_port=70000"_s} << fresh;
    QTest::newRow("numbers below range fall back") << QStringList{u"ai_temperature=-0.1"_s, u"ai_max_tokens=-5"_s, u"ai_ollama_port=0"_s} << fresh;
    QTest::newRow("range ends") << QStringList{u"ai_temperature=2"_s, u"ai_max_tokens=64"_s, u"ai_ollama_port=65535"_s}
        << with([](Loaded& l) { l.temperature = 2.0; l.maxTokens = 64; l.ollamaPort = 65535; });
    QTest::newRow("a list where a string belongs") << QStringList{u"ai_model=a, b"_s} << fresh;
    // clang-format on
}

void TestAIService::load()
{
    QFETCH(QStringList, ini);
    QFETCH(Loaded, expected);

    AIHarness h(m_server);
    writeIni(h.settings.fileName(), ini);
    h.settings.sync();
    const AIService& s = h.start();
    QCOMPARE(describe(loadedFrom(s)), describe(expected));
    QCOMPARE(s.connectionStatus(), AIConnectionStatus{});
    QCOMPARE(s.ollamaDetected(), std::nullopt);
}

// Settings written by another process while the service runs read as they would at start.
void TestAIService::reload()
{
    QFETCH(QStringList, ini);
    QFETCH(Loaded, expected);

    AIHarness h(m_server);
    AIService& s = h.start();
    QSignalSpy provider(&s, &AIService::providerChanged);
    QSignalSpy model(&s, &AIService::modelChanged);
    const QString modelBefore = s.model();
    writeIni(h.settings.fileName(), ini);
    h.settings.sync();
    s.reloadSettings();
    QCOMPARE(describe(loadedFrom(s)), describe(expected));
    QCOMPARE(provider.size(), expected.provider == u"openai"_s ? 0 : 1);
    QCOMPARE(model.size(), expected.model == modelBefore ? 0 : 1);
}

void TestAIService::writesAreStoredAtOnce_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("onDisk"); // as the INI file holds it

    // clang-format off
    QTest::newRow("model") << QByteArray("model") << QVariant(u"m-1"_s) << u"ai_model"_s << u"m-1"_s;
    QTest::newRow("customBaseURL") << QByteArray("customBaseURL") << QVariant(u"http://h/v1"_s) << u"ai_base_url"_s << u"http://h/v1"_s;
    QTest::newRow("enterprise url") << QByteArray("anthropicEnterpriseBaseURL") << QVariant(u"https://e/"_s) << u"ai_anthropic_enterprise_url"_s << u"https://e/"_s;
    QTest::newRow("auth type") << QByteArray("anthropicEnterpriseAuthType") << QVariant::fromValue(AnthropicEnterpriseAuthType::apiKey) << u"ai_anthropic_enterprise_auth"_s << u"api_key"_s;
    QTest::newRow("custom header") << QByteArray("anthropicEnterpriseCustomHeader") << QVariant(u"X-K"_s) << u"ai_anthropic_enterprise_header"_s << u"X-K"_s;
    QTest::newRow("endpoint style") << QByteArray("anthropicEnterpriseEndpointStyle") << QVariant::fromValue(AnthropicEnterpriseEndpointStyle::bedrockPath) << u"ai_anthropic_enterprise_endpoint"_s << u"bedrock_path"_s;
    QTest::newRow("custom endpoint") << QByteArray("anthropicEnterpriseCustomEndpoint") << QVariant(u"/m/{model}"_s) << u"ai_anthropic_enterprise_custom_endpoint"_s << u"/m/{model}"_s;
    QTest::newRow("system prompt") << QByteArray("globalSystemPrompt") << QVariant(u"Be brief."_s) << u"ai_system_prompt"_s << u"Be brief."_s;
    QTest::newRow("temperature") << QByteArray("temperature") << QVariant(1.5) << u"ai_temperature"_s << u"1.5"_s;
    QTest::newRow("max tokens") << QByteArray("maxTokens") << QVariant::fromValue<qint64>(4096) << u"ai_max_tokens"_s << u"4096"_s;
    QTest::newRow("enabled") << QByteArray("isEnabled") << QVariant(true) << u"ai_enabled"_s << u"true"_s;
    QTest::newRow("ollama port") << QByteArray("ollamaPort") << QVariant::fromValue<qint64>(8080) << u"ai_ollama_port"_s << u"8080"_s;
    // clang-format on
}

void TestAIService::writesAreStoredAtOnce()
{
    QFETCH(QByteArray, property);
    QFETCH(QVariant, value);
    QFETCH(QString, key);
    QFETCH(QString, onDisk);

    AIHarness h(m_server);
    AIService& service = h.start();
    QVERIFY(service.setProperty(property.constData(), value));
    h.settings.sync();
    QSettings disk(h.settings.fileName(), QSettings::IniFormat);
    QCOMPARE(disk.value(key).toString(), onDisk);
    QCOMPARE(disk.allKeys(), QStringList{key});

    // And a later process reads it back as the same value.
    AIService reloaded(h.dependencies());
    QCOMPARE(reloaded.property(property.constData()), value);
}

void TestAIService::writesOutOfRangeAreIgnored_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QVariant>("value");

    // clang-format off
    QTest::newRow("temperature above 2") << QByteArray("temperature") << QVariant(2.01);
    QTest::newRow("temperature nan") << QByteArray("temperature") << QVariant(qQNaN());
    QTest::newRow("max tokens below 64") << QByteArray("maxTokens") << QVariant::fromValue<qint64>(-5);
    QTest::newRow("max tokens above 4096") << QByteArray("maxTokens") << QVariant::fromValue<qint64>(4097);
    QTest::newRow("port 70000") << QByteArray("ollamaPort") << QVariant::fromValue<qint64>(70000);
    // clang-format on
}

// What the settings would read back as the default is neither kept nor stored.
void TestAIService::writesOutOfRangeAreIgnored()
{
    QFETCH(QByteArray, property);
    QFETCH(QVariant, value);

    AIHarness h(m_server);
    AIService& service = h.start();
    const QVariant before = service.property(property.constData());
    QSignalSpy endpoint(&service, &AIService::endpointChanged);
    service.setProperty(property.constData(), value);
    QCOMPARE(service.property(property.constData()), before);
    QCOMPARE(endpoint.count(), 0);
    h.settings.sync();
    QCOMPARE(QSettings(h.settings.fileName(), QSettings::IniFormat).allKeys(), QStringList());
}

// Every raw value the service writes must be one the settings accept, or it would read back
// as the default at the next launch.
void TestAIService::rawValuesAreAccepted()
{
    for (const AIProvider p : allProviders())
        QVERIFY2(Preferences::accept(u"ai_provider"_s, rawValue(p)), qPrintable(rawValue(p)));
    for (const AnthropicEnterpriseAuthType a : allAuthTypes())
        QVERIFY2(Preferences::accept(u"ai_anthropic_enterprise_auth"_s, rawValue(a)),
                 qPrintable(rawValue(a)));
    for (const AnthropicEnterpriseEndpointStyle e : allEndpointStyles())
        QVERIFY2(Preferences::accept(u"ai_anthropic_enterprise_endpoint"_s, rawValue(e)),
                 qPrintable(rawValue(e)));
}

void TestAIService::providerSwitch_data()
{
    QTest::addColumn<AIProvider>("from");
    QTest::addColumn<AIProvider>("to");
    QTest::addColumn<QString>("model");
    QTest::addColumn<QString>("customBaseURL");
    QTest::addColumn<QStringList>("availableModels");

    const QString openAIURL = defaultBaseURL(AIProvider::openAI);
    // clang-format off
    QTest::newRow("openai to custom keeps the url") << AIProvider::openAI << AIProvider::custom << QString() << openAIURL << QStringList{};
    QTest::newRow("custom back to openai") << AIProvider::custom << AIProvider::openAI << u"gpt-4o-mini"_s << openAIURL << defaultModels(AIProvider::openAI);
    QTest::newRow("openai to anthropic") << AIProvider::openAI << AIProvider::anthropic << u"claude-haiku-4-5-20251001"_s << defaultBaseURL(AIProvider::anthropic) << defaultModels(AIProvider::anthropic);
    QTest::newRow("anthropic to grok") << AIProvider::anthropic << AIProvider::grok << u"grok-3-mini"_s << defaultBaseURL(AIProvider::grok) << defaultModels(AIProvider::grok);
    QTest::newRow("grok to ollama") << AIProvider::grok << AIProvider::ollama << u"llama3.2"_s << u"http://localhost:11434/v1"_s << QStringList{};
    QTest::newRow("ollama to openai forgets the detection") << AIProvider::ollama << AIProvider::openAI << u"gpt-4o-mini"_s << openAIURL << defaultModels(AIProvider::openAI);
    // clang-format on
}

void TestAIService::providerSwitch()
{
    QFETCH(AIProvider, from);
    QFETCH(AIProvider, to);
    QFETCH(QString, model);
    QFETCH(QString, customBaseURL);
    QFETCH(QStringList, availableModels);

    AIHarness h(m_server);
    AIService& s = h.start();
    s.setProvider(from);
    if (from == AIProvider::ollama) {
        s.setOllamaPort(HttpTestServer::unusedPort());
        h.refresh();
        QCOMPARE(s.ollamaDetected(), std::optional(false));
    }
    // Leave traces that the switch must clear or keep.
    s.setModel(u"left-over"_s);
    s.setAvailableModels({u"left-over"_s});
    s.setGlobalSystemPrompt(u"kept"_s);
    s.setTemperature(0.1);
    s.testConnection(); // no key: ends in error without traffic
    QTRY_COMPARE(s.connectionStatus().kind, AIConnectionStatus::Kind::error);
    h.setKey(from, u"key-of-from"_s);

    QSignalSpy statusSpy(&s, &AIService::connectionStatusChanged);
    s.setProvider(to);
    QCOMPARE(s.provider(), to);
    QCOMPARE(s.model(), model);
    QCOMPARE(s.customBaseURL(), customBaseURL);
    QCOMPARE(s.availableModels(), availableModels);
    QCOMPARE(s.ollamaDetected(), std::nullopt);
    QCOMPARE(s.connectionStatus(), AIConnectionStatus{});
    QCOMPARE(statusSpy.size(), 1);
    QCOMPARE(s.globalSystemPrompt(), u"kept"_s);
    QCOMPARE(s.temperature(), 0.1);

    h.settings.sync();
    QSettings disk(h.settings.fileName(), QSettings::IniFormat);
    QCOMPARE(disk.value(u"ai_provider"_s).toString(), rawValue(to));
    QCOMPARE(disk.value(u"ai_model"_s).toString(), model);
    if (to == AIProvider::custom)
        QVERIFY(!disk.contains(u"ai_base_url"_s)); // left as it was: loaded, never written
    else
        QCOMPARE(disk.value(u"ai_base_url"_s).toString(), customBaseURL);
    // Keys stay with their providers.
    QCOMPARE(h.secrets.readNow(AIService::keychainService, AIService::keychainAccount(from)),
             u"key-of-from"_s);
    QCOMPARE(h.completeText(u"Hi"_s).startsWith(u"error: API key not set"_s),
             to != AIProvider::ollama);
}

void TestAIService::sameProviderStoresOnly()
{
    AIHarness h(m_server);
    AIService& s = h.start();
    s.setProvider(AIProvider::grok);
    s.setModel(u"grok-custom"_s);
    s.testConnection();
    QTRY_COMPARE(s.connectionStatus().kind, AIConnectionStatus::Kind::error);
    h.settings.remove(u"ai_provider"_s);

    QSignalSpy changes(&s, &AIService::providerChanged);
    s.setProvider(AIProvider::grok);
    QCOMPARE(h.settings.value(u"ai_provider"_s).toString(), u"grok"_s);
    QCOMPARE(s.model(), u"grok-custom"_s);
    QCOMPARE(s.connectionStatus().kind, AIConnectionStatus::Kind::error);
    QCOMPARE(changes.size(), 0);
}

void TestAIService::baseURL_data()
{
    QTest::addColumn<AIProvider>("provider");
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<bool>("enterprise");

    const QString openAI = m_server.baseUrl() + u"/openai/v1"_s;
    // clang-format off
    QTest::newRow("openai ignores the custom url") << AIProvider::openAI << QVariantMap{{u"customBaseURL"_s, u"http://left.over/v1"_s}} << openAI << false;
    QTest::newRow("custom, slashes at both ends") << AIProvider::custom << QVariantMap{{u"customBaseURL"_s, u"//http://h//x/v1///"_s}} << u"http://h//x/v1"_s << false;
    QTest::newRow("anthropic enterprise") << AIProvider::anthropic << QVariantMap{{u"anthropicEnterpriseBaseURL"_s, u"https://gw.corp/anthropic/"_s}} << u"https://gw.corp/anthropic"_s << true;
    QTest::newRow("enterprise url ignored elsewhere") << AIProvider::grok << QVariantMap{{u"anthropicEnterpriseBaseURL"_s, u"https://gw.corp/"_s}} << m_server.baseUrl() + u"/xai/v1"_s << false;
    // clang-format on
}

void TestAIService::baseURL()
{
    QFETCH(AIProvider, provider);
    QFETCH(QVariantMap, properties);
    QFETCH(QString, expected);
    QFETCH(bool, enterprise);

    AIHarness h(m_server);
    AIService& s = h.start();
    s.setProvider(provider);
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        s.setProperty(it.key().toUtf8().constData(), it.value());
    QCOMPARE(s.baseURL(), expected);
    QCOMPARE(s.isAnthropicEnterprise(), enterprise);
}

void TestAIService::keysPerProvider()
{
    AIHarness h(m_server);
    AIService& s = h.start();
    for (AIProvider p : allProviders()) {
        s.setProvider(p);
        s.setApiKey(u"key-"_s + rawValue(p));
    }
    s.setProvider(AIProvider::grok);
    bool done = false;
    s.storeApiKey(QString(), [&done](bool ok) { done = ok; });
    QTRY_VERIFY(done);

    QFile file(h.secrets.path());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QJsonObject accounts = QJsonDocument::fromJson(file.readAll())
                                     .object()
                                     .value(AIService::keychainService)
                                     .toObject();
    QCOMPARE(accounts.keys(), (QStringList{u"ai_api_key_anthropic"_s, u"ai_api_key_custom"_s,
                                           u"ai_api_key_ollama"_s, u"ai_api_key_openai"_s}));
    QCOMPARE(accounts.value(u"ai_api_key_openai"_s).toString(), u"key-openai"_s);
    QCOMPARE(s.apiKey(), QString());
    s.setProvider(AIProvider::custom);
    QTRY_COMPARE(s.apiKey(), u"key-custom"_s);
    // Nothing of a key reaches the user defaults.
    h.settings.sync();
    QFile ini(h.settings.fileName());
    QVERIFY(ini.open(QIODevice::ReadOnly));
    QVERIFY(!ini.readAll().contains("key-"));
}

void TestAIService::keyReadsFollowWrites()
{
    AIHarness h(m_server);
    h.setKey(AIProvider::openAI, u"stored"_s);
    AIService& s = h.start();
    QSignalSpy spy(&s, &AIService::apiKeyChanged);
    QTRY_COMPARE(s.apiKey(), u"stored"_s); // the first read arrives after construction
    QCOMPARE(spy.size(), 1);
    s.setApiKey(u"typed"_s);
    QCOMPARE(spy.size(), 2);
    // A read started after a write must see it, even though both finish later.
    QString read;
    s.loadApiKey([&read](const QString& key) { read = key; });
    QTRY_COMPARE(read, u"typed"_s);
    QCOMPARE(s.apiKey(), u"typed"_s);
}

QTEST_GUILESS_MAIN(TestAIService)
#include "tst_aiservice.moc"

#pragma once

#include "ai/AIError.h"
#include "ai/AIProvider.h"
#include "ai/AIRequests.h"

#include <QHash>
#include <QObject>
#include <QStringList>
#include <chrono>
#include <functional>
#include <optional>

class HttpClient;
class QSettings;
class SecretStore;

// Time limits of the three kinds of request.
struct AITimeLimits {
    std::chrono::milliseconds completion{60000};
    std::chrono::milliseconds modelList{10000};
    std::chrono::milliseconds ollamaTags{5000};
};

// Where the hosted providers' public APIs are; tests point them at a local server.
struct AIPublicEndpoints {
    QString openAI = defaultBaseURL(AIProvider::openAI);
    QString anthropic = defaultBaseURL(AIProvider::anthropic);
    QString grok = defaultBaseURL(AIProvider::grok);
};

struct AIServiceDependencies {
    QSettings* settings = nullptr; // the user defaults
    SecretStore* secrets = nullptr;
    HttpClient* http = nullptr;
    AITimeLimits limits;
    AIPublicEndpoints endpoints;
};

// The AI settings, the per-provider API keys and the requests built from them. Every setting
// is a property whose change is signalled; the persisted ones are written to the user
// defaults the moment they change. Main thread only.
class AIService final : public QObject {
    Q_OBJECT
    Q_PROPERTY(AIProvider provider READ provider WRITE setProvider NOTIFY providerChanged)
    Q_PROPERTY(QString model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(
        QString customBaseURL READ customBaseURL WRITE setCustomBaseURL NOTIFY customBaseURLChanged)
    Q_PROPERTY(QString anthropicEnterpriseBaseURL READ anthropicEnterpriseBaseURL WRITE
                   setAnthropicEnterpriseBaseURL NOTIFY anthropicEnterpriseBaseURLChanged)
    Q_PROPERTY(
        AnthropicEnterpriseAuthType anthropicEnterpriseAuthType READ anthropicEnterpriseAuthType
            WRITE setAnthropicEnterpriseAuthType NOTIFY anthropicEnterpriseAuthTypeChanged)
    Q_PROPERTY(QString anthropicEnterpriseCustomHeader READ anthropicEnterpriseCustomHeader WRITE
                   setAnthropicEnterpriseCustomHeader NOTIFY anthropicEnterpriseCustomHeaderChanged)
    Q_PROPERTY(AnthropicEnterpriseEndpointStyle anthropicEnterpriseEndpointStyle READ
                   anthropicEnterpriseEndpointStyle WRITE setAnthropicEnterpriseEndpointStyle NOTIFY
                       anthropicEnterpriseEndpointStyleChanged)
    Q_PROPERTY(
        QString anthropicEnterpriseCustomEndpoint READ anthropicEnterpriseCustomEndpoint WRITE
            setAnthropicEnterpriseCustomEndpoint NOTIFY anthropicEnterpriseCustomEndpointChanged)
    Q_PROPERTY(QString globalSystemPrompt READ globalSystemPrompt WRITE setGlobalSystemPrompt NOTIFY
                   globalSystemPromptChanged)
    Q_PROPERTY(double temperature READ temperature WRITE setTemperature NOTIFY temperatureChanged)
    Q_PROPERTY(qint64 maxTokens READ maxTokens WRITE setMaxTokens NOTIFY maxTokensChanged)
    Q_PROPERTY(bool isEnabled READ isEnabled WRITE setIsEnabled NOTIFY isEnabledChanged)
    Q_PROPERTY(qint64 ollamaPort READ ollamaPort WRITE setOllamaPort NOTIFY ollamaPortChanged)
    Q_PROPERTY(QStringList availableModels READ availableModels WRITE setAvailableModels NOTIFY
                   availableModelsChanged)
    Q_PROPERTY(bool isFetchingModels READ isFetchingModels NOTIFY isFetchingModelsChanged)
    Q_PROPERTY(std::optional<bool> ollamaDetected READ ollamaDetected NOTIFY ollamaDetectedChanged)
    Q_PROPERTY(
        AIConnectionStatus connectionStatus READ connectionStatus NOTIFY connectionStatusChanged)
    Q_PROPERTY(QString apiKey READ apiKey WRITE setApiKey NOTIFY apiKeyChanged)
    Q_PROPERTY(QString baseURL READ baseURL NOTIFY endpointChanged)
    Q_PROPERTY(bool isAnthropicEnterprise READ isAnthropicEnterprise NOTIFY endpointChanged)

public:
    static const QString baseSystemMessage;
    static const QString keychainService;
    static const QString testPrompt;
    static QString keychainAccount(AIProvider provider);

    using CompletionDone = std::function<void(const AIResult<QString>& reply)>;

    explicit AIService(const AIServiceDependencies& dependencies, QObject* parent = nullptr);

    AIProvider provider() const { return m_provider; }
    void setProvider(AIProvider provider);
    const QString& model() const { return m_model; }
    void setModel(const QString& model);
    const QString& customBaseURL() const { return m_customBaseURL; }
    void setCustomBaseURL(const QString& url);
    const QString& anthropicEnterpriseBaseURL() const { return m_anthropicEnterpriseBaseURL; }
    void setAnthropicEnterpriseBaseURL(const QString& url);
    AnthropicEnterpriseAuthType anthropicEnterpriseAuthType() const { return m_authType; }
    void setAnthropicEnterpriseAuthType(AnthropicEnterpriseAuthType authType);
    const QString& anthropicEnterpriseCustomHeader() const { return m_customHeader; }
    void setAnthropicEnterpriseCustomHeader(const QString& header);
    AnthropicEnterpriseEndpointStyle anthropicEnterpriseEndpointStyle() const
    {
        return m_endpointStyle;
    }
    void setAnthropicEnterpriseEndpointStyle(AnthropicEnterpriseEndpointStyle style);
    const QString& anthropicEnterpriseCustomEndpoint() const { return m_customEndpoint; }
    void setAnthropicEnterpriseCustomEndpoint(const QString& endpoint);
    const QString& globalSystemPrompt() const { return m_globalSystemPrompt; }
    void setGlobalSystemPrompt(const QString& prompt);
    // Values outside the settings' ranges (Preferences) are ignored.
    double temperature() const { return m_temperature; }
    void setTemperature(double temperature);
    qint64 maxTokens() const { return m_maxTokens; }
    void setMaxTokens(qint64 maxTokens);
    bool isEnabled() const { return m_isEnabled; }
    void setIsEnabled(bool enabled);
    qint64 ollamaPort() const { return m_ollamaPort; }
    void setOllamaPort(qint64 port);
    const QStringList& availableModels() const { return m_availableModels; }
    void setAvailableModels(const QStringList& models);
    bool isFetchingModels() const { return m_isFetchingModels; }
    std::optional<bool> ollamaDetected() const { return m_ollamaDetected; }
    const AIConnectionStatus& connectionStatus() const { return m_connectionStatus; }
    // Why the last model-list refresh could not reach the provider; none when it did.
    const std::optional<AIFailure>& modelsFailure() const { return m_modelsFailure; }

    QString baseURL() const;
    bool isAnthropicEnterprise() const;

    // The current provider's key as last read from or written to the secret store (empty
    // until the first read arrives; apiKeyChanged tells when it does).
    QString apiKey() const;
    // A non-empty key is stored for the current provider; the empty string deletes its key.
    void setApiKey(const QString& key);
    // The same, telling when the store has finished (the command line waits for it).
    void storeApiKey(const QString& key, std::function<void(bool ok)> done);
    // Reads the current provider's key afresh from the store.
    void loadApiKey(std::function<void(const QString& key)> done);

    // The model's reply to a resolved prompt. `done` runs later, once, on the main thread.
    void complete(const QString& prompt, CompletionDone done);
    // Takes up the settings as they are now in the user defaults (changed by another process),
    // signalling what differs; nothing is written.
    void reloadSettings();
    // Asks the provider for its models; the outcome lands in the properties.
    void refreshModels();
    // Sends the test prompt; the outcome lands in connectionStatus.
    void testConnection();

Q_SIGNALS:
    void providerChanged();
    void modelChanged();
    void customBaseURLChanged();
    void anthropicEnterpriseBaseURLChanged();
    void anthropicEnterpriseAuthTypeChanged();
    void anthropicEnterpriseCustomHeaderChanged();
    void anthropicEnterpriseEndpointStyleChanged();
    void anthropicEnterpriseCustomEndpointChanged();
    void globalSystemPromptChanged();
    void temperatureChanged();
    void maxTokensChanged();
    void isEnabledChanged();
    void ollamaPortChanged();
    void availableModelsChanged();
    void isFetchingModelsChanged();
    void ollamaDetectedChanged();
    void connectionStatusChanged();
    void apiKeyChanged();
    void endpointChanged(); // baseURL or isAnthropicEnterprise may differ
    // The model-list refresh has ended, whatever its outcome.
    void modelsRefreshed();

private:
    void load();
    bool store(const QString& key, const QVariant& value); // false: refused, not stored
    void setIsFetchingModels(bool fetching);
    void setOllamaDetected(std::optional<bool> detected);
    void setConnectionStatus(const AIConnectionStatus& status);
    void rememberKey(AIProvider provider, const QString& key);
    void readKey(AIProvider provider, std::function<void(const QString& key)> done);
    AIRequestSettings requestSettings() const;
    QString systemPrompt() const;
    void fetchModelPage(const AIRequestSettings& settings, const QString& key,
                        const QString& afterId, const QStringList& earlier);
    void finishRefresh(const AIRequestSettings& settings, const AIResult<QStringList>& result);

    template <typename T, typename Signal> bool assign(T& field, const T& value, Signal changed);

    AIServiceDependencies m_deps;
    AIProvider m_provider = AIProvider::openAI;
    QString m_model;
    QString m_customBaseURL;
    QString m_anthropicEnterpriseBaseURL;
    AnthropicEnterpriseAuthType m_authType = AnthropicEnterpriseAuthType::bearer;
    QString m_customHeader;
    AnthropicEnterpriseEndpointStyle m_endpointStyle = AnthropicEnterpriseEndpointStyle::standard;
    QString m_customEndpoint;
    QString m_globalSystemPrompt;
    double m_temperature = 0.7;
    qint64 m_maxTokens = 1024;
    bool m_isEnabled = false;
    qint64 m_ollamaPort = 11434;
    QStringList m_availableModels;
    bool m_isFetchingModels = false;
    std::optional<bool> m_ollamaDetected;
    AIConnectionStatus m_connectionStatus;
    std::optional<AIFailure> m_modelsFailure;
    QHash<AIProvider, QString> m_keys;      // last known key per provider
    QHash<AIProvider, quint64> m_keyWrites; // writes started, per provider
};

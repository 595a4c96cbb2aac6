#pragma once

#include "ai/AIProvider.h"

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <optional>

class AIService;

// The AI Macros pane's rules over the shared AI service: what the key and port fields hold,
// when a provider switch asks first, which model control shows, and the pane's texts.
class AISettingsModel : public QObject {
    Q_OBJECT

public:
    static constexpr double temperatureStep = 0.1;
    static constexpr int temperatureSteps = 20; // 0.0 to 2.0
    static constexpr int maxTokensMinimum = 64;
    static constexpr int maxTokensMaximum = 4096;
    static constexpr int maxTokensStep = 64;

    enum class ModelControl { fetching, picker, field };

    explicit AISettingsModel(AIService* ai, QObject* parent = nullptr);
    AIService* service() const { return m_ai; }

    // The pane appears: the fields are loaded from the service and the models refreshed.
    void appear();

    QString apiKeyInput() const { return m_apiKeyInput; }
    // The user typed: the key is stored (an empty text deletes it) and the models refreshed.
    void editApiKey(const QString& text);
    QString ollamaPortInput() const { return m_ollamaPortInput; }
    void editOllamaPort(const QString& text) { m_ollamaPortInput = text; }
    // A whole number from 1 to 65535 becomes the port; anything else changes nothing.
    bool commitOllamaPort();
    static std::optional<qint64> parsePort(const QString& text);

    // A stored key, an enterprise URL, a port, a base URL or a model of the user's own.
    bool isCustomised() const;
    // Switches at once and returns true, unless the setup is customised: then the switch
    // waits for confirmProviderSwitch() and this returns false.
    bool chooseProvider(AIProvider provider);
    std::optional<AIProvider> pendingProvider() const { return m_pendingProvider; }
    void confirmProviderSwitch();
    void cancelProviderSwitch();
    QString switchTitle() const;
    QString switchMessage() const;
    QString switchButtonText() const { return tr("Switch Provider"); }
    QString keepButtonText() const;

    bool showsApiKey() const; // every provider but Ollama
    QString billingNote() const;
    QUrl apiKeyPage() const; // empty where the provider has no single page
    static QUrl apiKeyPage(AIProvider provider);
    QString ollamaWarning() const; // empty unless Ollama was found not running
    ModelControl modelControl() const;
    QString privacyNote() const;

    enum class StatusLook { none, testing, ok, error };
    StatusLook connectionLook() const;
    QString connectionText() const;

    static QString authTypeLabel(AnthropicEnterpriseAuthType type);
    static QString endpointStyleLabel(AnthropicEnterpriseEndpointStyle style);
    static QString temperatureText(double temperature); // "%.1f"
    static int temperatureToSlider(double temperature);
    static double sliderToTemperature(int position);

Q_SIGNALS:
    // A field's text was loaded from the service (not typed).
    void inputsLoaded();
    void providerSwitchConfirmationRequested();

private:
    void loadInputs();

    AIService* m_ai;
    QString m_apiKeyInput;
    QString m_ollamaPortInput;
    std::optional<AIProvider> m_pendingProvider;
    bool m_keyEdited = false; // typed since the last load
};

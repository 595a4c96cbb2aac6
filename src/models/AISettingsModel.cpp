#include "models/AISettingsModel.h"

#include "ai/AIService.h"

#include <cmath>

using namespace Qt::StringLiterals;

AISettingsModel::AISettingsModel(AIService* ai, QObject* parent) : QObject(parent), m_ai(ai)
{
    connect(ai, &AIService::providerChanged, this, [this] {
        loadInputs();
        m_ai->refreshModels();
    });
}

void AISettingsModel::appear()
{
    loadInputs();
    m_ai->refreshModels();
}

void AISettingsModel::loadInputs()
{
    m_keyEdited = false;
    m_apiKeyInput = m_ai->apiKey();
    m_ollamaPortInput = QString::number(m_ai->ollamaPort());
    Q_EMIT inputsLoaded();
    // The secret store answers later; its key replaces what was known unless the user typed.
    const AIProvider provider = m_ai->provider();
    m_ai->loadApiKey([self = QPointer<AISettingsModel>(this), provider](const QString& key) {
        if (!self || self->m_keyEdited || self->m_ai->provider() != provider ||
            self->m_apiKeyInput == key)
            return;
        self->m_apiKeyInput = key;
        Q_EMIT self->inputsLoaded();
    });
}

void AISettingsModel::editApiKey(const QString& text)
{
    m_keyEdited = true;
    m_apiKeyInput = text;
    m_ai->setApiKey(text);
    m_ai->refreshModels();
}

std::optional<qint64> AISettingsModel::parsePort(const QString& text)
{
    bool ok = false;
    const qint64 port = text.toLongLong(&ok, 10);
    if (!ok || port < 1 || port > 65535)
        return std::nullopt;
    return port;
}

bool AISettingsModel::commitOllamaPort()
{
    const std::optional<qint64> port = parsePort(m_ollamaPortInput);
    if (port)
        m_ai->setOllamaPort(*port);
    return port.has_value();
}

bool AISettingsModel::isCustomised() const
{
    const AIProvider provider = m_ai->provider();
    if (!m_ai->apiKey().isEmpty())
        return true;
    if (provider == AIProvider::anthropic && !m_ai->anthropicEnterpriseBaseURL().isEmpty())
        return true;
    if (provider == AIProvider::ollama && m_ai->ollamaPort() != 11434)
        return true;
    if (provider == AIProvider::custom && !m_ai->customBaseURL().isEmpty())
        return true;
    return m_ai->model() != defaultModel(provider);
}

bool AISettingsModel::chooseProvider(AIProvider provider)
{
    if (provider == m_ai->provider())
        return true;
    if (isCustomised()) {
        m_pendingProvider = provider;
        Q_EMIT providerSwitchConfirmationRequested();
        return false;
    }
    m_ai->setProvider(provider);
    return true;
}

void AISettingsModel::confirmProviderSwitch()
{
    if (const std::optional<AIProvider> pending = std::exchange(m_pendingProvider, std::nullopt))
        m_ai->setProvider(*pending);
}

void AISettingsModel::cancelProviderSwitch()
{
    m_pendingProvider.reset();
}

QString AISettingsModel::switchTitle() const
{
    if (!m_pendingProvider)
        return tr("Switch Provider?");
    return tr("Switch to %1?").arg(displayName(*m_pendingProvider));
}

QString AISettingsModel::switchMessage() const
{
    return tr("Your %1 model and connection settings will be reset to defaults for the new "
              "provider. Your API key is saved separately and won't be lost.")
        .arg(displayName(m_ai->provider()));
}

QString AISettingsModel::keepButtonText() const
{
    return tr("Keep %1").arg(displayName(m_ai->provider()));
}

bool AISettingsModel::showsApiKey() const
{
    return m_ai->provider() != AIProvider::ollama;
}

QString AISettingsModel::billingNote() const
{
    return tr("API access requires a separate account and billing from %1 \u2014 it is not "
              "included with a ChatGPT Plus, Claude Pro, or similar consumer subscription. "
              "Charges are per use, typically fractions of a cent per expansion.")
        .arg(displayName(m_ai->provider()));
}

QUrl AISettingsModel::apiKeyPage() const
{
    return apiKeyPage(m_ai->provider());
}

// The providers' own key-management pages.
QUrl AISettingsModel::apiKeyPage(AIProvider provider)
{
    switch (provider) {
    case AIProvider::openAI:
        return QUrl(u"https://platform.openai.com/api-keys"_s);
    case AIProvider::anthropic:
        return QUrl(u"https://console.anthropic.com/settings/keys"_s);
    case AIProvider::grok:
        return QUrl(u"https://console.x.ai/"_s);
    case AIProvider::ollama:
    case AIProvider::custom:
        break;
    }
    return {};
}

QString AISettingsModel::ollamaWarning() const
{
    if (m_ai->provider() != AIProvider::ollama || m_ai->ollamaDetected() != false)
        return {};
    return tr("Ollama doesn't appear to be running on port %1. Open the Ollama app first.")
        .arg(m_ai->ollamaPort());
}

AISettingsModel::ModelControl AISettingsModel::modelControl() const
{
    if (m_ai->isFetchingModels())
        return ModelControl::fetching;
    if (!m_ai->isAnthropicEnterprise() && !m_ai->availableModels().isEmpty())
        return ModelControl::picker;
    return ModelControl::field;
}

QString AISettingsModel::privacyNote() const
{
    return tr("When you use {ai:\u2026}, the resolved prompt is sent to %1. Clipboard contents "
              "and fill-in values are included if referenced in the prompt.")
        .arg(displayName(m_ai->provider()));
}

AISettingsModel::StatusLook AISettingsModel::connectionLook() const
{
    switch (m_ai->connectionStatus().kind) {
    case AIConnectionStatus::Kind::unknown:
        return StatusLook::none;
    case AIConnectionStatus::Kind::testing:
        return StatusLook::testing;
    case AIConnectionStatus::Kind::ok:
        return StatusLook::ok;
    case AIConnectionStatus::Kind::error:
        return StatusLook::error;
    }
    return StatusLook::none;
}

QString AISettingsModel::connectionText() const
{
    const AIConnectionStatus& status = m_ai->connectionStatus();
    switch (status.kind) {
    case AIConnectionStatus::Kind::ok:
        return tr("Connected \u2014 model replied: \"%1\"").arg(status.text);
    case AIConnectionStatus::Kind::error:
        return status.text;
    case AIConnectionStatus::Kind::unknown:
    case AIConnectionStatus::Kind::testing:
        break;
    }
    return {};
}

QString AISettingsModel::authTypeLabel(AnthropicEnterpriseAuthType type)
{
    switch (type) {
    case AnthropicEnterpriseAuthType::apiKey:
        return tr("x-api-key (Anthropic default)");
    case AnthropicEnterpriseAuthType::bearer:
        return u"Authorization: Bearer"_s;
    case AnthropicEnterpriseAuthType::custom:
        return tr("Custom header");
    }
    return {};
}

QString AISettingsModel::endpointStyleLabel(AnthropicEnterpriseEndpointStyle style)
{
    switch (style) {
    case AnthropicEnterpriseEndpointStyle::standard:
        return tr("Standard  (/messages)");
    case AnthropicEnterpriseEndpointStyle::bedrockPath:
        return tr("Bedrock path  (/model/{model}/messages)");
    case AnthropicEnterpriseEndpointStyle::bedrockInvoke:
        return tr("Bedrock invoke  (/model/{model}/invoke)");
    case AnthropicEnterpriseEndpointStyle::custom:
        return tr("Custom path");
    }
    return {};
}

QString AISettingsModel::temperatureText(double temperature)
{
    return QString::asprintf("%.1f", temperature);
}

int AISettingsModel::temperatureToSlider(double temperature)
{
    return std::clamp(int(std::lround(temperature / temperatureStep)), 0, temperatureSteps);
}

double AISettingsModel::sliderToTemperature(int position)
{
    // Whole tenths, so the stored value reads 0.7 and not 0.7000000000000001.
    return double(std::clamp(position, 0, temperatureSteps)) / 10.0;
}

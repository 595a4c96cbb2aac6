#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <optional>

// The model providers, in the order every provider picker shows them.
enum class AIProvider { openAI, anthropic, grok, ollama, custom };

// How an API key is presented to an Anthropic-compatible enterprise endpoint.
enum class AnthropicEnterpriseAuthType { apiKey, bearer, custom };

// How the request URL of an Anthropic-compatible enterprise endpoint is built.
enum class AnthropicEnterpriseEndpointStyle { standard, bedrockPath, bedrockInvoke, custom };

const QList<AIProvider>& allProviders();
const QList<AnthropicEnterpriseAuthType>& allAuthTypes();
const QList<AnthropicEnterpriseEndpointStyle>& allEndpointStyles();

// The raw values kept in the user defaults.
QString rawValue(AIProvider provider);
QString rawValue(AnthropicEnterpriseAuthType authType);
QString rawValue(AnthropicEnterpriseEndpointStyle style);
std::optional<AIProvider> providerFromRawValue(const QString& raw);
std::optional<AnthropicEnterpriseAuthType> authTypeFromRawValue(const QString& raw);
std::optional<AnthropicEnterpriseEndpointStyle> endpointStyleFromRawValue(const QString& raw);

QString displayName(AIProvider provider);
QString defaultModel(AIProvider provider);
QString defaultBaseURL(AIProvider provider); // the public API's base for the hosted ones
QStringList defaultModels(AIProvider provider);

// What the last connection test found.
struct AIConnectionStatus {
    enum class Kind { unknown, testing, ok, error };
    Kind kind = Kind::unknown;
    QString text; // ok: the reply; error: the message

    static AIConnectionStatus ok(const QString& reply) { return {Kind::ok, reply}; }
    static AIConnectionStatus error(const QString& message) { return {Kind::error, message}; }
    bool operator==(const AIConnectionStatus&) const = default;
};

Q_DECLARE_METATYPE(AIProvider)
Q_DECLARE_METATYPE(AnthropicEnterpriseAuthType)
Q_DECLARE_METATYPE(AnthropicEnterpriseEndpointStyle)
Q_DECLARE_METATYPE(AIConnectionStatus)

#include "AIProvider.h"

using namespace Qt::StringLiterals;

namespace {

template <typename Enum> std::optional<Enum> fromRaw(const QList<Enum>& all, const QString& raw)
{
    for (const Enum value : all) {
        if (rawValue(value) == raw)
            return value;
    }
    return std::nullopt;
}

} // namespace

const QList<AIProvider>& allProviders()
{
    static const QList<AIProvider> all{AIProvider::openAI, AIProvider::anthropic, AIProvider::grok,
                                       AIProvider::ollama, AIProvider::custom};
    return all;
}

const QList<AnthropicEnterpriseAuthType>& allAuthTypes()
{
    static const QList<AnthropicEnterpriseAuthType> all{AnthropicEnterpriseAuthType::apiKey,
                                                        AnthropicEnterpriseAuthType::bearer,
                                                        AnthropicEnterpriseAuthType::custom};
    return all;
}

const QList<AnthropicEnterpriseEndpointStyle>& allEndpointStyles()
{
    static const QList<AnthropicEnterpriseEndpointStyle> all{
        AnthropicEnterpriseEndpointStyle::standard, AnthropicEnterpriseEndpointStyle::bedrockPath,
        AnthropicEnterpriseEndpointStyle::bedrockInvoke, AnthropicEnterpriseEndpointStyle::custom};
    return all;
}

QString rawValue(AIProvider provider)
{
    switch (provider) {
    case AIProvider::openAI:
        return u"openai"_s;
    case AIProvider::anthropic:
        return u"anthropic"_s;
    case AIProvider::grok:
        return u"grok"_s;
    case AIProvider::ollama:
        return u"ollama"_s;
    case AIProvider::custom:
        return u"custom"_s;
    }
    return {};
}

QString rawValue(AnthropicEnterpriseAuthType authType)
{
    switch (authType) {
    case AnthropicEnterpriseAuthType::apiKey:
        return u"api_key"_s;
    case AnthropicEnterpriseAuthType::bearer:
        return u"bearer"_s;
    case AnthropicEnterpriseAuthType::custom:
        return u"custom"_s;
    }
    return {};
}

QString rawValue(AnthropicEnterpriseEndpointStyle style)
{
    switch (style) {
    case AnthropicEnterpriseEndpointStyle::standard:
        return u"standard"_s;
    case AnthropicEnterpriseEndpointStyle::bedrockPath:
        return u"bedrock_path"_s;
    case AnthropicEnterpriseEndpointStyle::bedrockInvoke:
        return u"bedrock_invoke"_s;
    case AnthropicEnterpriseEndpointStyle::custom:
        return u"custom"_s;
    }
    return {};
}

std::optional<AIProvider> providerFromRawValue(const QString& raw)
{
    return fromRaw(allProviders(), raw);
}

std::optional<AnthropicEnterpriseAuthType> authTypeFromRawValue(const QString& raw)
{
    return fromRaw(allAuthTypes(), raw);
}

std::optional<AnthropicEnterpriseEndpointStyle> endpointStyleFromRawValue(const QString& raw)
{
    return fromRaw(allEndpointStyles(), raw);
}

QString displayName(AIProvider provider)
{
    switch (provider) {
    case AIProvider::openAI:
        return u"OpenAI"_s;
    case AIProvider::anthropic:
        return u"Anthropic"_s;
    case AIProvider::grok:
        return u"Grok (xAI)"_s;
    case AIProvider::ollama:
        return u"Ollama (Local)"_s;
    case AIProvider::custom:
        return u"Custom"_s;
    }
    return {};
}

QString defaultModel(AIProvider provider)
{
    switch (provider) {
    case AIProvider::openAI:
        return u"gpt-4o-mini"_s;
    case AIProvider::anthropic:
        return u"claude-haiku-4-5-20251001"_s;
    case AIProvider::grok:
        return u"grok-3-mini"_s;
    case AIProvider::ollama:
        return u"llama3.2"_s;
    case AIProvider::custom:
        return {};
    }
    return {};
}

QString defaultBaseURL(AIProvider provider)
{
    switch (provider) {
    case AIProvider::openAI:
        return u"https://api.openai.com/v1"_s;
    case AIProvider::anthropic:
        return u"https://api.anthropic.com/v1"_s;
    case AIProvider::grok:
        return u"https://api.x.ai/v1"_s;
    case AIProvider::ollama:
        return u"http://localhost:11434/v1"_s;
    case AIProvider::custom:
        return {};
    }
    return {};
}

QStringList defaultModels(AIProvider provider)
{
    switch (provider) {
    case AIProvider::openAI:
        return {u"gpt-4o-mini"_s, u"gpt-4o"_s, u"o3"_s};
    case AIProvider::anthropic:
        return {u"claude-haiku-4-5-20251001"_s, u"claude-sonnet-4-6"_s, u"claude-opus-4-7"_s};
    case AIProvider::grok:
        return {u"grok-3-mini"_s, u"grok-3"_s};
    case AIProvider::ollama:
    case AIProvider::custom:
        return {};
    }
    return {};
}

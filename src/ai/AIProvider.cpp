#include "ai/AIProvider.h"

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

// Everything fixed about a provider, in one row each.
struct ProviderFacts {
    AIProvider provider;
    QString raw;
    QString displayName;
    QString defaultModel;
    QString defaultBaseURL;
    QStringList defaultModels;
};

const QList<ProviderFacts>& providerTable()
{
    static const QList<ProviderFacts> table{
        {AIProvider::openAI,
         u"openai"_s,
         u"OpenAI"_s,
         u"gpt-4o-mini"_s,
         u"https://api.openai.com/v1"_s,
         {u"gpt-4o-mini"_s, u"gpt-4o"_s, u"o3"_s}},
        {AIProvider::anthropic,
         u"anthropic"_s,
         u"Anthropic"_s,
         u"claude-haiku-4-5-20251001"_s,
         u"https://api.anthropic.com/v1"_s,
         {u"claude-haiku-4-5-20251001"_s, u"claude-sonnet-4-6"_s, u"claude-opus-4-7"_s}},
        {AIProvider::grok,
         u"grok"_s,
         u"Grok (xAI)"_s,
         u"grok-3-mini"_s,
         u"https://api.x.ai/v1"_s,
         {u"grok-3-mini"_s, u"grok-3"_s}},
        {AIProvider::ollama,
         u"ollama"_s,
         u"Ollama (Local)"_s,
         u"llama3.2"_s,
         u"http://localhost:11434/v1"_s,
         {}},
        {AIProvider::custom, u"custom"_s, u"Custom"_s, {}, {}, {}},
    };
    return table;
}

const ProviderFacts& facts(AIProvider provider)
{
    for (const ProviderFacts& row : providerTable())
        if (row.provider == provider)
            return row;
    return providerTable().last();
}

} // namespace

const QList<AIProvider>& allProviders()
{
    static const QList<AIProvider> all = [] {
        QList<AIProvider> list;
        for (const ProviderFacts& row : providerTable())
            list.append(row.provider);
        return list;
    }();
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
    return facts(provider).raw;
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
    return facts(provider).displayName;
}

QString defaultModel(AIProvider provider)
{
    return facts(provider).defaultModel;
}

QString defaultBaseURL(AIProvider provider)
{
    return facts(provider).defaultBaseURL;
}

QStringList defaultModels(AIProvider provider)
{
    return facts(provider).defaultModels;
}

#include "ai/AIRequests.h"

#include "common/JsonText.h"
#include "text/TextRules.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QStringDecoder>
#include <QUrlQuery>
#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype unexpectedFormatExcerpt = 300;

// Bodies are written by hand: QJsonDocument sorts keys, and the order is part of the format.
QByteArray jsonString(const QString& s)
{
    return JsonText::quoted(s);
}

void addHeader(HttpRequest& request, const QByteArray& name, const QByteArray& value)
{
    request.headers.append(std::pair(name, value));
}

QByteArray messagesJson(const QString& prompt)
{
    return "[{\"role\":\"user\",\"content\":" + jsonString(prompt) + "}]";
}

} // namespace

QString AIRequests::trimmedSlashes(const QString& s)
{
    qsizetype begin = 0;
    qsizetype end = s.size();
    while (begin < end && s.at(begin) == u'/')
        ++begin;
    while (end > begin && s.at(end - 1) == u'/')
        --end;
    return s.mid(begin, end - begin);
}

namespace {

std::optional<QUrl> parsedUrl(const QString& text)
{
    QUrl url(text, QUrl::StrictMode);
    if (text.isEmpty() || !url.isValid())
        return std::nullopt;
    return url;
}

std::optional<QString> validUtf8(const QByteArray& bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

ForeignError unreadable(const QString& detail)
{
    return {u"The reply could not be read: "_s + detail};
}

// The JSON object of a reply, or why it is not one.
std::variant<QJsonObject, ForeignError> replyObject(const QByteArray& body)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return unreadable(parseError.errorString());
    if (!document.isObject())
        return unreadable(u"not a JSON object"_s);
    return document.object();
}

// Every element of object[arrayKey] must be an object with a string under stringKey.
AIResult<QStringList> stringsOfEntries(const QByteArray& body, const QString& arrayKey,
                                       const QString& stringKey)
{
    const auto object = replyObject(body);
    if (const auto* error = std::get_if<ForeignError>(&object))
        return *error;
    const QJsonValue array = std::get<QJsonObject>(object).value(arrayKey);
    if (!array.isArray())
        return unreadable(u"\""_s + arrayKey + u"\" is missing or not a list"_s);
    QStringList out;
    for (const QJsonValue& entry : array.toArray()) {
        const QJsonValue value = entry.toObject().value(stringKey);
        if (!value.isString())
            return unreadable(u"an entry of \""_s + arrayKey + u"\" lacks the string \""_s +
                              stringKey + u"\""_s);
        out.append(value.toString());
    }
    return out;
}

AIResult<QString> openAIStyleText(const QByteArray& body)
{
    const auto object = replyObject(body);
    if (const auto* error = std::get_if<ForeignError>(&object))
        return *error;
    const QJsonValue choices = std::get<QJsonObject>(object).value(u"choices"_s);
    if (!choices.isArray())
        return unreadable(u"\"choices\" is missing or not a list"_s);
    QStringList contents;
    for (const QJsonValue& choice : choices.toArray()) {
        const QJsonValue message = choice.toObject().value(u"message"_s);
        const QJsonValue content = message.toObject().value(u"content"_s);
        if (!message.isObject() || !content.isString())
            return unreadable(u"a choice lacks its message content"_s);
        contents.append(content.toString());
    }
    if (contents.isEmpty())
        return AIError::emptyResponse();
    return TextRules::trimWhitespaceAndNewlines(contents.first());
}

// nullopt: the body is not a Messages reply.
std::optional<AIResult<QString>> anthropicText(const QByteArray& body)
{
    const auto object = replyObject(body);
    if (std::holds_alternative<ForeignError>(object))
        return std::nullopt;
    const QJsonValue content = std::get<QJsonObject>(object).value(u"content"_s);
    if (!content.isArray())
        return std::nullopt;
    std::optional<std::optional<QString>> firstText; // found a text block; its text if any
    for (const QJsonValue& entry : content.toArray()) {
        if (!entry.isObject())
            return std::nullopt;
        const QJsonObject block = entry.toObject();
        const QJsonValue type = block.value(u"type"_s);
        const QJsonValue text = block.value(u"text"_s);
        if (!type.isString() || !(text.isUndefined() || text.isNull() || text.isString()))
            return std::nullopt;
        if (!firstText && type.toString() == u"text"_s)
            firstText = text.isString() ? std::optional(text.toString()) : std::nullopt;
    }
    if (!firstText || !*firstText)
        return AIResult<QString>(AIError::emptyResponse());
    return AIResult<QString>(TextRules::trimWhitespaceAndNewlines(**firstText));
}

QString anthropicUrl(const AIRequestSettings& s)
{
    if (!s.isAnthropicEnterprise)
        return s.anthropicPublicBaseURL + u"/messages"_s;
    const QString base = AIRequests::trimmedSlashes(s.baseURL);
    switch (s.endpointStyle) {
    case AnthropicEnterpriseEndpointStyle::standard:
        return base + u"/messages"_s;
    case AnthropicEnterpriseEndpointStyle::bedrockPath:
        return base + u"/model/"_s + s.model + u"/messages"_s;
    case AnthropicEnterpriseEndpointStyle::bedrockInvoke:
        return base + u"/model/"_s + s.model + u"/invoke"_s;
    case AnthropicEnterpriseEndpointStyle::custom: {
        QString endpoint = s.customEndpoint;
        endpoint.replace(u"{model}"_s, s.model);
        if (!endpoint.startsWith(u'/'))
            endpoint.prepend(u'/');
        return base + endpoint;
    }
    }
    return {};
}

bool isBedrock(const AIRequestSettings& s)
{
    return s.isAnthropicEnterprise &&
           (s.endpointStyle == AnthropicEnterpriseEndpointStyle::bedrockPath ||
            s.endpointStyle == AnthropicEnterpriseEndpointStyle::bedrockInvoke);
}

AIResult<HttpRequest> anthropicRequest(const AIRequestSettings& s, const QString& apiKey,
                                       const QString& prompt, std::chrono::milliseconds limit)
{
    const std::optional<QUrl> url = parsedUrl(anthropicUrl(s));
    if (!url)
        return AIError::networkError(u"invalid Anthropic URL"_s);
    HttpRequest request{"POST", *url, {}, {}, limit};
    addHeader(request, "Content-Type", "application/json");
    AIRequests::applyAnthropicAuth(request, s, apiKey);
    // Bedrock carries the model in the URL, so the body names the API version instead.
    const QByteArray first = isBedrock(s)
                                 ? QByteArray("\"anthropic_version\":\"bedrock-2023-05-31\"")
                                 : QByteArray("\"model\":" + jsonString(s.model));
    request.body = "{" + first + ",\"max_tokens\":" + QByteArray::number(s.maxTokens) +
                   ",\"system\":" + jsonString(s.systemPrompt) +
                   ",\"messages\":" + messagesJson(prompt) + "}";
    return request;
}

AIResult<HttpRequest> openAIStyleRequest(const AIRequestSettings& s, const QString& apiKey,
                                         const QString& prompt, std::chrono::milliseconds limit)
{
    const std::optional<QUrl> url = parsedUrl(s.baseURL + u"/chat/completions"_s);
    if (!url)
        return AIError::networkError(u"invalid base URL"_s);
    if (!std::isfinite(s.temperature))
        return ForeignError{u"The request could not be encoded: the temperature is not a number"_s};
    HttpRequest request{"POST", *url, {}, {}, limit};
    addHeader(request, "Content-Type", "application/json");
    if (!apiKey.isEmpty())
        addHeader(request, "Authorization", "Bearer " + apiKey.toUtf8());
    const QByteArray tokens = QByteArray::number(s.maxTokens);
    const QByteArray limits =
        AIRequests::isReasoningModel(s.provider, s.model)
            ? QByteArray(",\"max_completion_tokens\":" + tokens)
            : QByteArray(",\"temperature\":" +
                         QByteArray::number(s.temperature, 'g', QLocale::FloatingPointShortest) +
                         ",\"max_tokens\":" + tokens);
    request.body = "{\"model\":" + jsonString(s.model) +
                   ",\"messages\":[{\"role\":\"system\",\"content\":" + jsonString(s.systemPrompt) +
                   "},{\"role\":\"user\",\"content\":" + jsonString(prompt) + "}]" + limits + "}";
    return request;
}

bool containsAny(const QString& id, std::initializer_list<const char16_t*> words)
{
    return std::any_of(words.begin(), words.end(),
                       [&id](const char16_t* word) { return id.contains(QStringView(word)); });
}

} // namespace

namespace AIRequests {

AIResult<HttpRequest> completionRequest(const AIRequestSettings& settings, const QString& apiKey,
                                        const QString& prompt, std::chrono::milliseconds limit)
{
    if (settings.provider == AIProvider::anthropic)
        return anthropicRequest(settings, apiKey, prompt, limit);
    return openAIStyleRequest(settings, apiKey, prompt, limit);
}

void applyAnthropicAuth(HttpRequest& request, const AIRequestSettings& settings,
                        const QString& apiKey)
{
    const QByteArray key = apiKey.toUtf8();
    if (!settings.isAnthropicEnterprise ||
        settings.authType == AnthropicEnterpriseAuthType::apiKey) {
        addHeader(request, "x-api-key", key);
        addHeader(request, "anthropic-version", "2023-06-01");
        return;
    }
    if (settings.authType == AnthropicEnterpriseAuthType::bearer) {
        addHeader(request, "Authorization", "Bearer " + key);
        return;
    }
    const QString name = TextRules::trimSpacesAndTabs(settings.customHeader);
    if (!name.isEmpty())
        addHeader(request, name.toUtf8(), key);
}

AIResult<QByteArray> performRequestResult(const HttpResponse& response)
{
    switch (response.outcome) {
    case HttpResponse::Outcome::timedOut:
        return AIError::timeout();
    case HttpResponse::Outcome::transportError:
        return AIError::networkError(response.errorText);
    case HttpResponse::Outcome::notHttp:
        return AIError::networkError(u"no response"_s);
    case HttpResponse::Outcome::reply:
        break;
    }
    if (response.status != 200)
        return AIError::apiError(response.status, validUtf8(response.body).value_or(QString()));
    return response.body;
}

AIResult<QString> completionText(AIProvider provider, const QByteArray& body)
{
    if (provider != AIProvider::anthropic)
        return openAIStyleText(body);
    if (std::optional<AIResult<QString>> text = anthropicText(body))
        return *text;
    const QString shown = validUtf8(body).value_or(u"(unreadable)"_s);
    return AIError::networkError(u"Unexpected response format: "_s +
                                 TextRules::firstCharacters(shown, unexpectedFormatExcerpt));
}

bool isReasoningModel(AIProvider provider, const QString& model)
{
    return provider == AIProvider::openAI && model.size() >= 2 && model.at(0).toLower() == u'o' &&
           model.at(1).isDigit();
}

std::optional<QString> nextModelPage(AIProvider provider, const HttpResponse& response)
{
    if (provider != AIProvider::anthropic || response.outcome != HttpResponse::Outcome::reply ||
        response.status != 200)
        return std::nullopt;
    const auto object = replyObject(response.body);
    const auto* reply = std::get_if<QJsonObject>(&object);
    if (!reply || !reply->value(u"has_more"_s).toBool())
        return std::nullopt;
    const QString last = reply->value(u"last_id"_s).toString();
    return last.isEmpty() ? std::nullopt : std::optional<QString>(last);
}

AIResult<HttpRequest> modelListRequest(const AIRequestSettings& s, const QString& apiKey,
                                       std::chrono::milliseconds limit,
                                       std::chrono::milliseconds ollamaLimit,
                                       const QString& afterId)
{
    if (s.provider == AIProvider::ollama) {
        const auto url =
            parsedUrl(u"http://localhost:"_s + QString::number(s.ollamaPort) + u"/api/tags"_s);
        if (!url)
            return AIError::networkError(u"invalid URL"_s);
        return HttpRequest{"GET", *url, {}, {}, ollamaLimit};
    }
    if (s.provider == AIProvider::anthropic) {
        const QString base = s.isAnthropicEnterprise ? s.baseURL : s.anthropicPublicBaseURL;
        auto url = parsedUrl(base + u"/models"_s);
        if (!url)
            return AIError::networkError(u"invalid URL"_s);
        if (!afterId.isEmpty()) {
            QUrlQuery query(*url);
            query.addQueryItem(u"after_id"_s, afterId);
            url->setQuery(query);
        }
        HttpRequest request{"GET", *url, {}, {}, limit};
        applyAnthropicAuth(request, s, apiKey);
        return request;
    }
    const auto url = parsedUrl(s.baseURL + u"/models"_s);
    if (!url)
        return AIError::networkError(u"invalid base URL"_s);
    HttpRequest request{"GET", *url, {}, {}, limit};
    if (!apiKey.isEmpty())
        addHeader(request, "Authorization", "Bearer " + apiKey.toUtf8());
    return request;
}

AIResult<QStringList> modelList(AIProvider provider, const HttpResponse& response)
{
    if (provider == AIProvider::ollama) {
        if (response.outcome != HttpResponse::Outcome::reply || response.status != 200)
            return AIError::ollamaNotRunning();
        return stringsOfEntries(response.body, u"models"_s, u"name"_s);
    }
    switch (response.outcome) {
    case HttpResponse::Outcome::timedOut:
        return AIError::timeout();
    case HttpResponse::Outcome::transportError:
        return AIError::networkError(response.errorText);
    case HttpResponse::Outcome::notHttp:
        return AIError::apiError(0, QString());
    case HttpResponse::Outcome::reply:
        break;
    }
    if (response.status != 200)
        return AIError::apiError(response.status, QString());
    AIResult<QStringList> ids = stringsOfEntries(response.body, u"data"_s, u"id"_s);
    if (auto* list = std::get_if<QStringList>(&ids)) {
        *list = filteredModels(provider, *list);
        sortModelIds(*list);
    }
    return ids;
}

QStringList filteredModels(AIProvider provider, const QStringList& ids)
{
    QStringList kept;
    for (const QString& id : ids) {
        const QString lower = id.toLower();
        bool keep = true;
        if (provider == AIProvider::openAI) {
            static constexpr const char16_t* prefixes[] = {u"gpt-", u"o1", u"o2",
                                                           u"o3",   u"o4", u"o5"};
            const bool allowed =
                std::any_of(std::begin(prefixes), std::end(prefixes), [&lower](const char16_t* p) {
                    return lower.startsWith(QStringView(p));
                });
            keep = allowed &&
                   !containsAny(lower, {u"embedding", u"tts", u"whisper", u"dall-e", u"babbage",
                                        u"davinci", u"ada", u"instruct", u"realtime", u"audio"});
        } else if (provider == AIProvider::grok || provider == AIProvider::custom) {
            keep = !containsAny(lower, {u"embedding", u"tts", u"whisper", u"dall-e", u"babbage",
                                        u"davinci", u"ada"});
        }
        if (keep)
            kept.append(id);
    }
    return kept;
}

void sortModelIds(QStringList& ids)
{
    // Code point order of the composed forms: canonically equal ids sort together, and
    // characters beyond the BMP do not sort between U+D7FF and U+E000 as UTF-16 would.
    std::stable_sort(ids.begin(), ids.end(), [](const QString& a, const QString& b) {
        const QList<uint> ua = a.normalized(QString::NormalizationForm_C).toUcs4();
        const QList<uint> ub = b.normalized(QString::NormalizationForm_C).toUcs4();
        return std::lexicographical_compare(ua.begin(), ua.end(), ub.begin(), ub.end());
    });
}

} // namespace AIRequests

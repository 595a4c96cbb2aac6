#include "ai/AIError.h"

#include "text/TextRules.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype bodyExcerptLength = 120;

QString apiErrorText(int status, const QString& body)
{
    const QString prefix = u"API error "_s + QString::number(status);
    const QJsonDocument document = QJsonDocument::fromJson(body.toUtf8());
    if (document.isObject()) {
        const QJsonObject object = document.object();
        const QJsonValue nested = object.value(u"error"_s).toObject().value(u"message"_s);
        if (object.value(u"error"_s).isObject() && nested.isString())
            return prefix + u": "_s + nested.toString();
        if (object.value(u"message"_s).isString())
            return prefix + u": "_s + object.value(u"message"_s).toString();
    }
    if (!body.isEmpty())
        return prefix + u": "_s + TextRules::firstCharacters(body, bodyExcerptLength);
    return prefix;
}

} // namespace

QString AIError::errorDescription() const
{
    switch (m_kind) {
    case Kind::networkError:
        return u"Network error: "_s + m_payload;
    case Kind::apiError:
        return apiErrorText(m_status, m_payload);
    case Kind::notConfigured:
        return u"AI provider not configured"_s;
    case Kind::noAPIKey:
        return u"API key not set"_s;
    case Kind::timeout:
        return u"Request timed out"_s;
    case Kind::ollamaNotRunning:
        return u"Ollama not running \u2014 open Ollama and try again"_s;
    case Kind::emptyResponse:
        return u"Empty response from model"_s;
    }
    return {};
}

QString failureDescription(const AIFailure& failure)
{
    if (const auto* error = std::get_if<AIError>(&failure))
        return error->errorDescription();
    return std::get<ForeignError>(failure).description;
}

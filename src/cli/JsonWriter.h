#pragma once

#include "cli/CliSupport.h"

#include <QDateTime>
#include <QStringList>
#include <optional>

namespace Cli {

// Builds one compact JSON object with its keys in the order they are added; absent optional
// values leave their key out.
class JsonObject {
public:
    JsonObject& add(const QString& key, const QString& value)
    {
        return raw(key, jsonString(value));
    }
    JsonObject& add(const QString& key, const std::optional<QString>& value)
    {
        return value ? add(key, *value) : *this;
    }
    JsonObject& add(const QString& key, qint64 value) { return raw(key, QString::number(value)); }
    JsonObject& add(const QString& key, bool value)
    {
        return raw(key, value ? QStringLiteral("true") : QStringLiteral("false"));
    }
    // Dates in ISO 8601, UTC, whole seconds.
    JsonObject& add(const QString& key, const std::optional<QDateTime>& value)
    {
        return value ? add(key, value->toUTC().toString(Qt::ISODate)) : *this;
    }
    JsonObject& raw(const QString& key, const QString& json)
    {
        m_members.append(jsonString(key) + u':' + json);
        return *this;
    }
    QString toString() const { return u'{' + m_members.join(u',') + u'}'; }

private:
    QStringList m_members;
};

inline QString jsonArray(const QStringList& elements)
{
    return u'[' + elements.join(u',') + u']';
}

} // namespace Cli

#include "sync/SyncState.h"

#include <QMap>

namespace scrivlane::sync {

namespace {

constexpr qsizetype kKinds = 2;

} // namespace

std::optional<SyncState::Kind> SyncState::kindNamed(const QString& name)
{
    if (name == QLatin1String("snippet"))
        return SyncState::Kind::Snippet;
    if (name == QLatin1String("category"))
        return SyncState::Kind::Category;
    return std::nullopt;
}

namespace {

QString kindName(qsizetype index)
{
    return index == 0 ? QStringLiteral("snippet") : QStringLiteral("category");
}

const QString kCategoryField = QStringLiteral("category");

} // namespace

void SyncState::see(const HlcStamp& stamp)
{
    if (stamp > m_latest)
        m_latest = stamp;
}

void SyncState::setField(Record& record, const QString& name, const QJsonValue& value,
                         const HlcStamp& stamp)
{
    Field& field = record.fields[name];
    // Equal stamps are the same change seen twice.
    if (field.stamp.isNull() || stamp > field.stamp)
        field = {value, stamp};
    if (stamp > record.lastEdit)
        record.lastEdit = stamp;
}

void SyncState::markDeleted(Record& record, const HlcStamp& stamp)
{
    if (stamp > record.deleted)
        record.deleted = stamp;
}

bool SyncState::apply(const HlcStamp& stamp, const QJsonObject& change)
{
    const auto kind = kindNamed(change.value(QLatin1String("kind")).toString());
    const QString id = change.value(QLatin1String("id")).toString();
    const QString op = change.value(QLatin1String("op")).toString();
    if (!kind || id.isEmpty() || stamp.isNull())
        return false;
    if (op == QLatin1String("set")) {
        const QJsonValue fields = change.value(QLatin1String("fields"));
        if (!fields.isObject())
            return false;
        Record& record = m_records[static_cast<int>(*kind)][id];
        const QJsonObject object = fields.toObject();
        for (auto it = object.begin(); it != object.end(); ++it)
            setField(record, it.key(), it.value(), stamp);
        // A set with no fields still says "this record exists as of now".
        if (stamp > record.lastEdit)
            record.lastEdit = stamp;
    } else if (op == QLatin1String("delete")) {
        markDeleted(m_records[static_cast<int>(*kind)][id], stamp);
    } else {
        return false;
    }
    see(stamp);
    return true;
}

bool SyncState::isVisible(Kind kind, const QString& id) const
{
    const auto& records = m_records[static_cast<int>(kind)];
    const auto it = records.constFind(id);
    return it != records.cend() && it->shown();
}

QJsonObject SyncState::shownFields(Kind kind, const Record& record) const
{
    QJsonObject fields;
    for (auto field = record.fields.cbegin(); field != record.fields.cend(); ++field)
        fields.insert(field.key(), field->value);
    if (kind == Kind::Snippet) {
        const QJsonValue category = fields.value(kCategoryField);
        if (category.isString() && !isVisible(Kind::Category, category.toString()))
            fields.insert(kCategoryField, QJsonValue::Null);
    }
    return fields;
}

std::optional<QJsonObject> SyncState::visibleFields(Kind kind, const QString& id) const
{
    const auto& records = m_records[static_cast<int>(kind)];
    const auto it = records.constFind(id);
    if (it == records.cend() || !it->shown())
        return std::nullopt;
    return shownFields(kind, *it);
}

QMap<QString, QJsonObject> SyncState::visible(Kind kind) const
{
    QMap<QString, QJsonObject> result;
    const auto& records = m_records[static_cast<int>(kind)];
    for (auto it = records.cbegin(); it != records.cend(); ++it)
        if (it->shown())
            result.insert(it.key(), shownFields(kind, *it));
    return result;
}

QList<SyncState::StampedChange> SyncState::compacted() const
{
    QList<StampedChange> changes;
    for (qsizetype k = 0; k < kKinds; ++k) {
        const QString kind = kindName(k);
        for (auto it = m_records[k].cbegin(); it != m_records[k].cend(); ++it) {
            const auto header = [&](const QString& op) {
                return QJsonObject{{QStringLiteral("op"), op},
                                   {QStringLiteral("kind"), kind},
                                   {QStringLiteral("id"), it.key()}};
            };
            QMap<HlcStamp, QJsonObject> byStamp;
            for (auto field = it->fields.cbegin(); field != it->fields.cend(); ++field)
                byStamp[field->stamp].insert(field.key(), field->value);
            // A bare "set" may be the newest word on the record (it outlives a delete).
            if (!it->lastEdit.isNull() && !byStamp.contains(it->lastEdit))
                byStamp.insert(it->lastEdit, QJsonObject());
            for (auto group = byStamp.cbegin(); group != byStamp.cend(); ++group) {
                QJsonObject change = header(QStringLiteral("set"));
                change.insert(QStringLiteral("fields"), group.value());
                changes.append({group.key(), change});
            }
            if (!it->deleted.isNull())
                changes.append({it->deleted, header(QStringLiteral("delete"))});
        }
    }
    return changes;
}

bool operator==(const SyncState& a, const SyncState& b)
{
    return a.m_records[0] == b.m_records[0] && a.m_records[1] == b.m_records[1];
}

} // namespace scrivlane::sync

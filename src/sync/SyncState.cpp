#include "sync/SyncState.h"

#include <QJsonArray>

namespace scrivlane::sync {

namespace {

constexpr qsizetype kKinds = 2;

std::optional<SyncState::Kind> kindNamed(const QString& name)
{
    if (name == QLatin1String("snippet"))
        return SyncState::Kind::Snippet;
    if (name == QLatin1String("category"))
        return SyncState::Kind::Category;
    return std::nullopt;
}

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

QMap<QString, QJsonObject> SyncState::visible(Kind kind) const
{
    QMap<QString, QJsonObject> result;
    const auto& records = m_records[static_cast<int>(kind)];
    for (auto it = records.cbegin(); it != records.cend(); ++it) {
        if (!it->shown())
            continue;
        QJsonObject fields;
        for (auto field = it->fields.cbegin(); field != it->fields.cend(); ++field)
            fields.insert(field.key(), field->value);
        if (kind == Kind::Snippet) {
            const QJsonValue category = fields.value(kCategoryField);
            if (category.isString() && !isVisible(Kind::Category, category.toString()))
                fields.insert(kCategoryField, QJsonValue::Null);
        }
        result.insert(it.key(), fields);
    }
    return result;
}

QJsonObject SyncState::toJson() const
{
    // {"snippet":{"<id>":{"deleted":stamp?,"edited":stamp,"fields":{"<name>":[value,stamp]}}}}
    QJsonObject snapshot;
    for (qsizetype k = 0; k < kKinds; ++k) {
        QJsonObject records;
        for (auto it = m_records[k].cbegin(); it != m_records[k].cend(); ++it) {
            QJsonObject fields;
            for (auto field = it->fields.cbegin(); field != it->fields.cend(); ++field)
                fields.insert(field.key(), QJsonArray{field->value, field->stamp.toString()});
            QJsonObject record{{QStringLiteral("fields"), fields}};
            if (!it->lastEdit.isNull())
                record.insert(QStringLiteral("edited"), it->lastEdit.toString());
            if (!it->deleted.isNull())
                record.insert(QStringLiteral("deleted"), it->deleted.toString());
            records.insert(it.key(), record);
        }
        snapshot.insert(kindName(k), records);
    }
    return snapshot;
}

bool SyncState::mergeJson(const QJsonObject& snapshot)
{
    // Read everything first so a damaged snapshot changes nothing.
    SyncState incoming;
    for (qsizetype k = 0; k < kKinds; ++k) {
        const QJsonObject records = snapshot.value(kindName(k)).toObject();
        for (auto it = records.begin(); it != records.end(); ++it) {
            const QJsonObject record = it.value().toObject();
            Record& target = incoming.m_records[k][it.key()];
            for (const auto& [key, stampOf] :
                 {std::pair{QStringLiteral("edited"), &Record::lastEdit},
                  std::pair{QStringLiteral("deleted"), &Record::deleted}}) {
                if (!record.contains(key))
                    continue;
                const auto stamp = HlcStamp::parse(record.value(key).toString());
                if (!stamp)
                    return false;
                target.*stampOf = *stamp;
                incoming.see(*stamp);
            }
            const QJsonObject fields = record.value(QLatin1String("fields")).toObject();
            for (auto field = fields.begin(); field != fields.end(); ++field) {
                const QJsonArray pair = field.value().toArray();
                const auto stamp = HlcStamp::parse(pair.at(1).toString());
                if (pair.size() != 2 || !stamp)
                    return false;
                target.fields.insert(field.key(), {pair.at(0), *stamp});
            }
        }
    }
    for (qsizetype k = 0; k < kKinds; ++k) {
        for (auto it = incoming.m_records[k].cbegin(); it != incoming.m_records[k].cend(); ++it) {
            Record& record = m_records[k][it.key()];
            for (auto field = it->fields.cbegin(); field != it->fields.cend(); ++field)
                setField(record, field.key(), field->value, field->stamp);
            if (it->lastEdit > record.lastEdit)
                record.lastEdit = it->lastEdit;
            markDeleted(record, it->deleted);
        }
    }
    see(incoming.m_latest);
    return true;
}

bool operator==(const SyncState& a, const SyncState& b)
{
    return a.m_records[0] == b.m_records[0] && a.m_records[1] == b.m_records[1];
}

} // namespace scrivlane::sync

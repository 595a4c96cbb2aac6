#pragma once

#include "sync/HybridClock.h"

#include <QHash>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QMap>
#include <QString>
#include <optional>

namespace scrivlane::sync {

// What every computer's journal adds up to. Changes are merged per field, the later stamp
// winning, so applying the same changes in any order, any number of times, gives the same
// library on every computer.
//
// A change is one of
//   {"op":"set","kind":"snippet"|"category","id":"...","fields":{"title":...,...}}
//   {"op":"delete","kind":...,"id":"..."}          deleted for good
// Trashing and restoring set "trashedAt" (null restores); moving sets "category".
//
// A delete hides the record from every change stamped before it. Its fields are kept: a later
// edit (made on a computer that restored the snippet before hearing of the delete) brings the
// whole record back rather than a fragment. A snippet whose category was deleted shows with no
// category, where the user sees it and can file it again.
class SyncState {
public:
    enum class Kind { Snippet, Category };

    // False for a change that cannot be read; the state is then unchanged.
    bool apply(const HlcStamp& stamp, const QJsonObject& change);

    // The records as the library should hold them, by id; each with its fields (no stamps).
    QMap<QString, QJsonObject> visible(Kind kind) const;
    bool isVisible(Kind kind, const QString& id) const;
    // One record as visible() has it; nothing when it is not shown.
    std::optional<QJsonObject> visibleFields(Kind kind, const QString& id) const;
    static std::optional<Kind> kindNamed(const QString& name);

    // The fewest changes that rebuild this state: per record, one "set" per stamp (fields
    // changed together travel together) and its delete, if any. Applying them to an empty
    // state gives this one, which is what lets a journal be compacted into a snapshot.
    struct StampedChange {
        HlcStamp stamp;
        QJsonObject change;
    };
    QList<StampedChange> compacted() const;

    // The latest stamp seen, for the local clock to overtake.
    const HlcStamp& latest() const { return m_latest; }

    friend bool operator==(const SyncState& a, const SyncState& b);

private:
    struct Field {
        QJsonValue value;
        HlcStamp stamp;
        friend bool operator==(const Field&, const Field&) = default;
    };
    struct Record {
        QHash<QString, Field> fields;
        HlcStamp deleted;
        HlcStamp lastEdit;
        bool shown() const { return deleted.isNull() || lastEdit > deleted; }
        friend bool operator==(const Record&, const Record&) = default;
    };

    QJsonObject shownFields(Kind kind, const Record& record) const;
    void setField(Record& record, const QString& name, const QJsonValue& value,
                  const HlcStamp& stamp);
    void markDeleted(Record& record, const HlcStamp& stamp);
    void see(const HlcStamp& stamp);

    QHash<QString, Record> m_records[2];
    HlcStamp m_latest;
};

} // namespace scrivlane::sync

#pragma once

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QUuid>
#include <functional>

class CategoryEntity;
class SnippetEntity;

namespace scrivlane::sync {

// The library as the journal sees it: each record's fields by id (a UUID in braces-free
// lower case). Absent values are JSON null, so "cleared" travels like any other edit.
struct LibraryView {
    QMap<QString, QJsonObject> snippets;
    QMap<QString, QJsonObject> categories;
    friend bool operator==(const LibraryView&, const LibraryView&) = default;
};

// Records by id, snippets and categories apart.
struct RecordIds {
    QSet<QString> snippets;
    QSet<QString> categories;
    bool isEmpty() const { return snippets.isEmpty() && categories.isEmpty(); }
};

// The records of `view` named in `ids`.
LibraryView restricted(const LibraryView& view, const RecordIds& ids);
// Replaces the records named in `ids` by those of `records`; one missing there is removed.
void replaceRecords(LibraryView& view, const RecordIds& ids, const LibraryView& records);

QString syncId(const QUuid& id);

QJsonObject snippetFields(const SnippetEntity& snippet);
QJsonObject categoryFields(const CategoryEntity& category);

// Every record with all its fields, as the store would hold it: fields not present yet (the
// change that made a record may arrive after one that edited it) take the store's defaults.
LibraryView normalized(const LibraryView& view);

// Records without an id cannot travel and are left out (the store gives every record one).
LibraryView viewOf(const QList<SnippetEntity*>& snippets, const QList<CategoryEntity*>& categories);

// Sets the fields present in `fields`; a "category" is looked up by id (none when unknown).
// Values of the wrong type are ignored field by field, so one bad value costs that value only.
void applySnippetFields(SnippetEntity& snippet, const QJsonObject& fields,
                        const std::function<CategoryEntity*(const QUuid&)>& categoryWithId);
void applyCategoryFields(CategoryEntity& category, const QJsonObject& fields);

// The journal changes that turn `before` into `after`: a "set" with only the fields that
// differ, a "delete" for each record gone. Categories come first, so a snippet never names a
// category the reader has not seen yet.
QList<QJsonObject> changesBetween(const LibraryView& before, const LibraryView& after);

} // namespace scrivlane::sync

#include "sync/LibraryFields.h"

#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"

#include <QDateTime>
#include <QJsonValue>

namespace scrivlane::sync {

namespace {

QJsonValue text(const std::optional<QString>& value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonValue date(const std::optional<QDateTime>& value)
{
    return value && value->isValid() ? QJsonValue(value->toUTC().toString(Qt::ISODateWithMs))
                                     : QJsonValue(QJsonValue::Null);
}

// Field readers: nullopt means "leave the record as it is" (missing or of the wrong type);
// an inner nullopt means "clear it".
std::optional<std::optional<QString>> readText(const QJsonObject& fields, QLatin1String key)
{
    const auto it = fields.constFind(key);
    if (it == fields.constEnd())
        return std::nullopt;
    if (it->isNull())
        return std::optional<QString>();
    if (!it->isString())
        return std::nullopt;
    return std::optional<QString>(it->toString());
}

std::optional<std::optional<QDateTime>> readDate(const QJsonObject& fields, QLatin1String key)
{
    const auto value = readText(fields, key);
    if (!value)
        return std::nullopt;
    if (!*value)
        return std::optional<QDateTime>();
    const QDateTime parsed = QDateTime::fromString(**value, Qt::ISODateWithMs);
    if (!parsed.isValid())
        return std::nullopt;
    return std::optional<QDateTime>(parsed);
}

template <typename Set> void withBool(const QJsonObject& fields, QLatin1String key, Set set)
{
    const QJsonValue value = fields.value(key);
    if (value.isBool())
        set(value.toBool());
}

template <typename Value, typename Set> void withValue(const std::optional<Value>& value, Set set)
{
    if (value)
        set(*value);
}

QJsonObject setChange(const QString& kind, const QString& id, const QJsonObject& fields)
{
    return {{QStringLiteral("op"), QStringLiteral("set")},
            {QStringLiteral("kind"), kind},
            {QStringLiteral("id"), id},
            {QStringLiteral("fields"), fields}};
}

void appendChanges(QList<QJsonObject>& changes, const QString& kind,
                   const QMap<QString, QJsonObject>& before,
                   const QMap<QString, QJsonObject>& after)
{
    for (auto it = after.cbegin(); it != after.cend(); ++it) {
        const auto old = before.constFind(it.key());
        if (old == before.cend()) {
            changes.append(setChange(kind, it.key(), it.value()));
            continue;
        }
        QJsonObject differing;
        for (auto field = it->begin(); field != it->end(); ++field) {
            if (old->value(field.key()) != field.value())
                differing.insert(field.key(), field.value());
        }
        if (!differing.isEmpty())
            changes.append(setChange(kind, it.key(), differing));
    }
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        if (!after.contains(it.key()))
            changes.append({{QStringLiteral("op"), QStringLiteral("delete")},
                            {QStringLiteral("kind"), kind},
                            {QStringLiteral("id"), it.key()}});
    }
}

} // namespace

LibraryView restricted(const LibraryView& view, const RecordIds& ids)
{
    LibraryView part;
    for (const QString& id : ids.snippets)
        if (const auto it = view.snippets.constFind(id); it != view.snippets.cend())
            part.snippets.insert(id, *it);
    for (const QString& id : ids.categories)
        if (const auto it = view.categories.constFind(id); it != view.categories.cend())
            part.categories.insert(id, *it);
    return part;
}

void replaceRecords(LibraryView& view, const RecordIds& ids, const LibraryView& records)
{
    const auto replace = [](QMap<QString, QJsonObject>& into, const QSet<QString>& names,
                            const QMap<QString, QJsonObject>& from) {
        for (const QString& id : names) {
            if (const auto it = from.constFind(id); it != from.cend())
                into.insert(id, *it);
            else
                into.remove(id);
        }
    };
    replace(view.snippets, ids.snippets, records.snippets);
    replace(view.categories, ids.categories, records.categories);
}

QString syncId(const QUuid& id)
{
    return id.toString(QUuid::WithoutBraces);
}

QJsonObject snippetFields(const SnippetEntity& snippet)
{
    const auto rtf = snippet.expandedTextRTF();
    const CategoryEntity* category = snippet.category();
    return {
        {QStringLiteral("title"), text(snippet.title())},
        {QStringLiteral("abbreviation"), text(snippet.abbreviation())},
        {QStringLiteral("expandedText"), text(snippet.expandedText())},
        {QStringLiteral("expandedTextRTF"),
         rtf ? QJsonValue(QString::fromLatin1(rtf->toBase64())) : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("isRichText"), snippet.isRichText()},
        {QStringLiteral("isCodeSnippet"), snippet.isCodeSnippet()},
        {QStringLiteral("codeLanguage"), text(snippet.codeLanguage())},
        {QStringLiteral("category"), category && category->id()
                                         ? QJsonValue(syncId(*category->id()))
                                         : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("createdAt"), date(snippet.createdAt())},
        {QStringLiteral("updatedAt"), date(snippet.updatedAt())},
        {QStringLiteral("trashedAt"), date(snippet.trashedAt())},
    };
}

QJsonObject categoryFields(const CategoryEntity& category)
{
    return {
        {QStringLiteral("name"), text(category.name())},
        {QStringLiteral("colorHex"), text(category.colorHex())},
        {QStringLiteral("sortOrder"), category.sortOrder()},
        {QStringLiteral("createdAt"), date(category.createdAt())},
        {QStringLiteral("updatedAt"), date(category.updatedAt())},
        {QStringLiteral("trashedAt"), date(category.trashedAt())},
    };
}

LibraryView normalized(const LibraryView& view)
{
    const auto overlay = [](const QMap<QString, QJsonObject>& records, const QJsonObject& base) {
        QMap<QString, QJsonObject> full;
        for (auto it = records.cbegin(); it != records.cend(); ++it) {
            QJsonObject fields = base;
            for (auto field = it->begin(); field != it->end(); ++field)
                if (base.contains(field.key()))
                    fields.insert(field.key(), field.value());
            full.insert(it.key(), fields);
        }
        return full;
    };
    return {overlay(view.snippets, snippetFields(SnippetEntity())),
            overlay(view.categories, categoryFields(CategoryEntity()))};
}

LibraryView viewOf(const QList<SnippetEntity*>& snippets, const QList<CategoryEntity*>& categories)
{
    LibraryView view;
    for (const CategoryEntity* category : categories) {
        if (category->id())
            view.categories.insert(syncId(*category->id()), categoryFields(*category));
    }
    for (const SnippetEntity* snippet : snippets) {
        if (const auto id = snippet->id())
            view.snippets.insert(syncId(*id), snippetFields(*snippet));
    }
    return view;
}

void applySnippetFields(SnippetEntity& snippet, const QJsonObject& fields,
                        const std::function<CategoryEntity*(const QUuid&)>& categoryWithId)
{
    using namespace Qt::StringLiterals;
    withValue(readText(fields, "title"_L1), [&](const auto& v) { snippet.setTitle(v); });
    withValue(readText(fields, "abbreviation"_L1),
              [&](const auto& v) { snippet.setAbbreviation(v); });
    withValue(readText(fields, "expandedText"_L1),
              [&](const auto& v) { snippet.setExpandedText(v); });
    withValue(readText(fields, "expandedTextRTF"_L1), [&](const std::optional<QString>& v) {
        if (!v) {
            snippet.setExpandedTextRTF(std::nullopt);
            return;
        }
        const auto decoded =
            QByteArray::fromBase64Encoding(v->toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        if (decoded)
            snippet.setExpandedTextRTF(*decoded);
    });
    withBool(fields, "isRichText"_L1, [&](bool v) { snippet.setRichText(v); });
    withBool(fields, "isCodeSnippet"_L1, [&](bool v) { snippet.setCodeSnippet(v); });
    withValue(readText(fields, "codeLanguage"_L1),
              [&](const auto& v) { snippet.setCodeLanguage(v); });
    withValue(readText(fields, "category"_L1), [&](const std::optional<QString>& v) {
        const QUuid id = v ? QUuid::fromString(*v) : QUuid();
        snippet.setCategory(id.isNull() ? nullptr : categoryWithId(id));
    });
    withValue(readDate(fields, "createdAt"_L1), [&](const auto& v) { snippet.setCreatedAt(v); });
    withValue(readDate(fields, "updatedAt"_L1), [&](const auto& v) { snippet.setUpdatedAt(v); });
    withValue(readDate(fields, "trashedAt"_L1), [&](const auto& v) { snippet.setTrashedAt(v); });
}

void applyCategoryFields(CategoryEntity& category, const QJsonObject& fields)
{
    using namespace Qt::StringLiterals;
    withValue(readText(fields, "name"_L1), [&](const auto& v) { category.setName(v); });
    withValue(readText(fields, "colorHex"_L1), [&](const auto& v) { category.setColorHex(v); });
    const QJsonValue sortOrder = fields.value("sortOrder"_L1);
    if (sortOrder.isDouble())
        category.setSortOrder(sortOrder.toInt(category.sortOrder()));
    withValue(readDate(fields, "createdAt"_L1), [&](const auto& v) { category.setCreatedAt(v); });
    withValue(readDate(fields, "updatedAt"_L1), [&](const auto& v) { category.setUpdatedAt(v); });
    withValue(readDate(fields, "trashedAt"_L1), [&](const auto& v) { category.setTrashedAt(v); });
}

QList<QJsonObject> changesBetween(const LibraryView& before, const LibraryView& after)
{
    QList<QJsonObject> changes;
    appendChanges(changes, QStringLiteral("category"), before.categories, after.categories);
    appendChanges(changes, QStringLiteral("snippet"), before.snippets, after.snippets);
    return changes;
}

} // namespace scrivlane::sync

#include "library/StoreRows.h"

#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"
#include "platform/sqlite/SqliteDatabase.h"

namespace {

// Dates are stored as milliseconds since the epoch, UTC; ids in canonical upper-case form.
std::optional<std::int64_t> toStored(const std::optional<QDateTime>& date)
{
    if (!date)
        return std::nullopt;
    return date->toMSecsSinceEpoch();
}

std::optional<QDateTime> dateAt(const SqliteStatement& row, int column)
{
    const std::optional<std::int64_t> ms = row.optionalInt64(column);
    if (!ms)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(*ms, Qt::UTC);
}

std::optional<QString> toStored(const std::optional<QUuid>& id)
{
    if (!id)
        return std::nullopt;
    return id->toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QUuid> idAt(const SqliteStatement& row, int column)
{
    const std::optional<QString> text = row.optionalText(column);
    if (!text)
        return std::nullopt;
    const QUuid id = QUuid::fromString(*text);
    if (id.isNull())
        return std::nullopt;
    return id;
}

// A column the user changed since the last save keeps its value; the others take the stored one.
template <typename Value, typename Setter>
void merge(const Value& stored, const Value& saved, const Value& current, Setter set)
{
    if (current == saved)
        set(stored);
}

} // namespace

CategoryRow CategoryRow::of(const CategoryEntity& c, std::int64_t pk)
{
    return {
        pk,           c.id(), c.name(), c.colorHex(), c.sortOrder(), c.createdAt(), c.updatedAt(),
        c.trashedAt()};
}

bool CategoryRow::matches(const CategoryEntity& c) const
{
    return id == c.id() && name == c.name() && colorHex == c.colorHex() &&
           sortOrder == c.sortOrder() && createdAt == c.createdAt() && updatedAt == c.updatedAt() &&
           trashedAt == c.trashedAt();
}

CategoryRow CategoryRow::read(const SqliteStatement& row)
{
    return {row.int64(0),         idAt(row, 1),   row.optionalText(2), row.optionalText(3),
            qint32(row.int64(4)), dateAt(row, 5), dateAt(row, 6),      dateAt(row, 7)};
}

void CategoryRow::applyTo(CategoryEntity& c) const
{
    c.setId(id);
    c.setName(name);
    c.setColorHex(colorHex);
    c.setSortOrder(sortOrder);
    c.setCreatedAt(createdAt);
    c.setUpdatedAt(updatedAt);
    c.setTrashedAt(trashedAt);
}

void CategoryRow::mergeInto(CategoryEntity& c, const CategoryRow& saved) const
{
    const CategoryRow current = of(c, pk);
    merge(id, saved.id, current.id, [&](const auto& v) { c.setId(v); });
    merge(name, saved.name, current.name, [&](const auto& v) { c.setName(v); });
    merge(colorHex, saved.colorHex, current.colorHex, [&](const auto& v) { c.setColorHex(v); });
    merge(sortOrder, saved.sortOrder, current.sortOrder, [&](const auto& v) { c.setSortOrder(v); });
    merge(createdAt, saved.createdAt, current.createdAt, [&](const auto& v) { c.setCreatedAt(v); });
    merge(updatedAt, saved.updatedAt, current.updatedAt, [&](const auto& v) { c.setUpdatedAt(v); });
    merge(trashedAt, saved.trashedAt, current.trashedAt, [&](const auto& v) { c.setTrashedAt(v); });
}

void CategoryRow::bindValues(SqliteStatement& s) const
{
    s.bind(1, toStored(id));
    s.bind(2, name);
    s.bind(3, colorHex);
    s.bind(4, std::int64_t(sortOrder));
    s.bind(5, toStored(createdAt));
    s.bind(6, toStored(updatedAt));
    s.bind(7, toStored(trashedAt));
}

const char* CategoryRow::selectSql()
{
    return "SELECT pk, id, name, color_hex, sort_order, created_at, updated_at, trashed_at "
           "FROM category ORDER BY pk";
}

const char* CategoryRow::insertSql()
{
    return "INSERT INTO category (id, name, color_hex, sort_order, created_at, updated_at, "
           "trashed_at) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)";
}

const char* CategoryRow::updateSql()
{
    return "UPDATE category SET id = ?1, name = ?2, color_hex = ?3, sort_order = ?4, "
           "created_at = ?5, updated_at = ?6, trashed_at = ?7 WHERE pk = ?8";
}

SnippetRow SnippetRow::of(const SnippetEntity& s, std::int64_t pk, std::int64_t categoryPk)
{
    return {pk,         s.id(),        s.texts(),     s.isRichText(), s.isCodeSnippet(),
            categoryPk, s.createdAt(), s.updatedAt(), s.trashedAt()};
}

SnippetRow SnippetRow::read(const SqliteStatement& row)
{
    const std::optional<QByteArray> rtf = row.optionalBlob(5);
    // In the record's slot order.
    const SnippetTexts texts = SnippetTexts::fromParts(
        {row.utf8(2), row.utf8(3), row.utf8(4),
         rtf ? std::optional<QByteArrayView>(*rtf) : std::nullopt, row.utf8(8)});
    return {row.int64(0), idAt(row, 1),    texts,           row.int64(6) != 0, row.int64(7) != 0,
            row.int64(9), dateAt(row, 10), dateAt(row, 11), dateAt(row, 12)};
}

void SnippetRow::applyTo(SnippetEntity& s) const
{
    s.setId(id);
    s.m_texts = texts;
    s.setRichText(isRichText);
    s.setCodeSnippet(isCodeSnippet);
    s.setCreatedAt(createdAt);
    s.setUpdatedAt(updatedAt);
    s.setTrashedAt(trashedAt);
    s.m_changed = 0;
    s.m_storeKey = pk;
}

void SnippetRow::mergeInto(SnippetEntity& s) const
{
    const std::uint16_t changed = s.m_changed;
    const auto unchanged = [changed](SnippetEntity::Changed bit) { return !(changed & bit); };
    if (unchanged(SnippetEntity::changedId))
        s.setId(id);
    constexpr std::pair<SnippetTexts::Slot, SnippetEntity::Changed> slots[] = {
        {SnippetTexts::title, SnippetEntity::changedTitle},
        {SnippetTexts::abbreviation, SnippetEntity::changedAbbreviation},
        {SnippetTexts::expandedText, SnippetEntity::changedExpandedText},
        {SnippetTexts::expandedTextRTF, SnippetEntity::changedExpandedTextRTF},
        {SnippetTexts::codeLanguage, SnippetEntity::changedCodeLanguage}};
    for (const auto& [slot, bit] : slots)
        if (unchanged(bit))
            s.m_texts.setBytes(
                slot, texts.has(slot) ? std::optional<QByteArray>(texts.bytes(slot).toByteArray())
                                      : std::nullopt);
    if (unchanged(SnippetEntity::changedRichText))
        s.setRichText(isRichText);
    if (unchanged(SnippetEntity::changedCodeSnippet))
        s.setCodeSnippet(isCodeSnippet);
    if (unchanged(SnippetEntity::changedCreatedAt))
        s.setCreatedAt(createdAt);
    if (unchanged(SnippetEntity::changedUpdatedAt))
        s.setUpdatedAt(updatedAt);
    if (unchanged(SnippetEntity::changedTrashedAt))
        s.setTrashedAt(trashedAt);
    // What came from the file is no change of this process's.
    s.m_changed = changed;
    s.m_storeKey = pk;
}

void SnippetRow::bindValues(SqliteStatement& st) const
{
    st.bind(1, toStored(id));
    const auto bindText = [&](int index, SnippetTexts::Slot slot) {
        texts.has(slot) ? st.bindUtf8(index, texts.bytes(slot)) : st.bindNull(index);
    };
    bindText(2, SnippetTexts::title);
    bindText(3, SnippetTexts::abbreviation);
    bindText(4, SnippetTexts::expandedText);
    st.bind(5, texts.optionalBytes(SnippetTexts::expandedTextRTF));
    st.bind(6, std::int64_t(isRichText));
    st.bind(7, std::int64_t(isCodeSnippet));
    bindText(8, SnippetTexts::codeLanguage);
    st.bind(9, categoryPk ? std::optional<std::int64_t>(categoryPk) : std::nullopt);
    st.bind(10, toStored(createdAt));
    st.bind(11, toStored(updatedAt));
    st.bind(12, toStored(trashedAt));
}

const char* SnippetRow::selectSql()
{
    return "SELECT pk, id, title, abbreviation, expanded_text, expanded_text_rtf, is_rich_text, "
           "is_code_snippet, code_language, ifnull(category_pk, 0), created_at, updated_at, "
           "trashed_at FROM snippet ORDER BY pk";
}

const char* SnippetRow::insertSql()
{
    return "INSERT INTO snippet (id, title, abbreviation, expanded_text, expanded_text_rtf, "
           "is_rich_text, is_code_snippet, code_language, category_pk, created_at, updated_at, "
           "trashed_at) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)";
}

const char* SnippetRow::updateSql()
{
    return "UPDATE snippet SET id = ?1, title = ?2, abbreviation = ?3, expanded_text = ?4, "
           "expanded_text_rtf = ?5, is_rich_text = ?6, is_code_snippet = ?7, code_language = ?8, "
           "category_pk = ?9, created_at = ?10, updated_at = ?11, trashed_at = ?12 WHERE pk = ?13";
}

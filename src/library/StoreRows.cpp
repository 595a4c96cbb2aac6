#include "library/StoreRows.h"

#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"
#include "platform/sqlite/SqliteDatabase.h"

#include <QHashFunctions>

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

// A text's fingerprint. Absent is 0 and a present text never is, so that presence is told
// exactly; two different texts share a fingerprint with a chance of 2^-64. The seed is not 0
// because Qt picks its fast AES-based hash only with a seed.
constexpr std::size_t fingerprintSeed = 0x9e3779b97f4a7c15;

std::uint64_t present(std::size_t hash)
{
    return hash ? hash : 1;
}

std::uint64_t fingerprint(const std::optional<QString>& text)
{
    return text ? present(qHash(QStringView(*text), fingerprintSeed)) : 0;
}

bool sameDate(const std::optional<QDateTime>& current, const QDateTime& saved, bool present)
{
    return current ? present && *current == saved : !present;
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
    return {pk,
            s.id(),
            s.title(),
            s.abbreviation(),
            s.expandedText(),
            s.expandedTextRTF(),
            s.isRichText(),
            s.isCodeSnippet(),
            s.codeLanguage(),
            categoryPk,
            s.createdAt(),
            s.updatedAt(),
            s.trashedAt()};
}

SnippetRow SnippetRow::read(const SqliteStatement& row)
{
    return {row.int64(0),        idAt(row, 1),        row.optionalText(2), row.optionalText(3),
            row.optionalText(4), row.optionalBlob(5), row.int64(6) != 0,   row.int64(7) != 0,
            row.optionalText(8), row.int64(9),        dateAt(row, 10),     dateAt(row, 11),
            dateAt(row, 12)};
}

void SnippetRow::applyTo(SnippetEntity& s) const
{
    s.setId(id);
    s.setTitle(title);
    s.setAbbreviation(abbreviation);
    s.setExpandedText(expandedText);
    s.setExpandedTextRTF(expandedTextRTF);
    s.setRichText(isRichText);
    s.setCodeSnippet(isCodeSnippet);
    s.setCodeLanguage(codeLanguage);
    s.setCreatedAt(createdAt);
    s.setUpdatedAt(updatedAt);
    s.setTrashedAt(trashedAt);
}

void SnippetRow::mergeInto(SnippetEntity& s, const SnippetFingerprint& saved) const
{
    if (saved.sameId(s.id()))
        s.setId(id);
    if (saved.sameTitle(s.title()))
        s.setTitle(title);
    if (saved.sameAbbreviation(s.abbreviation()))
        s.setAbbreviation(abbreviation);
    if (saved.sameExpandedText(s.expandedText()))
        s.setExpandedText(expandedText);
    if (saved.sameExpandedTextRTF(s.expandedTextRTF()))
        s.setExpandedTextRTF(expandedTextRTF);
    if (saved.isRichText == s.isRichText())
        s.setRichText(isRichText);
    if (saved.isCodeSnippet == s.isCodeSnippet())
        s.setCodeSnippet(isCodeSnippet);
    if (saved.sameCodeLanguage(s.codeLanguage()))
        s.setCodeLanguage(codeLanguage);
    if (saved.sameCreatedAt(s.createdAt()))
        s.setCreatedAt(createdAt);
    if (saved.sameUpdatedAt(s.updatedAt()))
        s.setUpdatedAt(updatedAt);
    if (saved.sameTrashedAt(s.trashedAt()))
        s.setTrashedAt(trashedAt);
}

void SnippetRow::bindValues(SqliteStatement& st) const
{
    st.bind(1, toStored(id));
    st.bind(2, title);
    st.bind(3, abbreviation);
    st.bind(4, expandedText);
    st.bind(5, expandedTextRTF);
    st.bind(6, std::int64_t(isRichText));
    st.bind(7, std::int64_t(isCodeSnippet));
    st.bind(8, codeLanguage);
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

namespace {

template <typename Value> void keep(const std::optional<Value>& value, Value& saved, bool& present)
{
    saved = value.value_or(Value());
    present = value.has_value();
}

// The same data is the same text: writing to a string that is shared copies it first.
template <typename Text>
bool sameText(const std::optional<Text>& current, const Text& saved, bool present)
{
    if (!current)
        return !present;
    return present &&
           ((current->constData() == saved.constData() && current->size() == saved.size()) ||
            *current == saved);
}

template <typename Row>
SnippetFingerprint fingerprintOf(const Row& r, std::int64_t pk, std::int64_t categoryPk)
{
    SnippetFingerprint f;
    f.pk = pk;
    f.categoryPk = categoryPk;
    keep(r.id(), f.id, f.hasId);
    f.codeLanguage = fingerprint(r.codeLanguage());
    keep(r.title(), f.title, f.hasTitle);
    keep(r.abbreviation(), f.abbreviation, f.hasAbbreviation);
    keep(r.expandedText(), f.expandedText, f.hasExpandedText);
    keep(r.expandedTextRTF(), f.expandedTextRTF, f.hasExpandedTextRTF);
    keep(r.createdAt(), f.createdAt, f.hasCreatedAt);
    keep(r.updatedAt(), f.updatedAt, f.hasUpdatedAt);
    keep(r.trashedAt(), f.trashedAt, f.hasTrashedAt);
    f.isRichText = r.isRichText();
    f.isCodeSnippet = r.isCodeSnippet();
    return f;
}

// A row read from the file seen through the record's getters, so both kinds of fingerprint
// come from the same code.
struct RowView {
    const SnippetRow& row;
    const std::optional<QUuid>& id() const { return row.id; }
    const std::optional<QString>& title() const { return row.title; }
    const std::optional<QString>& abbreviation() const { return row.abbreviation; }
    const std::optional<QString>& expandedText() const { return row.expandedText; }
    const std::optional<QByteArray>& expandedTextRTF() const { return row.expandedTextRTF; }
    bool isRichText() const { return row.isRichText; }
    bool isCodeSnippet() const { return row.isCodeSnippet; }
    const std::optional<QString>& codeLanguage() const { return row.codeLanguage; }
    const std::optional<QDateTime>& createdAt() const { return row.createdAt; }
    const std::optional<QDateTime>& updatedAt() const { return row.updatedAt; }
    const std::optional<QDateTime>& trashedAt() const { return row.trashedAt; }
};

} // namespace

SnippetFingerprint SnippetFingerprint::of(const SnippetEntity& s, std::int64_t pk,
                                          std::int64_t categoryPk)
{
    return fingerprintOf(s, pk, categoryPk);
}

SnippetFingerprint SnippetFingerprint::of(const SnippetRow& row)
{
    return fingerprintOf(RowView{row}, row.pk, row.categoryPk);
}

bool SnippetFingerprint::matches(const SnippetEntity& s, std::int64_t category) const
{
    // Runs over the whole library at every save, hence the inlined helpers.
    return categoryPk == category && isRichText == s.isRichText() &&
           isCodeSnippet == s.isCodeSnippet() && sameDate(s.updatedAt(), updatedAt, hasUpdatedAt) &&
           sameDate(s.trashedAt(), trashedAt, hasTrashedAt) &&
           sameDate(s.createdAt(), createdAt, hasCreatedAt) &&
           sameText(s.title(), title, hasTitle) &&
           sameText(s.abbreviation(), abbreviation, hasAbbreviation) &&
           sameText(s.expandedText(), expandedText, hasExpandedText) &&
           sameText(s.expandedTextRTF(), expandedTextRTF, hasExpandedTextRTF) && sameId(s.id()) &&
           sameCodeLanguage(s.codeLanguage());
}

bool SnippetFingerprint::sameId(const std::optional<QUuid>& value) const
{
    return value ? hasId && *value == id : !hasId;
}

bool SnippetFingerprint::sameTitle(const std::optional<QString>& value) const
{
    return sameText(value, title, hasTitle);
}

bool SnippetFingerprint::sameAbbreviation(const std::optional<QString>& value) const
{
    return sameText(value, abbreviation, hasAbbreviation);
}

bool SnippetFingerprint::sameExpandedText(const std::optional<QString>& value) const
{
    return sameText(value, expandedText, hasExpandedText);
}

bool SnippetFingerprint::sameExpandedTextRTF(const std::optional<QByteArray>& value) const
{
    return sameText(value, expandedTextRTF, hasExpandedTextRTF);
}

bool SnippetFingerprint::sameCodeLanguage(const std::optional<QString>& value) const
{
    return codeLanguage == fingerprint(value);
}

bool SnippetFingerprint::sameCreatedAt(const std::optional<QDateTime>& value) const
{
    return sameDate(value, createdAt, hasCreatedAt);
}

bool SnippetFingerprint::sameUpdatedAt(const std::optional<QDateTime>& value) const
{
    return sameDate(value, updatedAt, hasUpdatedAt);
}

bool SnippetFingerprint::sameTrashedAt(const std::optional<QDateTime>& value) const
{
    return sameDate(value, trashedAt, hasTrashedAt);
}

const SnippetFingerprint* SavedSnippets::find(const SnippetEntity* snippet) const
{
    const auto it = m_slots.constFind(snippet);
    return it == m_slots.cend() ? nullptr : &m_fingerprints[it.value()];
}

void SavedSnippets::insert(const SnippetEntity* snippet, SnippetFingerprint fingerprint)
{
    if (const auto it = m_slots.constFind(snippet); it != m_slots.cend()) {
        m_fingerprints[it.value()] = std::move(fingerprint);
        return;
    }
    std::uint32_t slot = 0;
    if (m_freeSlots.empty()) {
        slot = static_cast<std::uint32_t>(m_fingerprints.size());
        m_fingerprints.push_back(std::move(fingerprint));
    } else {
        slot = m_freeSlots.back();
        m_freeSlots.pop_back();
        m_fingerprints[slot] = std::move(fingerprint);
    }
    m_slots.insert(snippet, slot);
}

void SavedSnippets::remove(const SnippetEntity* snippet)
{
    const auto it = m_slots.constFind(snippet);
    if (it == m_slots.cend())
        return;
    // The slot waits for the next insert; the texts it shared are let go now.
    m_fingerprints[it.value()] = SnippetFingerprint();
    m_freeSlots.push_back(it.value());
    m_slots.erase(it);
}

void SavedSnippets::reserve(qsizetype size)
{
    m_slots.reserve(size);
    m_fingerprints.reserve(std::size_t(size));
}

#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QString>
#include <QUuid>
#include <cstdint>
#include <optional>
#include <vector>

class CategoryEntity;
class SnippetEntity;
class SqliteStatement;

// A record's columns as stored, for comparing what is in memory with what was last saved.
// Row keys (pk) are the database's own; 0 means "not stored yet" or "no category".
struct CategoryRow {
    std::int64_t pk = 0;
    std::optional<QUuid> id;
    std::optional<QString> name;
    std::optional<QString> colorHex;
    qint32 sortOrder = 0;
    std::optional<QDateTime> createdAt;
    std::optional<QDateTime> updatedAt;
    std::optional<QDateTime> trashedAt;

    static CategoryRow of(const CategoryEntity& category, std::int64_t pk);
    // Whether the record still holds exactly these values (compared in place, no copies).
    bool matches(const CategoryEntity& category) const;
    static CategoryRow read(const SqliteStatement& row); // columns as in selectSql
    void applyTo(CategoryEntity& category) const;
    // Takes the stored value of every column the user has not changed since it was saved.
    void mergeInto(CategoryEntity& category, const CategoryRow& saved) const;
    void bindValues(SqliteStatement& statement) const; // parameters 1..7

    static const char* selectSql();
    static const char* insertSql();
    static const char* updateSql(); // parameter 8: pk

    friend bool operator==(const CategoryRow&, const CategoryRow&) = default;
};

struct SnippetFingerprint;

struct SnippetRow {
    std::int64_t pk = 0;
    std::optional<QUuid> id;
    std::optional<QString> title;
    std::optional<QString> abbreviation;
    std::optional<QString> expandedText;
    std::optional<QByteArray> expandedTextRTF;
    bool isRichText = false;
    bool isCodeSnippet = false;
    std::optional<QString> codeLanguage;
    std::int64_t categoryPk = 0;
    std::optional<QDateTime> createdAt;
    std::optional<QDateTime> updatedAt;
    std::optional<QDateTime> trashedAt;

    static SnippetRow of(const SnippetEntity& snippet, std::int64_t pk, std::int64_t categoryPk);
    static SnippetRow read(const SqliteStatement& row);
    // The category is resolved by the caller, which knows the rows' keys.
    void applyTo(SnippetEntity& snippet) const;
    void mergeInto(SnippetEntity& snippet, const SnippetFingerprint& saved) const;
    void bindValues(SqliteStatement& statement) const; // parameters 1..12

    static const char* selectSql();
    static const char* insertSql();
    static const char* updateSql(); // parameter 13: pk

    friend bool operator==(const SnippetRow&, const SnippetRow&) = default;
};

// A snippet as last saved, kept for every stored snippet without a second copy of anything:
// enough to tell, column by column, whether a record still holds what was saved. The texts
// are the record's own implicitly shared values, not copies: while the fingerprint holds one,
// an unchanged record still points at the same data, which compares without reading it. The
// code language, rarely set, is a 64-bit hash; the rest is exact.
struct SnippetFingerprint {
    std::int64_t pk = 0;
    std::int64_t categoryPk = 0;
    std::uint64_t codeLanguage = 0;
    QUuid id;      // null when absent
    QString title; // null when absent, as the three below
    QString abbreviation;
    QString expandedText;
    QByteArray expandedTextRTF;
    QDateTime createdAt; // invalid when absent, as the two below
    QDateTime updatedAt;
    QDateTime trashedAt;
    bool isRichText = false;
    bool isCodeSnippet = false;
    bool hasTitle = false;
    bool hasAbbreviation = false;
    bool hasExpandedText = false;
    bool hasExpandedTextRTF = false;
    bool hasCreatedAt = false;
    bool hasUpdatedAt = false;
    bool hasTrashedAt = false;
    bool hasId = false;

    static SnippetFingerprint of(const SnippetEntity& snippet, std::int64_t pk,
                                 std::int64_t categoryPk);
    static SnippetFingerprint of(const SnippetRow& row);
    // Whether the record still holds the saved values.
    bool matches(const SnippetEntity& snippet, std::int64_t categoryPk) const;

    bool sameId(const std::optional<QUuid>& id) const;
    bool sameTitle(const std::optional<QString>& title) const;
    bool sameAbbreviation(const std::optional<QString>& abbreviation) const;
    bool sameExpandedText(const std::optional<QString>& text) const;
    bool sameExpandedTextRTF(const std::optional<QByteArray>& rtf) const;
    bool sameCodeLanguage(const std::optional<QString>& language) const;
    bool sameCreatedAt(const std::optional<QDateTime>& at) const;
    bool sameUpdatedAt(const std::optional<QDateTime>& at) const;
    bool sameTrashedAt(const std::optional<QDateTime>& at) const;
};

// The fingerprints of the stored snippets, in one plain array found through a small index: a
// hash holding such large values leaves much of its room unused.
class SavedSnippets {
public:
    // Valid until the next insert.
    const SnippetFingerprint* find(const SnippetEntity* snippet) const;
    void insert(const SnippetEntity* snippet, SnippetFingerprint fingerprint);
    void remove(const SnippetEntity* snippet);
    void reserve(qsizetype size);
    qsizetype size() const { return m_slots.size(); }
    template <typename Visit> void forEach(Visit visit) const
    {
        for (auto it = m_slots.cbegin(); it != m_slots.cend(); ++it)
            visit(it.key(), m_fingerprints[it.value()]);
    }

private:
    QHash<const SnippetEntity*, std::uint32_t> m_slots;
    std::vector<SnippetFingerprint> m_fingerprints;
    std::vector<std::uint32_t> m_freeSlots;
};

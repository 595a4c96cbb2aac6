#pragma once

#include "text/SnippetTexts.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUuid>
#include <cstdint>
#include <optional>

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

struct SnippetRow {
    std::int64_t pk = 0;
    std::optional<QUuid> id;
    // Title, abbreviation, expansion, RTF and code language, as the record holds them.
    SnippetTexts texts;
    bool isRichText = false;
    bool isCodeSnippet = false;
    std::int64_t categoryPk = 0;
    std::optional<QDateTime> createdAt;
    std::optional<QDateTime> updatedAt;
    std::optional<QDateTime> trashedAt;

    static SnippetRow of(const SnippetEntity& snippet, std::int64_t pk, std::int64_t categoryPk);
    static SnippetRow read(const SqliteStatement& row);
    // A record read from the file: it takes every column and holds no change of its own. The
    // category is resolved by the caller, which knows the rows' keys.
    void applyTo(SnippetEntity& snippet) const;
    // Takes the stored value of every column the record has not changed since it was saved;
    // the category is the caller's.
    void mergeInto(SnippetEntity& snippet) const;
    void bindValues(SqliteStatement& statement) const; // parameters 1..12

    static const char* selectSql();
    static const char* insertSql();
    static const char* updateSql(); // parameter 13: pk

    friend bool operator==(const SnippetRow&, const SnippetRow&) = default;
};

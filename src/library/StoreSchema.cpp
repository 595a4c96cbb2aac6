#include "library/StoreSchema.h"

#include "platform/sqlite/SqliteDatabase.h"

#include <array>

namespace {

// migrations[i] brings a file from version i to version i + 1.
const std::array<const char*, StoreSchema::currentVersion> migrations = {
    R"(CREATE TABLE category (
           pk INTEGER PRIMARY KEY,
           id TEXT,
           name TEXT,
           color_hex TEXT,
           sort_order INTEGER NOT NULL DEFAULT 0,
           created_at INTEGER,
           updated_at INTEGER,
           trashed_at INTEGER);
       CREATE TABLE snippet (
           pk INTEGER PRIMARY KEY,
           id TEXT,
           title TEXT,
           abbreviation TEXT,
           expanded_text TEXT,
           expanded_text_rtf BLOB,
           is_rich_text INTEGER NOT NULL DEFAULT 0,
           is_code_snippet INTEGER NOT NULL DEFAULT 0,
           code_language TEXT,
           category_pk INTEGER REFERENCES category(pk) ON DELETE SET NULL,
           created_at INTEGER,
           updated_at INTEGER,
           trashed_at INTEGER);
       CREATE INDEX snippet_category ON snippet(category_pk);)",
};

} // namespace

namespace StoreSchema {

std::optional<QString> prepare(SqliteDatabase& db)
{
    // Reading the version is the first real read: a file that is not a database fails here.
    const std::optional<std::int64_t> version = db.queryInt(QStringLiteral("PRAGMA user_version"));
    if (!version)
        return db.lastError();
    if (*version < 0)
        return QStringLiteral("the library's format number %1 is not one ScrivLane writes")
            .arg(*version);
    if (*version > currentVersion) {
        return QStringLiteral("the library was written by a newer version of ScrivLane "
                              "(format %1; this version reads up to %2)")
            .arg(*version)
            .arg(currentVersion);
    }
    // A library nobody can write is read as it stands, when this version reads it unchanged.
    if (db.isReadOnly()) {
        if (*version != currentVersion)
            return QStringLiteral("the library is read-only and in an older format");
        return std::nullopt;
    }
    if (!db.exec(QStringLiteral("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;")))
        return db.lastError();

    // The version is read again inside each transaction: another process may have migrated
    // the file meanwhile.
    for (;;) {
        if (!db.begin())
            return db.lastError();
        const std::optional<std::int64_t> from = db.queryInt(QStringLiteral("PRAGMA user_version"));
        if (from && *from >= currentVersion) {
            db.commit();
            break;
        }
        if (from && *from < 0) {
            db.rollback();
            return QStringLiteral("the library's format number %1 is not one ScrivLane writes")
                .arg(*from);
        }
        const bool ok = from && db.exec(QString::fromUtf8(migrations[std::size_t(*from)])) &&
                        db.exec(QStringLiteral("PRAGMA user_version = %1").arg(*from + 1)) &&
                        db.commit();
        if (!ok) {
            const QString error = db.lastError();
            db.rollback();
            return error;
        }
    }
    return std::nullopt;
}

} // namespace StoreSchema

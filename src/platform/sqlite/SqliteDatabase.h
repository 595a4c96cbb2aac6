#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <cstdint>
#include <memory>
#include <optional>

struct sqlite3;
struct sqlite3_stmt;

class SqliteDatabase;

// One prepared statement. Parameters are numbered from 1, columns from 0.
class SqliteStatement {
public:
    enum class Step { Row, Done, Error };

    SqliteStatement(SqliteStatement&&) noexcept = default;
    SqliteStatement& operator=(SqliteStatement&&) noexcept = default;

    void bindNull(int index);
    void bind(int index, std::int64_t value);
    void bind(int index, double value);
    void bind(int index, const QString& value);
    void bind(int index, const QByteArray& value);
    void bind(int index, const std::optional<QString>& value);
    void bind(int index, const std::optional<QByteArray>& value);
    void bind(int index, const std::optional<std::int64_t>& value);
    // Text already in UTF-8.
    void bindUtf8(int index, QByteArrayView utf8);

    Step step();
    // Runs to completion; false on error.
    bool run();
    void reset();

    bool isNull(int column) const;
    std::int64_t int64(int column) const;
    double real(int column) const;
    QString text(int column) const;
    QByteArray blob(int column) const;
    std::optional<QString> optionalText(int column) const;
    std::optional<QByteArray> optionalBlob(int column) const;
    std::optional<std::int64_t> optionalInt64(int column) const;
    // A text column as UTF-8, whatever the file's encoding; nothing for NULL.
    std::optional<QByteArrayView> utf8(int column) const;

private:
    friend class SqliteDatabase;
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const;
    };
    explicit SqliteStatement(sqlite3_stmt* statement) : m_statement(statement) {}
    std::unique_ptr<sqlite3_stmt, Finalizer> m_statement;
};

// A connection to one SQLite file. Errors are values: every call that can fail says so, and
// lastError() holds SQLite's own words.
class SqliteDatabase {
public:
    SqliteDatabase() = default;

    // Opens (and creates, when asked) the file. Extended result codes, foreign keys on.
    bool open(const QString& path, bool create);
    // For a file nobody can write now (a read-only file, folder or disk): read without locks
    // or a write-ahead index, as the file stands.
    bool openImmutable(const QString& path);
    // Opened, but writes would fail (SQLite fell back to reading a write-protected file).
    bool isReadOnly() const;
    bool isOpen() const { return m_db != nullptr; }
    void close() { m_db.reset(); }

    bool exec(const QString& sql);
    std::optional<SqliteStatement> prepare(const QString& sql);

    // Convenience for PRAGMAs and counts: the first column of the first row.
    std::optional<std::int64_t> queryInt(const QString& sql);

    bool begin() { return exec(QStringLiteral("BEGIN IMMEDIATE")); }
    bool commit() { return exec(QStringLiteral("COMMIT")); }
    void rollback() { exec(QStringLiteral("ROLLBACK")); }

    void setBusyTimeout(int milliseconds);
    std::int64_t lastInsertRowId() const;

    // Takes SQLite's account of the connection's last failure (after a failed step()).
    void captureError();

    QString lastError() const { return m_lastError; }
    // The primary result code of the last failure (SQLITE_BUSY, SQLITE_NOTADB, ...).
    int lastErrorCode() const { return m_lastErrorCode; }

private:
    friend class SqliteStatement;
    struct Closer {
        void operator()(sqlite3* db) const;
    };
    void recordError(int code);

    std::unique_ptr<sqlite3, Closer> m_db;
    QString m_lastError;
    int m_lastErrorCode = 0;
};

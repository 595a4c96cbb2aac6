#include "platform/sqlite/SqliteDatabase.h"

#include "common/UniqueFd.h"

#include <QFile>
#include <QUrl>
#include <cstring>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

constexpr mode_t privateMode = S_IRUSR | S_IWUSR;

// The library is the user's alone whatever the umask. SQLite gives its journal and WAL files
// the mode of the database file, so creating that one 0600 covers them; files left by an older
// version with a wider mode are narrowed. A file the user made read-only stays so.
//
// A library opened while it was read-only leaves its WAL and shared-memory files read-only
// too, and SQLite then refuses every write even after the user has made the library writable
// again: once it is, they get the owner's write bit back. A mode change never disturbs a
// connection that has them open, and nothing is deleted, so committed frames in the WAL stay.
void keepPrivate(const QString& path, bool create)
{
    if (path.isEmpty() || path == u":memory:" || path.startsWith(u"file:"))
        return;
    const QByteArray native = QFile::encodeName(path);
    if (create) {
        const UniqueFd fd(::open(native.constData(),
                                 O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, privateMode));
        if (fd)
            ::fchmod(fd.get(), privateMode);
    }
    bool writable = false;
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
        const UniqueFd fd(::open(QByteArray(native + suffix).constData(),
                                 O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct stat st {};
        if (!fd || ::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != ::geteuid())
            continue;
        const mode_t mode = st.st_mode & 07777;
        if (*suffix == '\0')
            writable = (mode & S_IWUSR) != 0;
        const mode_t wanted = (mode & ~mode_t(S_IRWXG | S_IRWXO)) | (writable ? privateMode : 0);
        if (mode != wanted)
            ::fchmod(fd.get(), wanted);
    }
}

} // namespace

void SqliteStatement::Finalizer::operator()(sqlite3_stmt* statement) const
{
    sqlite3_finalize(statement);
}

void SqliteDatabase::Closer::operator()(sqlite3* db) const
{
    sqlite3_close_v2(db);
}

void SqliteStatement::bindNull(int index)
{
    sqlite3_bind_null(m_statement.get(), index);
}

void SqliteStatement::bind(int index, std::int64_t value)
{
    sqlite3_bind_int64(m_statement.get(), index, value);
}

void SqliteStatement::bind(int index, double value)
{
    sqlite3_bind_double(m_statement.get(), index, value);
}

void SqliteStatement::bind(int index, const QString& value)
{
    const QByteArray utf8 = value.toUtf8();
    sqlite3_bind_text64(m_statement.get(), index, utf8.constData(), sqlite3_uint64(utf8.size()),
                        SQLITE_TRANSIENT, SQLITE_UTF8);
}

void SqliteStatement::bindUtf8(int index, QByteArrayView utf8)
{
    sqlite3_bind_text64(m_statement.get(), index, utf8.data() ? utf8.data() : "",
                        sqlite3_uint64(utf8.size()), SQLITE_TRANSIENT, SQLITE_UTF8);
}

void SqliteStatement::bind(int index, const QByteArray& value)
{
    // An empty blob is still a value, not NULL.
    sqlite3_bind_blob64(m_statement.get(), index, value.isEmpty() ? "" : value.constData(),
                        sqlite3_uint64(value.size()), SQLITE_TRANSIENT);
}

void SqliteStatement::bind(int index, const std::optional<QString>& value)
{
    value ? bind(index, *value) : bindNull(index);
}

void SqliteStatement::bind(int index, const std::optional<QByteArray>& value)
{
    value ? bind(index, *value) : bindNull(index);
}

void SqliteStatement::bind(int index, const std::optional<std::int64_t>& value)
{
    value ? bind(index, *value) : bindNull(index);
}

SqliteStatement::Step SqliteStatement::step()
{
    switch (sqlite3_step(m_statement.get())) {
    case SQLITE_ROW:
        return Step::Row;
    case SQLITE_DONE:
        return Step::Done;
    default:
        return Step::Error;
    }
}

bool SqliteStatement::run()
{
    Step result;
    while ((result = step()) == Step::Row) {
    }
    return result == Step::Done;
}

void SqliteStatement::reset()
{
    sqlite3_reset(m_statement.get());
    sqlite3_clear_bindings(m_statement.get());
}

bool SqliteStatement::isNull(int column) const
{
    return sqlite3_column_type(m_statement.get(), column) == SQLITE_NULL;
}

std::int64_t SqliteStatement::int64(int column) const
{
    return sqlite3_column_int64(m_statement.get(), column);
}

double SqliteStatement::real(int column) const
{
    return sqlite3_column_double(m_statement.get(), column);
}

QString SqliteStatement::text(int column) const
{
    const auto* data = sqlite3_column_text(m_statement.get(), column);
    const int size = sqlite3_column_bytes(m_statement.get(), column);
    // A stored empty string must come back empty, not null.
    return data ? QString::fromUtf8(reinterpret_cast<const char*>(data), size) : QStringLiteral("");
}

QByteArray SqliteStatement::blob(int column) const
{
    const void* data = sqlite3_column_blob(m_statement.get(), column);
    const int size = sqlite3_column_bytes(m_statement.get(), column);
    return data ? QByteArray(static_cast<const char*>(data), size) : QByteArray("");
}

std::optional<QString> SqliteStatement::optionalText(int column) const
{
    if (isNull(column))
        return std::nullopt;
    return text(column);
}

std::optional<QByteArray> SqliteStatement::optionalBlob(int column) const
{
    if (isNull(column))
        return std::nullopt;
    return blob(column);
}

std::optional<QByteArrayView> SqliteStatement::utf8(int column) const
{
    if (isNull(column))
        return std::nullopt;
    const auto* data = sqlite3_column_text(m_statement.get(), column);
    const int size = sqlite3_column_bytes(m_statement.get(), column);
    return QByteArrayView(reinterpret_cast<const char*>(data), data ? size : 0);
}

std::optional<std::int64_t> SqliteStatement::optionalInt64(int column) const
{
    if (isNull(column))
        return std::nullopt;
    return int64(column);
}

bool SqliteDatabase::open(const QString& path, bool create)
{
    m_db.reset();
    keepPrivate(path, create);
    sqlite3* db = nullptr;
    const int flags =
        SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0) | SQLITE_OPEN_FULLMUTEX;
    const int code = sqlite3_open_v2(path.toUtf8().constData(), &db, flags, nullptr);
    m_db.reset(db); // closed even when opening failed
    if (code != SQLITE_OK) {
        recordError(code);
        m_db.reset();
        return false;
    }
    sqlite3_extended_result_codes(db, 1);
    return exec(QStringLiteral("PRAGMA foreign_keys = ON"));
}

bool SqliteDatabase::openImmutable(const QString& path)
{
    m_db.reset();
    sqlite3* db = nullptr;
    const QByteArray uri = "file:" + QUrl::toPercentEncoding(path, "/") + "?immutable=1";
    const int code =
        sqlite3_open_v2(uri.constData(), &db,
                        SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_FULLMUTEX, nullptr);
    m_db.reset(db);
    if (code != SQLITE_OK) {
        recordError(code);
        m_db.reset();
        return false;
    }
    sqlite3_extended_result_codes(db, 1);
    return true;
}

bool SqliteDatabase::isReadOnly() const
{
    return m_db && sqlite3_db_readonly(m_db.get(), "main") == 1;
}

void SqliteDatabase::recordError(int code)
{
    m_lastErrorCode = code & 0xFF;
    m_lastError = m_db ? QString::fromUtf8(sqlite3_errmsg(m_db.get()))
                       : QString::fromUtf8(sqlite3_errstr(code));
    // "disk I/O error" alone does not tell a full disk from a failing one.
    const int systemError = m_db ? sqlite3_system_errno(m_db.get()) : 0;
    if ((m_lastErrorCode == SQLITE_IOERR || m_lastErrorCode == SQLITE_CANTOPEN) && systemError != 0)
        m_lastError += u": "_s + QString::fromLocal8Bit(std::strerror(systemError));
}

bool SqliteDatabase::exec(const QString& sql)
{
    if (!m_db)
        return false;
    const int code = sqlite3_exec(m_db.get(), sql.toUtf8().constData(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        recordError(code);
        return false;
    }
    return true;
}

std::optional<SqliteStatement> SqliteDatabase::prepare(const QString& sql)
{
    if (!m_db)
        return std::nullopt;
    sqlite3_stmt* statement = nullptr;
    const QByteArray utf8 = sql.toUtf8();
    const int code =
        sqlite3_prepare_v2(m_db.get(), utf8.constData(), int(utf8.size()), &statement, nullptr);
    if (code != SQLITE_OK) {
        recordError(code);
        sqlite3_finalize(statement);
        return std::nullopt;
    }
    return SqliteStatement(statement);
}

std::optional<std::int64_t> SqliteDatabase::queryInt(const QString& sql)
{
    std::optional<SqliteStatement> statement = prepare(sql);
    if (!statement)
        return std::nullopt;
    switch (statement->step()) {
    case SqliteStatement::Step::Row:
        return statement->int64(0);
    case SqliteStatement::Step::Done:
        return std::nullopt;
    case SqliteStatement::Step::Error:
        recordError(sqlite3_errcode(m_db.get()));
        return std::nullopt;
    }
    return std::nullopt;
}

void SqliteDatabase::captureError()
{
    if (m_db)
        recordError(sqlite3_extended_errcode(m_db.get()));
}

void SqliteDatabase::setBusyTimeout(int milliseconds)
{
    if (m_db)
        sqlite3_busy_timeout(m_db.get(), milliseconds);
}

std::int64_t SqliteDatabase::lastInsertRowId() const
{
    return m_db ? sqlite3_last_insert_rowid(m_db.get()) : 0;
}

#pragma once

#include "common/UniqueFd.h"

#include <QByteArray>
#include <QString>
#include <optional>
#include <sys/types.h>
#include <unistd.h>
#include <variant>

// A file written so that nobody else can redirect or read it: the bytes go into a new file
// (mode 0600, created with O_EXCL, never through a link) in the destination's real folder,
// reach the disk, and are then renamed over the destination in one step. A destination that
// is a symbolic link, not a regular file, or another user's file is refused, never replaced or
// written through, so a link planted in a shared folder (/tmp, a synced folder) leads nowhere.
// Nothing is left behind by a write that fails or is cancelled.
class SafeFile {
public:
    // `owner`: whose file the destination may be; this process's user unless a test says
    // otherwise.
    explicit SafeFile(QString path, uid_t owner = ::geteuid());
    ~SafeFile();
    SafeFile(const SafeFile&) = delete;
    SafeFile& operator=(const SafeFile&) = delete;

    bool open();
    bool write(const QByteArray& bytes);
    // Flushes, closes and renames over the destination; false (with errorString()) otherwise.
    bool commit();
    // Drops what was written; the destination stays as it was.
    void cancel();

    const QString& errorString() const { return m_error; }

    // open(), write() and commit() at once; the error text, if any.
    static std::optional<QString> writeFile(const QString& path, const QByteArray& bytes,
                                            uid_t owner = ::geteuid());

    // The bytes of a regular file, never read through a link nor from a pipe or device; the
    // error text otherwise. A missing file is an error too (see isMissing()).
    static std::variant<QByteArray, QString> readFile(const QString& path);
    static bool isMissing(const QString& path);

    // Why an existing `path` must not be replaced or read, if it must not; nullopt for a
    // regular file of `owner`'s or no file at all.
    static std::optional<QString> refusal(const QString& path, uid_t owner = ::geteuid());

private:
    bool fail(const QString& error);
    void removeTemporary();

    QString m_path;
    uid_t m_owner;
    QString m_error;
    QByteArray m_name;          // the destination's name inside its folder
    QByteArray m_temporaryName; // set while a temporary file exists
    UniqueFd m_folder;
    UniqueFd m_file;
};

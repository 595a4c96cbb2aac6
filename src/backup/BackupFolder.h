#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

// A lasting reference to the folder the user chose for backups: its path with the device and
// inode it had. A folder that was moved, deleted or replaced no longer resolves ("stale").
namespace BackupFolder {

// Nothing when the folder does not exist.
std::optional<QByteArray> bookmark(const QString& folder);

// The folder's path while it is the same folder; nothing for an empty, unreadable or stale
// bookmark.
std::optional<QString> resolve(const QByteArray& bookmark);

// The path as shown to the user: the home folder abbreviated to "~".
QString displayPath(const QString& folder);

} // namespace BackupFolder

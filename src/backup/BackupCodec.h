#pragma once

#include "backup/BackupRecords.h"

#include <variant>

// The backup file's exact bytes: pretty-printed JSON with two-space indentation, "key" : value,
// keys sorted by code point, "\/" for slashes, no nulls, dates in whole seconds with Z.
namespace BackupCodec {

QByteArray encode(const BackupFile& file);

// The file, or the reason it cannot be read, naming the key and where it is.
std::variant<BackupFile, QString> decode(const QByteArray& bytes);

// "2025-03-01T09:30:00Z": UTC, whole seconds.
QString formatDate(const QDateTime& date);

} // namespace BackupCodec

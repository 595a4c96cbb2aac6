#pragma once

#include <QString>
#include <optional>

class SqliteDatabase;

// The library's tables and their history. Each release that changes them adds a migration;
// a file is brought up to date in one transaction per step, never rewritten from scratch.
namespace StoreSchema {

inline constexpr int currentVersion = 1;

// Sets the connection up (WAL, synchronous writes) and migrates the file to currentVersion.
// Returns the reason when the file cannot be used: not a database, or written by a newer
// version of ScrivLane. Nothing is changed in that case.
std::optional<QString> prepare(SqliteDatabase& db);

} // namespace StoreSchema

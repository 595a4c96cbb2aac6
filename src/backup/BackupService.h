#pragma once

#include "backup/BackupRecords.h"

#include <functional>
#include <variant>

class PersistenceController;

// Writing the library into a backup file and adding a backup file's contents back. What
// touches the store runs on the store's thread; encoding, writing, reading and decoding run on
// any thread, so a worker never has to wait for the main thread.
namespace BackupService {

// "ScrivLane-Backup-" + the local date + ".json".
QString fileName(const QDateTime& now);

// The backup of the library as it is now ("custom" sound written as "Basso").
BackupFile makeBackup(const PersistenceController& store, AppSettingsBackup settings,
                      const QDateTime& now);

struct ExportOutcome {
    QString filePath; // set on success
    QString error;    // set on failure
};

// Writes a backup taken earlier into the folder atomically; a file of the same name is
// replaced and no partial file is ever left. Any thread; `cancelled`, when given, is asked
// before the file is committed, and a cancelled write leaves nothing behind.
ExportOutcome writeBackup(const QString& folder, const BackupFile& file, const QDateTime& now,
                          const std::function<bool()>& cancelled = {});

// makeBackup() then writeBackup(), on the store's thread.
ExportOutcome exportBackup(const QString& folder, PersistenceController& store,
                           const AppSettingsBackup& settings, const QDateTime& now);

// Who the restored settings go to; every function must be set.
struct SettingsTarget {
    std::function<void(bool)> setExpansionEnabled;
    std::function<void(bool)> setSoundEnabled;
    std::function<void(float)> setSoundVolume;
    std::function<void(const QString&)> setSelectedSound;
    std::function<void(const QString& key, const QVariant& value)> push;
};

// Reads and decodes a backup file; any thread. The error names the file or the faulty key.
std::variant<BackupFile, QString> readBackup(const QString& filePath);

// Adds what the library lacks, in one save (it lands entirely or not at all); the store's
// thread. The file's settings are not applied here.
RestoreResult addToLibrary(const BackupFile& file, PersistenceController& store);

// readBackup() then addToLibrary() on the store's thread; the file's settings go to
// applySettings once this has returned. Nothing is written when the file cannot be read.
std::variant<RestoreResult, QString>
restoreBackup(const QString& filePath, PersistenceController& store,
              const std::function<void(const AppSettingsBackup&)>& applySettings);

void applySettings(const AppSettingsBackup& settings, const SettingsTarget& target);

// "✓ 3 snippets added, 2 already existed, settings restored" / "✓ Nothing new to restore".
QString resultLine(const RestoreResult& result);
QString failureLine(const QString& error); // "Restore failed: ..."

} // namespace BackupService

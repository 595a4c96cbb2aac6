#pragma once

#include "backup/BackupRecords.h"

#include <functional>
#include <variant>

class PersistenceController;

// Writing the library into a backup file and adding a backup file's contents back.
// Export and restore may run on a worker: they reach the store on its own thread.
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

// Writes the backup into the folder atomically; a file of the same name is replaced and no
// partial file is ever left.
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

// Adds what the library lacks; the file's settings go to applySettings afterwards, on the
// store's thread. Nothing is written when the file cannot be read.
std::variant<RestoreResult, QString>
restoreBackup(const QString& filePath, PersistenceController& store,
              const std::function<void(const AppSettingsBackup&)>& applySettings);

void applySettings(const AppSettingsBackup& settings, const SettingsTarget& target);

// "✓ 3 snippets added, 2 already existed, settings restored" / "✓ Nothing new to restore".
QString resultLine(const RestoreResult& result);
QString failureLine(const QString& error); // "Restore failed: ..."

} // namespace BackupService

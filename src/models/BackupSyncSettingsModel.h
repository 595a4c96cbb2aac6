#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <functional>

class BackupController;
class PersistenceController;
class QSettings;
class Scheduler;

// The Backup & Sync pane: the folder-sync switch with its status line and "Refresh", and the
// file backup section over the backup controller.
class BackupSyncSettingsModel : public QObject {
    Q_OBJECT

public:
    // Turning sync on relaunches this long after the switch moved.
    static constexpr std::chrono::milliseconds relaunchDelay{300};

    struct Dependencies {
        PersistenceController* store = nullptr;
        QSettings* settings = nullptr;
        Scheduler* scheduler = nullptr;
        BackupController* backup = nullptr; // none: the file backup section is off
        std::function<QDateTime()> clock;   // none: the system clock
        QString localeId;                   // ICU's; empty: the user's
        QString timeZoneId;                 // empty: the system's
        std::function<void()> syncNow;      // none: sync is off
    };

    enum class SyncStatus { off, error, on };
    // The look of the backup status row.
    enum class StatusLook { none, success, failure };

    explicit BackupSyncSettingsModel(Dependencies dependencies, QObject* parent = nullptr);

    // The pane is being shown: the backup folder is resolved again.
    void appear();

    bool syncEnabled() const;
    // On: stored, then the app relaunches with sync after relaunchDelay. Off: stored only; it
    // takes effect at the next launch.
    void setSyncEnabled(bool enabled);
    SyncStatus syncStatus() const;
    QString syncStatusText() const;
    // Re-reads the library from the store and syncs with the sync folder now.
    void refresh();
    // The folder a sync tool keeps in step ("~/Sync/ScrivLane"); read at launch.
    QString syncFolderText() const;
    // An existing folder becomes the sync folder from the next launch; false for any other.
    bool chooseSyncFolder(const QString& folder);

    bool hasBackup() const { return m_backup; }
    QString folderText() const;     // "~/Backups" or "Not set"
    QString lastBackupText() const; // the date in the user's locale, or "Never"
    bool canBackUp() const;
    bool isBackingUp() const;
    bool isRestoring() const;
    StatusLook statusLook() const;
    QString statusText() const;
    // The user's folder choice; false (nothing changed) when the folder cannot be used.
    bool chooseFolder(const QString& folder);
    void backUpNow();
    void restore(const QString& file);

    // Abbreviated date and short time ("Mar 1, 2026, 12:00 PM") through ICU.
    static QString abbreviatedDateTime(const QDateTime& when, const QString& localeId,
                                       const QString& timeZoneId = {});

Q_SIGNALS:
    void changed();

private:
    Dependencies m_dependencies;
    BackupController* m_backup;
};

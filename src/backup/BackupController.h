#pragma once

#include "backup/BackupService.h"

#include <QDateTime>
#include <QObject>
#include <QThreadPool>
#include <atomic>
#include <memory>

class QSettings;

// The state behind the settings' file backup section: the chosen folder, the last backup,
// "Back Up Now" and restore, with the status line of the last outcome. The store is read and
// written on the main thread only; a worker encodes and writes, or reads and decodes, and
// hands its result back without waiting, so destroying the controller never blocks on it.
class BackupController : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString backupFolder READ backupFolder NOTIFY backupFolderChanged)
    Q_PROPERTY(QDateTime lastBackupDate READ lastBackupDate NOTIFY lastBackupDateChanged)
    Q_PROPERTY(
        QString backupStatusMessage READ backupStatusMessage NOTIFY backupStatusMessageChanged)
    Q_PROPERTY(bool isBackingUp READ isBackingUp NOTIFY isBackingUpChanged)
    Q_PROPERTY(bool isRestoring READ isRestoring NOTIFY isRestoringChanged)

public:
    struct Dependencies {
        PersistenceController* store = nullptr;
        QSettings* settings = nullptr;
        std::function<AppSettingsBackup()> currentSettings;
        BackupService::SettingsTarget settingsTarget;
        std::function<QDateTime()> clock;
    };

    explicit BackupController(Dependencies dependencies, QObject* parent = nullptr);
    ~BackupController() override; // cancels a running backup or restore

    QString backupFolder() const { return m_backupFolder; } // empty: not set (or stale)
    QDateTime lastBackupDate() const { return m_lastBackupDate; }
    QString backupStatusMessage() const { return m_statusMessage; }
    bool isBackingUp() const { return m_isBackingUp; }
    bool isRestoring() const { return m_isRestoring; }
    bool canBackUp() const { return !m_backupFolder.isEmpty() && !m_isBackingUp; }

    // Reads the stored folder reference again; a stale one shows as not set but is kept.
    void loadBackupFolder();
    // Remembers the folder the user chose; false (and nothing changed) when it is unusable.
    bool chooseBackupFolder(const QString& folder);
    void performBackup();
    void performRestore(const QString& file);

Q_SIGNALS:
    void backupFolderChanged();
    void lastBackupDateChanged();
    void backupStatusMessageChanged();
    void isBackingUpChanged();
    void isRestoringChanged();

private:
    void setStatus(const QString& message);
    void setBackingUp(bool busy);
    void setRestoring(bool busy);

    Dependencies m_dependencies;
    QString m_backupFolder;
    QDateTime m_lastBackupDate;
    QString m_statusMessage;
    bool m_isBackingUp = false;
    bool m_isRestoring = false;
    // Set when the controller goes: a worker still running writes nothing more.
    std::shared_ptr<std::atomic<bool>> m_cancelled = std::make_shared<std::atomic<bool>>(false);
    QThreadPool m_workers;
};

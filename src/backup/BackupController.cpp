#include "BackupController.h"

#include "BackupFolder.h"
#include "Preferences.h"

#include <QFileInfo>
#include <QSettings>

BackupController::BackupController(Dependencies dependencies, QObject* parent)
    : QObject(parent), m_dependencies(std::move(dependencies))
{
    if (!m_dependencies.clock)
        m_dependencies.clock = [] { return QDateTime::currentDateTimeUtc(); };
    loadBackupFolder();
}

BackupController::~BackupController()
{
    m_workers.waitForDone();
}

void BackupController::loadBackupFolder()
{
    const QByteArray bookmark =
        Preferences::value(*m_dependencies.settings, Preferences::backupFolderBookmark)
            .toByteArray();
    if (bookmark.isEmpty())
        return;
    const QString folder = BackupFolder::resolve(bookmark).value_or(QString());
    if (folder != m_backupFolder) {
        m_backupFolder = folder;
        Q_EMIT backupFolderChanged();
    }
    m_lastBackupDate =
        Preferences::value(*m_dependencies.settings, Preferences::lastBackupDate).toDateTime();
    Q_EMIT lastBackupDateChanged();
}

bool BackupController::chooseBackupFolder(const QString& folder)
{
    const std::optional<QByteArray> bookmark = BackupFolder::bookmark(folder);
    if (!bookmark)
        return false;
    Preferences::write(*m_dependencies.settings, Preferences::backupFolderBookmark, *bookmark);
    m_backupFolder = *BackupFolder::resolve(*bookmark);
    Q_EMIT backupFolderChanged();
    return true;
}

void BackupController::performBackup()
{
    if (!canBackUp())
        return; // one backup at a time
    setBackingUp(true);
    setStatus(QString());
    const QString folder = m_backupFolder;
    const AppSettingsBackup settings = m_dependencies.currentSettings();
    const QDateTime now = m_dependencies.clock();
    m_workers.start([this, folder, settings, now] {
        const BackupService::ExportOutcome outcome =
            BackupService::exportBackup(folder, *m_dependencies.store, settings, now);
        QMetaObject::invokeMethod(this, [this, outcome] {
            setBackingUp(false);
            if (outcome.filePath.isEmpty()) {
                setStatus(QStringLiteral("Export failed: ") + outcome.error);
                return;
            }
            m_lastBackupDate = m_dependencies.clock();
            Preferences::write(*m_dependencies.settings, Preferences::lastBackupDate,
                               m_lastBackupDate);
            Q_EMIT lastBackupDateChanged();
            setStatus(QStringLiteral("\u2713 Saved to ") + QFileInfo(outcome.filePath).fileName());
        });
    });
}

void BackupController::performRestore(const QString& file)
{
    if (file.isEmpty() || m_isRestoring)
        return;
    setRestoring(true);
    setStatus(QString());
    m_workers.start([this, file] {
        const BackupService::SettingsTarget target = m_dependencies.settingsTarget;
        const auto result = BackupService::restoreBackup(
            file, *m_dependencies.store,
            [target](const AppSettingsBackup& s) { BackupService::applySettings(s, target); });
        QMetaObject::invokeMethod(this, [this, result] {
            setRestoring(false);
            if (const auto* counts = std::get_if<RestoreResult>(&result))
                setStatus(BackupService::resultLine(*counts));
            else
                setStatus(BackupService::failureLine(std::get<QString>(result)));
        });
    });
}

void BackupController::setStatus(const QString& message)
{
    if (m_statusMessage == message && m_statusMessage.isNull() == message.isNull())
        return;
    m_statusMessage = message;
    Q_EMIT backupStatusMessageChanged();
}

void BackupController::setBackingUp(bool busy)
{
    if (m_isBackingUp == busy)
        return;
    m_isBackingUp = busy;
    Q_EMIT isBackingUpChanged();
}

void BackupController::setRestoring(bool busy)
{
    if (m_isRestoring == busy)
        return;
    m_isRestoring = busy;
    Q_EMIT isRestoringChanged();
}

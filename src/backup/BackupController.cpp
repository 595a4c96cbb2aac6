#include "backup/BackupController.h"

#include "backup/BackupFolder.h"
#include "common/Preferences.h"

#include <QFileInfo>
#include <QSettings>

BackupController::BackupController(Dependencies dependencies, QObject* parent)
    : QObject(parent), m_dependencies(std::move(dependencies))
{
    if (!m_dependencies.clock)
        m_dependencies.clock = [] { return QDateTime::currentDateTimeUtc(); };
    loadBackupFolder();
}

// The workers touch neither the store nor this object; their results are posted to it, and
// Qt drops them once it is gone. Waiting is bounded by one encode or decode.
BackupController::~BackupController()
{
    m_cancelled->store(true);
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
    const QDateTime now = m_dependencies.clock();
    // The snapshot is taken here, on the store's thread, before the worker starts.
    BackupFile file =
        BackupService::makeBackup(*m_dependencies.store, m_dependencies.currentSettings(), now);
    const std::shared_ptr<std::atomic<bool>> cancelled = m_cancelled;
    m_workers.start([this, folder, file = std::move(file), now, cancelled] {
        const BackupService::ExportOutcome outcome = BackupService::writeBackup(
            folder, file, now, [cancelled] { return cancelled->load(); });
        if (cancelled->load())
            return;
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
    const std::shared_ptr<std::atomic<bool>> cancelled = m_cancelled;
    m_workers.start([this, file, cancelled] {
        std::variant<BackupFile, QString> decoded = BackupService::readBackup(file);
        if (cancelled->load())
            return;
        QMetaObject::invokeMethod(this, [this, decoded = std::move(decoded)] {
            setRestoring(false);
            if (const auto* error = std::get_if<QString>(&decoded)) {
                setStatus(BackupService::failureLine(*error));
                return;
            }
            const BackupFile& backup = std::get<BackupFile>(decoded);
            const RestoreResult counts = BackupService::addToLibrary(backup, *m_dependencies.store);
            if (backup.settings)
                BackupService::applySettings(*backup.settings, m_dependencies.settingsTarget);
            setStatus(BackupService::resultLine(counts));
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

#include "models/BackupSyncSettingsModel.h"

#include "backup/BackupController.h"
#include "backup/BackupFolder.h"
#include "common/Preferences.h"
#include "library/PersistenceController.h"
#include "macros/MacroProcessor.h"
#include "models/RelativeTime.h"
#include "platform/api/Scheduler.h"

#include <QFileInfo>
#include <QLocale>
#include <QSettings>
#include <memory>
#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

BackupSyncSettingsModel::BackupSyncSettingsModel(Dependencies dependencies, QObject* parent)
    : QObject(parent), m_dependencies(std::move(dependencies)), m_backup(m_dependencies.backup)
{
    PersistenceController* store = m_dependencies.store;
    connect(store, &PersistenceController::syncErrorChanged, this,
            &BackupSyncSettingsModel::changed);
    connect(store, &PersistenceController::isSyncingChanged, this,
            &BackupSyncSettingsModel::changed);
    connect(store, &PersistenceController::lastSyncDateChanged, this,
            &BackupSyncSettingsModel::changed);
    if (!m_backup)
        return;
    for (auto signal :
         {&BackupController::backupFolderChanged, &BackupController::lastBackupDateChanged,
          &BackupController::backupStatusMessageChanged, &BackupController::isBackingUpChanged,
          &BackupController::isRestoringChanged})
        connect(m_backup, signal, this, &BackupSyncSettingsModel::changed);
}

void BackupSyncSettingsModel::appear()
{
    if (m_backup)
        m_backup->loadBackupFolder();
}

bool BackupSyncSettingsModel::syncEnabled() const
{
    return Preferences::flag(*m_dependencies.settings, Preferences::iCloudSyncEnabled);
}

void BackupSyncSettingsModel::setSyncEnabled(bool enabled)
{
    if (enabled == syncEnabled())
        return;
    if (!enabled) {
        Preferences::write(*m_dependencies.settings, Preferences::iCloudSyncEnabled, false);
        Q_EMIT changed();
        return;
    }
    // The switch is seen to move before the app goes away.
    PersistenceController* store = m_dependencies.store;
    m_dependencies.scheduler->schedule(relaunchDelay, store,
                                       [store] { store->enableSyncAndRelaunch(); });
    Preferences::write(*m_dependencies.settings, Preferences::iCloudSyncEnabled, true);
    Q_EMIT changed();
}

BackupSyncSettingsModel::SyncStatus BackupSyncSettingsModel::syncStatus() const
{
    if (!syncEnabled())
        return SyncStatus::off;
    if (!m_dependencies.store->syncError().isEmpty())
        return SyncStatus::error;
    return SyncStatus::on;
}

QString BackupSyncSettingsModel::syncStatusText() const
{
    switch (syncStatus()) {
    case SyncStatus::off:
        return tr("Folder sync is off. Snippets stored locally only.");
    case SyncStatus::error:
        return tr("Sync error: %1").arg(m_dependencies.store->syncError());
    case SyncStatus::on:
        break;
    }
    const QDateTime last = m_dependencies.store->lastSyncDate();
    if (!last.isValid())
        return m_dependencies.store->isSyncing() ? tr("Syncing\u2026") : tr("Folder sync is on.");
    const QDateTime now =
        m_dependencies.clock ? m_dependencies.clock() : QDateTime::currentDateTimeUtc();
    return tr("Last synced %1").arg(RelativeTime::abbreviated(last, now, m_dependencies.localeId));
}

void BackupSyncSettingsModel::refresh()
{
    m_dependencies.store->refreshFromStore();
    if (m_dependencies.syncNow)
        m_dependencies.syncNow();
}

QString BackupSyncSettingsModel::syncFolderText() const
{
    return BackupFolder::displayPath(
        Preferences::text(*m_dependencies.settings, Preferences::syncFolder));
}

bool BackupSyncSettingsModel::chooseSyncFolder(const QString& folder)
{
    const QFileInfo info(folder);
    if (!info.isDir() || !info.isAbsolute())
        return false;
    if (!Preferences::write(*m_dependencies.settings, Preferences::syncFolder,
                            info.absoluteFilePath()))
        return false;
    Q_EMIT changed();
    return true;
}

QString BackupSyncSettingsModel::folderText() const
{
    if (!m_backup || m_backup->backupFolder().isEmpty())
        return tr("Not set");
    return BackupFolder::displayPath(m_backup->backupFolder());
}

QString BackupSyncSettingsModel::lastBackupText() const
{
    if (!m_backup || !m_backup->lastBackupDate().isValid())
        return tr("Never");
    return abbreviatedDateTime(m_backup->lastBackupDate(), m_dependencies.localeId,
                               m_dependencies.timeZoneId);
}

bool BackupSyncSettingsModel::canBackUp() const
{
    return m_backup && m_backup->canBackUp();
}

bool BackupSyncSettingsModel::isBackingUp() const
{
    return m_backup && m_backup->isBackingUp();
}

bool BackupSyncSettingsModel::isRestoring() const
{
    return m_backup && m_backup->isRestoring();
}

BackupSyncSettingsModel::StatusLook BackupSyncSettingsModel::statusLook() const
{
    const QString message = statusText();
    if (message.isEmpty())
        return StatusLook::none;
    return message.startsWith(u'\u2713') ? StatusLook::success : StatusLook::failure;
}

QString BackupSyncSettingsModel::statusText() const
{
    return m_backup ? m_backup->backupStatusMessage() : QString();
}

bool BackupSyncSettingsModel::chooseFolder(const QString& folder)
{
    return m_backup && m_backup->chooseBackupFolder(folder);
}

void BackupSyncSettingsModel::backUpNow()
{
    if (m_backup)
        m_backup->performBackup();
}

void BackupSyncSettingsModel::restore(const QString& file)
{
    if (m_backup)
        m_backup->performRestore(file);
}

QString BackupSyncSettingsModel::abbreviatedDateTime(const QDateTime& when, const QString& localeId,
                                                     const QString& timeZoneId)
{
    const QString id = localeId.isEmpty() ? MacroProcessor::userLocaleId() : localeId;
    std::unique_ptr<icu::DateFormat> format(icu::DateFormat::createDateTimeInstance(
        icu::DateFormat::kMedium, icu::DateFormat::kShort,
        icu::Locale::createFromName(id.toLatin1().constData())));
    if (!format)
        return QLocale().toString(when.toLocalTime(), QLocale::ShortFormat);
    if (!timeZoneId.isEmpty()) {
        const QByteArray zone = timeZoneId.toUtf8();
        format->adoptTimeZone(
            icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zone.constData())));
    }
    icu::UnicodeString text;
    format->format(static_cast<UDate>(when.toMSecsSinceEpoch()), text);
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}

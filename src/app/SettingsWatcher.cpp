#include "app/SettingsWatcher.h"

#include <QFileInfo>
#include <QSettings>

SettingsWatcher::SettingsWatcher(QSettings& settings, QObject* parent)
    : QObject(parent), m_settings(settings)
{
    m_settle.setSingleShot(true);
    m_settle.setInterval(settleMs);
    connect(&m_settle, &QTimer::timeout, this, &SettingsWatcher::reread);
    const auto noticed = [this] {
        if (!m_settle.isActive())
            m_settle.start();
    };
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, noticed);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, noticed);
    watch();
}

void SettingsWatcher::watch()
{
    const QFileInfo file(m_settings.fileName());
    if (!m_watcher.directories().contains(file.absolutePath()))
        m_watcher.addPath(file.absolutePath());
    // A renamed-over file is a new one: watch it again.
    if (file.exists() && !m_watcher.files().contains(file.absoluteFilePath()))
        m_watcher.addPath(file.absoluteFilePath());
}

void SettingsWatcher::reread()
{
    watch();
    m_settings.sync();
    Q_EMIT changed();
}

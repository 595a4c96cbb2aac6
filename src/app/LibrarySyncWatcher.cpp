#include "app/LibrarySyncWatcher.h"

#include "sync/LibrarySync.h"

#include <QDir>
#include <QFileInfo>

LibrarySyncWatcher::LibrarySyncWatcher(scrivlane::sync::LibrarySync& sync, QObject* parent)
    : QObject(parent), m_sync(sync)
{
    m_settle.setSingleShot(true);
    m_settle.setInterval(settleMs);
    connect(&m_settle, &QTimer::timeout, this, [this] {
        m_sync.importChanges();
        rewatch();
    });
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, &m_settle,
            qOverload<>(&QTimer::start));
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, &m_settle, qOverload<>(&QTimer::start));
    m_poll.setInterval(pollMs);
    connect(&m_poll, &QTimer::timeout, this, [this] {
        m_sync.importChanges();
        rewatch();
    });
    m_poll.start();
    QTimer::singleShot(0, this, [this] {
        m_sync.syncNow();
        rewatch();
    });
}

void LibrarySyncWatcher::rewatch()
{
    // The sync folder itself, to notice the library folder appear; the library folder, for
    // files added, removed or renamed into place; each file in it, for appends.
    const QString library = m_sync.libraryFolder();
    QStringList paths{QFileInfo(library).absolutePath()};
    if (QFileInfo(library).isDir()) {
        paths << library;
        const QDir folder(library);
        for (const QString& name : folder.entryList(QDir::Files))
            paths << folder.filePath(name);
    }
    QStringList missing;
    for (const QString& path : paths)
        if (!m_watcher.files().contains(path) && !m_watcher.directories().contains(path) &&
            QFileInfo::exists(path))
            missing << path;
    if (!missing.isEmpty())
        m_watcher.addPaths(missing);
}

#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>

namespace scrivlane::sync {
class LibrarySync;
}

// Runs the library sync while the app runs: a full sync once the event loop starts, an import
// shortly after anything changes in the sync folder (files arrive whole or in pieces, so
// changes settle first), and one every few minutes for folders whose changes are not
// announced (network file systems).
class LibrarySyncWatcher : public QObject {
    Q_OBJECT

public:
    static constexpr int settleMs = 300;
    static constexpr int pollMs = 5 * 60 * 1000;

    explicit LibrarySyncWatcher(scrivlane::sync::LibrarySync& sync, QObject* parent = nullptr);

private:
    void rewatch();

    scrivlane::sync::LibrarySync& m_sync;
    QFileSystemWatcher m_watcher;
    QTimer m_settle;
    QTimer m_poll;
};

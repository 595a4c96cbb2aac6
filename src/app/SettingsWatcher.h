#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>

class QSettings;

// Notices when another process (the command line, a restored backup, an editor) rewrites the
// settings file, so the running app takes the new values up at once. QSettings replaces the
// file by renaming, so the folder is watched as well as the file. The first change starts a
// short timer that later changes do not restart: a steady stream of writes still gets read.
class SettingsWatcher final : public QObject {
    Q_OBJECT

public:
    static constexpr int settleMs = 150;

    explicit SettingsWatcher(QSettings& settings, QObject* parent = nullptr);

Q_SIGNALS:
    // The file was re-read; the values may differ from before.
    void changed();

private:
    void watch();
    void reread();

    QSettings& m_settings;
    QFileSystemWatcher m_watcher;
    QTimer m_settle;
};

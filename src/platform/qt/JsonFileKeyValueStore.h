#pragma once

#include "platform/api/KeyValueStore.h"

#include <QFileSystemWatcher>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <optional>
#include <vector>

// The shared key-value store as one small JSON object in a folder that a file-sync tool
// (Syncthing, Nextcloud, Dropbox) keeps in step across machines. Every write replaces the file
// in one rename; a file written by another process or machine is noticed by a watcher and
// announced as a server change. The first successful read of the file is the initial sync.
class JsonFileKeyValueStore final : public QObject, public KeyValueStore {
    Q_OBJECT

public:
    static inline const QString fileName = QStringLiteral("ScrivLane-Preferences.json");

    // `folder` is created when missing.
    explicit JsonFileKeyValueStore(const QString& folder, QObject* parent = nullptr);
    ~JsonFileKeyValueStore() override;

    QString filePath() const { return m_path; }

    void setBool(const QString& key, bool value) override;
    void setDouble(const QString& key, double value) override;
    void setString(const QString& key, const QString& value) override;
    void removeObject(const QString& key) override;
    QVariant object(const QString& key) const override;
    bool synchronize() override;
    void observeExternalChanges(QObject* context, ExternalChangeHandler handler) override;

private:
    enum class Read { ok, missing, unreadable };

    Read read(QJsonObject& into) const;
    // Takes in what the file holds now and announces the keys that differ from our copy.
    Read refresh();
    void change(const QString& key, const std::optional<QJsonValue>& value);
    bool save();
    void keepCorruptCopy();
    void announce(const QStringList& keys, int reason);
    void rewatch();

    struct Observer {
        QPointer<QObject> context;
        ExternalChangeHandler handler;
    };

    QString m_folder;
    QString m_path;
    QJsonObject m_values;
    bool m_hadFirstRead = false;
    std::vector<Observer> m_observers;
    QFileSystemWatcher m_watcher;
    QTimer m_settle; // a sync tool may touch the file several times in a row
};

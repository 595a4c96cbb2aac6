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
// What arrives in the folder comes from other machines and tools: a link or anything but a
// regular file in the file's place is neither read nor replaced, and a damaged file is kept
// aside in a local folder, never in the shared one.
class JsonFileKeyValueStore final : public QObject, public KeyValueStore {
    Q_OBJECT

public:
    static inline const QString fileName = QStringLiteral("ScrivLane-Preferences.json");

    // Whether `folder` is made when missing: yes for one of our own; never for a folder the
    // user chose, which may be on a drive that is not mounted yet.
    enum class MakeFolder { ifMissing, never };

    // A damaged shared file is copied into `damagedCopiesFolder` (as fileName + ".corrupt")
    // before it is replaced.
    JsonFileKeyValueStore(const QString& folder, const QString& damagedCopiesFolder,
                          MakeFolder make = MakeFolder::ifMissing, QObject* parent = nullptr);
    ~JsonFileKeyValueStore() override;

    QString filePath() const { return m_path; }
    QString damagedCopyPath() const;

    void setBool(const QString& key, bool value) override;
    void setDouble(const QString& key, double value) override;
    void setString(const QString& key, const QString& value) override;
    void removeObject(const QString& key) override;
    QVariant object(const QString& key) const override;
    bool synchronize() override;
    void observeExternalChanges(QObject* context, ExternalChangeHandler handler) override;

private:
    enum class Read { ok, missing, unreadable };
    struct Snapshot {
        Read result = Read::missing;
        QJsonObject values;                // ok
        QString problem;                   // unreadable
        std::optional<QByteArray> damaged; // unreadable, but a regular file we could read
    };

    Snapshot read() const;
    // Takes in what the file holds now and announces the keys that differ from our copy.
    Snapshot refresh();
    void change(const QString& key, const std::optional<QJsonValue>& value);
    bool save();
    bool keepDamagedCopy(const QByteArray& bytes);
    void announce(const QStringList& keys, int reason);
    void rewatch();

    struct Observer {
        QPointer<QObject> context;
        ExternalChangeHandler handler;
    };

    QString m_folder;
    QString m_path;
    QString m_damagedCopiesFolder;
    QJsonObject m_values;
    bool m_hadFirstRead = false;
    std::vector<Observer> m_observers;
    QFileSystemWatcher m_watcher;
    QTimer m_settle; // a sync tool may touch the file several times in a row
};

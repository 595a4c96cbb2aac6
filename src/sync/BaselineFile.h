#pragma once

#include "sync/LibraryFields.h"

#include <QMutex>
#include <QString>
#include <QThreadPool>
#include <memory>
#include <optional>

namespace scrivlane::sync {

// The library as this computer and the sync folder last agreed on it, kept in the data
// folder. Writing it whole takes a while in a large library, so writes happen on a thread of
// their own: the caller hands over only what changed, and the thread keeps its own copy,
// writing the newest state once the changes queued so far are in.
class BaselineFile {
public:
    BaselineFile(QString path, QString device);
    // Waits for the last write.
    ~BaselineFile();
    BaselineFile(const BaselineFile&) = delete;
    BaselineFile& operator=(const BaselineFile&) = delete;

    // What the file holds, if it is this device's.
    std::optional<LibraryView> load() const;
    void replace(const LibraryView& view);
    void update(const RecordIds& ids, const LibraryView& records);
    // Returns once everything handed over is on disk (or failed to get there).
    void flush();

private:
    struct Change {
        RecordIds ids;
        LibraryView records;
        bool whole = false;
    };
    struct Shared {
        QMutex mutex;
        QList<Change> queued;
        LibraryView view;
    };
    void post(Change change);

    QString m_path;
    QString m_device;
    std::shared_ptr<Shared> m_shared;
    QThreadPool m_thread;
};

} // namespace scrivlane::sync

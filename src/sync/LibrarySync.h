#pragma once

#include "library/SyncEvent.h"
#include "sync/FolderMirror.h"
#include "sync/LibraryFields.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <functional>
#include <optional>

class PersistenceController;

namespace scrivlane::sync {

// Keeps the store and the sync folder in step. An export writes what changed in the store
// since the last time the two agreed (the baseline, kept in the data folder so the app and
// the command line agree on it); an import merges every computer's changes and writes the
// result into the store, as changes made by another process are read in. Each run reports
// set-up, import and export events to the store.
class LibrarySync : public QObject {
    Q_OBJECT

public:
    struct Options {
        PersistenceController* store = nullptr;
        QString syncFolder;
        // The device identity, the baseline and the lock live here, never in the sync folder.
        QString dataFolder;
        // What tells this computer from a copy of its data folder on another one.
        QString machineId;
        HybridClock::WallClock wallClock; // milliseconds; none: the system clock
        std::function<QDateTime()> now;   // event dates; none: the system clock
        int compactAfterEntries = 2000;
    };

    explicit LibrarySync(Options options, QObject* parent = nullptr);
    ~LibrarySync() override;

    // The store saved: its changes go out.
    void exportChanges();
    // Something arrived in the sync folder: it comes in.
    void importChanges();
    // Both, the first time as the set-up.
    void syncNow();

    // Where things stand, read from the files so any process can tell: the last time this
    // computer and the folder agreed, whether a run holds the folder now, what is wrong with
    // the folder if anything, and every computer with files in it.
    struct Status {
        QString folder;
        QString device;
        std::optional<QDateTime> lastSyncDate;
        bool syncing = false;
        QString error;
        QStringList devices;
    };
    Status status() const;

    const QString& device() const { return m_device; }
    QStringList devicesSeen() const { return m_mirror.devicesSeen(); }
    QString libraryFolder() const { return m_mirror.libraryFolder(); }

    // The device id kept in `dataFolder`, made anew when missing or when the folder was copied
    // from another machine (its recorded machine differs).
    static QString deviceIdentity(const QString& dataFolder, const QString& machineId);

private:
    enum class Run { exportOnly, importOnly, both };
    void run(Run what);
    MirrorOutcome exportPart(const LibraryView& current);
    MirrorOutcome importPart(const LibraryView& current);
    void loadBaseline();
    std::optional<QString> saveBaseline();
    void applyToStore(const LibraryView& target, const LibraryView& current);
    void report(SyncEvent::Type type, const MirrorOutcome* outcome);
    QString baselinePath() const;

    Options m_options;
    QString m_device;
    FolderMirror m_mirror;
    std::optional<LibraryView> m_baseline;
    // The baseline file as last read or written, to notice another process's write.
    QDateTime m_baselineStamp;
    qint64 m_baselineSize = -1;
    bool m_running = false;
};

} // namespace scrivlane::sync

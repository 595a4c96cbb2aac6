#pragma once

#include "library/SyncEvent.h"
#include "sync/BaselineFile.h"
#include "sync/FolderMirror.h"
#include "sync/LibraryFields.h"

#include <QDateTime>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUuid>
#include <functional>
#include <memory>
#include <optional>

class PersistenceController;

namespace scrivlane::sync {

// Keeps the store and the sync folder in step. An export writes what changed in the store
// since the last time the two agreed (the baseline, kept in the data folder); an import
// merges every computer's changes and writes the records they touched into the store, as
// changes made by another process are read in. Both work on the records concerned only, so
// a save in a large library costs what the save changed. Each run reports set-up, import and
// export events to the store.
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

    // The store saved these records: their changes go out.
    void recordsSaved(const QList<QUuid>& snippets, const QList<QUuid>& categories);
    // Exports what changed since the last export (all of it, the first time in a process).
    void exportChanges();
    // Something arrived in the sync folder: it comes in.
    void importChanges();
    // Both, reading every file whole; the first time ever, as the set-up.
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

    void run(Run what, bool justSaved = false);
    void runSetup();
    MirrorOutcome exportPart();
    MirrorOutcome importPart(bool fromScratch);
    LibraryView storeRecords(const RecordIds& ids) const;
    void adoptIntoBaseline(const RecordIds& ids, const LibraryView& records);
    RecordIds applyToStore(const LibraryView& target, const LibraryView& current);
    void loadBaseline();
    void report(SyncEvent::Type type, const MirrorOutcome* outcome);
    QString baselinePath() const;

    Options m_options;
    QString m_device;
    FolderMirror m_mirror;
    std::optional<LibraryView> m_baseline;
    // Saved here since the last export and not yet out; `m_everythingDirty` until this process
    // has compared the whole store with the baseline once (an earlier run may have been
    // killed between a save and its export).
    RecordIds m_dirty;
    bool m_everythingDirty = true;
    // Read from the folder but not written to the store yet (local changes were still out).
    RecordIds m_arrived;
    bool m_running = false;
    std::unique_ptr<BaselineFile> m_baselineFile;
};

} // namespace scrivlane::sync

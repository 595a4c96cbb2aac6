#pragma once

#include "sync/HybridClock.h"
#include "sync/Journal.h"
#include "sync/SyncState.h"

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

namespace scrivlane::sync {

// How one export or import went.
struct MirrorOutcome {
    enum class Failure { None, FolderMissing, NotWritable, DiskFull, NewerFormat };

    Failure failure = Failure::None;
    // One line for syncError and the log; empty when nothing failed.
    QString error;
    // Complete entries that could not be read and were skipped, and where.
    int damagedEntries = 0;
    QStringList damagedFiles;
    // Import: the merged library changed, and which records.
    bool changed = false;
    QSet<QString> changedSnippets;
    QSet<QString> changedCategories;

    bool ok() const { return failure == Failure::None; }
};

// This computer's side of the library folder inside the sync folder. It writes only files of
// its own, named after its device id:
//   <device>.<generation>.journal   changes, appended, one checksummed line each
//   <device>.snapshot               its changes so far, compacted; the journal starts afresh
// and reads everyone's (its own included, so a restart remembers). Merging is SyncState's.
class FolderMirror {
public:
    struct Options {
        // The sync folder; the mirror lives in its "Library" folder.
        QString syncFolder;
        QString device;
        HybridClock::WallClock wallClock;
        // Entries in a journal before it is compacted into the snapshot.
        int compactAfterEntries = 2000;
    };

    explicit FolderMirror(Options options);

    QString libraryFolder() const;
    QString missingFolderError() const;

    // Stamps the changes and appends them to this computer's journal, on disk before it
    // returns. Nothing is half-written: a failed append is cut back off.
    MirrorOutcome exportChanges(const QList<QJsonObject>& changes);
    // Reads what is new from every computer's files. Files are read on from where the last
    // read stopped; `fromScratch` reads every file whole again (a file rewritten in place).
    MirrorOutcome importChanges(bool fromScratch = false);

    const SyncState& merged() const { return m_merged; }
    // Every device whose files were read, this one included once it has written.
    QStringList devicesSeen() const;
    // Every device with files in the folder now, read from their names alone.
    QStringList devicesInFolder() const;

private:
    struct DeviceFiles {
        QHash<quint64, QStringList> journals; // generation -> the file and its conflict copies
        QStringList snapshots;
    };
    struct Snapshot {
        quint64 through = 0;
        quint64 generation = 0;
        QList<JournalEntry> entries;
    };

    QHash<QString, DeviceFiles> scan(MirrorOutcome& outcome) const;
    void readDevice(const QString& device, const DeviceFiles& files, MirrorOutcome& outcome);
    std::optional<Snapshot> readSnapshot(const QStringList& versions, quint64 progress,
                                         MirrorOutcome& outcome);
    std::optional<JournalReadResult> readJournalFile(const QString& path, quint64 afterSeq);
    struct FileMark;
    static std::optional<FileMark> markOf(const QString& path);
    void take(const QString& device, const JournalEntry& entry, MirrorOutcome& outcome);
    MirrorOutcome open();
    QString journalPath(quint64 generation) const;
    QString snapshotPath() const;
    QList<QJsonObject> newsOnly(const QList<QJsonObject>& changes) const;
    void catchUpOwn(MirrorOutcome& outcome);
    bool compact(MirrorOutcome& outcome);
    static void fail(MirrorOutcome& outcome, MirrorOutcome::Failure failure, const QString& error);
    static MirrorOutcome::Failure failureOf(int error);

    Options m_options;
    HybridClock m_clock;
    SyncState m_merged;
    // This computer's own changes: what a snapshot holds.
    SyncState m_own;
    // Per device: the last entry read in order.
    QHash<QString, quint64> m_progress;
    // Where each journal file was read up to (the same file only: its inode), and each
    // snapshot as it was when read.
    struct FileMark {
        quint64 inode = 0;
        qint64 size = -1;
        qint64 modifiedNs = 0;
        qint64 offset = 0;
    };
    QHash<QString, FileMark> m_marks;
    bool m_opened = false;
    quint64 m_nextSeq = 1;
    quint64 m_generation = 1;
    int m_entriesInGeneration = 0;
    // The current journal's size as this process left it; -1: no such file.
    qint64 m_ownJournalSize = -1;
};

} // namespace scrivlane::sync

#pragma once

#include "sync/HybridClock.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>

namespace scrivlane::sync {

// One change in a device's append-only journal. Each entry is one line:
// "<crc32 of the JSON, 8 hex digits> <JSON>\n", the JSON being
// {"v":format,"seq":n,"hlc":stamp,"change":{...}}. A sync tool may deliver the file cut off
// anywhere, so a reader trusts only complete lines whose checksum holds.
struct JournalEntry {
    quint64 seq = 0;
    HlcStamp stamp;
    QJsonObject change;
};

inline constexpr int kJournalFormat = 1;

QByteArray encodeJournalEntry(const JournalEntry& entry);

struct JournalReadResult {
    enum class Stop {
        None,
        // Written by a newer ScrivLane: the rest cannot be understood, so nothing after it
        // is applied.
        NewerFormat,
        // An entry is missing (not merely damaged in place); whatever follows is read again
        // from the device's snapshot.
        Gap,
    };

    QList<JournalEntry> entries;
    // Complete lines that could not be read (checksum, JSON, fields): skipped and logged.
    int damaged = 0;
    // The file ends inside a line: a write still on its way or a torn copy.
    bool tornTail = false;
    Stop stop = Stop::None;
    // The last sequence number read in order.
    quint64 lastInOrder = 0;
    // The highest number on any readable line, past a gap too: a writer carries on after it,
    // never reusing a number a reader may already hold.
    quint64 highestSeq = 0;
    // Bytes up to the end of the last complete line: where a writer cuts a torn tail off.
    qsizetype consumed = 0;
    // Bytes up to the end of the last line read before any stop: where a reader that keeps
    // its place carries on next time.
    qsizetype resumeAt = 0;
};

// Reads the entries after `afterSeq` (0: from the start). Entries at or before the last one
// seen are repeats (a conflict copy, a resent file) and are dropped.
JournalReadResult readJournal(const QByteArray& bytes, quint64 afterSeq = 0);

quint32 crc32(QByteArrayView bytes);

} // namespace scrivlane::sync

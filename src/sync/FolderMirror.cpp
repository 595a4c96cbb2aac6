#include "sync/FolderMirror.h"

#include "common/SafeFile.h"
#include "common/UniqueFd.h"
#include "sync/SyncFileNames.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace scrivlane::sync {

namespace {

const QString kLibraryFolder = QStringLiteral("Library");
constexpr int kSnapshotFormat = 1;

struct FileName {
    QString device;
    bool snapshot = false;
    quint64 generation = 0;
};

// "<device>.<generation>.journal" or "<device>.snapshot"; a conflict copy names the file it
// stands for.
std::optional<FileName> parseName(const QString& name)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"(^([A-Za-z0-9-]+)\.(?:(\d{1,18})\.journal|(snapshot))$)"));
    const QRegularExpressionMatch match = pattern.match(conflictCopyOriginal(name).value_or(name));
    if (!match.hasMatch())
        return std::nullopt;
    FileName parsed{match.captured(1), match.hasCaptured(3), 0};
    if (!parsed.snapshot)
        parsed.generation = match.captured(2).toULongLong();
    return parsed;
}

bool writeAll(int fd, QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        const ssize_t written = ::write(fd, bytes.data(), static_cast<size_t>(bytes.size()));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes = bytes.sliced(written);
    }
    return true;
}

QString errnoText(int error)
{
    return QString::fromLocal8Bit(::strerror(error));
}

QString newerFormatError(const QString& path)
{
    return QStringLiteral("%1 was written by a newer ScrivLane; update ScrivLane here to sync "
                          "with it.")
        .arg(QFileInfo(path).fileName());
}

} // namespace

FolderMirror::FolderMirror(Options options)
    : m_options(std::move(options)), m_clock(m_options.device, m_options.wallClock)
{}

QString FolderMirror::missingFolderError() const
{
    return QStringLiteral("The sync folder %1 is missing; is its drive mounted?")
        .arg(QDir::toNativeSeparators(m_options.syncFolder));
}

QString FolderMirror::libraryFolder() const
{
    return QDir(m_options.syncFolder).filePath(kLibraryFolder);
}

QString FolderMirror::journalPath(quint64 generation) const
{
    return QDir(libraryFolder())
        .filePath(QStringLiteral("%1.%2.journal").arg(m_options.device).arg(generation));
}

QString FolderMirror::snapshotPath() const
{
    return QDir(libraryFolder()).filePath(m_options.device + QStringLiteral(".snapshot"));
}

QStringList FolderMirror::devicesSeen() const
{
    QStringList devices = m_progress.keys();
    devices.sort();
    return devices;
}

QStringList FolderMirror::devicesInFolder() const
{
    MirrorOutcome ignored;
    QStringList devices = scan(ignored).keys();
    devices.sort();
    return devices;
}

void FolderMirror::fail(MirrorOutcome& outcome, MirrorOutcome::Failure failure,
                        const QString& error)
{
    if (outcome.ok()) {
        outcome.failure = failure;
        outcome.error = error;
    }
}

MirrorOutcome::Failure FolderMirror::failureOf(int error)
{
    return error == ENOSPC || error == EDQUOT ? MirrorOutcome::Failure::DiskFull
                                              : MirrorOutcome::Failure::NotWritable;
}

QHash<QString, FolderMirror::DeviceFiles> FolderMirror::scan(MirrorOutcome& outcome) const
{
    QHash<QString, DeviceFiles> devices;
    // An unmounted drive leaves its mount point empty or gone: never mistake it for a
    // library with nothing in it, and never create it.
    if (!QFileInfo(m_options.syncFolder).isDir()) {
        fail(outcome, MirrorOutcome::Failure::FolderMissing, missingFolderError());
        return devices;
    }
    const QDir folder(libraryFolder());
    const QStringList names = folder.entryList(QDir::Files | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& name : names) {
        const auto parsed = parseName(name);
        if (!parsed)
            continue;
        DeviceFiles& files = devices[parsed->device];
        const QString path = folder.filePath(name);
        if (parsed->snapshot)
            files.snapshots.append(path);
        else
            files.journals[parsed->generation].append(path);
    }
    return devices;
}

std::optional<FolderMirror::Snapshot>
FolderMirror::readSnapshot(const QStringList& versions, quint64 progress, MirrorOutcome& outcome)
{
    // The furthest complete version wins; one still on its way is passed over until it is
    // whole. A version unchanged since it was read has nothing new.
    std::optional<Snapshot> best;
    for (const QString& path : versions) {
        const std::optional<FileMark> mark = markOf(path);
        if (!mark)
            continue;
        const FileMark seen = m_marks.value(path);
        if (seen.inode == mark->inode && seen.size == mark->size &&
            seen.modifiedNs == mark->modifiedNs && seen.offset >= 0 &&
            quint64(seen.offset) <= progress)
            continue;
        const auto read = SafeFile::readFile(path);
        if (!std::holds_alternative<QByteArray>(read))
            continue;
        const QByteArray& bytes = std::get<QByteArray>(read);
        const qsizetype headerEnd = bytes.indexOf('\n');
        if (headerEnd < 0)
            continue;
        const QJsonObject header = QJsonDocument::fromJson(bytes.left(headerEnd)).object();
        const int format = header.value(QLatin1String("v")).toInt(0);
        if (format > kSnapshotFormat) {
            fail(outcome, MirrorOutcome::Failure::NewerFormat, newerFormatError(path));
            continue;
        }
        const JournalReadResult body = readJournal(bytes.mid(headerEnd + 1));
        const qint64 count = header.value(QLatin1String("entries")).toInteger(-1);
        if (format < 1 || body.tornTail || body.damaged > 0 ||
            body.stop != JournalReadResult::Stop::None || body.entries.size() != count)
            continue;
        Snapshot snapshot{
            static_cast<quint64>(header.value(QLatin1String("through")).toInteger(0)),
            static_cast<quint64>(header.value(QLatin1String("generation")).toInteger(0)),
            body.entries};
        // For snapshots the mark's offset holds how far the snapshot reaches.
        m_marks.insert(path, {mark->inode, mark->size, mark->modifiedNs,
                              static_cast<qint64>(snapshot.through)});
        if (!best || snapshot.through > best->through)
            best = std::move(snapshot);
    }
    return best;
}

std::optional<JournalReadResult> FolderMirror::readJournalFile(const QString& path,
                                                               quint64 afterSeq)
{
    const UniqueFd fd(::open(QFile::encodeName(path).constData(),
                             O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    struct stat st {};
    if (!fd || ::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode))
        return std::nullopt;
    // An append-only file grows in place: read on from the mark. Anything else (replaced by
    // a rename, cut shorter) is read whole.
    const FileMark seen = m_marks.value(path);
    const qint64 from =
        seen.inode == quint64(st.st_ino) && seen.offset <= st.st_size ? seen.offset : 0;
    QByteArray bytes(st.st_size - from, Qt::Uninitialized);
    qsizetype got = 0;
    while (got < bytes.size()) {
        const ssize_t n =
            ::pread(fd.get(), bytes.data() + got, size_t(bytes.size() - got), off_t(from + got));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        got += n;
    }
    bytes.truncate(got);
    JournalReadResult result = readJournal(bytes, afterSeq);
    m_marks.insert(path, {quint64(st.st_ino), st.st_size, 0, from + result.resumeAt});
    return result;
}

std::optional<FolderMirror::FileMark> FolderMirror::markOf(const QString& path)
{
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0 || !S_ISREG(st.st_mode))
        return std::nullopt;
    return FileMark{quint64(st.st_ino), st.st_size,
                    qint64(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec, 0};
}

void FolderMirror::take(const QString& device, const JournalEntry& entry, MirrorOutcome& outcome)
{
    if (!m_merged.apply(entry.stamp, entry.change)) {
        ++outcome.damagedEntries;
        return;
    }
    if (device == m_options.device)
        m_own.apply(entry.stamp, entry.change);
    m_clock.observe(entry.stamp);
    outcome.changed = true;
    const QString id = entry.change.value(QLatin1String("id")).toString();
    if (entry.change.value(QLatin1String("kind")).toString() == QLatin1String("category"))
        outcome.changedCategories.insert(id);
    else
        outcome.changedSnippets.insert(id);
}

void FolderMirror::readDevice(const QString& device, const DeviceFiles& files,
                              MirrorOutcome& outcome)
{
    quint64 progress = m_progress.value(device, 0);
    // A snapshot past what was read stands for every entry up to its mark, including those
    // whose journal is gone (compacted) or has not arrived.
    if (const auto snapshot = readSnapshot(files.snapshots, progress, outcome);
        snapshot && snapshot->through > progress) {
        for (const JournalEntry& entry : snapshot->entries)
            take(device, entry, outcome);
        progress = snapshot->through;
    }
    QList<quint64> generations = files.journals.keys();
    std::sort(generations.begin(), generations.end());
    quint64 highest = progress;
    for (const quint64 generation : generations) {
        // Of the file and its conflict copies, the one that reads furthest.
        std::optional<JournalReadResult> best;
        QString bestPath;
        for (const QString& path : files.journals.value(generation)) {
            std::optional<JournalReadResult> result = readJournalFile(path, progress);
            if (result && (!best || result->lastInOrder > best->lastInOrder)) {
                best = std::move(result);
                bestPath = path;
            }
        }
        if (!best)
            continue;
        highest = std::max(highest, best->highestSeq);
        for (const JournalEntry& entry : best->entries)
            take(device, entry, outcome);
        progress = best->lastInOrder;
        if (best->damaged > 0) {
            outcome.damagedEntries += best->damaged;
            outcome.damagedFiles.append(QFileInfo(bestPath).fileName());
        }
        if (best->stop == JournalReadResult::Stop::NewerFormat) {
            fail(outcome, MirrorOutcome::Failure::NewerFormat, newerFormatError(bestPath));
            break;
        }
    }
    m_progress.insert(device, progress);
    if (device == m_options.device) {
        // Never reuse a number a reader may already hold.
        m_nextSeq = std::max(m_nextSeq, std::max(progress, highest) + 1);
        if (!generations.isEmpty())
            m_generation = std::max(m_generation, generations.last());
    }
}

MirrorOutcome FolderMirror::importChanges(bool fromScratch)
{
    if (fromScratch)
        m_marks.clear();
    // Our own files first: they fix where our journal carries on, and what of ours went
    // missing from them goes back in.
    MirrorOutcome outcome = open();
    if (outcome.ok())
        catchUpOwn(outcome);
    const QHash<QString, DeviceFiles> devices = scan(outcome);
    if (!outcome.ok())
        return outcome;
    for (auto it = devices.cbegin(); it != devices.cend(); ++it) {
        if (it.key() != m_options.device)
            readDevice(it.key(), it.value(), outcome);
    }
    return outcome;
}

MirrorOutcome FolderMirror::open()
{
    MirrorOutcome outcome;
    if (m_opened)
        return outcome;
    const QHash<QString, DeviceFiles> devices = scan(outcome);
    if (!outcome.ok())
        return outcome;
    readDevice(m_options.device, devices.value(m_options.device), outcome);
    // How full the current journal is, and a torn tail cut off (a write killed half way),
    // so the next line starts on a line of its own.
    const QString path = journalPath(m_generation);
    if (const auto read = SafeFile::readFile(path); std::holds_alternative<QByteArray>(read)) {
        const QByteArray& bytes = std::get<QByteArray>(read);
        const JournalReadResult result = readJournal(bytes);
        m_entriesInGeneration = static_cast<int>(bytes.left(result.consumed).count('\n'));
        m_ownJournalSize = bytes.size();
        if (result.consumed < bytes.size()) {
            if (::truncate(QFile::encodeName(path).constData(), result.consumed) == 0)
                m_ownJournalSize = result.consumed;
            else
                fail(outcome, failureOf(errno),
                     QStringLiteral("Cannot write to %1: %2").arg(path, errnoText(errno)));
        }
    } else {
        m_entriesInGeneration = 0;
        m_ownJournalSize = -1;
    }
    m_opened = outcome.ok();
    return outcome;
}

QList<QJsonObject> FolderMirror::newsOnly(const QList<QJsonObject>& changes) const
{
    // A change the folder already holds (written just before a crash, say, and offered again
    // at the next start) would only be a second copy with a later stamp.
    QList<QJsonObject> news;
    for (const QJsonObject& change : changes) {
        const auto kind = SyncState::kindNamed(change.value(QLatin1String("kind")).toString());
        const auto known =
            kind ? m_merged.visibleFields(*kind, change.value(QLatin1String("id")).toString())
                 : std::nullopt;
        if (change.value(QLatin1String("op")).toString() != QLatin1String("set")) {
            if (!kind || known)
                news.append(change);
            continue;
        }
        QJsonObject fields = change.value(QLatin1String("fields")).toObject();
        if (known) {
            for (auto it = fields.begin(); it != fields.end();)
                it = known->contains(it.key()) && known->value(it.key()) == it.value()
                         ? fields.erase(it)
                         : std::next(it);
            if (fields.isEmpty())
                continue;
        }
        QJsonObject trimmed = change;
        trimmed.insert(QStringLiteral("fields"), fields);
        news.append(trimmed);
    }
    return news;
}

void FolderMirror::catchUpOwn(MirrorOutcome& outcome)
{
    const QFileInfo journal(journalPath(m_generation));
    if ((journal.exists() ? journal.size() : -1) == m_ownJournalSize)
        return;
    // Our journal is not as we left it: another process here (the command line) wrote to it,
    // or the folder is another than the one written to (a drive mounted over it).
    // Read it again from the start, to learn how much of ours it really holds.
    m_progress.remove(m_options.device);
    m_marks.clear();
    m_opened = false;
    outcome = open();
    // What the folder lacks of ours goes back in through a snapshot.
    if (outcome.ok() && m_progress.value(m_options.device) + 1 < m_nextSeq)
        compact(outcome);
}

MirrorOutcome FolderMirror::exportChanges(const QList<QJsonObject>& changes)
{
    MirrorOutcome outcome = open();
    if (!outcome.ok() || changes.isEmpty())
        return outcome;
    // Checked on every export: a drive unmounted since must not get a new empty folder.
    if (!QFileInfo(m_options.syncFolder).isDir()) {
        fail(outcome, MirrorOutcome::Failure::FolderMissing, missingFolderError());
        return outcome;
    }
    if (!QDir().mkpath(libraryFolder())) {
        fail(outcome, MirrorOutcome::Failure::NotWritable,
             QStringLiteral("The sync folder %1 cannot be written to.")
                 .arg(QDir::toNativeSeparators(m_options.syncFolder)));
        return outcome;
    }
    catchUpOwn(outcome);
    if (!outcome.ok())
        return outcome;
    m_clock.observe(m_merged.latest());
    QList<JournalEntry> entries;
    QByteArray bytes;
    for (const QJsonObject& change : newsOnly(changes)) {
        entries.append({m_nextSeq + static_cast<quint64>(entries.size()), m_clock.tick(), change});
        bytes += encodeJournalEntry(entries.last());
    }

    const QString path = journalPath(m_generation);
    const QByteArray nativePath = QFile::encodeName(path);
    UniqueFd fd(::open(nativePath.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
    struct stat before {};
    if (!fd || ::fstat(fd.get(), &before) != 0) {
        const int error = errno;
        fail(outcome, failureOf(error),
             QStringLiteral("Cannot write to %1: %2").arg(path, errnoText(error)));
        return outcome;
    }
    if (!writeAll(fd.get(), bytes) || ::fdatasync(fd.get()) != 0) {
        const int error = errno;
        // Leave no torn line behind for readers; the entries are simply not written.
        if (::ftruncate(fd.get(), before.st_size) == 0)
            ::fdatasync(fd.get());
        fail(outcome, failureOf(error),
             error == ENOSPC || error == EDQUOT
                 ? QStringLiteral("The disk holding the sync folder is full.")
                 : QStringLiteral("Cannot write to %1: %2").arg(path, errnoText(error)));
        return outcome;
    }
    m_ownJournalSize = before.st_size + bytes.size();
    fd.reset();

    if (entries.isEmpty())
        return outcome;
    m_nextSeq += static_cast<quint64>(entries.size());
    m_entriesInGeneration += static_cast<int>(entries.size());
    for (const JournalEntry& entry : entries)
        take(m_options.device, entry, outcome);
    m_progress.insert(m_options.device, m_nextSeq - 1);
    outcome.changed = false; // nothing new to this computer
    if (m_entriesInGeneration >= m_options.compactAfterEntries)
        compact(outcome);
    return outcome;
}

bool FolderMirror::compact(MirrorOutcome& outcome)
{
    const QList<SyncState::StampedChange> changes = m_own.compacted();
    QJsonObject header{{QStringLiteral("v"), kSnapshotFormat},
                       {QStringLiteral("device"), m_options.device},
                       {QStringLiteral("through"), static_cast<qint64>(m_nextSeq - 1)},
                       {QStringLiteral("generation"), static_cast<qint64>(m_generation + 1)},
                       {QStringLiteral("entries"), changes.size()}};
    QByteArray bytes = QJsonDocument(header).toJson(QJsonDocument::Compact) + '\n';
    quint64 seq = 0;
    for (const auto& [stamp, change] : changes)
        bytes += encodeJournalEntry({++seq, stamp, change});
    if (const auto error = SafeFile::writeFile(snapshotPath(), bytes)) {
        // The journal stays as it is and is compacted at a later export.
        fail(outcome, MirrorOutcome::Failure::NotWritable, *error);
        return false;
    }
    // The snapshot now stands for every journal so far; readers behind it read it instead.
    const quint64 old = m_generation;
    ++m_generation;
    m_entriesInGeneration = 0;
    m_ownJournalSize = -1;
    m_progress.insert(m_options.device, m_nextSeq - 1);
    const QDir folder(libraryFolder());
    for (const QString& name : folder.entryList(QDir::Files)) {
        const auto parsed = parseName(name);
        if (parsed && parsed->device == m_options.device && !parsed->snapshot &&
            parsed->generation <= old)
            QFile::remove(folder.filePath(name));
    }
    return true;
}

} // namespace scrivlane::sync

#include "sync/LibrarySync.h"

#include "common/AppPaths.h"
#include "common/ProcessLock.h"
#include "common/SafeFile.h"
#include "library/CategoryEntity.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QUuid>
#include <atomic>
#include <utility>

namespace scrivlane::sync {

namespace {

constexpr int kLockWaitMs = 10'000;

qint64 systemWallClock()
{
    return QDateTime::currentMSecsSinceEpoch();
}

LibraryView storeView(const PersistenceController& store)
{
    return viewOf(store.fetchAllSnippets(),
                  store.fetchCategories(PersistenceController::Filter::all,
                                        PersistenceController::CategoryOrder::sortOrderAscending));
}

// Damaged entries are skipped and logged, and never stop syncing: a partial failure whose
// items the store ignores.
SyncEventError errorOf(const MirrorOutcome& outcome)
{
    if (!outcome.ok()) {
        SyncEventError error{outcome.error, false, 0, {}};
        if (outcome.failure == MirrorOutcome::Failure::DiskFull) {
            error.isCloudError = true;
            error.code = SyncEventError::quotaExceeded;
        }
        return error;
    }
    SyncEventError partial{QStringLiteral("%1 damaged entries skipped in %2")
                               .arg(outcome.damagedEntries)
                               .arg(outcome.damagedFiles.join(QStringLiteral(", "))),
                           true,
                           SyncEventError::partialFailure,
                           {}};
    for (const QString& file : outcome.damagedFiles)
        partial.itemErrors.push_back({QStringLiteral("damaged entry in ") + file, true, 0, {}});
    return partial;
}

} // namespace

LibrarySync::LibrarySync(Options options, QObject* parent)
    : QObject(parent), m_options(std::move(options)),
      m_device(deviceIdentity(m_options.dataFolder, m_options.machineId)),
      m_mirror({m_options.syncFolder, m_device,
                m_options.wallClock ? m_options.wallClock : HybridClock::WallClock(systemWallClock),
                m_options.compactAfterEntries})
{
    if (!m_options.now)
        m_options.now = [] { return QDateTime::currentDateTimeUtc(); };
    m_baselineFile = std::make_unique<BaselineFile>(baselinePath(), m_device);
}

LibrarySync::~LibrarySync() = default;

QString LibrarySync::deviceIdentity(const QString& dataFolder, const QString& machineId)
{
    const QString path = QDir(dataFolder).filePath(QStringLiteral("sync-device.json"));
    const auto read = SafeFile::readFile(path);
    if (const auto* bytes = std::get_if<QByteArray>(&read)) {
        const QJsonObject identity = QJsonDocument::fromJson(*bytes).object();
        const QString device = identity.value(QLatin1String("device")).toString();
        if (identity.value(QLatin1String("machine")).toString() == machineId &&
            !QUuid::fromString(device).isNull())
            return device;
    }
    const QString device = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QJsonObject identity{{QStringLiteral("device"), device},
                               {QStringLiteral("machine"), machineId}};
    // Unwritable: this run still has an identity of its own; the next makes another.
    SafeFile::writeFile(path, QJsonDocument(identity).toJson());
    return device;
}

QString LibrarySync::baselinePath() const
{
    return QDir(m_options.dataFolder).filePath(QStringLiteral("sync-baseline.json"));
}

void LibrarySync::loadBaseline()
{
    if (!m_baseline)
        m_baseline = m_baselineFile->load();
}

void LibrarySync::report(SyncEvent::Type type, const MirrorOutcome* outcome)
{
    SyncEvent event;
    event.type = type;
    if (outcome) {
        event.endDate = m_options.now();
        if (!outcome->ok() || outcome->damagedEntries > 0)
            event.error = errorOf(*outcome);
    }
    m_options.store->handleSyncEvent(event);
}

LibrarySync::Status LibrarySync::status() const
{
    Status status;
    status.folder = m_options.syncFolder;
    status.device = m_device;
    // This process's last run, else the last time any process here wrote the baseline.
    const QFileInfo baseline(baselinePath());
    if (m_options.store->lastSyncDate().isValid())
        status.lastSyncDate = m_options.store->lastSyncDate().toUTC();
    else if (baseline.exists())
        status.lastSyncDate = baseline.lastModified().toUTC();
    const QString lockPath = AppPaths::lockFileFor(baselinePath());
    status.syncing = m_running || (!lockPath.isEmpty() && ProcessLock::isHeld(lockPath));
    if (!QFileInfo(m_options.syncFolder).isDir())
        status.error = m_mirror.missingFolderError();
    else
        status.error = m_options.store->syncError();
    status.devices = m_mirror.devicesInFolder();
    return status;
}

void LibrarySync::recordsSaved(const QList<QUuid>& snippets, const QList<QUuid>& categories)
{
    // Our own import saving what came in is not a change made here.
    if (m_running)
        return;
    for (const QUuid& id : snippets)
        m_dirty.snippets.insert(syncId(id));
    for (const QUuid& id : categories)
        m_dirty.categories.insert(syncId(id));
    run(Run::exportOnly, true);
}

void LibrarySync::exportChanges()
{
    run(Run::exportOnly);
}

void LibrarySync::importChanges()
{
    run(Run::importOnly);
}

void LibrarySync::syncNow()
{
    run(Run::both);
}

LibraryView LibrarySync::storeRecords(const RecordIds& ids) const
{
    const PersistenceController& store = *m_options.store;
    LibraryView view;
    // A few records are looked up one by one; more, in one pass over the store.
    constexpr qsizetype fewRecords = 8;
    if (ids.snippets.size() + ids.categories.size() <= fewRecords) {
        for (const QString& id : ids.categories)
            if (const CategoryEntity* category = store.categoryWithId(QUuid::fromString(id)))
                view.categories.insert(id, categoryFields(*category));
        for (const QString& id : ids.snippets)
            if (const SnippetEntity* snippet = store.snippetWithId(QUuid::fromString(id)))
                view.snippets.insert(id, snippetFields(*snippet));
        return view;
    }
    if (!ids.categories.isEmpty())
        for (const CategoryEntity* category :
             store.fetchCategories(PersistenceController::Filter::all,
                                   PersistenceController::CategoryOrder::sortOrderAscending))
            if (category->id())
                if (const QString id = syncId(*category->id()); ids.categories.contains(id))
                    view.categories.insert(id, categoryFields(*category));
    if (!ids.snippets.isEmpty())
        for (const SnippetEntity* snippet : store.fetchAllSnippets())
            if (const auto uuid = snippet->id())
                if (const QString id = syncId(*uuid); ids.snippets.contains(id))
                    view.snippets.insert(id, snippetFields(*snippet));
    return view;
}

void LibrarySync::adoptIntoBaseline(const RecordIds& ids, const LibraryView& records)
{
    replaceRecords(*m_baseline, ids, records);
    m_baselineFile->update(ids, records);
}

MirrorOutcome LibrarySync::exportPart()
{
    RecordIds ids = m_dirty;
    if (m_everythingDirty) {
        const LibraryView current = storeView(*m_options.store);
        for (const LibraryView* view :
             std::initializer_list<const LibraryView*>{&*m_baseline, &current}) {
            for (auto it = view->snippets.cbegin(); it != view->snippets.cend(); ++it)
                ids.snippets.insert(it.key());
            for (auto it = view->categories.cbegin(); it != view->categories.cend(); ++it)
                ids.categories.insert(it.key());
        }
    }
    if (ids.isEmpty()) {
        m_everythingDirty = false; // an empty library has nothing to compare
        return {};
    }
    // What the folder holds is read first, so this save is stamped after every change in it:
    // a save made after another computer's change came in wins over that change.
    const MirrorOutcome news = m_mirror.importChanges(false);
    m_arrived.snippets.unite(news.changedSnippets);
    m_arrived.categories.unite(news.changedCategories);
    const LibraryView before = restricted(*m_baseline, ids);
    const LibraryView after = storeRecords(ids);
    MirrorOutcome outcome = m_mirror.exportChanges(changesBetween(before, after));
    if (!outcome.ok())
        return outcome; // still dirty: tried again at the next run
    adoptIntoBaseline(ids, after);
    m_dirty = {};
    m_everythingDirty = false;
    return outcome;
}

MirrorOutcome LibrarySync::importPart(bool fromScratch)
{
    MirrorOutcome outcome = m_mirror.importChanges(fromScratch);
    m_arrived.snippets.unite(outcome.changedSnippets);
    m_arrived.categories.unite(outcome.changedCategories);
    // Changes here that could not go out yet are not overwritten by what came in; the mirror
    // keeps what it read, and the records are written once they have gone out.
    if (!outcome.ok() || !m_dirty.isEmpty() || m_everythingDirty)
        return outcome;
    RecordIds ids = std::exchange(m_arrived, {});
    if (ids.isEmpty())
        return outcome;
    const SyncState& merged = m_mirror.merged();
    LibraryView target;
    for (const QString& id : ids.snippets)
        if (auto fields = merged.visibleFields(SyncState::Kind::Snippet, id))
            target.snippets.insert(id, *fields);
    for (const QString& id : ids.categories)
        if (auto fields = merged.visibleFields(SyncState::Kind::Category, id))
            target.categories.insert(id, *fields);
    target = normalized(target);
    const LibraryView current = storeRecords(ids);
    if (target != current) {
        ids.snippets.unite(applyToStore(target, current).snippets);
        // What the store took, exactly: a value it refused is not mistaken for an edit here.
        adoptIntoBaseline(ids, storeRecords(ids));
    } else {
        adoptIntoBaseline(ids, current);
    }
    return outcome;
}

void LibrarySync::runSetup()
{
    report(SyncEvent::Type::setup, nullptr);
    // Another computer's library first, so ours joins it rather than the other way round.
    MirrorOutcome outcome = m_mirror.importChanges(true);
    if (outcome.ok()) {
        m_baseline = LibraryView();
        m_everythingDirty = true;
        outcome = exportPart();
    }
    if (outcome.ok()) {
        const LibraryView target =
            normalized({m_mirror.merged().visible(SyncState::Kind::Snippet),
                        m_mirror.merged().visible(SyncState::Kind::Category)});
        const LibraryView now = storeView(*m_options.store);
        if (target != now)
            applyToStore(target, now);
        m_baseline = storeView(*m_options.store);
        m_baselineFile->replace(*m_baseline);
        m_arrived = {}; // the store is the whole merge now
    } else {
        m_baseline.reset();
        m_everythingDirty = true;
    }
    report(SyncEvent::Type::setup, &outcome);
}

void LibrarySync::run(Run what, bool justSaved)
{
    PersistenceController& store = *m_options.store;
    // An edit not saved yet wins over what the folder says: try again after the save. (Right
    // after a save there is none, and asking costs a pass over the library.)
    if (m_running || !store.isAvailable() || store.isReadOnly() ||
        (!justSaved && store.hasChanges()))
        return;
    m_running = true;
    const QString lockPath = AppPaths::lockFileFor(baselinePath());
    const ProcessLock lock(lockPath, kLockWaitMs);
    const bool locked = !lockPath.isEmpty() && lock.held();
    loadBaseline();
    // The first run that finds no baseline, whatever started it, is the set-up.
    const bool setup = !m_baseline;
    if (!locked) {
        MirrorOutcome busy;
        busy.failure = MirrorOutcome::Failure::NotWritable;
        busy.error = QStringLiteral("Another ScrivLane process keeps the sync folder busy.");
        const SyncEvent::Type type = setup                     ? SyncEvent::Type::setup
                                     : what == Run::importOnly ? SyncEvent::Type::import
                                                               : SyncEvent::Type::exportChanges;
        report(type, nullptr);
        report(type, &busy);
    } else if (setup) {
        runSetup();
    } else {
        if (what != Run::importOnly) {
            report(SyncEvent::Type::exportChanges, nullptr);
            const MirrorOutcome outcome = exportPart();
            report(SyncEvent::Type::exportChanges, &outcome);
        }
        if (what != Run::exportOnly) {
            report(SyncEvent::Type::import, nullptr);
            const MirrorOutcome outcome = importPart(what == Run::both);
            report(SyncEvent::Type::import, &outcome);
        }
    }
    m_running = false;
}

RecordIds LibrarySync::applyToStore(const LibraryView& target, const LibraryView& current)
{
    PersistenceController& store = *m_options.store;
    RecordIds orphaned;
    // Looked up one by one for a few records; through a table built once for many.
    const bool many = target.snippets.size() + current.snippets.size() > 16;
    QHash<QString, SnippetEntity*> snippets;
    if (many)
        for (SnippetEntity* snippet : store.fetchAllSnippets())
            if (const auto id = snippet->id())
                snippets.insert(syncId(*id), snippet);
    const auto findSnippet = [&](const QString& id) {
        return many ? snippets.value(id) : store.snippetWithId(QUuid::fromString(id));
    };
    const auto findCategory = [&](const QString& id) {
        return store.categoryWithId(QUuid::fromString(id));
    };

    for (auto it = target.categories.cbegin(); it != target.categories.cend(); ++it) {
        if (current.categories.value(it.key()) == it.value())
            continue;
        CategoryEntity* category = findCategory(it.key());
        if (!category) {
            auto created = std::make_unique<CategoryEntity>();
            created->setId(QUuid::fromString(it.key()));
            category = store.insertCategory(std::move(created));
        }
        applyCategoryFields(*category, it.value());
    }
    const auto categoryWithId = [&](const QUuid& id) { return store.categoryWithId(id); };
    for (auto it = target.snippets.cbegin(); it != target.snippets.cend(); ++it) {
        if (current.snippets.value(it.key()) == it.value())
            continue;
        SnippetEntity* snippet = findSnippet(it.key());
        if (!snippet) {
            auto created = std::make_unique<SnippetEntity>();
            created->setId(QUuid::fromString(it.key()));
            snippet = store.insertSnippet(std::move(created));
        }
        applySnippetFields(*snippet, it.value(), categoryWithId);
    }
    for (auto it = current.snippets.cbegin(); it != current.snippets.cend(); ++it)
        if (!target.snippets.contains(it.key()))
            store.deleteSnippet(findSnippet(it.key()));
    for (auto it = current.categories.cbegin(); it != current.categories.cend(); ++it) {
        if (target.categories.contains(it.key()))
            continue;
        // Its snippets stay, without a category.
        CategoryEntity* category = findCategory(it.key());
        for (const SnippetEntity* snippet : category->snippets())
            if (const auto id = snippet->id())
                orphaned.snippets.insert(syncId(*id));
        store.deleteCategory(category);
    }
    store.save();
    // The lists, the engine and the editor take it up as any change from elsewhere.
    Q_EMIT store.remoteStoreChanged();
    return orphaned;
}

} // namespace scrivlane::sync

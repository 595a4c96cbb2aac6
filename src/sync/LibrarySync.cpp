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

namespace scrivlane::sync {

namespace {

constexpr int kBaselineFormat = 1;
constexpr int kLockWaitMs = 10'000;

qint64 systemWallClock()
{
    return QDateTime::currentMSecsSinceEpoch();
}

QJsonObject viewJson(const QMap<QString, QJsonObject>& records)
{
    QJsonObject object;
    for (auto it = records.cbegin(); it != records.cend(); ++it)
        object.insert(it.key(), it.value());
    return object;
}

QMap<QString, QJsonObject> viewRecords(const QJsonObject& object)
{
    QMap<QString, QJsonObject> records;
    for (auto it = object.begin(); it != object.end(); ++it)
        records.insert(it.key(), it.value().toObject());
    return records;
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
    const QFileInfo info(baselinePath());
    if (m_baseline && info.exists() && info.lastModified() == m_baselineStamp &&
        info.size() == m_baselineSize)
        return;
    m_baseline.reset();
    const auto read = SafeFile::readFile(baselinePath());
    const auto* bytes = std::get_if<QByteArray>(&read);
    if (!bytes)
        return;
    const QJsonObject object = QJsonDocument::fromJson(*bytes).object();
    // Another device's baseline (a copied data folder) says nothing about this store.
    if (object.value(QLatin1String("v")).toInt() != kBaselineFormat ||
        object.value(QLatin1String("device")).toString() != m_device)
        return;
    m_baseline = LibraryView{viewRecords(object.value(QLatin1String("snippets")).toObject()),
                             viewRecords(object.value(QLatin1String("categories")).toObject())};
    m_baselineStamp = info.lastModified();
    m_baselineSize = info.size();
}

std::optional<QString> LibrarySync::saveBaseline()
{
    const QJsonObject object{{QStringLiteral("v"), kBaselineFormat},
                             {QStringLiteral("device"), m_device},
                             {QStringLiteral("snippets"), viewJson(m_baseline->snippets)},
                             {QStringLiteral("categories"), viewJson(m_baseline->categories)}};
    if (auto error = SafeFile::writeFile(baselinePath(),
                                         QJsonDocument(object).toJson(QJsonDocument::Compact)))
        return error;
    const QFileInfo info(baselinePath());
    m_baselineStamp = info.lastModified();
    m_baselineSize = info.size();
    return std::nullopt;
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
    const QFileInfo baseline(baselinePath());
    if (baseline.exists())
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

MirrorOutcome LibrarySync::exportPart(const LibraryView& current)
{
    const QList<QJsonObject> changes = changesBetween(m_baseline.value_or(LibraryView()), current);
    MirrorOutcome outcome = m_mirror.exportChanges(changes);
    if (outcome.ok())
        m_baseline = current;
    return outcome;
}

MirrorOutcome LibrarySync::importPart(const LibraryView& current)
{
    MirrorOutcome outcome = m_mirror.importChanges();
    // Changes here that could not go out yet are not overwritten by what came in.
    if (!outcome.ok() || !changesBetween(m_baseline.value_or(LibraryView()), current).isEmpty())
        return outcome;
    const LibraryView target = normalized({m_mirror.merged().visible(SyncState::Kind::Snippet),
                                           m_mirror.merged().visible(SyncState::Kind::Category)});
    if (target == current) {
        m_baseline = current;
        return outcome;
    }
    applyToStore(target, current);
    // What the store took, exactly: a value it refused is not mistaken for an edit here.
    m_baseline = storeView(*m_options.store);
    return outcome;
}

void LibrarySync::run(Run what)
{
    PersistenceController& store = *m_options.store;
    // An edit not saved yet wins over what the folder says: try again after the save.
    if (m_running || !store.isAvailable() || store.isReadOnly() || store.hasChanges())
        return;
    m_running = true;
    const QString lockPath = AppPaths::lockFileFor(baselinePath());
    const ProcessLock lock(lockPath, kLockWaitMs);
    const bool locked = !lockPath.isEmpty() && lock.held();

    loadBaseline();
    // The first run that finds no baseline, whatever started it, is the set-up.
    const bool setup = !m_baseline;
    const LibraryView current = storeView(store);
    if (!locked) {
        MirrorOutcome busy;
        busy.failure = MirrorOutcome::Failure::NotWritable;
        busy.error = QStringLiteral("Another ScrivLane process keeps the sync folder busy.");
        const SyncEvent::Type type = setup                     ? SyncEvent::Type::setup
                                     : what == Run::importOnly ? SyncEvent::Type::import
                                                               : SyncEvent::Type::exportChanges;
        report(type, nullptr);
        report(type, &busy);
        m_running = false;
        return;
    }

    if (setup) {
        report(SyncEvent::Type::setup, nullptr);
        // Another computer's library first, so ours joins it rather than the other way round.
        MirrorOutcome outcome = m_mirror.importChanges();
        if (outcome.ok()) {
            m_baseline = LibraryView();
            const MirrorOutcome exported = exportPart(current);
            if (!exported.ok())
                outcome = exported;
            else {
                const MirrorOutcome imported = importPart(storeView(store));
                outcome.damagedEntries += imported.damagedEntries;
                outcome.damagedFiles += imported.damagedFiles;
                if (!imported.ok())
                    outcome = imported;
            }
        }
        if (outcome.ok() && m_baseline) {
            if (const auto error = saveBaseline()) {
                outcome.failure = MirrorOutcome::Failure::NotWritable;
                outcome.error = *error;
            }
        } else if (!outcome.ok()) {
            m_baseline.reset();
        }
        report(SyncEvent::Type::setup, &outcome);
        m_running = false;
        return;
    }

    if (what != Run::importOnly) {
        report(SyncEvent::Type::exportChanges, nullptr);
        MirrorOutcome outcome = exportPart(current);
        if (outcome.ok())
            if (const auto error = saveBaseline())
                outcome = {MirrorOutcome::Failure::NotWritable, *error, 0, {}, false};
        report(SyncEvent::Type::exportChanges, &outcome);
    }
    if (what != Run::exportOnly) {
        report(SyncEvent::Type::import, nullptr);
        MirrorOutcome outcome = importPart(storeView(store));
        if (outcome.ok())
            if (const auto error = saveBaseline())
                outcome = {MirrorOutcome::Failure::NotWritable, *error, 0, {}, false};
        report(SyncEvent::Type::import, &outcome);
    }
    m_running = false;
}

void LibrarySync::applyToStore(const LibraryView& target, const LibraryView& current)
{
    PersistenceController& store = *m_options.store;
    QHash<QString, CategoryEntity*> categories;
    for (CategoryEntity* category :
         store.fetchCategories(PersistenceController::Filter::all,
                               PersistenceController::CategoryOrder::sortOrderAscending))
        if (category->id())
            categories.insert(syncId(*category->id()), category);
    QHash<QString, SnippetEntity*> snippets;
    for (SnippetEntity* snippet : store.fetchAllSnippets())
        if (const auto id = snippet->id())
            snippets.insert(syncId(*id), snippet);

    for (auto it = target.categories.cbegin(); it != target.categories.cend(); ++it) {
        if (current.categories.value(it.key()) == it.value())
            continue;
        CategoryEntity* category = categories.value(it.key());
        if (!category) {
            auto created = std::make_unique<CategoryEntity>();
            created->setId(QUuid::fromString(it.key()));
            category = store.insertCategory(std::move(created));
            categories.insert(it.key(), category);
        }
        applyCategoryFields(*category, it.value());
    }
    const auto categoryWithId = [&](const QUuid& id) { return categories.value(syncId(id)); };
    for (auto it = target.snippets.cbegin(); it != target.snippets.cend(); ++it) {
        if (current.snippets.value(it.key()) == it.value())
            continue;
        SnippetEntity* snippet = snippets.value(it.key());
        if (!snippet) {
            auto created = std::make_unique<SnippetEntity>();
            created->setId(QUuid::fromString(it.key()));
            snippet = store.insertSnippet(std::move(created));
        }
        applySnippetFields(*snippet, it.value(), categoryWithId);
    }
    for (auto it = current.snippets.cbegin(); it != current.snippets.cend(); ++it)
        if (!target.snippets.contains(it.key()))
            store.deleteSnippet(snippets.value(it.key()));
    for (auto it = current.categories.cbegin(); it != current.categories.cend(); ++it)
        if (!target.categories.contains(it.key()))
            store.deleteCategory(categories.value(it.key()));
    store.save();
    // The lists, the engine and the editor take it up as any change from elsewhere.
    Q_EMIT store.remoteStoreChanged();
}

} // namespace scrivlane::sync

#include "library/PersistenceController.h"

#include "common/AppPaths.h"
#include "common/Preferences.h"
#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"
#include "library/StoreSchema.h"
#include "platform/sqlite/SqliteDatabase.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QProcess>
#include <QSettings>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr std::int64_t notYetStored = -1;

// Moves the doomed records out of `from` in one pass, keeping the others in order.
template <typename T>
void removeOwned(std::vector<std::unique_ptr<T>>& from, const QSet<const T*>& doomed,
                 std::vector<std::unique_ptr<T>>& to)
{
    if (doomed.isEmpty())
        return;
    auto keep = from.begin();
    for (auto it = from.begin(); it != from.end(); ++it) {
        if (doomed.contains(it->get()))
            to.push_back(std::move(*it));
        else
            *keep++ = std::move(*it);
    }
    from.erase(keep, from.end());
}

// Newest first; a record without the date sorts after every dated one.
template <typename Record, typename Date>
QList<Record*> sortedNewestFirst(QList<Record*> records, Date date)
{
    std::stable_sort(records.begin(), records.end(), [&](const Record* a, const Record* b) {
        const auto& da = date(*a);
        const auto& db = date(*b);
        if (!da || !db)
            return da.has_value() && !db.has_value();
        return *da > *db;
    });
    return records;
}

template <typename Record> bool passes(const Record& record, PersistenceController::Filter filter)
{
    switch (filter) {
    case PersistenceController::Filter::all:
        return true;
    case PersistenceController::Filter::live:
        return record.isLive();
    case PersistenceController::Filter::trashed:
        return record.isTrashed();
    }
    return true;
}

} // namespace

QString PersistenceController::defaultDatabasePath()
{
    return QDir(AppPaths::dataDir()).absoluteFilePath(QStringLiteral("ScrivLane.sqlite"));
}

PersistenceController::PersistenceController(Options options, QObject* parent)
    : QObject(parent), m_options(std::move(options)), m_db(std::make_unique<SqliteDatabase>())
{
    if (!m_options.clock)
        m_options.clock = [] { return QDateTime::currentDateTimeUtc(); };
    if (!m_options.startProcess) {
        m_options.startProcess = [](const QString& program, const QStringList& arguments) {
            return QProcess::startDetached(program, arguments);
        };
    }
    if (!m_options.quit)
        m_options.quit = [] { QCoreApplication::quit(); };
    // Read once: turning sync on or off takes effect at the next launch.
    if (m_options.settings)
        m_syncEnabled = Preferences::flag(*m_options.settings, Preferences::iCloudSyncEnabled);
    open();
}

PersistenceController::~PersistenceController() = default;

QDateTime PersistenceController::now() const
{
    return m_options.clock();
}

void PersistenceController::open()
{
    const QString path = m_options.databasePath;
    const bool wasAvailable = m_available, wasReadOnly = m_readOnly;
    // A long-lived process tries again: the file may be repaired, replaced, freed or made
    // writable.
    const auto tryAgainLater = [this] {
        if (!m_options.watchForExternalChanges)
            return;
        if (!m_reopenTimer) {
            m_reopenTimer = new QTimer(this);
            m_reopenTimer->setSingleShot(true);
            m_reopenTimer->setInterval(reopenIntervalMs);
            connect(m_reopenTimer, &QTimer::timeout, this, &PersistenceController::open);
        }
        m_reopenTimer->start();
    };
    const auto fail = [&](const QString& reason) {
        m_db->close();
        m_available = false;
        setSyncError(QStringLiteral("Could not open the library at %1: %2").arg(path, reason));
        tryAgainLater();
    };
    if (const std::optional<QString> error =
            AppPaths::makePrivateDir(QFileInfo(path).absolutePath()))
        return fail(*error);
    // Writing may be impossible (a read-only file or folder, a full disk): the user can still
    // list and export, through a connection that only reads the file as it stands.
    const auto openReadOnly = [&] {
        return QFileInfo::exists(path) && m_db->openImmutable(path) &&
               !StoreSchema::prepare(*m_db) && load();
    };
    bool opened = m_db->open(path, true);
    if (opened)
        m_db->setBusyTimeout(m_options.busyTimeoutMs);
    std::optional<QString> error = opened ? StoreSchema::prepare(*m_db) : m_db->lastError();
    if (!error && !load())
        error = m_db->lastError();
    m_readOnly = error || m_db->isReadOnly();
    if (error && !openReadOnly())
        return fail(*error);
    if (m_readOnly)
        m_readOnlyReason = error.value_or(QStringLiteral("the file is read-only"));
    m_available = true;
    m_dataVersion = m_db->queryInt(QStringLiteral("PRAGMA data_version")).value_or(0);
    if (m_options.watchForExternalChanges && !m_watcher)
        watchFile();
    if (m_readOnly)
        tryAgainLater();
    if (m_reopenTimer && (!wasAvailable || (wasReadOnly && !m_readOnly))) {
        // Whoever shows the library reads it again; what waited for writing is written now.
        setSyncError(QString());
        Q_EMIT availableChanged();
        Q_EMIT remoteStoreChanged();
        if (!m_readOnly)
            save();
    }
}

bool PersistenceController::load()
{
    std::vector<CategoryRow> categoryRows;
    std::vector<SnippetRow> snippetRows;
    {
        std::optional<SqliteStatement> categories =
            m_db->prepare(QString::fromLatin1(CategoryRow::selectSql()));
        std::optional<SqliteStatement> snippets =
            m_db->prepare(QString::fromLatin1(SnippetRow::selectSql()));
        if (!categories || !snippets)
            return false;
        SqliteStatement::Step step;
        while ((step = categories->step()) == SqliteStatement::Step::Row)
            categoryRows.push_back(CategoryRow::read(*categories));
        if (step == SqliteStatement::Step::Error)
            return m_db->captureError(), false;
        while ((step = snippets->step()) == SqliteStatement::Step::Row)
            snippetRows.push_back(SnippetRow::read(*snippets));
        if (step == SqliteStatement::Step::Error)
            return m_db->captureError(), false;
    }
    QHash<std::int64_t, CategoryEntity*> categoriesByPk;
    mergeCategories(categoryRows, categoriesByPk);
    mergeSnippets(snippetRows, categoriesByPk);
    return true;
}

void PersistenceController::watchFile()
{
    m_watcher = new QFileSystemWatcher(this);
    m_externalChangeTimer = new QTimer(this);
    m_externalChangeTimer->setSingleShot(true);
    // Writes come in bursts (WAL, then checkpoint): look once the burst is over.
    m_externalChangeTimer->setInterval(150);
    connect(m_externalChangeTimer, &QTimer::timeout, this,
            &PersistenceController::checkForExternalChanges);
    // Not restarted by later writes: a steady stream of them must not postpone the look forever.
    const auto changed = [this] {
        if (!m_externalChangeTimer->isActive())
            m_externalChangeTimer->start();
    };
    connect(m_watcher, &QFileSystemWatcher::fileChanged, this, changed);
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, changed);
    m_watcher->addPath(QFileInfo(m_options.databasePath).absolutePath());
    checkForExternalChanges();
}

void PersistenceController::checkForExternalChanges()
{
    // The write-ahead log may have been created or replaced since the last look.
    for (const QString& suffix : {QString(), QStringLiteral("-wal")}) {
        const QString file = m_options.databasePath + suffix;
        if (QFileInfo::exists(file) && !m_watcher->files().contains(file))
            m_watcher->addPath(file);
    }
    // data_version moves only when another connection has committed.
    const std::optional<std::int64_t> version =
        m_db->queryInt(QStringLiteral("PRAGMA data_version"));
    if (!version || *version == m_dataVersion)
        return;
    m_dataVersion = *version;
    refreshFromStore();
}

void PersistenceController::refreshFromStore()
{
    if (!m_available)
        return;
    const std::size_t ownSnippets = m_deletedSnippets.size();
    const std::size_t ownCategories = m_deletedCategories.size();
    if (load())
        Q_EMIT remoteStoreChanged();
    // Records another process deleted are in no list now, and every holder has been told:
    // free them instead of keeping them until this process saves.
    m_deletedSnippets.erase(m_deletedSnippets.begin() + qsizetype(ownSnippets),
                            m_deletedSnippets.end());
    m_deletedCategories.erase(m_deletedCategories.begin() + qsizetype(ownCategories),
                              m_deletedCategories.end());
}

void PersistenceController::mergeCategories(const std::vector<CategoryRow>& rows,
                                            QHash<std::int64_t, CategoryEntity*>& byPk)
{
    QHash<std::int64_t, CategoryEntity*> stored;
    for (auto it = m_savedCategories.cbegin(); it != m_savedCategories.cend(); ++it)
        stored.insert(it.value().pk, const_cast<CategoryEntity*>(it.key()));
    for (const CategoryRow& row : rows) {
        if (std::find(m_deletedCategoryPks.cbegin(), m_deletedCategoryPks.cend(), row.pk) !=
            m_deletedCategoryPks.cend())
            continue; // deleted here, not yet saved
        CategoryEntity* category = stored.take(row.pk);
        if (category) {
            row.mergeInto(*category, m_savedCategories.value(category));
        } else {
            auto created = std::make_unique<CategoryEntity>();
            row.applyTo(*created);
            category = insertCategory(std::move(created));
        }
        m_savedCategories.insert(category, row);
        byPk.insert(row.pk, category);
    }
    // What is left was deleted by another process.
    QSet<const CategoryEntity*> gone;
    for (CategoryEntity* category : std::as_const(stored)) {
        m_savedCategories.remove(category);
        for (SnippetEntity* snippet : QList<SnippetEntity*>(category->snippets().values()))
            snippet->setCategory(nullptr);
        gone.insert(category);
        m_categorySet.remove(category);
    }
    removeOwned(m_categories, gone, m_deletedCategories);
}

void PersistenceController::mergeSnippets(
    const std::vector<SnippetRow>& rows, const QHash<std::int64_t, CategoryEntity*>& categoriesByPk)
{
    QHash<std::int64_t, SnippetEntity*> stored;
    stored.reserve(qsizetype(m_snippets.size()));
    for (const auto& snippet : m_snippets)
        if (snippet->m_storeKey)
            stored.insert(snippet->m_storeKey, snippet.get());
    // Sized once for the rows: growing a hash of a large library step by step rehashes it
    // again and again.
    m_snippetSet.reserve(m_snippetSet.size() + qsizetype(rows.size()) - stored.size());
    for (const SnippetRow& row : rows) {
        if (std::find(m_deletedSnippetPks.cbegin(), m_deletedSnippetPks.cend(), row.pk) !=
            m_deletedSnippetPks.cend())
            continue;
        SnippetEntity* snippet = stored.take(row.pk);
        if (snippet) {
            const bool categoryChanged = snippet->m_changed & SnippetEntity::changedCategory;
            row.mergeInto(*snippet);
            if (!categoryChanged) {
                snippet->setCategory(categoriesByPk.value(row.categoryPk));
                snippet->m_changed &= ~SnippetEntity::changedCategory;
            }
        } else {
            auto created = std::make_unique<SnippetEntity>();
            row.applyTo(*created);
            created->setCategory(categoriesByPk.value(row.categoryPk));
            created->m_changed = 0;
            snippet = insertSnippet(std::move(created));
        }
    }
    QSet<const SnippetEntity*> gone;
    for (SnippetEntity* snippet : std::as_const(stored)) {
        snippet->m_storeKey = 0;
        snippet->setCategory(nullptr);
        gone.insert(snippet);
        m_snippetSet.remove(snippet);
    }
    removeOwned(m_snippets, gone, m_deletedSnippets);
}

std::int64_t PersistenceController::categoryPkOf(const CategoryEntity* category) const
{
    if (!category)
        return 0;
    const auto it = m_savedCategories.constFind(category);
    return it == m_savedCategories.cend() ? notYetStored : it->pk;
}

// --- Context ---

SnippetEntity* PersistenceController::insertSnippet(std::unique_ptr<SnippetEntity> snippet)
{
    m_snippetSet.insert(snippet.get());
    m_snippets.push_back(std::move(snippet));
    return m_snippets.back().get();
}

CategoryEntity* PersistenceController::insertCategory(std::unique_ptr<CategoryEntity> category)
{
    m_categorySet.insert(category.get());
    m_categories.push_back(std::move(category));
    return m_categories.back().get();
}

void PersistenceController::deleteSnippet(SnippetEntity* snippet)
{
    deleteSnippets({snippet});
}

void PersistenceController::deleteCategory(CategoryEntity* category)
{
    deleteCategories({category});
}

void PersistenceController::deleteSnippets(const QList<SnippetEntity*>& snippets)
{
    QSet<const SnippetEntity*> doomed;
    for (SnippetEntity* snippet : snippets) {
        if (!m_snippetSet.remove(snippet))
            continue;
        if (snippet->m_storeKey) {
            m_deletedSnippetPks.push_back(snippet->m_storeKey);
            snippet->m_storeKey = 0;
        }
        snippet->setCategory(nullptr);
        doomed.insert(snippet);
    }
    removeOwned(m_snippets, doomed, m_deletedSnippets);
}

void PersistenceController::deleteCategories(const QList<CategoryEntity*>& categories)
{
    QSet<const CategoryEntity*> doomed;
    for (CategoryEntity* category : categories) {
        if (!m_categorySet.remove(category))
            continue;
        if (const auto it = m_savedCategories.constFind(category); it != m_savedCategories.cend()) {
            m_deletedCategoryPks.push_back(it->pk);
            m_savedCategories.erase(it);
        }
        for (SnippetEntity* snippet : QList<SnippetEntity*>(category->snippets().values()))
            snippet->setCategory(nullptr);
        doomed.insert(category);
    }
    removeOwned(m_categories, doomed, m_deletedCategories);
}

bool PersistenceController::contains(const SnippetEntity* snippet) const
{
    return m_snippetSet.contains(snippet);
}

bool PersistenceController::contains(const CategoryEntity* category) const
{
    return m_categorySet.contains(category);
}

PersistenceController::Changes PersistenceController::pendingChanges() const
{
    Changes changes;
    changes.deletions = !m_deletedCategoryPks.empty() || !m_deletedSnippetPks.empty();
    for (const auto& category : m_categories) {
        const auto saved = m_savedCategories.constFind(category.get());
        if (saved == m_savedCategories.cend() || !saved->matches(*category))
            changes.categories.push_back(category.get());
    }
    for (const auto& snippet : m_snippets)
        if (!snippet->m_storeKey || snippet->m_changed)
            changes.snippets.push_back(snippet.get());
    return changes;
}

bool PersistenceController::hasChanges() const
{
    return pendingChanges().any();
}

void PersistenceController::save()
{
    const Changes changes = pendingChanges();
    if (!changes.any())
        return;
    if (!m_available) {
        setSyncError(m_syncError.isEmpty() ? QStringLiteral("The library is not available")
                                           : m_syncError);
        return;
    }
    if (m_readOnly) {
        setSyncError(QStringLiteral("The library at %1 cannot be written: %2")
                         .arg(m_options.databasePath, m_readOnlyReason));
        return;
    }
    QHash<const CategoryEntity*, std::int64_t> newCategoryPks;
    QHash<const SnippetEntity*, std::int64_t> newSnippetPks;
    if (!writeChanges(changes, newCategoryPks, newSnippetPks))
        return;

    // The file now holds what memory holds.
    for (CategoryEntity* category : changes.categories) {
        const std::int64_t pk = newCategoryPks.contains(category)
                                    ? newCategoryPks.value(category)
                                    : m_savedCategories.value(category).pk;
        m_savedCategories.insert(category, CategoryRow::of(*category, pk));
    }
    for (SnippetEntity* snippet : changes.snippets) {
        if (!snippet->m_storeKey)
            snippet->m_storeKey = newSnippetPks.value(snippet);
        snippet->m_changed = 0;
    }
    QList<QUuid> snippetIds;
    QList<QUuid> categoryIds;
    for (const SnippetEntity* snippet : changes.snippets)
        if (const auto id = snippet->id())
            snippetIds.append(*id);
    for (const auto& snippet : m_deletedSnippets)
        if (const auto id = snippet->id())
            snippetIds.append(*id);
    for (const CategoryEntity* category : changes.categories)
        if (category->id())
            categoryIds.append(*category->id());
    for (const auto& category : m_deletedCategories)
        if (category->id())
            categoryIds.append(*category->id());
    m_deletedCategoryPks.clear();
    m_deletedSnippetPks.clear();
    m_deletedCategories.clear();
    m_deletedSnippets.clear();
    m_countedCategories.clear();
    Q_EMIT recordsSaved(snippetIds, categoryIds);
    Q_EMIT didSave();
}

bool PersistenceController::writeChanges(const Changes& changes,
                                         QHash<const CategoryEntity*, std::int64_t>& newCategoryPks,
                                         QHash<const SnippetEntity*, std::int64_t>& newSnippetPks)
{
    const auto fail = [this] {
        m_db->captureError();
        const QString error = m_db->lastError();
        m_db->rollback();
        setSyncError(error);
        return false;
    };
    if (!m_db->begin()) {
        setSyncError(m_db->lastError());
        return false;
    }
    std::optional<SqliteStatement> insertCategory =
        m_db->prepare(QString::fromLatin1(CategoryRow::insertSql()));
    std::optional<SqliteStatement> updateCategory =
        m_db->prepare(QString::fromLatin1(CategoryRow::updateSql()));
    std::optional<SqliteStatement> insertSnippet =
        m_db->prepare(QString::fromLatin1(SnippetRow::insertSql()));
    std::optional<SqliteStatement> updateSnippet =
        m_db->prepare(QString::fromLatin1(SnippetRow::updateSql()));
    std::optional<SqliteStatement> deleteSnippetRow =
        m_db->prepare(QStringLiteral("DELETE FROM snippet WHERE pk = ?1"));
    std::optional<SqliteStatement> deleteCategoryRow =
        m_db->prepare(QStringLiteral("DELETE FROM category WHERE pk = ?1"));
    if (!insertCategory || !updateCategory || !insertSnippet || !updateSnippet ||
        !deleteSnippetRow || !deleteCategoryRow)
        return fail();

    for (CategoryEntity* category : changes.categories) {
        const auto saved = m_savedCategories.constFind(category);
        const bool isNew = saved == m_savedCategories.cend();
        // Another process may have added a category since this one counted them: a new one
        // whose place is taken goes after every stored one.
        if (isNew && m_countedCategories.contains(category)) {
            const std::optional<std::int64_t> taken =
                m_db->queryInt(QStringLiteral("SELECT COUNT(*) FROM category WHERE sort_order = %1")
                                   .arg(category->sortOrder()));
            const std::optional<std::int64_t> last =
                m_db->queryInt(QStringLiteral("SELECT COALESCE(MAX(sort_order), 0) FROM category"));
            if (!taken || !last)
                return fail();
            if (*taken > 0)
                category->setSortOrder(qint32(std::min<std::int64_t>(*last + 1, INT32_MAX)));
        }
        const CategoryRow row = CategoryRow::of(*category, isNew ? 0 : saved->pk);
        SqliteStatement& statement = isNew ? *insertCategory : *updateCategory;
        row.bindValues(statement);
        if (!isNew)
            statement.bind(8, row.pk);
        if (!statement.run())
            return fail();
        if (isNew)
            newCategoryPks.insert(category, m_db->lastInsertRowId());
        statement.reset();
    }
    for (SnippetEntity* snippet : changes.snippets) {
        std::int64_t categoryPk = categoryPkOf(snippet->category());
        if (categoryPk == notYetStored)
            categoryPk = newCategoryPks.value(snippet->category());
        const bool isNew = !snippet->m_storeKey;
        const SnippetRow row = SnippetRow::of(*snippet, snippet->m_storeKey, categoryPk);
        SqliteStatement& statement = isNew ? *insertSnippet : *updateSnippet;
        row.bindValues(statement);
        if (!isNew)
            statement.bind(13, row.pk);
        if (!statement.run())
            return fail();
        if (isNew)
            newSnippetPks.insert(snippet, m_db->lastInsertRowId());
        statement.reset();
    }
    for (const auto& [statement, pks] : {std::pair{&*deleteSnippetRow, &m_deletedSnippetPks},
                                         std::pair{&*deleteCategoryRow, &m_deletedCategoryPks}}) {
        for (const std::int64_t pk : *pks) {
            statement->bind(1, pk);
            if (!statement->run())
                return fail();
            statement->reset();
        }
    }
    if (!m_db->commit())
        return fail();
    return true;
}

// --- Fetches ---

QList<SnippetEntity*> PersistenceController::fetchSnippets(Filter filter, SnippetOrder order) const
{
    QList<SnippetEntity*> result;
    for (const auto& snippet : m_snippets)
        if (passes(*snippet, filter))
            result.append(snippet.get());
    switch (order) {
    case SnippetOrder::createdAtDescending:
        return sortedNewestFirst(result, [](const SnippetEntity& s) { return s.createdAt(); });
    case SnippetOrder::updatedAtDescending:
        return sortedNewestFirst(result, [](const SnippetEntity& s) { return s.updatedAt(); });
    case SnippetOrder::trashedAtDescending:
        return sortedNewestFirst(result, [](const SnippetEntity& s) { return s.trashedAt(); });
    }
    return result;
}

QList<CategoryEntity*> PersistenceController::fetchCategories(Filter filter,
                                                              CategoryOrder order) const
{
    QList<CategoryEntity*> result;
    for (const auto& category : m_categories)
        if (passes(*category, filter))
            result.append(category.get());
    if (order == CategoryOrder::trashedAtDescending)
        return sortedNewestFirst(result, [](const CategoryEntity& c) { return c.trashedAt(); });
    std::stable_sort(result.begin(), result.end(),
                     [](const CategoryEntity* a, const CategoryEntity* b) {
                         return a->sortOrder() < b->sortOrder();
                     });
    return result;
}

QList<SnippetEntity*> PersistenceController::fetchActiveSnippets() const
{
    return fetchSnippets(Filter::live, SnippetOrder::createdAtDescending);
}

QList<SnippetEntity*> PersistenceController::fetchAllSnippets() const
{
    return fetchSnippets(Filter::all, SnippetOrder::createdAtDescending);
}

QList<SnippetEntity*> PersistenceController::fetchTrashedSnippets() const
{
    return fetchSnippets(Filter::trashed, SnippetOrder::trashedAtDescending);
}

QList<CategoryEntity*> PersistenceController::fetchTrashedCategories() const
{
    return fetchCategories(Filter::trashed, CategoryOrder::trashedAtDescending);
}

SnippetEntity* PersistenceController::snippetWithId(const QUuid& id) const
{
    for (const auto& snippet : m_snippets)
        if (snippet->id() == id)
            return snippet.get();
    return nullptr;
}

CategoryEntity* PersistenceController::categoryWithId(const QUuid& id) const
{
    for (const auto& category : m_categories)
        if (category->id() == id)
            return category.get();
    return nullptr;
}

CategoryEntity* PersistenceController::createCategory(const QString& name, const QString& colorHex)
{
    CategoryEntity* category = insertCategory(CategoryEntity::create(name, colorHex, 0, now()));
    // Counted after the insert, trashed and unsaved ones included: the first category gets 1.
    category->setSortOrder(qint32(std::min<std::size_t>(m_categories.size(), INT32_MAX)));
    m_countedCategories.insert(category);
    save();
    return category;
}

// --- Recently Deleted ---

void PersistenceController::trashSnippets(const QList<SnippetEntity*>& snippets)
{
    const QDateTime stamp = now();
    for (SnippetEntity* snippet : snippets)
        if (contains(snippet))
            snippet->setTrashedAt(stamp);
    save();
}

void PersistenceController::trashCategory(CategoryEntity* category)
{
    if (!contains(category))
        return;
    const QDateTime stamp = now();
    // Snippets trashed on their own before keep their earlier date.
    for (SnippetEntity* snippet : category->activeSnippets())
        snippet->setTrashedAt(stamp);
    category->setTrashedAt(stamp);
    save();
}

namespace {

void restoreOne(SnippetEntity* snippet)
{
    snippet->setTrashedAt(std::nullopt);
    if (CategoryEntity* category = snippet->category(); category && category->isTrashed())
        category->setTrashedAt(std::nullopt);
}

void restoreOne(CategoryEntity* category)
{
    category->setTrashedAt(std::nullopt);
    for (SnippetEntity* snippet : category->snippets())
        snippet->setTrashedAt(std::nullopt);
}

} // namespace

void PersistenceController::restoreSnippet(SnippetEntity* snippet)
{
    restoreSelection({snippet}, {});
}

void PersistenceController::restoreCategory(CategoryEntity* category)
{
    restoreSelection({}, {category});
}

void PersistenceController::deleteSnippetPermanently(SnippetEntity* snippet)
{
    deleteSelectionPermanently({snippet}, {});
}

void PersistenceController::deleteCategoryPermanently(CategoryEntity* category)
{
    deleteSelectionPermanently({}, {category});
}

void PersistenceController::restoreSelection(const QList<SnippetEntity*>& snippets,
                                             const QList<CategoryEntity*>& categories)
{
    for (SnippetEntity* snippet : snippets)
        if (contains(snippet))
            restoreOne(snippet);
    for (CategoryEntity* category : categories)
        if (contains(category))
            restoreOne(category);
    save();
}

void PersistenceController::deleteSelectionPermanently(const QList<SnippetEntity*>& snippets,
                                                       const QList<CategoryEntity*>& categories)
{
    QList<SnippetEntity*> doomedSnippets = snippets;
    for (CategoryEntity* category : categories)
        if (contains(category))
            doomedSnippets += QList<SnippetEntity*>(category->snippets().values());
    deleteSnippets(doomedSnippets);
    deleteCategories(categories);
    save();
}

void PersistenceController::purgeOldTrash()
{
    const QDateTime cutoff = now().addSecs(-trashRetentionSeconds);
    // Strictly older: a record exactly at the cut-off waits for the next purge.
    const auto expired = [&](const auto& record) {
        return record.trashedAt() && *record.trashedAt() < cutoff;
    };
    QList<SnippetEntity*> snippets;
    for (const auto& snippet : m_snippets)
        if (expired(*snippet))
            snippets.append(snippet.get());
    QList<CategoryEntity*> categories;
    for (const auto& category : m_categories)
        if (expired(*category))
            categories.append(category.get());
    deleteSnippets(snippets);
    deleteCategories(categories);
    save();
}

int PersistenceController::daysRemaining(const QDateTime& trashedAt, const QDateTime& now)
{
    const double elapsed = double(trashedAt.msecsTo(now)) / 1000.0;
    const double days = std::ceil((double(trashRetentionSeconds) - elapsed) / 86'400.0);
    return std::max(0, int(days));
}

int PersistenceController::daysRemaining(const QDateTime& trashedAt) const
{
    return daysRemaining(trashedAt, now());
}

// --- Sync state ---

QString PersistenceController::syncEventLogLine(const SyncEvent& event)
{
    QString type;
    switch (event.type) {
    case SyncEvent::Type::setup:
        type = QStringLiteral("setup");
        break;
    case SyncEvent::Type::import:
        type = QStringLiteral("import");
        break;
    case SyncEvent::Type::exportChanges:
        type = QStringLiteral("export");
        break;
    case SyncEvent::Type::other:
        type = QStringLiteral("unknown");
        break;
    }
    QString line = QStringLiteral("[Sync] ") + type +
                   (event.endDate ? QStringLiteral(" finished") : QStringLiteral(" started"));
    if (event.error)
        line += QStringLiteral(" \u2014 ERROR: ") + event.error->description;
    return line;
}

void PersistenceController::handleSyncEvent(const SyncEvent& event)
{
    if (m_options.syncLog) {
        m_options.syncLog(syncEventLogLine(event));
    } else {
        const QByteArray line = (syncEventLogLine(event) + u'\n').toUtf8();
        std::fwrite(line.constData(), 1, std::size_t(line.size()), stdout);
        std::fflush(stdout);
    }

    if (event.type != SyncEvent::Type::other)
        setSyncing(!event.endDate.has_value());
    if (const std::optional<SyncEventError>& error = event.error) {
        if (error->isCloudError && error->code == SyncEventError::partialFailure) {
            // Only item failures that stop syncing as a whole are worth telling the user.
            const bool serious = std::any_of(
                error->itemErrors.cbegin(), error->itemErrors.cend(), [](const auto& e) {
                    return e.isCloudError && (e.code == SyncEventError::notAuthenticated ||
                                              e.code == SyncEventError::changeTokenExpired ||
                                              e.code == SyncEventError::quotaExceeded ||
                                              e.code == SyncEventError::zoneNotFound);
                });
            if (serious)
                setSyncError(error->description);
            return;
        }
        setSyncError(error->description);
        return;
    }
    if (!event.endDate)
        return;
    setSyncError(QString());
    setLastSyncDate(*event.endDate);
}

void PersistenceController::enableSyncAndRelaunch()
{
    if (m_options.settings) {
        Preferences::write(*m_options.settings, Preferences::iCloudSyncEnabled, true);
        m_options.settings->sync();
    }
    // An AppImage is relaunched as itself, not as the binary inside its mount.
    QString program = qEnvironmentVariable("APPIMAGE");
    if (program.isEmpty())
        program = QCoreApplication::applicationFilePath();
    // The path travels as $0 so no quoting can break it.
    m_options.startProcess(
        QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"), QStringLiteral("sleep 1 && exec \"$0\""), program});
    QTimer::singleShot(100, this, [this] { m_options.quit(); });
}

void PersistenceController::setSyncError(const QString& error)
{
    if (m_syncError == error && m_syncError.isNull() == error.isNull())
        return;
    m_syncError = error;
    Q_EMIT syncErrorChanged(error);
}

void PersistenceController::setSyncing(bool syncing)
{
    if (m_isSyncing == syncing)
        return;
    m_isSyncing = syncing;
    Q_EMIT isSyncingChanged(syncing);
}

void PersistenceController::setLastSyncDate(const QDateTime& date)
{
    if (m_lastSyncDate == date)
        return;
    m_lastSyncDate = date;
    Q_EMIT lastSyncDateChanged(date);
}

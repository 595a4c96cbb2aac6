#pragma once

#include "library/StoreRows.h"
#include "library/SyncEvent.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <functional>
#include <memory>
#include <vector>

class CategoryEntity;
class QFileSystemWatcher;
class QSettings;
class QTimer;
class SnippetEntity;
class SqliteDatabase;

// The library's store: every snippet and category, held in memory and kept in one SQLite
// file. Records are inserted, changed and deleted in memory; save() writes all pending changes
// in one transaction. Main thread only.
class PersistenceController : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString syncError READ syncError NOTIFY syncErrorChanged)
    Q_PROPERTY(bool isSyncing READ isSyncing NOTIFY isSyncingChanged)
    Q_PROPERTY(QDateTime lastSyncDate READ lastSyncDate NOTIFY lastSyncDateChanged)

public:
    static constexpr qint64 trashRetentionSeconds = 2'592'000; // 30 days

    enum class Filter { all, live, trashed };
    enum class SnippetOrder { createdAtDescending, updatedAtDescending, trashedAtDescending };
    enum class CategoryOrder { sortOrderAscending, trashedAtDescending };

    struct Options {
        QString databasePath;
        QSettings* settings = nullptr; // the user defaults
        std::function<QDateTime()> clock;
        int busyTimeoutMs = 5000;
        bool watchForExternalChanges = true;
        // Relaunch and quit, replaced in tests.
        std::function<bool(const QString& program, const QStringList& arguments)> startProcess;
        std::function<void()> quit;
        // Where the sync event lines go; none: standard output.
        std::function<void(const QString& line)> syncLog;
    };

    // Where the process's store lives: the data folder.
    static QString defaultDatabasePath();

    explicit PersistenceController(Options options, QObject* parent = nullptr);
    ~PersistenceController() override;

    // False when the file could not be opened or is from a newer version: the app runs on
    // without a store, syncError says why, and nothing is ever written to the file. A process
    // that watches the file tries again every few seconds; availableChanged says when it worked.
    bool isAvailable() const { return m_available; }
    // Available, but only for reading: saves keep their changes pending with syncError set.
    bool isReadOnly() const { return m_readOnly; }
    static constexpr int reopenIntervalMs = 2000;
    bool isSyncEnabled() const { return m_syncEnabled; }

    QString syncError() const { return m_syncError; }
    bool isSyncing() const { return m_isSyncing; }
    QDateTime lastSyncDate() const { return m_lastSyncDate; }

    // --- The in-memory context ---
    SnippetEntity* insertSnippet(std::unique_ptr<SnippetEntity> snippet);
    CategoryEntity* insertCategory(std::unique_ptr<CategoryEntity> category);
    // Removes the record from the context; a deleted category leaves its snippets without one.
    void deleteSnippet(SnippetEntity* snippet);
    void deleteCategory(CategoryEntity* category);
    void deleteSnippets(const QList<SnippetEntity*>& snippets);
    void deleteCategories(const QList<CategoryEntity*>& categories);
    bool contains(const SnippetEntity* snippet) const;
    bool contains(const CategoryEntity* category) const;
    bool hasChanges() const;
    // Writes every pending change in one transaction; nothing to write, nothing happens.
    // A failure sets syncError and keeps the changes pending for the next save.
    void save();

    // --- Fetches ---
    QList<SnippetEntity*> fetchSnippets(Filter filter, SnippetOrder order) const;
    QList<CategoryEntity*> fetchCategories(Filter filter, CategoryOrder order) const;
    QList<SnippetEntity*> fetchActiveSnippets() const;
    QList<SnippetEntity*> fetchAllSnippets() const;
    QList<SnippetEntity*> fetchTrashedSnippets() const;
    QList<CategoryEntity*> fetchTrashedCategories() const;
    SnippetEntity* snippetWithId(const QUuid& id) const;
    CategoryEntity* categoryWithId(const QUuid& id) const;

    CategoryEntity* createCategory(const QString& name, const QString& colorHex);

    // --- Recently Deleted ---
    void trashSnippets(const QList<SnippetEntity*>& snippets);
    void trashCategory(CategoryEntity* category);
    void restoreSnippet(SnippetEntity* snippet);
    void restoreCategory(CategoryEntity* category);
    void deleteSnippetPermanently(SnippetEntity* snippet);
    void deleteCategoryPermanently(CategoryEntity* category);
    void purgeOldTrash();
    // Records no longer in the store are skipped; one save at the end, if anything changed.
    void restoreSelection(const QList<SnippetEntity*>& snippets,
                          const QList<CategoryEntity*>& categories);
    void deleteSelectionPermanently(const QList<SnippetEntity*>& snippets,
                                    const QList<CategoryEntity*>& categories);
    static int daysRemaining(const QDateTime& trashedAt, const QDateTime& now);
    int daysRemaining(const QDateTime& trashedAt) const;

    // --- Sync state ---
    void handleSyncEvent(const SyncEvent& event);
    static QString syncEventLogLine(const SyncEvent& event);
    // Turns sync on for the next launch, relaunches this program a second later and quits.
    void enableSyncAndRelaunch();

    // Re-reads what other processes wrote; the file watcher calls it, tests may too.
    void refreshFromStore();

Q_SIGNALS:
    void didSave();
    // The records a save wrote or deleted, by id; sent just before didSave.
    void recordsSaved(const QList<QUuid>& snippets, const QList<QUuid>& categories);
    // Records changed by another process were read in.
    void remoteStoreChanged();
    // The library could not be opened before and now could.
    void availableChanged();
    void syncErrorChanged(const QString& error);
    void isSyncingChanged(bool syncing);
    void lastSyncDateChanged(const QDateTime& date);

private:
    QDateTime now() const;
    void setSyncError(const QString& error);
    void setSyncing(bool syncing);
    void setLastSyncDate(const QDateTime& date);
    void open();
    bool load();
    void watchFile();
    void checkForExternalChanges();
    std::int64_t categoryPkOf(const CategoryEntity* category) const;
    // The records that differ from what was last saved (or were never saved).
    struct Changes {
        std::vector<CategoryEntity*> categories;
        std::vector<SnippetEntity*> snippets;
        bool deletions = false;
        bool any() const { return deletions || !categories.empty() || !snippets.empty(); }
    };
    Changes pendingChanges() const;
    bool writeChanges(const Changes& changes,
                      QHash<const CategoryEntity*, std::int64_t>& newCategoryPks,
                      QHash<const SnippetEntity*, std::int64_t>& newSnippetPks);
    void mergeCategories(const std::vector<CategoryRow>& rows,
                         QHash<std::int64_t, CategoryEntity*>& byPk);
    void mergeSnippets(const std::vector<SnippetRow>& rows,
                       const QHash<std::int64_t, CategoryEntity*>& categoriesByPk);

    Options m_options;
    std::unique_ptr<SqliteDatabase> m_db;
    bool m_available = false;
    bool m_syncEnabled = false;
    QString m_syncError;
    bool m_isSyncing = false;
    QDateTime m_lastSyncDate;
    std::int64_t m_dataVersion = 0;

    std::vector<std::unique_ptr<CategoryEntity>> m_categories;
    std::vector<std::unique_ptr<SnippetEntity>> m_snippets;
    QSet<const CategoryEntity*> m_categorySet;
    QSet<const SnippetEntity*> m_snippetSet;
    // What each stored category looked like when last saved or read; snippets, many more,
    // track their own changes.
    QHash<const CategoryEntity*, CategoryRow> m_savedCategories;
    // Deleted in memory, to be deleted from the file at the next save.
    std::vector<std::int64_t> m_deletedCategoryPks;
    std::vector<std::int64_t> m_deletedSnippetPks;
    // Deleted records stay allocated until that save, so pointers held meanwhile stay valid.
    std::vector<std::unique_ptr<CategoryEntity>> m_deletedCategories;
    QSet<const CategoryEntity*> m_countedCategories; // placed by count, not yet saved
    std::vector<std::unique_ptr<SnippetEntity>> m_deletedSnippets;

    QFileSystemWatcher* m_watcher = nullptr;
    QTimer* m_externalChangeTimer = nullptr;
    QTimer* m_reopenTimer = nullptr;
    bool m_readOnly = false;  // only reading: nothing can be written to the file now
    QString m_readOnlyReason; // why, while m_readOnly
};

#include "models/TrashViewModel.h"

#include "library/CategoryEntity.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "models/ContentViewModel.h"
#include "models/TrashListModel.h"
#include "models/TrashTexts.h"

#include <algorithm>

TrashViewModel::TrashViewModel(Dependencies dependencies, QObject* parent)
    : QObject(parent), m_dependencies(std::move(dependencies))
{
    if (!m_dependencies.clock)
        m_dependencies.clock = [] { return QDateTime::currentDateTimeUtc(); };
    m_list = new TrashListModel(m_dependencies.clock, this);
    PersistenceController* store = m_dependencies.store;
    connect(store, &PersistenceController::didSave, this, &TrashViewModel::reload);
    connect(store, &PersistenceController::remoteStoreChanged, this, &TrashViewModel::reload);
    connect(m_dependencies.content, &ContentViewModel::trashSelectionChanged, this,
            &TrashViewModel::selectionChanged);
    reload();
}

bool TrashViewModel::isEmpty() const
{
    return m_list->isEmpty();
}

void TrashViewModel::reload()
{
    // The rows first: a deleted record must leave the list before anything redraws it.
    m_list->setRecords(m_dependencies.store->fetchTrashedCategories(),
                       m_dependencies.store->fetchTrashedSnippets());
    pruneSelection();
    Q_EMIT listChanged();
}

// --- Selection ---

const QList<TrashSelection>& TrashViewModel::selection() const
{
    return m_dependencies.content->trashSelection();
}

void TrashViewModel::select(const QList<TrashSelection>& records)
{
    QList<int> rows;
    rows.reserve(records.size());
    for (const TrashSelection& record : records) {
        if (const int row = m_list->rowOf(record); row >= 0)
            rows.append(row);
    }
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    QList<TrashSelection> kept;
    kept.reserve(rows.size());
    for (int row : rows)
        kept.append(m_list->recordAt(row));
    m_dependencies.content->setTrashSelection(kept);
}

void TrashViewModel::pruneSelection()
{
    select(selection());
}

TrashViewModel::Detail TrashViewModel::detail() const
{
    const QList<TrashSelection>& records = selection();
    if (records.isEmpty())
        return Detail::nothingSelected;
    if (records.size() > 1)
        return Detail::several;
    return records.first().snippet ? Detail::snippet : Detail::category;
}

SnippetEntity* TrashViewModel::selectedSnippet() const
{
    return detail() == Detail::snippet ? selection().first().snippet : nullptr;
}

CategoryEntity* TrashViewModel::selectedCategory() const
{
    return detail() == Detail::category ? selection().first().category : nullptr;
}

namespace {
struct Counts {
    qsizetype snippets = 0;
    qsizetype categories = 0;
};
Counts countsOf(const QList<TrashSelection>& records)
{
    Counts counts;
    for (const TrashSelection& record : records)
        ++(record.snippet ? counts.snippets : counts.categories);
    return counts;
}
} // namespace

QString TrashViewModel::selectionHeader() const
{
    const Counts counts = countsOf(selection());
    return TrashTexts::selectionHeader(counts.snippets, counts.categories);
}

LibraryTexts::Question TrashViewModel::deleteQuestion() const
{
    const Counts counts = countsOf(selection());
    return TrashTexts::deleteQuestion(counts.snippets, counts.categories);
}

LibraryTexts::Question TrashViewModel::deleteAllQuestion() const
{
    const Counts counts = countsOf(selection());
    return TrashTexts::deleteAllQuestion(counts.snippets, counts.categories);
}

// --- Actions ---

void TrashViewModel::apply(QList<TrashSelection> records, bool restoring)
{
    QList<SnippetEntity*> snippets;
    QList<CategoryEntity*> categories;
    for (const TrashSelection& record : records) {
        if (record.snippet)
            snippets.append(record.snippet);
        else if (record.category)
            categories.append(record.category);
    }
    m_dependencies.content->setTrashSelection({});
    // The store skips records that are gone meanwhile, and saves once.
    PersistenceController* store = m_dependencies.store;
    if (restoring)
        store->restoreSelection(snippets, categories);
    else
        store->deleteSelectionPermanently(snippets, categories);
    // A failed save says nothing, yet the records have changed in memory.
    reload();
}

void TrashViewModel::restoreSelection()
{
    apply(selection(), true);
}

void TrashViewModel::deleteSelectionPermanently()
{
    apply(selection(), false);
}

void TrashViewModel::restore(const TrashSelection& record)
{
    apply({record}, true);
}

void TrashViewModel::deletePermanently(const TrashSelection& record)
{
    apply({record}, false);
}

QString TrashViewModel::deletedPhrase(const std::optional<QDateTime>& trashedAt) const
{
    return trashedAt ? TrashTexts::deletedPhrase(*trashedAt, now()) : QString();
}

void TrashViewModel::refreshTimes()
{
    m_list->refreshDaysRemaining();
    Q_EMIT timesChanged();
}

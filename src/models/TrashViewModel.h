#pragma once

#include "models/LibraryTexts.h"
#include "models/TrashSelection.h"

#include <QDateTime>
#include <QObject>
#include <functional>
#include <optional>

class CategoryEntity;
class ContentViewModel;
class PersistenceController;
class SnippetEntity;
class TrashListModel;

// Recently Deleted: the trashed records as rows, the selection (held by the window's
// ContentViewModel), what the detail column shows for it, the texts of its summary and
// questions, and restoring or deleting for good with one save.
class TrashViewModel : public QObject {
    Q_OBJECT

public:
    enum class Detail { nothingSelected, snippet, category, several };

    struct Dependencies {
        PersistenceController* store = nullptr;
        ContentViewModel* content = nullptr; // holds the selection
        std::function<QDateTime()> clock;
    };

    explicit TrashViewModel(Dependencies dependencies, QObject* parent = nullptr);

    TrashListModel* list() const { return m_list; }
    bool isEmpty() const;
    QDateTime now() const { return m_dependencies.clock(); }

    // --- Selection ---
    const QList<TrashSelection>& selection() const;
    // Keeps the listed records only, in the list's order.
    void select(const QList<TrashSelection>& records);
    Detail detail() const;
    // The one selected record of its kind, else null.
    SnippetEntity* selectedSnippet() const;
    CategoryEntity* selectedCategory() const;
    QString selectionHeader() const;                  // "2 snippets and 1 category selected"
    LibraryTexts::Question deleteQuestion() const;    // the list's Delete key
    LibraryTexts::Question deleteAllQuestion() const; // the bulk panel's

    // --- Actions, each saved once; the selection empties afterwards ---
    void restoreSelection();
    void deleteSelectionPermanently();
    // One record, from its detail view.
    void restore(const TrashSelection& record);
    void deletePermanently(const TrashSelection& record);

    // "Deleted 3 days ago"; empty for a record that is not trashed.
    QString deletedPhrase(const std::optional<QDateTime>& trashedAt) const;
    // The badges and phrases move on with the clock; the views ask now and then.
    void refreshTimes();

Q_SIGNALS:
    void listChanged(); // the rows, their records' fields, or the empty state
    void selectionChanged();
    void timesChanged();

private:
    void reload();
    void pruneSelection();
    void apply(QList<TrashSelection> records, bool restoring);

    Dependencies m_dependencies;
    TrashListModel* m_list;
};

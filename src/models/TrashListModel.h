#pragma once

#include "models/TrashSelection.h"

#include <QAbstractListModel>
#include <QDateTime>
#include <QHash>
#include <functional>
#include <optional>

// Recently Deleted's rows in one flat list: a "Categories" heading and the trashed categories
// (only when there are any), then a "Snippets" heading and the trashed snippets. Headings are
// rows that can be neither selected nor focused, as in the sidebar, so one list view gives the
// platform's multiple selection across both sections (a Shift range may run from a category
// into the snippets) and keyboard moves skip the headings; a two-level model would need a tree
// view and its expanders for no gain.
class TrashListModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum class Kind { heading, category, snippet };
    enum Role {
        KindRole = Qt::UserRole + 1, // int(Kind)
        AbbreviationRole,            // a snippet's
        CategoryNameRole,            // a snippet's category; empty without one
        ColorRole,                   // QColor of the category (a snippet's, or the row's own);
                                     // invalid: the accent colour
        SnippetCountRole,            // a category's snippets, trashed or not: "3 snippets"
        DaysRemainingRole,           // int
    };

    explicit TrashListModel(std::function<QDateTime()> clock, QObject* parent = nullptr);

    // The trashed records, each list most recently trashed first.
    void setRecords(QList<CategoryEntity*> categories, QList<SnippetEntity*> snippets);
    bool isEmpty() const { return m_categories.isEmpty() && m_snippets.isEmpty(); }
    const QList<CategoryEntity*>& categories() const { return m_categories; }
    const QList<SnippetEntity*>& snippets() const { return m_snippets; }

    Kind kindAt(int row) const;
    TrashSelection recordAt(int row) const;        // null for a heading or out of range
    int rowOf(const TrashSelection& record) const; // -1 when not listed

    // The badges count down with the clock; the views ask now and then.
    void refreshDaysRemaining();

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    // Row of the "Snippets" heading: after the categories and their heading, when there are any.
    int snippetsHeadingRow() const
    {
        return m_categories.isEmpty() ? 0 : int(m_categories.size()) + 1;
    }
    QVariant snippetData(const SnippetEntity& snippet, int role) const;
    QVariant categoryData(const CategoryEntity& category, int role) const;
    int daysRemaining(const std::optional<QDateTime>& trashedAt) const;

    std::function<QDateTime()> m_clock;
    QList<CategoryEntity*> m_categories;
    QList<SnippetEntity*> m_snippets;
    QHash<TrashSelection, int> m_rows; // a selection of thousands maps to rows at once
};

#pragma once

#include <QWidget>

class EmptyState;
class QListView;
class QStackedLayout;
class QTimer;
class TrashViewModel;

// The middle column while Recently Deleted is shown: its empty state, or the trashed categories
// and snippets with multiple selection. The Delete key (and the rows' menu) asks before deleting
// the selection for good.
class TrashListView : public QWidget {
    Q_OBJECT

public:
    explicit TrashListView(TrashViewModel* model, QWidget* parent = nullptr);

    QListView* list() const { return m_list; }
    // The Delete key's question; nothing when nothing is selected.
    void askDeleteSelection();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void syncList();
    void syncSelectionToView();
    void userSelectedRows();
    // `at` in the viewport; `onRow` when a click there may pick the row first.
    void showMenu(const QPoint& at, bool onRow);

    TrashViewModel* m_model;
    QStackedLayout* m_pages;
    EmptyState* m_empty;
    QListView* m_list;
    QTimer* m_clockTick;
    bool m_syncing = false;
};

#include "ui/trash/TrashListView.h"

#include "models/TrashListModel.h"
#include "models/TrashViewModel.h"
#include "ui/trash/TrashRowDelegate.h"
#include "ui/widgets/EmptyState.h"
#include "ui/widgets/Icons.h"
#include "ui/widgets/Questions.h"

#include <QContextMenuEvent>
#include <QListView>
#include <QMenu>
#include <QShortcut>
#include <QStackedLayout>
#include <QTimer>
#include <QVBoxLayout>

TrashListView::TrashListView(TrashViewModel* model, QWidget* parent)
    : QWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("trashListView"));
    m_pages = new QStackedLayout(this);

    // The empty state's text keeps to a narrow column, centred.
    auto* emptyPage = new QWidget(this);
    auto* emptyLayout = new QHBoxLayout(emptyPage);
    m_empty = new EmptyState(QStringLiteral("user-trash"), tr("Recently Deleted is Empty"),
                             tr("Deleted snippets and categories are kept here for "
                                "30 days."),
                             QString(), emptyPage);
    m_empty->setObjectName(QStringLiteral("trashEmpty"));
    m_empty->setMaximumWidth(280);
    emptyLayout->addWidget(m_empty);
    m_pages->addWidget(emptyPage);

    m_list = new QListView(this);
    m_list->setObjectName(QStringLiteral("trashList"));
    m_list->setAccessibleName(tr("Recently Deleted"));
    m_list->setAccessibleDescription(
        tr("Deleted categories and snippets; Delete removes the selected ones for "
           "good, the menu key restores them"));
    m_list->setModel(model->list());
    m_list->setItemDelegate(new TrashRowDelegate(m_list));
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->installEventFilter(this);
    m_list->viewport()->installEventFilter(this);
    m_pages->addWidget(m_list);

    auto* remove =
        new QShortcut(QKeySequence::Delete, m_list, nullptr, nullptr, Qt::WidgetShortcut);
    connect(remove, &QShortcut::activated, this, &TrashListView::askDeleteSelection);
    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &TrashListView::userSelectedRows);
    connect(model, &TrashViewModel::listChanged, this, &TrashListView::syncList);
    connect(model, &TrashViewModel::selectionChanged, this, &TrashListView::syncSelectionToView);

    // Badges count whole days, but a window left open across midnight should not lag by hours.
    m_clockTick = new QTimer(this);
    m_clockTick->setInterval(std::chrono::minutes(1));
    connect(m_clockTick, &QTimer::timeout, model, &TrashViewModel::refreshTimes);
    syncList();
}

void TrashListView::syncList()
{
    m_pages->setCurrentIndex(m_model->isEmpty() ? 0 : 1);
    syncSelectionToView();
}

void TrashListView::syncSelectionToView()
{
    m_syncing = true;
    TrashListModel* list = m_model->list();
    QItemSelection selection;
    int first = -1;
    for (const TrashSelection& record : m_model->selection()) {
        const int row = list->rowOf(record);
        if (row < 0)
            continue;
        selection.select(list->index(row), list->index(row));
        if (first < 0)
            first = row;
    }
    QItemSelectionModel* selectionModel = m_list->selectionModel();
    selectionModel->select(selection, QItemSelectionModel::ClearAndSelect);
    if (first >= 0 && !selection.contains(selectionModel->currentIndex()))
        selectionModel->setCurrentIndex(list->index(first), QItemSelectionModel::NoUpdate);
    m_syncing = false;
}

void TrashListView::userSelectedRows()
{
    if (m_syncing)
        return;
    QList<TrashSelection> records;
    for (const QModelIndex& index : m_list->selectionModel()->selectedRows())
        records.append(m_model->list()->recordAt(index.row()));
    m_model->select(records); // puts them in the list's order
}

void TrashListView::askDeleteSelection()
{
    if (m_model->selection().isEmpty())
        return;
    Questions::askDestructive(this, m_model->deleteQuestion(),
                              [this] { m_model->deleteSelectionPermanently(); });
}

bool TrashListView::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::ContextMenu)
        return QWidget::eventFilter(watched, event);
    auto* menuEvent = static_cast<QContextMenuEvent*>(event);
    if (menuEvent->reason() == QContextMenuEvent::Mouse && watched == m_list->viewport()) {
        showMenu(menuEvent->pos(), true);
    } else {
        // The menu key: at the current row.
        const QRect row = m_list->visualRect(m_list->currentIndex());
        showMenu(row.isValid() ? row.center() : QPoint(8, 8), false);
    }
    return true;
}

void TrashListView::showMenu(const QPoint& at, bool onRow)
{
    // A right click outside the selection acts on the row clicked, as file managers do.
    const QModelIndex index = onRow ? m_list->indexAt(at) : QModelIndex();
    if (index.isValid() && (index.flags() & Qt::ItemIsSelectable) &&
        !m_list->selectionModel()->isSelected(index))
        m_list->selectionModel()->select(index, QItemSelectionModel::ClearAndSelect);
    if (m_model->selection().isEmpty())
        return;
    QMenu menu(this);
    menu.addAction(Icons::named(QStringLiteral("edit-undo")), tr("Restore"), m_model,
                   &TrashViewModel::restoreSelection);
    menu.addSeparator();
    menu.addAction(Icons::named(QStringLiteral("user-trash")), tr("Delete Permanently"), this,
                   &TrashListView::askDeleteSelection);
    menu.exec(m_list->viewport()->mapToGlobal(at));
}

void TrashListView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    m_model->refreshTimes();
    m_clockTick->start();
}

void TrashListView::hideEvent(QHideEvent* event)
{
    m_clockTick->stop();
    QWidget::hideEvent(event);
}

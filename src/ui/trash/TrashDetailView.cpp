#include "ui/trash/TrashDetailView.h"

#include "models/TrashViewModel.h"
#include "ui/trash/TrashBulkActionPanel.h"
#include "ui/trash/TrashCategoryDetailView.h"
#include "ui/trash/TrashSnippetDetailView.h"
#include "ui/widgets/EmptyState.h"

using Detail = TrashViewModel::Detail;

TrashDetailView::TrashDetailView(TrashViewModel* model, QWidget* parent)
    : QStackedWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("trashDetail"));
    m_nothing = new EmptyState(QStringLiteral("user-trash"), tr("Select an item to preview"),
                               tr("Items are permanently deleted after 30 days."), QString(), this);
    m_snippet = new TrashSnippetDetailView(model, this);
    m_category = new TrashCategoryDetailView(model, this);
    m_bulk = new TrashBulkActionPanel(model, this);
    for (QWidget* page : {m_nothing, static_cast<QWidget*>(m_snippet),
                          static_cast<QWidget*>(m_category), static_cast<QWidget*>(m_bulk)})
        addWidget(page);

    // A record's own fields may change under it (a rename synced in): redraw on every save.
    connect(model, &TrashViewModel::listChanged, this, &TrashDetailView::sync);
    connect(model, &TrashViewModel::selectionChanged, this, &TrashDetailView::sync);
    connect(model, &TrashViewModel::timesChanged, this, [this] {
        m_snippet->refreshTimes();
        m_category->refreshTimes();
    });
    sync();
}

void TrashDetailView::sync()
{
    switch (m_model->detail()) {
    case Detail::nothingSelected:
        setCurrentWidget(m_nothing);
        break;
    case Detail::snippet:
        m_snippet->showSnippet(m_model->selectedSnippet());
        setCurrentWidget(m_snippet);
        break;
    case Detail::category:
        m_category->showCategory(m_model->selectedCategory());
        setCurrentWidget(m_category);
        break;
    case Detail::several:
        m_bulk->refresh();
        setCurrentWidget(m_bulk);
        break;
    }
}

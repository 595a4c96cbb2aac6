#pragma once

#include <QStackedWidget>

class TrashBulkActionPanel;
class TrashCategoryDetailView;
class TrashSnippetDetailView;
class TrashViewModel;

// The detail column while Recently Deleted is shown: a placeholder when nothing is selected,
// the one selected snippet or category, or the panel for several.
class TrashDetailView : public QStackedWidget {
    Q_OBJECT

public:
    explicit TrashDetailView(TrashViewModel* model, QWidget* parent = nullptr);

private:
    void sync();

    TrashViewModel* m_model;
    QWidget* m_nothing;
    TrashSnippetDetailView* m_snippet;
    TrashCategoryDetailView* m_category;
    TrashBulkActionPanel* m_bulk;
};

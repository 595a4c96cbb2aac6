#pragma once

#include "ui/trash/TrashItemDetailView.h"

class CategoryEntity;
class QLabel;
class QTreeWidget;

// One trashed category: its name and colour, when it was deleted, and the snippets that come
// back with it.
class TrashCategoryDetailView : public TrashItemDetailView {
    Q_OBJECT

public:
    TrashCategoryDetailView(TrashViewModel* model, QWidget* parent = nullptr);

    void showCategory(CategoryEntity* category);

private:
    QLabel* m_contents;
    QTreeWidget* m_snippets;
};

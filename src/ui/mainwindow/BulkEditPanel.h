#pragma once

#include <QWidget>

class CategoryPicker;
class ContentViewModel;
class QLabel;
class QPushButton;

// Shown for two or more selected snippets: move them all to a category, or delete them all.
class BulkEditPanel : public QWidget {
    Q_OBJECT

public:
    BulkEditPanel(ContentViewModel* model, QWidget* parent = nullptr);

    // Reads the selection and the categories again.
    void refresh();

private:
    ContentViewModel* m_model;
    QLabel* m_header;
    CategoryPicker* m_category;
    QPushButton* m_move;
    QPushButton* m_delete;
};

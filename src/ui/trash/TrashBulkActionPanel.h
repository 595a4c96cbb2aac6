#pragma once

#include <QWidget>

class QLabel;
class QPushButton;
class TrashViewModel;

// Shown for two or more selected records: restore them all, or delete them all for good after
// asking. Either empties the selection.
class TrashBulkActionPanel : public QWidget {
    Q_OBJECT

public:
    TrashBulkActionPanel(TrashViewModel* model, QWidget* parent = nullptr);

    // Reads the selection again.
    void refresh();

private:
    TrashViewModel* m_model;
    QLabel* m_header;
};

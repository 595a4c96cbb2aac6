#pragma once

#include "library/CategoryEntity.h"

#include <QDialog>

class CategoryEditorModel;
class PersistenceController;
class QButtonGroup;
class QLineEdit;
class QPushButton;

// Creates a category, or edits one: a name and one of the palette's eight colours.
class CategoryEditorSheet : public QDialog {
    Q_OBJECT

public:
    CategoryEditorSheet(PersistenceController* store, CategoryEntity* editing, QWidget* parent);
    ~CategoryEditorSheet() override;

    CategoryEditorModel& model() const { return *m_model; }

Q_SIGNALS:
    // After the save: the category created or edited.
    void done(CategoryEntity* category);

private:
    void update();

    CategoryEditorModel* m_model;
    QLineEdit* m_name;
    QButtonGroup* m_swatches;
    QPushButton* m_save;
};

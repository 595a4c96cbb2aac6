#pragma once

#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"

#include <QDialog>

class CategoryPicker;
class ConflictWarningRow;
class NewSnippetModel;
class PersistenceController;
class QLineEdit;
class QPushButton;

// Creates a snippet from a title, an abbreviation and a category; its text is written in the
// editor afterwards.
class NewSnippetSheet : public QDialog {
    Q_OBJECT

public:
    NewSnippetSheet(PersistenceController* store, CategoryEntity* preselected, QWidget* parent);
    ~NewSnippetSheet() override;

    NewSnippetModel& model() const { return *m_model; }

Q_SIGNALS:
    void created(SnippetEntity* snippet);
    void navigateTo(SnippetEntity* other);

private:
    void update();
    void reloadCategories(CategoryEntity* select);

    PersistenceController* m_store;
    NewSnippetModel* m_model;
    QLineEdit* m_title;
    QLineEdit* m_abbreviation;
    ConflictWarningRow* m_conflict;
    CategoryPicker* m_category;
    QPushButton* m_create;
};

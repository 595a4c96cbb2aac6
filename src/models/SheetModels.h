#pragma once

#include "library/AbbreviationConflict.h"

#include <QDateTime>
#include <QObject>
#include <functional>

class CategoryEntity;
class PersistenceController;
class SnippetEntity;

// The new-snippet sheet: a title, an abbreviation checked against the library as it is typed,
// and a category. "Create" is possible once the abbreviation has more than spaces and tabs.
class NewSnippetModel : public QObject {
    Q_OBJECT

public:
    NewSnippetModel(PersistenceController* store, CategoryEntity* preselectedCategory,
                    std::function<QDateTime()> clock = {}, QObject* parent = nullptr);

    QString title;
    QString abbreviation;
    CategoryEntity* selectedCategory = nullptr;

    bool canCreate() const;
    // The warning for the abbreviation as typed now; the other snippet is `other()`.
    AbbreviationConflict conflict() const;
    // Saves the new snippet and returns it; null when it cannot be created.
    SnippetEntity* create();

private:
    PersistenceController* m_store;
    std::function<QDateTime()> m_clock;
    QList<SnippetEntity*> m_all; // the conflict check's order, fetched once per sheet
};

// The category sheet, creating a category or editing one: a name and a palette colour.
class CategoryEditorModel : public QObject {
    Q_OBJECT

public:
    CategoryEditorModel(PersistenceController* store, CategoryEntity* editing,
                        std::function<QDateTime()> clock = {}, QObject* parent = nullptr);

    QString name;
    QString colorHex;

    bool isEditing() const { return m_editing != nullptr; }
    QString sheetTitle() const;  // "Edit Category" or "New Category"
    QString actionTitle() const; // "Save" or "Create"
    bool canSave() const;
    // Saves the edit or creates the category; returns it.
    CategoryEntity* save();

private:
    PersistenceController* m_store;
    CategoryEntity* m_editing;
    std::function<QDateTime()> m_clock;
};

#pragma once

#include <QString>

class CategoryEntity;
class SnippetEntity;

// The library's counted and quoted texts, in one place so the tray, the lists, the panels and
// the questions agree.
namespace LibraryTexts {

// "0 snippets", "1 snippet", "2 snippets".
QString snippetCount(qsizetype count);
// "Move 2 Snippets", "Delete 1 Snippet": a verb, the count, a capitalised noun.
QString snippetAction(const QString& verb, qsizetype count);
// "2 snippets selected".
QString selectionCount(qsizetype count);

struct Question {
    QString title;
    QString message;
    QString confirm; // the destructive button
};

// Deleting the list's selection: one snippet by its display title (or "this snippet" when it
// is gone), several by their number.
Question deleteSnippets(qsizetype count, const SnippetEntity* single);
// The bulk panel's own question, counted like its button.
Question deleteSelectedSnippets(qsizetype count);
// Deleting a category, with how many live snippets go with it.
Question deleteCategory(const CategoryEntity& category);

} // namespace LibraryTexts

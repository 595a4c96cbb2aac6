#pragma once

#include "ui/trash/TrashItemDetailView.h"

class QLabel;
class QPlainTextEdit;
class QStackedWidget;
class RichTextPreview;
class SnippetEntity;

// One trashed snippet: its title, when it was deleted, its abbreviation and category, and its
// text (rich snippets as they will paste).
class TrashSnippetDetailView : public TrashItemDetailView {
    Q_OBJECT

public:
    TrashSnippetDetailView(TrashViewModel* model, QWidget* parent = nullptr);

    void showSnippet(SnippetEntity* snippet);

private:
    QLabel* m_abbreviation;
    QLabel* m_categoryDot;
    QLabel* m_category;
    QStackedWidget* m_content;
    QPlainTextEdit* m_plain;
    RichTextPreview* m_rich;
};

#pragma once

#include <QFrame>

class QLineEdit;
class QListWidget;
class SnippetEditorModel;

// "Insert a macro": dates and times in the user's presets, the clipboard, the cursor, a fill-in
// field, a nested snippet and an AI prompt; each choice hands its token to insert.
class MacroPicker : public QFrame {
    Q_OBJECT

public:
    MacroPicker(const SnippetEditorModel* editor, QWidget* parent = nullptr);

    void openAt(const QPoint& at);

Q_SIGNALS:
    void insertRequested(const QString& token);

private:
    void choose(const QString& token);
    void updateSuggestions();

    const SnippetEditorModel* m_editor;
    QLineEdit* m_fillLabel;
    QLineEdit* m_nestAbbreviation;
    QListWidget* m_suggestions;
};

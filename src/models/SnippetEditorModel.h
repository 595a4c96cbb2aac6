#pragma once

#include "library/AbbreviationConflict.h"
#include "macros/MacroProcessor.h"
#include "models/EditorState.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QTextDocument>
#include <functional>

class CategoryEntity;
class PersistenceController;
class SnippetEntity;

// One snippet being edited: its title, abbreviation, category and text in a plain or a rich
// mode, each mode keeping its own text. Tells the main window through EditorState whether
// there is something to save, and saves it.
class SnippetEditorModel : public QObject {
    Q_OBJECT

public:
    enum class ContentMode { plain, rich };

    SnippetEditorModel(PersistenceController* store, EditorState* state,
                       std::function<QDateTime()> clock = {}, QObject* parent = nullptr);
    ~SnippetEditorModel() override;

    // Shows this snippet; nothing it does while loading counts as an edit.
    void load(SnippetEntity* snippet);
    SnippetEntity* snippet() const { return m_snippet; }

    QString title() const { return m_title; }
    void setTitle(const QString& title);
    QString abbreviation() const { return m_abbreviation; }
    void setAbbreviation(const QString& abbreviation);
    CategoryEntity* category() const { return m_category; }
    void setCategory(CategoryEntity* category);
    QString plainText() const { return m_plainText; }
    void setPlainText(const QString& text);
    // The rich mode's text; the rich text view edits it in place and calls richTextEdited().
    QTextDocument* richText() const { return m_richText.get(); }
    void richTextEdited();
    ContentMode mode() const { return m_mode; }
    void setMode(ContentMode mode);

    bool isDirty() const;
    // "Types "mre" → expands", or nothing for an empty abbreviation.
    QString abbreviationHint() const;
    AbbreviationConflict conflict() const;
    // What the preview shows: the current mode's text with today's values.
    QString previewText() const;
    // The picker's categories: every one, in order.
    QList<CategoryEntity*> categories() const;

    void save();

    // --- What the macro picker inserts ---
    static QString fillInToken(const QString& label); // "{fill:Value}" for an empty label
    static QString nestedSnippetToken(const QString& abbreviation);
    struct Suggestion {
        QString abbreviation;
        bool exact = false;
    };
    // Abbreviations containing the input (lower-cased, trimmed of spaces and tabs), in the
    // library's order, at most `limit`.
    QList<Suggestion> nestSuggestions(const QString& input, int limit = 8) const;

Q_SIGNALS:
    void loaded();
    void changed();           // any field; the views redraw hints and warnings
    void categoriesChanged(); // the library's categories may differ

private:
    void edited();

    PersistenceController* m_store;
    QPointer<EditorState> m_state; // the window's; it may go first
    std::function<QDateTime()> m_clock;
    SnippetEntity* m_snippet = nullptr;
    QString m_title;
    QString m_abbreviation;
    CategoryEntity* m_category = nullptr;
    QString m_plainText;
    std::unique_ptr<QTextDocument> m_richText;
    ContentMode m_mode = ContentMode::plain;
    bool m_loading = false;
    QList<SnippetEntity*> m_all; // the conflict check's order
};

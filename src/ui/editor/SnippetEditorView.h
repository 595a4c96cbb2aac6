#pragma once

#include <QWidget>
#include <optional>

class AIService;
class CategoryPicker;
class ConflictWarningRow;
class EditorState;
class LinkPanel;
class MacroPicker;
class PersistenceController;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;
class QTextBrowser;
class QTextEdit;
class QToolButton;
class SnippetEditorModel;
class SnippetEntity;

// The detail pane for one snippet: its fields, the text in plain or rich mode with a
// formatting bar, macros from a picker, a preview with today's values, Save and Delete.
class SnippetEditorView : public QWidget {
    Q_OBJECT

public:
    struct Dependencies {
        PersistenceController* store = nullptr;
        EditorState* state = nullptr;
        AIService* ai = nullptr;
    };

    explicit SnippetEditorView(Dependencies dependencies, QWidget* parent = nullptr);
    ~SnippetEditorView() override;

    // Loads the snippet unless it is the one already shown (its edits stay).
    void showSnippet(SnippetEntity* snippet);
    SnippetEditorModel* model() const { return m_model; }

    // Puts text at the caret of the current mode's view (replacing a selection);
    // `caretBeforeBrace` leaves the caret before the token's closing brace.
    void insertAtCaret(const QString& text, bool caretBeforeBrace = false);

Q_SIGNALS:
    void deleteConfirmed();
    void navigateTo(SnippetEntity* other);

private:
    QWidget* buildFormattingBar();
    void loadFromModel();
    void updateLooks();
    void setPreviewing(bool previewing);
    void aiButtonClicked();
    void openPromptPicker();
    void openLinkPanel();
    template <typename Operation> void formatSelection(Operation operation);

    Dependencies m_dependencies;
    SnippetEditorModel* m_model;
    QLineEdit* m_title;
    QLineEdit* m_abbreviation;
    QLabel* m_hint;
    ConflictWarningRow* m_conflict;
    CategoryPicker* m_category;
    QToolButton* m_plainMode;
    QToolButton* m_richMode;
    QToolButton* m_aiButton;
    QToolButton* m_macroButton;
    QPushButton* m_preview;
    QPushButton* m_save;
    QWidget* m_formattingBar;
    QStackedWidget* m_pages;
    QPlainTextEdit* m_plain;
    QTextEdit* m_rich;
    QTextBrowser* m_previewText;
    LinkPanel* m_linkPanel = nullptr;
    MacroPicker* m_macroPicker = nullptr;
    int m_linkStart = 0, m_linkEnd = 0;
    bool m_loading = false;
    QString m_checkedAbbreviation; // what the hint and warning were last made for
    const SnippetEntity* m_checkedFor = nullptr;
    std::optional<bool> m_saveLooksDirty;
};

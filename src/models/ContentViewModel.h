#pragma once

#include "models/LibraryTexts.h"
#include "models/SettingsSection.h"
#include "models/TrashSelection.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QUuid>
#include <functional>
#include <optional>

class CategoryEntity;
class EditorState;
class PersistenceController;
class QSettings;
class Scheduler;
class SidebarModel;
class SnippetEntity;
class SnippetListModel;

// The main window's state and rules: which place the sidebar shows, the snippet list with its
// search, the selection and what the detail column shows for it, the guard that keeps unsaved
// editor changes from being dropped, deleting and moving, and the one-time sync suggestion.
// The widgets only draw it and forward the user's actions.
class ContentViewModel : public QObject {
    Q_OBJECT

public:
    // What the detail column shows.
    enum class Detail {
        nothingSelected,   // "Select a snippet to edit"
        snippet,           // the one selected snippet
        bulkEdit,          // two or more selected
        trash,             // Recently Deleted's detail
        settingsPane,      // the selected settings pane
        noSettingsSection, // "Select a settings section"
    };
    // What the snippet list shows when it has no rows.
    enum class EmptyList { none, syncing, noSnippets, unavailable };
    enum class UnsavedChoice { save, discard, cancel };

    struct Dependencies {
        PersistenceController* store = nullptr;
        QSettings* settings = nullptr;
        Scheduler* scheduler = nullptr; // the sync suggestion's delay
        std::function<QDateTime()> clock;
    };

    static constexpr std::chrono::milliseconds syncSuggestionDelay{600};

    ContentViewModel(Dependencies dependencies, EditorState* editorState,
                     QObject* parent = nullptr);
    ~ContentViewModel() override;

    SidebarModel* sidebar() const { return m_sidebar; }
    SnippetListModel* snippetList() const { return m_list; }
    EditorState* editorState() const { return m_editorState; }

    // --- Places ---
    CategoryEntity* selectedCategory() const { return m_selectedCategory; }
    bool showingSettings() const { return m_showingSettings; }
    bool showingTrash() const { return m_showingTrash; }
    std::optional<SettingsSection> settingsSection() const { return m_settingsSection; }
    void showAllSnippets();
    void showCategory(CategoryEntity* category);
    void showRecentlyDeleted();
    // The sidebar's "Settings" button: opens on General, or closes.
    void toggleSettings();
    // Opens the settings on a pane whatever is shown (the tray menu, the sync suggestion).
    void openSettings(SettingsSection section);
    void selectSettingsSection(std::optional<SettingsSection> section);

    // --- The list ---
    QString searchText() const { return m_searchText; }
    void setSearchText(const QString& text);
    // Readies the search before its first key (the search field took the focus).
    void prepareSearch();
    EmptyList emptyList() const;
    // The live categories, in their order (pickers, the bulk panel).
    QList<CategoryEntity*> categories() const;

    // --- Selection ---
    const QList<QUuid>& listSelection() const { return m_listSelection; }
    QList<SnippetEntity*> selectedSnippets() const;
    // Changes the selection unless the editor holds unsaved changes: then the change waits for
    // the answer to the unsaved-changes question and this returns false.
    bool requestListSelection(const QList<QUuid>& ids);
    bool unsavedChangesPending() const { return bool(m_pending); }
    void answerUnsavedChanges(UnsavedChoice choice);
    // After a sheet created a snippet, or its "Go to snippet →": exactly that one, in the
    // library, settings closed.
    void revealSnippet(SnippetEntity* snippet);
    Detail detail() const;

    // --- Deleting and moving ---
    LibraryTexts::Question deleteSelectionQuestion() const;
    void deleteSelection();
    LibraryTexts::Question deleteCategoryQuestion(const CategoryEntity& category) const;
    void deleteCategory(CategoryEntity* category);
    // Moves the selection into a category (none: out of any), saved once.
    void moveSelection(CategoryEntity* category);

    // --- Recently Deleted ---
    // The selected trashed records, in the list's order; emptied whenever the trash is left.
    const QList<TrashSelection>& trashSelection() const { return m_trashSelection; }
    void setTrashSelection(QList<TrashSelection> selection);

Q_SIGNALS:
    void placeChanged();      // category, settings, trash or settings section
    void listChanged();       // the rows or the empty state
    void selectionChanged();  // listSelection and the detail
    void categoriesChanged(); // names, colours, counts or order
    void unsavedChangesQuestionRequested();
    void syncSuggestionRequested();
    void trashSelectionChanged();

private:
    void refresh();
    void rebuildList(); // the place's snippets, then the search
    void applySearch();
    void applySelection(QList<QUuid> ids);
    bool guard(std::function<void()> action);
    void setPlace(CategoryEntity* category, bool settings, bool trash);

    Dependencies m_dependencies;
    EditorState* m_editorState;
    SidebarModel* m_sidebar;
    SnippetListModel* m_list;

    CategoryEntity* m_selectedCategory = nullptr;
    bool m_showingSettings = false;
    bool m_showingTrash = false;
    std::optional<SettingsSection> m_settingsSection;
    QString m_searchText;
    QList<QUuid> m_listSelection;
    QList<TrashSelection> m_trashSelection;
    std::function<void()> m_pending;

    QHash<QUuid, SnippetEntity*> m_liveById;
    QList<SnippetEntity*> m_baseList; // the place's snippets before the search
    QList<QString> m_searchable;      // their title, abbreviation and text, lower-cased
    qsizetype m_liveCount = -1;
};

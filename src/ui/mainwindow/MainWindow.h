#pragma once

#include "models/SettingsSection.h"

#include <QMainWindow>

class BulkEditPanel;
class CategoryEntity;
class ContentViewModel;
class EditorState;
class PersistenceController;
class QLineEdit;
class QListView;
class QListWidget;
class QPushButton;
class QSettings;
class QStackedWidget;
class QTimer;
class Scheduler;
class SettingsContentView;
struct SettingsServices;
class SidebarDelegate;
class SnippetEditorView;
class AIService;
class SnippetEntity;
class TrashViewModel;
class EmptyState;
class QLabel;

// The library's window: places on the left, the snippet list (or the settings sections, or
// Recently Deleted) in the middle, and what is selected on the right. It draws a
// ContentViewModel and forwards the user's actions to it.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    struct Dependencies {
        PersistenceController* store = nullptr;
        QSettings* settings = nullptr;
        Scheduler* scheduler = nullptr;
        AIService* ai = nullptr; // the editor's AI button; none: no picker
        const SettingsServices* settingsServices = nullptr; // the settings panes' services
    };

    explicit MainWindow(Dependencies dependencies, QWidget* parent = nullptr);
    ~MainWindow() override;

    ContentViewModel* model() const { return m_model; }
    EditorState* editorState() const { return m_editorState; }

    void openNewSnippetSheet();
    void openCategorySheet(CategoryEntity* editing);
    void openSettings(SettingsSection section);

Q_SIGNALS:
    void closed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* buildSidebar();
    QWidget* buildMiddle();
    QWidget* buildDetail();
    void buildToolbar();
    void syncPlace();
    void syncList();
    void syncSelectionToView();
    void syncDetail();
    void userSelectedRows();
    void userActivatedSidebarRow(int row);
    void askDeleteSelection();
    void askDeleteCategory(CategoryEntity* category);
    void askUnsavedChanges();
    void showSyncSuggestion();

    Dependencies m_dependencies;
    EditorState* m_editorState;
    ContentViewModel* m_model;
    bool m_syncing = false; // the view is being set from the model

    QListView* m_sidebar = nullptr;
    SidebarDelegate* m_sidebarDelegate = nullptr;
    QLineEdit* m_search = nullptr;
    QStackedWidget* m_middle = nullptr;
    QStackedWidget* m_listStack = nullptr;
    QListView* m_list = nullptr;
    QListWidget* m_settingsList = nullptr;
    QStackedWidget* m_detail = nullptr;
    SnippetEditorView* m_editor = nullptr;
    BulkEditPanel* m_bulk = nullptr;
    SettingsContentView* m_settingsContent = nullptr;
    QPushButton* m_settingsButton = nullptr;
    QTimer* m_relativeTimes = nullptr;
    EmptyState* m_unavailable = nullptr;
    TrashViewModel* m_trash = nullptr;
};

#include "ui/mainwindow/MainWindow.h"

#include "library/CategoryEntity.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "models/ContentViewModel.h"
#include "models/EditorState.h"
#include "models/SidebarModel.h"
#include "models/SnippetListModel.h"
#include "models/TrashViewModel.h"
#include "ui/editor/SnippetEditorView.h"
#include "ui/mainwindow/BulkEditPanel.h"
#include "ui/mainwindow/SidebarDelegate.h"
#include "ui/mainwindow/SnippetRowDelegate.h"
#include "ui/onboarding/SyncOnboardingView.h"
#include "ui/settings/SettingsContentView.h"
#include "ui/sheets/CategoryEditorSheet.h"
#include "ui/sheets/NewSnippetSheet.h"
#include "ui/trash/TrashDetailView.h"
#include "ui/trash/TrashListView.h"
#include "ui/widgets/EmptyState.h"
#include "ui/widgets/Icons.h"
#include "ui/widgets/Questions.h"

#include <QAction>
#include <QCloseEvent>
#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

using Detail = ContentViewModel::Detail;
using Kind = SidebarModel::Kind;

namespace {

// The detail column's pages, in the order they are added.
enum DetailPage { nothingPage, snippetPage, bulkPage, trashPage, panePage, noSectionPage };
enum MiddlePage { listPage, trashListPage, settingsPage };
enum ListPage { rowsPage, emptyPage, syncingPage, unavailablePage };

} // namespace

MainWindow::MainWindow(Dependencies dependencies, QWidget* parent)
    : QMainWindow(parent), m_dependencies(dependencies), m_editorState(new EditorState(this)),
      m_model(new ContentViewModel(
          {dependencies.store, dependencies.settings, dependencies.scheduler, {}}, m_editorState,
          this))
{
    setObjectName(QStringLiteral("mainWindow"));
    setWindowTitle(QStringLiteral("ScrivLane"));
    setAccessibleName(QStringLiteral("ScrivLane"));
    resize(1040, 660);

    buildToolbar();
    auto* splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(buildSidebar());
    splitter->addWidget(buildMiddle());
    splitter->addWidget(buildDetail());
    splitter->setStretchFactor(0, 0);
    splitter->setStretchFactor(1, 1);
    splitter->setStretchFactor(2, 2);
    splitter->setSizes({210, 330, 500});
    setCentralWidget(splitter);

    auto* settingsKey = new QShortcut(QKeySequence(QStringLiteral("Ctrl+,")), this);
    connect(settingsKey, &QShortcut::activated, m_model, &ContentViewModel::toggleSettings);

    m_relativeTimes = new QTimer(this);
    m_relativeTimes->setInterval(std::chrono::minutes(1));
    connect(m_relativeTimes, &QTimer::timeout, this,
            [this] { m_model->snippetList()->refreshRelativeTimes(); });

    connect(m_model, &ContentViewModel::placeChanged, this, &MainWindow::syncPlace);
    connect(m_model, &ContentViewModel::listChanged, this, &MainWindow::syncList);
    connect(m_model, &ContentViewModel::selectionChanged, this, [this] {
        syncSelectionToView();
        syncDetail();
    });
    connect(m_model, &ContentViewModel::categoriesChanged, this, &MainWindow::syncPlace);
    connect(m_model, &ContentViewModel::unsavedChangesQuestionRequested, this,
            &MainWindow::askUnsavedChanges);
    connect(m_model, &ContentViewModel::syncSuggestionRequested, this,
            &MainWindow::showSyncSuggestion);
    syncPlace();
    syncList();
    syncDetail();
    // The list first: a focused search field would blink its caret while the window idles.
    m_list->setFocus();
    setTabOrder(m_search, m_sidebar);
}

MainWindow::~MainWindow() = default;

void MainWindow::buildToolbar()
{
    auto* toolbar = addToolBar(tr("Library"));
    toolbar->setObjectName(QStringLiteral("libraryToolbar"));
    toolbar->setMovable(false);
    toolbar->setFloatable(false);
    toolbar->toggleViewAction()->setEnabled(false);
    toolbar->setIconSize(QSize(16, 16));
    auto* newSnippet =
        toolbar->addAction(Icons::named(QStringLiteral("list-add")), tr("New Snippet"));
    newSnippet->setShortcut(QKeySequence::New);
    newSnippet->setToolTip(tr("New Snippet (Ctrl+N)"));
    connect(newSnippet, &QAction::triggered, this, &MainWindow::openNewSnippetSheet);
    auto* spacer = new QWidget(toolbar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(spacer);
    m_search = new QLineEdit(toolbar);
    m_search->setPlaceholderText(tr("Search snippets"));
    m_search->setAccessibleName(tr("Search snippets"));
    m_search->setAccessibleDescription(
        tr("Shows the snippets whose title, abbreviation or text contain this"));
    m_search->setClearButtonEnabled(true);
    m_search->addAction(Icons::named(QStringLiteral("edit-find")), QLineEdit::LeadingPosition);
    m_search->setMaximumWidth(260);
    toolbar->addWidget(m_search);
    auto* find = new QShortcut(QKeySequence::Find, this);
    connect(find, &QShortcut::activated, this, [this] {
        m_search->setFocus(Qt::ShortcutFocusReason);
        m_search->selectAll();
    });
    connect(m_search, &QLineEdit::textChanged, m_model, &ContentViewModel::setSearchText);
    m_search->installEventFilter(this);
}

QWidget* MainWindow::buildSidebar()
{
    auto* panel = new QWidget(this);
    panel->setObjectName(QStringLiteral("sidebar"));
    auto* layout = new QVBoxLayout(panel);
    layout->setContentsMargins(0, 6, 0, 6);
    m_sidebar = new QListView(panel);
    m_sidebar->setAccessibleName(tr("Library"));
    m_sidebar->setFrameShape(QFrame::NoFrame);
    m_sidebar->setModel(m_model->sidebar());
    m_sidebarDelegate = new SidebarDelegate(m_sidebar);
    m_sidebar->setItemDelegate(m_sidebarDelegate);
    m_sidebar->setSelectionMode(QAbstractItemView::SingleSelection);
    m_sidebar->setContextMenuPolicy(Qt::CustomContextMenu);
    m_sidebar->viewport()->setAutoFillBackground(false);
    layout->addWidget(m_sidebar, 1);
    connect(m_sidebar->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& current) {
                if (!m_syncing && current.isValid())
                    userActivatedSidebarRow(current.row());
            });
    connect(m_sidebar, &QListView::clicked, this,
            [this](const QModelIndex& index) { userActivatedSidebarRow(index.row()); });
    connect(m_sidebar, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        CategoryEntity* category = m_model->sidebar()->categoryAt(m_sidebar->indexAt(at).row());
        if (!category)
            return;
        QMenu menu(this);
        menu.addAction(tr("Edit Category"), this,
                       [this, category] { openCategorySheet(category); });
        menu.addSeparator();
        menu.addAction(Icons::named(QStringLiteral("user-trash")), tr("Delete Category"), this,
                       [this, category] { askDeleteCategory(category); });
        menu.exec(m_sidebar->viewport()->mapToGlobal(at));
    });
    // The context menu's actions from the keyboard, on the current category row.
    auto* deleteCategory =
        new QShortcut(QKeySequence::Delete, m_sidebar, nullptr, nullptr, Qt::WidgetShortcut);
    connect(deleteCategory, &QShortcut::activated, this, [this] {
        if (CategoryEntity* c = m_model->sidebar()->categoryAt(m_sidebar->currentIndex().row()))
            askDeleteCategory(c);
    });

    auto* line = new QFrame(panel);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    layout->addWidget(line);
    auto* newCategory =
        new QPushButton(Icons::named(QStringLiteral("list-add")), tr("New Category"), panel);
    newCategory->setFlat(true);
    newCategory->setAccessibleDescription(tr("Creates a category"));
    m_settingsButton =
        new QPushButton(Icons::named(QStringLiteral("preferences-system")), tr("Settings"), panel);
    m_settingsButton->setFlat(true);
    m_settingsButton->setCheckable(true);
    m_settingsButton->setAccessibleDescription(tr("Shows the settings (Ctrl+,)"));
    for (QPushButton* button : {newCategory, m_settingsButton}) {
        button->setStyleSheet(QStringLiteral("text-align: left; padding: 4px 12px;"));
        layout->addWidget(button);
    }
    connect(newCategory, &QPushButton::clicked, this, [this] { openCategorySheet(nullptr); });
    // Toggled, not clicked: assistive technologies toggle checkable buttons.
    connect(m_settingsButton, &QPushButton::toggled, this, [this](bool on) {
        if (m_syncing || on == m_model->showingSettings())
            return;
        m_model->toggleSettings();
        syncPlace(); // a guarded toggle leaves the button as the model says
    });
    return panel;
}

QWidget* MainWindow::buildMiddle()
{
    m_middle = new QStackedWidget(this);
    m_middle->setObjectName(QStringLiteral("middleColumn"));

    m_listStack = new QStackedWidget(m_middle);
    m_list = new QListView(m_listStack);
    m_list->setObjectName(QStringLiteral("snippetList"));
    m_list->setAccessibleName(tr("Snippets"));
    m_list->setModel(m_model->snippetList());
    m_list->setItemDelegate(new SnippetRowDelegate(m_list));
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->setUniformItemSizes(true);
    m_list->setFrameShape(QFrame::NoFrame);
    m_listStack->addWidget(m_list);
    auto* empty = new EmptyState(QStringLiteral("document-new"), tr("No Snippets"), QString(),
                                 tr("Create Snippet"), m_listStack);
    connect(empty, &EmptyState::buttonClicked, this, &MainWindow::openNewSnippetSheet);
    m_listStack->addWidget(empty);
    auto* syncing = new QWidget(m_listStack);
    auto* syncingLayout = new QVBoxLayout(syncing);
    syncingLayout->addStretch(1);
    auto* spinner = new QProgressBar(syncing);
    spinner->setRange(0, 0);
    spinner->setMaximumWidth(160);
    spinner->setTextVisible(false);
    syncingLayout->addWidget(spinner, 0, Qt::AlignHCenter);
    auto* syncingText = new QLabel(tr("Your snippets are on their way."), syncing);
    syncingText->setAlignment(Qt::AlignCenter);
    syncingLayout->addWidget(syncingText);
    syncingLayout->addStretch(1);
    m_listStack->addWidget(syncing);
    m_unavailable =
        new EmptyState(QStringLiteral("dialog-warning"), tr("The library cannot be opened"),
                       QString(), QString(), m_listStack);
    m_listStack->addWidget(m_unavailable);
    m_middle->addWidget(m_listStack);

    m_trash = new TrashViewModel({m_dependencies.store, m_model, {}}, this);
    m_middle->addWidget(new TrashListView(m_trash, m_middle));

    auto* settings = new QWidget(m_middle);
    auto* settingsLayout = new QVBoxLayout(settings);
    auto* heading = new QLabel(tr("Settings"), settings);
    QFont font = heading->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.2);
    heading->setFont(font);
    settingsLayout->addWidget(heading);
    m_settingsList = new QListWidget(settings);
    m_settingsList->setAccessibleName(tr("Settings sections"));
    m_settingsList->setFrameShape(QFrame::NoFrame);
    static const char* const symbols[] = {"preferences-system", "audio-volume-high",
                                          "emblem-synchronizing", "security-high",
                                          "scrivlane-sparkles"};
    int i = 0;
    for (SettingsSection section : SettingsSections::all())
        m_settingsList->addItem(new QListWidgetItem(Icons::named(QString::fromLatin1(symbols[i++])),
                                                    SettingsSections::title(section)));
    settingsLayout->addWidget(m_settingsList, 1);
    connect(m_settingsList, &QListWidget::currentRowChanged, this, [this](int row) {
        if (!m_syncing && row >= 0)
            m_model->selectSettingsSection(SettingsSections::all().value(row));
    });
    m_middle->addWidget(settings);

    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &MainWindow::userSelectedRows);
    auto* remove =
        new QShortcut(QKeySequence::Delete, m_list, nullptr, nullptr, Qt::WidgetShortcut);
    connect(remove, &QShortcut::activated, this, &MainWindow::askDeleteSelection);
    return m_middle;
}

QWidget* MainWindow::buildDetail()
{
    m_detail = new QStackedWidget(this);
    m_detail->setObjectName(QStringLiteral("detailColumn"));
    auto* nothing = new EmptyState(QStringLiteral("insert-text"), tr("Select a snippet to edit"),
                                   QString(), tr("New Snippet"), m_detail);
    connect(nothing, &EmptyState::buttonClicked, this, &MainWindow::openNewSnippetSheet);
    m_detail->addWidget(nothing);
    m_editor =
        new SnippetEditorView({m_dependencies.store, m_editorState, m_dependencies.ai}, m_detail);
    connect(m_editor, &SnippetEditorView::deleteConfirmed, m_model,
            &ContentViewModel::deleteSelection);
    connect(m_editor, &SnippetEditorView::navigateTo, m_model, &ContentViewModel::revealSnippet);
    m_detail->addWidget(m_editor);
    m_bulk = new BulkEditPanel(m_model, m_detail);
    m_detail->addWidget(m_bulk);
    m_detail->addWidget(new TrashDetailView(m_trash, m_detail));
    SettingsServices services =
        m_dependencies.settingsServices ? *m_dependencies.settingsServices : SettingsServices{};
    services.settings = m_dependencies.settings;
    services.store = m_dependencies.store;
    services.scheduler = m_dependencies.scheduler;
    m_settingsContent = new SettingsContentView(services, m_detail);
    m_detail->addWidget(m_settingsContent);
    m_detail->addWidget(new EmptyState(QStringLiteral("preferences-system"),
                                       tr("Select a settings section"), QString(), QString(),
                                       m_detail));
    return m_detail;
}

// --- From the model to the view ---

void MainWindow::syncPlace()
{
    m_syncing = true;
    SidebarModel* sidebar = m_model->sidebar();
    int row = -1;
    if (m_model->showingTrash())
        row = sidebar->recentlyDeletedRow();
    else if (!m_model->showingSettings())
        row = m_model->selectedCategory() ? sidebar->rowOfCategory(m_model->selectedCategory())
                                          : sidebar->allSnippetsRow();
    if (row >= 0)
        m_sidebar->setCurrentIndex(sidebar->index(row));
    else
        m_sidebar->clearSelection();
    m_sidebarDelegate->setTrashShown(m_model->showingTrash());
    m_sidebar->viewport()->update();
    m_settingsButton->setChecked(m_model->showingSettings());
    m_middle->setCurrentIndex(m_model->showingSettings() ? settingsPage
                              : m_model->showingTrash()  ? trashListPage
                                                         : listPage);
    m_search->setEnabled(!m_model->showingSettings() && !m_model->showingTrash());
    const auto section = m_model->settingsSection();
    m_settingsList->setCurrentRow(section ? int(SettingsSections::all().indexOf(*section)) : -1);
    m_syncing = false;
    syncDetail();
}

void MainWindow::syncList()
{
    switch (m_model->emptyList()) {
    case ContentViewModel::EmptyList::none:
        m_listStack->setCurrentIndex(rowsPage);
        break;
    case ContentViewModel::EmptyList::noSnippets:
        m_listStack->setCurrentIndex(emptyPage);
        break;
    case ContentViewModel::EmptyList::syncing:
        m_listStack->setCurrentIndex(syncingPage);
        break;
    case ContentViewModel::EmptyList::unavailable:
        m_unavailable->setDetail(tr("%1 ScrivLane tries again every few seconds.")
                                     .arg(m_dependencies.store->syncError()));
        m_listStack->setCurrentIndex(unavailablePage);
        break;
    }
    syncSelectionToView();
}

void MainWindow::syncSelectionToView()
{
    m_syncing = true;
    QItemSelection selection;
    SnippetListModel* list = m_model->snippetList();
    int current = -1;
    for (const QUuid& id : m_model->listSelection()) {
        const int row = list->rowOf(id);
        if (row < 0)
            continue;
        selection.select(list->index(row), list->index(row));
        if (current < 0)
            current = row;
    }
    QItemSelectionModel* model = m_list->selectionModel();
    model->select(selection, QItemSelectionModel::ClearAndSelect);
    if (current >= 0 && !selection.contains(model->currentIndex()))
        model->setCurrentIndex(list->index(current), QItemSelectionModel::NoUpdate);
    m_syncing = false;
}

void MainWindow::syncDetail()
{
    const Detail detail = m_model->detail();
    switch (detail) {
    case Detail::nothingSelected:
        m_detail->setCurrentIndex(nothingPage);
        break;
    case Detail::snippet:
        m_editor->showSnippet(m_model->selectedSnippets().value(0));
        m_detail->setCurrentIndex(snippetPage);
        break;
    case Detail::bulkEdit:
        m_bulk->refresh();
        m_detail->setCurrentIndex(bulkPage);
        break;
    case Detail::trash:
        m_detail->setCurrentIndex(trashPage);
        break;
    case Detail::settingsPane:
        m_settingsContent->showSection(*m_model->settingsSection());
        m_detail->setCurrentIndex(panePage);
        break;
    case Detail::noSettingsSection:
        m_detail->setCurrentIndex(noSectionPage);
        break;
    }
}

// --- From the user to the model ---

void MainWindow::userSelectedRows()
{
    if (m_syncing)
        return;
    QList<QUuid> ids;
    const QModelIndexList rows = m_list->selectionModel()->selectedRows();
    QList<int> ordered;
    for (const QModelIndex& index : rows)
        ordered.append(index.row());
    std::sort(ordered.begin(), ordered.end());
    for (int row : ordered) {
        if (SnippetEntity* s = m_model->snippetList()->snippetAt(row); s && s->id())
            ids.append(*s->id());
    }
    // Held back by unsaved changes: the list shows the old selection until they are settled.
    if (!m_model->requestListSelection(ids))
        syncSelectionToView();
}

void MainWindow::userActivatedSidebarRow(int row)
{
    switch (m_model->sidebar()->kindAt(row)) {
    case Kind::allSnippets:
        m_model->showAllSnippets();
        break;
    case Kind::category:
        m_model->showCategory(m_model->sidebar()->categoryAt(row));
        break;
    case Kind::recentlyDeleted:
        m_model->showRecentlyDeleted();
        break;
    case Kind::categoriesHeading:
        break;
    }
    syncPlace();
}

void MainWindow::openNewSnippetSheet()
{
    // Asked again (the desktop action twice, say): the sheet already open is the one.
    if (auto* open = findChild<NewSnippetSheet*>(); open && open->isVisible()) {
        open->raise();
        open->activateWindow();
        return;
    }
    auto* sheet = new NewSnippetSheet(m_dependencies.store, m_model->selectedCategory(), this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    connect(sheet, &NewSnippetSheet::created, m_model, &ContentViewModel::revealSnippet);
    connect(sheet, &NewSnippetSheet::navigateTo, m_model, &ContentViewModel::revealSnippet);
    sheet->open();
}

void MainWindow::openCategorySheet(CategoryEntity* editing)
{
    auto* sheet = new CategoryEditorSheet(m_dependencies.store, editing, this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->open();
}

void MainWindow::openSettings(SettingsSection section)
{
    m_model->openSettings(section);
}

void MainWindow::askDeleteSelection()
{
    if (m_model->listSelection().isEmpty())
        return;
    Questions::askDestructive(this, m_model->deleteSelectionQuestion(),
                              [this] { m_model->deleteSelection(); });
}

void MainWindow::askDeleteCategory(CategoryEntity* category)
{
    Questions::askDestructive(this, m_model->deleteCategoryQuestion(*category), [this, category] {
        // Still there when the answer comes?
        if (m_dependencies.store->contains(category))
            m_model->deleteCategory(category);
    });
}

void MainWindow::askUnsavedChanges()
{
    auto* box = new QMessageBox(this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->setIcon(QMessageBox::Question);
    box->setWindowTitle(tr("Unsaved Changes"));
    box->setText(tr("Unsaved Changes"));
    box->setInformativeText(tr("You have unsaved changes to this snippet. Save before leaving?"));
    QPushButton* save = box->addButton(tr("Save"), QMessageBox::AcceptRole);
    QPushButton* discard = box->addButton(tr("Discard Changes"), QMessageBox::DestructiveRole);
    QPushButton* cancel = box->addButton(QMessageBox::Cancel);
    box->setDefaultButton(save);
    box->setEscapeButton(cancel);
    connect(box, &QMessageBox::finished, this, [this, box, save, discard] {
        using Choice = ContentViewModel::UnsavedChoice;
        const QAbstractButton* clicked = box->clickedButton();
        m_model->answerUnsavedChanges(clicked == save      ? Choice::save
                                      : clicked == discard ? Choice::discard
                                                           : Choice::cancel);
        syncPlace();
    });
    box->open();
}

void MainWindow::showSyncSuggestion()
{
    auto* view = new SyncOnboardingView(this);
    view->setAttribute(Qt::WA_DeleteOnClose);
    PersistenceController* store = m_dependencies.store;
    connect(view, &SyncOnboardingView::enableSyncChosen, this, [view, store] {
        view->close();
        // Hidden first, then the relaunch.
        QTimer::singleShot(400, store, [store] { store->enableSyncAndRelaunch(); });
    });
    connect(view, &SyncOnboardingView::backupSettingsChosen, this, [this, view] {
        view->close();
        openSettings(SettingsSection::backupSync);
    });
    view->open();
}

// --- Window life ---

bool MainWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_search && event->type() == QEvent::FocusIn)
        m_model->prepareSearch();
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    m_model->snippetList()->refreshRelativeTimes();
    m_relativeTimes->start();
}

void MainWindow::hideEvent(QHideEvent* event)
{
    m_relativeTimes->stop();
    QMainWindow::hideEvent(event);
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    QMainWindow::closeEvent(event);
    if (event->isAccepted())
        Q_EMIT closed();
}

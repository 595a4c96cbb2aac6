#include "models/ContentViewModel.h"

#include "common/Preferences.h"
#include "library/CategoryEntity.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "models/EditorState.h"
#include "models/SidebarModel.h"
#include "models/SnippetListModel.h"
#include "platform/api/Scheduler.h"

#include <QSettings>

ContentViewModel::ContentViewModel(Dependencies dependencies, EditorState* editorState,
                                   QObject* parent)
    : QObject(parent), m_dependencies(std::move(dependencies)), m_editorState(editorState),
      m_sidebar(new SidebarModel(this)),
      m_list(new SnippetListModel(m_dependencies.clock ? m_dependencies.clock
                                                       : std::function<QDateTime()>([] {
                                                             return QDateTime::currentDateTimeUtc();
                                                         }),
                                  this))
{
    if (!m_dependencies.clock)
        m_dependencies.clock = [] { return QDateTime::currentDateTimeUtc(); };
    PersistenceController* store = m_dependencies.store;
    connect(store, &PersistenceController::didSave, this, &ContentViewModel::refresh);
    connect(store, &PersistenceController::remoteStoreChanged, this, &ContentViewModel::refresh);
    connect(store, &PersistenceController::isSyncingChanged, this, &ContentViewModel::listChanged);
    connect(store, &PersistenceController::availableChanged, this, &ContentViewModel::refresh);
    refresh();
}

ContentViewModel::~ContentViewModel() = default;

// --- Places ---

void ContentViewModel::setPlace(CategoryEntity* category, bool settings, bool trash)
{
    const bool categoryChanged = category != m_selectedCategory;
    if (!categoryChanged && settings == m_showingSettings && trash == m_showingTrash)
        return;
    m_selectedCategory = category;
    m_showingSettings = settings;
    m_showingTrash = trash;
    if (!trash)
        setTrashSelection({});
    if (categoryChanged)
        rebuildList();
    Q_EMIT placeChanged();
    Q_EMIT selectionChanged(); // the detail follows the place
}

void ContentViewModel::showAllSnippets()
{
    setPlace(nullptr, false, false);
}

void ContentViewModel::showCategory(CategoryEntity* category)
{
    setPlace(category, false, false);
}

void ContentViewModel::showRecentlyDeleted()
{
    // Leaving the list empties its selection, which an unsaved editor must not lose silently.
    guard([this] {
        applySelection({});
        setPlace(nullptr, false, true);
    });
}

void ContentViewModel::toggleSettings()
{
    if (m_showingSettings) {
        setPlace(m_selectedCategory, false, m_showingTrash);
        return;
    }
    const auto open = [this] { openSettings(SettingsSection::general); };
    if (!m_listSelection.isEmpty())
        guard(open);
    else
        open();
}

void ContentViewModel::openSettings(SettingsSection section)
{
    m_settingsSection = section;
    if (m_showingSettings) {
        Q_EMIT placeChanged();
        Q_EMIT selectionChanged();
        return;
    }
    setPlace(m_selectedCategory, true, false);
}

void ContentViewModel::selectSettingsSection(std::optional<SettingsSection> section)
{
    if (m_settingsSection == section)
        return;
    m_settingsSection = section;
    Q_EMIT placeChanged();
    Q_EMIT selectionChanged();
}

// --- The list ---

QList<CategoryEntity*> ContentViewModel::categories() const
{
    return m_dependencies.store->fetchCategories(
        PersistenceController::Filter::live,
        PersistenceController::CategoryOrder::sortOrderAscending);
}

void ContentViewModel::setSearchText(const QString& text)
{
    if (text == m_searchText)
        return;
    m_searchText = text;
    applySearch();
}

ContentViewModel::EmptyList ContentViewModel::emptyList() const
{
    // A library that cannot be opened says why, rather than looking empty.
    if (!m_dependencies.store->isAvailable())
        return EmptyList::unavailable;
    if (m_list->rowCount() > 0)
        return EmptyList::none;
    return m_dependencies.store->isSyncing() ? EmptyList::syncing : EmptyList::noSnippets;
}

void ContentViewModel::refresh()
{
    PersistenceController* store = m_dependencies.store;
    const QList<SnippetEntity*> live = store->fetchActiveSnippets();
    m_liveById.clear();
    m_liveById.reserve(live.size());
    for (SnippetEntity* s : live) {
        if (s->id())
            m_liveById.insert(*s->id(), s);
    }
    // A category trashed or deleted elsewhere takes the list back to All Snippets.
    if (m_selectedCategory &&
        (!store->contains(m_selectedCategory) || m_selectedCategory->isTrashed())) {
        m_selectedCategory = nullptr;
        Q_EMIT placeChanged();
    }
    m_sidebar->setCategories(categories());
    Q_EMIT categoriesChanged();
    rebuildList();

    QList<QUuid> kept = m_listSelection;
    kept.removeIf([this](const QUuid& id) { return !m_liveById.contains(id); });
    if (kept != m_listSelection) {
        m_listSelection = kept;
        Q_EMIT selectionChanged();
    }

    // The first snippet of a library is the moment to suggest keeping it safe, once.
    const qsizetype count = live.size();
    const bool changed = m_liveCount >= 0 && count != m_liveCount;
    m_liveCount = count;
    QSettings* settings = m_dependencies.settings;
    if (changed && count == 1 && settings &&
        !Preferences::flag(*settings, Preferences::hasShownSyncPrompt) &&
        !Preferences::flag(*settings, Preferences::iCloudSyncEnabled)) {
        Preferences::write(*settings, Preferences::hasShownSyncPrompt, true);
        m_dependencies.scheduler->schedule(syncSuggestionDelay, this,
                                           [this] { Q_EMIT syncSuggestionRequested(); });
    }
}

void ContentViewModel::rebuildList()
{
    if (m_selectedCategory) {
        m_baseList = m_selectedCategory->activeSnippets();
    } else {
        m_baseList = m_dependencies.store->fetchSnippets(
            PersistenceController::Filter::live,
            PersistenceController::SnippetOrder::updatedAtDescending);
    }
    m_searchable.clear();
    applySearch();
}

void ContentViewModel::prepareSearch()
{
    // Lower-cased once per list, so each keystroke of a search is only substring tests.
    if (!m_searchable.isEmpty() || m_baseList.isEmpty())
        return;
    m_searchable.reserve(m_baseList.size() * 3);
    for (const SnippetEntity* s : std::as_const(m_baseList)) {
        m_searchable << s->title().value_or(QString()).toLower()
                     << s->abbreviation().value_or(QString()).toLower()
                     << s->expandedText().value_or(QString()).toLower();
    }
}

void ContentViewModel::applySearch()
{
    if (m_searchText.isEmpty()) {
        m_list->setSnippets(m_baseList);
        Q_EMIT listChanged();
        return;
    }
    prepareSearch();
    const QString needle = m_searchText.toLower();
    QList<SnippetEntity*> found;
    for (qsizetype i = 0; i < m_baseList.size(); ++i) {
        if (m_searchable.at(3 * i).contains(needle) ||
            m_searchable.at(3 * i + 1).contains(needle) ||
            m_searchable.at(3 * i + 2).contains(needle))
            found.append(m_baseList.at(i));
    }
    m_list->setSnippets(found);
    Q_EMIT listChanged();
}

// --- Selection ---

QList<SnippetEntity*> ContentViewModel::selectedSnippets() const
{
    QList<SnippetEntity*> out;
    for (const QUuid& id : m_listSelection) {
        if (SnippetEntity* s = m_liveById.value(id))
            out.append(s);
    }
    return out;
}

bool ContentViewModel::guard(std::function<void()> action)
{
    if (m_editorState && m_editorState->isDirty()) {
        m_pending = std::move(action);
        Q_EMIT unsavedChangesQuestionRequested();
        return false;
    }
    action();
    return true;
}

bool ContentViewModel::requestListSelection(const QList<QUuid>& ids)
{
    if (ids == m_listSelection)
        return true;
    return guard([this, ids] { applySelection(ids); });
}

void ContentViewModel::answerUnsavedChanges(UnsavedChoice choice)
{
    std::function<void()> pending = std::exchange(m_pending, {});
    switch (choice) {
    case UnsavedChoice::save:
        if (m_editorState && m_editorState->saveAction)
            m_editorState->saveAction();
        break;
    case UnsavedChoice::discard:
        if (m_editorState)
            m_editorState->setDirty(false);
        break;
    case UnsavedChoice::cancel:
        // The selection stays; the views put it back as it was.
        Q_EMIT selectionChanged();
        return;
    }
    if (pending)
        pending();
}

void ContentViewModel::applySelection(QList<QUuid> ids)
{
    ids.removeIf([this](const QUuid& id) { return !m_liveById.contains(id); });
    if (ids == m_listSelection)
        return;
    m_listSelection = std::move(ids);
    Q_EMIT selectionChanged();
}

void ContentViewModel::revealSnippet(SnippetEntity* snippet)
{
    if (!snippet || !snippet->id())
        return;
    const QUuid id = *snippet->id();
    guard([this, id] {
        if (!m_liveById.contains(id))
            refresh();
        setPlace(m_selectedCategory, false, false);
        applySelection({id});
    });
}

ContentViewModel::Detail ContentViewModel::detail() const
{
    if (m_showingSettings)
        return m_settingsSection ? Detail::settingsPane : Detail::noSettingsSection;
    if (m_showingTrash)
        return Detail::trash;
    switch (selectedSnippets().size()) {
    case 0:
        return Detail::nothingSelected;
    case 1:
        return Detail::snippet;
    default:
        return Detail::bulkEdit;
    }
}

// --- Deleting and moving ---

LibraryTexts::Question ContentViewModel::deleteSelectionQuestion() const
{
    const QList<SnippetEntity*> selected = selectedSnippets();
    return LibraryTexts::deleteSnippets(m_listSelection.size(),
                                        selected.size() == 1 ? selected.first() : nullptr);
}

void ContentViewModel::deleteSelection()
{
    const QList<SnippetEntity*> selected = selectedSnippets();
    if (m_editorState)
        m_editorState->setDirty(false); // the snippet being edited goes too
    m_listSelection.clear();
    Q_EMIT selectionChanged();
    if (!selected.isEmpty())
        m_dependencies.store->trashSnippets(selected);
}

LibraryTexts::Question
ContentViewModel::deleteCategoryQuestion(const CategoryEntity& category) const
{
    return LibraryTexts::deleteCategory(category);
}

void ContentViewModel::deleteCategory(CategoryEntity* category)
{
    if (!category)
        return;
    if (category == m_selectedCategory)
        setPlace(nullptr, m_showingSettings, m_showingTrash);
    m_dependencies.store->trashCategory(category);
}

void ContentViewModel::moveSelection(CategoryEntity* category)
{
    const QList<SnippetEntity*> selected = selectedSnippets();
    const QDateTime now = m_dependencies.clock();
    for (SnippetEntity* s : selected) {
        s->setCategory(category);
        s->setUpdatedAt(now);
    }
    m_listSelection.clear();
    Q_EMIT selectionChanged();
    m_dependencies.store->save();
}

// --- Recently Deleted ---

void ContentViewModel::setTrashSelection(QList<TrashSelection> selection)
{
    if (selection == m_trashSelection)
        return;
    m_trashSelection = std::move(selection);
    Q_EMIT trashSelectionChanged();
}

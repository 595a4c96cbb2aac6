#include "models/SheetModels.h"

#include "library/CategoryEntity.h"
#include "library/CategoryPalette.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "text/TextRules.h"

namespace {
std::function<QDateTime()> orNow(std::function<QDateTime()> clock)
{
    return clock ? std::move(clock) : [] { return QDateTime::currentDateTimeUtc(); };
}
} // namespace

NewSnippetModel::NewSnippetModel(PersistenceController* store, CategoryEntity* preselected,
                                 std::function<QDateTime()> clock, QObject* parent)
    : QObject(parent), selectedCategory(preselected), m_store(store),
      m_clock(orNow(std::move(clock))), m_all(store->fetchAllSnippets())
{
    // Records deleted elsewhere are freed at the merge: the conflict check reads a fresh list.
    const auto refetch = [this] { m_all = m_store->fetchAllSnippets(); };
    connect(store, &PersistenceController::didSave, this, refetch);
    connect(store, &PersistenceController::remoteStoreChanged, this, refetch);
}

bool NewSnippetModel::canCreate() const
{
    return !TextRules::trimSpacesAndTabs(abbreviation).isEmpty();
}

AbbreviationConflict NewSnippetModel::conflict() const
{
    return abbreviationConflict(abbreviation, m_all);
}

SnippetEntity* NewSnippetModel::create()
{
    if (!canCreate())
        return nullptr;
    SnippetEntity* snippet = m_store->insertSnippet(
        SnippetEntity::create(title, abbreviation, selectedCategory, m_clock()));
    m_store->save();
    return snippet;
}

CategoryEditorModel::CategoryEditorModel(PersistenceController* store, CategoryEntity* editing,
                                         std::function<QDateTime()> clock, QObject* parent)
    : QObject(parent), m_store(store), m_editing(editing), m_clock(orNow(std::move(clock)))
{
    name = editing ? editing->name().value_or(QString()) : QString();
    colorHex =
        editing && editing->colorHex() ? *editing->colorHex() : CategoryPalette::defaultColorHex();
}

QString CategoryEditorModel::sheetTitle() const
{
    return isEditing() ? tr("Edit Category") : tr("New Category");
}

QString CategoryEditorModel::actionTitle() const
{
    return isEditing() ? tr("Save") : tr("Create");
}

bool CategoryEditorModel::canSave() const
{
    return !TextRules::trimSpacesAndTabs(name).isEmpty();
}

CategoryEntity* CategoryEditorModel::save()
{
    if (!canSave())
        return nullptr;
    // Stored trimmed: a name's outer blanks are never meant and would only split the sidebar.
    const QString trimmed = TextRules::trimSpacesAndTabs(name);
    if (m_editing) {
        const QDateTime now = m_clock();
        m_editing->rename(trimmed, now);
        m_editing->recolor(colorHex, now);
        m_store->save();
        return m_editing;
    }
    return m_store->createCategory(trimmed, colorHex);
}

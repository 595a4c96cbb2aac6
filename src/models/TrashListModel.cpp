#include "models/TrashListModel.h"

#include "library/CategoryEntity.h"
#include "library/CategoryPalette.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "models/LibraryTexts.h"
#include "models/TrashTexts.h"

#include <QColor>

using namespace Qt::StringLiterals;

namespace {
QVariant colorOf(const CategoryEntity* category)
{
    if (!category)
        return {};
    const auto color = CategoryPalette::colorFromHex(category->colorHex().value_or(QString()));
    return color ? QVariant(*color) : QVariant(QColor());
}
} // namespace

TrashListModel::TrashListModel(std::function<QDateTime()> clock, QObject* parent)
    : QAbstractListModel(parent), m_clock(std::move(clock))
{}

void TrashListModel::setRecords(QList<CategoryEntity*> categories, QList<SnippetEntity*> snippets)
{
    beginResetModel();
    m_categories = std::move(categories);
    m_snippets = std::move(snippets);
    m_rows.clear();
    m_rows.reserve(m_categories.size() + m_snippets.size());
    for (int row = 0; row < rowCount(); ++row) {
        if (const TrashSelection record = recordAt(row); !record.isNull())
            m_rows.insert(record, row);
    }
    endResetModel();
}

TrashListModel::Kind TrashListModel::kindAt(int row) const
{
    if (row <= 0 || row == snippetsHeadingRow())
        return Kind::heading;
    return row < snippetsHeadingRow() ? Kind::category : Kind::snippet;
}

TrashSelection TrashListModel::recordAt(int row) const
{
    if (row < 0 || row >= rowCount())
        return {};
    switch (kindAt(row)) {
    case Kind::category:
        return TrashSelection::of(m_categories.at(row - 1));
    case Kind::snippet:
        return TrashSelection::of(m_snippets.at(row - snippetsHeadingRow() - 1));
    case Kind::heading:
        break;
    }
    return {};
}

int TrashListModel::rowOf(const TrashSelection& record) const
{
    return m_rows.value(record, -1);
}

void TrashListModel::refreshDaysRemaining()
{
    if (!isEmpty())
        Q_EMIT dataChanged(index(0), index(rowCount() - 1),
                           {DaysRemainingRole, Qt::AccessibleTextRole});
}

int TrashListModel::rowCount(const QModelIndex& parent) const
{
    if (parent.isValid() || isEmpty())
        return 0;
    return snippetsHeadingRow() + 1 + int(m_snippets.size());
}

int TrashListModel::daysRemaining(const std::optional<QDateTime>& trashedAt) const
{
    // Not trashed cannot be listed; a full period is the harmless answer should it happen.
    if (!trashedAt)
        return int(PersistenceController::trashRetentionSeconds / 86'400);
    return PersistenceController::daysRemaining(*trashedAt, m_clock());
}

QVariant TrashListModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Kind kind = kindAt(index.row());
    if (role == KindRole)
        return int(kind);
    const TrashSelection record = recordAt(index.row());
    if (record.snippet)
        return snippetData(*record.snippet, role);
    if (record.category)
        return categoryData(*record.category, role);
    if (role == Qt::DisplayRole || role == Qt::AccessibleTextRole)
        return index.row() == snippetsHeadingRow() ? tr("Snippets") : tr("Categories");
    return {};
}

QVariant TrashListModel::snippetData(const SnippetEntity& snippet, int role) const
{
    const CategoryEntity* category = snippet.category();
    switch (role) {
    case Qt::DisplayRole:
        return snippet.displayTitle();
    case AbbreviationRole:
        return snippet.abbreviation().value_or(QString());
    case CategoryNameRole:
        return category ? category->displayName() : QString();
    case ColorRole:
        return colorOf(category);
    case DaysRemainingRole:
        return daysRemaining(snippet.trashedAt());
    case Qt::AccessibleTextRole: {
        QStringList parts{snippet.displayTitle()};
        if (snippet.abbreviation() && !snippet.abbreviation()->isEmpty())
            parts << tr("abbreviation %1").arg(*snippet.abbreviation());
        if (category)
            parts << category->displayName();
        parts << TrashTexts::daysRemainingBadge(daysRemaining(snippet.trashedAt())).spoken;
        return parts.join(u", "_s);
    }
    default:
        return {};
    }
}

QVariant TrashListModel::categoryData(const CategoryEntity& category, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
        return category.displayName();
    case ColorRole:
        return colorOf(&category);
    case SnippetCountRole:
        return LibraryTexts::snippetCount(category.snippets().size());
    case DaysRemainingRole:
        return daysRemaining(category.trashedAt());
    case Qt::AccessibleTextRole:
        return QStringList{
            tr("Category %1").arg(category.displayName()),
            LibraryTexts::snippetCount(category.snippets().size()),
            TrashTexts::daysRemainingBadge(daysRemaining(category.trashedAt())).spoken}
            .join(u", "_s);
    default:
        return {};
    }
}

Qt::ItemFlags TrashListModel::flags(const QModelIndex& index) const
{
    if (!index.isValid() || kindAt(index.row()) == Kind::heading)
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

QHash<int, QByteArray> TrashListModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert({{KindRole, "kind"},
                  {AbbreviationRole, "abbreviation"},
                  {CategoryNameRole, "categoryName"},
                  {ColorRole, "color"},
                  {SnippetCountRole, "snippetCount"},
                  {DaysRemainingRole, "daysRemaining"}});
    return names;
}

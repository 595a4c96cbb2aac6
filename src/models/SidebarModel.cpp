#include "models/SidebarModel.h"

#include "library/CategoryEntity.h"
#include "library/CategoryPalette.h"
#include "models/LibraryTexts.h"

#include <QColor>

using namespace Qt::StringLiterals;

void SidebarModel::setCategories(QList<CategoryEntity*> categories)
{
    beginResetModel();
    m_categories.clear();
    m_categories.reserve(categories.size());
    for (CategoryEntity* category : categories)
        m_categories.append({category, category->activeSnippets().size()});
    endResetModel();
}

SidebarModel::Kind SidebarModel::kindAt(int row) const
{
    if (row == 0)
        return Kind::allSnippets;
    if (row == 1)
        return Kind::categoriesHeading;
    return row == recentlyDeletedRow() ? Kind::recentlyDeleted : Kind::category;
}

CategoryEntity* SidebarModel::categoryAt(int row) const
{
    return row >= 2 && row - 2 < m_categories.size() ? m_categories.at(row - 2).category : nullptr;
}

int SidebarModel::rowOfCategory(const CategoryEntity* category) const
{
    for (int i = 0; i < m_categories.size(); ++i) {
        if (m_categories.at(i).category == category)
            return i + 2;
    }
    return -1;
}

int SidebarModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_categories.size()) + 3;
}

QVariant SidebarModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Kind kind = kindAt(index.row());
    if (role == KindRole)
        return int(kind);
    switch (kind) {
    case Kind::allSnippets:
        return role == Qt::DisplayRole ? QVariant(tr("All Snippets")) : QVariant();
    case Kind::categoriesHeading:
        return role == Qt::DisplayRole ? QVariant(tr("Categories")) : QVariant();
    case Kind::recentlyDeleted:
        return role == Qt::DisplayRole ? QVariant(tr("Recently Deleted")) : QVariant();
    case Kind::category:
        break;
    }
    const Row& row = m_categories.at(index.row() - 2);
    switch (role) {
    case Qt::DisplayRole:
        return row.category->displayName();
    case CountRole:
        return qint64(row.count);
    case ColorRole: {
        const auto color =
            CategoryPalette::colorFromHex(row.category->colorHex().value_or(QString()));
        return color ? QVariant(*color) : QVariant(QColor());
    }
    case Qt::AccessibleTextRole:
        return QString(row.category->displayName() + u", "_s +
                       LibraryTexts::snippetCount(row.count));
    default:
        return {};
    }
}

Qt::ItemFlags SidebarModel::flags(const QModelIndex& index) const
{
    if (!index.isValid() || kindAt(index.row()) == Kind::categoriesHeading)
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

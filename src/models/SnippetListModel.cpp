#include "models/SnippetListModel.h"

#include "library/CategoryEntity.h"
#include "library/CategoryPalette.h"
#include "library/SnippetEntity.h"
#include "models/RelativeTime.h"

#include <QColor>

using namespace Qt::StringLiterals;

SnippetListModel::SnippetListModel(std::function<QDateTime()> clock, QObject* parent)
    : QAbstractListModel(parent), m_clock(std::move(clock))
{}

void SnippetListModel::setSnippets(QList<SnippetEntity*> snippets)
{
    beginResetModel();
    m_snippets = std::move(snippets);
    endResetModel();
}

SnippetEntity* SnippetListModel::snippetAt(int row) const
{
    return row >= 0 && row < m_snippets.size() ? m_snippets.at(row) : nullptr;
}

int SnippetListModel::rowOf(const QUuid& id) const
{
    for (int row = 0; row < m_snippets.size(); ++row) {
        if (m_snippets.at(row)->id() == id)
            return row;
    }
    return -1;
}

void SnippetListModel::refreshRelativeTimes()
{
    if (!m_snippets.isEmpty())
        Q_EMIT dataChanged(index(0), index(int(m_snippets.size()) - 1),
                           {RelativeTimeRole, Qt::AccessibleTextRole});
}

int SnippetListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_snippets.size());
}

QVariant SnippetListModel::data(const QModelIndex& index, int role) const
{
    const SnippetEntity* s = snippetAt(index.row());
    if (!s || index.parent().isValid())
        return {};
    const CategoryEntity* category = s->category();
    switch (role) {
    case Qt::DisplayRole:
        return s->displayTitle();
    case IdRole:
        return s->id() ? QVariant(*s->id()) : QVariant();
    case AbbreviationRole:
        return s->abbreviation().value_or(QString());
    case CategoryNameRole:
        return category ? category->displayName() : QString();
    case CategoryColorRole: {
        if (!category)
            return {};
        const auto color = CategoryPalette::colorFromHex(category->colorHex().value_or(QString()));
        return color ? QVariant(*color) : QVariant(QColor());
    }
    case RichTextRole:
        return s->isRichText();
    case RelativeTimeRole:
        return s->updatedAt() ? RelativeTime::abbreviated(*s->updatedAt(), m_clock()) : QString();
    case Qt::AccessibleTextRole: {
        // What a screen reader says for the row: everything the row shows, in its order.
        QStringList parts{s->displayTitle()};
        if (s->abbreviation() && !s->abbreviation()->isEmpty())
            parts << tr("abbreviation %1").arg(*s->abbreviation());
        if (category)
            parts << category->displayName();
        if (s->isRichText())
            parts << tr("Rich Text");
        if (s->updatedAt())
            parts << RelativeTime::abbreviated(*s->updatedAt(), m_clock());
        return parts.join(u", "_s);
    }
    default:
        return {};
    }
}

QHash<int, QByteArray> SnippetListModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert({{IdRole, "snippetId"},
                  {AbbreviationRole, "abbreviation"},
                  {CategoryNameRole, "categoryName"},
                  {CategoryColorRole, "categoryColor"},
                  {RichTextRole, "isRichText"},
                  {RelativeTimeRole, "relativeTime"}});
    return names;
}

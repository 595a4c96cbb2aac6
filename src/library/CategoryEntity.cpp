#include "library/CategoryEntity.h"

#include "library/SnippetEntity.h"

#include <algorithm>
#include <functional>

namespace {

// Present before absent, then the given order on the values.
template <typename T, typename Before>
int compareOptional(const std::optional<T>& a, const std::optional<T>& b, Before before)
{
    if (a.has_value() != b.has_value())
        return a.has_value() ? -1 : 1;
    if (!a.has_value())
        return 0;
    if (before(*a, *b))
        return -1;
    if (before(*b, *a))
        return 1;
    return 0;
}

// An absent creation date counts as the distant past, so those come last.
bool newerFirst(const SnippetEntity* a, const SnippetEntity* b)
{
    if (const int byDate = compareOptional(a->createdAt(), b->createdAt(), std::greater<>()))
        return byDate < 0;
    if (const int byId = compareOptional(a->id(), b->id(), std::less<>()))
        return byId < 0;
    return std::less<>()(a, b);
}

} // namespace

CategoryEntity::~CategoryEntity()
{
    for (SnippetEntity* snippet : std::as_const(m_snippets)) {
        snippet->m_category = nullptr;
        snippet->m_changed |= SnippetEntity::changedCategory;
    }
}

std::unique_ptr<CategoryEntity> CategoryEntity::create(const QString& name, const QString& colorHex,
                                                       qint32 sortOrder, const QDateTime& now)
{
    auto category = std::make_unique<CategoryEntity>();
    category->m_id = QUuid::createUuid();
    category->m_name = name;
    category->m_colorHex = colorHex;
    category->m_sortOrder = sortOrder;
    category->m_createdAt = now;
    category->m_updatedAt = now;
    return category;
}

void CategoryEntity::rename(const std::optional<QString>& name, const QDateTime& now)
{
    m_name = name;
    m_updatedAt = now;
}

void CategoryEntity::recolor(const std::optional<QString>& colorHex, const QDateTime& now)
{
    m_colorHex = colorHex;
    m_updatedAt = now;
}

void CategoryEntity::addSnippet(SnippetEntity* snippet)
{
    snippet->setCategory(this);
}

void CategoryEntity::removeSnippet(SnippetEntity* snippet)
{
    if (snippet->category() == this)
        snippet->setCategory(nullptr);
}

QString CategoryEntity::displayName() const
{
    return m_name.value_or(QStringLiteral("Unnamed"));
}

QList<SnippetEntity*> CategoryEntity::sortedSnippets() const
{
    QList<SnippetEntity*> sorted(m_snippets.cbegin(), m_snippets.cend());
    std::sort(sorted.begin(), sorted.end(), newerFirst);
    return sorted;
}

QList<SnippetEntity*> CategoryEntity::activeSnippets() const
{
    QList<SnippetEntity*> active = sortedSnippets();
    active.removeIf([](const SnippetEntity* snippet) { return snippet->isTrashed(); });
    return active;
}

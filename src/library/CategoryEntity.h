#pragma once

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>
#include <QUuid>
#include <memory>
#include <optional>

class SnippetEntity;

// A category record. Its snippets are not owned; the set is kept as the inverse of each
// snippet's category, and a destroyed category leaves its snippets without one.
class CategoryEntity {
public:
    CategoryEntity() = default;
    ~CategoryEntity();
    CategoryEntity(const CategoryEntity&) = delete;
    CategoryEntity& operator=(const CategoryEntity&) = delete;

    // The creation values; where the sort order comes from is the store's business.
    static std::unique_ptr<CategoryEntity> create(const QString& name, const QString& colorHex,
                                                  qint32 sortOrder, const QDateTime& now);

    const std::optional<QUuid>& id() const { return m_id; }
    void setId(const std::optional<QUuid>& id) { m_id = id; }
    const std::optional<QString>& name() const { return m_name; }
    // Plain setters restore stored values; user edits go through rename() and recolor().
    void setName(const std::optional<QString>& name) { m_name = name; }
    const std::optional<QString>& colorHex() const { return m_colorHex; }
    void setColorHex(const std::optional<QString>& colorHex) { m_colorHex = colorHex; }
    qint32 sortOrder() const { return m_sortOrder; }
    void setSortOrder(qint32 sortOrder) { m_sortOrder = sortOrder; }
    const std::optional<QDateTime>& createdAt() const { return m_createdAt; }
    void setCreatedAt(const std::optional<QDateTime>& at) { m_createdAt = at; }
    const std::optional<QDateTime>& updatedAt() const { return m_updatedAt; }
    void setUpdatedAt(const std::optional<QDateTime>& at) { m_updatedAt = at; }
    const std::optional<QDateTime>& trashedAt() const { return m_trashedAt; }
    void setTrashedAt(const std::optional<QDateTime>& at) { m_trashedAt = at; }

    // Edits by the user: they also mark the category as updated.
    void rename(const std::optional<QString>& name, const QDateTime& now);
    void recolor(const std::optional<QString>& colorHex, const QDateTime& now);

    // Live and trashed snippets, in no particular order. Change it through
    // SnippetEntity::setCategory (or the two helpers below).
    const QSet<SnippetEntity*>& snippets() const { return m_snippets; }
    void addSnippet(SnippetEntity* snippet);
    void removeSnippet(SnippetEntity* snippet);

    bool isTrashed() const { return m_trashedAt.has_value(); }
    bool isLive() const { return !isTrashed(); }

    // The name, or "Unnamed" when there is none.
    QString displayName() const;

    // Newest first by creation; ties fall back to the id so lists do not reshuffle on reload.
    QList<SnippetEntity*> sortedSnippets() const;
    // The same order without the trashed ones.
    QList<SnippetEntity*> activeSnippets() const;

private:
    friend class SnippetEntity;

    std::optional<QUuid> m_id;
    std::optional<QString> m_name;
    std::optional<QString> m_colorHex;
    qint32 m_sortOrder = 0;
    std::optional<QDateTime> m_createdAt;
    std::optional<QDateTime> m_updatedAt;
    std::optional<QDateTime> m_trashedAt;
    QSet<SnippetEntity*> m_snippets;
};

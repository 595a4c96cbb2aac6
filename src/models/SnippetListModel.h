#pragma once

#include <QAbstractListModel>
#include <QDateTime>
#include <QUuid>
#include <functional>

class SnippetEntity;

// The middle column's rows: one per snippet, in the order given. Rows point at the store's
// records; whoever owns the list hands a new one whenever the store changes.
class SnippetListModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role {
        IdRole = Qt::UserRole + 1, // QUuid
        AbbreviationRole,
        CategoryNameRole,  // empty without a category
        CategoryColorRole, // QColor; invalid without a category
        RichTextRole,
        RelativeTimeRole, // "2 hr. ago"
    };

    explicit SnippetListModel(std::function<QDateTime()> clock, QObject* parent = nullptr);

    void setSnippets(QList<SnippetEntity*> snippets);
    const QList<SnippetEntity*>& snippets() const { return m_snippets; }
    SnippetEntity* snippetAt(int row) const;
    int rowOf(const QUuid& id) const; // -1 when not listed

    // Relative times move on with the clock; the views ask once a minute.
    void refreshRelativeTimes();

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    std::function<QDateTime()> m_clock;
    QList<SnippetEntity*> m_snippets;
};

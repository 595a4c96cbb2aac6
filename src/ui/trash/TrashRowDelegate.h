#pragma once

#include <QStyledItemDelegate>

// Recently Deleted's rows. A section heading: small, bold, secondary. A category: its dot, its
// name and how many snippets it holds. A snippet: its title and abbreviation chip, and under
// them its category's dot and name. Both records end in their days-remaining badge.
class TrashRowDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    void paintHeading(QPainter* painter, const QStyleOptionViewItem& option,
                      const QModelIndex& index) const;
    // Both kinds of record; returns the area left of the badge.
    QRect paintRecordFrame(QPainter* painter, const QStyleOptionViewItem& option,
                           const QModelIndex& index) const;
    void paintCategory(QPainter* painter, const QStyleOptionViewItem& option,
                       const QModelIndex& index, const QRect& area) const;
    void paintSnippet(QPainter* painter, const QStyleOptionViewItem& option,
                      const QModelIndex& index, const QRect& area) const;
};

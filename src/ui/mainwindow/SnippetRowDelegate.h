#pragma once

#include <QStyledItemDelegate>

// One snippet row: the display title and the abbreviation chip, and under them the category's
// dot and name, "Rich Text", and how long ago it changed.
class SnippetRowDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

#pragma once

#include <QStyledItemDelegate>

// Sidebar rows: a place's icon or a category's dot, the name, and a category's live count on
// the right; the "Categories" heading small and unselectable.
class SidebarDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void setTrashShown(bool shown) { m_trashShown = shown; }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    bool m_trashShown = false;
};

#include "ui/mainwindow/SidebarDelegate.h"

#include "models/SidebarModel.h"
#include "ui/widgets/Icons.h"

#include <QApplication>
#include <QPainter>

using Kind = SidebarModel::Kind;

QSize SidebarDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const QFontMetrics metrics(option.font);
    const auto kind = Kind(index.data(SidebarModel::KindRole).toInt());
    return {160, metrics.height() + (kind == Kind::categoriesHeading ? 14 : 12)};
}

void SidebarDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const
{
    const auto kind = Kind(index.data(SidebarModel::KindRole).toInt());
    const QPalette& palette = option.palette;
    const bool selected = option.state & QStyle::State_Selected;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    if (selected) {
        // The accent colour at reduced strength, as a rounded pill.
        QColor fill = palette.color(QPalette::Highlight);
        fill.setAlphaF(0.25f);
        painter->setPen(Qt::NoPen);
        painter->setBrush(fill);
        painter->drawRoundedRect(QRectF(option.rect).adjusted(4, 1, -4, -1), 6, 6);
    }
    QColor text = palette.color(QPalette::Text);
    QColor secondary = text;
    secondary.setAlphaF(0.6f);
    const QRect area = option.rect.adjusted(12, 0, -12, 0);
    const QString name = index.data(Qt::DisplayRole).toString();

    if (kind == Kind::categoriesHeading) {
        QFont font = option.font;
        font.setPointSizeF(font.pointSizeF() * 0.85);
        font.setBold(true);
        painter->setFont(font);
        painter->setPen(secondary);
        painter->drawText(area.adjusted(0, 4, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, name);
        painter->restore();
        return;
    }

    const int iconSize = 16;
    const QRect iconRect(area.left(), area.center().y() - iconSize / 2 + 1, iconSize, iconSize);
    switch (kind) {
    case Kind::allSnippets:
        Icons::named(QStringLiteral("view-list")).paint(painter, iconRect);
        break;
    case Kind::recentlyDeleted:
        Icons::named(QStringLiteral("user-trash")).paint(painter, iconRect);
        if (!m_trashShown)
            text = secondary; // quieter until it is the place shown
        break;
    case Kind::category:
        Icons::dot(index.data(SidebarModel::ColorRole).value<QColor>(), 12)
            .paint(painter, iconRect.adjusted(2, 2, -2, -2));
        break;
    case Kind::categoriesHeading:
        break;
    }
    QRect label = area.adjusted(iconSize + 8, 0, 0, 0);
    const QFontMetrics metrics(option.font);
    if (kind == Kind::category) {
        const QString count = QString::number(index.data(SidebarModel::CountRole).toLongLong());
        QFont caption = option.font;
        caption.setPointSizeF(caption.pointSizeF() * 0.88);
        painter->setFont(caption);
        painter->setPen(secondary);
        painter->drawText(label, Qt::AlignRight | Qt::AlignVCenter, count);
        label.adjust(0, 0, -QFontMetrics(caption).horizontalAdvance(count) - 8, 0);
    }
    painter->setFont(option.font);
    painter->setPen(text);
    painter->drawText(label, Qt::AlignLeft | Qt::AlignVCenter,
                      metrics.elidedText(name, Qt::ElideRight, label.width()));
    painter->restore();
}

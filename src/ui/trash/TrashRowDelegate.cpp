#include "ui/trash/TrashRowDelegate.h"

#include "models/TrashListModel.h"
#include "ui/trash/DaysRemainingBadge.h"
#include "ui/trash/TrashStyle.h"
#include "ui/widgets/Icons.h"

#include <QApplication>
#include <QFontDatabase>
#include <QPainter>
#include <QPainterPath>

using Kind = TrashListModel::Kind;

namespace {
constexpr int padding = 8;
constexpr int lineGap = 3;
constexpr int categoryDot = 14;

Kind kindOf(const QModelIndex& index)
{
    return Kind(index.data(TrashListModel::KindRole).toInt());
}

QColor textColor(const QStyleOptionViewItem& option)
{
    return option.palette.color((option.state & QStyle::State_Selected) ? QPalette::HighlightedText
                                                                        : QPalette::Text);
}

// A category's dot, ringed on the highlight so that any colour stays visible.
void paintDot(QPainter* painter, const QRect& rect, const QColor& color, const QColor& ring,
              bool selected)
{
    if (selected) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(ring);
        painter->drawEllipse(QRectF(rect).adjusted(0.3, 0.3, -0.3, -0.3));
    }
    Icons::dot(color, rect.width()).paint(painter, rect.adjusted(1, 1, -1, -1));
}
} // namespace

QSize TrashRowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const QFontMetrics body(option.font);
    if (kindOf(index) == Kind::heading)
        return {200, body.height() + 16};
    const QFontMetrics caption(TrashStyle::captionFont(option.font));
    return {200, padding * 2 + body.height() + 4 + lineGap + caption.height()};
}

void TrashRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const
{
    if (kindOf(index) == Kind::heading) {
        paintHeading(painter, option, index);
        return;
    }
    const QRect area = paintRecordFrame(painter, option, index);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    if (kindOf(index) == Kind::category)
        paintCategory(painter, option, index, area);
    else
        paintSnippet(painter, option, index, area);
    painter->restore();

    if (option.state & QStyle::State_HasFocus) {
        const QWidget* widget = option.widget;
        QStyle* style = widget ? widget->style() : QApplication::style();
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(option);
        focus.rect = option.rect.adjusted(1, 1, -1, -1);
        style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, widget);
    }
}

void TrashRowDelegate::paintHeading(QPainter* painter, const QStyleOptionViewItem& option,
                                    const QModelIndex& index) const
{
    QFont font = option.font;
    font.setPointSizeF(font.pointSizeF() * 0.85);
    font.setBold(true);
    painter->save();
    painter->setFont(font);
    painter->setPen(TrashStyle::secondaryText(option.palette));
    painter->drawText(option.rect.adjusted(padding + 4, 6, -padding, 0),
                      Qt::AlignLeft | Qt::AlignVCenter, index.data().toString());
    painter->restore();
}

QRect TrashRowDelegate::paintRecordFrame(QPainter* painter, const QStyleOptionViewItem& option,
                                         const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    opt.text.clear();
    opt.icon = QIcon();
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &opt, painter, widget);

    const QRect area = option.rect.adjusted(padding + 4, padding, -padding - 4, -padding);
    const TrashTexts::Badge badge =
        TrashTexts::daysRemainingBadge(index.data(TrashListModel::DaysRemainingRole).toInt());
    const QSize size = DaysRemainingBadge::sizeFor(badge, option.font);
    const QRect badgeRect(area.right() - size.width() + 1, area.center().y() - size.height() / 2,
                          size.width(), size.height());
    DaysRemainingBadge::paint(painter, badgeRect, badge, option.font, option.palette,
                              option.state & QStyle::State_Selected);
    // Every row keeps room for the widest badge, so the chips to its left line up.
    return area.adjusted(0, 0, -DaysRemainingBadge::widestSize(option.font).width() - 10, 0);
}

void TrashRowDelegate::paintCategory(QPainter* painter, const QStyleOptionViewItem& option,
                                     const QModelIndex& index, const QRect& area) const
{
    const bool selected = option.state & QStyle::State_Selected;
    const QColor text = textColor(option);
    const QRect dot(area.left(), area.center().y() - categoryDot / 2, categoryDot, categoryDot);
    paintDot(painter, dot, index.data(TrashListModel::ColorRole).value<QColor>(), text, selected);

    const QRect lines = area.adjusted(categoryDot + 8, 0, 0, 0);
    const QFontMetrics body(option.font);
    const int lineHeight = body.height() + 4;
    painter->setFont(option.font);
    painter->setPen(text);
    painter->drawText(QRect(lines.left(), lines.top(), lines.width(), lineHeight),
                      Qt::AlignLeft | Qt::AlignVCenter,
                      body.elidedText(index.data().toString(), Qt::ElideRight, lines.width()));
    const QFont caption = TrashStyle::captionFont(option.font);
    const QFontMetrics captionMetrics(caption);
    painter->setFont(caption);
    painter->setPen(TrashStyle::secondaryText(option.palette, selected));
    painter->drawText(
        QRect(lines.left(), lines.top() + lineHeight + lineGap, lines.width(),
              captionMetrics.height()),
        Qt::AlignLeft | Qt::AlignVCenter,
        captionMetrics.elidedText(index.data(TrashListModel::SnippetCountRole).toString(),
                                  Qt::ElideRight, lines.width()));
}

void TrashRowDelegate::paintSnippet(QPainter* painter, const QStyleOptionViewItem& option,
                                    const QModelIndex& index, const QRect& area) const
{
    const bool selected = option.state & QStyle::State_Selected;
    const QColor text = textColor(option);
    const QColor secondary = TrashStyle::secondaryText(option.palette, selected);
    const QFontMetrics body(option.font);
    const QFont caption = TrashStyle::captionFont(option.font);
    const QFontMetrics captionMetrics(caption);
    const int lineHeight = body.height() + 4;
    const QString category = index.data(TrashListModel::CategoryNameRole).toString();
    // Without a category line the title line sits in the middle, level with the badge.
    const int top = category.isEmpty() ? area.center().y() - lineHeight / 2 + 1 : area.top();

    // The abbreviation chip on the right of the first line, the title eliding before it.
    const QString abbreviation = index.data(TrashListModel::AbbreviationRole).toString();
    QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    mono.setPointSizeF(caption.pointSizeF());
    const QFontMetrics monoMetrics(mono);
    const QString chipText = monoMetrics.elidedText(abbreviation, Qt::ElideRight, area.width() / 2);
    const int chipWidth = abbreviation.isEmpty() ? 0 : monoMetrics.horizontalAdvance(chipText) + 12;
    if (chipWidth > 0) {
        const QRect chip(area.right() - chipWidth + 1, top, chipWidth, lineHeight);
        QColor chipBack = text;
        chipBack.setAlphaF(0.10f);
        QPainterPath path;
        path.addRoundedRect(chip, 5, 5);
        painter->fillPath(path, chipBack);
        painter->setFont(mono);
        painter->setPen(secondary);
        painter->drawText(chip, Qt::AlignCenter, chipText);
    }
    const QRect title(area.left(), top, area.width() - chipWidth - 8, lineHeight);
    painter->setFont(option.font);
    painter->setPen(text);
    painter->drawText(title, Qt::AlignLeft | Qt::AlignVCenter,
                      body.elidedText(index.data().toString(), Qt::ElideRight, title.width()));

    if (category.isEmpty())
        return;
    const int y = area.top() + lineHeight + lineGap;
    const int dotSize = captionMetrics.height() - 4;
    paintDot(painter, QRect(area.left(), y + 2, dotSize, dotSize),
             index.data(TrashListModel::ColorRole).value<QColor>(), text, selected);
    const int x = area.left() + dotSize + 4;
    painter->setFont(caption);
    painter->setPen(secondary);
    painter->drawText(QRect(x, y, area.right() - x, captionMetrics.height()), Qt::AlignVCenter,
                      captionMetrics.elidedText(category, Qt::ElideRight, area.right() - x));
}

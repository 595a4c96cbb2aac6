#include "ui/mainwindow/SnippetRowDelegate.h"

#include "models/SnippetListModel.h"
#include "ui/widgets/Icons.h"

#include <QApplication>
#include <QFontDatabase>
#include <QPainter>
#include <QPainterPath>

namespace {
constexpr int padding = 8;
constexpr int lineGap = 3;

QFont captionFont(const QFont& base)
{
    QFont font = base;
    font.setPointSizeF(base.pointSizeF() * 0.88);
    return font;
}
} // namespace

QSize SnippetRowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const
{
    const QFontMetrics body(option.font);
    const QFontMetrics caption(captionFont(option.font));
    return {200, padding * 2 + body.height() + 4 + lineGap + caption.height()};
}

void SnippetRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                               const QModelIndex& index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    opt.text.clear();
    opt.icon = QIcon();
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &opt, painter, widget);

    const bool selected = option.state & QStyle::State_Selected;
    const QPalette& palette = option.palette;
    const QColor text = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    QColor secondary = text;
    secondary.setAlphaF(selected ? 0.85f : 0.62f);
    QColor tertiary = text;
    tertiary.setAlphaF(selected ? 0.7f : 0.45f);

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRect area = option.rect.adjusted(padding + 4, padding, -padding - 4, -padding);
    const QFontMetrics body(option.font);
    const QFont caption = captionFont(option.font);
    const QFontMetrics captionMetrics(caption);

    // The abbreviation chip on the right of the first line, the title eliding before it.
    const QString abbreviation = index.data(SnippetListModel::AbbreviationRole).toString();
    QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    mono.setPointSizeF(caption.pointSizeF());
    const QFontMetrics monoMetrics(mono);
    const QString chipText = monoMetrics.elidedText(abbreviation, Qt::ElideRight, area.width() / 2);
    const int chipWidth = abbreviation.isEmpty() ? 0 : monoMetrics.horizontalAdvance(chipText) + 12;
    const int lineHeight = body.height() + 4;
    const QRect chip(area.right() - chipWidth + 1, area.top(), chipWidth, lineHeight);
    if (chipWidth > 0) {
        QColor chipBack = text;
        chipBack.setAlphaF(0.10f);
        QPainterPath path;
        path.addRoundedRect(chip, 5, 5);
        painter->fillPath(path, chipBack);
        painter->setFont(mono);
        painter->setPen(secondary);
        painter->drawText(chip, Qt::AlignCenter, chipText);
    }
    painter->setFont(option.font);
    painter->setPen(text);
    const QRect titleRect(area.left(), area.top(), area.width() - chipWidth - 8, lineHeight);
    painter->drawText(
        titleRect, Qt::AlignLeft | Qt::AlignVCenter,
        body.elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight, titleRect.width()));

    // Second line: category, "Rich Text", time.
    int x = area.left();
    const int y = area.top() + lineHeight + lineGap;
    const QRect line(x, y, area.width(), captionMetrics.height());
    painter->setFont(caption);
    const QString category = index.data(SnippetListModel::CategoryNameRole).toString();
    if (!category.isEmpty()) {
        const QColor color = index.data(SnippetListModel::CategoryColorRole).value<QColor>();
        const int dotSize = captionMetrics.height() - 4;
        const QRect dotRect(x, y + 2, dotSize, dotSize);
        if (selected) {
            // A ring keeps the dot visible on the highlight, whatever its colour.
            painter->setPen(Qt::NoPen);
            painter->setBrush(text);
            painter->drawEllipse(QRectF(dotRect).adjusted(0.3, 0.3, -0.3, -0.3));
        }
        Icons::dot(color, dotSize).paint(painter, dotRect.adjusted(1, 1, -1, -1));
        x += dotSize + 4;
        painter->setPen(secondary);
        const QString shown = captionMetrics.elidedText(category, Qt::ElideRight, area.width() / 3);
        painter->drawText(QRect(x, y, area.right() - x, line.height()), Qt::AlignVCenter, shown);
        x += captionMetrics.horizontalAdvance(shown) + 12;
    }
    if (index.data(SnippetListModel::RichTextRole).toBool()) {
        const int iconSize = captionMetrics.height() - 2;
        Icons::named(QStringLiteral("format-text-rich"))
            .paint(painter, QRect(x, y + 1, iconSize, iconSize));
        x += iconSize + 3;
        painter->setPen(secondary);
        painter->drawText(QRect(x, y, area.right() - x, line.height()), Qt::AlignVCenter,
                          tr("Rich Text"));
        x += captionMetrics.horizontalAdvance(tr("Rich Text")) + 12;
    }
    const QString when = index.data(SnippetListModel::RelativeTimeRole).toString();
    painter->setPen(tertiary);
    painter->drawText(
        QRect(x, y, std::max(0, area.right() - x), line.height()), Qt::AlignVCenter,
        captionMetrics.elidedText(when, Qt::ElideRight, std::max(0, area.right() - x)));
    painter->restore();

    if (option.state & QStyle::State_HasFocus) {
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(option);
        focus.rect = option.rect.adjusted(1, 1, -1, -1);
        style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, widget);
    }
}

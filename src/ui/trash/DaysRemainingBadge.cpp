#include "ui/trash/DaysRemainingBadge.h"

#include "ui/trash/TrashStyle.h"

#include <QPainter>
#include <QPainterPath>

namespace {
constexpr int horizontalPadding = 6;
constexpr int verticalPadding = 1;
} // namespace

DaysRemainingBadge::DaysRemainingBadge(QWidget* parent)
    : QWidget(parent), m_badge(TrashTexts::daysRemainingBadge(30))
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAccessibleName(tr("Days remaining"));
    setAccessibleDescription(
        tr("Days left before the item is removed from Recently Deleted for good"));
}

void DaysRemainingBadge::setDaysRemaining(int days)
{
    m_badge = TrashTexts::daysRemainingBadge(days);
    setToolTip(m_badge.spoken);
    setAccessibleName(m_badge.spoken);
    updateGeometry();
    update();
}

QSize DaysRemainingBadge::sizeHint() const
{
    return sizeFor(m_badge, font());
}

QSize DaysRemainingBadge::sizeFor(const TrashTexts::Badge& badge, const QFont& base)
{
    const QFontMetrics metrics(TrashStyle::badgeFont(base));
    return {metrics.horizontalAdvance(badge.text) + 2 * horizontalPadding,
            metrics.height() + 2 * verticalPadding};
}

QSize DaysRemainingBadge::widestSize(const QFont& base)
{
    return sizeFor(TrashTexts::daysRemainingBadge(30), base)
        .expandedTo(sizeFor(TrashTexts::daysRemainingBadge(0), base));
}

void DaysRemainingBadge::paint(QPainter* painter, const QRect& rect, const TrashTexts::Badge& badge,
                               const QFont& base, const QPalette& palette, bool onHighlight)
{
    const QColor color = TrashStyle::toneColor(badge.tone, palette);
    QColor tint = color;
    tint.setAlphaF(0.18f);
    QPainterPath capsule;
    const qreal radius = rect.height() / 2.0;
    capsule.addRoundedRect(QRectF(rect), radius, radius);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    if (onHighlight)
        painter->fillPath(capsule, palette.color(QPalette::Base));
    painter->fillPath(capsule, tint);
    painter->setFont(TrashStyle::badgeFont(base));
    painter->setPen(color);
    painter->drawText(rect, Qt::AlignCenter, badge.text);
    painter->restore();
}

void DaysRemainingBadge::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    paint(&painter, rect(), m_badge, font(), palette());
}

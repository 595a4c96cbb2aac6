#include "ui/trash/TrashStyle.h"

#include <QPalette>
#include <QPushButton>

namespace TrashStyle {

namespace {
bool isDark(const QPalette& palette)
{
    return palette.color(QPalette::Window).lightnessF() < 0.5;
}
} // namespace

QColor toneColor(TrashTexts::BadgeTone tone, const QPalette& palette)
{
    // Lighter on dark backgrounds so the tint and the text both stay readable.
    switch (tone) {
    case TrashTexts::BadgeTone::urgent:
        return isDark(palette) ? QColor(0xff, 0x6b, 0x60) : QColor(0xd1, 0x2f, 0x26);
    case TrashTexts::BadgeTone::soon:
        return isDark(palette) ? QColor(0xff, 0xa5, 0x3d) : QColor(0xc8, 0x64, 0x00);
    case TrashTexts::BadgeTone::distant:
        break;
    }
    return secondaryText(palette);
}

QColor secondaryText(const QPalette& palette, bool selected)
{
    QColor color = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    color.setAlphaF(selected ? 0.85f : 0.62f);
    return color;
}

QFont badgeFont(const QFont& base)
{
    QFont font = base;
    font.setPointSizeF(base.pointSizeF() * 0.8);
    font.setWeight(QFont::DemiBold);
    return font;
}

QFont captionFont(const QFont& base)
{
    QFont font = base;
    font.setPointSizeF(base.pointSizeF() * 0.88);
    return font;
}

QFont titleFont(const QFont& base)
{
    QFont font = base;
    font.setPointSizeF(base.pointSizeF() * 1.35);
    font.setBold(true);
    return font;
}

void markDestructive(QPushButton* button)
{
    QPalette palette = button->palette();
    palette.setColor(QPalette::ButtonText,
                     toneColor(TrashTexts::BadgeTone::urgent, button->palette()));
    button->setPalette(palette);
}

} // namespace TrashStyle

#pragma once

#include "models/TrashTexts.h"

#include <QColor>
#include <QFont>

class QPalette;
class QPushButton;

// Recently Deleted's colours and fonts, readable on light and dark palettes alike.
namespace TrashStyle {

// Red, orange, or the palette's secondary text colour.
QColor toneColor(TrashTexts::BadgeTone tone, const QPalette& palette);
// Secondary text: the palette's text, quieter.
QColor secondaryText(const QPalette& palette, bool selected = false);
// The smallest caption, for the badges.
QFont badgeFont(const QFont& base);
QFont captionFont(const QFont& base);
QFont titleFont(const QFont& base);
// A button that deletes for good says so in red.
void markDestructive(QPushButton* button);

} // namespace TrashStyle

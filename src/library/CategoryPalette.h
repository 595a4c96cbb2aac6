#pragma once

#include <QColor>
#include <QString>
#include <QStringView>
#include <array>
#include <optional>

// The fixed colours a category can take, in the order the pickers show them.
namespace CategoryPalette {

struct Entry {
    QString hex;
    QString name;
};

const std::array<Entry, 8>& entries();

// A new category's colour, and the one an editor shows for a category without any.
QString defaultColorHex();

// The palette name of a hex string compared exactly; any other string comes back unchanged.
QString colorName(const QString& hex);

// "#RRGGBB" or "RRGGBB", blanks around allowed, as an opaque sRGB colour. Anything else has
// no colour, and views fall back to the accent colour.
std::optional<QColor> colorFromHex(QStringView hex);

} // namespace CategoryPalette

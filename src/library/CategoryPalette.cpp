#include "library/CategoryPalette.h"

#include "text/TextRules.h"

namespace {

int hexDigitValue(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'A' && u <= u'F')
        return u - u'A' + 10;
    if (u >= u'a' && u <= u'f')
        return u - u'a' + 10;
    return -1;
}

} // namespace

namespace CategoryPalette {

const std::array<Entry, 8>& entries()
{
    static const std::array<Entry, 8> palette{{
        {QStringLiteral("#4A90D9"), QStringLiteral("Blue")},
        {QStringLiteral("#7B68EE"), QStringLiteral("Purple")},
        {QStringLiteral("#E74C3C"), QStringLiteral("Red")},
        {QStringLiteral("#2ECC71"), QStringLiteral("Green")},
        {QStringLiteral("#F39C12"), QStringLiteral("Orange")},
        {QStringLiteral("#1ABC9C"), QStringLiteral("Teal")},
        {QStringLiteral("#E91E63"), QStringLiteral("Pink")},
        {QStringLiteral("#9B59B6"), QStringLiteral("Violet")},
    }};
    return palette;
}

QString defaultColorHex()
{
    return entries().front().hex;
}

QString colorName(const QString& hex)
{
    for (const Entry& entry : entries()) {
        if (entry.hex == hex)
            return entry.name;
    }
    return hex;
}

std::optional<QColor> colorFromHex(QStringView hex)
{
    const QString trimmed = TextRules::trimWhitespaceAndNewlines(hex);
    QStringView digits = trimmed;
    if (digits.startsWith(u'#'))
        digits = digits.mid(1);
    // Only ASCII hex digits are accepted, so six characters are six UTF-16 units. Signs and
    // "0x" are refused, which a plain number parser would let through.
    if (digits.size() != 6)
        return std::nullopt;
    uint value = 0;
    for (const QChar c : digits) {
        const int digit = hexDigitValue(c);
        if (digit < 0)
            return std::nullopt;
        value = value * 16 + uint(digit);
    }
    return QColor::fromRgb(int((value >> 16) & 0xFF), int((value >> 8) & 0xFF), int(value & 0xFF));
}

} // namespace CategoryPalette

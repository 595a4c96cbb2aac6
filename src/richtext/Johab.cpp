#include "richtext/Johab.h"

#include <array>

namespace {

constexpr bool isHangulLead(unsigned char byte)
{
    return byte >= 0x84 && byte <= 0xD3;
}

// A five-bit field's value as an index into the jamo of its position: fill for the "no jamo
// here" value, none for values the encoding leaves unused.
constexpr int fill = -1;
constexpr int none = -2;

constexpr int initialIndex(unsigned field)
{
    if (field == 1)
        return fill;
    return field >= 2 && field <= 20 ? int(field) - 2 : none;
}

// The 21 vowels sit in four runs, with gaps of two unused values between them.
constexpr int medialIndex(unsigned field)
{
    if (field == 2)
        return fill;
    if (field >= 3 && field <= 7)
        return int(field) - 3;
    if (field >= 10 && field <= 15)
        return int(field) - 5;
    if (field >= 18 && field <= 23)
        return int(field) - 7;
    if (field >= 26 && field <= 29)
        return int(field) - 9;
    return none;
}

// 0 is no final consonant; 18 is unused.
constexpr int finalIndex(unsigned field)
{
    if (field >= 1 && field <= 17)
        return int(field) - 1;
    if (field >= 19 && field <= 29)
        return int(field) - 2;
    return none;
}

// The compatibility jamo of the 19 initial and 27 final consonants.
constexpr std::array<char16_t, 19> initialJamo = {
    0x3131, 0x3132, 0x3134, 0x3137, 0x3138, 0x3139, 0x3141, 0x3142, 0x3143, 0x3145,
    0x3146, 0x3147, 0x3148, 0x3149, 0x314A, 0x314B, 0x314C, 0x314D, 0x314E};
constexpr std::array<char16_t, 28> finalJamo = {
    0,      0x3131, 0x3132, 0x3133, 0x3134, 0x3135, 0x3136, 0x3137, 0x3139, 0x313A,
    0x313B, 0x313C, 0x313D, 0x313E, 0x313F, 0x3140, 0x3141, 0x3142, 0x3144, 0x3145,
    0x3146, 0x3147, 0x3148, 0x314A, 0x314B, 0x314C, 0x314D, 0x314E};

} // namespace

namespace Johab {

bool isLeadByte(unsigned char byte)
{
    return isHangulLead(byte) || (byte >= 0xD8 && byte <= 0xDE) || (byte >= 0xE0 && byte <= 0xF9);
}

bool isTrailByte(unsigned char lead, unsigned char trail)
{
    if (isHangulLead(lead))
        return (trail >= 0x41 && trail <= 0x7E) || (trail >= 0x81 && trail <= 0xFE);
    return (trail >= 0x31 && trail <= 0x7E) || (trail >= 0x91 && trail <= 0xFE);
}

char16_t hangul(unsigned char lead, unsigned char trail)
{
    if (!isHangulLead(lead))
        return 0;
    const unsigned code = unsigned(lead) << 8 | trail;
    const int i = initialIndex(code >> 10 & 0x1F);
    const int m = medialIndex(code >> 5 & 0x1F);
    const int f = finalIndex(code & 0x1F);
    if (i == none || m == none || f == none)
        return 0;
    if (i >= 0 && m >= 0)
        return char16_t(0xAC00 + (i * 21 + m) * 28 + f);
    // One jamo alone, the other two positions filled.
    if (m == fill && f == 0)
        return i >= 0 ? initialJamo[std::size_t(i)] : char16_t(0x3164); // all fill: the filler
    if (i == fill && f == 0)
        return char16_t(0x314F + m);
    if (i == fill && m == fill)
        return finalJamo[std::size_t(f)];
    return 0;
}

// Each lead byte holds two KS X 1001 rows of 94: the first 78 cells on trail bytes 0x31-0x7E,
// the other 110 on 0x91-0xFE. 0xD9-0xDE carry the symbol rows from 0x21, 0xE0-0xF9 the Hanja
// rows from 0x4A; 0xD8 is user-defined and maps to nothing.
std::uint16_t eucKr(unsigned char lead, unsigned char trail)
{
    int firstRow = 0;
    if (lead >= 0xD9 && lead <= 0xDE)
        firstRow = 0x21 + (lead - 0xD9) * 2;
    else if (lead >= 0xE0 && lead <= 0xF9)
        firstRow = 0x4A + (lead - 0xE0) * 2;
    else
        return 0;
    int cell = 0;
    if (trail >= 0x31 && trail <= 0x7E)
        cell = trail - 0x31;
    else if (trail >= 0x91 && trail <= 0xFE)
        cell = trail - 0x91 + 78;
    else
        return 0;
    const int row = firstRow + cell / 94;
    return std::uint16_t((row | 0x80) << 8 | (0xA1 + cell % 94));
}

} // namespace Johab

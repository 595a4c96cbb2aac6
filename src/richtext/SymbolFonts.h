#pragma once

#include <QString>

// Fonts whose bytes are pictures, not letters: Symbol, Wingdings, Webdings, and any font of the
// symbol character set (\fcharset2). Their text maps to the Unicode characters they show.
namespace SymbolFonts {

enum class Font : unsigned char { None, Symbol, Wingdings, Webdings, Other };

Font fontNamed(const QString& name, bool symbolCharset);

// The character a byte (0x20-0xFF) or its private-use form (U+F020-U+F0FF, as Word writes
// \u-3913) shows in the font; U+F000 plus the byte where Unicode has none, or for a symbol font
// without a table. Other codes, and every code in a font that is none of these, come back as
// they are.
char32_t character(Font font, char32_t code);

} // namespace SymbolFonts

#pragma once

#include <QString>
#include <QTextFormat>

class QTextBlock;
class QTextDocument;

namespace RichText {

// A block whose break is not "\n" keeps the characters that ended it under this block-format
// property ("\r\n", "\r" or U+2029), so that a value inserted with such breaks reads back as it
// was written.
constexpr int paragraphBreakProperty = QTextFormat::UserProperty + 1;

// The document's characters, line breaks and paragraph breaks as "\n" (a paragraph break as the
// characters kept for it, when it has some).
QString plainCharacters(const QTextDocument& document);

// The same with every break as "\n": one UTF-16 unit per document position, so offsets into it
// are document positions.
QString positionalCharacters(const QTextDocument& document);

// The characters that end the block: its kept break, or "\n".
QString paragraphBreak(const QTextBlock& block);

} // namespace RichText

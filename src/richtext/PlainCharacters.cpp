#include "richtext/PlainCharacters.h"

#include <QTextBlock>
#include <QTextDocument>

using namespace Qt::StringLiterals;

namespace RichText {

QString positionalCharacters(const QTextDocument& document)
{
    // toPlainText() would also turn no-break spaces into spaces.
    QString text = document.toRawText();
    for (QChar& c : text) {
        if (c == QChar::ParagraphSeparator || c == QChar::LineSeparator)
            c = u'\n';
    }
    return text;
}

QString paragraphBreak(const QTextBlock& block)
{
    const QVariant kept = block.blockFormat().property(paragraphBreakProperty);
    return kept.isValid() ? kept.toString() : u"\n"_s;
}

QString plainCharacters(const QTextDocument& document)
{
    QString text = positionalCharacters(document);
    // Blocks with a kept break are rare (inserted values only): splice them in back to front,
    // so that each position before stays valid.
    for (QTextBlock block = document.lastBlock(); block.isValid(); block = block.previous()) {
        const QVariant kept = block.blockFormat().property(paragraphBreakProperty);
        const int separator = block.position() + block.length() - 1;
        if (kept.isValid() && block.next().isValid() && separator < text.size())
            text.replace(separator, 1, kept.toString());
    }
    return text;
}

} // namespace RichText

#include "richtext/PlainCharacters.h"

#include <QTextDocument>

namespace RichText {

QString plainCharacters(const QTextDocument& document)
{
    // toPlainText() would also turn no-break spaces into spaces.
    QString text = document.toRawText();
    for (QChar& c : text) {
        if (c == QChar::ParagraphSeparator || c == QChar::LineSeparator)
            c = u'\n';
    }
    return text;
}

} // namespace RichText

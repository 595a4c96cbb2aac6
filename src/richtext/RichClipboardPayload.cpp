#include "richtext/RichClipboardPayload.h"

#include "richtext/PlainCharacters.h"
#include "richtext/RtfWriter.h"

#include <QTextDocument>

using namespace Qt::StringLiterals;

QList<ClipboardFormat> richClipboardPayload(const QTextDocument& document)
{
    const QByteArray plain = RichText::plainCharacters(document).toUtf8();
    const std::optional<QByteArray> rtf = RtfWriter::write(document);
    if (!rtf)
        return {{u"text/plain"_s, plain}};
    return {{u"text/rtf"_s, *rtf},
            {u"text/html"_s, document.toHtml().toUtf8()},
            {u"text/plain"_s, plain}};
}

#include "common/JsonText.h"

#include <QString>

namespace JsonText {

QByteArray quoted(QStringView text, Slash slash)
{
    QByteArray out;
    out.reserve(text.size() + 2);
    out += '"';
    qsizetype start = 0;
    const auto flush = [&](qsizetype end) { out += text.mid(start, end - start).toUtf8(); };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        const char* escape = nullptr;
        switch (c) {
        case u'"':
            escape = "\\\"";
            break;
        case u'\\':
            escape = "\\\\";
            break;
        case u'/':
            escape = slash == Slash::escaped ? "\\/" : nullptr;
            break;
        case u'\n':
            escape = "\\n";
            break;
        case u'\r':
            escape = "\\r";
            break;
        case u'\t':
            escape = "\\t";
            break;
        case u'\b':
            escape = "\\b";
            break;
        case u'\f':
            escape = "\\f";
            break;
        default:
            break;
        }
        if (!escape && c >= 0x20)
            continue;
        flush(i);
        if (escape)
            out += escape;
        else
            out += "\\u" + QByteArray::number(c, 16).rightJustified(4, '0');
        start = i + 1;
    }
    flush(text.size());
    out += '"';
    return out;
}

} // namespace JsonText

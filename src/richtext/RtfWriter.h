#pragma once

#include <QByteArray>
#include <optional>

class QTextDocument;

// Writes a whole QTextDocument as a complete RTF document with the attributes RtfReader reads:
// font families and sizes, bold, italic, underline, strikethrough, foreground colours, paragraph
// alignment and hyperlinks. The output is 7-bit ASCII (other characters as \uN?) and depends only
// on the document: fonts and colours are numbered in order of first use.
class RtfWriter {
public:
    RtfWriter() = delete;

    // Nothing when the document is larger than RtfReader would read back.
    static std::optional<QByteArray> write(const QTextDocument& document);
};

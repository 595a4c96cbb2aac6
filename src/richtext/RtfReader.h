#pragma once

#include <QByteArrayView>
#include <memory>

class QTextDocument;

// Reads an RTF document into a QTextDocument: paragraphs, line breaks and tabs; font families and
// sizes; bold, italic, underline, strikethrough; foreground colours; paragraph alignment;
// hyperlinks; Unicode and code-page escapes. Everything else is skipped.
//
// Text without a \f of its own takes the paragraph style's font or else the document's default
// font (\deff), and the style's size; with none of these it gets no family or size, and takes
// the default of wherever it is shown or pasted.
//
// Made for untrusted input: one pass over the bytes without recursion, bounded group states and
// bounded output. Data that is not RTF, or breaks a bound, gives nothing.
class RtfReader {
public:
    static constexpr qsizetype maxInputBytes = 32 * 1024 * 1024;
    static constexpr qsizetype maxCharacters = 4 * 1024 * 1024; // UTF-16 units in the document
    static constexpr qsizetype maxPieces = 200 * 1000;          // text runs plus paragraphs
    // Group states kept (equal neighbours count once); groups nested deeper than that, with
    // states all different, are read flattened into their parent.
    static constexpr int maxGroupDepth = 512;

    RtfReader() = delete;

    static std::unique_ptr<QTextDocument> read(QByteArrayView rtf);
};

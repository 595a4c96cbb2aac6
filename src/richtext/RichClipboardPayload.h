#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

class QTextDocument;

// What a resolved rich expansion puts on the clipboard, in order of preference: RTF, HTML (many
// Linux applications paste only that) and UTF-8 plain text; plain text alone when no RTF can be
// produced.
struct ClipboardFormat {
    QString mimeType;
    QByteArray data;

    bool operator==(const ClipboardFormat&) const = default;
};

QList<ClipboardFormat> richClipboardPayload(const QTextDocument& document);

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <functional>

// One format of what is on the clipboard.
struct ClipboardEntry {
    QString mimeType;
    QByteArray data;

    friend bool operator==(const ClipboardEntry&, const ClipboardEntry&) = default;
};
using ClipboardContents = QList<ClipboardEntry>;

// The clipboard as the expansion uses it: keep what the user had, put the expansion there for
// the paste, and give the user's contents back afterwards. Main thread only.
class ExpansionClipboard {
public:
    virtual ~ExpansionClipboard() = default;

    // Every format of what is there now (empty when nothing is).
    virtual ClipboardContents save() = 0;
    virtual void write(const ClipboardContents& contents) = 0;
    // Puts the saved contents back (an empty list clears the clipboard) once the application
    // has read what was written, then calls done.
    virtual void restore(const ClipboardContents& saved, std::function<void()> done) = 0;
};

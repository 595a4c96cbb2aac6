#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <functional>
#include <optional>

// One format of what is on the clipboard.
struct ClipboardEntry {
    QString mimeType;
    QByteArray data;

    friend bool operator==(const ClipboardEntry&, const ClipboardEntry&) = default;
};
using ClipboardContents = QList<ClipboardEntry>;

// Where an expansion is put for the paste: the clipboard, and also the primary selection for
// applications whose paste key takes that one (xterm's Shift+Insert).
enum class PasteSelections { clipboard, clipboardAndPrimary };

// What the user had before an expansion; primary is set when it was taken too.
struct SavedClipboard {
    ClipboardContents clipboard;
    std::optional<ClipboardContents> primary;
};

// The clipboard as the expansion uses it: keep what the user had, put the expansion there for
// the paste, and give the user's contents back afterwards. Main thread only.
class ExpansionClipboard {
public:
    virtual ~ExpansionClipboard() = default;

    // Every format of what is there now (empty when nothing is).
    virtual SavedClipboard save(PasteSelections selections) = 0;
    virtual void write(const ClipboardContents& contents, PasteSelections selections) = 0;
    // Whether an application has fetched what write put there (true when nothing is waiting).
    virtual bool expansionRead() const = 0;
    // Puts the saved contents back (an empty list clears that selection) once the application
    // has read what was written, then calls done.
    virtual void restore(const SavedClipboard& saved, std::function<void()> done) = 0;
};

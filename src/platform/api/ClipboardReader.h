#pragma once

#include <QString>
#include <optional>

// Reads the system clipboard's plain text. Called from the main thread and, at a match, from
// the keyboard monitor's thread, so implementations must be safe to call from either.
class ClipboardReader {
public:
    virtual ~ClipboardReader() = default;
    // The clipboard's plain text, or nothing when it holds none.
    virtual std::optional<QString> plainText() const = 0;
};

#pragma once

#include <functional>

// Word of a system tray host (the panel area that shows status icons) on the desktop, so that
// an icon can wait for one that starts after us without looking again and again.
class TrayHostWatcher {
public:
    using Handler = std::function<void()>;

    virtual ~TrayHostWatcher() = default;

    // Runs `onHost` on the calling thread's event loop when a host is there: at once when one
    // already is, then each time a host takes the tray over, as long as the watcher lives.
    // False when this desktop cannot tell; then `onHost` never runs.
    virtual bool watch(Handler onHost) = 0;
};

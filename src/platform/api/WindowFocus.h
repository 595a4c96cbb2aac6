#pragma once

#include "platform/api/FrontmostApplication.h"

#include <QString>
#include <chrono>
#include <optional>

// What is known of the window that has the keyboard focus.
struct FocusedWindow {
    unsigned long id = 0; // 0: none
    QString windowClass;  // the class part of WM_CLASS ("XTerm", "Gedit", ...)
    qint64 pid = 0;       // from _NET_WM_PID; 0 when unknown
    int x = 0, y = 0, width = 0, height = 0;
};

// The focused top-level window: which it is, its class (for the paste key), its frame (for
// placing panels beside it), giving it the focus back, and whether it is one of ours.
class WindowFocus : public FrontmostApplication {
public:
    virtual std::optional<FocusedWindow> focusedWindow() const = 0;
    // Gives the keyboard focus back to a window (through the window manager when there is one).
    virtual void activate(unsigned long window) = 0;
    // Waits (at most `limit`) until the keyboard focus is in `window`; false when it is not.
    virtual bool waitForFocus(unsigned long window, std::chrono::milliseconds limit) const = 0;
};

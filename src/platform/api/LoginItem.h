#pragma once

#include <QString>

// Whether the desktop session starts ScrivLane when the user logs in.
class LoginItem {
public:
    virtual ~LoginItem() = default;
    // Read from the system each time: the user may have changed it elsewhere.
    virtual bool isEnabled() const = 0;
    // Registers or unregisters; the reason when that failed, else an empty string.
    virtual QString setEnabled(bool enabled) = 0;
};

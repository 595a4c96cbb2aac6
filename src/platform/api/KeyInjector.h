#pragma once

#include <QString>
#include <chrono>

// How the focused application wants to be asked to paste.
enum class PasteShortcut {
    controlV,      // most applications
    controlShiftV, // terminals
    shiftInsert,   // applications that paste the primary selection (xterm)
};

// Sends synthetic keys to the focused window, as if typed.
class KeyInjector {
public:
    virtual ~KeyInjector() = default;

    // Waits (at most `limit`) until the user has let go of Shift, Control, Alt and Super, so that
    // synthetic keys are not read as chords; false when they were still held.
    virtual bool waitForModifiersReleased(std::chrono::milliseconds limit) = 0;
    // Time between repeated keys (backspaces, arrows); 0 sends them together.
    virtual void setKeyGap(std::chrono::milliseconds gap) = 0;
    virtual void pressBackspace(int count) = 0;
    virtual void pressLeftArrow(int count) = 0;
    virtual void pressPaste(PasteShortcut shortcut) = 0;
    // From holdUserKeys to releaseHeldKeys what the user types is kept from the focused window
    // (the injector's own keys still reach it), then typed there in the order it came.
    // Releasing when nothing is held does nothing.
    virtual void holdUserKeys() = 0;
    virtual void releaseHeldKeys() = 0;
};

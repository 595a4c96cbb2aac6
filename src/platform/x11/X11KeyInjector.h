#pragma once

#include "platform/api/KeyInjector.h"
#include "platform/api/WindowFocus.h"

#include <memory>
#include <optional>

// Synthetic keys through XTEST on a connection of its own (main thread), and what the focused
// window is (EWMH's _NET_ACTIVE_WINDOW, else the input focus).
class X11KeyInjector final : public KeyInjector, public WindowFocus {
public:
    X11KeyInjector();
    ~X11KeyInjector() override;

    // Whether the display opened and has XTEST.
    bool isAvailable() const;

    bool waitForModifiersReleased(std::chrono::milliseconds limit) override;
    void setKeyGap(std::chrono::milliseconds gap) override;
    void pressBackspace(int count) override;
    void pressLeftArrow(int count) override;
    void pressPaste(PasteShortcut shortcut) override;
    void holdUserKeys() override;
    void releaseHeldKeys() override;

    std::optional<FocusedWindow> focusedWindow() const override;
    // Later keys from this injector reach the activated window.
    void activate(unsigned long window) override;
    bool waitForFocus(unsigned long window, std::chrono::milliseconds limit) const override;
    bool isOwnApplicationFrontmost() const override;

    struct Connection;

private:
    std::unique_ptr<Connection> m_connection;
    std::chrono::milliseconds m_keyGap{0};
};

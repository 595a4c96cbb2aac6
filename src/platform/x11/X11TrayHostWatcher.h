#pragma once

#include "platform/api/TrayHostWatcher.h"

#include <memory>
#include <optional>

// The tray of the display's default screen: whoever owns the _NET_SYSTEM_TRAY_S<screen>
// selection, followed through XFixes selection notices on a connection of its own, read when
// its socket has something (nothing wakes up while no host changes).
class X11TrayHostWatcher final : public TrayHostWatcher {
public:
    X11TrayHostWatcher();
    ~X11TrayHostWatcher() override;
    X11TrayHostWatcher(const X11TrayHostWatcher&) = delete;
    X11TrayHostWatcher& operator=(const X11TrayHostWatcher&) = delete;

    bool watch(Handler onHost) override;

private:
    std::optional<bool> readNotices();

    struct Connection;
    std::unique_ptr<Connection> m_connection;
};

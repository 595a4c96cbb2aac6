#include "platform/x11/X11TrayHostWatcher.h"

#include <QByteArray>
#include <QSocketNotifier>
#include <cstdlib>
#include <optional>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

namespace {

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};

template <typename T> using Reply = std::unique_ptr<T, Free>;

} // namespace

struct X11TrayHostWatcher::Connection {
    std::unique_ptr<xcb_connection_t, Disconnect> xcb;
    xcb_window_t root = XCB_NONE;
    xcb_atom_t selection = XCB_NONE;
    std::uint8_t selectionNotify = 0; // the XFixes event's response type
    std::unique_ptr<QSocketNotifier> notifier;
    Handler onHost;

    xcb_window_t owner() const
    {
        const xcb_get_selection_owner_cookie_t cookie =
            xcb_get_selection_owner(xcb.get(), selection);
        const Reply<xcb_get_selection_owner_reply_t> reply(
            xcb_get_selection_owner_reply(xcb.get(), cookie, nullptr));
        return reply ? reply->owner : XCB_NONE;
    }
};

X11TrayHostWatcher::X11TrayHostWatcher() : m_connection(std::make_unique<Connection>())
{
    Connection& c = *m_connection;
    int screenNumber = 0;
    // Even a failed connection is an object to free.
    c.xcb.reset(xcb_connect(nullptr, &screenNumber));
    xcb_connection_t* xcb = c.xcb.get();
    if (xcb_connection_has_error(xcb))
        return;
    xcb_screen_iterator_t screen = xcb_setup_roots_iterator(xcb_get_setup(xcb));
    for (int i = 0; i < screenNumber && screen.rem; ++i)
        xcb_screen_next(&screen);
    const xcb_query_extension_reply_t* xfixes = xcb_get_extension_data(xcb, &xcb_xfixes_id);
    if (!screen.rem || !xfixes || !xfixes->present)
        return;
    c.root = screen.data->root;

    // Qt docks its icon in the tray of the default screen, so that is the one watched.
    const QByteArray name = "_NET_SYSTEM_TRAY_S" + QByteArray::number(screenNumber);
    const xcb_intern_atom_cookie_t atomCookie =
        xcb_intern_atom(xcb, 0, std::uint16_t(name.size()), name.constData());
    // The version is agreed on before any other XFixes request, as the extension requires.
    const xcb_xfixes_query_version_cookie_t versionCookie =
        xcb_xfixes_query_version(xcb, XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION);
    const Reply<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(xcb, atomCookie, nullptr));
    const Reply<xcb_xfixes_query_version_reply_t> version(
        xcb_xfixes_query_version_reply(xcb, versionCookie, nullptr));
    if (!atom || !version || version->major_version < 1)
        return;
    c.selection = atom->atom;
    c.selectionNotify = std::uint8_t(xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
}

X11TrayHostWatcher::~X11TrayHostWatcher() = default;

bool X11TrayHostWatcher::watch(Handler onHost)
{
    Connection& c = *m_connection;
    if (c.selection == XCB_NONE || c.notifier)
        return false;
    c.onHost = std::move(onHost);
    xcb_xfixes_select_selection_input(c.xcb.get(), c.root, c.selection,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    // Asked once the notices are selected, so that a host coming in between is not missed. The
    // notices read with the reply are queued already (the socket will not say): the last one
    // is the newest news.
    bool hosted = c.owner() != XCB_NONE;
    if (const std::optional<bool> latest = readNotices())
        hosted = *latest;
    c.notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(c.xcb.get()),
                                                   QSocketNotifier::Read);
    QObject::connect(c.notifier.get(), &QSocketNotifier::activated, c.notifier.get(), [this] {
        const std::optional<bool> latest = readNotices();
        // The server is gone: the socket would stay readable for ever.
        if (xcb_connection_has_error(m_connection->xcb.get()))
            m_connection->notifier->setEnabled(false);
        if (latest.value_or(false))
            m_connection->onHost();
    });
    if (hosted)
        c.onHost();
    return true;
}

// Whether the tray has a host after the notices received so far; nothing when none came.
std::optional<bool> X11TrayHostWatcher::readNotices()
{
    Connection& c = *m_connection;
    std::optional<bool> hosted;
    while (xcb_generic_event_t* raw = xcb_poll_for_event(c.xcb.get())) {
        const Reply<xcb_generic_event_t> event(raw);
        if ((event->response_type & 0x7F) == c.selectionNotify)
            hosted = reinterpret_cast<const xcb_xfixes_selection_notify_event_t*>(raw)->owner !=
                     XCB_NONE;
    }
    return hosted;
}

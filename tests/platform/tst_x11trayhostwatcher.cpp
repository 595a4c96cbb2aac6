#include "platform/x11/X11TrayHostWatcher.h"
#include "support/MissingTool.h"
#include "support/XvfbServer.h"

#include <QScopeGuard>
#include <QTest>
#include <cstdlib>
#include <xcb/xcb.h>

namespace {

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

// A tray host as a panel starts one, on a connection of its own: a window takes the tray
// selection of the default screen (or the one named) and the root window hears MANAGER. It
// quits with its connection.
class TrayHost {
public:
    explicit TrayHost(QByteArray selection = {})
    {
        int screenNumber = 0;
        m_xcb.reset(xcb_connect(nullptr, &screenNumber));
        xcb_connection_t* c = m_xcb.get();
        xcb_screen_iterator_t screen = xcb_setup_roots_iterator(xcb_get_setup(c));
        for (int i = 0; i < screenNumber; ++i)
            xcb_screen_next(&screen);
        const xcb_window_t root = screen.data->root;
        if (selection.isEmpty())
            selection = "_NET_SYSTEM_TRAY_S" + QByteArray::number(screenNumber);
        const xcb_atom_t tray = atom(selection);
        const xcb_window_t window = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window, root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_set_selection_owner(c, window, tray, XCB_CURRENT_TIME);
        xcb_client_message_event_t manager{};
        manager.response_type = XCB_CLIENT_MESSAGE;
        manager.format = 32;
        manager.window = root;
        manager.type = atom("MANAGER");
        manager.data.data32[0] = XCB_CURRENT_TIME;
        manager.data.data32[1] = tray;
        manager.data.data32[2] = window;
        xcb_send_event(c, 0, root, XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&manager));
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)); // all done
    }

private:
    xcb_atom_t atom(const QByteArray& name)
    {
        xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
            m_xcb.get(),
            xcb_intern_atom(m_xcb.get(), 0, std::uint16_t(name.size()), name.constData()), nullptr);
        const xcb_atom_t found = reply ? reply->atom : XCB_NONE;
        std::free(reply);
        return found;
    }

    std::unique_ptr<xcb_connection_t, Disconnect> m_xcb;
};

} // namespace

// The tray host watcher against a private X server, with hosts started and ended under it.
class TestX11TrayHostWatcher : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<XvfbServer> m_server;

private Q_SLOTS:
    void initTestCase()
    {
        m_server = std::make_unique<XvfbServer>(XvfbServer::Screens{2});
        if (!m_server->isRunning())
            SKIP_FOR_MISSING_TOOL("needs Xvfb");
    }
    void cleanupTestCase() { m_server.reset(); }
    void hostsComingAndGoing_data();
    void hostsComingAndGoing();
};

void TestX11TrayHostWatcher::hostsComingAndGoing_data()
{
    QTest::addColumn<int>("screen"); // the one DISPLAY names
    QTest::newRow("screen 0") << 0;
    QTest::newRow("screen 1") << 1;
}

void TestX11TrayHostWatcher::hostsComingAndGoing()
{
    QFETCH(int, screen);
    const QByteArray display = qgetenv("DISPLAY");
    qputenv("DISPLAY", m_server->display() + '.' + QByteArray::number(screen));
    const auto restore = qScopeGuard([display] { qputenv("DISPLAY", display); });
    X11TrayHostWatcher watcher;
    int heard = 0;
    QVERIFY(watcher.watch([&heard] { ++heard; }));
    QCOMPARE(heard, 0);

    // The other screen's tray is not ours; ours is, once a host takes it.
    const TrayHost otherScreen("_NET_SYSTEM_TRAY_S" + QByteArray::number(1 - screen));
    auto host = std::make_unique<TrayHost>();
    QTRY_COMPARE(heard, 1);
    QTest::qWait(100);
    QCOMPARE(heard, 1);

    // The host quits (the panel restarts): the next one is heard too.
    host.reset();
    QTest::qWait(100);
    QCOMPARE(heard, 1);
    host = std::make_unique<TrayHost>();
    QTRY_COMPARE(heard, 2);

    // Watching starts while a host runs: it is heard at once.
    X11TrayHostWatcher late;
    int lateHeard = 0;
    QVERIFY(late.watch([&lateHeard] { ++lateHeard; }));
    QCOMPARE(lateHeard, 1);
}

QTEST_GUILESS_MAIN(TestX11TrayHostWatcher)
#include "tst_x11trayhostwatcher.moc"

#include "platform/x11/X11KeyboardMonitor.h"

#include "common/UniqueFd.h"
#include "platform/x11/X11KeyMapping.h"

#include <QByteArray>
#include <QLoggingCategory>
#include <algorithm>
#include <atomic>
#include <future>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <vector>

// X11 last: its macros (None, KeyPress, Bool, Status) clash with Qt's headers.
#include <X11/XKBlib.h>
#include <X11/Xlib-xcb.h>
#include <X11/Xlib.h>
#include <X11/Xproto.h>
#include <X11/extensions/record.h>
#include <xkbcommon/xkbcommon-compose.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

Q_LOGGING_CATEGORY(lcKeyboard, "scrivlane.keyboard")

namespace {

template <typename T, void (*Free)(T*)> struct Deleter {
    void operator()(T* p) const
    {
        if (p)
            Free(p);
    }
};
void closeDisplay(Display* d)
{
    XCloseDisplay(d);
}
using DisplayPtr = std::unique_ptr<Display, Deleter<Display, closeDisplay>>;
using ContextPtr = std::unique_ptr<xkb_context, Deleter<xkb_context, xkb_context_unref>>;
using KeymapPtr = std::unique_ptr<xkb_keymap, Deleter<xkb_keymap, xkb_keymap_unref>>;
using StatePtr = std::unique_ptr<xkb_state, Deleter<xkb_state, xkb_state_unref>>;
using ComposeTablePtr =
    std::unique_ptr<xkb_compose_table, Deleter<xkb_compose_table, xkb_compose_table_unref>>;
using ComposeStatePtr =
    std::unique_ptr<xkb_compose_state, Deleter<xkb_compose_state, xkb_compose_state_unref>>;

// The locale whose compose table applies, as the C library would choose it.
QByteArray composeLocale()
{
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const QByteArray value = qgetenv(variable);
        if (!value.isEmpty())
            return value;
    }
    return "C";
}

// Xlib's I/O error handler is one for the whole process, and the default one (Qt's too) ends
// the process before a display's exit handler runs. The monitor's connections may break
// quietly; every other one goes to the handler that was there before.
std::mutex ioErrorLock;
std::vector<Display*> monitorDisplays;
XIOErrorHandler otherIOErrors = nullptr;

int onIOError(Display* display)
{
    XIOErrorHandler other = nullptr;
    {
        std::lock_guard lock(ioErrorLock);
        if (std::find(monitorDisplays.begin(), monitorDisplays.end(), display) !=
            monitorDisplays.end())
            return 0;
        other = otherIOErrors;
    }
    return other ? other(display) : 0;
}

void keepAliveOnIOErrors(std::initializer_list<Display*> displays)
{
    std::lock_guard lock(ioErrorLock);
    // Set again on every start: a handler installed since (a new Qt connection) would end us.
    const XIOErrorHandler previous = XSetIOErrorHandler(onIOError);
    if (previous != onIOError)
        otherIOErrors = previous;
    monitorDisplays.insert(monitorDisplays.end(), displays);
}

// After the display is closed: closing one whose server is gone ends in an I/O error.
void forgetDisplays(std::initializer_list<Display*> displays)
{
    std::lock_guard lock(ioErrorLock);
    for (Display* display : displays) {
        const auto found = std::find(monitorDisplays.begin(), monitorDisplays.end(), display);
        if (found != monitorDisplays.end())
            monitorDisplays.erase(found);
    }
}

} // namespace

struct X11KeyboardMonitor::Session {
    DisplayPtr control;       // creates, disables and frees the RECORD context
    DisplayPtr data;          // receives the recorded events
    DisplayPtr keymapDisplay; // reads the keymap and hears when it changes
    XRecordContext context = 0;
    UniqueFd wakeFd;
    int xkbEventBase = 0;
    int32_t deviceId = -1;
    ContextPtr xkb{xkb_context_new(XKB_CONTEXT_NO_FLAGS)};
    KeymapPtr keymap;
    StatePtr state;
    ComposeTablePtr composeTable;
    ComposeStatePtr compose;
    Handler handler;
    LostHandler onLost;
    std::promise<void> ready;
    std::atomic<bool> readySignalled{false};
    std::atomic<bool> lost{false};     // a connection broke
    std::atomic<bool> stopping{false}; // stop() ends the recording: its end of data is no loss
    // A break while start() waits is start()'s to report; once running, the handler's.
    enum class Phase { Starting, Running, Ended };
    std::atomic<Phase> phase{Phase::Starting};
    std::thread thread;

    ~Session()
    {
        // Closing a display whose server is gone calls connectionLost(), which sets `lost`:
        // close them while every member is still alive.
        const std::initializer_list<Display*> displays{control.get(), data.get(),
                                                       keymapDisplay.get()};
        keymapDisplay.reset();
        data.reset();
        control.reset();
        forgetDisplays(displays);
    }

    void signalReady()
    {
        if (!readySignalled.exchange(true))
            ready.set_value();
    }

    bool loadKeymap()
    {
        xcb_connection_t* connection = XGetXCBConnection(keymapDisplay.get());
        KeymapPtr next(xkb_x11_keymap_new_from_device(xkb.get(), connection, deviceId,
                                                      XKB_KEYMAP_COMPILE_NO_FLAGS));
        if (!next)
            return false;
        keymap = std::move(next);
        state.reset(xkb_state_new(keymap.get()));
        return state != nullptr;
    }

    // Called for every recorded press, on the monitor thread.
    void keyPressed(xkb_keycode_t keycode, unsigned int modifiers)
    {
        // Each event carries its own modifier state; tracking presses would get stuck when a
        // keymap reload falls between a press and its release.
        const unsigned int locks = LockMask | Mod2Mask;
        xkb_state_update_mask(state.get(), modifiers & 0xFF & ~locks, 0, modifiers & locks, 0, 0,
                              (modifiers >> 13) & 3);
        const xkb_keysym_t keysym = xkb_state_key_get_one_sym(state.get(), keycode);

        QByteArray text;
        bool composing = false;
        if (compose && xkb_compose_state_feed(compose.get(), keysym) == XKB_COMPOSE_FEED_ACCEPTED) {
            switch (xkb_compose_state_get_status(compose.get())) {
            case XKB_COMPOSE_COMPOSING:
                composing = true;
                break;
            case XKB_COMPOSE_COMPOSED: {
                char buffer[64];
                const int size = xkb_compose_state_get_utf8(compose.get(), buffer, sizeof buffer);
                text = QByteArray(buffer, std::min<int>(size, sizeof buffer - 1));
                xkb_compose_state_reset(compose.get());
                composing = true; // the text is the composed one
                break;
            }
            case XKB_COMPOSE_CANCELLED:
                xkb_compose_state_reset(compose.get());
                composing = true;
                break;
            case XKB_COMPOSE_NOTHING:
                break;
            }
        }
        if (!composing) {
            char buffer[64];
            const int size = xkb_state_key_get_utf8(state.get(), keycode, buffer, sizeof buffer);
            text = QByteArray(buffer, std::min<int>(size, sizeof buffer - 1));
        }
        handler(KeyEvent{X11KeyMapping::keyCode(keysym), X11KeyMapping::modifierFlags(modifiers),
                         QString::fromUtf8(text)});
    }

    static void onRecorded(XPointer closure, XRecordInterceptData* recorded)
    {
        auto* session = reinterpret_cast<Session*>(closure);
        if (recorded->category == XRecordStartOfData) {
            session->signalReady();
        } else if (recorded->category == XRecordEndOfData) {
            // The context went away with the connection that owns it.
            if (!session->stopping)
                session->lost = true;
        } else if (recorded->category == XRecordFromServer && recorded->data) {
            const auto* event = reinterpret_cast<const xEvent*>(recorded->data);
            if ((event->u.u.type & 0x7F) == KeyPress)
                session->keyPressed(event->u.u.detail, event->u.keyButtonPointer.state);
        }
        XRecordFreeData(recorded);
    }

    void handleKeymapEvents()
    {
        while (XPending(keymapDisplay.get()) > 0) {
            XEvent event;
            XNextEvent(keymapDisplay.get(), &event);
            if (event.type != xkbEventBase)
                continue;
            const auto* xkbEvent = reinterpret_cast<const XkbAnyEvent*>(&event);
            if (xkbEvent->xkb_type == XkbNewKeyboardNotify || xkbEvent->xkb_type == XkbMapNotify) {
                if (!loadKeymap())
                    qCWarning(lcKeyboard) << "could not reload the keymap";
            }
        }
    }

    void run()
    {
        watch();
        signalReady(); // start() must not wait out its time limit for a server that went away
        const Phase before = phase.exchange(Phase::Ended);
        if (before == Phase::Running && lost && !stopping && onLost)
            onLost();
    }

    void watch()
    {
        if (!XRecordEnableContextAsync(data.get(), context, onRecorded,
                                       reinterpret_cast<XPointer>(this))) {
            lost = true;
            return;
        }
        pollfd fds[3] = {{ConnectionNumber(data.get()), POLLIN, 0},
                         {ConnectionNumber(keymapDisplay.get()), POLLIN, 0},
                         {wakeFd.get(), POLLIN, 0}};
        while (true) {
            XRecordProcessReplies(data.get());
            handleKeymapEvents();
            if (lost) // an end of data leaves the sockets open: poll() would wait for ever
                return;
            // Sleeps until the server sends something: no wake-ups while nobody types.
            if (::poll(fds, 3, -1) < 0 && errno != EINTR) {
                lost = true;
                return;
            }
            if (fds[2].revents & POLLIN)
                return;
            if ((fds[0].revents | fds[1].revents) & (POLLHUP | POLLERR | POLLNVAL)) {
                lost = true;
                return;
            }
        }
    }
};

namespace {
// Xlib exits the process when a connection breaks unless this handler returns instead.
void connectionLost(Display*, void* session)
{
    static_cast<X11KeyboardMonitor::Session*>(session)->lost = true;
}
} // namespace

X11KeyboardMonitor::X11KeyboardMonitor() = default;

X11KeyboardMonitor::~X11KeyboardMonitor()
{
    stop();
}

bool X11KeyboardMonitor::isRunning() const
{
    return m_session && !m_session->lost;
}

bool X11KeyboardMonitor::start(Handler onKeyDown, LostHandler onLost)
{
    if (isRunning())
        return true;
    stop(); // what is left of a session whose server went away
    auto session = std::make_unique<Session>();
    session->handler = std::move(onKeyDown);
    session->onLost = std::move(onLost);
    const auto fail = [this](const QString& reason) {
        m_lastError = reason;
        qCWarning(lcKeyboard).noquote() << reason;
        return false;
    };
    session->control.reset(XOpenDisplay(nullptr));
    session->data.reset(XOpenDisplay(nullptr));
    session->keymapDisplay.reset(XOpenDisplay(nullptr));
    if (!session->control || !session->data || !session->keymapDisplay)
        return fail(QStringLiteral("Cannot open the X display \"%1\". ScrivLane needs an X11 "
                                   "session (XWayland counts).")
                        .arg(QString::fromLocal8Bit(qgetenv("DISPLAY"))));
    const std::initializer_list<Display*> displays{session->control.get(), session->data.get(),
                                                   session->keymapDisplay.get()};
    keepAliveOnIOErrors(displays);
    for (Display* display : displays)
        XSetIOErrorExitHandler(display, connectionLost, session.get());

    int major = 0, minor = 0;
    if (!XRecordQueryVersion(session->control.get(), &major, &minor))
        return fail(QStringLiteral("The X server has no RECORD extension, so keys typed in other "
                                   "applications cannot be seen."));

    int opcode = 0, error = 0, xkbMajor = XkbMajorVersion, xkbMinor = XkbMinorVersion;
    if (!XkbQueryExtension(session->keymapDisplay.get(), &opcode, &session->xkbEventBase, &error,
                           &xkbMajor, &xkbMinor))
        return fail(QStringLiteral("The X server has no XKB extension."));
    session->deviceId =
        xkb_x11_get_core_keyboard_device_id(XGetXCBConnection(session->keymapDisplay.get()));
    if (session->deviceId < 0 || !session->xkb || !session->loadKeymap())
        return fail(QStringLiteral("Cannot read the keyboard layout from the X server."));
    XkbSelectEvents(session->keymapDisplay.get(), XkbUseCoreKbd,
                    XkbNewKeyboardNotifyMask | XkbMapNotifyMask,
                    XkbNewKeyboardNotifyMask | XkbMapNotifyMask);
    XFlush(session->keymapDisplay.get());

    session->composeTable.reset(xkb_compose_table_new_from_locale(
        session->xkb.get(), composeLocale().constData(), XKB_COMPOSE_COMPILE_NO_FLAGS));
    if (session->composeTable)
        session->compose.reset(
            xkb_compose_state_new(session->composeTable.get(), XKB_COMPOSE_STATE_NO_FLAGS));
    else
        qCInfo(lcKeyboard) << "no compose table for this locale: dead keys give no text";

    XRecordClientSpec clients = XRecordAllClients;
    XRecordRange* range = XRecordAllocRange();
    range->device_events.first = KeyPress;
    range->device_events.last = KeyRelease;
    session->context = XRecordCreateContext(session->control.get(), 0, &clients, 1, &range, 1);
    XFree(range);
    if (!session->context)
        return fail(QStringLiteral("The X server refused to record keyboard events."));
    XSync(session->control.get(), False);

    session->wakeFd.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    std::future<void> ready = session->ready.get_future();
    Session* raw = session.get();
    session->thread = std::thread([raw] { raw->run(); });
    m_session = std::move(session);
    // Keys typed before the server starts recording would be lost without a word.
    auto starting = Session::Phase::Starting;
    if (ready.wait_for(std::chrono::seconds(5)) != std::future_status::ready ||
        !m_session->phase.compare_exchange_strong(starting, Session::Phase::Running)) {
        stop();
        return fail(QStringLiteral("The X server did not start recording keyboard events."));
    }
    m_lastError.clear();
    return true;
}

void X11KeyboardMonitor::stop()
{
    if (!m_session)
        return;
    Session& s = *m_session;
    s.stopping = true;
    if (!s.lost) {
        XRecordDisableContext(s.control.get(), s.context);
        XSync(s.control.get(), False);
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(s.wakeFd.get(), &one, sizeof one);
    if (s.thread.joinable())
        s.thread.join();
    if (!s.lost)
        XRecordFreeContext(s.control.get(), s.context);
    m_session.reset();
}

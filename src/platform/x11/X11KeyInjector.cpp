#include "platform/x11/X11KeyInjector.h"

#include <QByteArray>
#include <QThread>
#include <mutex>
#include <unistd.h>

// X11 last: its macros clash with Qt's headers.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

struct X11KeyInjector::Connection {
    Display* display = nullptr;
    bool hasXTest = false;
    Atom activeAtom = 0;
    // The frontmost check runs on the keyboard monitor's thread, the keys on the main thread.
    mutable std::mutex lock;
    // Whether one of our windows is the active one, as last read from the window manager's
    // _NET_ACTIVE_WINDOW; its change notices clear it. Kept so that a key costs no round trip.
    mutable std::optional<bool> ownActive;

    ~Connection()
    {
        if (display)
            XCloseDisplay(display);
    }

    void tap(KeySym symbol, std::initializer_list<KeySym> modifiers = {})
    {
        for (KeySym m : modifiers)
            XTestFakeKeyEvent(display, XKeysymToKeycode(display, m), True, CurrentTime);
        const KeyCode code = XKeysymToKeycode(display, symbol);
        XTestFakeKeyEvent(display, code, True, CurrentTime);
        XTestFakeKeyEvent(display, code, False, CurrentTime);
        for (auto m = std::rbegin(modifiers); m != std::rend(modifiers); ++m)
            XTestFakeKeyEvent(display, XKeysymToKeycode(display, *m), False, CurrentTime);
    }

    // The window manager's active window; 0 when there is no window manager to name one.
    Window managerActiveWindow() const
    {
        Atom type = 0;
        int format = 0;
        unsigned long count = 0, after = 0;
        unsigned char* data = nullptr;
        Window window = 0;
        if (XGetWindowProperty(display, DefaultRootWindow(display), activeAtom, 0, 1, False,
                               XA_WINDOW, &type, &format, &count, &after, &data) == Success &&
            data) {
            if (count == 1 && format == 32)
                window = *reinterpret_cast<Window*>(data);
            XFree(data);
        }
        return window;
    }

    Window activeWindow() const
    {
        if (const Window window = managerActiveWindow())
            return window;
        // No window manager: the window holding the input focus, up to its top level.
        Window focus = 0;
        int revert = 0;
        XGetInputFocus(display, &focus, &revert);
        if (focus == PointerRoot || focus == 0)
            return 0;
        return topLevel(focus);
    }

    Window topLevel(Window window) const
    {
        const Window root = DefaultRootWindow(display);
        for (;;) {
            Window rootReturn = 0, parent = 0;
            Window* children = nullptr;
            unsigned int count = 0;
            if (!XQueryTree(display, window, &rootReturn, &parent, &children, &count))
                return window;
            if (children)
                XFree(children);
            if (parent == root || parent == 0)
                return window;
            window = parent;
        }
    }

    // WM_CLASS may sit on the top level or on the client window below a frame.
    QString windowClass(Window window) const
    {
        XClassHint hint{};
        if (XGetClassHint(display, window, &hint)) {
            const QString name = QString::fromLocal8Bit(hint.res_class);
            XFree(hint.res_name);
            XFree(hint.res_class);
            return name;
        }
        return QString();
    }

    // Reads the root window's property notices queued so far, without waiting for any.
    void takeNotices() const
    {
        while (XPending(display) > 0) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == PropertyNotify && event.xproperty.atom == activeAtom)
                ownActive.reset();
        }
    }

    qint64 windowPid(Window window) const
    {
        const Atom pidAtom = XInternAtom(display, "_NET_WM_PID", True);
        if (pidAtom == 0)
            return 0;
        Atom type = 0;
        int format = 0;
        unsigned long count = 0, after = 0;
        unsigned char* data = nullptr;
        qint64 pid = 0;
        if (XGetWindowProperty(display, window, pidAtom, 0, 1, False, XA_CARDINAL, &type, &format,
                               &count, &after, &data) == Success &&
            data) {
            if (count == 1 && format == 32)
                pid = qint64(*reinterpret_cast<unsigned long*>(data));
            XFree(data);
        }
        return pid;
    }
};

X11KeyInjector::X11KeyInjector() : m_connection(std::make_unique<Connection>())
{
    m_connection->display = XOpenDisplay(nullptr);
    if (!m_connection->display)
        return;
    int event = 0, error = 0, major = 0, minor = 0;
    m_connection->hasXTest =
        XTestQueryExtension(m_connection->display, &event, &error, &major, &minor);
    // Created if missing, so that a window manager started later is heard too.
    m_connection->activeAtom = XInternAtom(m_connection->display, "_NET_ACTIVE_WINDOW", False);
    XSelectInput(m_connection->display, DefaultRootWindow(m_connection->display),
                 PropertyChangeMask);
    XFlush(m_connection->display);
}

X11KeyInjector::~X11KeyInjector() = default;

bool X11KeyInjector::isAvailable() const
{
    return m_connection->display && m_connection->hasXTest;
}

bool X11KeyInjector::waitForModifiersReleased(std::chrono::milliseconds limit)
{
    if (!isAvailable())
        return false;
    Display* d = m_connection->display;
    const KeySym modifiers[] = {XK_Shift_L, XK_Shift_R, XK_Control_L,       XK_Control_R,
                                XK_Alt_L,   XK_Alt_R,   XK_Super_L,         XK_Super_R,
                                XK_Meta_L,  XK_Meta_R,  XK_ISO_Level3_Shift};
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        char keys[32];
        {
            std::lock_guard lock(m_connection->lock);
            XQueryKeymap(d, keys);
        }
        bool held = false;
        for (KeySym symbol : modifiers) {
            const KeyCode code = XKeysymToKeycode(d, symbol);
            if (code && (keys[code / 8] & (1 << (code % 8))))
                held = true;
        }
        if (!held)
            return true;
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        QThread::msleep(10);
    }
}

void X11KeyInjector::pressBackspace(int count)
{
    if (!isAvailable())
        return;
    std::lock_guard lock(m_connection->lock);
    for (int i = 0; i < count; ++i)
        m_connection->tap(XK_BackSpace);
    XFlush(m_connection->display);
}

void X11KeyInjector::pressLeftArrow(int count)
{
    if (!isAvailable())
        return;
    std::lock_guard lock(m_connection->lock);
    for (int i = 0; i < count; ++i)
        m_connection->tap(XK_Left);
    XFlush(m_connection->display);
}

void X11KeyInjector::pressPaste(PasteShortcut shortcut)
{
    if (!isAvailable())
        return;
    std::lock_guard lock(m_connection->lock);
    switch (shortcut) {
    case PasteShortcut::controlV:
        m_connection->tap(XK_v, {XK_Control_L});
        break;
    case PasteShortcut::controlShiftV:
        m_connection->tap(XK_v, {XK_Control_L, XK_Shift_L});
        break;
    case PasteShortcut::shiftInsert:
        m_connection->tap(XK_Insert, {XK_Shift_L});
        break;
    }
    XFlush(m_connection->display);
}

std::optional<FocusedWindow> X11KeyInjector::focusedWindow() const
{
    if (!m_connection->display)
        return std::nullopt;
    std::lock_guard lock(m_connection->lock);
    const Connection& c = *m_connection;
    const Window window = c.activeWindow();
    if (!window)
        return std::nullopt;
    FocusedWindow focused;
    focused.id = window;
    focused.windowClass = c.windowClass(window);
    focused.pid = c.windowPid(window);
    XWindowAttributes attributes{};
    if (XGetWindowAttributes(c.display, window, &attributes)) {
        Window child = 0;
        XTranslateCoordinates(c.display, window, DefaultRootWindow(c.display), 0, 0, &focused.x,
                              &focused.y, &child);
        focused.width = attributes.width;
        focused.height = attributes.height;
    }
    return focused;
}

void X11KeyInjector::activate(unsigned long window)
{
    if (!m_connection->display || !window)
        return;
    std::lock_guard lock(m_connection->lock);
    Display* d = m_connection->display;
    // Ask the window manager, if any, as a pager would (source indication 2).
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = m_connection->activeAtom;
    event.xclient.format = 32;
    event.xclient.data.l[0] = 2;
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(d, DefaultRootWindow(d), False, SubstructureRedirectMask | SubstructureNotifyMask,
               &event);
    XSetInputFocus(d, window, RevertToParent, CurrentTime);
    XSync(d, False);
}

bool X11KeyInjector::isOwnApplicationFrontmost() const
{
    if (!m_connection->display)
        return false;
    std::lock_guard lock(m_connection->lock);
    const Connection& c = *m_connection;
    c.takeNotices();
    if (c.ownActive)
        return *c.ownActive;
    const qint64 self = ::getpid();
    if (const Window active = c.managerActiveWindow()) {
        c.ownActive = c.windowPid(active) == self;
        return *c.ownActive;
    }
    // Without a window manager nothing announces focus changes: ask each time.
    const Window focused = c.activeWindow();
    return focused && c.windowPid(focused) == self;
}

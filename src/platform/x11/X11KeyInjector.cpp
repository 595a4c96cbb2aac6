#include "platform/x11/X11KeyInjector.h"

#include <QByteArray>
#include <QThread>
#include <mutex>
#include <unistd.h>
#include <vector>

// X11 last: its macros clash with Qt's headers.
#include <X11/XKBlib.h>
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
    // The user's keys taken by our keyboard grab while an expansion runs, in order.
    bool holding = false;
    mutable std::vector<std::pair<unsigned int, bool>> held; // keycode, pressed

    ~Connection()
    {
        if (display)
            XCloseDisplay(display);
    }

    void tap(KeySym symbol, std::initializer_list<KeySym> modifiers = {})
    {
        tapCode(XKeysymToKeycode(display, symbol), modifiers);
    }

    void tapCode(KeyCode code, std::initializer_list<KeySym> modifiers)
    {
        if (!code)
            return; // a modifier pressed alone would do something else
        for (KeySym m : modifiers)
            XTestFakeKeyEvent(display, XKeysymToKeycode(display, m), True, CurrentTime);
        XTestFakeKeyEvent(display, code, True, CurrentTime);
        XTestFakeKeyEvent(display, code, False, CurrentTime);
        for (auto m = std::rbegin(modifiers); m != std::rend(modifiers); ++m)
            XTestFakeKeyEvent(display, XKeysymToKeycode(display, *m), False, CurrentTime);
    }

    // The same key `count` times, each one handled by the server before the next is sent and
    // `gap` apart: some applications (AbiWord) apply only the first of keys that come together.
    void tapPaced(KeySym symbol, int count, std::chrono::milliseconds gap)
    {
        const KeyCode code = XKeysymToKeycode(display, symbol);
        for (int i = 0; i < count; ++i) {
            if (i > 0 && gap.count() > 0)
                QThread::msleep(gap.count());
            // The user's keys stay held in the gaps: only ours may land between ours. The
            // server delivers queued input before it reads the next request, so our keys reach
            // the window before the grab is taken again.
            if (holding)
                XUngrabKeyboard(display, CurrentTime);
            tapCode(code, {});
            if (holding)
                holding = grab();
            else
                XSync(display, False);
        }
    }

    // The key that carries `keysym` in any group of the keymap; 0 when none does.
    KeyCode keyFor(KeySym keysym) const
    {
        KeyCode found = 0;
        if (XkbDescPtr keyboard = XkbGetMap(display, XkbAllClientInfoMask, XkbUseCoreKbd)) {
            for (int code = keyboard->min_key_code; !found && code <= keyboard->max_key_code;
                 ++code) {
                const int groups = XkbKeyNumGroups(keyboard, code);
                for (int group = 0; !found && group < groups; ++group)
                    for (int level = 0; !found && level < XkbKeyGroupWidth(keyboard, code, group);
                         ++level)
                        if (XkbKeycodeToKeysym(display, KeyCode(code), group, level) == keysym)
                            found = KeyCode(code);
            }
            XkbFreeKeyboard(keyboard, 0, True);
        }
        return found;
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

    // Whether the input focus is `window` or inside it.
    bool hasFocusIn(Window window) const
    {
        Window focus = 0;
        int revert = 0;
        XGetInputFocus(display, &focus, &revert);
        const Window root = DefaultRootWindow(display);
        while (focus && focus != PointerRoot && focus != root) {
            if (focus == window)
                return true;
            Window rootReturn = 0, parent = 0;
            Window* children = nullptr;
            unsigned int count = 0;
            if (!XQueryTree(display, focus, &rootReturn, &parent, &children, &count))
                return false;
            if (children)
                XFree(children);
            focus = parent;
        }
        return false;
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

    // Reads the events queued so far, without waiting for any: the root window's property
    // notices and the keys our grab took.
    void takeNotices() const
    {
        while (XPending(display) > 0) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == PropertyNotify && event.xproperty.atom == activeAtom)
                ownActive.reset();
            else if (event.type == KeyPress || event.type == KeyRelease)
                held.emplace_back(event.xkey.keycode, event.type == KeyPress);
        }
    }

    bool grab()
    {
        return XGrabKeyboard(display, DefaultRootWindow(display), False, GrabModeAsync,
                             GrabModeAsync, CurrentTime) == GrabSuccess;
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

namespace {

// Our own keys must reach the focused window, not our grab: it is lifted while they are sent and
// taken again in the same batch of requests (the server delivers them before it reads the next).
class GrabLifted {
public:
    explicit GrabLifted(X11KeyInjector::Connection& c) : m_c(c)
    {
        if (m_c.holding)
            XUngrabKeyboard(m_c.display, CurrentTime);
    }
    ~GrabLifted()
    {
        if (m_c.holding)
            m_c.holding = m_c.grab();
        else
            XSync(m_c.display, False);
    }
    GrabLifted(const GrabLifted&) = delete;
    GrabLifted& operator=(const GrabLifted&) = delete;

private:
    X11KeyInjector::Connection& m_c;
};

// A layout without Latin letters (Russian, Greek, Hebrew, Arabic alone) has no `v`, and
// applications match Ctrl+V by its keysym: a key with no symbols carries `v` for the paste, as
// long as the application needs to read it, and is emptied again after.
class ScratchKey {
public:
    ScratchKey(Display* display, KeySym keysym) : m_display(display)
    {
        int first = 0, last = 0, perCode = 0;
        XDisplayKeycodes(display, &first, &last);
        KeySym* map = XGetKeyboardMapping(display, KeyCode(first), last - first + 1, &perCode);
        if (!map)
            return;
        for (int code = last; code >= first && !m_code; --code) {
            bool empty = true;
            for (int i = 0; i < perCode; ++i)
                if (map[(code - first) * perCode + i] != NoSymbol)
                    empty = false;
            if (empty)
                m_code = KeyCode(code);
        }
        XFree(map);
        if (!m_code)
            return;
        KeySym symbols[2] = {keysym, keysym};
        XChangeKeyboardMapping(display, m_code, 2, symbols, 1);
        XSync(display, False);
    }
    ~ScratchKey()
    {
        if (!m_code)
            return;
        XSync(m_display, False);
        QThread::msleep(50);
        KeySym none = NoSymbol;
        XChangeKeyboardMapping(m_display, m_code, 1, &none, 1);
        XSync(m_display, False);
    }
    ScratchKey(const ScratchKey&) = delete;
    ScratchKey& operator=(const ScratchKey&) = delete;
    KeyCode code() const { return m_code; }

private:
    Display* m_display;
    KeyCode m_code = 0;
};

} // namespace

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

void X11KeyInjector::setKeyGap(std::chrono::milliseconds gap)
{
    m_keyGap = gap;
}

void X11KeyInjector::pressBackspace(int count)
{
    if (!isAvailable())
        return;
    std::lock_guard lock(m_connection->lock);
    m_connection->tapPaced(XK_BackSpace, count, m_keyGap);
}

void X11KeyInjector::pressLeftArrow(int count)
{
    if (!isAvailable())
        return;
    std::lock_guard lock(m_connection->lock);
    m_connection->tapPaced(XK_Left, count, m_keyGap);
}

void X11KeyInjector::pressPaste(PasteShortcut shortcut)
{
    if (!isAvailable())
        return;
    std::lock_guard lock(m_connection->lock);
    Connection& c = *m_connection;
    std::optional<ScratchKey> scratch;
    KeyCode v = 0;
    if (shortcut != PasteShortcut::shiftInsert && !(v = c.keyFor(XK_v))) {
        scratch.emplace(c.display, XK_v);
        v = scratch->code();
    }
    GrabLifted lifted(c);
    switch (shortcut) {
    case PasteShortcut::controlV:
        c.tapCode(v, {XK_Control_L});
        break;
    case PasteShortcut::controlShiftV:
        c.tapCode(v, {XK_Control_L, XK_Shift_L});
        break;
    case PasteShortcut::shiftInsert:
        m_connection->tap(XK_Insert, {XK_Shift_L});
        break;
    }
    XFlush(m_connection->display);
}

void X11KeyInjector::holdUserKeys()
{
    if (!isAvailable())
        return;
    std::lock_guard lock(m_connection->lock);
    Connection& c = *m_connection;
    if (c.holding)
        return;
    c.takeNotices();
    c.held.clear();
    // Another client's grab (an open menu) wins: then nothing is held.
    c.holding = c.grab();
    XFlush(c.display);
}

void X11KeyInjector::releaseHeldKeys()
{
    if (!isAvailable())
        return;
    std::lock_guard lock(m_connection->lock);
    Connection& c = *m_connection;
    if (!c.holding && c.held.empty())
        return;
    if (c.holding)
        XUngrabKeyboard(c.display, CurrentTime);
    c.holding = false;
    XSync(c.display, False);
    c.takeNotices();
    for (const auto& [code, pressed] : c.held)
        XTestFakeKeyEvent(c.display, code, pressed ? True : False, CurrentTime);
    c.held.clear();
    XSync(c.display, False);
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

bool X11KeyInjector::waitForFocus(unsigned long window, std::chrono::milliseconds limit) const
{
    if (!m_connection->display || !window)
        return false;
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        {
            std::lock_guard lock(m_connection->lock);
            if (m_connection->hasFocusIn(window))
                return true;
        }
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        QThread::msleep(2);
    }
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

#include "platform/x11/X11KeyInjector.h"
#include "support/MissingTool.h"
#include "support/XvfbServer.h"

#include <QApplication>
#include <QClipboard>
#include <QLineEdit>
#include <QTest>
#include <unistd.h>

// X11 last: its macros clash with Qt's headers.
#include <X11/Xatom.h>
#include <X11/Xlib.h>

using namespace Qt::StringLiterals;

// Synthetic keys into a real text field on a private X server.
class TestX11KeyInjector : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<QLineEdit> m_field;
    std::unique_ptr<X11KeyInjector> m_injector;

    void focusField()
    {
        m_field->activateWindow();
        XvfbServer::run(u"xdotool"_s,
                        {u"windowfocus"_s, u"--sync"_s, QString::number(m_field->winId())});
        QTRY_VERIFY(m_field->hasFocus());
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (QGuiApplication::platformName() != u"xcb"_s)
            SKIP_FOR_MISSING_TOOL("needs Xvfb and an X11 platform");
        m_injector = std::make_unique<X11KeyInjector>();
        QVERIFY(m_injector->isAvailable());
        m_field = std::make_unique<QLineEdit>();
        m_field->resize(300, 40);
        m_field->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_field.get()));
    }
    void init()
    {
        m_field->clear();
        focusField();
    }
    void backspaceAndLeftArrow();
    void pasteFromClipboard();
    void userKeysHeldThenTypedInOrder();
    void focusedWindowIsOurs();
    void waitsForHeldModifiers();
    void ownWindowFollowsTheWindowManager();
};

void TestX11KeyInjector::backspaceAndLeftArrow()
{
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"type"_s, u"abc"_s}));
    QTRY_COMPARE(m_field->text(), u"abc"_s);
    m_injector->pressBackspace(2);
    QTRY_COMPARE(m_field->text(), u"a"_s);
    m_injector->pressLeftArrow(1);
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"type"_s, u"X"_s}));
    QTRY_COMPARE(m_field->text(), u"Xa"_s);
}

void TestX11KeyInjector::pasteFromClipboard()
{
    QGuiApplication::clipboard()->setText(u"pasted ✓"_s);
    m_injector->pressPaste(PasteShortcut::controlV);
    QTRY_COMPARE(m_field->text(), u"pasted ✓"_s);
    m_injector->pressPaste(PasteShortcut::shiftInsert); // Qt fields paste the clipboard here too
    QTRY_COMPARE(m_field->text(), u"pasted ✓pasted ✓"_s);
}

// What the user types while an expansion runs is held, our own keys still pass, and the held
// keys follow them in the order typed.
void TestX11KeyInjector::userKeysHeldThenTypedInOrder()
{
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"type"_s, u"abc"_s}));
    QTRY_COMPARE(m_field->text(), u"abc"_s);
    m_injector->holdUserKeys();
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"type"_s, u"dE"_s}));
    QTest::qWait(200);
    QCOMPARE(m_field->text(), u"abc"_s);
    m_injector->pressBackspace(2);
    QTRY_COMPARE(m_field->text(), u"a"_s);
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"type"_s, u"f"_s}));
    m_injector->releaseHeldKeys();
    QTRY_COMPARE(m_field->text(), u"adEf"_s);
    m_injector->releaseHeldKeys(); // nothing held: nothing typed
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"type"_s, u"g"_s}));
    QTRY_COMPARE(m_field->text(), u"adEfg"_s);
}

void TestX11KeyInjector::focusedWindowIsOurs()
{
    const std::optional<FocusedWindow> focused = m_injector->focusedWindow();
    QVERIFY(focused);
    QCOMPARE(focused->id, static_cast<unsigned long>(m_field->winId()));
    QCOMPARE(focused->pid, qint64(::getpid()));
    QCOMPARE(focused->width, m_field->width());
    QVERIFY(m_injector->isOwnApplicationFrontmost());
}

void TestX11KeyInjector::waitsForHeldModifiers()
{
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"keydown"_s, u"ctrl"_s}));
    QVERIFY(!m_injector->waitForModifiersReleased(std::chrono::milliseconds(100)));
    QVERIFY(XvfbServer::run(u"xdotool"_s, {u"keyup"_s, u"ctrl"_s}));
    QVERIFY(m_injector->waitForModifiersReleased(std::chrono::milliseconds(500)));
}

// A window manager announces each newly active window on the root window; the answer must
// follow every announcement, however it is kept between keys.
void TestX11KeyInjector::ownWindowFollowsTheWindowManager()
{
    const std::unique_ptr<Display, decltype(&XCloseDisplay)> connection(XOpenDisplay(nullptr),
                                                                        &XCloseDisplay);
    Display* wm = connection.get();
    QVERIFY(wm);
    const Window root = DefaultRootWindow(wm);
    const Atom active = XInternAtom(wm, "_NET_ACTIVE_WINDOW", False);
    // Another client's window: it carries no process id of ours.
    const Window other = XCreateSimpleWindow(wm, root, 0, 0, 50, 50, 0, 0, 0);
    const auto announce = [&](unsigned long window) {
        XChangeProperty(wm, root, active, XA_WINDOW, 32, PropModeReplace,
                        reinterpret_cast<unsigned char*>(&window), 1);
        XSync(wm, False);
    };
    const unsigned long ours = m_field->winId();
    for (const auto& [window, own] :
         {std::pair{ours, true}, std::pair{other, false}, std::pair{other, false},
          std::pair{ours, true}, std::pair{other, false}}) {
        announce(window);
        QTRY_COMPARE(m_injector->isOwnApplicationFrontmost(), own);
    }
    // Gone again: the input focus (our field) decides.
    XDeleteProperty(wm, root, active);
    XDestroyWindow(wm, other);
    XSync(wm, False);
    QTRY_VERIFY(m_injector->isOwnApplicationFrontmost());
}

int main(int argc, char** argv)
{
    // The server must exist before the application connects to it.
    XvfbServer server;
    if (server.isRunning())
        qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    TestX11KeyInjector test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_x11keyinjector.moc"

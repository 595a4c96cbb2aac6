#include "PasteShortcuts.h"
#include "Preferences.h"
#include "X11KeyInjector.h"
#include "XvfbServer.h"

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
            QSKIP("needs Xvfb and an X11 platform");
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
    void focusedWindowIsOurs();
    void waitsForHeldModifiers();
    void shortcutTable_data();
    void shortcutTable();
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

void TestX11KeyInjector::shortcutTable_data()
{
    QTest::addColumn<QStringList>("userEntries");
    QTest::addColumn<QString>("windowClass");
    QTest::addColumn<int>("shortcut");
    QTest::addColumn<QStringList>("unreadable");
    const int v = int(PasteShortcut::controlV), shiftV = int(PasteShortcut::controlShiftV),
              insert = int(PasteShortcut::shiftInsert);
    QTest::newRow("editor") << QStringList{} << u"Gedit"_s << v << QStringList{};
    QTest::newRow("terminal") << QStringList{} << u"Gnome-terminal"_s << shiftV << QStringList{};
    QTest::newRow("xterm") << QStringList{} << u"XTerm"_s << insert << QStringList{};
    QTest::newRow("user adds a terminal")
        << QStringList{u"MyTerm = Ctrl+Shift+V"_s} << u"myterm"_s << shiftV << QStringList{};
    QTest::newRow("user overrides")
        << QStringList{u"kitty=ctrl+v"_s} << u"kitty"_s << v << QStringList{};
    QTest::newRow("every spelling")
        << QStringList{u"a=ctrl+v"_s, u"b=shift+ctrl+v"_s, u"c=Shift + Insert"_s} << u"c"_s
        << insert << QStringList{};
    QTest::newRow("unreadable entries are reported")
        << QStringList{u"nothing"_s, u"=ctrl+v"_s, u"x=alt+v"_s} << u"x"_s << v
        << QStringList{u"nothing"_s, u"=ctrl+v"_s, u"x=alt+v"_s};
}

void TestX11KeyInjector::shortcutTable()
{
    QFETCH(QStringList, userEntries);
    QFETCH(QString, windowClass);
    QFETCH(int, shortcut);
    QFETCH(QStringList, unreadable);
    PasteShortcuts table;
    QCOMPARE(table.addUserEntries(userEntries), unreadable);
    QCOMPARE(int(table.forWindowClass(windowClass)), shortcut);
    // `config set` and the settings must take exactly the entries the table reads.
    QCOMPARE(Preferences::accept(u"tw_pasteShortcuts"_s, userEntries).has_value(),
             unreadable.isEmpty());
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

#include "platform/x11/X11KeyboardMonitor.h"
#include "support/MissingTool.h"
#include "support/XvfbServer.h"

#include <QTest>
#include <atomic>
#include <mutex>

using namespace Qt::StringLiterals;

// The keyboard monitor against a real X server, with keys typed by xdotool through XTEST
// as a user's keyboard would.
class TestX11KeyboardMonitor : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<XvfbServer> m_server;
    X11KeyboardMonitor m_monitor;
    std::mutex m_lock;
    QList<KeyEvent> m_events;
    std::atomic<int> m_losses{0};

    void record(const KeyEvent& e)
    {
        std::lock_guard lock(m_lock);
        m_events.append(e);
    }

    QList<KeyEvent> take(int count)
    {
        QList<KeyEvent> taken;
        (void)QTest::qWaitFor(
            [&] {
                std::lock_guard lock(m_lock);
                return m_events.size() >= count;
            },
            10000);
        std::lock_guard lock(m_lock);
        taken = m_events;
        m_events.clear();
        return taken;
    }
    static bool xdotool(const QStringList& arguments)
    {
        return XvfbServer::run(u"xdotool"_s, arguments);
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_server = std::make_unique<XvfbServer>();
        if (!m_server->isRunning() || QStandardPaths::findExecutable(u"xdotool"_s).isEmpty())
            SKIP_FOR_MISSING_TOOL("needs Xvfb and xdotool");
        QVERIFY2(m_monitor.start([this](const KeyEvent& e) { record(e); }, [this] { ++m_losses; }),
                 qPrintable(m_monitor.lastError()));
    }
    void cleanupTestCase()
    {
        m_monitor.stop();
        m_server.reset();
    }
    void keys_data();
    void keys();
    void layoutSwitchAndDeadKeys();
    void levelsAndLocks();
    void restartsAfterStop();
    void serverGoesAwayAndComesBack_data();
    void serverGoesAwayAndComesBack();
    void noDisplay();
};

void TestX11KeyboardMonitor::keys_data()
{
    QTest::addColumn<QStringList>("xdotoolKeys");
    QTest::addColumn<int>("code");
    QTest::addColumn<quint64>("flags");
    QTest::addColumn<QString>("text");
    QTest::newRow("letter") << QStringList{u"a"_s} << 0 << quint64(0) << u"a"_s;
    QTest::newRow("shifted") << QStringList{u"shift+a"_s} << 0 << quint64(ModifierFlag::Shift)
                             << u"A"_s;
    QTest::newRow("digit") << QStringList{u"7"_s} << 0 << quint64(0) << u"7"_s;
    QTest::newRow("backspace") << QStringList{u"BackSpace"_s} << VirtualKey::Delete << quint64(0)
                               << u"\b"_s;
    QTest::newRow("return") << QStringList{u"Return"_s} << VirtualKey::Return << quint64(0)
                            << u"\r"_s;
    QTest::newRow("F7") << QStringList{u"F7"_s} << VirtualKey::F7 << quint64(0) << QString();
    QTest::newRow("left") << QStringList{u"Left"_s} << VirtualKey::LeftArrow << quint64(0)
                          << QString();
    QTest::newRow("control chord")
        << QStringList{u"ctrl+c"_s} << 0 << quint64(ModifierFlag::Control) << u"\u0003"_s;
    QTest::newRow("alt chord") << QStringList{u"alt+x"_s} << 0 << quint64(ModifierFlag::Option)
                               << u"x"_s;
    QTest::newRow("super chord") << QStringList{u"super+x"_s} << 0 << quint64(ModifierFlag::Command)
                                 << u"x"_s;
}

void TestX11KeyboardMonitor::keys()
{
    QFETCH(QStringList, xdotoolKeys);
    QFETCH(int, code);
    QFETCH(quint64, flags);
    QFETCH(QString, text);
    QVERIFY(xdotool(QStringList{u"key"_s} + xdotoolKeys));
    // Modifier presses arrive too (without text); the last press is the key itself.
    const QList<KeyEvent> events = take(1);
    const KeyEvent last = events.last();
    QCOMPARE(last.keyCode, code);
    QCOMPARE(last.flags & ~ModifierFlag::CapsLock, flags);
    QCOMPARE(last.text, text);
    for (const KeyEvent& e : events.mid(0, events.size() - 1))
        QVERIFY(e.text.isEmpty()); // the modifiers themselves
}

void TestX11KeyboardMonitor::layoutSwitchAndDeadKeys()
{
    if (!XvfbServer::run(u"setxkbmap"_s, {u"de"_s}))
        SKIP_FOR_MISSING_TOOL("setxkbmap cannot switch to the German layout");
    // The key that gives y on a US keyboard gives z on a German one.
    QTRY_VERIFY_WITH_TIMEOUT(([&] {
                                 xdotool({u"key"_s, u"29"_s});
                                 const QList<KeyEvent> events = take(1);
                                 return events.last().text == u"z"_s;
                             }()),
                             5000);
    // A dead acute followed by e composes é; the dead key alone gives no text.
    QVERIFY(xdotool({u"key"_s, u"dead_acute"_s, u"e"_s}));
    const QList<KeyEvent> composed = take(2);
    QCOMPARE(composed.first().text, QString());
    QCOMPARE(composed.last().text, u"é"_s);
    QVERIFY(XvfbServer::run(u"setxkbmap"_s, {u"us"_s}));
}

// Characters behind Caps Lock and AltGr are text like any other: no flag that empties the
// typing buffer comes with them.
void TestX11KeyboardMonitor::levelsAndLocks()
{
    const auto pressed = [&](const QStringList& keys) {
        (void)xdotool(QStringList{u"key"_s} + keys);
        for (const KeyEvent& e : take(1))
            if (!e.text.isEmpty())
                return e;
        return KeyEvent{};
    };
    QVERIFY(xdotool({u"key"_s, u"Caps_Lock"_s}));
    (void)take(1);
    const KeyEvent locked = pressed({u"a"_s});
    QVERIFY(xdotool({u"key"_s, u"Caps_Lock"_s}));
    (void)take(1);
    QCOMPARE(locked.text, u"A"_s);
    QVERIFY(locked.flags & ModifierFlag::CapsLock);
    QCOMPARE(locked.flags & ModifierFlag::shortcutMask, 0u);

    if (!XvfbServer::run(u"setxkbmap"_s, {u"de"_s}))
        SKIP_FOR_MISSING_TOOL("setxkbmap cannot switch to the German layout");
    QTRY_COMPARE_WITH_TIMEOUT(pressed({u"29"_s}).text, u"z"_s, 5000); // the layout took
    // AltGr+Q and AltGr+E on a German keyboard.
    const KeyEvent at = pressed({u"ISO_Level3_Shift+24"_s});
    const KeyEvent euro = pressed({u"ISO_Level3_Shift+26"_s});
    QVERIFY(XvfbServer::run(u"setxkbmap"_s, {u"us"_s}));
    QCOMPARE(at.text, u"@"_s);
    QCOMPARE(euro.text, u"€"_s);
    QCOMPARE(at.flags & ModifierFlag::shortcutMask, 0u);
}

void TestX11KeyboardMonitor::restartsAfterStop()
{
    m_monitor.stop();
    QVERIFY(!m_monitor.isRunning());
    QVERIFY(xdotool({u"key"_s, u"q"_s}));
    QTest::qWait(100);
    {
        std::lock_guard lock(m_lock);
        QVERIFY(m_events.isEmpty()); // nothing seen while stopped
    }
    QCOMPARE(m_losses.load(), 0); // a stop is no loss
    QVERIFY(m_monitor.start([this](const KeyEvent& e) { record(e); }, {}));
    QVERIFY(xdotool({u"type"_s, u"ok"_s}));
    const QList<KeyEvent> events = take(2);
    QCOMPARE(events.first().text + events.last().text, u"ok"_s);
}

void TestX11KeyboardMonitor::serverGoesAwayAndComesBack_data()
{
    QTest::addColumn<bool>("stopAfterLoss");
    QTest::newRow("stopped, then started") << true;
    QTest::newRow("started again directly") << false;
}

void TestX11KeyboardMonitor::serverGoesAwayAndComesBack()
{
    QFETCH(bool, stopAfterLoss);
    // A server of its own, under a name that stays when it comes back.
    XvfbServer server(140);
    QVERIFY(server.isRunning());
    std::atomic<int> losses{0};
    const auto onKey = [this](const KeyEvent& e) { record(e); };
    const auto onLost = [&losses] { ++losses; };
    X11KeyboardMonitor monitor;
    QVERIFY2(monitor.start(onKey, onLost), qPrintable(monitor.lastError()));
    QVERIFY(xdotool({u"type"_s, u"a"_s}));
    QCOMPARE(take(1).last().text, u"a"_s);

    server.kill(); // Xlib would end this process unless the monitor keeps it from doing so
    QTRY_COMPARE_WITH_TIMEOUT(losses.load(), 1, 5000);
    QVERIFY(!monitor.isRunning());
    if (stopAfterLoss)
        monitor.stop();
    QVERIFY(!monitor.start(onKey, onLost)); // no server yet
    QVERIFY(monitor.lastError().contains(QString::fromLatin1(server.display())));

    QVERIFY(server.restart());
    QVERIFY2(monitor.start(onKey, onLost), qPrintable(monitor.lastError()));
    QVERIFY(monitor.isRunning());
    QVERIFY(xdotool({u"type"_s, u"ok"_s}));
    const QList<KeyEvent> events = take(2);
    QCOMPARE(events.first().text + events.last().text, u"ok"_s);
    monitor.stop();
    QCOMPARE(losses.load(), 1);
}

void TestX11KeyboardMonitor::noDisplay()
{
    const QByteArray display = qgetenv("DISPLAY");
    qputenv("DISPLAY", ":4242");
    X11KeyboardMonitor monitor;
    QVERIFY(!monitor.start([](const KeyEvent&) {}, {}));
    QVERIFY(monitor.lastError().contains(u":4242"_s));
    qputenv("DISPLAY", display);
}

QTEST_GUILESS_MAIN(TestX11KeyboardMonitor)
#include "tst_x11keyboardmonitor.moc"

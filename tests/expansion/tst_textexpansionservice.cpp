#include "expansion/TextExpansionService.h"
#include "platform/api/KeyboardMonitor.h"
#include "support/FakeMonitor.h"
#include "support/Fakes.h"
#include "support/VirtualClock.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <thread>

namespace {

// A key script: "@code[,flagsHex][:text]" is one key with that code; anything else is one key
// typed with its text (key code 0, no modifiers).
KeyEvent parseKey(const QString& token)
{
    if (!token.startsWith(u'@') || token.size() == 1)
        return {0, 0, token};
    KeyEvent event;
    QString spec = token.mid(1);
    const qsizetype colon = spec.indexOf(u':');
    if (colon >= 0) {
        event.text = spec.mid(colon + 1);
        spec.truncate(colon);
    }
    const QStringList parts = spec.split(u',');
    event.keyCode = parts.at(0).toInt();
    if (parts.size() > 1)
        event.flags = parts.at(1).toULongLong(nullptr, 16);
    return event;
}

std::vector<SnippetRecord> plainSnippets(const QStringList& pairs)
{
    std::vector<SnippetRecord> records;
    for (const QString& pair : pairs) {
        const qsizetype eq = pair.indexOf(u'=');
        records.push_back({pair.left(eq), pair.mid(eq + 1), false, std::nullopt});
    }
    return records;
}

QString repeated(const QString& s, int n)
{
    QString out;
    for (int i = 0; i < n; ++i)
        out += s;
    return out;
}

struct Harness {
    VirtualClock scheduler;
    FakeClipboard clipboard;
    FakeFrontmost frontmost;
    TextExpansionService service{{&scheduler, &clipboard, &frontmost, nullptr}};
    std::vector<ExpansionRequest> requests;

    Harness()
    {
        QObject::connect(&service, &TextExpansionService::expansionRequested,
                         [this](const ExpansionRequest& r) { requests.push_back(r); });
    }
    void type(const QStringList& keys)
    {
        for (const QString& key : keys)
            service.handleKeyDown(parseKey(key));
    }
    void typeText(const QString& text)
    {
        for (QChar c : text)
            service.handleKeyDown({0, 0, QString(c)});
    }
};

} // namespace

class TestTextExpansionService : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void keyDown_data();
    void keyDown();
    void resetKeys_data();
    void resetKeys();
    void bufferKeepsLastHundredCharacters();
    void pausedTypingSurvives_data();
    void pausedTypingSurvives();
    void ownWindowEmptiesBuffer_data();
    void ownWindowEmptiesBuffer();
    void handOff();
    void handOffDroppedWithService();
    void updateSnippetsAndLookup();
    void enabledSwitchIsPersisted();
    void typingWhileListIsSwapped();
    void permissionIsCheckedUntilGranted_data();
    void permissionIsCheckedUntilGranted();
    void lostConnectionIsRetried();
};

void TestTextExpansionService::keyDown_data()
{
    QTest::addColumn<QStringList>("snippets");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QString>("expansion"); // empty: no match
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("buffer");

    const QString eAcute = QStringLiteral("\u00E9");
    const QString eCombining = QStringLiteral("e\u0301");
    const QString thumbs = QStringLiteral("\U0001F44D");
    const QString tone = QStringLiteral("\U0001F3FD");

    QTest::newRow("no boundary needed")
        << QStringList{u"sig=Best"_qs} << QStringList{u"x"_qs, u"s"_qs, u"i"_qs, u"g"_qs}
        << u"Best"_qs << 3 << QString();
    QTest::newRow("list order beats length")
        << QStringList{u"addr=A"_qs, u"myaddr=M"_qs}
        << QStringList{u"m"_qs, u"y"_qs, u"a"_qs, u"d"_qs, u"d"_qs, u"r"_qs} << u"A"_qs << 4
        << QString();
    QTest::newRow("list order, longer first")
        << QStringList{u"myaddr=M"_qs, u"addr=A"_qs}
        << QStringList{u"m"_qs, u"y"_qs, u"a"_qs, u"d"_qs, u"d"_qs, u"r"_qs} << u"M"_qs << 6
        << QString();
    QTest::newRow("duplicate abbreviation, first wins")
        << QStringList{u"sig=one"_qs, u"sig=two"_qs} << QStringList{u"s"_qs, u"i"_qs, u"g"_qs}
        << u"one"_qs << 3 << QString();
    QTest::newRow("case-sensitive")
        << QStringList{u"sig=x"_qs} << QStringList{u"@1,20000:S"_qs, u"i"_qs, u"g"_qs} << QString()
        << 0 << u"Sig"_qs;
    QTest::newRow("decomposed typing, composed abbreviation")
        << QStringList{u"caf"_qs + eAcute + u"=coffee"_qs}
        << QStringList{u"c"_qs, u"a"_qs, u"f"_qs, u"e"_qs, u"\u0301"_qs} << u"coffee"_qs << 4
        << QString();
    QTest::newRow("composed typing, decomposed abbreviation")
        << QStringList{u"caf"_qs + eCombining + u"=coffee"_qs}
        << QStringList{u"c"_qs, u"a"_qs, u"f"_qs, eAcute} << u"coffee"_qs << 4 << QString();
    QTest::newRow("plain e does not complete an accented one")
        << QStringList{u"e=x"_qs} << QStringList{eAcute} << QString() << 0 << eCombining;
    QTest::newRow("delete removes one character")
        << QStringList{u"sig=x"_qs} << QStringList{u"s"_qs, u"i"_qs, u"x"_qs, u"@51"_qs, u"g"_qs}
        << u"x"_qs << 3 << QString();
    QTest::newRow("delete on empty buffer")
        << QStringList{u"sig=x"_qs} << QStringList{u"@51"_qs} << QString() << 0 << QString();
    QTest::newRow("delete removes a whole emoji")
        << QStringList{} << QStringList{u"a"_qs, thumbs, tone, u"@51"_qs} << QString() << 0
        << u"a"_qs;
    QTest::newRow("option-delete empties")
        << QStringList{u"sig=x"_qs} << QStringList{u"s"_qs, u"i"_qs, u"@51,80000"_qs, u"g"_qs}
        << QString() << 0 << u"g"_qs;
    QTest::newRow("command-delete empties")
        << QStringList{} << QStringList{u"s"_qs, u"@51,100000"_qs} << QString() << 0 << QString();
    QTest::newRow("control chord empties")
        << QStringList{u"sig=x"_qs} << QStringList{u"s"_qs, u"i"_qs, u"@8,40000:c"_qs, u"g"_qs}
        << QString() << 0 << u"g"_qs;
    QTest::newRow("shift and caps lock are typing")
        << QStringList{u"Sig=x"_qs} << QStringList{u"@1,20000:S"_qs, u"@34,10000:i"_qs, u"g"_qs}
        << u"x"_qs << 3 << QString();
    QTest::newRow("control characters ignored")
        << QStringList{u"ab=x"_qs} << QStringList{u"a"_qs, u"@0:\u0001"_qs, u"b"_qs} << u"x"_qs << 2
        << QString();
    QTest::newRow("key without text ignored")
        << QStringList{u"ab=x"_qs} << QStringList{u"a"_qs, u"@56"_qs, u"b"_qs} << u"x"_qs << 2
        << QString();
    QTest::newRow("skin tone joins the previous key")
        << QStringList{thumbs + tone + u"=yes"_qs} << QStringList{thumbs, tone} << u"yes"_qs << 1
        << QString();
    QTest::newRow("skin tone alone is not a character here")
        << QStringList{tone + u"=no"_qs} << QStringList{thumbs, tone} << QString() << 0
        << (thumbs + tone);
    QTest::newRow("multi-unit key text")
        << QStringList{u"ok=fine"_qs} << QStringList{u"ok"_qs} << u"fine"_qs << 2 << QString();
    QTest::newRow("buffer continues after a match")
        << QStringList{u"ab=x"_qs} << QStringList{u"a"_qs, u"b"_qs, u"c"_qs} << u"x"_qs << 2
        << u"c"_qs;
}

void TestTextExpansionService::keyDown()
{
    QFETCH(QStringList, snippets);
    QFETCH(QStringList, keys);
    QFETCH(QString, expansion);
    QFETCH(int, length);
    QFETCH(QString, buffer);

    Harness h;
    h.service.updateSnippets(plainSnippets(snippets));
    h.type(keys);
    h.scheduler.runAll();
    if (expansion.isEmpty()) {
        QVERIFY(h.requests.empty());
    } else {
        QCOMPARE(h.requests.size(), 1u);
        QCOMPARE(h.requests[0].expandedText, expansion);
        QCOMPARE(h.requests[0].abbreviationLength, length);
    }
    QCOMPARE(h.service.typingBuffer(), buffer);
}

void TestTextExpansionService::resetKeys_data()
{
    QTest::addColumn<int>("keyCode");
    QTest::addColumn<QString>("keyText");
    QTest::addColumn<bool>("resets");
    for (int code : VirtualKey::resetKeyCodes)
        QTest::addRow("reset %d", code) << code << QString() << true;
    // These pass their private-use text into the buffer like any other character.
    QTest::newRow("F7") << VirtualKey::F7 << u"\uF70A"_qs << false;
    QTest::newRow("Home") << VirtualKey::Home << u"\uF729"_qs << false;
    QTest::newRow("End") << VirtualKey::End << u"\uF72B"_qs << false;
    QTest::newRow("Page Up") << VirtualKey::PageUp << u"\uF72C"_qs << false;
    QTest::newRow("Page Down") << VirtualKey::PageDown << u"\uF72D"_qs << false;
    QTest::newRow("Forward Delete") << VirtualKey::ForwardDelete << u"\uF728"_qs << false;
}

void TestTextExpansionService::resetKeys()
{
    QFETCH(int, keyCode);
    QFETCH(QString, keyText);
    QFETCH(bool, resets);
    Harness h;
    h.typeText(u"ab"_qs);
    h.service.handleKeyDown({keyCode, 0, keyText});
    QCOMPARE(h.service.typingBuffer(), resets ? QString() : u"ab"_qs + keyText);
}

void TestTextExpansionService::bufferKeepsLastHundredCharacters()
{
    Harness h;
    const QString family = u"\U0001F469\u200D\U0001F469\u200D\U0001F467"_qs;
    const QString hundredAs = repeated(u"a"_qs, 100);
    h.service.updateSnippets(plainSnippets(
        {hundredAs + u"a=too long"_qs, u"b"_qs + repeated(u"a"_qs, 99) + u"=exactly"_qs}));
    h.typeText(repeated(u"a"_qs, 150));
    h.scheduler.runAll();
    QVERIFY(h.requests.empty()); // 101 characters never fit the buffer
    QCOMPARE(h.service.typingBuffer(), hundredAs);

    h.service.clearTypingBuffer();
    h.typeText(u"b"_qs + repeated(u"a"_qs, 99));
    h.scheduler.runAll();
    QCOMPARE(h.requests.size(), 1u);
    QCOMPARE(h.requests[0].expandedText, u"exactly"_qs);

    // The cap counts characters, not UTF-16 units.
    for (int i = 0; i < 120; ++i)
        h.service.handleKeyDown({0, 0, family});
    QCOMPARE(h.service.typingBuffer(), repeated(family, 100));
}

void TestTextExpansionService::pausedTypingSurvives_data()
{
    QTest::addColumn<bool>("viaSwitch");
    QTest::newRow("expansion switched off") << true;
    QTest::newRow("expansion in progress") << false;
}

void TestTextExpansionService::pausedTypingSurvives()
{
    QFETCH(bool, viaSwitch);
    Harness h;
    h.service.updateSnippets(plainSnippets({u"sig=x"_qs}));
    const auto pause = [&](bool paused) {
        viaSwitch ? h.service.setEnabled(!paused) : h.service.setExpanding(paused);
    };
    h.typeText(u"si"_qs);
    pause(true);
    h.type({u"x"_qs, u"@36"_qs, u"@0,40000:c"_qs});
    QCOMPARE(h.service.typingBuffer(), u"si"_qs);
    pause(false);
    h.typeText(u"g"_qs);
    h.scheduler.runAll();
    QCOMPARE(h.requests.size(), 1u);
}

void TestTextExpansionService::ownWindowEmptiesBuffer_data()
{
    QTest::addColumn<bool>("appActive");
    QTest::addColumn<bool>("ownFrontmost");
    QTest::newRow("our app active") << true << false;
    QTest::newRow("our window frontmost") << false << true;
}

void TestTextExpansionService::ownWindowEmptiesBuffer()
{
    QFETCH(bool, appActive);
    QFETCH(bool, ownFrontmost);
    Harness h;
    h.service.updateSnippets(plainSnippets({u"sig=x"_qs}));
    h.typeText(u"si"_qs);
    h.service.setAppActive(appActive);
    h.frontmost.own = ownFrontmost;
    h.typeText(u"g"_qs);
    QCOMPARE(h.service.typingBuffer(), QString());
    h.service.setAppActive(false);
    h.frontmost.own = false;
    h.typeText(u"g"_qs); // "si" is gone, so this cannot complete the abbreviation
    h.scheduler.runAll();
    QVERIFY(h.requests.empty());
}

void TestTextExpansionService::handOff()
{
    Harness h;
    const QByteArray rtf = "{\\rtf1 hi}";
    h.service.updateSnippets({{u"r\u00E9f"_qs, u"hi"_qs, true, rtf}});
    h.clipboard.setText(u"before"_qs);
    h.typeText(u"r\u00E9f"_qs);

    std::vector<VirtualClock::Pending> pending = h.scheduler.takePending();
    QCOMPARE(pending.size(), 1u);
    // Handed to the main thread at once: the pipeline waits what the target needs.
    QCOMPARE(pending[0].delay, std::chrono::milliseconds(0));
    QCOMPARE(pending[0].context.data(), &h.service);
    QVERIFY(h.requests.empty()); // nothing happens before the delay

    h.clipboard.setText(u"after"_qs); // the clipboard is read at the match, not later
    pending[0].work();
    QCOMPARE(h.requests.size(), 1u);
    const ExpansionRequest expected{3, u"hi"_qs, true, rtf, u"before"_qs};
    QCOMPARE(h.requests[0], expected);

    h.clipboard.setText(std::nullopt);
    h.typeText(u"r\u00E9f"_qs);
    h.scheduler.runAll();
    QCOMPARE(h.requests.size(), 2u);
    QVERIFY(!h.requests[1].clipboardText.has_value());
}

void TestTextExpansionService::handOffDroppedWithService()
{
    VirtualClock scheduler;
    auto service = std::make_unique<TextExpansionService>(
        TextExpansionService::Dependencies{&scheduler, nullptr, nullptr, nullptr});
    service->updateSnippets(plainSnippets({u"a=x"_qs}));
    service->handleKeyDown({0, 0, u"a"_qs});
    service.reset();
    QCOMPARE(scheduler.runAll(), 0);
}

void TestTextExpansionService::updateSnippetsAndLookup()
{
    Harness h;
    h.service.updateSnippets(
        plainSnippets({u"=empty"_qs, u"sig=first"_qs, u"sig=second"_qs, u"Sig=upper"_qs,
                       u"cafe\u0301=decomposed"_qs, u"caf\u00e9=composed"_qs}));
    QCOMPARE(h.service.snippets().size(), 5u);
    // Canonically equal abbreviations are the same one, as for matching.
    QCOMPARE(h.service.expandedText(u"caf\u00e9"_qs), std::optional<QString>(u"decomposed"_qs));
    QCOMPARE(h.service.expandedText(u"cafe\u0301"_qs), std::optional<QString>(u"decomposed"_qs));
    QCOMPARE(h.service.expandedText(u"caf"_qs), std::nullopt);
    QCOMPARE(h.service.expandedText(u"sig"_qs), std::optional<QString>(u"first"_qs));
    QCOMPARE(h.service.expandedText(u"Sig"_qs), std::optional<QString>(u"upper"_qs));
    QCOMPARE(h.service.expandedText(u" sig"_qs), std::nullopt);
    QCOMPARE(h.service.expandedText(QString()), std::nullopt);

    h.service.updateSnippets({});
    QCOMPARE(h.service.expandedText(u"sig"_qs), std::nullopt);
    h.typeText(u"sig"_qs);
    h.scheduler.runAll();
    QVERIFY(h.requests.empty());
}

void TestTextExpansionService::enabledSwitchIsPersisted()
{
    QTemporaryDir dir;
    QSettings settings(dir.filePath(u"defaults.ini"_qs), QSettings::IniFormat);
    VirtualClock scheduler;
    {
        TextExpansionService service({&scheduler, nullptr, nullptr, &settings});
        QVERIFY(service.isEnabled()); // absent key
        QSignalSpy spy(&service, &TextExpansionService::isEnabledChanged);
        service.setEnabled(false);
        service.setEnabled(false);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(settings.value(u"tw_expansionEnabled"_qs).toBool(), false);
    }
    TextExpansionService reopened({&scheduler, nullptr, nullptr, &settings});
    QVERIFY(!reopened.isEnabled());
    reopened.setEnabled(true);
    QCOMPARE(settings.value(u"tw_expansionEnabled"_qs).toBool(), true);
}

// The monitor thread types while the main thread keeps replacing the list: every match must
// come from a whole list, and none may be lost or doubled.
void TestTextExpansionService::typingWhileListIsSwapped()
{
    VirtualClock scheduler;
    TextExpansionService service({&scheduler, nullptr, nullptr, nullptr});
    const std::vector<SnippetRecord> listA = plainSnippets({u"zq=A"_qs, u"q=never"_qs});
    const std::vector<SnippetRecord> listB = plainSnippets({u"zq=B"_qs});
    service.updateSnippets(listA);

    constexpr int rounds = 20000;
    std::atomic<bool> typing{true};
    std::thread monitor([&] {
        for (int i = 0; i < rounds; ++i) {
            service.handleKeyDown({0, 0, u"z"_qs});
            service.handleKeyDown({0, 0, u"q"_qs});
        }
        typing = false;
    });
    int swaps = 0;
    while (typing) {
        service.updateSnippets(swaps % 2 ? listA : listB);
        (void)service.expandedText(u"zq"_qs);
        (void)service.typingBuffer();
        ++swaps;
    }
    monitor.join();

    int fromA = 0, fromB = 0;
    QObject::connect(&service, &TextExpansionService::expansionRequested,
                     [&](const ExpansionRequest& r) {
                         (r.expandedText == u"A"_qs ? fromA : fromB)++;
                         QVERIFY(r.expandedText == u"A"_qs || r.expandedText == u"B"_qs);
                     });
    QCOMPARE(scheduler.runAll(), rounds);
    QCOMPARE(fromA + fromB, rounds);
    QVERIFY(swaps > 0);
}

void TestTextExpansionService::permissionIsCheckedUntilGranted_data()
{
    QTest::addColumn<int>("refusals");    // starts the monitor refuses
    QTest::addColumn<int>("withoutKeys"); // checks during which keys cannot be sent
    QTest::addColumn<int>("checks");      // until watching runs
    QTest::addColumn<QString>("reason");  // said once; empty: nothing to say
    QTest::newRow("granted at once") << 0 << 0 << 1 << QString();
    QTest::newRow("granted on the third check")
        << 2 << 0 << 3 << u"The X server has no RECORD extension."_qs;
    QTest::newRow("no synthetic keys at first") << 0 << 2 << 3 << u"no XTEST"_qs;
}

void TestTextExpansionService::permissionIsCheckedUntilGranted()
{
    QFETCH(int, refusals);
    QFETCH(int, withoutKeys);
    QFETCH(int, checks);
    QFETCH(QString, reason);
    VirtualClock scheduler;
    FakeMonitor monitor;
    monitor.refusals = refusals;
    int injectionChecks = 0;
    TextExpansionService service({&scheduler, nullptr, nullptr, nullptr, &monitor, [&] {
                                      return ++injectionChecks <= withoutKeys ? u"no XTEST"_qs
                                                                              : QString();
                                  }});
    QSignalSpy failures(&service, &TextExpansionService::monitoringFailed);
    QSignalSpy started(&service, &TextExpansionService::monitoringStarted);

    service.startMonitoring();
    int done = 1;
    while (!service.accessibilityGranted() && done < 10) {
        std::vector<VirtualClock::Pending> pending = scheduler.takePending();
        QCOMPARE(pending.size(), 1u); // one chain of checks
        QCOMPARE(pending[0].delay, TextExpansionService::permissionPollInterval);
        pending[0].work();
        ++done;
    }
    QCOMPARE(done, checks);
    QCOMPARE(monitor.starts, checks - withoutKeys);
    QCOMPARE(started.size(), 1);
    QCOMPARE(failures.size(), reason.isEmpty() ? 0 : 1);
    if (!reason.isEmpty())
        QCOMPARE(failures.at(0).at(0).toString(), reason);
    // Once watching, nothing is scheduled: no wake-ups while nobody types.
    QVERIFY(scheduler.takePending().empty());
    service.startEventTap();
    QCOMPARE(monitor.starts, checks - withoutKeys); // a running monitor is left alone
}

void TestTextExpansionService::lostConnectionIsRetried()
{
    VirtualClock scheduler;
    FakeMonitor monitor;
    TextExpansionService service({&scheduler, nullptr, nullptr, nullptr, &monitor});
    service.updateSnippets(plainSnippets({u"sig=x"_qs}));
    QSignalSpy granted(&service, &TextExpansionService::accessibilityGrantedChanged);
    QSignalSpy failures(&service, &TextExpansionService::monitoringFailed);
    service.startMonitoring();
    monitor.keys(parseKey(u"s"_qs));
    monitor.keys(parseKey(u"i"_qs));

    monitor.breakConnection();
    QVERIFY(service.accessibilityGranted()); // told on the main thread, not the monitor's
    QCOMPARE(scheduler.runAll(), 1);
    QVERIFY(!service.accessibilityGranted());
    QCOMPARE(monitor.stops, 1);
    QCOMPARE(service.typingBuffer(), QString()); // "si" + "g" after the return must not expand
    QCOMPARE(failures.size(), 1);

    monitor.refusals = 1; // the display is not back yet
    QCOMPARE(scheduler.runAll(), 1);
    QVERIFY(!service.accessibilityGranted());
    QCOMPARE(failures.size(), 1); // said once
    QCOMPARE(scheduler.runAll(), 1);
    QVERIFY(service.accessibilityGranted());
    QCOMPARE(monitor.starts, 3);
    QCOMPARE(granted.size(), 3); // on, off, on
    QVERIFY(scheduler.takePending().empty());

    service.stopMonitoring();
    QVERIFY(!monitor.isRunning());
}

QTEST_GUILESS_MAIN(TestTextExpansionService)
#include "tst_textexpansionservice.moc"

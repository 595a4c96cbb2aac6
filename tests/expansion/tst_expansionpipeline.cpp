#include "expansion/ExpansionPipeline.h"
#include "expansion/TextExpansionService.h"
#include "platform/api/Scheduler.h"
#include "support/VirtualClock.h"

#include <QGuiApplication>
#include <QPointer>
#include <QTest>
#include <map>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// Everything the pipeline does to the outside world, in order, with the virtual time.
struct World final : KeyInjector, ExpansionClipboard, FillInPresenter, GeneratingIndicator {
    VirtualClock clock;
    QStringList log;
    ClipboardContents clipboard{{u"image/png"_s, "PNGDATA"}, {u"text/plain"_s, "mine"}};
    ClipboardContents primary{{u"text/plain"_s, "selected"}};
    QList<FillInField> fields;
    std::function<void(const QHash<QString, QString>&)> complete;
    std::function<void()> cancel;
    QString prompt;
    std::function<void(const ExpansionPipeline::AIOutcome&)> reply;

    void note(const QString& what) { log << QStringLiteral("%1 %2").arg(clock.now()).arg(what); }
    bool waitForModifiersReleased(std::chrono::milliseconds) override { return true; }
    void setKeyGap(std::chrono::milliseconds gap) override
    {
        note(u"gap "_s + QString::number(gap.count()));
    }
    void pressBackspace(int n) override { note(u"backspace "_s + QString::number(n)); }
    void pressLeftArrow(int n) override { note(u"left "_s + QString::number(n)); }
    void pressPaste(PasteShortcut s) override { note(u"paste "_s + QString::number(int(s))); }
    bool holding = false;
    void holdUserKeys() override
    {
        holding = true;
        note(u"hold"_s);
    }
    void releaseHeldKeys() override
    {
        if (std::exchange(holding, false))
            note(u"release"_s);
    }
    // The target fetches the expansion 20 ms after it is written.
    qint64 readAt = -1;
    bool expansionRead() const override { return readAt >= 0 && clock.now() >= readAt; }
    SavedClipboard save(PasteSelections s) override
    {
        return {clipboard, s == PasteSelections::clipboardAndPrimary
                               ? std::optional<ClipboardContents>(primary)
                               : std::nullopt};
    }
    void write(const ClipboardContents& c, PasteSelections s) override
    {
        clipboard = c;
        readAt = clock.now() + 20;
        if (s == PasteSelections::clipboardAndPrimary)
            primary = c;
        QString text;
        for (const ClipboardEntry& e : c)
            if (e.mimeType.startsWith(u"text/plain"_s))
                text = QString::fromUtf8(e.data);
        note(u"write "_s + text +
             (s == PasteSelections::clipboardAndPrimary ? u" +primary"_s : QString()));
    }
    void restore(const SavedClipboard& saved, std::function<void()> done) override
    {
        clipboard = saved.clipboard;
        if (saved.primary)
            primary = *saved.primary;
        note(u"restore"_s);
        done();
    }
    void show(const QList<FillInField>& f, std::function<void(const QHash<QString, QString>&)> ok,
              std::function<void()> cancelled) override
    {
        fields = f;
        complete = std::move(ok);
        cancel = std::move(cancelled);
        note(u"form"_s);
    }
    void show() override { note(u"generating"_s); }
    void dismiss() override { note(u"done generating"_s); }
};

} // namespace

class TestExpansionPipeline : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<World> m_world;
    std::unique_ptr<TextExpansionService> m_service;
    std::unique_ptr<ExpansionPipeline> m_pipeline;
    bool m_aiEnabled = true;
    PasteShortcut m_shortcut = PasteShortcut::controlShiftV;
    bool m_slow = false;

    void run(const ExpansionRequest& request, qint64 ms = 2000)
    {
        m_pipeline->performExpansion(request);
        m_world->clock.advance(ms);
    }

private Q_SLOTS:
    void cleanup()
    {
        m_pipeline.reset(); // lets go of held keys, in the world it was given
        m_service.reset();
    }
    void init()
    {
        m_world = std::make_unique<World>();
        m_aiEnabled = true;
        m_shortcut = PasteShortcut::controlShiftV;
        m_slow = false;
        m_service = std::make_unique<TextExpansionService>(
            TextExpansionService::Dependencies{&m_world->clock, nullptr, nullptr, nullptr});
        m_service->updateSnippets({{u"sig"_s, u"Ada {clipboard}"_s, false, std::nullopt}});
        ExpansionPipeline::Parts parts{&m_world->clock,
                                       m_world.get(),
                                       m_world.get(),
                                       m_world.get(),
                                       m_world.get(),
                                       [this] { return m_aiEnabled; },
                                       [this](const QString& p, auto done) {
                                           m_world->prompt = p;
                                           m_world->reply = std::move(done);
                                       },
                                       [this] { return m_shortcut; },
                                       [this] { m_world->note(u"sound"_s); },
                                       [this] { return m_slow; }};
        m_pipeline = std::make_unique<ExpansionPipeline>(m_service.get(), parts);
    }
    void plainTimeline_data();
    void plainTimeline();
    void fillInForm();
    void cancelledForm();
    void aiReplyAndFailure_data();
    void aiReplyAndFailure();
    void richSnippet();
    void selectionsTakenByPasteKey_data();
    void selectionsTakenByPasteKey();
    void serviceGoneMidway();
};

void TestExpansionPipeline::plainTimeline_data()
{
    QTest::addColumn<bool>("slow");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("log");
    QTest::newRow("plain") << false << u"Hello"_s
                           << QStringList{u"0 gap 3"_s,       u"0 hold"_s,     u"0 backspace 3"_s,
                                          u"8 write Hello"_s, u"8 paste 1"_s,  u"8 sound"_s,
                                          u"33 release"_s,    u"608 restore"_s};
    QTest::newRow("cursor, counted in characters")
        << false << u"a{cursor}b👍🏽"_s
        << QStringList{u"0 gap 3"_s,    u"0 hold"_s,  u"0 backspace 3"_s, u"8 write ab👍🏽"_s,
                       u"8 paste 1"_s,  u"8 sound"_s, u"33 left 2"_s,     u"33 release"_s,
                       u"608 restore"_s};
    QTest::newRow("clipboard and nested snippet")
        << false << u"[{clipboard}] {snippet:sig}"_s
        << QStringList{
               u"0 gap 3"_s,   u"0 hold"_s,  u"0 backspace 3"_s, u"8 write [clip] Ada clip"_s,
               u"8 paste 1"_s, u"8 sound"_s, u"33 release"_s,    u"608 restore"_s};
    QTest::newRow("slow target: the long waits")
        << true << u"a{cursor}b"_s
        << QStringList{u"0 gap 3"_s,      u"0 hold"_s,      u"50 backspace 3"_s,
                       u"110 write ab"_s, u"110 paste 1"_s, u"110 sound"_s,
                       u"180 left 1"_s,   u"180 release"_s, u"710 restore"_s};
}

void TestExpansionPipeline::plainTimeline()
{
    QFETCH(bool, slow);
    QFETCH(QString, text);
    QFETCH(QStringList, log);
    m_slow = slow;
    const qint64 end = log.last().section(u' ', 0, 0).toLongLong();
    run({3, text, false, std::nullopt, u"clip"_s}, end - 1);
    QVERIFY(m_service->isExpanding()); // until the clipboard is back
    m_world->clock.advance(1);
    QCOMPARE(m_world->log, log);
    QVERIFY(!m_service->isExpanding());
    QCOMPARE(m_world->clipboard.size(), 2); // the user's image and text, both back
}

void TestExpansionPipeline::fillInForm()
{
    run({2, u"Dear {fill:Name}{cursor},"_s, false, std::nullopt, std::nullopt}, 100);
    QCOMPARE(m_world->fields.size(), 1);
    QCOMPARE(m_world->fields.at(0).label, u"Name"_s);
    QVERIFY(m_service->isExpanding()); // keys typed into the form never expand
    // The form has the focus now: the paste key is still the one of the window typed in.
    m_shortcut = PasteShortcut::controlV;
    m_world->complete({{u"Name"_s, u"Zoë"_s}});
    m_world->clock.advance(1000);
    QCOMPARE(m_world->log,
             (QStringList{u"0 gap 3"_s, u"0 hold"_s, u"0 backspace 2"_s, u"8 release"_s,
                          u"8 form"_s, u"100 write Dear Zoë,"_s, u"100 paste 1"_s, u"100 sound"_s,
                          u"125 left 1"_s, u"700 restore"_s}));
}

void TestExpansionPipeline::cancelledForm()
{
    run({2, u"{fill}"_s, false, std::nullopt, std::nullopt}, 100);
    m_world->cancel();
    m_world->clock.advance(1000);
    QCOMPARE(m_world->log, (QStringList{u"0 gap 3"_s, u"0 hold"_s, u"0 backspace 2"_s,
                                        u"8 release"_s, u"8 form"_s}));
    QVERIFY(!m_service->isExpanding());
}

void TestExpansionPipeline::aiReplyAndFailure_data()
{
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<int>("outcome"); // 0 reply, 1 error
    QTest::addColumn<QString>("written");
    QTest::newRow("reply") << true << 0 << u"A: R {ai:more} Z"_s;
    QTest::newRow("failure") << true << 1 << u"A: [AI error: No key] {ai:more} Z"_s;
    QTest::newRow("AI switched off") << false << -1 << u"A: {ai:  say {clipboard}\t} {ai:more} Z"_s;
}

void TestExpansionPipeline::aiReplyAndFailure()
{
    QFETCH(bool, enabled);
    QFETCH(int, outcome);
    QFETCH(QString, written);
    m_aiEnabled = enabled;
    run({1, u"A: {ai:  say {clipboard}\t} {ai:more} {cursor}Z"_s, false, std::nullopt, u"C"_s},
        100);
    if (outcome >= 0) {
        QCOMPARE(m_world->prompt, u"say C"_s); // trimmed, its own macros resolved
        QVERIFY(m_world->log.last().endsWith(u"generating"_s));
        m_world->reply(outcome == 0
                           ? ExpansionPipeline::AIOutcome(std::in_place_index<0>, u"R"_s)
                           : ExpansionPipeline::AIOutcome(std::in_place_index<1>, u"No key"_s));
    }
    m_world->clock.advance(1000);
    QVERIFY2(m_world->log.contains(u"100 write "_s + written) ||
                 m_world->log.contains(u"8 write "_s + written),
             qPrintable(m_world->log.join(u" | ")));
    QCOMPARE(m_world->log.filter(u"left"_s).isEmpty(), outcome >= 0); // AI text moves no cursor
    QVERIFY(!m_service->isExpanding());
}

void TestExpansionPipeline::richSnippet()
{
    const QByteArray rtf =
        "{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 {\\b Hi} \\{cursor\\}th\\u233?re}";
    run({3, u"Hi {cursor}thére"_s, true, rtf, std::nullopt});
    QVERIFY2(m_world->log.contains(u"8 write Hi thére"_s), qPrintable(m_world->log.join(u" | ")));
    // Read at 28: a word processor lays the rich text out first and would lose earlier arrows.
    QVERIFY(m_world->log.contains(u"178 left 5"_s));
    // A closing paragraph mark is not sent: some applications would drop it and the arrows
    // would land one character early there.
    m_world->log.clear();
    run({3, u"x"_s, true, "{\\rtf1\\ansi Hi \\{cursor\\}there\\par}", std::nullopt});
    QVERIFY2(m_world->log.contains(u"2008 write Hi there"_s),
             qPrintable(m_world->log.join(u" | ")));
    QVERIFY2(m_world->log.contains(u"2178 left 5"_s), qPrintable(m_world->log.join(u" | ")));
    m_pipeline->performExpansion({3, u"x"_s, true, rtf, std::nullopt});
    m_world->clock.advance(60);
    QStringList types;
    for (const ClipboardEntry& e : m_world->clipboard)
        types << e.mimeType;
    QVERIFY2(types.contains(u"text/rtf"_s) && types.contains(u"text/html"_s),
             qPrintable(types.join(u' ')));
}

void TestExpansionPipeline::selectionsTakenByPasteKey_data()
{
    QTest::addColumn<PasteShortcut>("shortcut");
    QTest::addColumn<QString>("written");
    QTest::newRow("Control+V") << PasteShortcut::controlV << u"8 write Hi"_s;
    QTest::newRow("terminal") << PasteShortcut::controlShiftV << u"8 write Hi"_s;
    QTest::newRow("xterm's Shift+Insert") << PasteShortcut::shiftInsert << u"8 write Hi +primary"_s;
}

void TestExpansionPipeline::selectionsTakenByPasteKey()
{
    QFETCH(PasteShortcut, shortcut);
    QFETCH(QString, written);
    m_shortcut = shortcut;
    m_pipeline->performExpansion({1, u"Hi"_s, false, std::nullopt, std::nullopt});
    m_world->clock.advance(60);
    QVERIFY2(m_world->log.contains(written), qPrintable(m_world->log.join(u" | ")));
    QVERIFY(m_world->log.contains(u"8 paste "_s + QString::number(int(shortcut))));
    m_world->clock.advance(1000);
    // Whatever was taken is the user's again.
    QCOMPARE(m_world->primary, (ClipboardContents{{u"text/plain"_s, "selected"}}));
    QCOMPARE(m_world->clipboard.size(), 2);
}

void TestExpansionPipeline::serviceGoneMidway()
{
    m_pipeline->performExpansion({1, u"x"_s, false, std::nullopt, std::nullopt});
    m_service.reset();
    m_world->clock.advance(1000);
    // The chain ends quietly, and the user's keys are not kept.
    QCOMPARE(m_world->log,
             (QStringList{u"0 gap 3"_s, u"0 hold"_s, u"0 backspace 1"_s, u"8 release"_s}));
}

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv); // rich documents need Qt Gui
    TestExpansionPipeline test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_expansionpipeline.moc"

#include "platform/qt/QtClipboard.h"
#include "support/MissingTool.h"
#include "support/XvfbServer.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QSignalSpy>
#include <QTemporaryFile>
#include <QTest>
#include <thread>

using namespace Qt::StringLiterals;

// The clipboard against another real owner (xclip) on a private X server: what the user had
// comes back byte for byte, and a restore waits until the application read the expansion.
class TestQtClipboard : public QObject {
    Q_OBJECT
private:
    // Runs xclip while our event loop keeps serving the selection.
    static std::optional<QByteArray> xclip(const QStringList& arguments,
                                           const QByteArray& input = {},
                                           const QString& selection = u"clipboard"_s)
    {
        QProcess process;
        process.start(u"xclip"_s, QStringList{u"-selection"_s, selection} + arguments);
        if (!process.waitForStarted())
            return std::nullopt;
        if (!input.isNull()) {
            process.write(input);
            process.closeWriteChannel();
        }
        if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 10000))
            return std::nullopt;
        if (process.exitCode() != 0)
            return std::nullopt;
        return process.readAllStandardOutput();
    }
    static QByteArray png()
    {
        QByteArray bytes("\x89PNG\r\n\x1a\n", 8);
        for (int i = 0; i < 5000; ++i)
            bytes.append(char(i * 7));
        return bytes;
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (QGuiApplication::platformName() != u"xcb"_s ||
            QStandardPaths::findExecutable(u"xclip"_s).isEmpty())
            SKIP_FOR_MISSING_TOOL("needs Xvfb and xclip");
    }
    void userContentComesBack_data();
    void userContentComesBack();
    void restoreWaitsForTheRead();
    void textIsReadableFromAnyThread();
    void quittingMidExpansionGivesItBack_data();
    void quittingMidExpansionGivesItBack();
    void passwordsAreNotKeptAndKeepTheirMark();
};

void TestQtClipboard::userContentComesBack_data()
{
    QTest::addColumn<QString>("selection");
    QTest::addColumn<QString>("type"); // empty: the selection starts empty
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("text") << u"clipboard"_s << u"UTF8_STRING"_s
                          << QByteArray("mine, with ümlauts\n");
    QTest::newRow("image") << u"clipboard"_s << u"image/png"_s << png();
    QTest::newRow("empty") << u"clipboard"_s << QString() << QByteArray();
    QTest::newRow("primary text") << u"primary"_s << u"UTF8_STRING"_s
                                  << QByteArray("selected in xterm");
    QTest::newRow("primary empty") << u"primary"_s << QString() << QByteArray();
}

void TestQtClipboard::userContentComesBack()
{
    QFETCH(QString, selection);
    QFETCH(QString, type);
    QFETCH(QByteArray, content);
    const bool primary = selection == u"primary"_s;
    const PasteSelections selections =
        primary ? PasteSelections::clipboardAndPrimary : PasteSelections::clipboard;
    const QClipboard::Mode mode = primary ? QClipboard::Selection : QClipboard::Clipboard;
    QtClipboard clipboard;
    if (primary)
        QVERIFY(xclip({u"-i"_s}, "the clipboard's own"));
    if (type.isEmpty()) {
        QGuiApplication::clipboard()->setMimeData(new QMimeData, mode);
        QGuiApplication::clipboard()->clear(mode);
    } else {
        QVERIFY(xclip({u"-t"_s, type, u"-i"_s}, content, selection));
    }
    SavedClipboard saved;
    const auto taken = [&] {
        return primary ? saved.primary.value_or(ClipboardContents()) : saved.clipboard;
    };
    // xclip takes the selection from a child process, a moment later.
    const auto holdsContent = [&] {
        saved = clipboard.save(selections);
        const ClipboardContents entries = taken();
        return std::any_of(entries.cbegin(), entries.cend(),
                           [&](const ClipboardEntry& e) { return e.data == content; }) &&
               (!primary ||
                saved.clipboard.contains(ClipboardEntry{u"text/plain"_s, "the clipboard's own"}));
    };
    if (!type.isEmpty())
        QTRY_VERIFY(holdsContent());
    else
        saved = clipboard.save(selections);
    QCOMPARE(saved.primary.has_value(), primary);
    QCOMPARE(taken().isEmpty(), type.isEmpty());

    clipboard.write({{u"text/plain"_s, "expansion ✓"}}, selections);
    QCOMPARE(xclip({u"-o"_s}, {}, selection), std::optional(QByteArray("expansion ✓")));
    QCOMPARE(xclip({u"-o"_s}), std::optional(QByteArray("expansion ✓")));
    bool done = false;
    clipboard.restore(saved, [&] { done = true; });
    QVERIFY(done); // already read: back at once
    if (type.isEmpty()) {
        // Left empty, never holding the expansion.
        QCOMPARE(xclip({u"-o"_s}, {}, selection), std::nullopt);
    } else {
        QCOMPARE(xclip({u"-t"_s, type, u"-o"_s}, {}, selection), std::optional(content));
    }
    if (primary)
        QCOMPARE(xclip({u"-o"_s}), std::optional(QByteArray("the clipboard's own")));
}

void TestQtClipboard::restoreWaitsForTheRead()
{
    QtClipboard clipboard;
    QVERIFY(xclip({u"-i"_s}, "before"));
    SavedClipboard saved;
    QTRY_VERIFY((saved = clipboard.save(PasteSelections::clipboard))
                    .clipboard.contains(ClipboardEntry{u"text/plain"_s, "before"}));
    clipboard.write({{u"text/plain"_s, "slow reader"}}, PasteSelections::clipboard);
    bool done = false;
    clipboard.restore(saved, [&] { done = true; });
    QTest::qWait(300);
    QVERIFY(!done);
    QCOMPARE(xclip({u"-o"_s}), std::optional(QByteArray("slow reader")));
    QTRY_VERIFY(done);
    QCOMPARE(xclip({u"-o"_s}), std::optional(QByteArray("before")));
}

void TestQtClipboard::textIsReadableFromAnyThread()
{
    QtClipboard clipboard;
    QVERIFY(xclip({u"-i"_s}, "seen"));
    QTRY_COMPARE(clipboard.plainText(), std::optional(u"seen"_s));
    std::optional<QString> fromThread;
    std::thread([&] { fromThread = clipboard.plainText(); }).join();
    QCOMPARE(fromThread, std::optional(u"seen"_s));
}

void TestQtClipboard::quittingMidExpansionGivesItBack_data()
{
    QTest::addColumn<bool>("restoreStarted"); // waiting for the application's read
    QTest::newRow("before the restore") << false;
    QTest::newRow("while the restore waits") << true;
}

// The app quits (a signal, the tray's Quit) with the expansion on the clipboard.
void TestQtClipboard::quittingMidExpansionGivesItBack()
{
    QFETCH(bool, restoreStarted);
    QVERIFY(xclip({u"-i"_s}, "the user's"));
    {
        QtClipboard clipboard;
        SavedClipboard saved;
        QTRY_VERIFY((saved = clipboard.save(PasteSelections::clipboardAndPrimary))
                        .clipboard.contains(ClipboardEntry{u"text/plain"_s, "the user's"}));
        clipboard.write({{u"text/plain"_s, "expansion"}}, PasteSelections::clipboardAndPrimary);
        if (restoreStarted)
            clipboard.restore(saved, [] {});
    }
    QCOMPARE(xclip({u"-o"_s}), std::optional(QByteArray("the user's")));
}

// What a password manager copies: its text is not cached between expansions, and an
// expansion gives it back with the mark that lets the manager clear it later.
void TestQtClipboard::passwordsAreNotKeptAndKeepTheirMark()
{
    QtClipboard clipboard;
    QVERIFY(xclip({u"-i"_s}, "plain"));
    QTRY_COMPARE(clipboard.plainText(), std::optional(u"plain"_s));
    auto* secret = new QMimeData;
    secret->setText(u"hunter2"_s);
    secret->setData(u"x-kde-passwordManagerHint"_s, "secret");
    QGuiApplication::clipboard()->setMimeData(secret);
    QTRY_COMPARE(clipboard.plainText(), std::nullopt);

    const SavedClipboard saved = clipboard.save(PasteSelections::clipboard);
    clipboard.write({{u"text/plain"_s, "expansion"}}, PasteSelections::clipboard);
    QCOMPARE(xclip({u"-o"_s}), std::optional(QByteArray("expansion")));
    bool done = false;
    clipboard.restore(saved, [&] { done = true; });
    QTRY_VERIFY(done);
    QCOMPARE(xclip({u"-o"_s}), std::optional(QByteArray("hunter2")));
    QCOMPARE(xclip({u"-t"_s, u"x-kde-passwordManagerHint"_s, u"-o"_s}),
             std::optional(QByteArray("secret")));
    QCOMPARE(clipboard.plainText(), std::nullopt);
}

int main(int argc, char** argv)
{
    XvfbServer server;
    if (server.isRunning())
        qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication app(argc, argv);
    TestQtClipboard test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_qtclipboard.moc"

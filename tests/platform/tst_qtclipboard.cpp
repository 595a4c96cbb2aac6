#include "QtClipboard.h"
#include "XvfbServer.h"

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
                                           const QByteArray& input = {})
    {
        QProcess process;
        process.start(u"xclip"_s, QStringList{u"-selection"_s, u"clipboard"_s} + arguments);
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
            QSKIP("needs Xvfb and xclip");
    }
    void userContentComesBack_data();
    void userContentComesBack();
    void restoreWaitsForTheRead();
    void textIsReadableFromAnyThread();
};

void TestQtClipboard::userContentComesBack_data()
{
    QTest::addColumn<QString>("type"); // empty: the clipboard starts empty
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("text") << u"UTF8_STRING"_s << QByteArray("mine, with ümlauts\n");
    QTest::newRow("image") << u"image/png"_s << png();
    QTest::newRow("empty") << QString() << QByteArray();
}

void TestQtClipboard::userContentComesBack()
{
    QFETCH(QString, type);
    QFETCH(QByteArray, content);
    QtClipboard clipboard;
    if (type.isEmpty()) {
        QGuiApplication::clipboard()->setMimeData(new QMimeData);
        QGuiApplication::clipboard()->clear();
    } else {
        QVERIFY(xclip({u"-t"_s, type, u"-i"_s}, content));
    }
    ClipboardContents saved;
    // xclip takes the clipboard from a child process, a moment later.
    const auto holdsContent = [&] {
        saved = clipboard.save();
        return std::any_of(saved.cbegin(), saved.cend(),
                           [&](const ClipboardEntry& e) { return e.data == content; });
    };
    if (!type.isEmpty())
        QTRY_VERIFY(holdsContent());
    QCOMPARE(saved.isEmpty(), type.isEmpty());

    clipboard.write({{u"text/plain"_s, "expansion ✓"}});
    QCOMPARE(xclip({u"-o"_s}), std::optional(QByteArray("expansion ✓")));
    bool done = false;
    clipboard.restore(saved, [&] { done = true; });
    QVERIFY(done); // already read: back at once
    if (type.isEmpty()) {
        QCOMPARE(xclip({u"-o"_s}), std::nullopt); // left empty, never holding the expansion
    } else {
        QCOMPARE(xclip({u"-t"_s, type, u"-o"_s}), std::optional(content));
    }
}

void TestQtClipboard::restoreWaitsForTheRead()
{
    QtClipboard clipboard;
    QVERIFY(xclip({u"-i"_s}, "before"));
    ClipboardContents saved;
    QTRY_VERIFY((saved = clipboard.save()).contains(ClipboardEntry{u"text/plain"_s, "before"}));
    clipboard.write({{u"text/plain"_s, "slow reader"}});
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

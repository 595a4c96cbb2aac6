#include "app/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto key = "scrivlane-test";

struct stat statOf(const QString& path)
{
    struct stat st {};
    ::lstat(QFile::encodeName(path).constData(), &st);
    return st;
}

sockaddr_un socketAddress(const QString& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray native = QFile::encodeName(path);
    std::memcpy(address.sun_path, native.constData(), size_t(native.size()));
    return address;
}

// Binds `fd` to a Unix socket at `path`: listening, or closed at once as a dead engine leaves
// it.
bool bindSocket(UniqueFd& fd, const QString& path, bool listening)
{
    fd.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = socketAddress(path);
    if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return false;
    if (!listening)
        return fd.reset();
    return ::listen(fd.get(), 4) == 0;
}

} // namespace

class TestSingleInstance : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void oneDisplayManyNames_data();
    void oneDisplayManyNames();
    void oneEngineAtATime();
    void leftoversAtOurNamesDoNotStopAStart_data();
    void leftoversAtOurNamesDoNotStopAStart();
    void socketAndLockArePrivateWhateverTheUmask();
    void othersConnectionsAreIgnored();
    void failsClearly();
};

void TestSingleInstance::oneDisplayManyNames_data()
{
    QTest::addColumn<QString>("display");
    QTest::addColumn<QString>("normalized");
    QTest::newRow(":0") << u":0"_s << u":0"_s;
    QTest::newRow(":0.0") << u":0.0"_s << u":0"_s;
    QTest::newRow("unix:0") << u"unix:0"_s << u":0"_s;
    QTest::newRow("unix:0.1") << u"unix:0.1"_s << u":0"_s;
    QTest::newRow(":1") << u":1"_s << u":1"_s;
    QTest::newRow(":10.0") << u":10.0"_s << u":10"_s;
    QTest::newRow("remote host") << u"Build-Host:0.0"_s << u"build-host:0"_s;
}

void TestSingleInstance::oneDisplayManyNames()
{
    QFETCH(QString, display);
    QFETCH(QString, normalized);
    QCOMPARE(SingleInstance::normalizedDisplay(display), normalized);
    const QString data = u"/home/ada/.local/share/ScrivLane"_s;
    QCOMPARE(SingleInstance::keyFor(display, data) == SingleInstance::keyFor(u":0"_s, data),
             normalized == u":0");
    QVERIFY(SingleInstance::keyFor(display, data) !=
            SingleInstance::keyFor(display, u"/srv/other/data"_s));
}

void TestSingleInstance::oneEngineAtATime()
{
    QTemporaryDir folder;
    auto first = std::make_unique<SingleInstance>(folder.path(), QString::fromLatin1(key));
    QSignalSpy shown(first.get(), &SingleInstance::requested);
    QCOMPARE(first->start(), SingleInstance::Role::primary);

    SingleInstance second(folder.path(), QString::fromLatin1(key));
    QCOMPARE(second.start(), SingleInstance::Role::secondary);
    QVERIFY(shown.wait(2000));
    QCOMPARE(shown.takeFirst().at(0).value<SingleInstance::Request>(),
             SingleInstance::Request::show);

    // The desktop entry's "New Snippet" action, while ScrivLane runs.
    SingleInstance action(folder.path(), QString::fromLatin1(key));
    QCOMPARE(action.start(SingleInstance::Request::newSnippet), SingleInstance::Role::secondary);
    QVERIFY(shown.wait(2000));
    QCOMPARE(shown.takeFirst().at(0).value<SingleInstance::Request>(),
             SingleInstance::Request::newSnippet);

    // A start that connects and says nothing (an older ScrivLane) still gets the window.
    {
        UniqueFd silent(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_un address = socketAddress(first->socketPath());
        QCOMPARE(
            ::connect(silent.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
            0);
        QVERIFY(shown.wait(2000));
        QCOMPARE(shown.takeFirst().at(0).value<SingleInstance::Request>(),
                 SingleInstance::Request::show);
    }

    // Another display or data folder is another engine.
    SingleInstance elsewhere(folder.path(), u"scrivlane-other"_s);
    QCOMPARE(elsewhere.start(), SingleInstance::Role::primary);

    // The name is free again once the engine has gone.
    first.reset();
    SingleInstance third(folder.path(), QString::fromLatin1(key));
    QCOMPARE(third.start(), SingleInstance::Role::primary);
}

// What an engine that died, or anything else, may have left at the socket's or the lock's
// name. Only the user's own processes can reach that folder, so none of it may keep ScrivLane
// from starting, nor let a second engine start beside it.
void TestSingleInstance::leftoversAtOurNamesDoNotStopAStart_data()
{
    QTest::addColumn<QString>("where"); // "sock" or "lock"
    QTest::addColumn<QString>("what");
    QTest::newRow("file at the socket") << u"sock"_s << u"file"_s;
    QTest::newRow("dead socket at the socket") << u"sock"_s << u"dead socket"_s;
    QTest::newRow("listening socket at the socket") << u"sock"_s << u"listening socket"_s;
    QTest::newRow("link at the socket") << u"sock"_s << u"link"_s;
    QTest::newRow("file at the lock") << u"lock"_s << u"file"_s;
    QTest::newRow("socket at the lock") << u"lock"_s << u"dead socket"_s;
    QTest::newRow("link at the lock") << u"lock"_s << u"link"_s;
    QTest::newRow("fifo at the lock") << u"lock"_s << u"fifo"_s;
}

void TestSingleInstance::leftoversAtOurNamesDoNotStopAStart()
{
    QFETCH(QString, where);
    QFETCH(QString, what);
    QTemporaryDir folder;
    QTemporaryDir elsewhere;
    const QString path = folder.filePath(QString::fromLatin1(key) + u'.' + where);
    const QString target = elsewhere.filePath(u"target"_s);
    {
        QFile file(what == u"link" ? target : path);
        if (what == u"file" || what == u"link") {
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("left behind");
        }
    }
    if (what == u"link")
        QVERIFY(QFile::link(target, path));
    if (what == u"fifo")
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    UniqueFd squatter;
    if (what.endsWith(u"socket")) {
        QVERIFY(bindSocket(squatter, path, what == u"listening socket"));
        QVERIFY(S_ISSOCK(statOf(path).st_mode));
    }

    SingleInstance engine(folder.path(), QString::fromLatin1(key));
    QSignalSpy shown(&engine, &SingleInstance::requested);
    QCOMPARE(engine.start(), SingleInstance::Role::primary);
    SingleInstance second(folder.path(), QString::fromLatin1(key));
    QCOMPARE(second.start(), SingleInstance::Role::secondary);
    QVERIFY(shown.wait(2000));
    if (what == u"link") {
        QFile file(target);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), "left behind");
    }
}

void TestSingleInstance::socketAndLockArePrivateWhateverTheUmask()
{
    QTemporaryDir folder;
    const mode_t saved = ::umask(0);
    SingleInstance engine(folder.path(), QString::fromLatin1(key));
    const SingleInstance::Role role = engine.start();
    ::umask(saved);
    QCOMPARE(role, SingleInstance::Role::primary);
    const struct stat socket = statOf(engine.socketPath());
    QVERIFY(S_ISSOCK(socket.st_mode));
    QCOMPARE(socket.st_mode & 07777, 0600u);
    const struct stat lock = statOf(engine.lockPath());
    QVERIFY(S_ISREG(lock.st_mode));
    QCOMPARE(lock.st_mode & 07777, 0600u);
}

// The engine counts only its own user's connections. The real peer here is this process's
// user, so an engine told that it belongs to somebody else sees it as a stranger.
void TestSingleInstance::othersConnectionsAreIgnored()
{
    QTemporaryDir folder;
    SingleInstance engine(folder.path(), QString::fromLatin1(key), ::geteuid() + 1);
    QSignalSpy shown(&engine, &SingleInstance::requested);
    QCOMPARE(engine.start(), SingleInstance::Role::primary);
    SingleInstance stranger(folder.path(), QString::fromLatin1(key));
    QCOMPARE(stranger.start(), SingleInstance::Role::secondary);
    QVERIFY(!shown.wait(300));
}

void TestSingleInstance::failsClearly()
{
    QTemporaryDir folder;
    SingleInstance missing(folder.filePath(u"gone"_s), QString::fromLatin1(key));
    QCOMPARE(missing.start(), SingleInstance::Role::failed);
    QVERIFY2(missing.errorString().contains(folder.filePath(u"gone"_s)),
             qPrintable(missing.errorString()));

    const QString deep = folder.filePath(QString(60, u'd') + u'/' + QString(60, u'e'));
    QVERIFY(QDir().mkpath(deep));
    SingleInstance tooLong(deep, QString::fromLatin1(key));
    QCOMPARE(tooLong.start(), SingleInstance::Role::failed);
    QVERIFY2(tooLong.errorString().contains(u"too long"_s), qPrintable(tooLong.errorString()));
}

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"

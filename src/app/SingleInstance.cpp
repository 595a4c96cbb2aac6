#include "app/SingleInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLoggingCategory>
#include <QSocketNotifier>
#include <QThread>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

using namespace Qt::StringLiterals;

Q_LOGGING_CATEGORY(lcInstance, "scrivlane.app.instance")

namespace {

constexpr mode_t privateMode = S_IRUSR | S_IWUSR;
// A start that finds the lock taken may be a moment ahead of the engine's listening socket.
constexpr int connectAttempts = 20;
constexpr unsigned long connectPauseMs = 50;
constexpr int lockAttempts = 5;

// A later start connects, says one word and hangs up.
const QByteArray showWord = QByteArrayLiteral("show\n");
const QByteArray newSnippetWord = QByteArrayLiteral("new-snippet\n");
// How long the running engine waits for that word, which follows the connection at once.
constexpr int requestWaitMs = 200;

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// The word a peer sent, or "show" when it sent none in time (an older ScrivLane sends none).
SingleInstance::Request readRequest(int peer)
{
    pollfd wait{peer, POLLIN, 0};
    char word[32] = {};
    if (::poll(&wait, 1, requestWaitMs) <= 0)
        return SingleInstance::Request::show;
    const ssize_t size = ::recv(peer, word, sizeof word - 1, MSG_DONTWAIT);
    if (size > 0 && QByteArray(word, size) == newSnippetWord)
        return SingleInstance::Request::newSnippet;
    return SingleInstance::Request::show;
}

bool addressOf(const QString& path, sockaddr_un& address)
{
    const QByteArray native = QFile::encodeName(path);
    address = {};
    address.sun_family = AF_UNIX;
    if (native.size() >= qsizetype(sizeof address.sun_path))
        return false;
    std::memcpy(address.sun_path, native.constData(), size_t(native.size()));
    return true;
}

} // namespace

SingleInstance::SingleInstance(QString folder, QString key, uid_t uid, QObject* parent)
    : QObject(parent), m_folder(std::move(folder)), m_key(std::move(key)), m_uid(uid)
{}

SingleInstance::~SingleInstance()
{
    m_notifier.reset();
    // The name is ours while the lock is: nobody else can have replaced the socket yet.
    if (m_server) {
        m_server.reset();
        ::unlink(QFile::encodeName(socketPath()).constData());
    }
}

QString SingleInstance::socketPath() const
{
    return QDir(m_folder).absoluteFilePath(m_key + QStringLiteral(".sock"));
}

QString SingleInstance::lockPath() const
{
    return QDir(m_folder).absoluteFilePath(m_key + QStringLiteral(".lock"));
}

QString SingleInstance::normalizedDisplay(const QString& display)
{
    const qsizetype colon = display.lastIndexOf(u':');
    if (colon < 0)
        return display;
    QString host = display.left(colon).toLower();
    if (host == u"unix")
        host.clear(); // the local socket, as with no host at all
    QString number = display.mid(colon + 1);
    number.truncate(number.indexOf(u'.') < 0 ? number.size() : number.indexOf(u'.'));
    return host + u':' + number;
}

QString SingleInstance::keyFor(const QString& display, const QString& dataDir)
{
    const QByteArray key =
        normalizedDisplay(display).toUtf8() + '\n' + QDir(dataDir).absolutePath().toUtf8();
    return QStringLiteral(SCRIVLANE_APP_ID "-") +
           QString::fromLatin1(
               QCryptographicHash::hash(key, QCryptographicHash::Sha1).toHex().left(16));
}

bool SingleInstance::refuse(const QString& error)
{
    m_error = error;
    return false;
}

SingleInstance::Role SingleInstance::start(Request request)
{
    bool taken = false;
    if (!takeLock(taken))
        return Role::failed;
    if (!taken) {
        notifyRunning(request);
        return Role::secondary;
    }
    return listen() ? Role::primary : Role::failed;
}

// The folder is the user's alone, so whatever sits at the lock's name that is not a plain file
// of theirs is a leftover and can go. A lock only counts while the name still leads to it:
// another start may have replaced such a leftover in the meantime.
bool SingleInstance::takeLock(bool& taken)
{
    const QByteArray path = QFile::encodeName(lockPath());
    int openError = 0;
    for (int attempt = 0; attempt < lockAttempts; ++attempt) {
        m_lock.reset(::open(path.constData(),
                            O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, privateMode));
        openError = m_lock ? 0 : errno;
        struct stat held {};
        if (!m_lock || ::fstat(m_lock.get(), &held) != 0 || !S_ISREG(held.st_mode) ||
            held.st_uid != ::geteuid()) {
            m_lock.reset();
            if (::unlink(path.constData()) != 0 && errno != ENOENT)
                return refuse(
                    QStringLiteral("cannot use %1: %2").arg(lockPath(), systemError(errno)));
            continue;
        }
        if (::flock(m_lock.get(), LOCK_EX | LOCK_NB) != 0) {
            const int error = errno;
            m_lock.reset();
            if (error == EWOULDBLOCK)
                return true;
            return refuse(QStringLiteral("cannot lock %1: %2").arg(lockPath(), systemError(error)));
        }
        struct stat named {};
        if (::lstat(path.constData(), &named) == 0 && named.st_dev == held.st_dev &&
            named.st_ino == held.st_ino) {
            ::fchmod(m_lock.get(), privateMode);
            taken = true;
            return true;
        }
        m_lock.reset();
    }
    return refuse(
        QStringLiteral("cannot create %1: %2")
            .arg(lockPath(), openError ? systemError(openError) : u"replaced meanwhile"_s));
}

bool SingleInstance::listen()
{
    sockaddr_un address{};
    if (!addressOf(socketPath(), address))
        return refuse(QStringLiteral("%1 is too long for a socket's name").arg(socketPath()));
    // Left by an engine that died, or put there by anything else: the lock says it is ours.
    if (::unlink(address.sun_path) != 0 && errno != ENOENT)
        return refuse(
            QStringLiteral("cannot replace %1: %2").arg(socketPath(), systemError(errno)));
    m_server.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    // The folder keeps others out while the mode, which bind() takes from the umask, is set.
    if (!m_server ||
        ::bind(m_server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::chmod(address.sun_path, privateMode) != 0 || ::listen(m_server.get(), 8) != 0) {
        const int error = errno;
        m_server.reset();
        return refuse(
            QStringLiteral("cannot listen on %1: %2").arg(socketPath(), systemError(error)));
    }
    m_notifier = std::make_unique<QSocketNotifier>(m_server.get(), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this,
            &SingleInstance::acceptConnections);
    return true;
}

void SingleInstance::acceptConnections()
{
    while (true) {
        const UniqueFd peer(::accept4(m_server.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!peer) {
            if (errno == EINTR || errno == ECONNABORTED)
                continue;
            return; // EAGAIN: nothing more waiting
        }
        ucred credentials{};
        socklen_t size = sizeof credentials;
        if (::getsockopt(peer.get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0 ||
            credentials.uid != m_uid) {
            qCWarning(lcInstance) << "ignoring a connection from user" << credentials.uid;
            continue;
        }
        Q_EMIT requested(readRequest(peer.get()));
    }
}

void SingleInstance::notifyRunning(Request request)
{
    sockaddr_un address{};
    if (!addressOf(socketPath(), address))
        return;
    for (int attempt = 0; attempt < connectAttempts; ++attempt) {
        const UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (socket && ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address),
                                sizeof address) == 0) {
            // One word; an older ScrivLane says nothing, which asks for the window.
            const QByteArray word = request == Request::newSnippet ? newSnippetWord : showWord;
            if (::send(socket.get(), word.constData(), size_t(word.size()), MSG_NOSIGNAL) < 0)
                qCWarning(lcInstance)
                    << "could not ask the running ScrivLane:" << systemError(errno);
            return;
        }
        QThread::msleep(connectPauseMs);
    }
    qCWarning(lcInstance) << "the running ScrivLane did not answer at" << socketPath();
}

#include "common/AppPaths.h"

#include "common/UniqueFd.h"

#include <QCryptographicHash>
#include <QDir>
#include <QStandardPaths>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString appFolder = QStringLiteral("ScrivLane");
constexpr mode_t privateDirMode = S_IRWXU;
constexpr mode_t privateFileMode = S_IRUSR | S_IWUSR;

QString underHomeOr(const QString& sub, QStandardPaths::StandardLocation fallback)
{
    const QString home = qEnvironmentVariable("SCRIVLANE_HOME");
    if (!home.isEmpty())
        return QDir(home).absoluteFilePath(sub);
    return QDir(QStandardPaths::writableLocation(fallback)).absoluteFilePath(appFolder);
}

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// $XDG_RUNTIME_DIR when it is what the XDG rules promise: the user's own folder, closed to
// everybody else.
std::optional<QString> sessionRuntimeDir()
{
    const QString dir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (dir.isEmpty() || !QDir::isAbsolutePath(dir))
        return std::nullopt;
    struct stat st {};
    if (::stat(QFile::encodeName(dir).constData(), &st) != 0 || !S_ISDIR(st.st_mode) ||
        st.st_uid != ::geteuid() || (st.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        return std::nullopt;
    return dir;
}

// A folder of ours inside `parent` that nobody else can have prepared: made here, or found
// as this user's own directory (not a link), and left 0700.
std::optional<QString> ownSubfolder(const QString& parent, const QString& name, QString& path)
{
    path = QDir(parent).absoluteFilePath(name);
    const QByteArray native = QFile::encodeName(path);
    if (::mkdir(native.constData(), privateDirMode) != 0 && errno != EEXIST)
        return QStringLiteral("cannot create %1: %2").arg(path, systemError(errno));
    struct stat st {};
    if (::lstat(native.constData(), &st) != 0)
        return QStringLiteral("%1: %2").arg(path, systemError(errno));
    if (!S_ISDIR(st.st_mode) || st.st_uid != ::geteuid())
        return QStringLiteral("%1 is not a folder of this user's").arg(path);
    if ((st.st_mode & 07777) != privateDirMode && ::chmod(native.constData(), privateDirMode) != 0)
        return QStringLiteral("%1: %2").arg(path, systemError(errno));
    return std::nullopt;
}

} // namespace

namespace AppPaths {

QString dataDir()
{
    return underHomeOr(QStringLiteral("data"), QStandardPaths::GenericDataLocation);
}

QString configDir()
{
    return underHomeOr(QStringLiteral("config"), QStandardPaths::GenericConfigLocation);
}

QString userDefaultsFile()
{
    return QDir(configDir()).absoluteFilePath(QStringLiteral("settings.ini"));
}

std::optional<QString> makePrivateDir(const QString& path)
{
    const QString absolute = QDir(path).absolutePath();
    const QString parent = QFileInfo(absolute).absolutePath();
    if (!QDir().mkpath(parent))
        return QStringLiteral("cannot create %1").arg(parent);
    const QByteArray native = QFile::encodeName(absolute);
    if (::mkdir(native.constData(), privateDirMode) != 0 && errno != EEXIST)
        return QStringLiteral("cannot create %1: %2").arg(absolute, systemError(errno));
    // The user may have made the folder a link to one of their own elsewhere; whatever it
    // leads to must be theirs.
    struct stat st {};
    if (::stat(native.constData(), &st) != 0)
        return QStringLiteral("%1: %2").arg(absolute, systemError(errno));
    if (!S_ISDIR(st.st_mode))
        return QStringLiteral("%1 is not a folder").arg(absolute);
    if (st.st_uid != ::geteuid())
        return QStringLiteral("%1 belongs to another user").arg(absolute);
    // Narrowed only: a folder the user made read-only stays so (the library is then read as
    // it stands).
    const mode_t mode = st.st_mode & 07777;
    const mode_t narrowed = mode & ~mode_t(S_IRWXG | S_IRWXO);
    if (mode != narrowed && ::chmod(native.constData(), narrowed) != 0)
        return QStringLiteral("%1: %2").arg(absolute, systemError(errno));
    return std::nullopt;
}

std::optional<QString> prepare()
{
    for (const QString& dir : {dataDir(), configDir()}) {
        if (std::optional<QString> error = makePrivateDir(dir))
            return error;
    }
    const QString path = userDefaultsFile();
    const UniqueFd fd(::open(QFile::encodeName(path).constData(),
                             O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                             privateFileMode));
    if (!fd) {
        if (errno == ELOOP)
            return QStringLiteral("%1 is a symbolic link; ScrivLane does not write its settings "
                                  "through one (make it a plain file)")
                .arg(path);
        return QStringLiteral("%1: %2").arg(path, systemError(errno));
    }
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0)
        return QStringLiteral("%1: %2").arg(path, systemError(errno));
    if (!S_ISREG(st.st_mode))
        return QStringLiteral("%1 is not a regular file").arg(path);
    if (st.st_uid != ::geteuid())
        return QStringLiteral("%1 belongs to another user").arg(path);
    // Closed to others, and only that: settings the user made read-only stay so.
    const mode_t mode = st.st_mode & 07777;
    const mode_t narrowed = mode & ~mode_t(S_IRWXG | S_IRWXO);
    if (mode != narrowed && ::fchmod(fd.get(), narrowed) != 0)
        return QStringLiteral("%1: %2").arg(path, systemError(errno));
    return std::nullopt;
}

QString runtimeDir(QString* error)
{
    QString path;
    if (const std::optional<QString> session = sessionRuntimeDir()) {
        if (!ownSubfolder(*session, QStringLiteral("scrivlane"), path))
            return path;
    }
    std::optional<QString> problem = makePrivateDir(dataDir());
    if (!problem)
        problem = ownSubfolder(dataDir(), QStringLiteral("run"), path);
    if (!problem)
        return path;
    if (error)
        *error = *problem;
    return QString();
}

QString lockFileFor(const QString& path, QString* error)
{
    const QString folder = runtimeDir(error);
    if (folder.isEmpty())
        return QString();
    const QByteArray hash =
        QCryptographicHash::hash(QDir(path).absolutePath().toUtf8(), QCryptographicHash::Sha1)
            .toHex()
            .left(16);
    return QDir(folder).absoluteFilePath(QFileInfo(path).fileName() + u'-' +
                                         QString::fromLatin1(hash) + QStringLiteral(".lock"));
}

} // namespace AppPaths

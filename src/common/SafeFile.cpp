#include "common/SafeFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr mode_t privateMode = S_IRUSR | S_IWUSR;
constexpr int temporaryAttempts = 100;

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// Why the entry `st` describes must not be replaced or read.
std::optional<QString> refusalOf(const QString& path, const struct stat& st, uid_t owner)
{
    if (S_ISLNK(st.st_mode))
        return QStringLiteral("%1 is a symbolic link; ScrivLane neither writes nor reads "
                              "through one")
            .arg(path);
    if (!S_ISREG(st.st_mode))
        return QStringLiteral("%1 is not a regular file").arg(path);
    if (st.st_uid != owner)
        return QStringLiteral("%1 belongs to another user").arg(path);
    return std::nullopt;
}

QByteArray randomSuffix()
{
    static constexpr char letters[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    QByteArray suffix(8, '\0');
    for (char& c : suffix)
        c = letters[QRandomGenerator::global()->bounded(int(sizeof letters - 1))];
    return suffix;
}

} // namespace

SafeFile::SafeFile(QString path, uid_t owner) : m_path(std::move(path)), m_owner(owner) {}

SafeFile::~SafeFile()
{
    removeTemporary();
}

bool SafeFile::fail(const QString& error)
{
    m_error = error;
    removeTemporary();
    return false;
}

void SafeFile::removeTemporary()
{
    m_file.reset();
    if (!m_temporaryName.isEmpty() && m_folder)
        ::unlinkat(m_folder.get(), m_temporaryName.constData(), 0);
    m_temporaryName.clear();
}

bool SafeFile::open()
{
    const QFileInfo info(m_path);
    // The folder may be reached through links the user made; the file itself may not.
    const QString folder = info.dir().canonicalPath();
    if (folder.isEmpty())
        return fail(QStringLiteral("The folder %1 does not exist.").arg(info.absolutePath()));
    m_name = QFile::encodeName(info.fileName());
    m_folder.reset(
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_folder)
        return fail(QStringLiteral("%1: %2").arg(folder, systemError(errno)));

    struct stat st {};
    if (::fstatat(m_folder.get(), m_name.constData(), &st, AT_SYMLINK_NOFOLLOW) == 0) {
        if (const std::optional<QString> refused = refusalOf(m_path, st, m_owner))
            return fail(*refused);
    } else if (errno != ENOENT) {
        return fail(QStringLiteral("%1: %2").arg(m_path, systemError(errno)));
    }

    for (int attempt = 0; attempt < temporaryAttempts; ++attempt) {
        const QByteArray name = '.' + m_name + '.' + randomSuffix() + ".tmp";
        m_file.reset(::openat(m_folder.get(), name.constData(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, privateMode));
        if (m_file) {
            m_temporaryName = name;
            break;
        }
        if (errno != EEXIST)
            return fail(
                QStringLiteral("cannot create a file in %1: %2").arg(folder, systemError(errno)));
    }
    if (!m_file)
        return fail(QStringLiteral("cannot create a file in %1").arg(folder));
    // The creation mode passed through the umask; this one does not.
    if (::fchmod(m_file.get(), privateMode) != 0)
        return fail(QStringLiteral("%1: %2").arg(m_path, systemError(errno)));
    return true;
}

bool SafeFile::write(const QByteArray& bytes)
{
    if (!m_file)
        return fail(QStringLiteral("%1 is not open for writing").arg(m_path));
    const char* p = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t n = ::write(m_file.get(), p, static_cast<size_t>(left));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return fail(QStringLiteral("%1: %2").arg(m_path, systemError(n < 0 ? errno : EIO)));
        p += n;
        left -= n;
    }
    return true;
}

bool SafeFile::commit()
{
    if (!m_file)
        return fail(QStringLiteral("%1 is not open for writing").arg(m_path));
    if (::fsync(m_file.get()) != 0 || !m_file.reset())
        return fail(QStringLiteral("%1: %2").arg(m_path, systemError(errno)));
    // Asked again: the destination may have changed while we wrote. rename() itself never
    // follows a link, so a later swap can only lose its link, never redirect our bytes.
    struct stat st {};
    if (::fstatat(m_folder.get(), m_name.constData(), &st, AT_SYMLINK_NOFOLLOW) == 0) {
        if (const std::optional<QString> refused = refusalOf(m_path, st, m_owner))
            return fail(*refused);
    }
    if (::renameat(m_folder.get(), m_temporaryName.constData(), m_folder.get(),
                   m_name.constData()) != 0)
        return fail(QStringLiteral("%1: %2").arg(m_path, systemError(errno)));
    m_temporaryName.clear();
    // The rename itself reaches the disk with the folder.
    ::fsync(m_folder.get());
    m_folder.reset();
    return true;
}

void SafeFile::cancel()
{
    removeTemporary();
}

std::optional<QString> SafeFile::writeFile(const QString& path, const QByteArray& bytes,
                                           uid_t owner)
{
    SafeFile file(path, owner);
    if (file.open() && file.write(bytes) && file.commit())
        return std::nullopt;
    return file.errorString();
}

std::variant<QByteArray, QString> SafeFile::readFile(const QString& path)
{
    // Non-blocking, so that a pipe planted in place of the file cannot stall us.
    const UniqueFd fd(::open(QFile::encodeName(path).constData(),
                             O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!fd) {
        const int error = errno;
        struct stat st {};
        if (::lstat(QFile::encodeName(path).constData(), &st) == 0) {
            if (const std::optional<QString> refused = refusalOf(path, st, st.st_uid))
                return *refused;
        }
        return QStringLiteral("%1: %2").arg(path, systemError(error));
    }
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0)
        return QStringLiteral("%1: %2").arg(path, systemError(errno));
    if (!S_ISREG(st.st_mode))
        return QStringLiteral("%1 is not a regular file").arg(path);
    QByteArray bytes;
    char buffer[64 * 1024];
    while (true) {
        const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return QStringLiteral("%1: %2").arg(path, systemError(errno));
        if (n == 0)
            return bytes;
        bytes.append(buffer, n);
    }
}

bool SafeFile::isMissing(const QString& path)
{
    struct stat st {};
    return ::lstat(QFile::encodeName(path).constData(), &st) != 0 && errno == ENOENT;
}

std::optional<QString> SafeFile::refusal(const QString& path, uid_t owner)
{
    struct stat st {};
    if (::lstat(QFile::encodeName(path).constData(), &st) != 0)
        return std::nullopt;
    return refusalOf(path, st, owner);
}

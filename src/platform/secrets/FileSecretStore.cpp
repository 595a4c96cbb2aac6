#include "platform/secrets/FileSecretStore.h"

#include "common/UniqueFd.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLockFile>
#include <QMetaObject>
#include <QObject>
#include <cerrno>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int lockWaitMs = 2000;

bool writeAll(int fd, const QByteArray& data)
{
    const char* p = data.constData();
    qsizetype left = data.size();
    while (left > 0) {
        const ssize_t n = ::write(fd, p, static_cast<size_t>(left));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        left -= n;
    }
    return true;
}

template <typename Result, typename Done> void deliver(QObject* context, Done done, Result result)
{
    if (!done)
        return;
    QMetaObject::invokeMethod(
        context, [done = std::move(done), result = std::move(result)] { done(result); },
        Qt::QueuedConnection);
}

} // namespace

FileSecretStore::FileSecretStore(QString path) : m_path(std::move(path)) {}

std::optional<QJsonObject> FileSecretStore::load() const
{
    QFile file(m_path);
    if (!file.exists())
        return QJsonObject();
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject())
        return std::nullopt;
    return document.object();
}

bool FileSecretStore::save(const QJsonObject& all) const
{
    if (all.isEmpty())
        return !QFile::exists(m_path) || QFile::remove(m_path);

    // mkstemp creates the file with mode 0600 whatever the umask; rename() then replaces the
    // old file in one step, so readers see either the old or the new content.
    QByteArray pattern = QFile::encodeName(m_path) + ".XXXXXX";
    UniqueFd fd(::mkstemp(pattern.data()));
    if (fd.get() < 0)
        return false;
    const bool written = ::fchmod(fd.get(), S_IRUSR | S_IWUSR) == 0 &&
                         writeAll(fd.get(), QJsonDocument(all).toJson(QJsonDocument::Compact)) &&
                         ::fsync(fd.get()) == 0;
    if (!fd.reset() || !written || ::rename(pattern.constData(), QFile::encodeName(m_path)) != 0) {
        ::unlink(pattern.constData());
        return false;
    }
    return true;
}

bool FileSecretStore::change(const std::function<void(QJsonObject&)>& edit)
{
    const QString folder = QFileInfo(m_path).absolutePath();
    if (!QDir(folder).exists() && ::mkdir(QFile::encodeName(folder).constData(), S_IRWXU) != 0)
        return false;
    QLockFile lock(m_path + QStringLiteral(".lock"));
    if (!lock.tryLock(lockWaitMs))
        return false;
    std::optional<QJsonObject> all = load();
    if (!all)
        all = QJsonObject(); // unreadable: start afresh rather than refuse every key
    edit(*all);
    return save(*all);
}

std::optional<QString> FileSecretStore::readNow(const QString& service,
                                                const QString& account) const
{
    const std::optional<QJsonObject> all = load();
    if (!all)
        return std::nullopt;
    const QJsonValue value = all->value(service).toObject().value(account);
    if (!value.isString())
        return std::nullopt;
    return value.toString();
}

bool FileSecretStore::writeNow(const QString& service, const QString& account,
                               const QString& secret)
{
    return change([&](QJsonObject& all) {
        QJsonObject accounts = all.value(service).toObject();
        accounts.insert(account, secret);
        all.insert(service, accounts);
    });
}

bool FileSecretStore::removeNow(const QString& service, const QString& account)
{
    if (!readNow(service, account))
        return true;
    return change([&](QJsonObject& all) {
        QJsonObject accounts = all.value(service).toObject();
        accounts.remove(account);
        if (accounts.isEmpty())
            all.remove(service);
        else
            all.insert(service, accounts);
    });
}

void FileSecretStore::read(const QString& service, const QString& account, QObject* context,
                           ReadDone done)
{
    deliver(context, std::move(done), readNow(service, account));
}

void FileSecretStore::write(const QString& service, const QString& account, const QString& secret,
                            QObject* context, WriteDone done)
{
    deliver(context, std::move(done), writeNow(service, account, secret));
}

void FileSecretStore::remove(const QString& service, const QString& account, QObject* context,
                             WriteDone done)
{
    deliver(context, std::move(done), removeNow(service, account));
}

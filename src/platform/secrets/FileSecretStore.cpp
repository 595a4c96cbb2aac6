#include "platform/secrets/FileSecretStore.h"

#include "common/AppPaths.h"
#include "common/SafeFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLockFile>
#include <QLoggingCategory>
#include <QMetaObject>
#include <QObject>
#include <sys/stat.h>

Q_LOGGING_CATEGORY(lcSecretFile, "scrivlane.secrets.file")

namespace {

constexpr int lockWaitMs = 2000;

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
    if (SafeFile::isMissing(m_path))
        return QJsonObject();
    const std::variant<QByteArray, QString> bytes = SafeFile::readFile(m_path);
    if (!std::holds_alternative<QByteArray>(bytes))
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(std::get<QByteArray>(bytes));
    if (!document.isObject())
        return std::nullopt;
    return document.object();
}

bool FileSecretStore::save(const QJsonObject& all) const
{
    if (all.isEmpty())
        return SafeFile::isMissing(m_path) || QFile::remove(m_path);
    // Mode 0600 whatever the umask, replaced in one rename: readers see the old or the new
    // content, and nobody else ever sees either.
    if (const std::optional<QString> error =
            SafeFile::writeFile(m_path, QJsonDocument(all).toJson(QJsonDocument::Compact))) {
        qCWarning(lcSecretFile).noquote() << *error;
        return false;
    }
    return true;
}

bool FileSecretStore::change(const std::function<void(QJsonObject&)>& edit)
{
    const QString folder = QFileInfo(m_path).absolutePath();
    if (!QDir(folder).exists() && ::mkdir(QFile::encodeName(folder).constData(), S_IRWXU) != 0)
        return false;
    QString error;
    const QString lockPath = AppPaths::lockFileFor(m_path, &error);
    if (lockPath.isEmpty()) {
        qCWarning(lcSecretFile).noquote() << "no folder for the lock file:" << error;
        return false;
    }
    QLockFile lock(lockPath);
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

#include "backup/BackupFolder.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <sys/stat.h>

namespace {

struct Identity {
    quint64 device = 0;
    quint64 inode = 0;
};

std::optional<Identity> identityOf(const QString& folder)
{
    struct stat info {};
    if (::stat(QFile::encodeName(folder).constData(), &info) != 0 || !S_ISDIR(info.st_mode))
        return std::nullopt;
    return Identity{quint64(info.st_dev), quint64(info.st_ino)};
}

} // namespace

namespace BackupFolder {

std::optional<QByteArray> bookmark(const QString& folder)
{
    const QString path = QDir(folder).absolutePath();
    const std::optional<Identity> identity = identityOf(path);
    if (!identity)
        return std::nullopt;
    const QJsonObject json{{QStringLiteral("path"), path},
                           {QStringLiteral("device"), QString::number(identity->device)},
                           {QStringLiteral("inode"), QString::number(identity->inode)}};
    return QJsonDocument(json).toJson(QJsonDocument::Compact);
}

std::optional<QString> resolve(const QByteArray& bookmark)
{
    const QJsonObject json = QJsonDocument::fromJson(bookmark).object();
    const QString path = json.value(QStringLiteral("path")).toString();
    if (path.isEmpty())
        return std::nullopt;
    const std::optional<Identity> identity = identityOf(path);
    if (!identity ||
        QString::number(identity->device) != json.value(QStringLiteral("device")).toString() ||
        QString::number(identity->inode) != json.value(QStringLiteral("inode")).toString())
        return std::nullopt;
    return path;
}

QString displayPath(const QString& folder)
{
    const QString home = QDir::homePath();
    if (folder == home)
        return QStringLiteral("~");
    if (folder.startsWith(home + u'/'))
        return u'~' + folder.mid(home.size());
    return folder;
}

} // namespace BackupFolder

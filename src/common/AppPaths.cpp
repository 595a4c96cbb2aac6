#include "common/AppPaths.h"

#include <QDir>
#include <QStandardPaths>

namespace {

const QString appFolder = QStringLiteral("ScrivLane");

QString underHomeOr(const QString& sub, QStandardPaths::StandardLocation fallback)
{
    const QString home = qEnvironmentVariable("SCRIVLANE_HOME");
    if (!home.isEmpty())
        return QDir(home).absoluteFilePath(sub);
    return QDir(QStandardPaths::writableLocation(fallback)).absoluteFilePath(appFolder);
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

bool ensureDir(const QString& path)
{
    QDir dir(path);
    if (dir.exists())
        return true;
    if (!dir.mkpath(QStringLiteral(".")))
        return false;
    return QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace AppPaths

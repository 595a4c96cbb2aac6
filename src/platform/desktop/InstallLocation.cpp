#include "platform/desktop/InstallLocation.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace InstallLocation {

std::optional<QString> misplacedAppImage(const QString& appImage, const QString& applicationsDir)
{
    if (appImage.isEmpty() || !QFileInfo(appImage).isFile())
        return std::nullopt;
    const QString folder = QFileInfo(appImage).canonicalPath();
    const QString applications = QFileInfo(applicationsDir).canonicalFilePath();
    if (!applications.isEmpty() && folder == applications)
        return std::nullopt;
    return QFileInfo(appImage).absoluteFilePath();
}

MoveOutcome moveToApplications(const QString& appImage, const QString& applicationsDir,
                               const std::function<bool(const QString& program)>& relaunch)
{
    if (!QDir().mkpath(applicationsDir))
        return {QString(), QStringLiteral("cannot create %1").arg(applicationsDir)};
    const QString destination =
        QDir(applicationsDir).absoluteFilePath(QFileInfo(appImage).fileName());
    // Copied under a temporary name first: a failed copy leaves the old one in place.
    const QString partial = destination + QStringLiteral(".part");
    QFile::remove(partial);
    if (!QFile::copy(appImage, partial))
        return {QString(), QStringLiteral("cannot copy %1 into %2").arg(appImage, applicationsDir)};
    QFile::setPermissions(partial, QFile::permissions(appImage) | QFile::ExeOwner |
                                       QFile::ReadOwner | QFile::WriteOwner);
    if (QFileInfo::exists(destination) && !QFile::remove(destination)) {
        QFile::remove(partial);
        return {QString(), QStringLiteral("cannot replace %1").arg(destination)};
    }
    if (!QFile::rename(partial, destination)) {
        QFile::remove(partial);
        return {QString(), QStringLiteral("cannot move the copy into %1").arg(destination)};
    }
    if (!relaunch(destination))
        return {QString(), QStringLiteral("cannot start %1").arg(destination)};
    // The old one is no longer needed; where it cannot go (a read-only medium) it stays.
    QFile::remove(appImage);
    return {destination, QString()};
}

} // namespace InstallLocation

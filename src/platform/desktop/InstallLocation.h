#pragma once

#include <QString>
#include <functional>
#include <optional>

// Running from an AppImage kept somewhere passing (Downloads, a USB stick): the offer to move
// it into ~/Applications, where launch at login and updates can rely on its path.
namespace InstallLocation {

// The AppImage this process runs from (`appImage`, from $APPIMAGE) when it is outside
// `applicationsDir`; nothing when not run from an AppImage or when it is already there.
std::optional<QString> misplacedAppImage(const QString& appImage, const QString& applicationsDir);

struct MoveOutcome {
    QString movedTo; // set on success
    QString error;   // set on failure
};

// Moves the AppImage into `applicationsDir` (made when missing; a file of the same name is
// replaced), keeps it executable, and asks `relaunch` to start the moved copy once this
// process has gone. Nothing is removed before the copy is in place.
MoveOutcome moveToApplications(const QString& appImage, const QString& applicationsDir,
                               const std::function<bool(const QString& program)>& relaunch);

} // namespace InstallLocation

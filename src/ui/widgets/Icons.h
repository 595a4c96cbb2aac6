#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

// Icons by their freedesktop names: the desktop's icon theme when it has the name, else our
// own drawing from the resources, so the app looks whole without any theme.
namespace Icons {

QIcon named(const QString& freedesktopName);
// The tray icon, plain or paused.
QIcon tray(bool paused);
// A round dot of the colour (an invalid colour: the palette's accent), for categories.
QIcon dot(const QColor& color, int size = 12);

} // namespace Icons

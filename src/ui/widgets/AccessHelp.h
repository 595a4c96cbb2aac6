#pragma once

class QWidget;

// What ScrivLane needs to read and send keys on this desktop, for the tray's "Help" and the
// Permissions pane.
namespace AccessHelp {

void show(QWidget* parent);

} // namespace AccessHelp

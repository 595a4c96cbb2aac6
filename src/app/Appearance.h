#pragma once

// The look the desktop gives us, unless SCRIVLANE_PALETTE asks for one ("dark" or "light",
// in Qt's Fusion style): for screenshots and for desktops whose theme Qt cannot read.
namespace Appearance {

void applyFromEnvironment();

} // namespace Appearance

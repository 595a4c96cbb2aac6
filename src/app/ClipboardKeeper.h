#pragma once

#include <QString>

// What the user had on the clipboard outlives ScrivLane. When the app quits while it owns the
// clipboard (it gave the user's contents back after an expansion), a clipboard manager takes
// them through SAVE_TARGETS, which Qt does at exit; with no manager running, a small detached
// process of ours keeps serving them until another application takes the clipboard, as xclip
// does.
namespace ClipboardKeeper {

// The option that starts the keeper: `scrivlane --keep-clipboard FILE`.
inline const char* const option = "--keep-clipboard";

// In the quitting app, with its QGuiApplication still alive.
void handOverIfOwned();

// The keeper's main: serves the contents saved in FILE (then removed).
int run(int argc, char* argv[]);

} // namespace ClipboardKeeper

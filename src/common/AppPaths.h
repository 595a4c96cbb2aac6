#pragma once

#include <QString>

// Where ScrivLane keeps its files. The XDG places by default; SCRIVLANE_HOME moves all of
// them under one folder (tests, portable use).
namespace AppPaths {

// The store, sounds and other data ("$SCRIVLANE_HOME/data" or "~/.local/share/ScrivLane").
QString dataDir();

// The preferences ("$SCRIVLANE_HOME/config" or "~/.config/ScrivLane").
QString configDir();

// The user defaults file inside configDir().
QString userDefaultsFile();

// Creates the folder (and its parents) readable by the user only; false when it cannot.
bool ensureDir(const QString& path);

} // namespace AppPaths

#pragma once

#include <QString>
#include <optional>

// Where ScrivLane keeps its files. The XDG places by default; SCRIVLANE_HOME moves all of
// them under one folder (tests, portable use).
namespace AppPaths {

// The store, sounds and other data ("$SCRIVLANE_HOME/data" or "~/.local/share/ScrivLane").
QString dataDir();

// The preferences ("$SCRIVLANE_HOME/config" or "~/.config/ScrivLane").
QString configDir();

// The user defaults file inside configDir().
QString userDefaultsFile();

// Creates the folder (and its parents) mode 0700, and closes one that already existed to
// everybody else; the error text when it cannot, or when the folder belongs to another user.
std::optional<QString> makePrivateDir(const QString& path);

// Before anything is written: the data and config folders private, and the user defaults
// file this user's own regular file with mode 0600 (created empty when missing, so that
// QSettings, which keeps an existing file's mode, never writes it wider). A settings.ini that
// is a symbolic link or another user's file is refused. The error text, if any.
std::optional<QString> prepare();

// A folder only this user can enter, for the single-instance socket and the lock files:
// "scrivlane" in $XDG_RUNTIME_DIR when that is the user's own private folder, else "run" in
// the data folder. Empty, with `error` set, when neither can be made.
QString runtimeDir(QString* error = nullptr);

// A lock file in runtimeDir() for the file at `path`, named after it so that every process
// guarding that file agrees; empty, with `error` set, when there is no runtime folder.
QString lockFileFor(const QString& path, QString* error = nullptr);

} // namespace AppPaths

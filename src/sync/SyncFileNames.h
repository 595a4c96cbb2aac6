#pragma once

#include <QString>
#include <optional>

namespace scrivlane::sync {

// The copies file-sync tools make when two computers change one file:
//   Syncthing  "name.sync-conflict-20261123-101500-ABCDEFG.ext"
//   Dropbox    "name (Anna's conflicted copy 2026-11-23).ext"
//   Nextcloud  "name (conflicted copy 2026-11-23 101500).ext"
//   merge tools and some clients  "name.ext.orig"
// Returns the name the copy stands in for, or nothing for an ordinary file.
std::optional<QString> conflictCopyOriginal(const QString& fileName);

} // namespace scrivlane::sync

#pragma once

class QSettings;

// The user defaults: one INI file in the config folder, shared by every service of the
// process. Main thread only, like QSettings itself.
namespace UserDefaults {

// The process's settings object, opened on first use at AppPaths::userDefaultsFile().
QSettings& shared();

} // namespace UserDefaults

#include "UserDefaults.h"

#include "AppPaths.h"

#include <QSettings>

namespace UserDefaults {

QSettings& shared()
{
    static QSettings settings = [] {
        AppPaths::ensureDir(AppPaths::configDir());
        return QSettings(AppPaths::userDefaultsFile(), QSettings::IniFormat);
    }();
    return settings;
}

} // namespace UserDefaults

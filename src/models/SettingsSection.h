#pragma once

#include <QCoreApplication>
#include <QList>
#include <QString>

// The settings panes, in the order the settings list shows them.
enum class SettingsSection { general, sound, backupSync, permissions, aiMacros };

namespace SettingsSections {

inline const QList<SettingsSection>& all()
{
    static const QList<SettingsSection> sections{
        SettingsSection::general, SettingsSection::sound, SettingsSection::backupSync,
        SettingsSection::permissions, SettingsSection::aiMacros};
    return sections;
}

inline QString title(SettingsSection section)
{
    switch (section) {
    case SettingsSection::general:
        return QCoreApplication::translate("SettingsSections", "General");
    case SettingsSection::sound:
        return QCoreApplication::translate("SettingsSections", "Sound");
    case SettingsSection::backupSync:
        return QCoreApplication::translate("SettingsSections", "Backup & Sync");
    case SettingsSection::permissions:
        return QCoreApplication::translate("SettingsSections", "Permissions");
    case SettingsSection::aiMacros:
        return QCoreApplication::translate("SettingsSections", "AI Macros");
    }
    return {};
}

} // namespace SettingsSections

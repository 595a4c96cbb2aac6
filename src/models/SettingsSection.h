#pragma once

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
        return QStringLiteral("General");
    case SettingsSection::sound:
        return QStringLiteral("Sound");
    case SettingsSection::backupSync:
        return QStringLiteral("Backup & Sync");
    case SettingsSection::permissions:
        return QStringLiteral("Permissions");
    case SettingsSection::aiMacros:
        return QStringLiteral("AI Macros");
    }
    return {};
}

} // namespace SettingsSections

#include "ui/settings/SettingsContentView.h"

#include "ui/settings/AISettingsView.h"
#include "ui/settings/BackupSyncSettingsView.h"
#include "ui/settings/GeneralSettingsView.h"
#include "ui/settings/PermissionsSettingsView.h"
#include "ui/settings/SoundSettingsView.h"
#include "ui/widgets/EmptyState.h"

SettingsContentView::SettingsContentView(const SettingsServices& services, QWidget* parent)
    : QStackedWidget(parent), m_services(services)
{
    setObjectName(QStringLiteral("SettingsContentView"));
    setAccessibleName(tr("Settings"));
}

QWidget* SettingsContentView::pane(SettingsSection section) const
{
    return m_panes[std::size_t(section)];
}

void SettingsContentView::showSection(SettingsSection section)
{
    QWidget*& pane = m_panes[std::size_t(section)];
    // Already in view: the window redrew for something else, the pane did not appear again.
    if (m_section == section && pane && currentWidget() == pane && isVisible())
        return;
    m_section = section;
    if (!pane) {
        pane = build(section);
        addWidget(pane);
    } else if (auto* appearing = qobject_cast<SettingsPane*>(pane)) {
        appearing->appear();
    }
    setCurrentWidget(pane);
}

QWidget* SettingsContentView::build(SettingsSection section)
{
    const SettingsServices& s = m_services;
    const auto unavailable = [this, section] {
        return new EmptyState(
            QStringLiteral("preferences-system"), SettingsSections::title(section),
            tr("These settings are not available in this window."), QString(), this);
    };
    switch (section) {
    case SettingsSection::general:
        if (!s.settings)
            return unavailable();
        return new GeneralSettingsView(s, this);
    case SettingsSection::sound:
        if (!s.sound)
            return unavailable();
        return new SoundSettingsView(s.sound, this);
    case SettingsSection::backupSync:
        if (!s.store || !s.settings || !s.scheduler)
            return unavailable();
        return new BackupSyncSettingsView(s, this);
    case SettingsSection::permissions:
        if (!s.expansion)
            return unavailable();
        return new PermissionsSettingsView(s.expansion, this);
    case SettingsSection::aiMacros:
        if (!s.ai)
            return unavailable();
        return new AISettingsView(s.ai, this);
    }
    return unavailable();
}

#include "models/GeneralSettingsModel.h"

#include "common/Preferences.h"
#include "models/CheckForUpdatesViewModel.h"
#include "models/Updater.h"
#include "platform/api/LoginItem.h"

#include <QSettings>

using namespace Qt::StringLiterals;

// The project's own pages, beside its sources.
const QUrl GeneralSettingsModel::privacyPolicyURL(
    u"https://github.com/pellucidforge/scrivlane/blob/main/docs/privacy.md"_s);
const QUrl GeneralSettingsModel::termsOfUseURL(
    u"https://github.com/pellucidforge/scrivlane/blob/main/docs/terms.md"_s);
const QUrl
    GeneralSettingsModel::documentationURL(u"https://github.com/pellucidforge/scrivlane#readme"_s);

GeneralSettingsModel::GeneralSettingsModel(Dependencies dependencies, QObject* parent)
    : QObject(parent), m_dependencies(std::move(dependencies)), m_updates(m_dependencies.updates)
{
    if (m_updates)
        connect(m_updates, &CheckForUpdatesViewModel::canCheckForUpdatesChanged, this,
                &GeneralSettingsModel::changed);
    appear();
}

void GeneralSettingsModel::appear()
{
    const bool enabled = m_dependencies.loginItem && m_dependencies.loginItem->isEnabled();
    if (enabled == m_launchAtLogin)
        return;
    m_launchAtLogin = enabled;
    Q_EMIT changed();
}

QString GeneralSettingsModel::setLaunchAtLogin(bool enabled)
{
    if (!m_dependencies.loginItem)
        return tr("Launch at login is not available here.");
    const QString error = m_dependencies.loginItem->setEnabled(enabled);
    // The switch shows what the entry now says, whether or not that worked.
    m_launchAtLogin = m_dependencies.loginItem->isEnabled();
    Q_EMIT changed();
    return error;
}

QString GeneralSettingsModel::versionText() const
{
    const QString version = m_dependencies.version.isEmpty() ? u"1.0.0"_s : m_dependencies.version;
    return tr("Version %1").arg(version);
}

bool GeneralSettingsModel::canCheckForUpdates() const
{
    return m_updates && m_updates->canCheckForUpdates();
}

void GeneralSettingsModel::checkForUpdates()
{
    if (m_updates)
        m_updates->checkForUpdates();
}

bool GeneralSettingsModel::betaUpdatesEnabled() const
{
    return Preferences::flag(*m_dependencies.settings, Preferences::betaUpdatesEnabled);
}

void GeneralSettingsModel::setBetaUpdatesEnabled(bool enabled)
{
    if (enabled == betaUpdatesEnabled())
        return;
    Preferences::write(*m_dependencies.settings, Preferences::betaUpdatesEnabled, enabled);
    if (m_updates && m_updates->updater())
        m_updates->updater()->resetUpdateCycle();
    Q_EMIT changed();
}

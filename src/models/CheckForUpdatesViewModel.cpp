#include "models/CheckForUpdatesViewModel.h"

#include "models/Updater.h"

CheckForUpdatesViewModel::CheckForUpdatesViewModel(Updater* updater, QObject* parent)
    : QObject(parent), m_updater(updater)
{
    if (!updater)
        return;
    connect(updater, &Updater::canCheckForUpdatesChanged, this,
            &CheckForUpdatesViewModel::setCanCheckForUpdates);
    setCanCheckForUpdates(updater->canCheckForUpdates()); // the real value at once
}

void CheckForUpdatesViewModel::checkForUpdates()
{
    if (m_updater && m_canCheckForUpdates)
        m_updater->checkForUpdates();
}

void CheckForUpdatesViewModel::setCanCheckForUpdates(bool canCheck)
{
    if (m_canCheckForUpdates == canCheck)
        return;
    m_canCheckForUpdates = canCheck;
    Q_EMIT canCheckForUpdatesChanged(canCheck);
}

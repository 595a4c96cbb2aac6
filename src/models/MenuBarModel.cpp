#include "models/MenuBarModel.h"

#include "expansion/TextExpansionService.h"
#include "library/PersistenceController.h"
#include "models/LibraryTexts.h"

MenuBarModel::MenuBarModel(TextExpansionService* expansion, PersistenceController* store,
                           QObject* parent)
    : QObject(parent), m_expansion(expansion), m_store(store)
{
    const auto recount = [this] {
        m_count = m_store->fetchActiveSnippets().size();
        Q_EMIT changed();
    };
    recount();
    connect(store, &PersistenceController::didSave, this, recount);
    connect(store, &PersistenceController::remoteStoreChanged, this, recount);
    connect(expansion, &TextExpansionService::isEnabledChanged, this, &MenuBarModel::changed);
    connect(expansion, &TextExpansionService::accessibilityGrantedChanged, this,
            &MenuBarModel::changed);
}

QString MenuBarModel::statusText() const
{
    if (!m_expansion->accessibilityGranted())
        return tr("Needs X11 Access");
    return m_expansion->isEnabled() ? tr("Active") : tr("Paused");
}

QString MenuBarModel::snippetCountText() const
{
    return LibraryTexts::snippetCount(m_count);
}

bool MenuBarModel::expansionEnabled() const
{
    return m_expansion->isEnabled();
}

void MenuBarModel::setExpansionEnabled(bool enabled)
{
    m_expansion->setEnabled(enabled);
}

QString MenuBarModel::expansionValueText() const
{
    return m_expansion->isEnabled() ? tr("Enabled") : tr("Paused");
}

bool MenuBarModel::showsAccessWarning() const
{
    return !m_expansion->accessibilityGranted();
}

bool MenuBarModel::isPaused() const
{
    return !m_expansion->isEnabled() || !m_expansion->accessibilityGranted();
}

void MenuBarModel::recheckAccess()
{
    m_expansion->startEventTap();
}

#include "models/WelcomeOverlayController.h"

#include "common/Preferences.h"
#include "platform/api/Scheduler.h"

#include <QSettings>

WelcomeOverlayController::WelcomeOverlayController(QSettings* settings, Scheduler* scheduler,
                                                   QObject* parent)
    : QObject(parent), m_settings(settings), m_scheduler(scheduler)
{}

void WelcomeOverlayController::showIfNeeded()
{
    if (Preferences::flag(*m_settings, Preferences::hasShownWelcome))
        return;
    m_scheduler->schedule(showDelay, this, [this] {
        Preferences::write(*m_settings, Preferences::hasShownWelcome, true);
        m_settings->sync();
        m_shown = true;
        const int generation = ++m_generation;
        Q_EMIT showRequested();
        m_scheduler->schedule(lifetime, this, [this, generation] {
            if (generation == m_generation)
                dismiss();
        });
    });
}

void WelcomeOverlayController::dismiss()
{
    if (!m_shown)
        return;
    m_shown = false;
    ++m_generation;
    Q_EMIT closeRequested();
}

#pragma once

#include <QObject>
#include <chrono>

class QSettings;
class Scheduler;

// The one-time welcome callout beside the tray icon: shown 1.2 s after start unless it was
// shown before, counted as shown the moment it appears, gone after 14 s or on "Got it".
class WelcomeOverlayController : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds showDelay{1200};
    static constexpr std::chrono::milliseconds lifetime{14000};

    WelcomeOverlayController(QSettings* settings, Scheduler* scheduler, QObject* parent = nullptr);

    void showIfNeeded();
    void dismiss();
    bool isShown() const { return m_shown; }

Q_SIGNALS:
    void showRequested();
    void closeRequested();

private:
    QSettings* m_settings;
    Scheduler* m_scheduler;
    bool m_shown = false;
    int m_generation = 0; // an auto-close belongs to the showing that scheduled it
};

#pragma once

#include <QObject>
#include <memory>

class AppServices;

// The running ScrivLane: the guard against a second engine in the same session, then the
// engine wired to the store and the system, then the shell the user sees.
class Application : public QObject {
    Q_OBJECT

public:
    // `showWindow`: open the main window once started (scrivlane --show).
    Application(AppServices& services, bool showWindow);
    ~Application() override;

    // Exit code for main(): 0 after a normal quit; 1 when there is no X display; 0 at once
    // when another ScrivLane already runs (it is asked to show itself).
    int run();

private:
    struct Parts;
    AppServices& m_services;
    bool m_showWindow;
    std::unique_ptr<Parts> m_parts;
};

#pragma once

#include <QObject>
#include <memory>

// The running ScrivLane: the store, the services and the expansion engine wired together, a
// tray icon, and the guard against a second engine in the same session.
class Application : public QObject {
    Q_OBJECT

public:
    Application();
    ~Application() override;

    // Exit code for main(): 0 after a normal quit; 1 when there is no X display; 0 at once
    // when another ScrivLane already runs (it is asked to show itself).
    int run();

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

#pragma once

#include "app/SingleInstance.h"

#include <QObject>
#include <memory>
#include <optional>

class AppServices;

// The running ScrivLane: the guard against a second engine in the same session, then the
// engine wired to the store and the system, then the shell the user sees.
class Application : public QObject {
    Q_OBJECT

public:
    // `request`: what the command line asked for (--show, --new-snippet), done once started or
    // passed to the ScrivLane already running; a plain start of a running one shows its window.
    Application(AppServices& services, std::optional<SingleInstance::Request> request);
    ~Application() override;

    // Exit code for main(): 0 after a normal quit; 1 when there is no X display; 0 at once
    // when another ScrivLane already runs (it is asked to do what this one was asked).
    int run();

private:
    void handle(SingleInstance::Request request);

    struct Parts;
    AppServices& m_services;
    std::optional<SingleInstance::Request> m_request;
    std::unique_ptr<Parts> m_parts;
};

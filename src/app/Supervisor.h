#pragma once

#include <memory>

// `scrivlane` without arguments runs as a small parent process with no X connection of its own,
// and the tray application runs as its child. Qt ends a process whose display connection
// breaks, so when the X server goes away the parent waits for the display to come back and
// then starts a new child.
namespace Supervisor {

// True in the child that the parent started.
bool isChild();

// Whether a connection to $DISPLAY opens (it is closed again at once).
bool displayReachable();

// The parent's whole life: starts the child, passes SIGTERM, SIGINT and SIGHUP on to it, and
// returns the exit code for main() once the application has ended for good. Needs no thread
// to be running yet.
int run(char* argv[]);

} // namespace Supervisor

// The child's end of the link to its parent, which tells an application that ended on its own
// (the parent then ends too) from one that died, and one that died while starting from one
// that ran.
class SupervisedChild {
public:
    // Takes the link named in the environment; before QApplication, as it edits the environment.
    SupervisedChild();
    ~SupervisedChild();
    SupervisedChild(const SupervisedChild&) = delete;
    SupervisedChild& operator=(const SupervisedChild&) = delete;

    // The engine runs: if the application dies from now on, a new one is worth starting.
    void reportUp();
    // The application ended of its own accord (a quit, or another ScrivLane already runs).
    void reportDone();
    // SIGTERM, SIGINT and SIGHUP quit the event loop, so that the engine stops and the store
    // closes as on a normal quit. Needs the QCoreApplication.
    void quitOnTerminationSignals();

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

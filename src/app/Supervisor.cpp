#include "app/Supervisor.h"

#include "common/UniqueFd.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace {

using Clock = std::chrono::steady_clock;

// Holds the number of the child's end of the link; only the child has it.
constexpr const char* linkVariable = "SCRIVLANE_SUPERVISOR_FD";
constexpr char upMessage = 'U';
constexpr char doneMessage = 'Q';
constexpr int displayPollMilliseconds = 1500;
// Children that die this soon after they were started are failures in a row; that many of them
// means starting another would only fail again.
constexpr auto quickFailure = std::chrono::seconds(10);
constexpr int quickFailuresBeforeGivingUp = 5;

void say(const std::string& line)
{
    const std::string text = "scrivlane: " + line + '\n';
    std::fputs(text.c_str(), stderr);
}

std::string displayName()
{
    const char* name = std::getenv("DISPLAY");
    return name ? name : "";
}

int exitCodeOf(int status)
{
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : 1;
}

std::string describe(int status)
{
    if (WIFSIGNALED(status))
        return "signal " + std::to_string(WTERMSIG(status)) + ", " + strsignal(WTERMSIG(status));
    return "exit status " + std::to_string(exitCodeOf(status));
}

// How one child ended.
struct Ending {
    bool started = false; // false: fork or exec failed
    bool up = false;
    bool done = false;          // it ended of its own accord
    bool stopRequested = false; // a termination signal was passed on to it
    int status = 0;
    Clock::duration lived{};
};

class Parent {
public:
    Parent(char** argv, const sigset_t& originalMask, int signals)
        : m_argv(argv), m_originalMask(originalMask), m_signals(signals)
    {}

    Ending runChild()
    {
        Ending ending;
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            say(std::string("cannot start ScrivLane: ") + std::strerror(errno));
            return ending;
        }
        UniqueFd ours(ends[0]);
        UniqueFd theirs(ends[1]);
        ::setenv(linkVariable, std::to_string(theirs.get()).c_str(), 1);
        const pid_t parent = ::getpid();
        const Clock::time_point startedAt = Clock::now();
        const pid_t child = ::fork();
        if (child < 0) {
            ::unsetenv(linkVariable);
            say(std::string("cannot start ScrivLane: ") + std::strerror(errno));
            return ending;
        }
        if (child == 0) {
            // The engine goes with a parent that was killed: left alone, nobody would bring it
            // back after the next display loss.
            ::prctl(PR_SET_PDEATHSIG, SIGTERM);
            if (::getppid() != parent)
                ::_exit(1);
            ::fcntl(theirs.get(), F_SETFD, 0);
            ::sigprocmask(SIG_SETMASK, &m_originalMask, nullptr);
            ::execv("/proc/self/exe", m_argv);
            const std::string line =
                std::string("scrivlane: cannot start ScrivLane: ") + std::strerror(errno) + '\n';
            [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
            ::_exit(127);
        }
        ::unsetenv(linkVariable);
        theirs.reset();
        ending.started = true;

        pollfd fds[2] = {{m_signals, POLLIN, 0}, {ours.get(), POLLIN, 0}};
        bool reaped = false;
        while (!reaped) {
            if (::poll(fds, 2, -1) < 0) {
                if (errno == EINTR)
                    continue;
                // Nothing more can be watched: the child's end is waited for.
                ::waitpid(child, &ending.status, 0);
                break;
            }
            if (fds[1].revents != 0 && !readMessages(ours.get(), ending))
                fds[1].fd = -1; // closed: the child is on its way out
            if (fds[0].revents & POLLIN) {
                signalfd_siginfo info{};
                if (::read(m_signals, &info, sizeof info) != sizeof info)
                    continue;
                if (info.ssi_signo == SIGCHLD) {
                    reaped = ::waitpid(child, &ending.status, WNOHANG) == child;
                } else {
                    ::kill(child, static_cast<int>(info.ssi_signo));
                    ending.stopRequested = true;
                }
            }
        }
        readMessages(ours.get(), ending); // what it said just before it ended
        ending.lived = Clock::now() - startedAt;
        return ending;
    }

    // False when a termination signal came first.
    bool waitForDisplay()
    {
        while (true) {
            pollfd fd{m_signals, POLLIN, 0};
            if (::poll(&fd, 1, displayPollMilliseconds) > 0) {
                signalfd_siginfo info{};
                if (::read(m_signals, &info, sizeof info) == sizeof info &&
                    info.ssi_signo != SIGCHLD)
                    return false;
            }
            if (Supervisor::displayReachable())
                return true;
        }
    }

private:
    // False once the child's end is closed.
    static bool readMessages(int fd, Ending& ending)
    {
        char buffer[64];
        while (true) {
            const ssize_t size = ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
            if (size == 0)
                return false;
            if (size < 0)
                return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
            for (ssize_t i = 0; i < size; ++i) {
                if (buffer[i] == upMessage)
                    ending.up = true;
                else if (buffer[i] == doneMessage)
                    ending.done = true;
            }
        }
    }

    char** m_argv;
    sigset_t m_originalMask;
    int m_signals;
};

// The child's quit on a termination signal: the handler may only write to a pipe.
int terminationPipe = -1;
constexpr int terminationSignals[] = {SIGTERM, SIGINT, SIGHUP};

void onTerminationSignal(int)
{
    const int savedErrno = errno;
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(terminationPipe, &byte, 1);
    errno = savedErrno;
}

} // namespace

// Connecting is the only sure test.
bool Supervisor::displayReachable()
{
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(nullptr, nullptr), xcb_disconnect);
    return connection && xcb_connection_has_error(connection.get()) == 0;
}

bool Supervisor::isChild()
{
    return std::getenv(linkVariable) != nullptr;
}

int Supervisor::run(char* argv[])
{
    // Blocked here and read from a signalfd; the child gets the mask it would have had.
    sigset_t handled;
    sigemptyset(&handled);
    for (int number : {SIGCHLD, SIGTERM, SIGINT, SIGHUP})
        sigaddset(&handled, number);
    sigset_t original;
    ::sigprocmask(SIG_BLOCK, &handled, &original);
    const UniqueFd signals(::signalfd(-1, &handled, SFD_CLOEXEC));
    if (!signals) {
        say(std::string("cannot watch over ScrivLane: ") + std::strerror(errno));
        return 1;
    }
    Parent parent(argv, original, signals.get());

    bool first = true;
    int quickFailures = 0;
    while (true) {
        const Ending ending = parent.runChild();
        if (!ending.started)
            return 1;
        // A first child that never came up said why (no X11 session, already running, ...).
        if (ending.done || ending.stopRequested || (first && !ending.up))
            return exitCodeOf(ending.status);
        first = false;
        quickFailures = ending.lived < quickFailure ? quickFailures + 1 : 0;
        if (quickFailures >= quickFailuresBeforeGivingUp) {
            say("ScrivLane ended " + std::to_string(quickFailures) +
                " times in a row within seconds of starting (last: " + describe(ending.status) +
                "); giving up.");
            return 1;
        }
        if (Supervisor::displayReachable()) {
            say("ScrivLane ended unexpectedly (" + describe(ending.status) +
                "); starting it again.");
            continue;
        }
        say("the X display " + displayName() +
            " went away; ScrivLane starts again when it is back (checking every 1.5 seconds).");
        if (!parent.waitForDisplay())
            return 0;
        say("the X display " + displayName() + " is back; starting ScrivLane again.");
    }
}

struct SupervisedChild::Parts {
    UniqueFd link;
    UniqueFd signalRead;
    UniqueFd signalWrite;
};

SupervisedChild::SupervisedChild() : m_parts(std::make_unique<Parts>())
{
    const char* value = std::getenv(linkVariable);
    if (!value)
        return;
    char* end = nullptr;
    const long fd = std::strtol(value, &end, 10);
    // Programs started from here must not write to the parent, nor take themselves for its child.
    if (end != value && *end == '\0' && fd > STDERR_FILENO && fd < INT_MAX &&
        ::fcntl(static_cast<int>(fd), F_SETFD, FD_CLOEXEC) == 0)
        m_parts->link.reset(static_cast<int>(fd));
    ::unsetenv(linkVariable);
}

SupervisedChild::~SupervisedChild()
{
    if (m_parts->signalWrite) {
        for (int number : terminationSignals)
            std::signal(number, SIG_DFL);
        terminationPipe = -1;
    }
}

void SupervisedChild::reportUp()
{
    if (m_parts->link)
        ::send(m_parts->link.get(), &upMessage, 1, MSG_NOSIGNAL);
}

void SupervisedChild::reportDone()
{
    if (m_parts->link)
        ::send(m_parts->link.get(), &doneMessage, 1, MSG_NOSIGNAL);
}

void SupervisedChild::quitOnTerminationSignals()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    m_parts->signalRead.reset(ends[0]);
    m_parts->signalWrite.reset(ends[1]);
    terminationPipe = ends[1];
    struct sigaction action {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int number : terminationSignals)
        ::sigaction(number, &action, nullptr);
    // Owned by the application, which goes before this object does.
    auto* notifier =
        new QSocketNotifier(ends[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [fd = ends[0]] {
        char buffer[16];
        while (::read(fd, buffer, sizeof buffer) > 0) {
        }
        QCoreApplication::quit();
    });
}

#include "app/AppServices.h"
#include "app/Appearance.h"
#include "app/Application.h"
#include "app/ClipboardKeeper.h"
#include "app/Supervisor.h"
#include "cli/CommandLine.h"

#include <QApplication>
#include <QCoreApplication>
#include <QLoggingCategory>
#include <QTimer>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <optional>
#include <sys/prctl.h>

using namespace Qt::StringLiterals;

namespace {
void write(const QString& text, std::FILE* stream)
{
    const QByteArray utf8 = text.toUtf8();
    std::fwrite(utf8.constData(), 1, static_cast<size_t>(utf8.size()), stream);
}

// The tray app's own options; anything else names a command.
bool isAppOption(const char* argument)
{
    return std::strcmp(argument, "--show") == 0 || std::strcmp(argument, "--new-snippet") == 0;
}

bool hasSubcommand(int argc, char* argv[])
{
    return argc > 1 && !(argc == 2 && isAppOption(argv[1]));
}

// Why the application cannot start on this session's display, if it cannot.
std::optional<QString> displayProblem()
{
    const QString display = qEnvironmentVariable("DISPLAY");
    if (display.isEmpty()) {
        if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
            return u"this is a Wayland session without XWayland (DISPLAY is not set). ScrivLane "
                   "watches and sends keys through X11, so it needs XWayland or an X11 "
                   "session."_s;
        return u"no X display (DISPLAY is not set). ScrivLane needs an X11 session; XWayland "
               "counts."_s;
    }
    if (!Supervisor::displayReachable())
        return u"cannot connect to the X display \""_s + display +
               u"\". ScrivLane needs an X11 session; XWayland counts."_s;
    return std::nullopt;
}
QtMessageHandler previousHandler = nullptr;

// Without a sound server Qt Multimedia's back-end says so several ways, again at each sound:
// one line says it all.
void quietAudioBackend(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    static std::atomic<bool> told{false};
    if (message.startsWith(u"PulseAudioService:") || message == u"No audio device detected") {
        if (!told.exchange(true))
            previousHandler(
                QtInfoMsg, context,
                QStringLiteral("no audio output (%1): expansion sounds are off").arg(message));
        return;
    }
    previousHandler(type, context, message);
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc == 3 && std::strcmp(argv[1], ClipboardKeeper::option) == 0)
        return ClipboardKeeper::run(argc, argv);
    if (hasSubcommand(argc, argv)) {
        // Commands need no display.
        QCoreApplication app(argc, argv);
        // A command reports in its own one-line errors; the services' notes (where API keys
        // are kept, a file that was skipped) belong in the tray app's log.
        QLoggingCategory::setFilterRules(u"scrivlane.*.info=false\nscrivlane.*.warning=false"_s);
        AppServices services(AppServices::Mode::command);
        const std::optional<CommandLine::Outcome> outcome =
            CommandLine::run(app.arguments(), services);
        if (outcome) {
            write(outcome->out, stdout);
            write(outcome->err, stderr);
            return outcome->exitCode;
        }
        return 0;
    }
    if (const std::optional<QString> problem = displayProblem()) {
        write(u"scrivlane: "_s + *problem + u" See scrivlane --help for the commands.\n"_s, stderr);
        return 1;
    }
    if (!Supervisor::isChild())
        return Supervisor::run(argv);
    previousHandler = qInstallMessageHandler(quietAudioBackend);
    // Started through /proc/self/exe, the engine would be "exe" in ps and top.
    ::prctl(PR_SET_NAME, "scrivlane");
    SupervisedChild supervisor;
    // No session bus: without this, Qt's accessibility bridge can hang trying to start one.
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("ScrivLane"));
    // Ties the windows to the installed desktop entry (its icon and name in the task bar).
    QGuiApplication::setDesktopFileName(QStringLiteral(SCRIVLANE_APP_ID));
    Appearance::applyFromEnvironment();
    QApplication::setQuitOnLastWindowClosed(false);
    supervisor.quitOnTerminationSignals();
    AppServices services;
    int status = 0;
    {
        std::optional<SingleInstance::Request> request;
        if (argc == 2)
            request = std::strcmp(argv[1], "--new-snippet") == 0
                          ? SingleInstance::Request::newSnippet
                          : SingleInstance::Request::show;
        Application scrivlane(services, request);
        // The event loop runs once the engine is wired; a second ScrivLane returns before it.
        QTimer::singleShot(0, &app, [&supervisor] { supervisor.reportUp(); });
        status = scrivlane.run();
    }
    // The engine is gone and the user's clipboard is back in place: keep it available.
    ClipboardKeeper::handOverIfOwned();
    supervisor.reportDone();
    return status;
}

#include "Application.h"
#include "CommandLine.h"
#include "Supervisor.h"

#include <QApplication>
#include <QCoreApplication>
#include <QTimer>
#include <cstdio>

namespace {
void write(const QString& text, std::FILE* stream)
{
    const QByteArray utf8 = text.toUtf8();
    std::fwrite(utf8.constData(), 1, static_cast<size_t>(utf8.size()), stream);
}

bool hasSubcommand(int argc)
{
    return argc > 1;
}
} // namespace

int main(int argc, char* argv[])
{
    if (hasSubcommand(argc)) {
        // Commands need no display.
        QCoreApplication app(argc, argv);
        const std::optional<CommandLine::Outcome> outcome = CommandLine::run(app.arguments());
        if (outcome) {
            write(outcome->out, stdout);
            write(outcome->err, stderr);
            return outcome->exitCode;
        }
        return 0;
    }
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        std::fputs("scrivlane: no X display (DISPLAY is not set). ScrivLane needs an X11 "
                   "session; XWayland counts. See scrivlane --help for the commands.\n",
                   stderr);
        return 1;
    }
    if (!Supervisor::isChild())
        return Supervisor::run(argv);
    SupervisedChild supervisor;
    // No session bus: without this, Qt's accessibility bridge can hang trying to start one.
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("ScrivLane"));
    QApplication::setQuitOnLastWindowClosed(false);
    supervisor.quitOnTerminationSignals();
    Application scrivlane;
    // The event loop runs once the engine is wired; a second ScrivLane returns before it.
    QTimer::singleShot(0, &app, [&supervisor] { supervisor.reportUp(); });
    const int status = scrivlane.run();
    supervisor.reportDone();
    return status;
}

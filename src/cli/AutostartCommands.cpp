#include "cli/CliSupport.h"
#include "platform/desktop/Autostart.h"

using namespace Qt::StringLiterals;

namespace {

// The same entry as the settings' "Launch at Login": on, off, or what it is now.
Cli::Outcome runAutostart(const QStringList& arguments, CommandServices&)
{
    const QString action = arguments.value(1, u"status"_s);
    if (action != u"on"_s && action != u"off"_s && action != u"status"_s)
        return Cli::usageError(u"autostart: expected on, off or status"_s);
    QCommandLineParser parser;
    const QStringList rest =
        QStringList{arguments.mid(0, 2).join(u' ')} + arguments.mid(arguments.size() > 1 ? 2 : 1);
    if (auto early = Cli::parseSubcommand(parser, rest, 0, 0, QString()))
        return *early;
    Autostart autostart(Autostart::defaultDir(), Autostart::runningProgram());
    if (action != u"status"_s) {
        if (const QString error = autostart.setEnabled(action == u"on"_s); !error.isEmpty())
            return {1, QString(), u"scrivlane: "_s + error + u"\n"_s};
    }
    return Cli::success((autostart.isEnabled() ? u"on\t"_s : u"off\t"_s) + autostart.entryPath() +
                        u"\n"_s);
}

} // namespace

void Cli::appendAutostartCommands(std::vector<Command>& commands)
{
    commands.push_back({u"autostart"_s, uR"(  autostart [on | off | status]
      Launch at Login, as in the settings: writes or removes the autostart entry for
      this executable (or the AppImage it runs from), or prints "on" or "off", a tab and
      the entry's path. Installed, the entry is the installed desktop entry.
)"_s,
                        runAutostart});
}

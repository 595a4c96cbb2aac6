#include "cli/CommandLine.h"

#include "cli/CliSupport.h"

using namespace Qt::StringLiterals;

namespace {

const std::vector<Cli::Command>& commands()
{
    static const std::vector<Cli::Command> all = [] {
        std::vector<Cli::Command> list;
        Cli::appendMacroCommands(list);
        Cli::appendAiCommands(list);
        Cli::appendConfigCommands(list);
        Cli::appendRichTextCommands(list);
        Cli::appendStoreCommands(list);
        Cli::appendBackupCommands(list);
        Cli::appendSyncCommands(list);
        Cli::appendSoundCommands(list);
        Cli::appendAutostartCommands(list);
        return list;
    }();
    return all;
}

} // namespace

std::optional<CommandLine::Outcome> CommandLine::run(const QStringList& arguments,
                                                     CommandServices& services)
{
    if (arguments.size() <= 1)
        return std::nullopt;

    QCommandLineParser parser;
    // Everything after the subcommand's name belongs to the subcommand's own parser.
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    const QCommandLineOption help({u"h"_s, u"help"_s}, u"Show this help."_s);
    const QCommandLineOption version({u"v"_s, u"version"_s}, u"Show the version."_s);
    parser.addOptions({help, version});
    if (!parser.parse(arguments))
        return Cli::usageError(parser.errorText());
    if (parser.isSet(help))
        return Cli::success(usage());
    if (parser.isSet(version))
        return Cli::success(u"scrivlane "_s + QStringLiteral(SCRIVLANE_VERSION) + u"\n"_s);

    const QStringList rest = parser.positionalArguments();
    if (rest.isEmpty())
        return Cli::usageError(u"missing command"_s);
    for (const Cli::Command& command : commands()) {
        if (command.name != rest.first())
            continue;
        if (const std::optional<QString> problem = services.prepareFiles())
            return CommandLine::Outcome{1, QString(), u"scrivlane: "_s + *problem + u"\n"_s};
        return command.run(rest, services);
    }
    return Cli::usageError(u"unknown command \""_s + rest.first() + u"\""_s);
}

QString CommandLine::usage()
{
    QString text = uR"(Usage: scrivlane [COMMAND [OPTIONS] ARGUMENTS]

Without a command, starts the ScrivLane tray application; with --show, or when it
already runs, opens its window; with --new-snippet, opens it on a new snippet.

Commands:
)"_s;
    for (const Cli::Command& command : commands())
        text += command.usage;
    text += uR"(
General options:
  --show               open the window (the running ScrivLane's, if there is one)
  --new-snippet        open the window on a new snippet, likewise
  -h, --help           show this help
  -v, --version        show the version

Put "--" before an argument that starts with "-".
)"_s;
    return text;
}

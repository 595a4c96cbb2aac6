#include "cli/CliSupport.h"

#include "common/JsonText.h"

using namespace Qt::StringLiterals;

namespace Cli {

Outcome usageError(const QString& message)
{
    return {CommandLine::usageErrorExitCode, QString(),
            u"scrivlane: "_s + message + u"\nTry 'scrivlane --help' for more information.\n"_s};
}

Outcome success(const QString& out)
{
    return {0, out, QString()};
}

QString jsonString(const QString& s)
{
    return QString::fromUtf8(JsonText::quoted(s));
}

std::optional<std::pair<QString, QString>> splitPair(const QString& argument)
{
    const qsizetype eq = argument.indexOf(u'=');
    if (eq < 0)
        return std::nullopt;
    return std::pair{argument.left(eq), argument.mid(eq + 1)};
}

std::optional<Outcome> parseSubcommand(QCommandLineParser& parser, const QStringList& arguments,
                                       qsizetype minPositional, qsizetype maxPositional,
                                       const QString& positionalName)
{
    const QCommandLineOption help({u"h"_s, u"help"_s}, u"Show this help."_s);
    parser.addOption(help);
    if (!parser.parse(arguments))
        return usageError(parser.errorText());
    if (parser.isSet(help))
        return success(CommandLine::usage());
    const qsizetype count = parser.positionalArguments().size();
    if (count < minPositional)
        return usageError(arguments.first() + u": missing "_s + positionalName);
    if (count > maxPositional)
        return usageError(arguments.first() + u": too many arguments (quote the "_s +
                          positionalName + u")"_s);
    return std::nullopt;
}

} // namespace Cli

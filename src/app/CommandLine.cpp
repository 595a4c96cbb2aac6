#include "CommandLine.h"

#include "MacroProcessor.h"

#include <QCommandLineParser>
#include <QHash>

using namespace Qt::StringLiterals;

namespace {

using Outcome = CommandLine::Outcome;

Outcome usageError(const QString& message)
{
    return {CommandLine::usageErrorExitCode, QString(),
            u"scrivlane: "_s + message + u"\nTry 'scrivlane --help' for more information.\n"_s};
}

QString jsonString(const QString& s)
{
    QString out = u"\""_s;
    for (const QChar c : s) {
        switch (c.unicode()) {
        case u'"':
            out += u"\\\""_s;
            break;
        case u'\\':
            out += u"\\\\"_s;
            break;
        case u'\n':
            out += u"\\n"_s;
            break;
        case u'\r':
            out += u"\\r"_s;
            break;
        case u'\t':
            out += u"\\t"_s;
            break;
        default:
            if (c.unicode() < 0x20)
                out += u"\\u"_s + QString::number(c.unicode(), 16).rightJustified(4, u'0');
            else
                out += c;
        }
    }
    return out + u"\""_s;
}

// Splits LABEL=VALUE at the first "="; the label may be empty, the "=" may not be missing.
std::optional<std::pair<QString, QString>> splitPair(const QString& argument)
{
    const qsizetype eq = argument.indexOf(u'=');
    if (eq < 0)
        return std::nullopt;
    return std::pair{argument.left(eq), argument.mid(eq + 1)};
}

const QCommandLineOption helpOption({u"h"_s, u"help"_s}, u"Show this help."_s);

// Parses a subcommand's own arguments (its name first, in the program name's place) and checks
// that exactly one TEXT remains.
std::optional<Outcome> parseSubcommand(QCommandLineParser& parser, const QStringList& arguments)
{
    parser.addOption(helpOption);
    if (!parser.parse(arguments))
        return usageError(parser.errorText());
    if (parser.isSet(helpOption))
        return Outcome{0, CommandLine::usage(), QString()};
    const qsizetype texts = parser.positionalArguments().size();
    if (texts == 0)
        return usageError(arguments.first() + u": missing TEXT"_s);
    if (texts > 1)
        return usageError(arguments.first() + u": expected one TEXT, got "_s +
                          QString::number(texts) + u" (quote the text)"_s);
    return std::nullopt;
}

Outcome runResolve(const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption clipboard(u"clipboard"_s, QString(), u"TEXT"_s);
    const QCommandLineOption fill(u"fill"_s, QString(), u"LABEL=VALUE"_s);
    const QCommandLineOption snippet(u"snippet"_s, QString(), u"ABBR=TEXT"_s);
    parser.addOptions({clipboard, fill, snippet});
    if (std::optional<Outcome> early = parseSubcommand(parser, arguments))
        return *early;

    QHash<QString, QString> fillInValues;
    for (const QString& value : parser.values(fill)) {
        const auto pair = splitPair(value);
        if (!pair)
            return usageError(u"--fill expects LABEL=VALUE, got \""_s + value + u"\""_s);
        fillInValues.insert(pair->first, pair->second);
    }
    QHash<QString, QString> snippets;
    for (const QString& value : parser.values(snippet)) {
        const auto pair = splitPair(value);
        if (!pair)
            return usageError(u"--snippet expects ABBR=TEXT, got \""_s + value + u"\""_s);
        // The first snippet with an abbreviation wins, as in the library's order.
        if (!snippets.contains(pair->first))
            snippets.insert(pair->first, pair->second);
    }
    const auto lookup = [&snippets](const QString& abbreviation) -> std::optional<QString> {
        const auto it = snippets.constFind(abbreviation);
        return it == snippets.cend() ? std::nullopt : std::optional<QString>(*it);
    };

    // No display here: without --clipboard the clipboard is empty.
    const MacroResolutionResult result = MacroProcessor::resolve(
        parser.positionalArguments().first(),
        parser.isSet(clipboard) ? parser.value(clipboard) : QString(), fillInValues, lookup);
    return {0, CommandLine::resolutionJson(result) + u"\n"_s, QString()};
}

Outcome runPreview(const QStringList& arguments)
{
    QCommandLineParser parser;
    if (std::optional<Outcome> early = parseSubcommand(parser, arguments))
        return *early;
    return {0, MacroProcessor::previewText(parser.positionalArguments().first()) + u"\n"_s,
            QString()};
}

} // namespace

std::optional<Outcome> CommandLine::run(const QStringList& arguments)
{
    if (arguments.size() <= 1)
        return std::nullopt;

    QCommandLineParser parser;
    // Everything after the subcommand's name belongs to the subcommand's own parser.
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    const QCommandLineOption version({u"v"_s, u"version"_s}, u"Show the version."_s);
    parser.addOptions({helpOption, version});
    if (!parser.parse(arguments))
        return usageError(parser.errorText());
    if (parser.isSet(helpOption))
        return Outcome{0, usage(), QString()};
    if (parser.isSet(version))
        return Outcome{0, u"scrivlane "_s + QStringLiteral(SCRIVLANE_VERSION) + u"\n"_s, QString()};

    const QStringList rest = parser.positionalArguments();
    if (rest.isEmpty())
        return usageError(u"missing command"_s);
    const QString& command = rest.first();
    if (command == u"resolve"_s)
        return runResolve(rest);
    if (command == u"preview"_s)
        return runPreview(rest);
    return usageError(u"unknown command \""_s + command + u"\""_s);
}

QString CommandLine::resolutionJson(const MacroResolutionResult& result)
{
    QStringList fields;
    for (const FillInField& field : result.pendingFillIns) {
        fields.append(u"{\"id\":"_s + jsonString(field.id) + u",\"label\":"_s +
                      jsonString(field.label) + u"}"_s);
    }
    return u"{\"text\":"_s + jsonString(result.text) + u",\"cursorBacktrackCount\":"_s +
           QString::number(result.cursorBacktrackCount) + u",\"pendingFillIns\":["_s +
           fields.join(u',') + u"]}"_s;
}

QString CommandLine::usage()
{
    return uR"(Usage: scrivlane [COMMAND [OPTIONS] TEXT]

Without a command, starts the ScrivLane tray application.

Commands:
  resolve [--clipboard TEXT] [--fill LABEL=VALUE]... [--snippet ABBR=TEXT]... TEXT
      Resolves the macros of TEXT and prints one line of JSON:
      {"text":...,"cursorBacktrackCount":N,"pendingFillIns":[{"id":...,"label":...}]}
      While a fill-in field lacks a value, the text comes back unchanged and the
      missing fields are listed.
  preview TEXT
      Prints the snippet editor's preview of TEXT.

Options of resolve:
  --clipboard TEXT     the clipboard's text (empty without this option)
  --fill LABEL=VALUE   the value of a fill-in field; repeatable. The value is
                       everything after the first "="; the label may be empty.
                       A label given twice takes the last value.
  --snippet ABBR=TEXT  a snippet for {snippet:ABBR}; repeatable. The first of
                       equal abbreviations wins.

General options:
  -h, --help           show this help
  -v, --version        show the version

Put "--" before a TEXT that starts with "-".
)"_s;
}

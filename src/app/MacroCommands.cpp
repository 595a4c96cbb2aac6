#include "CliSupport.h"
#include "MacroProcessor.h"

#include <QHash>

using namespace Qt::StringLiterals;

namespace {

using Cli::Outcome;

QString resolutionJson(const MacroResolutionResult& result)
{
    QStringList fields;
    for (const FillInField& field : result.pendingFillIns) {
        fields.append(u"{\"id\":"_s + Cli::jsonString(field.id) + u",\"label\":"_s +
                      Cli::jsonString(field.label) + u"}"_s);
    }
    return u"{\"text\":"_s + Cli::jsonString(result.text) + u",\"cursorBacktrackCount\":"_s +
           QString::number(result.cursorBacktrackCount) + u",\"pendingFillIns\":["_s +
           fields.join(u',') + u"]}"_s;
}

Outcome runResolve(const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption clipboard(u"clipboard"_s, QString(), u"TEXT"_s);
    const QCommandLineOption fill(u"fill"_s, QString(), u"LABEL=VALUE"_s);
    const QCommandLineOption snippet(u"snippet"_s, QString(), u"ABBR=TEXT"_s);
    parser.addOptions({clipboard, fill, snippet});
    if (std::optional<Outcome> early = Cli::parseSubcommand(parser, arguments, 1, 1, u"TEXT"_s))
        return *early;

    QHash<QString, QString> fillInValues;
    for (const QString& value : parser.values(fill)) {
        const auto pair = Cli::splitPair(value);
        if (!pair)
            return Cli::usageError(u"--fill expects LABEL=VALUE, got \""_s + value + u"\""_s);
        fillInValues.insert(pair->first, pair->second);
    }
    QHash<QString, QString> snippets;
    for (const QString& value : parser.values(snippet)) {
        const auto pair = Cli::splitPair(value);
        if (!pair)
            return Cli::usageError(u"--snippet expects ABBR=TEXT, got \""_s + value + u"\""_s);
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
    return Cli::success(resolutionJson(result) + u"\n"_s);
}

Outcome runPreview(const QStringList& arguments)
{
    QCommandLineParser parser;
    if (std::optional<Outcome> early = Cli::parseSubcommand(parser, arguments, 1, 1, u"TEXT"_s))
        return *early;
    return Cli::success(MacroProcessor::previewText(parser.positionalArguments().first()) +
                        u"\n"_s);
}

} // namespace

void Cli::appendMacroCommands(std::vector<Command>& commands)
{
    commands.push_back(
        {u"resolve"_s,
         uR"(  resolve [--clipboard TEXT] [--fill LABEL=VALUE]... [--snippet ABBR=TEXT]... TEXT
      Resolves the macros of TEXT and prints one line of JSON:
      {"text":...,"cursorBacktrackCount":N,"pendingFillIns":[{"id":...,"label":...}]}
      While a fill-in field lacks a value, the text comes back unchanged and the
      missing fields are listed.
        --clipboard TEXT     the clipboard's text (empty without this option)
        --fill LABEL=VALUE   the value of a fill-in field; repeatable. The value is
                             everything after the first "="; the label may be empty.
                             A label given twice takes the last value.
        --snippet ABBR=TEXT  a snippet for {snippet:ABBR}; repeatable. The first of
                             equal abbreviations wins.
)"_s,
         runResolve});
    commands.push_back({u"preview"_s, uR"(  preview TEXT
      Prints the snippet editor's preview of TEXT.
)"_s,
                        runPreview});
}

#include "cli/CliSupport.h"
#include "macros/MacroProcessor.h"
#include "richtext/PlainCharacters.h"
#include "richtext/RtfReader.h"
#include "richtext/RtfWriter.h"
#include "text/TextRules.h"

#include <QFile>
#include <QHash>
#include <QTextDocument>

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

// A file that cannot be used is not a usage error: no point in pointing at --help.
Outcome failure(const QString& message)
{
    return {CommandLine::usageErrorExitCode, QString(), u"scrivlane: "_s + message + u"\n"_s};
}

// Resolves a rich document; pending fill-ins print as for plain text.
Outcome resolveRtfFile(const QString& path, const std::optional<QString>& clipboard,
                       const QHash<QString, QString>& fillInValues,
                       const MacroProcessor::SnippetLookup& lookup)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failure(u"cannot read "_s + path + u": "_s + file.errorString());
    const std::unique_ptr<QTextDocument> document = RtfReader::read(file.readAll());
    if (!document)
        return failure(path + u" is not a readable RTF document"_s);

    const QString plain = RichText::plainCharacters(*document);
    const QList<FillInField> pending = MacroProcessor::pendingFillIns(plain, fillInValues);
    if (!pending.isEmpty())
        return Cli::success(resolutionJson({plain, 0, pending}) + u"\n"_s);

    const RichResolutionResult result =
        MacroProcessor::resolveRich(*document, clipboard, fillInValues, lookup);
    const std::optional<QByteArray> rtf = RtfWriter::write(*result.document);
    return Cli::success(
        u"{\"rtf\":"_s + (rtf ? Cli::jsonString(QString::fromLatin1(*rtf)) : u"null"_s) +
        u",\"text\":"_s + Cli::jsonString(RichText::plainCharacters(*result.document)) +
        u",\"cursorBacktrackCount\":"_s + QString::number(result.cursorBacktrackCount) + u"}\n"_s);
}

Outcome runResolve(const QStringList& arguments, CommandServices&)
{
    QCommandLineParser parser;
    const QCommandLineOption clipboard(u"clipboard"_s, QString(), u"TEXT"_s);
    const QCommandLineOption fill(u"fill"_s, QString(), u"LABEL=VALUE"_s);
    const QCommandLineOption snippet(u"snippet"_s, QString(), u"ABBR=TEXT"_s);
    const QCommandLineOption rtfFile(u"rtf-file"_s, QString(), u"FILE"_s);
    parser.addOptions({clipboard, fill, snippet, rtfFile});
    if (std::optional<Outcome> early = Cli::parseSubcommand(parser, arguments, 0, 1, u"TEXT"_s))
        return *early;
    const bool hasText = !parser.positionalArguments().isEmpty();
    if (parser.isSet(rtfFile) && hasText)
        return Cli::usageError(u"resolve: give TEXT or --rtf-file, not both"_s);
    if (!parser.isSet(rtfFile) && !hasText)
        return Cli::usageError(u"resolve: missing TEXT"_s);

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
        // The first snippet with an abbreviation wins, as in the library's order; canonically
        // equal abbreviations are one.
        const QString key = TextRules::canonicalForm(pair->first);
        if (!snippets.contains(key))
            snippets.insert(key, pair->second);
    }
    const auto lookup = [&snippets](const QString& abbreviation) -> std::optional<QString> {
        const auto it = snippets.constFind(TextRules::canonicalForm(abbreviation));
        return it == snippets.cend() ? std::nullopt : std::optional<QString>(*it);
    };

    // No display here: without --clipboard the clipboard is empty.
    const QString clipboardText = parser.isSet(clipboard) ? parser.value(clipboard) : QString();
    if (parser.isSet(rtfFile))
        return resolveRtfFile(parser.value(rtfFile), clipboardText, fillInValues, lookup);
    const MacroResolutionResult result = MacroProcessor::resolve(
        parser.positionalArguments().first(), clipboardText, fillInValues, lookup);
    return Cli::success(resolutionJson(result) + u"\n"_s);
}

Outcome runPreview(const QStringList& arguments, CommandServices&)
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
  resolve [OPTIONS] --rtf-file FILE
      Resolves the macros of TEXT and prints one line of JSON:
      {"text":...,"cursorBacktrackCount":N,"pendingFillIns":[{"id":...,"label":...}]}
      While a fill-in field lacks a value, the text comes back unchanged and the
      missing fields are listed.
      With --rtf-file, resolves the rich text of an RTF file, each value taking the
      formatting of its macro, and prints {"rtf":...,"text":...,"cursorBacktrackCount":N}
      (the count in UTF-16 units), or the pending fields as above.
        --clipboard TEXT     the clipboard's text (empty without this option)
        --fill LABEL=VALUE   the value of a fill-in field; repeatable. The value is
                             everything after the first "="; the label may be empty.
                             A label given twice takes the last value.
        --snippet ABBR=TEXT  a snippet for {snippet:ABBR}; repeatable. The first of
                             equal abbreviations wins.
        --rtf-file FILE      an RTF document to resolve instead of TEXT
)"_s,
         runResolve});
    commands.push_back({u"preview"_s, uR"(  preview TEXT
      Prints the snippet editor's preview of TEXT.
)"_s,
                        runPreview});
}

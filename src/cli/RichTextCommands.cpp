#include "cli/CliSupport.h"
#include "richtext/PlainCharacters.h"
#include "richtext/RtfReader.h"

#include <QFile>
#include <QTextDocument>

using namespace Qt::StringLiterals;

namespace {

using Cli::Outcome;

Outcome failure(const QString& message)
{
    return {CommandLine::usageErrorExitCode, QString(), u"scrivlane: "_s + message + u"\n"_s};
}

Outcome runRtf(const QStringList& arguments, CommandServices&)
{
    QCommandLineParser parser;
    if (std::optional<Outcome> early =
            Cli::parseSubcommand(parser, arguments, 2, 2, u"to-html|to-text FILE"_s))
        return *early;
    const QString action = parser.positionalArguments().at(0);
    const QString path = parser.positionalArguments().at(1);
    if (action != u"to-html"_s && action != u"to-text"_s)
        return Cli::usageError(u"rtf: unknown action \""_s + action + u"\""_s);

    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failure(u"cannot read "_s + path + u": "_s + file.errorString());
    const std::unique_ptr<QTextDocument> document = RtfReader::read(file.readAll());
    if (!document)
        return failure(path + u" is not a readable RTF document"_s);
    if (action == u"to-html"_s)
        return Cli::success(document->toHtml() + u"\n"_s);
    return Cli::success(RichText::plainCharacters(*document) + u"\n"_s);
}

} // namespace

void Cli::appendRichTextCommands(std::vector<Command>& commands)
{
    commands.push_back({u"rtf"_s, uR"(  rtf to-html FILE
  rtf to-text FILE
      Reads the RTF document FILE as ScrivLane reads rich snippets and prints it as
      HTML, or as its plain characters (paragraphs and line breaks as newlines).
      A file that cannot be read or is not RTF ends with exit code 2.
)"_s,
                        runRtf});
}

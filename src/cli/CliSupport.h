#pragma once

#include "cli/CommandLine.h"
#include "cli/CommandServices.h"

#include <QCommandLineParser>
#include <functional>
#include <vector>

class QSettings;

// What each area's subcommands share: the command table, error outcomes, JSON text.
namespace Cli {

using Outcome = CommandLine::Outcome;

struct Command {
    QString name;  // the first word after "scrivlane"
    QString usage; // its section of --help, lines indented by two spaces
    // arguments: name first
    std::function<Outcome(const QStringList& arguments, CommandServices& services)> run;
};

// Each area adds its commands here (MacroCommands.cpp, ...).
void appendMacroCommands(std::vector<Command>& commands);
void appendAiCommands(std::vector<Command>& commands);
void appendConfigCommands(std::vector<Command>& commands);
void appendRichTextCommands(std::vector<Command>& commands);
void appendStoreCommands(std::vector<Command>& commands);
void appendBackupCommands(std::vector<Command>& commands);
void appendSyncCommands(std::vector<Command>& commands);
void appendSoundCommands(std::vector<Command>& commands);
void appendAutostartCommands(std::vector<Command>& commands);

Outcome usageError(const QString& message);
Outcome success(const QString& out);

// A JSON string literal, quotes included.
QString jsonString(const QString& s);

// Splits NAME=VALUE at the first "="; the name may be empty, the "=" may not be missing.
std::optional<std::pair<QString, QString>> splitPair(const QString& argument);

// Parses a subcommand's own arguments with --help added and checks how many positional
// arguments remain; an outcome means stop here (help asked for, or a usage error).
std::optional<Outcome> parseSubcommand(QCommandLineParser& parser, const QStringList& arguments,
                                       qsizetype minPositional, qsizetype maxPositional,
                                       const QString& positionalName);

// With folder sync on, hands the values now in the user defaults of those keys that sync
// carries to the shared file, as the running app does with its own changes.
void shareSyncedPreferences(const QSettings& defaults, const QStringList& keys);

} // namespace Cli

#include "cli/CliSupport.h"

#include "backup/SettingsSyncService.h"
#include "common/AppPaths.h"
#include "common/JsonText.h"
#include "common/Preferences.h"
#include "platform/qt/JsonFileKeyValueStore.h"

#include <QSettings>

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

void shareSyncedPreferences(const QSettings& defaults, const QStringList& keys)
{
    if (!Preferences::flag(defaults, Preferences::iCloudSyncEnabled))
        return;
    JsonFileKeyValueStore store(SettingsSyncService::syncFolder(defaults), AppPaths::dataDir(),
                                SettingsSyncService::ownsSyncFolder(defaults)
                                    ? JsonFileKeyValueStore::MakeFolder::ifMissing
                                    : JsonFileKeyValueStore::MakeFolder::never);
    SettingsSyncService sync({&store, nullptr});
    for (const QString& key : keys) {
        const auto entry = SettingsSyncService::entryForKey(key);
        if (!entry)
            continue;
        switch (*entry) {
        case SettingsSyncService::Entry::expansionEnabled:
        case SettingsSyncService::Entry::soundEnabled:
            sync.push(*entry, Preferences::flag(defaults, key));
            break;
        case SettingsSyncService::Entry::soundVolume:
            sync.push(*entry, Preferences::number(defaults, key));
            break;
        case SettingsSyncService::Entry::selectedSound:
            sync.push(*entry, Preferences::text(defaults, key));
            break;
        }
    }
}

} // namespace Cli

#include "backup/BackupService.h"
#include "cli/CliSupport.h"
#include "common/Preferences.h"
#include "library/PersistenceController.h"

#include <QCoreApplication>
#include <QSettings>

using namespace Qt::StringLiterals;

namespace {

using Cli::Outcome;

// The four settings in effect, as the services would load them.
AppSettingsBackup storedSettings(const QSettings& defaults)
{
    AppSettingsBackup s;
    s.expansionEnabled = Preferences::flag(defaults, Preferences::expansionEnabled);
    s.soundEnabled = Preferences::flag(defaults, Preferences::soundEnabled);
    s.soundVolume = float(Preferences::number(defaults, Preferences::soundVolume));
    s.selectedSound = Preferences::text(defaults, Preferences::selectedSound);
    return s;
}

// Without the app running, restored settings go straight to the user defaults.
BackupService::SettingsTarget defaultsTarget(QSettings& defaults)
{
    const auto store = [&defaults](const QString& key) {
        return [key, &defaults](const auto& value) {
            Preferences::write(defaults, key, QVariant(value));
        };
    };
    return {store(Preferences::expansionEnabled), store(Preferences::soundEnabled),
            store(Preferences::soundVolume), store(Preferences::selectedSound),
            [](const QString&, const QVariant&) {}};
}

Outcome runBackup(const QStringList& arguments, CommandServices& services)
{
    const QString action = arguments.value(1);
    QCommandLineParser parser;
    const QStringList rest = QStringList{arguments.mid(0, 2).join(u' ')} + arguments.mid(2);
    if (action != u"export"_s && action != u"restore"_s)
        return Cli::usageError(u"backup: expected export or restore"_s);
    if (auto early =
            Cli::parseSubcommand(parser, rest, 1, 1, action == u"export"_s ? u"DIR"_s : u"FILE"_s))
        return *early;
    PersistenceController& store = services.store();
    if (!store.isAvailable())
        return {1, QString(), u"scrivlane: "_s + store.syncError() + u"\n"_s};
    const QString target = parser.positionalArguments().first();

    if (action == u"export"_s) {
        const BackupService::ExportOutcome outcome = BackupService::exportBackup(
            target, store, storedSettings(services.settings()), QDateTime::currentDateTimeUtc());
        if (outcome.filePath.isEmpty())
            return {1, QString(), u"Export failed: "_s + outcome.error + u"\n"_s};
        return Cli::success(outcome.filePath + u"\n"_s);
    }
    const BackupService::SettingsTarget settingsTarget = defaultsTarget(services.settings());
    const auto result =
        BackupService::restoreBackup(target, store, [settingsTarget](const AppSettingsBackup& s) {
            BackupService::applySettings(s, settingsTarget);
        });
    if (const auto* error = std::get_if<QString>(&result))
        return {1, QString(), BackupService::failureLine(*error) + u"\n"_s};
    QCoreApplication::processEvents(); // the settings are applied after the restore returns
    QSettings& defaults = services.settings();
    defaults.sync();
    if (defaults.status() != QSettings::NoError)
        return {1, QString(),
                u"Restore failed: the snippets were restored but the settings could not be "
                u"written to "_s +
                    defaults.fileName() + u"\n"_s};
    Cli::shareSyncedPreferences(defaults, {Preferences::expansionEnabled, Preferences::soundEnabled,
                                           Preferences::soundVolume, Preferences::selectedSound});
    return Cli::success(BackupService::resultLine(std::get<RestoreResult>(result)) + u"\n"_s);
}

} // namespace

void Cli::appendBackupCommands(std::vector<Command>& commands)
{
    commands.push_back({u"backup"_s, uR"(  backup export DIR
      Writes ScrivLane-Backup-<date>.json with the whole library into DIR; prints its path.
  backup restore FILE
      Adds the snippets of a backup file that the library lacks and restores its
      settings; prints the result line.
)"_s,
                        runBackup});
}

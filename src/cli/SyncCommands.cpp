#include "cli/CliSupport.h"
#include "cli/JsonWriter.h"
#include "common/Preferences.h"
#include "library/PersistenceController.h"
#include "sync/LibrarySync.h"

#include <QSettings>

using namespace Qt::StringLiterals;

namespace {

using Cli::Outcome;

QString statusJson(CommandServices& services)
{
    Cli::JsonObject json;
    scrivlane::sync::LibrarySync* sync = services.librarySync();
    json.add(u"enabled"_s, sync != nullptr);
    if (!sync) {
        json.add(u"folder"_s, Preferences::text(services.settings(), Preferences::syncFolder));
        return json.toString();
    }
    const auto status = sync->status();
    QStringList devices;
    for (const QString& device : status.devices)
        devices << Cli::jsonString(device);
    json.add(u"folder"_s, status.folder)
        .add(u"device"_s, status.device)
        .add(u"syncing"_s, status.syncing)
        .add(u"lastSyncDate"_s, status.lastSyncDate)
        .add(u"error"_s, status.error.isEmpty() ? std::nullopt : std::optional(status.error))
        .raw(u"devices"_s, Cli::jsonArray(devices));
    return json.toString();
}

Outcome runSync(const QStringList& arguments, CommandServices& services)
{
    const QString action = arguments.value(1);
    if (action != u"status"_s && action != u"now"_s)
        return Cli::usageError(u"sync: expected status or now"_s);
    QCommandLineParser parser;
    const QStringList rest = QStringList{arguments.mid(0, 2).join(u' ')} + arguments.mid(2);
    if (auto early = Cli::parseSubcommand(parser, rest, 0, 0, QString()))
        return *early;
    PersistenceController& store = services.store();
    if (!store.isAvailable())
        return {1, QString(), u"scrivlane: "_s + store.syncError() + u"\n"_s};
    if (action == u"now"_s) {
        scrivlane::sync::LibrarySync* sync = services.librarySync();
        if (!sync)
            return {1, statusJson(services) + u"\n"_s,
                    u"scrivlane: library sync is off; turn it on with "
                    u"\"scrivlane config set tw_iCloudSyncEnabled true\"\n"_s};
        sync->syncNow();
        if (!store.syncError().isEmpty())
            return {1, statusJson(services) + u"\n"_s,
                    u"scrivlane: "_s + store.syncError() + u"\n"_s};
    }
    return Cli::success(statusJson(services) + u"\n"_s);
}

} // namespace

void Cli::appendSyncCommands(std::vector<Command>& commands)
{
    commands.push_back({u"sync"_s, uR"(  sync status
      Prints the library sync state as JSON: on or off, the sync folder, this computer's
      id, whether a sync is running, the last sync date, the error if any, and every
      computer with files in the folder.
  sync now
      Sends this computer's changes to the sync folder and takes in the others', then
      prints the state. Exits with 1 when sync is off or the run failed.
)"_s,
                        runSync});
}

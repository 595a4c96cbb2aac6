#include "backup/SettingsSyncService.h"
#include "cli/CliSupport.h"
#include "common/AppPaths.h"
#include "platform/qt/JsonFileKeyValueStore.h"
#include "platform/qt/QtSoundPlayer.h"
#include "sound/SoundService.h"
#include "sound/SystemSounds.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QSettings>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

using Cli::Outcome;

// Long enough for any sound we make or a short custom one; a player that never reports the
// end must not keep the command waiting.
constexpr int playWaitLimitMs = 10000;

Outcome failure(const QString& message)
{
    return {1, QString(), u"scrivlane: "_s + message + u"\n"_s};
}

QString systemSoundsFolder()
{
    return QDir(AppPaths::dataDir()).absoluteFilePath(u"SystemSounds"_s);
}

// The services as the tray app builds them, on the process's user defaults.
struct SoundSetup {
    explicit SoundSetup(QSettings& settings) : defaults(settings) {}
    QSettings& defaults;
    QtSoundPlayer player{
        [](const QString& name) { return SystemSounds::ensureFile(systemSoundsFolder(), name); }};
    SoundService service{
        {&player, &defaults, QDir(AppPaths::dataDir()).absoluteFilePath(u"Sounds"_s)}};
};

QStringList subcommandArguments(const QStringList& arguments)
{
    return QStringList{arguments.mid(0, 2).join(u' ')} + arguments.mid(2);
}

Outcome soundList(const QStringList& arguments, QSettings& defaults)
{
    QCommandLineParser parser;
    if (auto early = Cli::parseSubcommand(parser, arguments, 0, 0, QString()))
        return *early;
    SoundSetup setup(defaults);
    const QString selected = setup.service.selectedSoundName();
    QString out;
    for (const QString& name : SoundService::systemSoundNames())
        out += (name == selected ? u"* "_s : u"  "_s) + name + u"\n"_s;
    const QUrl custom = setup.service.customSoundURL();
    if (!custom.isEmpty() || selected == SoundService::customSoundName) {
        out += (selected == SoundService::customSoundName ? u"* "_s : u"  "_s) +
               SoundService::customSoundName + u"\t"_s + custom.toLocalFile() + u"\n"_s;
    }
    return Cli::success(out);
}

Outcome soundPlay(const QStringList& arguments, QSettings& defaults)
{
    QCommandLineParser parser;
    if (auto early = Cli::parseSubcommand(parser, arguments, 1, 1, u"NAME"_s))
        return *early;
    const QString name = parser.positionalArguments().first();
    const bool custom = name == SoundService::customSoundName;
    if (!custom && !SoundService::systemSoundNames().contains(name))
        return failure(u"sound play: no sound named \""_s + name +
                       u"\" (see scrivlane sound list)"_s);

    SoundSetup setup(defaults);
    if (custom && setup.service.customSoundURL().isEmpty())
        return failure(u"sound play: no custom sound imported (see scrivlane sound import)"_s);
    if (!QtSoundPlayer::hasAudioOutput())
        return {0, QString(), u"scrivlane: no audio output device; nothing played\n"_s};

    if (custom)
        setup.service.playCustomSound();
    else
        setup.service.playSystemSound(name);

    QEventLoop loop;
    QObject::connect(&setup.player, &QtSoundPlayer::becameIdle, &loop, &QEventLoop::quit);
    QTimer::singleShot(playWaitLimitMs, &loop, &QEventLoop::quit);
    if (setup.player.isBusy())
        loop.exec();
    return Cli::success(QString());
}

Outcome soundImport(const QStringList& arguments, QSettings& defaults)
{
    QCommandLineParser parser;
    if (auto early = Cli::parseSubcommand(parser, arguments, 1, 1, u"FILE"_s))
        return *early;
    const QString file = parser.positionalArguments().first();

    SoundSetup setup(defaults);
    // The selection changes to "custom": other machines hear of it, as from the tray app.
    JsonFileKeyValueStore store(SettingsSyncService::syncFolder(defaults), AppPaths::dataDir(),
                                SettingsSyncService::ownsSyncFolder(defaults)
                                    ? JsonFileKeyValueStore::MakeFolder::ifMissing
                                    : JsonFileKeyValueStore::MakeFolder::never);
    SettingsSyncService sync({&store, &defaults});
    sync.connectOwners(nullptr, &setup.service);

    const std::optional<QString> stored = setup.service.importCustomSound(file);
    defaults.sync();
    if (stored && defaults.status() != QSettings::NoError)
        return failure(u"sound import: copied to "_s + *stored +
                       u" but could not select it: "_s
                       u"cannot write "_s +
                       defaults.fileName());
    if (!stored)
        return failure(u"sound import: "_s + file + u": "_s + setup.service.importError());
    QString note;
    if (!QtSoundPlayer::isPlayableWav(*stored))
        note = u"scrivlane: note: "_s + *stored +
               u" is not a PCM WAV file; \"Tink\" will play in its place\n"_s;
    return {0, *stored + u"\n"_s, note};
}

Outcome runSound(const QStringList& arguments, CommandServices& services)
{
    const QString action = arguments.value(1);
    const QStringList rest = subcommandArguments(arguments);
    if (action == u"list"_s)
        return soundList(rest, services.settings());
    if (action == u"play"_s)
        return soundPlay(rest, services.settings());
    if (action == u"import"_s)
        return soundImport(rest, services.settings());
    return Cli::usageError(u"sound: expected list, play or import"_s);
}

} // namespace

void Cli::appendSoundCommands(std::vector<Command>& commands)
{
    commands.push_back({u"sound"_s, uR"(  sound list
      Prints the sound names, one a line; "*" marks the selected one. An imported
      custom sound is listed as "custom" followed by a tab and its file.
  sound play NAME
      Plays a sound (a listed name, or "custom") at the set volume and waits for it
      to end. Without an audio device it plays nothing and says so on stderr.
  sound import FILE
      Copies a sound file (WAV) into the Sounds folder, replacing one of the same
      name, selects it as the custom sound and prints the stored copy's path.
)"_s,
                        runSound});
}

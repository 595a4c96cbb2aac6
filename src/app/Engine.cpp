#include "app/Engine.h"

#include "ai/AIService.h"
#include "app/AppServices.h"
#include "app/LibrarySyncWatcher.h"
#include "app/SettingsWatcher.h"
#include "backup/BackupController.h"
#include "backup/SettingsSyncService.h"
#include "common/AppPaths.h"
#include "common/Preferences.h"
#include "expansion/ExpansionPipeline.h"
#include "expansion/PasteShortcuts.h"
#include "expansion/TextExpansionService.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "macros/MacroProcessor.h"
#include "platform/qt/JsonFileKeyValueStore.h"
#include "platform/qt/QtClipboard.h"
#include "platform/qt/QtScheduler.h"
#include "platform/qt/QtSoundPlayer.h"
#include "platform/x11/X11KeyInjector.h"
#include "platform/x11/X11KeyboardMonitor.h"
#include "sound/SoundService.h"
#include "sound/SystemSounds.h"
#include "sync/LibrarySync.h"
#include "ui/panels/FillInPanel.h"
#include "ui/panels/GeneratingPanel.h"

#include <QDir>
#include <QHash>
#include <QLoggingCategory>
#include <QSettings>
#include <QUrl>
#include <malloc.h>

Q_LOGGING_CATEGORY(lcEngine, "scrivlane.engine")

namespace {

std::vector<SnippetRecord> snippetRecords(const PersistenceController& store)
{
    std::vector<SnippetRecord> records;
    const QList<SnippetEntity*> active = store.fetchActiveSnippets();
    records.reserve(std::size_t(active.size()));
    for (const SnippetEntity* s : active) {
        if (s->canExpand())
            records.emplace_back(s->texts(), s->isRichText());
    }
    return records;
}

// The form takes the keyboard; the window the user was typing in gets it back before the paste.
class FocusReturningFillIns final : public FillInPresenter {
public:
    explicit FocusReturningFillIns(WindowFocus* focus) : m_focus(focus) {}
    void show(const QList<FillInField>& fields,
              std::function<void(const QHash<QString, QString>&)> completed,
              std::function<void()> cancelled) override
    {
        const std::optional<FocusedWindow> previous = m_focus->focusedWindow();
        const unsigned long window = previous ? previous->id : 0;
        WindowFocus* focus = m_focus;
        FillInPanel::show(
            fields,
            [focus, window, completed](const QHash<QString, QString>& values) {
                focus->activate(window);
                // A window manager moves the focus a moment later; the paste must not go to
                // the closing form.
                focus->waitForFocus(window, std::chrono::milliseconds(500));
                completed(values);
            },
            [focus, window, cancelled] {
                focus->activate(window);
                cancelled();
            });
    }

private:
    WindowFocus* m_focus;
};

} // namespace

struct Engine::Parts {
    explicit Parts(AppServices& s) : services(s) {}
    AppServices& services;
    QtScheduler scheduler;
    std::unique_ptr<QtClipboard> clipboard;
    std::unique_ptr<X11KeyInjector> keys;
    std::unique_ptr<X11KeyboardMonitor> monitor;
    std::unique_ptr<TextExpansionService> expansion;
    std::unique_ptr<QtSoundPlayer> player;
    std::unique_ptr<SoundService> sound;
    std::unique_ptr<JsonFileKeyValueStore> sharedPreferences;
    std::unique_ptr<SettingsSyncService> preferenceSync;
    std::unique_ptr<FocusReturningFillIns> fillIns;
    std::unique_ptr<GeneratingPanel> generating;
    std::unique_ptr<ExpansionPipeline> pipeline;
    PasteShortcuts pasteShortcuts;
    std::unique_ptr<BackupController> backup;
    std::unique_ptr<SettingsWatcher> settingsWatcher;
    std::unique_ptr<LibrarySyncWatcher> librarySync;
};

Engine::Engine(AppServices& services, QObject* parent)
    : QObject(parent), m_parts(std::make_unique<Parts>(services))
{
    Parts& p = *m_parts;
    QSettings& defaults = services.settings();
    PersistenceController& store = services.store();

    p.clipboard = std::make_unique<QtClipboard>();
    p.keys = std::make_unique<X11KeyInjector>();
    p.monitor = std::make_unique<X11KeyboardMonitor>();
    X11KeyInjector* keys = p.keys.get();
    WindowFocus* focus = keys;
    p.expansion = std::make_unique<TextExpansionService>(TextExpansionService::Dependencies{
        &p.scheduler, p.clipboard.get(), focus, &defaults, p.monitor.get(),
        [keys] {
            return keys->isAvailable()
                       ? QString()
                       : QStringLiteral("the X server has no XTEST extension for synthetic keys.");
        },
        [keys] { keys->holdUserKeys(); }});
    MacroProcessor::setClipboardReader(p.clipboard.get());

    const auto rebuild = [this] {
        m_parts->expansion->updateSnippets(snippetRecords(m_parts->services.store()));
        // The build's scratch strings are freed between long-lived blocks, where malloc keeps
        // their pages: some 14 MB for 100,000 snippets. Giving them back takes about 1 ms.
        malloc_trim(0);
    };
    rebuild();
    connect(&store, &PersistenceController::didSave, this, rebuild);
    connect(&store, &PersistenceController::remoteStoreChanged, this, rebuild);
    // Our own windows are recognised by the focused window's process (WindowFocus); Qt's
    // application state is not used, as it can stay "active" after our last window closed
    // when no window manager runs.

    const QString systemSounds =
        QDir(AppPaths::dataDir()).absoluteFilePath(QStringLiteral("SystemSounds"));
    p.player = std::make_unique<QtSoundPlayer>([systemSounds](const QString& name) {
        return SystemSounds::ensureFile(systemSounds, name);
    });
    p.sound = std::make_unique<SoundService>(SoundService::Dependencies{
        p.player.get(), &defaults,
        QDir(AppPaths::dataDir()).absoluteFilePath(QStringLiteral("Sounds"))});

    // Changes are pushed from the start; values from other machines are read once sync is on.
    p.sharedPreferences = std::make_unique<JsonFileKeyValueStore>(
        SettingsSyncService::syncFolder(defaults), AppPaths::dataDir(),
        SettingsSyncService::ownsSyncFolder(defaults) ? JsonFileKeyValueStore::MakeFolder::ifMissing
                                                      : JsonFileKeyValueStore::MakeFolder::never);
    p.preferenceSync = std::make_unique<SettingsSyncService>(
        SettingsSyncService::Dependencies{p.sharedPreferences.get(), &defaults});
    p.preferenceSync->connectOwners(p.expansion.get(), p.sound.get());
    if (Preferences::flag(defaults, Preferences::iCloudSyncEnabled))
        p.preferenceSync->start();

    p.generating = std::make_unique<GeneratingPanel>([focus]() -> QRect {
        const auto focused = focus->focusedWindow();
        return focused ? QRect(focused->x, focused->y, focused->width, focused->height) : QRect();
    });
    ExpansionPipeline::Parts parts;
    parts.scheduler = &p.scheduler;
    parts.keys = keys;
    parts.clipboard = p.clipboard.get();
    p.fillIns = std::make_unique<FocusReturningFillIns>(focus);
    parts.fillIns = p.fillIns.get();
    parts.indicator = p.generating.get();
    AIService& ai = services.ai();
    parts.aiEnabled = [&ai] { return ai.isEnabled(); };
    parts.complete = [&ai](const QString& prompt, auto done) {
        ai.complete(prompt, [done](const AIResult<QString>& result) {
            if (const auto* reply = std::get_if<QString>(&result))
                done(ExpansionPipeline::AIOutcome(std::in_place_index<0>, *reply));
            else
                done(ExpansionPipeline::AIOutcome(std::in_place_index<1>,
                                                  failureDescription(std::get<AIFailure>(result))));
        });
    };
    parts.pasteShortcut = [this, focus] {
        const auto focused = focus->focusedWindow();
        return m_parts->pasteShortcuts.forWindowClass(focused ? focused->windowClass : QString());
    };
    parts.onExpansion = [this] { m_parts->sound->playExpansionSound(); };
    parts.slowTarget = [this, focus] {
        const auto focused = focus->focusedWindow();
        return focused && m_parts->pasteShortcuts.isSlow(focused->windowClass);
    };
    p.pasteShortcuts.addUserEntries(Preferences::textList(defaults, Preferences::pasteShortcuts));
    p.pipeline = std::make_unique<ExpansionPipeline>(p.expansion.get(), parts);

    // The command line and restored backups write the settings file: take the values up now.
    p.settingsWatcher = std::make_unique<SettingsWatcher>(defaults);
    connect(p.settingsWatcher.get(), &SettingsWatcher::changed, this, [this] { applySettings(); });

    // Watching keys needs RECORD and XTEST; without them the service keeps asking every 1.5 s.
    connect(p.expansion.get(), &TextExpansionService::monitoringStarted, this,
            [] { qCInfo(lcEngine) << "ScrivLane is watching the keyboard"; });
    connect(p.expansion.get(), &TextExpansionService::monitoringFailed, this,
            [](const QString& reason) {
                qCWarning(lcEngine).noquote()
                    << "Cannot watch the keyboard:" << reason << "Trying again every 1.5 seconds.";
            });
}

// The backup controller waits for its worker: it goes before the services it reads.
Engine::~Engine()
{
    m_parts->backup.reset();
}

// The owners' setters do nothing for an unchanged value; a changed one is signalled (the tray,
// preference sync) as if the user had set it here.
void Engine::applySettings()
{
    Parts& p = *m_parts;
    const QSettings& defaults = p.services.settings();
    p.expansion->setEnabled(Preferences::flag(defaults, Preferences::expansionEnabled));
    p.sound->setSoundEnabled(Preferences::flag(defaults, Preferences::soundEnabled));
    p.sound->setVolume(float(Preferences::number(defaults, Preferences::soundVolume)));
    const auto custom = Preferences::stored(defaults, Preferences::customSoundPath);
    p.sound->setCustomSoundURL(custom ? QUrl::fromLocalFile(custom->toString()) : QUrl());
    p.sound->setSelectedSoundName(Preferences::text(defaults, Preferences::selectedSound));
    p.services.ai().reloadSettings();
    p.pasteShortcuts = PasteShortcuts();
    p.pasteShortcuts.addUserEntries(Preferences::textList(defaults, Preferences::pasteShortcuts));
}

void Engine::start()
{
    m_parts->expansion->startMonitoring();
    if (scrivlane::sync::LibrarySync* sync = m_parts->services.librarySync())
        m_parts->librarySync = std::make_unique<LibrarySyncWatcher>(*sync);
}

TextExpansionService& Engine::expansion()
{
    return *m_parts->expansion;
}

Scheduler& Engine::scheduler()
{
    return m_parts->scheduler;
}

SoundService& Engine::sound()
{
    return *m_parts->sound;
}

BackupController& Engine::backup()
{
    Parts& p = *m_parts;
    if (p.backup)
        return *p.backup;
    TextExpansionService* expansion = p.expansion.get();
    SoundService* sound = p.sound.get();
    SettingsSyncService* sync = p.preferenceSync.get();
    BackupService::SettingsTarget target;
    target.setExpansionEnabled = [expansion](bool on) { expansion->setEnabled(on); };
    target.setSoundEnabled = [sound](bool on) { sound->setSoundEnabled(on); };
    target.setSoundVolume = [sound](float volume) { sound->setVolume(volume); };
    target.setSelectedSound = [sound](const QString& name) { sound->setSelectedSoundName(name); };
    target.push = [sync](const QString& name, const QVariant& value) {
        using Entry = SettingsSyncService::Entry;
        static const QHash<QString, Entry> entries{
            {QStringLiteral("expansionEnabled"), Entry::expansionEnabled},
            {QStringLiteral("soundEnabled"), Entry::soundEnabled},
            {QStringLiteral("soundVolume"), Entry::soundVolume},
            {QStringLiteral("selectedSound"), Entry::selectedSound}};
        if (const auto entry = entries.constFind(name); entry != entries.cend())
            sync->push(*entry, value);
    };
    p.backup = std::make_unique<BackupController>(
        BackupController::Dependencies{&p.services.store(),
                                       &p.services.settings(),
                                       [expansion, sound] {
                                           AppSettingsBackup s;
                                           s.expansionEnabled = expansion->isEnabled();
                                           s.soundEnabled = sound->soundEnabled();
                                           s.soundVolume = sound->volume();
                                           s.selectedSound = sound->selectedSoundName();
                                           return s;
                                       },
                                       target,
                                       {}});
    return *p.backup;
}

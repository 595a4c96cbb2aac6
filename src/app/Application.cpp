#include "Application.h"

#include "AIService.h"
#include "AppPaths.h"
#include "ExpansionPipeline.h"
#include "FillInPanel.h"
#include "GeneratingPanel.h"
#include "JsonFileKeyValueStore.h"
#include "PasteShortcuts.h"
#include "PersistenceController.h"
#include "QtClipboard.h"
#include "QtScheduler.h"
#include "QtSoundPlayer.h"
#include "SettingsSyncService.h"
#include "SnippetEntity.h"
#include "SoundService.h"
#include "SystemSounds.h"
#include "TextExpansionService.h"
#include "UserDefaults.h"
#include "X11KeyInjector.h"
#include "X11KeyboardMonitor.h"

#include <QApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QMenu>
#include <QSettings>
#include <QStyle>
#include <QSystemTrayIcon>

Q_LOGGING_CATEGORY(lcApp, "scrivlane.app")

namespace {

// One engine per user session and home: a second one would expand everything twice.
QString instanceName()
{
    const QByteArray key = qgetenv("USER") + '|' + qgetenv("DISPLAY") + '|' +
                           QDir(AppPaths::dataDir()).absolutePath().toUtf8();
    return QStringLiteral("scrivlane-") +
           QString::fromLatin1(
               QCryptographicHash::hash(key, QCryptographicHash::Sha1).toHex().left(16));
}

std::vector<SnippetRecord> snippetRecords(const PersistenceController& store)
{
    std::vector<SnippetRecord> records;
    const QList<SnippetEntity*> active = store.fetchActiveSnippets();
    records.reserve(std::size_t(active.size()));
    for (const SnippetEntity* s : active) {
        if (!s->abbreviation() || s->abbreviation()->isEmpty() || !s->expandedText())
            continue;
        records.push_back({*s->abbreviation(), *s->expandedText(), s->isRichText(),
                           s->isRichText() ? s->expandedTextRTF() : std::nullopt});
    }
    return records;
}

} // namespace

// The form takes the keyboard; the window the user was typing in gets it back before the paste.
class FocusReturningFillIns final : public FillInPresenter {
public:
    explicit FocusReturningFillIns(X11KeyInjector* keys) : m_keys(keys) {}
    void show(const QList<FillInField>& fields,
              std::function<void(const QHash<QString, QString>&)> completed,
              std::function<void()> cancelled) override
    {
        const std::optional<FocusedWindow> previous = m_keys->focusedWindow();
        const unsigned long window = previous ? previous->id : 0;
        X11KeyInjector* keys = m_keys;
        FillInPanel::show(
            fields,
            [keys, window, completed](const QHash<QString, QString>& values) {
                keys->activate(window);
                completed(values);
            },
            [keys, window, cancelled] {
                keys->activate(window);
                cancelled();
            });
    }

private:
    X11KeyInjector* m_keys;
};

struct Application::Parts {
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
    std::unique_ptr<QSystemTrayIcon> tray;
    std::unique_ptr<QMenu> menu;
    std::unique_ptr<QLocalServer> instance;
};

Application::Application() : m_parts(std::make_unique<Parts>()) {}

Application::~Application() = default;

int Application::run()
{
    Parts& p = *m_parts;
    if (QGuiApplication::platformName() != u"xcb") {
        qCCritical(lcApp).noquote()
            << "ScrivLane needs an X11 session (XWayland counts); this one offers"
            << QGuiApplication::platformName();
        return 1;
    }

    // A second start asks the running one to show itself and leaves.
    {
        QLocalSocket other;
        other.connectToServer(instanceName());
        if (other.waitForConnected(500)) {
            other.write("show\n");
            other.waitForBytesWritten(500);
            qCInfo(lcApp) << "ScrivLane is already running";
            return 0;
        }
    }
    p.instance = std::make_unique<QLocalServer>();
    QLocalServer::removeServer(instanceName());
    p.instance->listen(instanceName());
    connect(p.instance.get(), &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_parts->instance->nextPendingConnection()) {
            socket->deleteLater();
            if (m_parts->tray)
                m_parts->tray->showMessage(QStringLiteral("ScrivLane"),
                                           QStringLiteral("ScrivLane is running."));
        }
    });

    QSettings& defaults = UserDefaults::shared();
    PersistenceController& store = PersistenceController::shared();
    store.purgeOldTrash();

    p.clipboard = std::make_unique<QtClipboard>();
    p.keys = std::make_unique<X11KeyInjector>();
    p.monitor = std::make_unique<X11KeyboardMonitor>();
    X11KeyInjector* keys = p.keys.get();
    p.expansion = std::make_unique<TextExpansionService>(TextExpansionService::Dependencies{
        &p.scheduler, p.clipboard.get(), keys, &defaults, p.monitor.get(), [keys] {
            return keys->isAvailable()
                       ? QString()
                       : QStringLiteral("the X server has no XTEST extension for synthetic keys.");
        }});
    MacroProcessor::setClipboardReader(p.clipboard.get());

    const auto rebuild = [this] {
        m_parts->expansion->updateSnippets(snippetRecords(PersistenceController::shared()));
    };
    rebuild();
    connect(&store, &PersistenceController::didSave, this, rebuild);
    connect(&store, &PersistenceController::remoteStoreChanged, this, rebuild);
    // Our own windows are recognised by the focused window's process (the injector's frontmost
    // check); Qt's application state is not used, as it can stay "active" after our last window
    // closed when no window manager runs.

    const QString systemSounds =
        QDir(AppPaths::dataDir()).absoluteFilePath(QStringLiteral("SystemSounds"));
    p.player = std::make_unique<QtSoundPlayer>([systemSounds](const QString& name) {
        return SystemSounds::ensureFile(systemSounds, name);
    });
    p.sound = std::make_unique<SoundService>(SoundService::Dependencies{
        p.player.get(), &defaults,
        QDir(AppPaths::dataDir()).absoluteFilePath(QStringLiteral("Sounds"))});

    // Changes are pushed from the start; values from other machines are read once sync is on.
    p.sharedPreferences =
        std::make_unique<JsonFileKeyValueStore>(SettingsSyncService::syncFolder(defaults));
    p.preferenceSync = std::make_unique<SettingsSyncService>(
        SettingsSyncService::Dependencies{p.sharedPreferences.get(), &defaults});
    p.preferenceSync->connectOwners(p.expansion.get(), p.sound.get());
    if (defaults.value(QStringLiteral("tw_iCloudSyncEnabled"), false).toBool())
        p.preferenceSync->start();

    p.generating = std::make_unique<GeneratingPanel>([this]() -> QRect {
        const auto focused = m_parts->keys->focusedWindow();
        return focused ? QRect(focused->x, focused->y, focused->width, focused->height) : QRect();
    });
    ExpansionPipeline::Parts parts;
    parts.scheduler = &p.scheduler;
    parts.keys = p.keys.get();
    parts.clipboard = p.clipboard.get();
    p.fillIns = std::make_unique<FocusReturningFillIns>(p.keys.get());
    parts.fillIns = p.fillIns.get();
    parts.indicator = p.generating.get();
    parts.aiEnabled = [] { return AIService::shared().isEnabled(); };
    parts.complete = [](const QString& prompt, auto done) {
        AIService::shared().complete(prompt, [done](const AIResult<QString>& result) {
            if (const auto* reply = std::get_if<QString>(&result))
                done(ExpansionPipeline::AIOutcome(std::in_place_index<0>, *reply));
            else
                done(ExpansionPipeline::AIOutcome(std::in_place_index<1>,
                                                  failureDescription(std::get<AIFailure>(result))));
        });
    };
    parts.pasteShortcut = [this] {
        const auto focused = m_parts->keys->focusedWindow();
        return m_parts->pasteShortcuts.forWindowClass(focused ? focused->windowClass : QString());
    };
    parts.onExpansion = [this] { m_parts->sound->playExpansionSound(); };
    p.pasteShortcuts.addUserEntries(
        defaults.value(QStringLiteral("tw_pasteShortcuts")).toStringList());
    p.pipeline = std::make_unique<ExpansionPipeline>(p.expansion.get(), parts);

    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        p.menu = std::make_unique<QMenu>();
        p.menu->addAction(QStringLiteral("Quit ScrivLane"), qApp, &QCoreApplication::quit);
        p.tray = std::make_unique<QSystemTrayIcon>(
            QApplication::style()->standardIcon(QStyle::SP_FileDialogDetailedView));
        p.tray->setToolTip(QStringLiteral("ScrivLane"));
        p.tray->setContextMenu(p.menu.get());
        p.tray->show();
    } else {
        qCInfo(lcApp) << "no system tray here: ScrivLane runs without an icon";
    }

    // Watching keys needs RECORD and XTEST; without them the service keeps asking every 1.5 s.
    connect(p.expansion.get(), &TextExpansionService::monitoringStarted, this,
            [] { qCInfo(lcApp) << "ScrivLane is watching the keyboard"; });
    connect(p.expansion.get(), &TextExpansionService::monitoringFailed, this,
            [](const QString& reason) {
                qCWarning(lcApp).noquote()
                    << "Cannot watch the keyboard:" << reason << "Trying again every 1.5 seconds.";
            });
    p.expansion->startMonitoring();

    return QApplication::exec();
}

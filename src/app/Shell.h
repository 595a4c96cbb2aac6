#pragma once

#include "models/SettingsSection.h"
#include "ui/settings/SettingsContentView.h"

#include <QObject>
#include <QPointer>
#include <memory>

class AppServices;
class Autostart;
class CheckForUpdatesViewModel;
class Engine;
class MainWindow;
class MenuBarModel;
class QAction;
class QMenu;
class QSystemTrayIcon;
class Scheduler;
class TextExpansionService;
class TrayHostWatcher;
class Updater;
class WelcomeCallout;
class WelcomeOverlayController;

// What the user sees of the running app: the tray icon and its menu, the main window (built
// on each open and freed when closed), the first-run callout, the install-location offer, and
// the updater with what it finds.
class Shell final : public QObject {
    Q_OBJECT

public:
    Shell(AppServices& services, Engine& engine, QObject* parent = nullptr);
    ~Shell() override;

    // The end of the launch: the install-location offer, then the welcome callout.
    void finishLaunch();

    void showMainWindow();
    // The main window with the new-snippet sheet open on it (scrivlane --new-snippet).
    void showNewSnippetSheet();
    void showSettings(SettingsSection section = SettingsSection::general);
    MainWindow* mainWindow() const;

private:
    void buildMenu();
    void updateMenu();
    void showTray();
    void showWelcome();
    void offerToMoveAppImage();
    void buildUpdater();

    AppServices& m_services;
    TextExpansionService& m_expansion;
    Scheduler& m_scheduler;
    std::unique_ptr<MenuBarModel> m_model;
    std::unique_ptr<QMenu> m_menu;
    std::unique_ptr<QSystemTrayIcon> m_tray;
    std::unique_ptr<TrayHostWatcher> m_trayHost;
    QAction* m_header = nullptr;
    QAction* m_toggle = nullptr;
    QAction* m_count = nullptr;
    QAction* m_warning = nullptr;
    QAction* m_warningText = nullptr;
    QAction* m_help = nullptr;
    QPointer<MainWindow> m_window;
    std::unique_ptr<WelcomeOverlayController> m_welcome;
    QPointer<WelcomeCallout> m_callout;
    std::unique_ptr<Autostart> m_autostart;
    std::unique_ptr<Updater> m_updater;
    std::unique_ptr<CheckForUpdatesViewModel> m_updates;
    QAction* m_checkForUpdates = nullptr;
    SettingsServices m_settingsServices;
};

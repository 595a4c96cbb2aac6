#pragma once

#include "models/SettingsSection.h"

#include <QObject>
#include <QPointer>
#include <memory>

class AppServices;
class MainWindow;
class MenuBarModel;
class QAction;
class QMenu;
class QSystemTrayIcon;
class QTimer;
class Scheduler;
class TextExpansionService;
class WelcomeCallout;
class WelcomeOverlayController;

// What the user sees of the running app: the tray icon and its menu, the main window (built
// on each open and freed when closed), the first-run callout and the install-location offer.
class Shell final : public QObject {
    Q_OBJECT

public:
    Shell(AppServices& services, TextExpansionService& expansion, Scheduler& scheduler,
          QObject* parent = nullptr);
    ~Shell() override;

    // The end of the launch: the install-location offer, then the welcome callout.
    void finishLaunch();

    void showMainWindow();
    void showSettings(SettingsSection section = SettingsSection::general);
    MainWindow* mainWindow() const;

private:
    void buildMenu();
    void updateMenu();
    void showTray();
    void showWelcome();
    void offerToMoveAppImage();

    AppServices& m_services;
    TextExpansionService& m_expansion;
    Scheduler& m_scheduler;
    std::unique_ptr<MenuBarModel> m_model;
    std::unique_ptr<QMenu> m_menu;
    std::unique_ptr<QSystemTrayIcon> m_tray;
    QTimer* m_trayWatch = nullptr;
    QAction* m_header = nullptr;
    QAction* m_toggle = nullptr;
    QAction* m_count = nullptr;
    QAction* m_warning = nullptr;
    QAction* m_warningText = nullptr;
    QAction* m_help = nullptr;
    QPointer<MainWindow> m_window;
    std::unique_ptr<WelcomeOverlayController> m_welcome;
    QPointer<WelcomeCallout> m_callout;
};

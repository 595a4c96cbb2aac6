#include "app/Shell.h"

#include "app/AppServices.h"
#include "app/Engine.h"
#include "backup/BackupController.h"
#include "expansion/TextExpansionService.h"
#include "library/PersistenceController.h"
#include "models/CheckForUpdatesViewModel.h"
#include "models/MenuBarModel.h"
#include "models/Updater.h"
#include "models/WelcomeOverlayController.h"
#include "platform/desktop/Autostart.h"
#include "platform/desktop/InstallLocation.h"
#include "platform/x11/X11TrayHostWatcher.h"
#include "sync/LibrarySync.h"
#include "ui/mainwindow/MainWindow.h"
#include "ui/onboarding/WelcomeCallout.h"
#include "ui/settings/UpdateDialog.h"
#include "ui/widgets/AccessHelp.h"
#include "ui/widgets/Icons.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QLoggingCategory>
#include <QMenu>
#include <QMessageBox>
#include <QPixmapCache>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QUrl>
#include <malloc.h>

Q_LOGGING_CATEGORY(lcShell, "scrivlane.shell")

Shell::Shell(AppServices& services, Engine& engine, QObject* parent)
    : QObject(parent), m_services(services), m_expansion(engine.expansion()),
      m_scheduler(engine.scheduler()),
      m_model(std::make_unique<MenuBarModel>(&engine.expansion(), &services.store()))
{
    buildUpdater();
    m_autostart = std::make_unique<Autostart>(Autostart::defaultDir(), Autostart::runningProgram());
    m_settingsServices = {&services.settings(),
                          &services.store(),
                          &m_scheduler,
                          &m_expansion,
                          &engine.sound(),
                          &services.ai(),
                          &engine.backup(),
                          m_updates.get(),
                          m_autostart.get(),
                          QStringLiteral(SCRIVLANE_VERSION),
                          services.librarySync() ? std::function<void()>([&services] {
                              services.librarySync()->syncNow();
                          })
                                                 : std::function<void()>()};
    buildMenu();
    m_tray = std::make_unique<QSystemTrayIcon>(Icons::tray(m_model->isPaused()));
    m_tray->setToolTip(QStringLiteral("ScrivLane"));
    m_tray->setContextMenu(m_menu.get());
    connect(m_tray.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                    showMainWindow();
            });
    connect(m_model.get(), &MenuBarModel::changed, this, &Shell::updateMenu);
    connect(&services.store(), &PersistenceController::availableChanged, this, &Shell::updateMenu);
    updateMenu();
    showTray();
}

Shell::~Shell()
{
    delete m_window;
    delete m_callout;
}

void Shell::buildMenu()
{
    m_menu = std::make_unique<QMenu>();
    m_menu->setObjectName(QStringLiteral("trayMenu"));
    // Plain actions only: desktops that draw the tray menu themselves (StatusNotifier hosts)
    // show nothing else.
    m_header = m_menu->addAction(Icons::named(QStringLiteral("insert-text")), QString());
    m_header->setEnabled(false);
    m_menu->addSeparator();
    m_toggle = m_menu->addAction(QStringLiteral("Expansion enabled"));
    m_toggle->setCheckable(true);
    connect(m_toggle, &QAction::toggled, this,
            [this](bool on) { m_model->setExpansionEnabled(on); });
    m_count = m_menu->addAction(QString());
    m_count->setEnabled(false);
    m_warning = m_menu->addAction(Icons::named(QStringLiteral("dialog-warning")),
                                  QStringLiteral("X11 Access Required"));
    m_warning->setEnabled(false);
    m_warningText = m_menu->addAction(QStringLiteral("ScrivLane can't read keys in this session"));
    m_warningText->setEnabled(false);
    m_help = m_menu->addAction(QStringLiteral("Help"));
    m_help->setToolTip(QStringLiteral("Checks again and explains what X11 access needs"));
    connect(m_help, &QAction::triggered, this, [this] {
        m_model->recheckAccess();
        AccessHelp::show(nullptr);
    });
    m_menu->addSeparator();
    m_menu->addAction(Icons::named(QStringLiteral("view-grid")), QStringLiteral("Open Snippets"),
                      this, &Shell::showMainWindow);
    m_menu->addAction(Icons::named(QStringLiteral("preferences-system")),
                      QStringLiteral("Settings"), this, [this] { showSettings(); });
    m_checkForUpdates =
        m_menu->addAction(QStringLiteral("Check for Updates\u2026"), m_updates.get(),
                          &CheckForUpdatesViewModel::checkForUpdates);
    m_checkForUpdates->setEnabled(m_updates->canCheckForUpdates());
    connect(m_updates.get(), &CheckForUpdatesViewModel::canCheckForUpdatesChanged,
            m_checkForUpdates, &QAction::setEnabled);
    m_menu->addSeparator();
    m_menu->addAction(Icons::named(QStringLiteral("application-exit")),
                      QStringLiteral("Quit ScrivLane"), qApp, &QCoreApplication::quit);
}

void Shell::updateMenu()
{
    m_header->setText(QStringLiteral("ScrivLane — ") + m_model->statusText());
    {
        const QSignalBlocker quiet(m_toggle);
        m_toggle->setChecked(m_model->expansionEnabled());
    }
    // The switch's accessibility label, value and hint, as far as a menu item carries them.
    const QString description = QStringLiteral("Text expansion: ") + m_model->expansionValueText() +
                                QStringLiteral(". Toggles snippet expansion on or off");
    m_toggle->setToolTip(description);
    m_toggle->setWhatsThis(description);
    m_toggle->setStatusTip(description);
    m_count->setText(m_services.store().isAvailable() ? m_model->snippetCountText()
                                                      : QStringLiteral("Library unavailable"));
    const bool warn = m_model->showsAccessWarning();
    m_warning->setVisible(warn);
    m_warningText->setVisible(warn);
    m_help->setVisible(warn);
    if (m_tray) {
        m_tray->setIcon(Icons::tray(m_model->isPaused()));
        const PersistenceController& store = m_services.store();
        m_tray->setToolTip(QStringLiteral("ScrivLane — ") +
                           (store.isAvailable() ? m_model->statusText() : store.syncError()));
    }
}

void Shell::showTray()
{
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        m_tray->show();
        return;
    }
    // A tray host that starts after us (login autostart often wins that race) still gets the
    // icon: the X server tells when one takes the tray.
    qCInfo(lcShell) << "no system tray yet: ScrivLane runs without an icon until one appears";
    m_trayHost = std::make_unique<X11TrayHostWatcher>();
    const bool watching = m_trayHost->watch([this] {
        if (m_tray->isVisible())
            return; // Qt docks a shown icon in later hosts itself
        m_tray->show();
        qCInfo(lcShell) << "the system tray is here: icon shown";
    });
    if (!watching)
        qCWarning(lcShell) << "cannot watch for a system tray on this display";
}

void Shell::showMainWindow()
{
    if (!m_window) {
        m_window = new MainWindow({&m_services.store(), &m_services.settings(), &m_scheduler,
                                   &m_services.ai(), &m_settingsServices});
        m_window->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_window, &MainWindow::destroyed, this, [] {
            // What the window drew stays cached and its heap stays mapped: give both back.
            QPixmapCache::clear();
            malloc_trim(0);
        });
        connect(m_window, &MainWindow::closed, this, [this] { m_window = nullptr; });
    }
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void Shell::showNewSnippetSheet()
{
    showMainWindow();
    m_window->openNewSnippetSheet();
}

MainWindow* Shell::mainWindow() const
{
    return m_window;
}

void Shell::showSettings(SettingsSection section)
{
    showMainWindow();
    m_window->openSettings(section);
}

void Shell::buildUpdater()
{
    m_updater = std::make_unique<Updater>(Updater::Dependencies{&m_services.http(),
                                                                &m_services.settings(),
                                                                &m_scheduler,
                                                                QStringLiteral(SCRIVLANE_VERSION),
                                                                {},
                                                                std::chrono::seconds(30)});
    m_updates = std::make_unique<CheckForUpdatesViewModel>(m_updater.get());
    connect(m_updater.get(), &Updater::checkFinished, this,
            [this](const UpdateCheckResult& result) {
                UpdateDialog::present(result, QStringLiteral(SCRIVLANE_VERSION), m_window);
            });
}

void Shell::finishLaunch()
{
    m_updater->start();
    offerToMoveAppImage();
    m_welcome = std::make_unique<WelcomeOverlayController>(&m_services.settings(), &m_scheduler);
    connect(m_welcome.get(), &WelcomeOverlayController::showRequested, this, &Shell::showWelcome);
    connect(m_welcome.get(), &WelcomeOverlayController::closeRequested, this, [this] {
        if (m_callout)
            m_callout->deleteLater();
    });
    m_welcome->showIfNeeded();
}

void Shell::showWelcome()
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen)
        return; // counted as shown all the same
    m_callout = new WelcomeCallout;
    m_callout->setAttribute(Qt::WA_DeleteOnClose);
    connect(m_callout, &WelcomeCallout::dismissed, m_welcome.get(),
            &WelcomeOverlayController::dismiss);
    const QRect icon = m_tray && m_tray->isVisible() ? m_tray->geometry() : QRect();
    m_callout->place(icon, screen->availableGeometry());
    m_callout->show();
}

void Shell::offerToMoveAppImage()
{
    const QString applications = QDir::home().absoluteFilePath(QStringLiteral("Applications"));
    const std::optional<QString> appImage =
        InstallLocation::misplacedAppImage(qEnvironmentVariable("APPIMAGE"), applications);
    if (!appImage)
        return;
    QMessageBox offer;
    offer.setIcon(QMessageBox::Information);
    offer.setIconPixmap(Icons::tray(false).pixmap(48, 48));
    offer.setWindowTitle(QStringLiteral("Move ScrivLane to Applications?"));
    offer.setText(QStringLiteral("Move ScrivLane to Applications?"));
    offer.setInformativeText(QStringLiteral(
        "ScrivLane is running from outside your Applications folder. Moving it to "
        "~/Applications enables automatic updates, Launch at Login, and saved preferences."));
    QPushButton* move =
        offer.addButton(QStringLiteral("Move to Applications"), QMessageBox::AcceptRole);
    offer.addButton(QStringLiteral("Not Now"), QMessageBox::RejectRole);
    offer.setDefaultButton(move);
    offer.exec();
    if (offer.clickedButton() != move)
        return;
    const InstallLocation::MoveOutcome outcome =
        InstallLocation::moveToApplications(*appImage, applications, [](const QString& program) {
            // The moved copy starts once this one has let go of the single-instance name.
            return QProcess::startDetached(
                QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), QStringLiteral("sleep 1 && exec \"$0\""), program});
        });
    if (!outcome.movedTo.isEmpty()) {
        QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        return;
    }
    qCWarning(lcShell).noquote() << "moving the AppImage failed:" << outcome.error;
    QMessageBox manual;
    manual.setIcon(QMessageBox::Warning);
    manual.setWindowTitle(QStringLiteral("Please move ScrivLane manually"));
    manual.setText(QStringLiteral("Please move ScrivLane manually"));
    manual.setInformativeText(
        QStringLiteral("Move the ScrivLane AppImage into ~/Applications, then open it from "
                       "there."));
    QPushButton* open =
        manual.addButton(QStringLiteral("Open Applications Folder"), QMessageBox::AcceptRole);
    manual.exec();
    if (manual.clickedButton() == open) {
        QDir().mkpath(applications);
        QDesktopServices::openUrl(QUrl::fromLocalFile(applications));
    }
}

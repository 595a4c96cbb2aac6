#include "app/Shell.h"

#include <QApplication>
#include <QLoggingCategory>
#include <QMenu>
#include <QStyle>
#include <QSystemTrayIcon>

Q_LOGGING_CATEGORY(lcShell, "scrivlane.shell")

Shell::Shell(QObject* parent) : QObject(parent)
{
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        qCInfo(lcShell) << "no system tray here: ScrivLane runs without an icon";
        return;
    }
    m_menu = std::make_unique<QMenu>();
    m_menu->addAction(QStringLiteral("Quit ScrivLane"), qApp, &QCoreApplication::quit);
    m_tray = std::make_unique<QSystemTrayIcon>(
        QApplication::style()->standardIcon(QStyle::SP_FileDialogDetailedView));
    m_tray->setToolTip(QStringLiteral("ScrivLane"));
    m_tray->setContextMenu(m_menu.get());
    m_tray->show();
}

Shell::~Shell() = default;

void Shell::showRunning()
{
    if (m_tray)
        m_tray->showMessage(QStringLiteral("ScrivLane"), QStringLiteral("ScrivLane is running."));
}

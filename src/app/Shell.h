#pragma once

#include <QObject>
#include <memory>

class QSystemTrayIcon;
class QMenu;

// What the user sees of the running app: the tray icon and its menu.
class Shell final : public QObject {
    Q_OBJECT

public:
    explicit Shell(QObject* parent = nullptr);
    ~Shell() override;

    // Another start of ScrivLane asked this one to show itself.
    void showRunning();

private:
    std::unique_ptr<QMenu> m_menu;
    std::unique_ptr<QSystemTrayIcon> m_tray;
};

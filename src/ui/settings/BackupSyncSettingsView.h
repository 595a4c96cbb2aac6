#pragma once

#include "ui/settings/SettingsForm.h"

#include <functional>

class BackupSyncSettingsModel;
class QCheckBox;
class QLabel;
class QPushButton;
class QStackedWidget;
struct SettingsServices;

// Backup & Sync: the folder-sync switch and status, and the file backup section.
class BackupSyncSettingsView : public SettingsPane {
    Q_OBJECT

public:
    BackupSyncSettingsView(const SettingsServices& services, QWidget* parent = nullptr);
    BackupSyncSettingsModel* model() const { return m_model; }
    void appear() override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void buildSync();
    void buildBackup();
    void sync();
    void chooseFolder();
    // A folder dialog; `what` names the folder in the error when `choose` refuses it.
    void askForFolder(const QString& title, const QString& objectName, const QString& what,
                      std::function<bool(const QString&)> choose);
    void chooseSyncFolder();
    void chooseRestoreFile();

    BackupSyncSettingsModel* m_model;
    QCheckBox* m_syncEnabled = nullptr;
    QLabel* m_syncIcon = nullptr;
    QLabel* m_syncStatus = nullptr;
    QLabel* m_syncFolder = nullptr;
    QLabel* m_folder = nullptr;
    QLabel* m_lastBackup = nullptr;
    QPushButton* m_backUpNow = nullptr;
    QStackedWidget* m_backUpStack = nullptr;
    QWidget* m_statusRow = nullptr;
    QLabel* m_statusIcon = nullptr;
    QLabel* m_status = nullptr;
    QPushButton* m_restore = nullptr;
    QStackedWidget* m_restoreStack = nullptr;
};

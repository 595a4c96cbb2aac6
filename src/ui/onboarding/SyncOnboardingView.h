#pragma once

#include <QDialog>

// Shown once, after the first snippet is saved: keep the library safe through folder sync or
// backups to a folder.
class SyncOnboardingView : public QDialog {
    Q_OBJECT

public:
    explicit SyncOnboardingView(QWidget* parent = nullptr);

Q_SIGNALS:
    void enableSyncChosen();
    void backupSettingsChosen();
};

#pragma once

#include "ui/settings/SettingsForm.h"

class GeneralSettingsModel;
class QCheckBox;
class QLabel;
class QPushButton;
struct SettingsServices;

// General: launch at login, version and updates, what's new, legal and documentation links.
class GeneralSettingsView : public SettingsPane {
    Q_OBJECT

public:
    GeneralSettingsView(const SettingsServices& services, QWidget* parent = nullptr);
    GeneralSettingsModel* model() const { return m_model; }
    void appear() override;

private:
    void sync();

    GeneralSettingsModel* m_model;
    QCheckBox* m_launchAtLogin = nullptr;
    QPushButton* m_checkForUpdates = nullptr;
    QCheckBox* m_beta = nullptr;
    QLabel* m_betaNote = nullptr;
};

#pragma once

#include "models/SettingsSection.h"

#include <QStackedWidget>
#include <array>
#include <functional>
#include <optional>

class AIService;
class BackupController;
class CheckForUpdatesViewModel;
class LoginItem;
class PersistenceController;
class QSettings;
class Scheduler;
class SoundService;
class TextExpansionService;

// What the settings panes work on. A pane whose services are missing says so instead.
struct SettingsServices {
    QSettings* settings = nullptr;
    PersistenceController* store = nullptr;
    Scheduler* scheduler = nullptr;
    TextExpansionService* expansion = nullptr;
    SoundService* sound = nullptr;
    AIService* ai = nullptr;
    BackupController* backup = nullptr;
    CheckForUpdatesViewModel* updates = nullptr;
    LoginItem* loginItem = nullptr;
    QString version;
    // Sends and takes in the library's changes through the sync folder; none: sync is off.
    std::function<void()> syncNow;
};

// The detail column of the settings: the selected section's pane. Panes are built the first
// time they are shown, so opening the settings costs one pane and the AI pane (which asks the
// provider for its models) reaches the network only when the user opens it.
class SettingsContentView : public QStackedWidget {
    Q_OBJECT

public:
    explicit SettingsContentView(const SettingsServices& services, QWidget* parent = nullptr);

    void showSection(SettingsSection section);
    std::optional<SettingsSection> section() const { return m_section; }
    // The pane of that section if it was built.
    QWidget* pane(SettingsSection section) const;

private:
    QWidget* build(SettingsSection section);

    SettingsServices m_services;
    std::optional<SettingsSection> m_section;
    std::array<QWidget*, 5> m_panes{};
};

#pragma once

#include <QObject>
#include <memory>

class AppServices;
class BackupController;
class Scheduler;
class SoundService;
class TextExpansionService;

// The expansion engine wired to the store and to the system: keyboard monitor, synthetic keys,
// clipboard, the two panels, AI completions, the feedback sound and preference sync. Wired
// once; start() begins watching the keyboard.
class Engine final : public QObject {
    Q_OBJECT

public:
    explicit Engine(AppServices& services, QObject* parent = nullptr);
    ~Engine() override;

    void start();
    TextExpansionService& expansion();
    Scheduler& scheduler();
    SoundService& sound();
    // The settings' file backup: the library, and the four settings read from and restored to
    // the services that own them.
    BackupController& backup();

private:
    void applySettings();

    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

#pragma once

#include <QObject>
#include <memory>

class AppServices;
class Scheduler;
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

private:
    void applySettings();

    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

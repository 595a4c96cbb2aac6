#pragma once

class AIService;
class PersistenceController;
class QSettings;

// The long-lived parts of the process the commands work on. The application owns them and
// creates each on first use, so a command that needs no store never opens one.
class CommandServices {
public:
    virtual ~CommandServices() = default;
    virtual QSettings& settings() = 0;
    virtual PersistenceController& store() = 0;
    virtual AIService& ai() = 0;
};

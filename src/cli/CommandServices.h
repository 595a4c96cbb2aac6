#pragma once

#include <optional>

class AIService;
class PersistenceController;
class QSettings;
class QString;
namespace scrivlane::sync {
class LibrarySync;
}

// The long-lived parts of the process the commands work on. The application owns them and
// creates each on first use, so a command that needs no store never opens one.
class CommandServices {
public:
    virtual ~CommandServices() = default;
    // Makes the folders and files the others use safe to use; the error text when they are
    // not. Run before any command.
    virtual std::optional<QString> prepareFiles() = 0;
    virtual QSettings& settings() = 0;
    virtual PersistenceController& store() = 0;
    virtual AIService& ai() = 0;
    // The library's sync with the sync folder; none while sync is off. Made with the store,
    // so every save of a command goes out.
    virtual scrivlane::sync::LibrarySync* librarySync() = 0;
};

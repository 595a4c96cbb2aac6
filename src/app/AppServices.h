#pragma once

#include "cli/CommandServices.h"

#include <memory>

class HttpClient;

// The process's one settings object, store and AI service, with the system parts they talk
// through. Created here, in the application, and handed to the commands and the engine; each
// is made on first use and destroyed before Qt itself.
class AppServices final : public CommandServices {
public:
    // A command's output is for scripts: the store's sync log lines stay out of it.
    enum class Mode { application, command };
    explicit AppServices(Mode mode = Mode::application);
    ~AppServices() override;

    std::optional<QString> prepareFiles() override;
    QSettings& settings() override;
    PersistenceController& store() override;
    AIService& ai() override;
    scrivlane::sync::LibrarySync* librarySync() override;
    // HTTP for the AI providers and the update feed.
    HttpClient& http();

private:
    void startLibrarySync();

    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

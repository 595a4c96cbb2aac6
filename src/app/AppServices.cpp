#include "app/AppServices.h"

#include "ai/AIService.h"
#include "common/AppPaths.h"
#include "library/PersistenceController.h"
#include "platform/qt/QtHttpClient.h"
#include "platform/secrets/KeychainSecretStore.h"

#include <QDir>
#include <QSettings>

struct AppServices::Parts {
    std::optional<std::optional<QString>> prepared; // once prepared: the error, if any
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<PersistenceController> store;
    std::unique_ptr<QtHttpClient> http;
    std::unique_ptr<KeychainSecretStore> secrets;
    std::unique_ptr<AIService> ai;
};

AppServices::AppServices() : m_parts(std::make_unique<Parts>()) {}

// The AI service and the store use the settings: they go first.
AppServices::~AppServices()
{
    m_parts->ai.reset();
    m_parts->store.reset();
}

std::optional<QString> AppServices::prepareFiles()
{
    if (!m_parts->prepared)
        m_parts->prepared = AppPaths::prepare();
    return *m_parts->prepared;
}

QSettings& AppServices::settings()
{
    if (!m_parts->settings) {
        prepareFiles();
        m_parts->settings =
            std::make_unique<QSettings>(AppPaths::userDefaultsFile(), QSettings::IniFormat);
    }
    return *m_parts->settings;
}

PersistenceController& AppServices::store()
{
    if (!m_parts->store) {
        PersistenceController::Options options;
        options.databasePath = PersistenceController::defaultDatabasePath();
        options.settings = &settings();
        m_parts->store = std::make_unique<PersistenceController>(std::move(options));
    }
    return *m_parts->store;
}

AIService& AppServices::ai()
{
    if (!m_parts->ai) {
        prepareFiles();
        m_parts->secrets = std::make_unique<KeychainSecretStore>(
            QDir(AppPaths::dataDir()).absoluteFilePath(QStringLiteral("secrets.json")));
        m_parts->ai = std::make_unique<AIService>(
            AIServiceDependencies{&settings(), m_parts->secrets.get(), &http(), {}, {}});
    }
    return *m_parts->ai;
}

HttpClient& AppServices::http()
{
    if (!m_parts->http)
        m_parts->http = std::make_unique<QtHttpClient>();
    return *m_parts->http;
}

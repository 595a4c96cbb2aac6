#include "app/AppServices.h"

#include "ai/AIService.h"
#include "backup/SettingsSyncService.h"
#include "common/AppPaths.h"
#include "common/Preferences.h"
#include "library/PersistenceController.h"
#include "platform/qt/QtHttpClient.h"
#include "platform/secrets/KeychainSecretStore.h"
#include "sync/LibrarySync.h"

#include <QDir>
#include <QSettings>
#include <QSysInfo>

struct AppServices::Parts {
    Mode mode = Mode::application;
    std::optional<std::optional<QString>> prepared; // once prepared: the error, if any
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<PersistenceController> store;
    std::unique_ptr<scrivlane::sync::LibrarySync> librarySync;
    std::unique_ptr<QtHttpClient> http;
    std::unique_ptr<KeychainSecretStore> secrets;
    std::unique_ptr<AIService> ai;
};

AppServices::AppServices(Mode mode) : m_parts(std::make_unique<Parts>())
{
    m_parts->mode = mode;
}

// The AI service and the store use the settings: they go first.
AppServices::~AppServices()
{
    m_parts->ai.reset();
    m_parts->librarySync.reset();
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
        if (m_parts->mode == Mode::command)
            options.syncLog = [](const QString&) {};
        m_parts->store = std::make_unique<PersistenceController>(std::move(options));
        if (m_parts->store->isSyncEnabled())
            startLibrarySync();
    }
    return *m_parts->store;
}

void AppServices::startLibrarySync()
{
    PersistenceController& store = *m_parts->store;
    const QString folder = SettingsSyncService::syncFolder(settings());
    // A folder the user chose may be on a drive not mounted yet: never made in its place.
    if (SettingsSyncService::ownsSyncFolder(settings()))
        AppPaths::makePrivateDir(folder);
    QString machine = QString::fromLatin1(QSysInfo::machineUniqueId().toHex());
    if (machine.isEmpty())
        machine = QSysInfo::machineHostName();
    m_parts->librarySync =
        std::make_unique<scrivlane::sync::LibrarySync>(scrivlane::sync::LibrarySync::Options{
            &store, folder, AppPaths::dataDir(), machine, {}, {}});
    QObject::connect(&store, &PersistenceController::recordsSaved, m_parts->librarySync.get(),
                     &scrivlane::sync::LibrarySync::recordsSaved);
}

scrivlane::sync::LibrarySync* AppServices::librarySync()
{
    store();
    return m_parts->librarySync.get();
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

#include "app/Application.h"

#include "app/AppServices.h"
#include "app/Engine.h"
#include "app/Shell.h"
#include "app/SingleInstance.h"
#include "common/AppPaths.h"
#include "common/Preferences.h"
#include "library/PersistenceController.h"

#include <QApplication>
#include <QLoggingCategory>
#include <QSettings>

Q_LOGGING_CATEGORY(lcApp, "scrivlane.app")

struct Application::Parts {
    std::unique_ptr<SingleInstance> instance;
    std::unique_ptr<Engine> engine;
    std::unique_ptr<Shell> shell;
};

Application::Application(AppServices& services, std::optional<SingleInstance::Request> request)
    : m_services(services), m_request(request), m_parts(std::make_unique<Parts>())
{}

// The shell shows what the engine does: it goes first.
Application::~Application()
{
    m_parts->shell.reset();
    m_parts->engine.reset();
}

int Application::run()
{
    Parts& p = *m_parts;
    if (QGuiApplication::platformName() != u"xcb") {
        qCCritical(lcApp).noquote()
            << "ScrivLane needs an X11 session (XWayland counts); this one offers"
            << QGuiApplication::platformName();
        return 1;
    }

    if (const std::optional<QString> problem = m_services.prepareFiles()) {
        qCCritical(lcApp).noquote() << *problem;
        return 1;
    }

    // A second start asks the running one to show itself and leaves.
    QString error;
    const QString runtime = AppPaths::runtimeDir(&error);
    if (runtime.isEmpty()) {
        qCCritical(lcApp).noquote() << "cannot make a private runtime folder:" << error;
        return 1;
    }
    p.instance = std::make_unique<SingleInstance>(
        runtime, SingleInstance::keyFor(qEnvironmentVariable("DISPLAY"), AppPaths::dataDir()));
    switch (p.instance->start(m_request.value_or(SingleInstance::Request::show))) {
    case SingleInstance::Role::secondary:
        qCInfo(lcApp) << "ScrivLane is already running";
        return 0;
    case SingleInstance::Role::failed:
        qCCritical(lcApp).noquote() << p.instance->errorString();
        return 1;
    case SingleInstance::Role::primary:
        break;
    }
    // Another start of ScrivLane: the user wants the window.
    connect(p.instance.get(), &SingleInstance::requested, this, &Application::handle);

    // A hand-edited value the settings cannot take reads as the default; say which, once.
    const QSettings& defaults = m_services.settings();
    for (const Preferences::Preference& preference : Preferences::all()) {
        if (Preferences::isRefused(defaults, preference.key))
            qCWarning(lcApp).noquote()
                << "ignoring" << preference.key << "in" << defaults.fileName() + u":" << "it takes"
                << Preferences::takes(preference) + u";" << "using the default";
    }
    PersistenceController& store = m_services.store();
    if (!store.isAvailable())
        qCCritical(lcApp).noquote()
            << store.syncError() + u";" << "running without snippets until it can be read";
    connect(&store, &PersistenceController::availableChanged, this,
            [] { qCInfo(lcApp) << "The library can be read again"; });
    store.purgeOldTrash();
    p.engine = std::make_unique<Engine>(m_services);
    p.shell = std::make_unique<Shell>(m_services, *p.engine);
    p.engine->start();
    p.shell->finishLaunch();
    if (m_request)
        handle(*m_request);
    return QApplication::exec();
}

void Application::handle(SingleInstance::Request request)
{
    if (!m_parts->shell)
        return;
    if (request == SingleInstance::Request::newSnippet)
        m_parts->shell->showNewSnippetSheet();
    else
        m_parts->shell->showMainWindow();
}

#include "app/Application.h"

#include "app/AppServices.h"
#include "app/Engine.h"
#include "app/Shell.h"
#include "common/AppPaths.h"
#include "common/Preferences.h"
#include "library/PersistenceController.h"

#include <QApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QSettings>

Q_LOGGING_CATEGORY(lcApp, "scrivlane.app")

namespace {

// One engine per user session and home: a second one would expand everything twice.
QString instanceName()
{
    const QByteArray key = qgetenv("USER") + '|' + qgetenv("DISPLAY") + '|' +
                           QDir(AppPaths::dataDir()).absolutePath().toUtf8();
    return QStringLiteral("scrivlane-") +
           QString::fromLatin1(
               QCryptographicHash::hash(key, QCryptographicHash::Sha1).toHex().left(16));
}

} // namespace

struct Application::Parts {
    std::unique_ptr<QLocalServer> instance;
    std::unique_ptr<Engine> engine;
    std::unique_ptr<Shell> shell;
};

Application::Application(AppServices& services, bool showWindow)
    : m_services(services), m_showWindow(showWindow), m_parts(std::make_unique<Parts>())
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

    // A second start asks the running one to show itself and leaves.
    {
        QLocalSocket other;
        other.connectToServer(instanceName());
        if (other.waitForConnected(500)) {
            other.write("show\n");
            other.waitForBytesWritten(500);
            qCInfo(lcApp) << "ScrivLane is already running";
            return 0;
        }
    }
    p.instance = std::make_unique<QLocalServer>();
    QLocalServer::removeServer(instanceName());
    p.instance->listen(instanceName());
    connect(p.instance.get(), &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_parts->instance->nextPendingConnection()) {
            socket->deleteLater();
            // Another start of ScrivLane: the user wants the window.
            if (m_parts->shell)
                m_parts->shell->showMainWindow();
        }
    });

    // A hand-edited value the settings cannot take reads as the default; say which, once.
    const QSettings& defaults = m_services.settings();
    for (const Preferences::Preference& preference : Preferences::all()) {
        if (Preferences::isRefused(defaults, preference.key))
            qCWarning(lcApp).noquote()
                << "ignoring" << preference.key << "in" << defaults.fileName() + u":" << "it takes"
                << Preferences::takes(preference) + u";" << "using the default";
    }
    m_services.store().purgeOldTrash();
    p.engine = std::make_unique<Engine>(m_services);
    p.shell = std::make_unique<Shell>(m_services, *p.engine);
    p.engine->start();
    p.shell->finishLaunch();
    if (m_showWindow)
        p.shell->showMainWindow();
    return QApplication::exec();
}

#include "models/Updater.h"

#include "common/Preferences.h"
#include "platform/api/HttpClient.h"
#include "platform/api/Scheduler.h"

#include <QLoggingCategory>
#include <QSettings>

Q_LOGGING_CATEGORY(lcUpdates, "scrivlane.updates")

using namespace Qt::StringLiterals;

QSet<QString> allowedChannelsForUpdater(const QSettings& settings)
{
    if (Preferences::flag(settings, Preferences::betaUpdatesEnabled))
        return {u"beta"_s};
    return {};
}

Updater::Updater(Dependencies dependencies, QObject* parent)
    : QObject(parent), m_deps(std::move(dependencies))
{
    Q_ASSERT(m_deps.http && m_deps.settings && m_deps.scheduler);
}

QDateTime Updater::now() const
{
    return m_deps.clock ? m_deps.clock() : QDateTime::currentDateTimeUtc();
}

void Updater::start()
{
    if (m_started)
        return;
    m_started = true;
    Q_EMIT canCheckForUpdatesChanged(canCheckForUpdates());
    scheduleNext();
}

void Updater::checkForUpdates()
{
    check(true);
}

void Updater::resetUpdateCycle()
{
    if (!m_checking)
        scheduleNext(); // a running check plans the next one when it ends
}

void Updater::scheduleNext()
{
    ++m_cycle;
    m_nextCheck = {};
    if (!m_started)
        return;
    const QDateTime current = now();
    QDateTime last =
        Preferences::value(*m_deps.settings, Preferences::lastUpdateCheck).toDateTime();
    if (last > current)
        last = current; // the clock went back: wait a whole interval, not longer
    const QDateTime due =
        last.isValid() ? last.addSecs(std::chrono::seconds(checkInterval).count()) : current;
    m_nextCheck = std::max(due, current.addMSecs(m_deps.launchDelay.count()));
    const quint64 cycle = m_cycle;
    m_deps.scheduler->schedule(std::chrono::milliseconds(current.msecsTo(m_nextCheck)), this,
                               [this, cycle] {
                                   if (cycle == m_cycle)
                                       check(false);
                               });
}

void Updater::check(bool userInitiated)
{
    if (!canCheckForUpdates())
        return;
    m_checking = true;
    ++m_cycle; // the planned check is replaced by this one
    m_nextCheck = {};
    Q_EMIT canCheckForUpdatesChanged(false);

    HttpRequest request;
    request.url = QUrl(Preferences::text(*m_deps.settings, Preferences::updateFeedURL));
    request.headers = {{"Accept", "application/rss+xml, application/xml;q=0.9, */*;q=0.5"}};
    request.timeLimit = feedTimeLimit;
    const QSet<QString> channels = allowedChannelsForUpdater(*m_deps.settings);
    m_deps.http->send(request, this, [this, userInitiated, channels](const HttpResponse& r) {
        UpdateCheckResult result;
        result.userInitiated = userInitiated;
        switch (r.outcome) {
        case HttpResponse::Outcome::timedOut:
            result.message = tr("The update server did not answer in time.");
            return finish(result);
        case HttpResponse::Outcome::transportError:
            result.message = tr("The update server could not be reached: %1").arg(r.errorText);
            return finish(result);
        case HttpResponse::Outcome::notHttp:
            result.message = tr("The update server's answer could not be understood.");
            return finish(result);
        case HttpResponse::Outcome::reply:
            break;
        }
        if (r.status != 200) {
            result.message =
                tr("The update feed could not be fetched (HTTP status %1).").arg(r.status);
            return finish(result);
        }
        const auto parsed = Appcast::parse(r.body);
        if (const auto* error = std::get_if<QString>(&parsed)) {
            result.message = *error;
            return finish(result);
        }
        const std::optional<AppcastItem> update = Appcast::bestUpdate(
            std::get<QList<AppcastItem>>(parsed), m_deps.currentVersion, channels);
        result.kind =
            update ? UpdateCheckResult::Kind::updateAvailable : UpdateCheckResult::Kind::upToDate;
        if (update)
            result.item = *update;
        finish(result);
    });
}

void Updater::finish(UpdateCheckResult result)
{
    if (result.kind == UpdateCheckResult::Kind::failed)
        qCInfo(lcUpdates).noquote() << "update check failed:" << result.message;
    // Tried, whatever came of it: the next scheduled check is a whole interval away.
    Preferences::write(*m_deps.settings, Preferences::lastUpdateCheck, now());
    m_checking = false;
    scheduleNext();
    Q_EMIT canCheckForUpdatesChanged(true);
    Q_EMIT checkFinished(result);
}

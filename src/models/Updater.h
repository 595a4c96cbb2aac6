#pragma once

#include "models/Appcast.h"

#include <QDateTime>
#include <QObject>
#include <QSet>
#include <chrono>
#include <functional>

class HttpClient;
class QSettings;
class Scheduler;

// The update channels offered besides the default one: {"beta"} while "betaUpdatesEnabled"
// is on, else none.
QSet<QString> allowedChannelsForUpdater(const QSettings& settings);

// What a check found.
struct UpdateCheckResult {
    enum class Kind { updateAvailable, upToDate, failed };
    Kind kind = Kind::failed;
    AppcastItem item; // updateAvailable
    QString message;  // failed: what went wrong, for the user
    bool userInitiated = false;
};
Q_DECLARE_METATYPE(UpdateCheckResult)

// Checks the update feed: when the user asks, and on its own once a day at most. It only
// tells what it found; nothing is downloaded or replaced. Main thread.
class Updater : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)

public:
    static constexpr std::chrono::hours checkInterval{24};
    static constexpr std::chrono::seconds feedTimeLimit{30};

    struct Dependencies {
        HttpClient* http = nullptr;
        QSettings* settings = nullptr; // the feed address, the last check, the beta switch
        Scheduler* scheduler = nullptr;
        QString currentVersion;
        std::function<QDateTime()> clock; // none: the system clock
        // A check that is due at launch waits this long, so starting stays light.
        std::chrono::milliseconds launchDelay{std::chrono::seconds(30)};
    };

    explicit Updater(Dependencies dependencies, QObject* parent = nullptr);

    // Begins the cycle of scheduled checks; before this no check may start.
    void start();
    bool canCheckForUpdates() const { return m_started && !m_checking; }
    void checkForUpdates(); // the user's "Check for Updates…"
    // Plans the next scheduled check afresh (the channels changed, say): any check planned
    // before is dropped.
    void resetUpdateCycle();
    // When the next scheduled check runs; invalid when none is planned.
    QDateTime nextScheduledCheck() const { return m_nextCheck; }

Q_SIGNALS:
    void canCheckForUpdatesChanged(bool canCheck);
    void checkFinished(const UpdateCheckResult& result);

private:
    void check(bool userInitiated);
    void finish(UpdateCheckResult result);
    void scheduleNext();
    QDateTime now() const;

    Dependencies m_deps;
    bool m_started = false;
    bool m_checking = false;
    quint64 m_cycle = 0; // a planned check runs only if no reset came since
    QDateTime m_nextCheck;
};

#pragma once

#include "common/UniqueFd.h"

#include <QObject>
#include <QString>
#include <memory>
#include <sys/types.h>
#include <unistd.h>

class QSocketNotifier;

// One engine per user, display and data folder: a second would expand everything twice. The
// first start holds a lock file and listens on a socket, both in a folder only this user can
// enter (AppPaths::runtimeDir); a later start finds the lock taken, asks the running engine to
// show itself and leaves. Whoever holds the lock owns the socket's name, so a stale socket or
// any other file left at that name is simply replaced, and two starts at once still make one
// engine. Connections from another user's processes are ignored.
class SingleInstance final : public QObject {
    Q_OBJECT

public:
    // What a later start asks of the running one.
    enum class Request {
        show,       // its main window
        newSnippet, // the main window on the new-snippet sheet
    };
    Q_ENUM(Request)

    enum class Role {
        primary,   // this process runs the engine
        secondary, // another one does; it was asked to show itself
        failed,    // neither could be settled (see errorString())
    };

    // `folder` must be private to the user; `uid` is whose connections count (this process's
    // user unless a test says otherwise).
    SingleInstance(QString folder, QString key, uid_t uid = ::geteuid(), QObject* parent = nullptr);
    ~SingleInstance() override;

    Role start(Request request = Request::show);
    const QString& errorString() const { return m_error; }
    QString socketPath() const;
    QString lockPath() const;

    // The name shared by every start on this display with this data folder.
    static QString keyFor(const QString& display, const QString& dataDir);
    // ":0", ":0.0", "unix:0" and "unix:0.1" are one display (":0"); a remote host stays.
    static QString normalizedDisplay(const QString& display);

Q_SIGNALS:
    void requested(SingleInstance::Request request);

private:
    bool takeLock(bool& taken);
    bool listen();
    void notifyRunning(Request request);
    void acceptConnections();
    bool refuse(const QString& error); // false, with the error kept

    QString m_folder;
    QString m_key;
    uid_t m_uid;
    QString m_error;
    UniqueFd m_lock;
    UniqueFd m_server;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

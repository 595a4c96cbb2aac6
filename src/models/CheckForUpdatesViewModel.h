#pragma once

#include <QObject>
#include <QPointer>

class Updater;

// What the "Check for Updates…" commands show: enabled only while the updater may start a
// check, following it as that changes.
class CheckForUpdatesViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)

public:
    explicit CheckForUpdatesViewModel(Updater* updater, QObject* parent = nullptr);

    bool canCheckForUpdates() const { return m_canCheckForUpdates; }
    void checkForUpdates();
    Updater* updater() const { return m_updater; }

Q_SIGNALS:
    void canCheckForUpdatesChanged(bool canCheck);

private:
    void setCanCheckForUpdates(bool canCheck);

    Updater* m_updater; // outlives this
    bool m_canCheckForUpdates = false;
};

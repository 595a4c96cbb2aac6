#pragma once

#include "models/ReleaseNotes.h"

#include <QObject>
#include <QPointer>
#include <QUrl>

class CheckForUpdatesViewModel;
class LoginItem;
class QSettings;

// The General pane: launch at login, the version and updates, the release notes and the
// project's pages.
class GeneralSettingsModel : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        QSettings* settings = nullptr;
        LoginItem* loginItem = nullptr;              // none: the switch is off and disabled
        CheckForUpdatesViewModel* updates = nullptr; // none: no checks
        QString version;                             // empty: "1.0.0"
    };

    static const QUrl privacyPolicyURL;
    static const QUrl termsOfUseURL;
    static const QUrl documentationURL;

    explicit GeneralSettingsModel(Dependencies dependencies, QObject* parent = nullptr);

    // Reads the login item's real state again (the pane is being shown).
    void appear();
    bool launchAtLogin() const { return m_launchAtLogin; }
    bool canChangeLaunchAtLogin() const { return m_dependencies.loginItem; }
    // Registers or unregisters; the reason when that failed, the switch showing the truth.
    QString setLaunchAtLogin(bool enabled);

    QString versionText() const;
    bool canCheckForUpdates() const;
    void checkForUpdates();

    bool betaUpdatesEnabled() const;
    // Stores the switch and makes the updater plan its next check with the new channels.
    void setBetaUpdatesEnabled(bool enabled);

    const QList<ReleaseNote>& releaseNotes() const { return ReleaseNotes::all(); }

Q_SIGNALS:
    void changed();

private:
    Dependencies m_dependencies;
    CheckForUpdatesViewModel* m_updates;
    bool m_launchAtLogin = false;
};

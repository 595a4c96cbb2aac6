#pragma once

#include "platform/api/LoginItem.h"

#include <QString>

// Launch at login through an XDG autostart entry named after the application id in the
// autostart folder. Installed, it is the installed desktop entry starting this executable;
// otherwise a minimal entry starting the running executable or AppImage.
// The entry itself is the state: no copy of it is kept in the settings.
class Autostart final : public LoginItem {
public:
    // `autostartDir`: the folder the session reads; `program`: what the entry starts.
    Autostart(QString autostartDir, QString program);

    // $XDG_CONFIG_HOME/autostart, else ~/.config/autostart.
    static QString defaultDir();
    // The AppImage this process runs from ($APPIMAGE), else its own executable.
    static QString runningProgram();

    QString entryPath() const;
    // The entry's name before the application id; read as ours, replaced when switched on.
    QString legacyEntryPath() const;
    // <prefix>/share/applications/<id>.desktop when `program` is <prefix>/bin/scrivlane and that
    // entry exists; empty otherwise.
    static QString installedEntryFor(const QString& program);
    // True while the entry exists, is not hidden or disabled, and starts a program that
    // exists: an entry left behind by a moved AppImage would start nothing.
    bool isEnabled() const override;
    QString setEnabled(bool enabled) override;

    // The program as the Exec key writes it, quoted and escaped by the Desktop Entry rules.
    static QString execValue(const QString& program);
    // The program an Exec value starts (its first argument, unescaped).
    static QString programOf(const QString& execValue);

private:
    QString entryText() const;

    QString m_dir;
    QString m_program;
};

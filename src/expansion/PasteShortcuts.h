#pragma once

#include "platform/api/KeyInjector.h"

#include <QHash>
#include <QSet>
#include <QString>

// Which paste shortcut a window class wants: Ctrl+V unless the built-in table or the user's
// additions ("Class=ctrl+shift+v" entries) say otherwise; and whether it is slow to read
// synthetic keys ("Class=slow"), so that an expansion keeps the long waits for it. Classes
// compare case-insensitively.
class PasteShortcuts {
public:
    PasteShortcuts();

    PasteShortcut forWindowClass(const QString& windowClass) const;
    bool isSlow(const QString& windowClass) const;
    // Adds or overrides entries from the preferences; returns the entries it could not read.
    QStringList addUserEntries(const QStringList& entries);

private:
    QHash<QString, PasteShortcut> m_table;
    QSet<QString> m_slow;
};

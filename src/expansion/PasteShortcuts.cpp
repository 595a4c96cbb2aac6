#include "expansion/PasteShortcuts.h"

PasteShortcuts::PasteShortcuts()
{
    // Terminals take Ctrl+V as a control character and paste with Ctrl+Shift+V.
    for (const char* terminal : {"gnome-terminal-server",
                                 "gnome-terminal",
                                 "konsole",
                                 "xfce4-terminal",
                                 "mate-terminal",
                                 "tilix",
                                 "terminator",
                                 "kitty",
                                 "alacritty",
                                 "wezterm-gui",
                                 "org.wezfurlong.wezterm",
                                 "lxterminal",
                                 "qterminal",
                                 "sakura",
                                 "terminology",
                                 "foot",
                                 "st-256color",
                                 "ptyxis",
                                 "kgx",
                                 "guake",
                                 "tilda",
                                 "yakuake",
                                 "cool-retro-term"})
        m_table.insert(QString::fromLatin1(terminal).toLower(), PasteShortcut::controlShiftV);
    // These paste the primary selection with Shift+Insert.
    for (const char* primary : {"xterm", "uxterm", "urxvt", "rxvt", "urxvt-unicode"})
        m_table.insert(QString::fromLatin1(primary), PasteShortcut::shiftInsert);
}

PasteShortcut PasteShortcuts::forWindowClass(const QString& windowClass) const
{
    return m_table.value(windowClass.toLower(), PasteShortcut::controlV);
}

bool PasteShortcuts::isSlow(const QString& windowClass) const
{
    return m_slow.contains(windowClass.toLower());
}

QStringList PasteShortcuts::addUserEntries(const QStringList& entries)
{
    QStringList unreadable;
    for (const QString& entry : entries) {
        const qsizetype eq = entry.indexOf(u'=');
        const QString windowClass = entry.left(eq).trimmed().toLower();
        const QString keys = entry.mid(eq + 1).trimmed().toLower().remove(u' ');
        if (eq <= 0 || windowClass.isEmpty()) {
            unreadable << entry;
        } else if (keys == u"ctrl+v") {
            m_table.insert(windowClass, PasteShortcut::controlV);
        } else if (keys == u"ctrl+shift+v" || keys == u"shift+ctrl+v") {
            m_table.insert(windowClass, PasteShortcut::controlShiftV);
        } else if (keys == u"shift+insert") {
            m_table.insert(windowClass, PasteShortcut::shiftInsert);
        } else if (keys == u"slow") {
            m_slow.insert(windowClass);
        } else {
            unreadable << entry;
        }
    }
    return unreadable;
}

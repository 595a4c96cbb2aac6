#pragma once

#include <QObject>

class PersistenceController;
class TextExpansionService;

// What the tray menu shows: the status ("Active", "Paused", "Needs X11 Access"), the expansion
// switch, how many snippets are live, and whether the access warning is shown. It follows the
// service and the store while the menu is open.
class MenuBarModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString statusText READ statusText NOTIFY changed)
    Q_PROPERTY(QString snippetCountText READ snippetCountText NOTIFY changed)
    Q_PROPERTY(bool expansionEnabled READ expansionEnabled WRITE setExpansionEnabled NOTIFY changed)
    Q_PROPERTY(bool showsAccessWarning READ showsAccessWarning NOTIFY changed)

public:
    MenuBarModel(TextExpansionService* expansion, PersistenceController* store,
                 QObject* parent = nullptr);

    QString statusText() const;
    QString snippetCountText() const;
    bool expansionEnabled() const;
    void setExpansionEnabled(bool enabled);
    // The switch's accessibility value.
    QString expansionValueText() const;
    bool showsAccessWarning() const;
    bool isPaused() const; // the tray icon's paused look

    // "Help" in the warning: checks again and starts watching keys when it now can.
    void recheckAccess();

Q_SIGNALS:
    void changed();

private:
    TextExpansionService* m_expansion;
    PersistenceController* m_store;
    qsizetype m_count = 0;
};

#pragma once

#include "ui/settings/SettingsForm.h"

class QLabel;
class TextExpansionService;

// Permissions: whether ScrivLane can read and send keys on this display, live.
class PermissionsSettingsView : public SettingsPane {
    Q_OBJECT

public:
    PermissionsSettingsView(TextExpansionService* expansion, QWidget* parent = nullptr);

private:
    void sync();

    TextExpansionService* m_expansion;
    QLabel* m_keyboardIcon = nullptr;
    QLabel* m_badgeIcon = nullptr;
    QLabel* m_badge = nullptr;
};

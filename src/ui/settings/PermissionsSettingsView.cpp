#include "ui/settings/PermissionsSettingsView.h"

#include "expansion/TextExpansionService.h"
#include "ui/widgets/AccessHelp.h"
#include "ui/widgets/Icons.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

PermissionsSettingsView::PermissionsSettingsView(TextExpansionService* expansion, QWidget* parent)
    : SettingsPane(tr("Permissions"), parent), m_expansion(expansion)
{
    setObjectName(u"PermissionsSettingsView"_s);
    QVBoxLayout* section = addSection(
        QString(), tr("Once an X11 display with RECORD and XTEST is reachable, ScrivLane starts "
                      "monitoring automatically \u2014 no restart needed."));

    auto* line = new QHBoxLayout;
    line->setSpacing(8);
    m_keyboardIcon = new QLabel(widget());
    m_keyboardIcon->setFixedSize(16, 16);
    line->addWidget(m_keyboardIcon, 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    texts->addWidget(new QLabel(tr("Keyboard Access (X11)"), widget()));
    texts->addWidget(
        caption(tr("Required to monitor keystrokes and expand snippets in any app."), widget()));
    line->addLayout(texts, 1);
    m_badgeIcon = new QLabel(widget());
    m_badgeIcon->setFixedSize(16, 16);
    line->addWidget(m_badgeIcon, 0, Qt::AlignVCenter);
    m_badge = new QLabel(widget());
    m_badge->setObjectName(u"accessBadge"_s);
    QFont bold = m_badge->font();
    bold.setBold(true);
    m_badge->setFont(bold);
    line->addWidget(m_badge, 0, Qt::AlignVCenter);
    section->addLayout(line);

    auto* help = new QPushButton(tr("What ScrivLane Needs"), widget());
    describe(help, tr("What ScrivLane Needs"),
             tr("Checks again and explains what X11 or XWayland access needs"));
    section->addLayout(row(new QWidget(widget()), help));
    connect(help, &QPushButton::clicked, this, [this] {
        m_expansion->startEventTap();
        AccessHelp::show(this);
    });
    finish();

    connect(expansion, &TextExpansionService::accessibilityGrantedChanged, this,
            &PermissionsSettingsView::sync);
    sync();
}

void PermissionsSettingsView::sync()
{
    const bool granted = m_expansion->accessibilityGranted();
    const QColor color = granted ? green() : orange();
    m_keyboardIcon->setPixmap(tinted(u"input-keyboard"_s, color));
    m_badgeIcon->setPixmap(
        Icons::named(granted ? u"emblem-ok"_s : u"dialog-warning"_s).pixmap(16, 16));
    m_badge->setText(granted ? tr("Granted") : tr("Required"));
    QPalette palette = m_badge->palette();
    palette.setColor(QPalette::WindowText, color);
    m_badge->setPalette(palette);
    m_badge->setAccessibleName(tr("Keyboard Access (X11): %1").arg(m_badge->text()));
}

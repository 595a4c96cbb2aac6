#include "ui/onboarding/SyncOnboardingView.h"

#include "ui/widgets/Icons.h"

#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// A whole-row button: symbol, semibold title, secondary description, and a chevron.
QPushButton* optionRow(const QString& iconName, const QString& title, const QString& text,
                       QWidget* parent)
{
    auto* button = new QPushButton(parent);
    button->setAccessibleName(title);
    button->setAccessibleDescription(text);
    button->setMinimumHeight(64);
    auto* grid = new QGridLayout(button);
    grid->setContentsMargins(10, 8, 10, 8);
    auto* icon = new QLabel(button);
    icon->setPixmap(Icons::named(iconName).pixmap(22, 22));
    auto* heading = new QLabel(title, button);
    QFont font = heading->font();
    font.setWeight(QFont::DemiBold);
    heading->setFont(font);
    auto* body = new QLabel(text, button);
    body->setWordWrap(true);
    body->setForegroundRole(QPalette::PlaceholderText);
    auto* chevron = new QLabel(button);
    chevron->setPixmap(Icons::named(QStringLiteral("go-next")).pixmap(14, 14));
    for (QLabel* label : {icon, heading, body, chevron})
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
    grid->addWidget(icon, 0, 0, 2, 1, Qt::AlignTop);
    grid->addWidget(heading, 0, 1);
    grid->addWidget(body, 1, 1);
    grid->addWidget(chevron, 0, 2, 2, 1, Qt::AlignVCenter);
    grid->setColumnStretch(1, 1);
    return button;
}

} // namespace

SyncOnboardingView::SyncOnboardingView(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("syncOnboarding"));
    setWindowTitle(tr("First snippet saved!"));
    setWindowModality(Qt::WindowModal);
    setAccessibleName(tr("First snippet saved!"));
    setFixedWidth(460);

    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(10);
    auto* icon = new QLabel(this);
    icon->setPixmap(Icons::named(QStringLiteral("emblem-ok")).pixmap(36, 36));
    icon->setAlignment(Qt::AlignCenter);
    layout->addWidget(icon);
    auto* title = new QLabel(tr("First snippet saved!"), this);
    QFont font = title->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.25);
    title->setFont(font);
    title->setAlignment(Qt::AlignCenter);
    layout->addWidget(title);
    auto* line = new QLabel(tr("Choose how to keep your snippets safe."), this);
    line->setAlignment(Qt::AlignCenter);
    layout->addWidget(line);

    QPushButton* sync =
        optionRow(QStringLiteral("folder-remote"), tr("Enable Folder Sync"),
                  tr("Automatically backs up and syncs your snippets across all your computers "
                     "through a synced folder (Syncthing, Nextcloud, Dropbox). The app will "
                     "relaunch to activate."),
                  this);
    QPushButton* backup = optionRow(QStringLiteral("drive-harddisk"), tr("Set Up Auto-Backup"),
                                    tr("Automatically save backup files to a folder "
                                       "on this computer or an external drive."),
                                    this);
    layout->addWidget(sync);
    layout->addWidget(backup);
    // A button does not grow with the layout inside it: give each the height its text needs.
    for (QPushButton* row : {sync, backup})
        row->setMinimumHeight(row->layout()->totalHeightForWidth(width() - 2 * 12));
    auto* later = new QPushButton(tr("Maybe Later"), this);
    later->setFlat(true);
    layout->addWidget(later, 0, Qt::AlignHCenter);

    connect(sync, &QPushButton::clicked, this, &SyncOnboardingView::enableSyncChosen);
    connect(backup, &QPushButton::clicked, this, &SyncOnboardingView::backupSettingsChosen);
    connect(later, &QPushButton::clicked, this, &QDialog::reject);
}

#include "ui/settings/BackupSyncSettingsView.h"

#include "models/BackupSyncSettingsModel.h"
#include "ui/settings/SettingsContentView.h"
#include "ui/widgets/Icons.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

// A button that shows a small busy bar in its place while its work runs.
QStackedWidget* busyStack(QPushButton* button, QWidget* parent)
{
    auto* stack = new QStackedWidget(parent);
    stack->addWidget(button);
    auto* busy = new QProgressBar(stack);
    busy->setRange(0, 0);
    busy->setTextVisible(false);
    busy->setMaximumHeight(button->sizeHint().height() / 2);
    busy->setAccessibleName(
        QCoreApplication::translate("BackupSyncSettingsView", "%1 (working)").arg(button->text()));
    stack->addWidget(busy);
    stack->setFixedWidth(button->sizeHint().width());
    return stack;
}

QWidget* twoLines(QLabel* title, QLabel* caption, QWidget* parent)
{
    auto* box = new QWidget(parent);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(title);
    layout->addWidget(caption);
    return box;
}

} // namespace

BackupSyncSettingsView::BackupSyncSettingsView(const SettingsServices& services, QWidget* parent)
    : SettingsPane(tr("Backup & Sync"), parent),
      m_model(new BackupSyncSettingsModel({services.store,
                                           services.settings,
                                           services.scheduler,
                                           services.backup,
                                           {},
                                           {},
                                           {},
                                           services.syncNow},
                                          this))
{
    setObjectName(u"BackupSyncSettingsView"_s);
    buildSync();
    buildBackup();
    finish();
    connect(m_model, &BackupSyncSettingsModel::changed, this, &BackupSyncSettingsView::sync);
    m_model->appear();
    sync();
}

void BackupSyncSettingsView::buildSync()
{
    QVBoxLayout* section =
        addSection(tr("Folder Sync"), tr("Snippets sync automatically in the background. Use "
                                         "Refresh if changes from another computer aren't "
                                         "appearing."));
    m_syncEnabled = new QCheckBox(tr("Enable Folder Sync"), widget());
    describe(m_syncEnabled, tr("Enable Folder Sync"),
             tr("Keep snippets in sync across all your computers through a synced folder "
                "(Syncthing, Nextcloud, Dropbox). Takes effect after relaunch."));
    section->addWidget(m_syncEnabled);
    // Toggled, not clicked: assistive technologies toggle a switch without clicking it.
    connect(m_syncEnabled, &QCheckBox::toggled, m_model, [this](bool on) {
        if (on != m_model->syncEnabled())
            m_model->setSyncEnabled(on);
    });

    auto* status = new QWidget(widget());
    auto* line = new QHBoxLayout(status);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(6);
    m_syncIcon = new QLabel(status);
    m_syncIcon->setFixedSize(16, 16);
    line->addWidget(m_syncIcon, 0, Qt::AlignTop);
    m_syncStatus = new QLabel(status);
    m_syncStatus->setObjectName(u"syncStatus"_s);
    m_syncStatus->setWordWrap(true);
    m_syncStatus->setTextInteractionFlags(Qt::TextSelectableByMouse);
    line->addWidget(m_syncStatus, 1);
    auto* refresh =
        new QPushButton(QIcon(tinted(u"view-refresh"_s, palette().color(QPalette::ButtonText))),
                        tr("Refresh"), widget());
    describe(refresh, tr("Refresh"),
             tr("Reload snippets from the local store \u2014 picks up any changes the sync folder "
                "has already delivered"));
    connect(refresh, &QPushButton::clicked, m_model, &BackupSyncSettingsModel::refresh);
    section->addLayout(row(status, refresh));

    // Where the sync tool works: the one setting here that has no counterpart elsewhere.
    m_syncFolder = caption(QString(), widget());
    m_syncFolder->setObjectName(u"syncFolder"_s);
    m_syncFolder->setWordWrap(false);
    m_syncFolder->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* chooseSync = new QPushButton(tr("Choose\u2026"), widget());
    describe(chooseSync, tr("Choose Sync Folder"),
             tr("The folder that Syncthing, Nextcloud or Dropbox keeps in step. Takes effect after "
                "relaunch."));
    connect(chooseSync, &QPushButton::clicked, this, &BackupSyncSettingsView::chooseSyncFolder);
    section->addLayout(
        row(twoLines(new QLabel(tr("Sync Folder"), widget()), m_syncFolder, widget()), chooseSync));
}

void BackupSyncSettingsView::buildBackup()
{
    QVBoxLayout* section = addSection(
        tr("File Backup"), tr("Backups include all snippets and your app settings. Restoring is "
                              "additive \u2014 existing snippets are never overwritten."));

    m_folder = caption(QString(), widget());
    m_folder->setObjectName(u"backupFolder"_s);
    m_folder->setWordWrap(false);
    m_folder->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* choose = new QPushButton(tr("Choose\u2026"), widget());
    describe(choose, tr("Choose\u2026"), tr("Select a folder for automatic ScrivLane backups"));
    choose->setEnabled(m_model->hasBackup());
    connect(choose, &QPushButton::clicked, this, &BackupSyncSettingsView::chooseFolder);
    section->addLayout(
        row(twoLines(new QLabel(tr("Backup Folder"), widget()), m_folder, widget()), choose));

    m_lastBackup = caption(QString(), widget());
    m_lastBackup->setObjectName(u"lastBackup"_s);
    m_backUpNow = new QPushButton(tr("Back Up Now"), widget());
    describe(m_backUpNow, tr("Back Up Now"),
             tr("Writes a backup file of all snippets and settings into the backup folder"));
    m_backUpStack = busyStack(m_backUpNow, widget());
    connect(m_backUpNow, &QPushButton::clicked, m_model, &BackupSyncSettingsModel::backUpNow);
    section->addLayout(row(
        twoLines(new QLabel(tr("Last Backup"), widget()), m_lastBackup, widget()), m_backUpStack));

    m_statusRow = new QWidget(widget());
    auto* statusLine = new QHBoxLayout(m_statusRow);
    statusLine->setContentsMargins(0, 0, 0, 0);
    statusLine->setSpacing(6);
    m_statusIcon = new QLabel(m_statusRow);
    m_statusIcon->setFixedSize(16, 16);
    statusLine->addWidget(m_statusIcon, 0, Qt::AlignTop);
    m_status = caption(QString(), m_statusRow);
    m_status->setObjectName(u"backupStatus"_s);
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    statusLine->addWidget(m_status, 1);
    section->addWidget(m_statusRow);

    m_restore = new QPushButton(tr("Choose File\u2026"), widget());
    describe(m_restore, tr("Choose File\u2026"),
             tr("Adds snippets and restores settings from a backup file"));
    m_restoreStack = busyStack(m_restore, widget());
    connect(m_restore, &QPushButton::clicked, this, &BackupSyncSettingsView::chooseRestoreFile);
    section->addLayout(row(
        twoLines(new QLabel(tr("Restore from Backup"), widget()),
                 caption(tr("Adds snippets and restores settings from a backup file"), widget()),
                 widget()),
        m_restoreStack));
}

void BackupSyncSettingsView::appear()
{
    m_model->appear();
    sync();
}

// The folder's path is cut to the width there is.
void BackupSyncSettingsView::resizeEvent(QResizeEvent* event)
{
    SettingsPane::resizeEvent(event);
    sync();
}

void BackupSyncSettingsView::sync()
{
    m_syncEnabled->setChecked(m_model->syncEnabled());
    switch (m_model->syncStatus()) {
    case BackupSyncSettingsModel::SyncStatus::off:
        m_syncIcon->setPixmap(
            tinted(u"scrivlane-sync-off"_s, palette().color(QPalette::PlaceholderText)));
        break;
    case BackupSyncSettingsModel::SyncStatus::error:
        m_syncIcon->setPixmap(tinted(u"dialog-warning"_s, orange()));
        break;
    case BackupSyncSettingsModel::SyncStatus::on:
        m_syncIcon->setPixmap(tinted(u"emblem-synchronizing"_s, green()));
        break;
    }
    m_syncStatus->setText(m_model->syncStatusText());
    m_syncStatus->setAccessibleName(m_model->syncStatusText());

    const QString syncFolder = m_model->syncFolderText();
    m_syncFolder->setText(m_syncFolder->fontMetrics().elidedText(syncFolder, Qt::ElideMiddle,
                                                                 qMax(160, width() - 200)));
    m_syncFolder->setAccessibleName(syncFolder);
    m_syncFolder->setToolTip(syncFolder);

    const QString folder = m_model->folderText();
    m_folder->setText(
        m_folder->fontMetrics().elidedText(folder, Qt::ElideMiddle, qMax(160, width() - 200)));
    m_folder->setAccessibleName(folder);
    m_folder->setToolTip(folder);
    m_lastBackup->setText(m_model->lastBackupText());
    m_lastBackup->setAccessibleName(m_model->lastBackupText());
    m_backUpNow->setEnabled(m_model->canBackUp());
    m_backUpStack->setCurrentIndex(m_model->isBackingUp() ? 1 : 0);
    m_restore->setEnabled(m_model->hasBackup() && !m_model->isRestoring());
    m_restoreStack->setCurrentIndex(m_model->isRestoring() ? 1 : 0);

    const auto look = m_model->statusLook();
    m_statusRow->setVisible(look != BackupSyncSettingsModel::StatusLook::none);
    if (look == BackupSyncSettingsModel::StatusLook::success)
        m_statusIcon->setPixmap(Icons::named(u"emblem-ok"_s).pixmap(16, 16));
    else
        m_statusIcon->setPixmap(Icons::named(u"dialog-warning"_s).pixmap(16, 16));
    m_status->setText(m_model->statusText());
    m_status->setAccessibleName(m_model->statusText());
}

void BackupSyncSettingsView::askForFolder(const QString& title, const QString& objectName,
                                          const QString& what,
                                          std::function<bool(const QString&)> choose)
{
    auto* dialog = new QFileDialog(this, title);
    dialog->setObjectName(objectName);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    dialog->setLabelText(QFileDialog::Accept, tr("Choose"));
    connect(dialog, &QFileDialog::fileSelected, this,
            [this, what, choose = std::move(choose)](const QString& folder) {
                if (choose(folder))
                    return;
                auto* box = new QMessageBox(
                    QMessageBox::Warning, what,
                    tr("\"%1\" cannot be used as the %2.").arg(folder, what.toLower()),
                    QMessageBox::Ok, this);
                box->setAttribute(Qt::WA_DeleteOnClose);
                box->open();
            });
    dialog->open();
}

void BackupSyncSettingsView::chooseFolder()
{
    askForFolder(tr("Select a folder for automatic ScrivLane backups"), u"backupFolderDialog"_s,
                 tr("Backup Folder"),
                 [this](const QString& f) { return m_model->chooseFolder(f); });
}

void BackupSyncSettingsView::chooseSyncFolder()
{
    askForFolder(tr("Select the folder your sync tool keeps in step"), u"syncFolderDialog"_s,
                 tr("Sync Folder"),
                 [this](const QString& f) { return m_model->chooseSyncFolder(f); });
}

void BackupSyncSettingsView::chooseRestoreFile()
{
    auto* dialog = new QFileDialog(this, tr("Restore from Backup"));
    dialog->setObjectName(u"restoreFileDialog"_s);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilter(tr("JSON documents (*.json)"));
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    connect(dialog, &QFileDialog::fileSelected, m_model, &BackupSyncSettingsModel::restore);
    dialog->open();
}

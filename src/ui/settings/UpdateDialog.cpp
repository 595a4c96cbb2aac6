#include "ui/settings/UpdateDialog.h"

#include "models/Updater.h"
#include "ui/widgets/Icons.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace UpdateDialog {

QDialog* create(const AppcastItem& item, const QString& currentVersion, QWidget* parent)
{
    auto* dialog = new QDialog(parent);
    dialog->setObjectName(u"updateDialog"_s);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(QCoreApplication::translate("UpdateDialog", "Software Update"));
    dialog->resize(520, 400);
    auto* layout = new QVBoxLayout(dialog);
    auto* top = new QHBoxLayout;
    auto* icon = new QLabel(dialog);
    icon->setPixmap(Icons::tray(false).pixmap(48, 48));
    top->addWidget(icon, 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout;
    auto* heading = new QLabel(
        QCoreApplication::translate("UpdateDialog", "A new version of ScrivLane is available!"),
        dialog);
    QFont bold = heading->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.15);
    heading->setFont(bold);
    texts->addWidget(heading);
    auto* detail = new QLabel(QCoreApplication::translate(
                                  "UpdateDialog",
                                  "ScrivLane %1 is available \u2014 you have %2. Open the download "
                                  "page to get it.")
                                  .arg(item.shownVersion, currentVersion),
                              dialog);
    detail->setWordWrap(true);
    texts->addWidget(detail);
    top->addLayout(texts, 1);
    layout->addLayout(top);

    auto* notesTitle =
        new QLabel(QCoreApplication::translate("UpdateDialog", "Release Notes:"), dialog);
    notesTitle->setFont(bold);
    layout->addWidget(notesTitle);
    auto* notes = new QTextBrowser(dialog);
    notes->setObjectName(u"updateNotes"_s);
    notes->setAccessibleName(QCoreApplication::translate("UpdateDialog", "Release Notes"));
    notes->setOpenExternalLinks(true);
    if (item.notes.isEmpty())
        notes->setPlainText(
            QCoreApplication::translate("UpdateDialog", "No notes came with this version."));
    else if (Qt::mightBeRichText(item.notes))
        notes->setHtml(item.notes);
    else
        notes->setPlainText(item.notes);
    layout->addWidget(notes, 1);
    if (!item.releaseNotesLink.isEmpty()) {
        auto* link = new QLabel(
            QCoreApplication::translate("UpdateDialog", "<a href=\"%1\">Full release notes</a>")
                .arg(item.releaseNotesLink.toString().toHtmlEscaped()),
            dialog);
        link->setOpenExternalLinks(true);
        link->setTextInteractionFlags(Qt::TextBrowserInteraction);
        link->setFocusPolicy(Qt::StrongFocus);
        link->setAccessibleName(QCoreApplication::translate("UpdateDialog", "Full release notes"));
        layout->addWidget(link);
    }

    auto* buttons = new QDialogButtonBox(dialog);
    QPushButton* later =
        buttons->addButton(QCoreApplication::translate("UpdateDialog", "Remind Me Later"),
                           QDialogButtonBox::RejectRole);
    later->setAccessibleDescription(QCoreApplication::translate(
        "UpdateDialog", "Closes this; the next daily check tells you again"));
    QPushButton* download =
        buttons->addButton(QCoreApplication::translate("UpdateDialog", "Open Download Page"),
                           QDialogButtonBox::AcceptRole);
    download->setAccessibleDescription(QCoreApplication::translate(
        "UpdateDialog", "Opens the page of this version in your browser"));
    download->setEnabled(!item.downloadLink.isEmpty());
    download->setDefault(true);
    layout->addWidget(buttons);
    const QUrl page = item.downloadLink;
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, [dialog, page] {
        QDesktopServices::openUrl(page);
        dialog->accept();
    });
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    return dialog;
}

void present(const UpdateCheckResult& result, const QString& currentVersion, QWidget* parent)
{
    if (result.kind == UpdateCheckResult::Kind::updateAvailable) {
        QDialog* dialog = create(result.item, currentVersion, parent);
        dialog->show();
        dialog->raise();
        dialog->activateWindow();
        return;
    }
    if (!result.userInitiated)
        return;
    auto* box = new QMessageBox(parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    if (result.kind == UpdateCheckResult::Kind::upToDate) {
        box->setIcon(QMessageBox::Information);
        box->setWindowTitle(QCoreApplication::translate("UpdateDialog", "Software Update"));
        box->setText(QCoreApplication::translate("UpdateDialog", "You're up to date!"));
        box->setInformativeText(
            QCoreApplication::translate("UpdateDialog",
                                        "ScrivLane %1 is currently the newest version available.")
                .arg(currentVersion));
    } else {
        box->setIcon(QMessageBox::Warning);
        box->setWindowTitle(QCoreApplication::translate("UpdateDialog", "Update Error"));
        box->setText(
            QCoreApplication::translate("UpdateDialog", "ScrivLane could not check for updates."));
        box->setInformativeText(result.message);
    }
    box->setStandardButtons(QMessageBox::Ok);
    box->show();
}

} // namespace UpdateDialog

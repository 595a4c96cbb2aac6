#include "ui/settings/UpdateDialog.h"

#include "models/Updater.h"
#include "ui/widgets/Icons.h"

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
    dialog->setWindowTitle(u"Software Update"_s);
    dialog->resize(520, 400);
    auto* layout = new QVBoxLayout(dialog);
    auto* top = new QHBoxLayout;
    auto* icon = new QLabel(dialog);
    icon->setPixmap(Icons::tray(false).pixmap(48, 48));
    top->addWidget(icon, 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout;
    auto* heading = new QLabel(u"A new version of ScrivLane is available!"_s, dialog);
    QFont bold = heading->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.15);
    heading->setFont(bold);
    texts->addWidget(heading);
    auto* detail = new QLabel(u"ScrivLane %1 is available \u2014 you have %2. Open the download "
                              u"page to get it."_s.arg(item.shownVersion, currentVersion),
                              dialog);
    detail->setWordWrap(true);
    texts->addWidget(detail);
    top->addLayout(texts, 1);
    layout->addLayout(top);

    auto* notesTitle = new QLabel(u"Release Notes:"_s, dialog);
    notesTitle->setFont(bold);
    layout->addWidget(notesTitle);
    auto* notes = new QTextBrowser(dialog);
    notes->setObjectName(u"updateNotes"_s);
    notes->setAccessibleName(u"Release Notes"_s);
    notes->setOpenExternalLinks(true);
    if (item.notes.isEmpty())
        notes->setPlainText(u"No notes came with this version."_s);
    else if (Qt::mightBeRichText(item.notes))
        notes->setHtml(item.notes);
    else
        notes->setPlainText(item.notes);
    layout->addWidget(notes, 1);
    if (!item.releaseNotesLink.isEmpty()) {
        auto* link = new QLabel(u"<a href=\"%1\">Full release notes</a>"_s.arg(
                                    item.releaseNotesLink.toString().toHtmlEscaped()),
                                dialog);
        link->setOpenExternalLinks(true);
        link->setTextInteractionFlags(Qt::TextBrowserInteraction);
        link->setFocusPolicy(Qt::StrongFocus);
        link->setAccessibleName(u"Full release notes"_s);
        layout->addWidget(link);
    }

    auto* buttons = new QDialogButtonBox(dialog);
    QPushButton* later = buttons->addButton(u"Remind Me Later"_s, QDialogButtonBox::RejectRole);
    later->setAccessibleDescription(u"Closes this; the next daily check tells you again"_s);
    QPushButton* download =
        buttons->addButton(u"Open Download Page"_s, QDialogButtonBox::AcceptRole);
    download->setAccessibleDescription(u"Opens the page of this version in your browser"_s);
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
        box->setWindowTitle(u"Software Update"_s);
        box->setText(u"You're up to date!"_s);
        box->setInformativeText(
            u"ScrivLane %1 is currently the newest version available."_s.arg(currentVersion));
    } else {
        box->setIcon(QMessageBox::Warning);
        box->setWindowTitle(u"Update Error"_s);
        box->setText(u"ScrivLane could not check for updates."_s);
        box->setInformativeText(result.message);
    }
    box->setStandardButtons(QMessageBox::Ok);
    box->show();
}

} // namespace UpdateDialog

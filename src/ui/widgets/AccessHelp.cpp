#include "ui/widgets/AccessHelp.h"

#include <QCoreApplication>
#include <QMessageBox>

namespace AccessHelp {

void show(QWidget* parent)
{
    auto* box = new QMessageBox(parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::Information);
    box->setWindowTitle(QCoreApplication::translate("AccessHelp", "What ScrivLane Needs"));
    box->setText(QCoreApplication::translate("AccessHelp", "What ScrivLane Needs"));
    box->setInformativeText(QCoreApplication::translate(
        "AccessHelp",
        "ScrivLane reads the keys you type and sends its own through X11: it needs an X11 "
        "session, or XWayland on a Wayland desktop, whose server offers the RECORD and XTEST "
        "extensions (every Xorg server and XWayland does).\n\n"
        "In a Wayland session, make sure XWayland runs (it does on GNOME and KDE); ScrivLane "
        "then expands in the applications that use it. Once an X11 display with RECORD and "
        "XTEST is reachable, ScrivLane starts monitoring automatically — no restart needed."));
    box->setStandardButtons(QMessageBox::Ok);
    box->open();
}

} // namespace AccessHelp

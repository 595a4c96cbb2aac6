#include "ui/widgets/Questions.h"

#include <QMessageBox>
#include <QPushButton>

namespace Questions {

QMessageBox* askDestructive(QWidget* parent, const LibraryTexts::Question& question,
                            std::function<void()> confirmed, std::function<void()> cancelled)
{
    auto* box = new QMessageBox(parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->setIcon(QMessageBox::Warning);
    box->setWindowTitle(question.title);
    box->setText(question.title);
    box->setInformativeText(question.message);
    // Short questions read better on one line than wrapped into a narrow box.
    box->setStyleSheet(QStringLiteral("QLabel { min-width: 300px; }"));
    QPushButton* confirm = box->addButton(question.confirm, QMessageBox::DestructiveRole);
    QPushButton* cancel = box->addButton(QMessageBox::Cancel);
    // Return on a destructive question must not delete: Cancel is the default.
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    QObject::connect(
        box, &QMessageBox::finished, box,
        [box, confirm, confirmed = std::move(confirmed), cancelled = std::move(cancelled)] {
            if (box->clickedButton() == confirm) {
                if (confirmed)
                    confirmed();
            } else if (cancelled) {
                cancelled();
            }
        });
    box->open();
    return box;
}

} // namespace Questions

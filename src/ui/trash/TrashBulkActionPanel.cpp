#include "ui/trash/TrashBulkActionPanel.h"

#include "models/TrashViewModel.h"
#include "ui/trash/TrashStyle.h"
#include "ui/widgets/Icons.h"
#include "ui/widgets/Questions.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int buttonWidth = 180;
} // namespace

TrashBulkActionPanel::TrashBulkActionPanel(TrashViewModel* model, QWidget* parent)
    : QWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("trashBulkActionPanel"));
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(12);
    layout->addStretch(1);
    auto* icon = new QLabel(this);
    icon->setPixmap(Icons::named(QStringLiteral("object-select")).pixmap(40, 40));
    icon->setAlignment(Qt::AlignCenter);
    layout->addWidget(icon);
    m_header = new QLabel(this);
    m_header->setObjectName(QStringLiteral("trashBulkHeader"));
    m_header->setTextFormat(Qt::PlainText);
    m_header->setAlignment(Qt::AlignCenter);
    m_header->setWordWrap(true);
    QFont font = m_header->font();
    font.setPointSizeF(font.pointSizeF() * 1.2);
    font.setBold(true);
    m_header->setFont(font);
    layout->addWidget(m_header);
    layout->addSpacing(4);

    auto* restore =
        new QPushButton(Icons::named(QStringLiteral("edit-undo")), tr("Restore All"), this);
    restore->setAccessibleDescription(
        tr("Puts the selected snippets and categories back in the library"));
    auto* remove = new QPushButton(Icons::named(QStringLiteral("user-trash")),
                                   tr("Delete All Permanently"), this);
    remove->setAccessibleDescription(
        tr("Removes the selected snippets and categories for good, after asking"));
    TrashStyle::markDestructive(remove);
    for (QPushButton* button : {restore, remove}) {
        button->setFixedWidth(std::max(buttonWidth, button->sizeHint().width()));
        layout->addWidget(button, 0, Qt::AlignHCenter);
    }
    layout->addStretch(2);

    connect(restore, &QPushButton::clicked, m_model, &TrashViewModel::restoreSelection);
    connect(remove, &QPushButton::clicked, this, [this] {
        Questions::askDestructive(this, m_model->deleteAllQuestion(),
                                  [this] { m_model->deleteSelectionPermanently(); });
    });
}

void TrashBulkActionPanel::refresh()
{
    m_header->setText(m_model->selectionHeader());
    setAccessibleName(m_header->text());
}

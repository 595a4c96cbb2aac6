#include "ui/mainwindow/BulkEditPanel.h"

#include "models/ContentViewModel.h"
#include "models/LibraryTexts.h"
#include "ui/widgets/CategoryPicker.h"
#include "ui/widgets/Icons.h"
#include "ui/widgets/Questions.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

BulkEditPanel::BulkEditPanel(ContentViewModel* model, QWidget* parent)
    : QWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("bulkEditPanel"));
    auto* outer = new QVBoxLayout(this);
    outer->addStretch(1);
    auto* column = new QVBoxLayout;
    column->setSpacing(12);

    auto* headerRow = new QHBoxLayout;
    auto* icon = new QLabel(this);
    icon->setPixmap(Icons::named(QStringLiteral("object-select")).pixmap(28, 28));
    m_header = new QLabel(this);
    QFont font = m_header->font();
    font.setPointSizeF(font.pointSizeF() * 1.2);
    font.setBold(true);
    m_header->setFont(font);
    headerRow->addStretch(1);
    headerRow->addWidget(icon);
    headerRow->addWidget(m_header);
    headerRow->addStretch(1);
    column->addLayout(headerRow);

    auto* moveRow = new QHBoxLayout;
    auto* label = new QLabel(tr("Category"), this);
    m_category = new CategoryPicker(this);
    label->setBuddy(m_category);
    m_move = new QPushButton(this);
    m_move->setDefault(true);
    moveRow->addWidget(label);
    moveRow->addWidget(m_category, 1);
    moveRow->addWidget(m_move);
    column->addLayout(moveRow);

    auto* line = new QFrame(this);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    column->addWidget(line);

    m_delete = new QPushButton(Icons::named(QStringLiteral("user-trash")), QString(), this);
    m_delete->setObjectName(QStringLiteral("destructive"));
    column->addWidget(m_delete, 0, Qt::AlignHCenter);

    auto* centre = new QHBoxLayout;
    centre->addStretch(1);
    centre->addLayout(column, 3);
    centre->addStretch(1);
    outer->addLayout(centre);
    outer->addStretch(2);

    connect(m_move, &QPushButton::clicked, this,
            [this] { m_model->moveSelection(m_category->selectedCategory()); });
    connect(m_delete, &QPushButton::clicked, this, [this] {
        Questions::askDestructive(
            this, LibraryTexts::deleteSelectedSnippets(m_model->selectedSnippets().size()),
            [this] { m_model->deleteSelection(); });
    });
}

void BulkEditPanel::refresh()
{
    const qsizetype count = m_model->selectedSnippets().size();
    m_header->setText(LibraryTexts::selectionCount(count));
    m_move->setText(LibraryTexts::snippetAction(tr("Move"), count));
    m_move->setAccessibleDescription(tr("Moves the selected snippets to the category"));
    m_delete->setText(LibraryTexts::snippetAction(tr("Delete"), count));
    m_delete->setAccessibleDescription(tr("Moves the selected snippets to Recently Deleted"));
    m_category->setCategories(m_model->categories(), m_category->selectedCategory());
}

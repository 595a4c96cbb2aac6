#include "ui/sheets/NewSnippetSheet.h"

#include "library/PersistenceController.h"
#include "models/SheetModels.h"
#include "ui/sheets/CategoryEditorSheet.h"
#include "ui/widgets/CategoryPicker.h"
#include "ui/widgets/ConflictWarningRow.h"
#include "ui/widgets/Icons.h"
#include "ui/widgets/SnippetNameFields.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

NewSnippetSheet::NewSnippetSheet(PersistenceController* store, CategoryEntity* preselected,
                                 QWidget* parent)
    : QDialog(parent), m_store(store), m_model(new NewSnippetModel(store, preselected, {}, this))
{
    setObjectName(QStringLiteral("newSnippetSheet"));
    setWindowTitle(tr("New Snippet"));
    setWindowModality(Qt::WindowModal);
    setAccessibleName(tr("New Snippet"));
    setMinimumWidth(520);

    auto* layout = new QVBoxLayout(this);
    auto* heading = new QLabel(tr("New Snippet"), this);
    QFont font = heading->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.15);
    heading->setFont(font);
    layout->addWidget(heading);

    auto* form = new QFormLayout;
    const SnippetNameFields names = SnippetNameFields::addTo(form, this);
    m_title = names.title;
    m_abbreviation = names.abbreviation;
    m_conflict = new ConflictWarningRow(this);
    form->addRow(QString(), m_conflict);

    auto* categoryRow = new QHBoxLayout;
    m_category = new CategoryPicker(this);
    auto* newCategory =
        new QPushButton(Icons::named(QStringLiteral("list-add")), tr("New Category"), this);
    newCategory->setAutoDefault(false);
    newCategory->setAccessibleDescription(tr("Creates a category for this snippet"));
    categoryRow->addWidget(m_category, 1);
    categoryRow->addWidget(newCategory);
    form->addRow(tr("Category"), categoryRow);
    layout->addLayout(form);

    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(QDialogButtonBox::Cancel);
    m_create = buttons->addButton(tr("Create"), QDialogButtonBox::AcceptRole);
    m_create->setDefault(true);
    layout->addWidget(buttons);

    reloadCategories(preselected);
    connect(m_title, &QLineEdit::textChanged, this,
            [this](const QString& text) { m_model->title = text; });
    connect(m_abbreviation, &QLineEdit::textChanged, this, [this](const QString& text) {
        m_model->abbreviation = text;
        update();
    });
    connect(m_category, &QComboBox::currentIndexChanged, this,
            [this] { m_model->selectedCategory = m_category->selectedCategory(); });
    connect(m_conflict, &ConflictWarningRow::goToSnippet, this, [this](SnippetEntity* other) {
        reject();
        Q_EMIT navigateTo(other);
    });
    connect(newCategory, &QPushButton::clicked, this, [this] {
        auto* sheet = new CategoryEditorSheet(m_store, nullptr, this);
        sheet->setAttribute(Qt::WA_DeleteOnClose);
        connect(sheet, &CategoryEditorSheet::done, this,
                [this](CategoryEntity* category) { reloadCategories(category); });
        sheet->open();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_create, &QPushButton::clicked, this, [this] {
        if (SnippetEntity* snippet = m_model->create()) {
            accept();
            Q_EMIT created(snippet);
        }
    });
    update();
    m_title->setFocus();
}

NewSnippetSheet::~NewSnippetSheet() = default;

void NewSnippetSheet::reloadCategories(CategoryEntity* select)
{
    m_category->setCategories(
        m_store->fetchCategories(PersistenceController::Filter::all,
                                 PersistenceController::CategoryOrder::sortOrderAscending),
        select);
    m_model->selectedCategory = m_category->selectedCategory();
}

void NewSnippetSheet::update()
{
    m_create->setEnabled(m_model->canCreate());
    const bool wasShown = !m_conflict->isHidden();
    const QString before = m_conflict->text();
    m_conflict->setConflict(m_model->conflict());
    // The sheet fits the warning as it comes, goes or wraps differently.
    if (wasShown != !m_conflict->isHidden() || before != m_conflict->text()) {
        layout()->activate();
        resize(width(), sizeHint().height());
    }
}

#include "ui/sheets/CategoryEditorSheet.h"

#include "library/CategoryPalette.h"
#include "models/SheetModels.h"
#include "ui/widgets/Icons.h"

#include <QApplication>
#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// A round swatch; the chosen one carries a ring and says "Selected".
QIcon swatchIcon(const QColor& color, bool selected)
{
    const int size = 22;
    QPixmap pixmap(size * 2, size * 2);
    pixmap.setDevicePixelRatio(2);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(color);
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QRectF(3, 3, size - 6, size - 6));
    if (selected) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(QApplication::palette().color(QPalette::Text), 1.6));
        painter.drawEllipse(QRectF(0.8, 0.8, size - 1.6, size - 1.6));
    }
    return QIcon(pixmap);
}

} // namespace

CategoryEditorSheet::CategoryEditorSheet(PersistenceController* store, CategoryEntity* editing,
                                         QWidget* parent)
    : QDialog(parent), m_model(new CategoryEditorModel(store, editing, {}, this))
{
    setObjectName(QStringLiteral("categoryEditorSheet"));
    setWindowTitle(m_model->sheetTitle());
    setWindowModality(Qt::WindowModal);
    setAccessibleName(m_model->sheetTitle());

    auto* layout = new QVBoxLayout(this);
    auto* heading = new QLabel(m_model->sheetTitle(), this);
    QFont font = heading->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.15);
    heading->setFont(font);
    layout->addWidget(heading);

    auto* form = new QFormLayout;
    m_name = new QLineEdit(m_model->name, this);
    m_name->setPlaceholderText(tr("e.g. Work"));
    m_name->setAccessibleName(tr("Name"));
    form->addRow(tr("Name"), m_name);

    auto* swatchRow = new QHBoxLayout;
    swatchRow->setSpacing(4);
    m_swatches = new QButtonGroup(this);
    m_swatches->setExclusive(true);
    int id = 0;
    for (const CategoryPalette::Entry& entry : CategoryPalette::entries()) {
        auto* swatch = new QToolButton(this);
        swatch->setCheckable(true);
        swatch->setAutoRaise(true);
        swatch->setIconSize(QSize(22, 22));
        swatch->setProperty("hex", entry.hex);
        swatch->setAccessibleName(entry.name);
        swatch->setToolTip(entry.name);
        m_swatches->addButton(swatch, id++);
        swatchRow->addWidget(swatch);
    }
    swatchRow->addStretch(1);
    form->addRow(tr("Color"), swatchRow);
    layout->addLayout(form);

    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(QDialogButtonBox::Cancel);
    m_save = buttons->addButton(m_model->actionTitle(), QDialogButtonBox::AcceptRole);
    m_save->setDefault(true);
    layout->addWidget(buttons);

    connect(m_name, &QLineEdit::textChanged, this, [this](const QString& text) {
        m_model->name = text;
        update();
    });
    // Toggled, not clicked: assistive technologies toggle checkable buttons.
    connect(m_swatches, &QButtonGroup::idToggled, this, [this](int index, bool on) {
        const QString hex = m_swatches->button(index)->property("hex").toString();
        if (!on || hex == m_model->colorHex)
            return;
        m_model->colorHex = hex;
        update();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_save, &QPushButton::clicked, this, [this] {
        if (CategoryEntity* category = m_model->save()) {
            accept();
            Q_EMIT done(category);
        }
    });
    update();
    m_name->setFocus();
}

CategoryEditorSheet::~CategoryEditorSheet() = default;

void CategoryEditorSheet::update()
{
    m_save->setEnabled(m_model->canSave());
    for (QAbstractButton* swatch : m_swatches->buttons()) {
        const QString hex = swatch->property("hex").toString();
        const bool selected = hex == m_model->colorHex;
        swatch->setChecked(selected);
        swatch->setIcon(swatchIcon(*CategoryPalette::colorFromHex(hex), selected));
        // The chosen colour is announced as such.
        swatch->setAccessibleDescription(selected ? tr("Selected") : QString());
    }
}

#include "ui/trash/TrashSnippetDetailView.h"

#include "library/CategoryEntity.h"
#include "library/CategoryPalette.h"
#include "library/SnippetEntity.h"
#include "ui/widgets/Icons.h"
#include "ui/widgets/RichTextPreview.h"

#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QStackedWidget>
#include <QTextDocument>
#include <QVBoxLayout>

TrashSnippetDetailView::TrashSnippetDetailView(TrashViewModel* model, QWidget* parent)
    : TrashItemDetailView(model, parent)
{
    setObjectName(QStringLiteral("trashSnippetDetail"));
    auto* form = new QFormLayout;
    form->setLabelAlignment(Qt::AlignLeft);
    m_abbreviation = new QLabel(this);
    m_abbreviation->setTextFormat(Qt::PlainText);
    m_abbreviation->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_abbreviation->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* categoryRow = new QHBoxLayout;
    categoryRow->setSpacing(6);
    m_categoryDot = new QLabel(this);
    m_category = new QLabel(this);
    m_category->setTextFormat(Qt::PlainText);
    categoryRow->addWidget(m_categoryDot);
    categoryRow->addWidget(m_category, 1);
    form->addRow(tr("Abbreviation"), m_abbreviation);
    form->addRow(tr("Category"), categoryRow);
    body()->addLayout(form);

    // The text on the field colour, framed like the editor will show it.
    auto* box = new QFrame(this);
    box->setFrameShape(QFrame::StyledPanel);
    box->setBackgroundRole(QPalette::Base);
    box->setAutoFillBackground(true);
    auto* boxLayout = new QVBoxLayout(box);
    boxLayout->setContentsMargins(6, 6, 6, 6);
    m_content = new QStackedWidget(box);
    boxLayout->addWidget(m_content);
    m_plain = new QPlainTextEdit(m_content);
    m_plain->setReadOnly(true);
    m_plain->setFrameShape(QFrame::NoFrame);
    m_plain->setAccessibleName(tr("Expansion"));
    m_plain->setAccessibleDescription(tr("The text the abbreviation expands to"));
    m_rich = new RichTextPreview(m_content);
    m_rich->setAccessibleName(tr("Expansion"));
    m_content->addWidget(m_plain);
    m_content->addWidget(m_rich);
    body()->addWidget(box, 1);
}

void TrashSnippetDetailView::showSnippet(SnippetEntity* snippet)
{
    if (!snippet)
        return;
    showRecord(TrashSelection::of(snippet), snippet->displayTitle(), std::nullopt,
               snippet->trashedAt());
    const QString abbreviation = snippet->abbreviation().value_or(QString());
    m_abbreviation->setText(abbreviation);
    m_abbreviation->setAccessibleName(tr("Abbreviation %1").arg(abbreviation));

    const CategoryEntity* category = snippet->category();
    m_categoryDot->setVisible(category);
    if (category) {
        const auto color = CategoryPalette::colorFromHex(category->colorHex().value_or(QString()));
        m_categoryDot->setPixmap(Icons::dot(color.value_or(QColor()), 12).pixmap(12, 12));
    }
    m_category->setText(category ? category->displayName() : tr("None"));

    const std::unique_ptr<QTextDocument> rich =
        snippet->isRichText() ? snippet->attributedText() : nullptr;
    if (rich) {
        m_rich->setAttributedText(*rich);
        m_content->setCurrentWidget(m_rich);
    } else {
        m_plain->setPlainText(snippet->expandedText().value_or(QString()));
        m_content->setCurrentWidget(m_plain);
    }
}

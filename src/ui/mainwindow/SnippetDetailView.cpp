#include "ui/mainwindow/SnippetDetailView.h"

#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"
#include "richtext/RtfReader.h"
#include "ui/widgets/Icons.h"

#include <QFontDatabase>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QTextBrowser>
#include <QTextDocument>
#include <QVBoxLayout>

SnippetDetailView::SnippetDetailView(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("snippetDetail"));
    auto* layout = new QVBoxLayout(this);
    m_title = new QLabel(this);
    m_title->setTextFormat(Qt::PlainText);
    m_title->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont font = m_title->font();
    font.setPointSizeF(font.pointSizeF() * 1.35);
    font.setBold(true);
    m_title->setFont(font);
    layout->addWidget(m_title);

    auto* form = new QFormLayout;
    m_abbreviation = new QLabel(this);
    m_abbreviation->setTextFormat(Qt::PlainText);
    m_abbreviation->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_abbreviation->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_category = new QLabel(this);
    m_category->setTextFormat(Qt::PlainText);
    m_kind = new QLabel(this);
    m_kind->setTextFormat(Qt::PlainText);
    form->addRow(QStringLiteral("Abbreviation"), m_abbreviation);
    form->addRow(QStringLiteral("Category"), m_category);
    form->addRow(QStringLiteral("Format"), m_kind);
    layout->addLayout(form);

    m_text = new QTextBrowser(this);
    m_text->setOpenExternalLinks(false);
    m_text->setAccessibleName(QStringLiteral("Expansion"));
    layout->addWidget(m_text, 1);

    auto* remove = new QPushButton(Icons::named(QStringLiteral("user-trash")),
                                   QStringLiteral("Delete Snippet"), this);
    remove->setAccessibleDescription(QStringLiteral("Moves this snippet to Recently Deleted"));
    layout->addWidget(remove, 0, Qt::AlignRight);
    connect(remove, &QPushButton::clicked, this, &SnippetDetailView::deleteRequested);
}

void SnippetDetailView::showSnippet(const SnippetEntity* snippet)
{
    if (!snippet)
        return;
    m_title->setText(snippet->displayTitle());
    m_abbreviation->setText(snippet->abbreviation().value_or(QString()));
    m_category->setText(snippet->category() ? snippet->category()->displayName()
                                            : QStringLiteral("None"));
    m_kind->setText(snippet->isRichText() ? QStringLiteral("Rich Text")
                                          : QStringLiteral("Plain Text"));
    if (snippet->isRichText() && snippet->expandedTextRTF()) {
        const std::unique_ptr<QTextDocument> document =
            RtfReader::read(*snippet->expandedTextRTF());
        if (document)
            m_text->setHtml(document->toHtml());
        else
            m_text->setPlainText(snippet->expandedText().value_or(QString()));
    } else {
        m_text->setPlainText(snippet->expandedText().value_or(QString()));
    }
}

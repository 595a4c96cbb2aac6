#include "library/SnippetEntity.h"

#include "library/CategoryEntity.h"
#include "richtext/ColorFilter.h"
#include "richtext/PlainCharacters.h"
#include "richtext/RtfReader.h"
#include "richtext/RtfWriter.h"
#include "text/TextRules.h"

#include <QTextDocument>

namespace {
constexpr qsizetype displayTitleLength = 40;
}

SnippetEntity::~SnippetEntity()
{
    setCategory(nullptr);
}

std::unique_ptr<SnippetEntity> SnippetEntity::create(const QString& title,
                                                     const QString& abbreviation,
                                                     CategoryEntity* category, const QDateTime& now)
{
    auto snippet = std::make_unique<SnippetEntity>();
    snippet->setId(QUuid::createUuid());
    snippet->setTitle(title);
    snippet->setAbbreviation(TextRules::trimSpacesAndTabs(abbreviation));
    snippet->setExpandedText(QStringLiteral(""));
    snippet->setCategory(category);
    snippet->setCreatedAt(now);
    snippet->setUpdatedAt(now);
    return snippet;
}

void SnippetEntity::setCategory(CategoryEntity* category)
{
    if (category == m_category)
        return;
    if (m_category)
        m_category->m_snippets.remove(this);
    m_category = category;
    if (m_category)
        m_category->m_snippets.insert(this);
    m_changed |= changedCategory;
}

QString SnippetEntity::displayTitle() const
{
    if (!m_texts.bytes(SnippetTexts::title).isEmpty())
        return m_texts.text(SnippetTexts::title);
    const QString start =
        TextRules::firstCharacters(m_texts.text(SnippetTexts::expandedText), displayTitleLength);
    if (!start.isEmpty())
        return start;
    return QStringLiteral("Untitled Snippet");
}

std::unique_ptr<QTextDocument> SnippetEntity::attributedText() const
{
    if (!m_texts.has(SnippetTexts::expandedTextRTF))
        return nullptr;
    std::unique_ptr<QTextDocument> text = RtfReader::read(
        QByteArray::fromRawData(m_texts.bytes(SnippetTexts::expandedTextRTF).data(),
                                m_texts.bytes(SnippetTexts::expandedTextRTF).size()));
    if (text && !text->isEmpty())
        ColorFilter::apply(*text);
    return text;
}

void SnippetEntity::setAttributedText(const QTextDocument& text, const QDateTime& now)
{
    std::unique_ptr<QTextDocument> filtered(text.clone());
    if (!filtered->isEmpty())
        ColorFilter::apply(*filtered);
    setExpandedText(RichText::plainCharacters(*filtered));
    setExpandedTextRTF(RtfWriter::write(*filtered));
    setUpdatedAt(now);
}

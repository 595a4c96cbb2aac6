#include "models/SnippetEditorModel.h"

#include "library/CategoryEntity.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "models/EditorState.h"
#include "text/TextRules.h"

#include <QTimer>

using namespace Qt::StringLiterals;

SnippetEditorModel::SnippetEditorModel(PersistenceController* store, EditorState* state,
                                       std::function<QDateTime()> clock, QObject* parent)
    : QObject(parent), m_store(store), m_state(state),
      m_clock(clock ? std::move(clock) : [] { return QDateTime::currentDateTimeUtc(); }),
      m_richText(std::make_unique<QTextDocument>())
{
    // Records deleted elsewhere are freed at the merge: the conflict check reads a fresh list.
    const auto refetch = [this] {
        m_all = m_store->fetchAllSnippets();
        if (m_category && !m_store->contains(m_category))
            m_category = nullptr; // deleted elsewhere: the snippet is left without one
        Q_EMIT categoriesChanged();
        Q_EMIT changed();
    };
    connect(store, &PersistenceController::didSave, this, refetch);
    connect(store, &PersistenceController::remoteStoreChanged, this, refetch);
}

SnippetEditorModel::~SnippetEditorModel()
{
    if (m_state && m_state->saveAction)
        m_state->saveAction = nullptr;
}

void SnippetEditorModel::load(SnippetEntity* snippet)
{
    m_loading = true;
    m_snippet = snippet;
    m_title = snippet ? snippet->title().value_or(QString()) : QString();
    m_abbreviation = snippet ? snippet->abbreviation().value_or(QString()) : QString();
    m_category = snippet ? snippet->category() : nullptr;
    // A fresh rich text each time: nothing of the last snippet's formatting carries over. The
    // old one lives until the views have taken the new one.
    std::unique_ptr<QTextDocument> previous = std::move(m_richText);
    m_richText = std::make_unique<QTextDocument>();
    std::unique_ptr<QTextDocument> rich =
        snippet && snippet->isRichText() ? snippet->attributedText() : nullptr;
    if (rich) {
        m_richText = std::move(rich);
        m_plainText = m_richText->toPlainText();
        m_mode = ContentMode::rich;
    } else {
        m_plainText = snippet ? snippet->expandedText().value_or(QString()) : QString();
        m_mode = ContentMode::plain;
    }
    m_all = m_store->fetchAllSnippets();
    if (m_state) {
        m_state->saveAction = [this] { save(); };
        m_state->setDirty(false);
    }
    Q_EMIT loaded();
    Q_EMIT changed();
    // The views report their new contents as changes on the next turn; those are no edits.
    QTimer::singleShot(0, this, [this] {
        m_loading = false;
        if (m_state)
            m_state->setDirty(false);
    });
}

void SnippetEditorModel::edited()
{
    if (m_loading)
        return;
    if (m_state)
        m_state->setDirty(true);
    Q_EMIT changed();
}

void SnippetEditorModel::setTitle(const QString& title)
{
    if (title == m_title)
        return;
    m_title = title;
    edited();
}

void SnippetEditorModel::setAbbreviation(const QString& abbreviation)
{
    if (abbreviation == m_abbreviation)
        return;
    m_abbreviation = abbreviation;
    edited();
}

void SnippetEditorModel::setCategory(CategoryEntity* category)
{
    if (category == m_category)
        return;
    m_category = category;
    edited();
}

void SnippetEditorModel::setPlainText(const QString& text)
{
    if (text == m_plainText)
        return;
    m_plainText = text;
    edited();
}

void SnippetEditorModel::richTextEdited()
{
    edited();
}

void SnippetEditorModel::setMode(ContentMode mode)
{
    if (mode == m_mode)
        return;
    m_mode = mode;
    // A plain snippet turned rich starts from its plain text; after that each mode keeps its
    // own text and switching copies nothing.
    if (mode == ContentMode::rich && m_richText->isEmpty() && !m_plainText.isEmpty())
        m_richText->setPlainText(m_plainText);
    edited();
}

bool SnippetEditorModel::isDirty() const
{
    return m_state && m_state->isDirty();
}

QString SnippetEditorModel::abbreviationHint() const
{
    if (m_abbreviation.isEmpty())
        return {};
    return tr("Types \"%1\" \u2192 expands").arg(m_abbreviation);
}

AbbreviationConflict SnippetEditorModel::conflict() const
{
    return abbreviationConflict(m_abbreviation, m_all, m_snippet);
}

QString SnippetEditorModel::previewText() const
{
    return m_mode == ContentMode::rich ? MacroProcessor::richPreviewText(*m_richText)
                                       : MacroProcessor::previewText(m_plainText);
}

QList<CategoryEntity*> SnippetEditorModel::categories() const
{
    return m_store->fetchCategories(PersistenceController::Filter::all,
                                    PersistenceController::CategoryOrder::sortOrderAscending);
}

void SnippetEditorModel::save()
{
    if (!m_snippet || !m_store->contains(m_snippet))
        return;
    const QDateTime now = m_clock();
    m_snippet->setTitle(m_title.isEmpty() ? std::nullopt : std::optional(m_title));
    m_snippet->setAbbreviation(m_abbreviation);
    m_snippet->setCategory(m_category);
    m_snippet->setUpdatedAt(now);
    if (m_mode == ContentMode::plain) {
        m_snippet->setExpandedText(m_plainText);
        m_snippet->setExpandedTextRTF(std::nullopt);
    } else {
        m_snippet->setAttributedText(*m_richText, now);
    }
    m_snippet->setRichText(m_mode == ContentMode::rich);
    m_snippet->setCodeSnippet(false);
    m_store->save();
    if (m_state)
        m_state->setDirty(false);
}

QString SnippetEditorModel::fillInToken(const QString& label)
{
    return u"{fill:"_s + (label.isEmpty() ? u"Value"_s : label) + u'}';
}

QString SnippetEditorModel::nestedSnippetToken(const QString& abbreviation)
{
    return u"{snippet:"_s + abbreviation + u'}';
}

QList<SnippetEditorModel::Suggestion> SnippetEditorModel::nestSuggestions(const QString& input,
                                                                          int limit) const
{
    const QString needle = TextRules::trimSpacesAndTabs(input).toLower();
    QList<Suggestion> out;
    QStringList seen;
    for (const SnippetEntity* s : m_all) {
        const QString abbreviation = s->abbreviation().value_or(QString());
        if (abbreviation.isEmpty() || seen.contains(abbreviation) ||
            !abbreviation.toLower().contains(needle))
            continue;
        seen << abbreviation;
        out.append({abbreviation, abbreviation.toLower() == needle});
        if (out.size() >= limit)
            break;
    }
    return out;
}

#include "library/AbbreviationConflict.h"

#include "library/SnippetEntity.h"
#include "text/TextRules.h"

#include <algorithm>

namespace {

// Both in canonical form. A prefix must end on a character boundary, so "e" does not start
// "e" + combining acute: the keystroke matcher would never confuse the two either.
bool startsWithCharacters(const QString& text, const QString& prefix)
{
    if (!text.startsWith(prefix))
        return false;
    if (text.size() == prefix.size())
        return true;
    const std::vector<qsizetype> boundaries = TextRules::characterBoundaries(text);
    return std::binary_search(boundaries.cbegin(), boundaries.cend(), prefix.size());
}

} // namespace

AbbreviationConflict abbreviationConflict(const QString& typed, const QList<SnippetEntity*>& among,
                                          const SnippetEntity* excluding)
{
    // Canonically equivalent spellings are the same trigger for the matcher, so they are
    // compared in one form; case still counts.
    const QString mine = TextRules::canonicalForm(TextRules::trimSpacesAndTabs(typed));
    if (mine.isEmpty())
        return {};
    for (SnippetEntity* snippet : among) {
        if (snippet == excluding || !snippet->abbreviation())
            continue;
        const QString theirs =
            TextRules::canonicalForm(TextRules::trimSpacesAndTabs(*snippet->abbreviation()));
        if (theirs.isEmpty())
            continue;
        if (theirs == mine)
            return AbbreviationConflict::duplicate(snippet);
        if (startsWithCharacters(mine, theirs) || startsWithCharacters(theirs, mine))
            return AbbreviationConflict::prefixClash(snippet);
    }
    return {};
}

QColor ConflictWarning::color() const
{
    // The system orange and red of the design's light appearance.
    switch (tint) {
    case Tint::orange:
        return QColor(0xFF, 0x95, 0x00);
    case Tint::red:
        return QColor(0xFF, 0x3B, 0x30);
    }
    return {};
}

std::optional<ConflictWarning> conflictWarning(const AbbreviationConflict& conflict)
{
    const SnippetEntity* other = conflict.other();
    if (conflict.isNone() || !other)
        return std::nullopt;
    if (conflict.kind() == AbbreviationConflict::Kind::duplicate) {
        return ConflictWarning{QStringLiteral("xmark.circle.fill"), ConflictWarning::Tint::red,
                               u"Already used by \"" + other->displayTitle() + u'"'};
    }
    // Quoted as stored, blanks and all, so the user sees exactly what the other snippet holds.
    return ConflictWarning{QStringLiteral("exclamationmark.triangle.fill"),
                           ConflictWarning::Tint::orange,
                           u"Conflicts with \"" + other->abbreviation().value_or(QString()) +
                               u"\" \u2014 one will always expand first"};
}

#include "models/TrashTexts.h"

#include "models/RelativeTime.h"

using namespace Qt::StringLiterals;

namespace TrashTexts {

QString selectionSummary(qsizetype snippets, qsizetype categories)
{
    QStringList parts;
    if (snippets > 0)
        parts << LibraryTexts::snippetCount(snippets);
    if (categories > 0)
        parts << QString::number(categories) +
                     (categories == 1 ? u" category"_s : u" categories"_s);
    return parts.join(u" and "_s);
}

QString selectionHeader(qsizetype snippets, qsizetype categories)
{
    return selectionSummary(snippets, categories) + u" selected"_s;
}

LibraryTexts::Question deleteAllQuestion(qsizetype snippets, qsizetype categories)
{
    return {u"Delete "_s + selectionSummary(snippets, categories) + u" Permanently?"_s,
            u"This cannot be undone."_s, u"Delete Permanently"_s};
}

LibraryTexts::Question deleteQuestion(qsizetype snippets, qsizetype categories)
{
    LibraryTexts::Question question = deleteAllQuestion(snippets, categories);
    if (snippets + categories == 1)
        question.title = u"Delete Permanently?"_s;
    return question;
}

QString deletedPhrase(const QDateTime& trashedAt, const QDateTime& now, const QString& localeId)
{
    return u"Deleted "_s + RelativeTime::named(trashedAt, now, localeId);
}

QString categoryContents(qsizetype snippets)
{
    return snippets == 0 ? u"This category contained no snippets."_s
                         : LibraryTexts::snippetCount(snippets) + u" will be restored"_s;
}

Badge daysRemainingBadge(int daysRemaining)
{
    const BadgeTone tone = daysRemaining <= 3   ? BadgeTone::urgent
                           : daysRemaining <= 7 ? BadgeTone::soon
                                                : BadgeTone::distant;
    if (daysRemaining <= 0)
        return {u"Today"_s, tone, u"Last day"_s};
    return {QString::number(daysRemaining) + u'd', tone,
            QString::number(daysRemaining) +
                (daysRemaining == 1 ? u" day left"_s : u" days left"_s)};
}

} // namespace TrashTexts

#include "models/TrashTexts.h"

#include "models/RelativeTime.h"

#include <QCoreApplication>

namespace TrashTexts {

QString selectionSummary(qsizetype snippets, qsizetype categories)
{
    const QString snippetPart = LibraryTexts::snippetCount(snippets);
    const QString categoryPart =
        categories == 1
            ? QCoreApplication::translate("TrashTexts", "1 category")
            : QCoreApplication::translate("TrashTexts", "%1 categories").arg(categories);
    if (snippets > 0 && categories > 0)
        return QCoreApplication::translate("TrashTexts", "%1 and %2")
            .arg(snippetPart, categoryPart);
    if (snippets > 0)
        return snippetPart;
    return categories > 0 ? categoryPart : QString();
}

QString selectionHeader(qsizetype snippets, qsizetype categories)
{
    return QCoreApplication::translate("TrashTexts", "%1 selected")
        .arg(selectionSummary(snippets, categories));
}

LibraryTexts::Question deleteAllQuestion(qsizetype snippets, qsizetype categories)
{
    return {QCoreApplication::translate("TrashTexts", "Delete %1 Permanently?")
                .arg(selectionSummary(snippets, categories)),
            QCoreApplication::translate("TrashTexts", "This cannot be undone."),
            QCoreApplication::translate("TrashTexts", "Delete Permanently")};
}

LibraryTexts::Question deleteQuestion(qsizetype snippets, qsizetype categories)
{
    LibraryTexts::Question question = deleteAllQuestion(snippets, categories);
    if (snippets + categories == 1)
        question.title = QCoreApplication::translate("TrashTexts", "Delete Permanently?");
    return question;
}

QString deletedPhrase(const QDateTime& trashedAt, const QDateTime& now, const QString& localeId)
{
    return QCoreApplication::translate("TrashTexts", "Deleted %1")
        .arg(RelativeTime::named(trashedAt, now, localeId));
}

QString categoryContents(qsizetype snippets)
{
    return snippets == 0
               ? QCoreApplication::translate("TrashTexts", "This category contained no snippets.")
               : QCoreApplication::translate("TrashTexts", "%1 will be restored")
                     .arg(LibraryTexts::snippetCount(snippets));
}

Badge daysRemainingBadge(int daysRemaining)
{
    const BadgeTone tone = daysRemaining <= 3   ? BadgeTone::urgent
                           : daysRemaining <= 7 ? BadgeTone::soon
                                                : BadgeTone::distant;
    if (daysRemaining <= 0)
        return {QCoreApplication::translate("TrashTexts", "Today"), tone,
                QCoreApplication::translate("TrashTexts", "Last day")};
    //: The days left, abbreviated to fit the badge: "12d".
    return {QCoreApplication::translate("TrashTexts", "%1d").arg(daysRemaining), tone,
            daysRemaining == 1
                ? QCoreApplication::translate("TrashTexts", "1 day left")
                : QCoreApplication::translate("TrashTexts", "%1 days left").arg(daysRemaining)};
}

} // namespace TrashTexts

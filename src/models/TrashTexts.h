#pragma once

#include "models/LibraryTexts.h"

#include <QDateTime>
#include <QString>

// Recently Deleted's counted texts, questions and badge rule.
namespace TrashTexts {

// "2 snippets and 1 category": the parts that apply.
QString selectionSummary(qsizetype snippets, qsizetype categories);
// The bulk panel's header: "2 snippets and 1 category selected".
QString selectionHeader(qsizetype snippets, qsizetype categories);
// The list's Delete key: one item is "Delete Permanently?", several are counted.
LibraryTexts::Question deleteQuestion(qsizetype snippets, qsizetype categories);
// The bulk panel's "Delete All Permanently": always counted.
LibraryTexts::Question deleteAllQuestion(qsizetype snippets, qsizetype categories);

// "Deleted yesterday", "Deleted 3 days ago", in the user's locale unless `localeId` says.
QString deletedPhrase(const QDateTime& trashedAt, const QDateTime& now,
                      const QString& localeId = {});
// A trashed category's detail: "3 snippets will be restored", or that it held none.
QString categoryContents(qsizetype snippets);

enum class BadgeTone {
    urgent,  // 3 days or fewer: red
    soon,    // 4 to 7 days: orange
    distant, // more: the secondary colour
};
struct Badge {
    QString text; // "12d", "Today"
    BadgeTone tone;
    QString spoken; // for screen readers: "12 days left"
};
Badge daysRemainingBadge(int daysRemaining);

} // namespace TrashTexts

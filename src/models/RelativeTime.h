#pragma once

#include <QDateTime>
#include <QString>

// Relative phrases in the user's locale through ICU, in the largest whole unit. `localeId` as
// ICU takes it ("de_DE"); empty: the environment's.
namespace RelativeTime {

// Abbreviated and always numeric: "2 hr. ago", "vor 2 Std.".
QString abbreviated(const QDateTime& then, const QDateTime& now, const QString& localeId = {});
// Wide, with the locale's names where it has them: "3 days ago", "yesterday", "gestern". For
// the middle of a sentence ("Deleted yesterday").
QString named(const QDateTime& then, const QDateTime& now, const QString& localeId = {});

} // namespace RelativeTime

#pragma once

#include <QDateTime>
#include <QString>

// Relative phrases in the user's locale through ICU ("2 hr. ago", "vor 2 Std."): the largest
// whole unit, abbreviated. `localeId` as ICU takes it ("de_DE"); empty: the environment's.
namespace RelativeTime {

QString abbreviated(const QDateTime& then, const QDateTime& now, const QString& localeId = {});

} // namespace RelativeTime

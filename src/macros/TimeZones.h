#pragma once

// Internal to the macro processor: the time zones that dates and times are rendered in.

#include <QString>
#include <memory>
#include <unicode/timezone.h>

namespace TimeZones {

// The zone a TZ value names, as the C library reads it: a POSIX rule ("JST-9",
// "CET-1CEST,M3.5.0,M10.5.0/3", "<+0330>-3:30"), else a zone name, with or without a leading
// ":" or a path into the zone database. Anything else is UTC, as for the C library.
std::unique_ptr<icu::TimeZone> create(const QString& spec);

// The zone name of TZ or of the system's files; see MacroProcessor::systemTimeZone.
QString systemZone(const QString& localtimePath, const QString& timezonePath);

} // namespace TimeZones

#include "models/RelativeTime.h"

#include "macros/MacroProcessor.h"

#include <memory>
#include <unicode/locid.h>
#include <unicode/reldatefmt.h>
#include <unicode/unistr.h>

namespace RelativeTime {

QString abbreviated(const QDateTime& then, const QDateTime& now, const QString& localeId)
{
    const qint64 seconds = then.secsTo(now);
    const qint64 magnitude = seconds < 0 ? -seconds : seconds;
    struct Step {
        qint64 seconds;
        URelativeDateTimeUnit unit;
    };
    // The largest unit that fits at least once; months and years by their average length.
    static constexpr Step steps[] = {
        {365 * 86400, UDAT_REL_UNIT_YEAR}, {30 * 86400, UDAT_REL_UNIT_MONTH},
        {7 * 86400, UDAT_REL_UNIT_WEEK},   {86400, UDAT_REL_UNIT_DAY},
        {3600, UDAT_REL_UNIT_HOUR},        {60, UDAT_REL_UNIT_MINUTE},
        {1, UDAT_REL_UNIT_SECOND}};
    Step chosen = steps[std::size(steps) - 1];
    for (const Step& step : steps) {
        if (magnitude >= step.seconds) {
            chosen = step;
            break;
        }
    }
    const double count = double(magnitude / chosen.seconds);
    const QString id = localeId.isEmpty() ? MacroProcessor::userLocaleId() : localeId;
    UErrorCode status = U_ZERO_ERROR;
    // One formatter per locale and thread: building one costs far more than formatting.
    thread_local QString cachedId;
    thread_local std::unique_ptr<icu::RelativeDateTimeFormatter> formatter;
    if (!formatter || cachedId != id) {
        formatter = std::make_unique<icu::RelativeDateTimeFormatter>(
            icu::Locale::createFromName(id.toLatin1().constData()), nullptr, UDAT_STYLE_SHORT,
            UDISPCTX_CAPITALIZATION_NONE, status);
        cachedId = id;
        if (U_FAILURE(status)) {
            formatter.reset();
            return QString();
        }
    }
    icu::UnicodeString text;
    formatter->formatNumeric(seconds < 0 ? count : -count, chosen.unit, text, status);
    if (U_FAILURE(status))
        return QString();
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}

} // namespace RelativeTime

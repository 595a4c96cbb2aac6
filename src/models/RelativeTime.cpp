#include "models/RelativeTime.h"

#include "macros/MacroProcessor.h"

#include <memory>
#include <unicode/locid.h>
#include <unicode/reldatefmt.h>
#include <unicode/unistr.h>

namespace RelativeTime {

namespace {

struct Amount {
    double count; // whole units, negative in the past
    URelativeDateTimeUnit unit;
};

Amount amountBetween(const QDateTime& then, const QDateTime& now)
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
    return {seconds < 0 ? count : -count, chosen.unit};
}

// One formatter per style, locale and thread: building one costs far more than formatting.
icu::RelativeDateTimeFormatter* formatter(UDateRelativeDateTimeFormatterStyle style,
                                          UDisplayContext capitalization, const QString& localeId)
{
    struct Cached {
        QString id;
        std::unique_ptr<icu::RelativeDateTimeFormatter> formatter;
    };
    thread_local Cached cache[UDAT_STYLE_COUNT];
    Cached& cached = cache[style];
    const QString id = localeId.isEmpty() ? MacroProcessor::userLocaleId() : localeId;
    if (!cached.formatter || cached.id != id) {
        UErrorCode status = U_ZERO_ERROR;
        cached.formatter = std::make_unique<icu::RelativeDateTimeFormatter>(
            icu::Locale::createFromName(id.toLatin1().constData()), nullptr, style, capitalization,
            status);
        cached.id = id;
        if (U_FAILURE(status))
            cached.formatter.reset();
    }
    return cached.formatter.get();
}

QString toQString(const icu::UnicodeString& text)
{
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}

} // namespace

QString abbreviated(const QDateTime& then, const QDateTime& now, const QString& localeId)
{
    icu::RelativeDateTimeFormatter* f =
        formatter(UDAT_STYLE_SHORT, UDISPCTX_CAPITALIZATION_NONE, localeId);
    if (!f)
        return QString();
    const Amount amount = amountBetween(then, now);
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString text;
    f->formatNumeric(amount.count, amount.unit, text, status);
    return U_FAILURE(status) ? QString() : toQString(text);
}

QString named(const QDateTime& then, const QDateTime& now, const QString& localeId)
{
    icu::RelativeDateTimeFormatter* f =
        formatter(UDAT_STYLE_LONG, UDISPCTX_CAPITALIZATION_FOR_MIDDLE_OF_SENTENCE, localeId);
    if (!f)
        return QString();
    const Amount amount = amountBetween(then, now);
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString text;
    // format() rather than formatNumeric(): it says "yesterday" where the locale has a name.
    f->format(amount.count, amount.unit, text, status);
    return U_FAILURE(status) ? QString() : toQString(text);
}

} // namespace RelativeTime

#include "macros/TimeZones.h"

#include <QFile>
#include <array>
#include <optional>
#include <unicode/simpletz.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int32_t millisPerDay = 24 * 3600 * 1000;

// One end of summer time: a day rule and the local time of the change.
struct Transition {
    int8_t month = 0;     // 0-based, as ICU counts
    int8_t day = 0;       // week in month (-1 last), or day of month when dayOfWeek is 0
    int8_t dayOfWeek = 0; // 1 Sunday .. 7 Saturday; 0: day is a day of month
    int32_t time = 2 * 3600 * 1000;
};

// Reads a POSIX TZ rule: std offset [dst [offset] [,start[/time],end[/time]]].
class PosixRule {
public:
    explicit PosixRule(QStringView text) : m_text(text) {}

    std::unique_ptr<icu::TimeZone> parse(const icu::UnicodeString& id);

private:
    bool take(QChar c)
    {
        if (m_pos < m_text.size() && m_text[m_pos] == c) {
            ++m_pos;
            return true;
        }
        return false;
    }
    std::optional<int> number(int maxDigits, int max);
    bool name();
    std::optional<int> seconds(int maxHours);
    std::optional<Transition> transition();

    QStringView m_text;
    qsizetype m_pos = 0;
};

std::optional<int> PosixRule::number(int maxDigits, int max)
{
    int value = 0;
    int digits = 0;
    while (digits < maxDigits && m_pos < m_text.size() && m_text[m_pos].isDigit() &&
           m_text[m_pos].unicode() < 0x80) {
        value = value * 10 + (m_text[m_pos].unicode() - u'0');
        ++m_pos;
        ++digits;
    }
    if (digits == 0 || value > max)
        return std::nullopt;
    return value;
}

// An abbreviation: three or more letters, or anything but ">" between "<" and ">".
bool PosixRule::name()
{
    const qsizetype start = m_pos;
    if (take(u'<')) {
        while (m_pos < m_text.size() && m_text[m_pos] != u'>')
            ++m_pos;
        return m_pos - start > 1 && take(u'>');
    }
    while (m_pos < m_text.size() && m_text[m_pos].unicode() < 0x80 && m_text[m_pos].isLetter())
        ++m_pos;
    return m_pos - start >= 3;
}

// [+|-]hh[:mm[:ss]] in seconds, positive west of Greenwich as POSIX counts.
std::optional<int> PosixRule::seconds(int maxHours)
{
    int sign = 1;
    if (take(u'-'))
        sign = -1;
    else
        take(u'+');
    const std::optional<int> hours = number(3, maxHours);
    if (!hours)
        return std::nullopt;
    int total = *hours * 3600;
    for (const int unit : {60, 1}) {
        if (!take(u':'))
            break;
        const std::optional<int> part = number(2, 59);
        if (!part)
            return std::nullopt;
        total += *part * unit;
    }
    return sign * total;
}

std::optional<Transition> PosixRule::transition()
{
    static constexpr std::array<int, 12> monthDays = {31, 28, 31, 30, 31, 30,
                                                      31, 31, 30, 31, 30, 31};
    Transition t;
    if (take(u'M')) {
        const int month = number(2, 12).value_or(0);
        const int week = take(u'.') ? number(1, 5).value_or(0) : 0;
        const int weekday = take(u'.') ? number(1, 6).value_or(-1) : -1;
        if (month < 1 || week < 1 || weekday < 0)
            return std::nullopt;
        t.month = int8_t(month - 1);
        t.day = int8_t(week == 5 ? -1 : week);
        t.dayOfWeek = int8_t(weekday + 1);
    } else {
        // Jn counts 1-365 without February 29; plain n counts from 0 with it, which a fixed
        // month and day cannot follow: it is read as J(n+1), a day late after February in
        // leap years.
        const bool julian = take(u'J');
        std::optional<int> day = number(3, 365);
        if (!day || (julian && *day == 0))
            return std::nullopt;
        int remaining = julian ? *day : std::min(*day + 1, 365);
        int month = 0;
        while (remaining > monthDays[std::size_t(month)])
            remaining -= monthDays[std::size_t(month++)];
        t.month = int8_t(month);
        t.day = int8_t(remaining);
    }
    if (take(u'/')) {
        const std::optional<int> time = seconds(167);
        if (!time)
            return std::nullopt;
        // ICU takes a time within the day; rules beyond it (Greenland's -1:00) change at
        // midnight instead, an hour or two off.
        t.time = std::clamp(*time * 1000, 0, millisPerDay);
    }
    return t;
}

std::unique_ptr<icu::TimeZone> PosixRule::parse(const icu::UnicodeString& id)
{
    if (!name())
        return nullptr;
    const std::optional<int> standard = seconds(24);
    if (!standard)
        return nullptr;
    const int32_t raw = -*standard * 1000;
    if (m_pos == m_text.size())
        return std::make_unique<icu::SimpleTimeZone>(raw, id);
    if (!name())
        return nullptr;
    int summer = *standard - 3600;
    if (m_pos < m_text.size() && m_text[m_pos] != u',') {
        const std::optional<int> given = seconds(24);
        if (!given)
            return nullptr;
        summer = *given;
    }
    // Without dates the C library takes the US rules of its "posixrules" zone.
    Transition start{2, 2, 1};
    Transition end{10, 1, 1};
    if (take(u',')) {
        const std::optional<Transition> from = transition();
        const std::optional<Transition> to = take(u',') ? transition() : std::nullopt;
        if (!from || !to)
            return nullptr;
        start = *from;
        end = *to;
    }
    if (m_pos != m_text.size())
        return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    auto zone = std::make_unique<icu::SimpleTimeZone>(
        raw, id, start.month, start.day, start.dayOfWeek, start.time,
        icu::SimpleTimeZone::WALL_TIME, end.month, end.day, end.dayOfWeek, end.time,
        icu::SimpleTimeZone::WALL_TIME, (*standard - summer) * 1000, status);
    // A rule ICU cannot hold (no change of offset, say) keeps standard time all year.
    if (U_FAILURE(status))
        return std::make_unique<icu::SimpleTimeZone>(raw, id);
    return zone;
}

// "Europe/Paris" from a path into the zone database, its posix/ and right/ copies included.
QString zoneName(const QString& path)
{
    const qsizetype at = path.lastIndexOf(u"zoneinfo/"_s);
    QString name = at < 0 ? path : path.mid(at + 9);
    for (const QString& copy : {u"posix/"_s, u"right/"_s}) {
        if (name.startsWith(copy))
            name = name.mid(copy.size());
    }
    return name;
}

icu::UnicodeString toIcu(const QString& s)
{
    return icu::UnicodeString(QStringView(s).utf16(), static_cast<int32_t>(s.size()));
}

} // namespace

namespace TimeZones {

std::unique_ptr<icu::TimeZone> create(const QString& spec)
{
    const QString text = spec.startsWith(u':') ? spec.mid(1) : spec;
    // Before ICU's names: "GMT+3" is three hours west for TZ, east for ICU.
    if (std::unique_ptr<icu::TimeZone> rule = PosixRule(text).parse(toIcu(text)))
        return rule;
    std::unique_ptr<icu::TimeZone> named(icu::TimeZone::createTimeZone(toIcu(zoneName(text))));
    if (named && *named != icu::TimeZone::getUnknown())
        return named;
    return std::unique_ptr<icu::TimeZone>(icu::TimeZone::getGMT()->clone());
}

QString systemZone(const QString& localtimePath, const QString& timezonePath)
{
    if (qEnvironmentVariableIsSet("TZ")) {
        const QString tz = qEnvironmentVariable("TZ");
        if (tz.isEmpty())
            return u"UTC"_s;
        const QString text = tz.startsWith(u':') ? tz.mid(1) : tz;
        if (!text.startsWith(u'/'))
            return text;
        const QString target = QFile::symLinkTarget(text);
        return zoneName(target.contains(u"zoneinfo/"_s) ? target : text);
    }
    const QString target = QFile::symLinkTarget(localtimePath);
    if (target.contains(u"zoneinfo/"_s))
        return zoneName(target);
    QFile named(timezonePath);
    if (named.open(QIODevice::ReadOnly))
        return QString::fromUtf8(named.readLine(256)).trimmed();
    return QString();
}

} // namespace TimeZones

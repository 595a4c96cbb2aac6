#include "sync/HybridClock.h"

#include <algorithm>

namespace scrivlane::sync {

namespace {
// Beyond this a counter would mean billions of changes in one millisecond: the text is
// damaged, not the clock.
constexpr quint32 kMaxCounter = 0xFFFFFF;
} // namespace

QString HlcStamp::toString() const
{
    return QStringLiteral("%1-%2-%3")
        .arg(wallMs, 13, 10, QLatin1Char('0'))
        .arg(counter, 6, 16, QLatin1Char('0'))
        .arg(device);
}

std::optional<HlcStamp> HlcStamp::parse(QStringView text)
{
    const qsizetype first = text.indexOf(u'-');
    const qsizetype second = first < 0 ? -1 : text.indexOf(u'-', first + 1);
    if (first <= 0 || second < 0 || second == text.size() - 1)
        return std::nullopt;
    bool wallOk = false;
    bool counterOk = false;
    HlcStamp stamp;
    stamp.wallMs = text.first(first).toLongLong(&wallOk);
    const QStringView counter = text.sliced(first + 1, second - first - 1);
    stamp.counter = counter.toUInt(&counterOk, 16);
    stamp.device = text.sliced(second + 1).toString();
    if (!wallOk || stamp.wallMs < 0 || !counterOk || counter.isEmpty() ||
        stamp.counter > kMaxCounter)
        return std::nullopt;
    return stamp;
}

HybridClock::HybridClock(QString device, WallClock wallClock) : m_wallClock(std::move(wallClock))
{
    m_last.device = std::move(device);
}

HlcStamp HybridClock::tick()
{
    const qint64 now = m_wallClock();
    if (now > m_last.wallMs) {
        m_last.wallMs = now;
        m_last.counter = 0;
    } else {
        ++m_last.counter;
    }
    return m_last;
}

void HybridClock::observe(const HlcStamp& remote)
{
    const qint64 now = m_wallClock();
    const qint64 wall = std::max({m_last.wallMs, remote.wallMs, now});
    if (wall == m_last.wallMs && wall == remote.wallMs)
        m_last.counter = std::max(m_last.counter, remote.counter) + 1;
    else if (wall == m_last.wallMs)
        ++m_last.counter;
    else if (wall == remote.wallMs)
        m_last.counter = remote.counter + 1;
    else
        m_last.counter = 0;
    m_last.wallMs = wall;
}

} // namespace scrivlane::sync

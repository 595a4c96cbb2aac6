#pragma once

#include <QString>
#include <QStringView>
#include <compare>
#include <functional>
#include <optional>

namespace scrivlane::sync {

// A point on the hybrid logical clock: wall milliseconds, a counter for events within one
// millisecond (or while the wall clock lags), and the device as the last tie-break. Two
// stamps from different devices never compare equal, so "the later change wins" always
// picks the same winner on every computer.
struct HlcStamp {
    qint64 wallMs = 0;
    quint32 counter = 0;
    QString device;

    friend std::strong_ordering operator<=>(const HlcStamp& a, const HlcStamp& b)
    {
        if (auto c = a.wallMs <=> b.wallMs; c != 0)
            return c;
        if (auto c = a.counter <=> b.counter; c != 0)
            return c;
        const int d = a.device.compare(b.device);
        return d < 0 ? std::strong_ordering::less
                     : (d > 0 ? std::strong_ordering::greater : std::strong_ordering::equal);
    }
    friend bool operator==(const HlcStamp& a, const HlcStamp& b) = default;

    bool isNull() const { return device.isEmpty(); }
    // "<wall ms, 13 digits>-<counter, 6 hex digits>-<device>": sorts as text the way it
    // sorts as a stamp, which keeps the journal readable by eye.
    QString toString() const;
    static std::optional<HlcStamp> parse(QStringView text);
};

// Hands out stamps that always move forward, even when the wall clock steps back or
// another computer's clock runs ahead.
class HybridClock {
public:
    using WallClock = std::function<qint64()>;

    HybridClock(QString device, WallClock wallClock);

    // A stamp for a change made here.
    HlcStamp tick();
    // Takes in a stamp read from another device, so the next local stamp is later than it.
    void observe(const HlcStamp& remote);

    const HlcStamp& last() const { return m_last; }

private:
    WallClock m_wallClock;
    HlcStamp m_last;
};

} // namespace scrivlane::sync

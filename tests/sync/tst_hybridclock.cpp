#include "sync/HybridClock.h"

#include <QTest>

using namespace Qt::StringLiterals;
using scrivlane::sync::HlcStamp;
using scrivlane::sync::HybridClock;

class TestHybridClock : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // The wall clock as a list of readings, one per call; every stamp must be later than the
    // one before, whatever the clock does.
    void ticksAlwaysMoveForward_data()
    {
        QTest::addColumn<QList<qint64>>("readings");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("steady") << QList<qint64>{100, 200, 300}
                                << QStringList{u"100/0"_s, u"200/0"_s, u"300/0"_s};
        QTest::newRow("same millisecond")
            << QList<qint64>{100, 100, 100} << QStringList{u"100/0"_s, u"100/1"_s, u"100/2"_s};
        QTest::newRow("clock stepped back")
            << QList<qint64>{500, 90, 95, 600}
            << QStringList{u"500/0"_s, u"500/1"_s, u"500/2"_s, u"600/0"_s};
    }
    void ticksAlwaysMoveForward()
    {
        QFETCH(QList<qint64>, readings);
        QFETCH(QStringList, expected);
        qsizetype next = 0;
        HybridClock clock(u"a"_s, [&] { return readings.at(next++); });
        QStringList got;
        for (qsizetype i = 0; i < readings.size(); ++i) {
            const HlcStamp stamp = clock.tick();
            got << u"%1/%2"_s.arg(stamp.wallMs).arg(stamp.counter);
        }
        QCOMPARE(got, expected);
    }

    // After seeing another device's stamp, the next local change sorts after it, even when
    // the other computer's clock runs far ahead of ours.
    void observedStampsAreOvertaken_data()
    {
        QTest::addColumn<qint64>("localWall");
        QTest::addColumn<qint64>("remoteWall");
        QTest::addColumn<quint32>("remoteCounter");
        QTest::newRow("remote ahead") << qint64(100) << qint64(10'000) << quint32(4);
        QTest::newRow("remote behind") << qint64(10'000) << qint64(100) << quint32(9);
        QTest::newRow("same millisecond") << qint64(500) << qint64(500) << quint32(7);
    }
    void observedStampsAreOvertaken()
    {
        QFETCH(qint64, localWall);
        QFETCH(qint64, remoteWall);
        QFETCH(quint32, remoteCounter);
        HybridClock clock(u"b"_s, [&] { return localWall; });
        const HlcStamp before = clock.tick();
        const HlcStamp remote{remoteWall, remoteCounter, u"a"_s};
        clock.observe(remote);
        const HlcStamp after = clock.tick();
        QVERIFY(after > remote);
        QVERIFY(after > before);
    }

    void deviceBreaksTies()
    {
        const HlcStamp a{100, 3, u"alpha"_s};
        const HlcStamp b{100, 3, u"beta"_s};
        QVERIFY(a < b);
        QVERIFY(a != b);
        QVERIFY((HlcStamp{101, 0, u"alpha"_s}) > b);
    }

    void textRoundTripsAndSortsLikeStamps()
    {
        const QList<HlcStamp> stamps{
            {5, 0, u"z"_s}, {5, 1, u"a"_s}, {1'790'000'000'000, 0xabc, u"0b6f-4e2a-9d1c"_s}};
        for (qsizetype i = 0; i < stamps.size(); ++i) {
            const QString text = stamps[i].toString();
            QCOMPARE(HlcStamp::parse(text), std::optional(stamps[i]));
            if (i > 0)
                QVERIFY(stamps[i - 1].toString() < text);
        }
    }

    void parseRejectsDamagedText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << QString();
        QTest::newRow("no device") << u"0000000000100-000001-"_s;
        QTest::newRow("no counter") << u"0000000000100--dev"_s;
        QTest::newRow("letters in wall") << u"00000000001x0-000001-dev"_s;
        QTest::newRow("negative wall") << u"-100-000001-dev"_s;
        QTest::newRow("counter too large") << u"0000000000100-1000000-dev"_s;
    }
    void parseRejectsDamagedText()
    {
        QFETCH(QString, text);
        QCOMPARE(HlcStamp::parse(text), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(TestHybridClock)
#include "tst_hybridclock.moc"

#include "sync/SyncState.h"

#include <QJsonArray>
#include <QRandomGenerator>
#include <QTest>
#include <algorithm>

using namespace Qt::StringLiterals;
using scrivlane::sync::HlcStamp;
using scrivlane::sync::HybridClock;
using scrivlane::sync::SyncState;
using Kind = SyncState::Kind;

namespace {

struct Change {
    HlcStamp stamp;
    QJsonObject body;
};

QJsonObject set(const QString& kind, const QString& id, const QJsonObject& fields)
{
    return {{u"op"_s, u"set"_s}, {u"kind"_s, kind}, {u"id"_s, id}, {u"fields"_s, fields}};
}

QJsonObject remove(const QString& kind, const QString& id)
{
    return {{u"op"_s, u"delete"_s}, {u"kind"_s, kind}, {u"id"_s, id}};
}

HlcStamp at(qint64 wall, const QString& device = u"a"_s)
{
    return {wall, 0, device};
}

// Three computers making random changes to a small shared library, each now and then
// hearing of the others' changes as a sync tool would deliver them.
QList<Change> randomHistory(quint32 seed, int count)
{
    QRandomGenerator random(seed);
    qint64 wall = 1'000;
    QList<HybridClock> clocks;
    for (const QString& device : {u"dev-a"_s, u"dev-b"_s, u"dev-c"_s})
        // Each machine's clock is off by up to a minute, some of them backwards.
        clocks.append(HybridClock(
            device, [&wall, skew = random.bounded(-60'000, 60'000)] { return wall + skew; }));
    const QStringList snippets{u"s1"_s, u"s2"_s, u"s3"_s, u"s4"_s};
    const QStringList categories{u"c1"_s, u"c2"_s};
    QList<Change> history;
    for (int i = 0; i < count; ++i) {
        wall += random.bounded(0, 3);
        HybridClock& clock = clocks[random.bounded(3)];
        if (!history.isEmpty() && random.bounded(4) == 0)
            clock.observe(history.at(random.bounded(history.size())).stamp);
        const QString snippet = snippets.at(random.bounded(snippets.size()));
        const QString category = categories.at(random.bounded(categories.size()));
        QJsonObject body;
        switch (random.bounded(7)) {
        case 0:
            body = set(u"snippet"_s, snippet,
                       {{u"title"_s, u"t%1"_s.arg(i)}, {u"abbreviation"_s, u"a%1"_s.arg(i)}});
            break;
        case 1:
            body = set(u"snippet"_s, snippet, {{u"category"_s, category}});
            break;
        case 2:
            body = set(u"snippet"_s, snippet, {{u"trashedAt"_s, u"2026-11-23T10:00:00Z"_s}});
            break;
        case 3:
            body = set(u"snippet"_s, snippet, {{u"trashedAt"_s, QJsonValue::Null}});
            break;
        case 4:
            body = remove(u"snippet"_s, snippet);
            break;
        case 5:
            body = set(u"category"_s, category, {{u"name"_s, u"n%1"_s.arg(i)}});
            break;
        default:
            body = remove(u"category"_s, category);
            break;
        }
        history.append({clock.tick(), body});
    }
    return history;
}

} // namespace

class TestSyncState : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Whatever order the changes arrive in, however often, and whether part of them comes
    // as a snapshot, every computer ends with the same library.
    void convergesWhateverTheDelivery_data()
    {
        QTest::addColumn<quint32>("seed");
        for (const quint32 seed : {1u, 7u, 42u, 1999u, 20261123u})
            QTest::addRow("seed %u", seed) << seed;
    }
    void convergesWhateverTheDelivery()
    {
        QFETCH(quint32, seed);
        const QList<Change> history = randomHistory(seed, 300);
        SyncState inOrder;
        for (const Change& change : history)
            QVERIFY(inOrder.apply(change.stamp, change.body));

        QRandomGenerator random(seed ^ 0x5eed);
        for (int replica = 0; replica < 4; ++replica) {
            QList<Change> delivery = history;
            // Resent and conflict-copied entries.
            for (int i = 0; i < 40; ++i)
                delivery.append(history.at(random.bounded(history.size())));
            std::shuffle(delivery.begin(), delivery.end(), random);
            SyncState state;
            const qsizetype half = delivery.size() / 2;
            for (qsizetype i = 0; i < half; ++i)
                state.apply(delivery[i].stamp, delivery[i].body);
            if (replica % 2 == 1) {
                // Compacted into a snapshot and read back on a fresh start.
                SyncState restarted;
                for (const auto& [stamp, change] : state.compacted())
                    QVERIFY(restarted.apply(stamp, change));
                QVERIFY(restarted == state);
                state = restarted;
            }
            for (qsizetype i = half; i < delivery.size(); ++i)
                state.apply(delivery[i].stamp, delivery[i].body);
            QVERIFY(state == inOrder);
            QCOMPARE(state.visible(Kind::Snippet), inOrder.visible(Kind::Snippet));
            QCOMPARE(state.visible(Kind::Category), inOrder.visible(Kind::Category));
            QCOMPARE(state.latest(), inOrder.latest());
        }
    }

    void laterChangeWins_data()
    {
        QTest::addColumn<QList<int>>("order");
        QTest::newRow("in order") << QList<int>{0, 1};
        QTest::newRow("reversed") << QList<int>{1, 0};
    }
    void laterChangeWins()
    {
        QFETCH(QList<int>, order);
        const QList<Change> changes{
            {at(100, u"b"_s), set(u"snippet"_s, u"s"_s, {{u"title"_s, u"old"_s}})},
            {at(100, u"c"_s), set(u"snippet"_s, u"s"_s, {{u"title"_s, u"new"_s}})}};
        SyncState state;
        for (const int i : order)
            state.apply(changes[i].stamp, changes[i].body);
        QCOMPARE(state.visible(Kind::Snippet).value(u"s"_s).value(u"title"_s).toString(), u"new"_s);
    }

    void deletesAgainstEdits_data()
    {
        QTest::addColumn<qint64>("editAt");
        QTest::addColumn<bool>("shown");
        QTest::newRow("edit before the delete") << qint64(150) << false;
        QTest::newRow("edit after the delete brings it back") << qint64(250) << true;
    }
    void deletesAgainstEdits()
    {
        QFETCH(qint64, editAt);
        QFETCH(bool, shown);
        SyncState state;
        state.apply(at(100), set(u"snippet"_s, u"s"_s,
                                 {{u"title"_s, u"T"_s}, {u"abbreviation"_s, u"ab"_s}}));
        state.apply(at(200, u"b"_s), remove(u"snippet"_s, u"s"_s));
        state.apply(at(editAt, u"c"_s), set(u"snippet"_s, u"s"_s, {{u"title"_s, u"T2"_s}}));
        QCOMPARE(state.isVisible(Kind::Snippet, u"s"_s), shown);
        if (shown) // the whole record, not only the edited field
            QCOMPARE(state.visible(Kind::Snippet).value(u"s"_s).value(u"abbreviation"_s),
                     QJsonValue(u"ab"_s));
    }

    void snippetInADeletedCategoryHasNone()
    {
        SyncState state;
        state.apply(at(100), set(u"category"_s, u"c"_s, {{u"name"_s, u"Work"_s}}));
        state.apply(at(200, u"b"_s), remove(u"category"_s, u"c"_s));
        state.apply(at(150, u"c"_s), set(u"snippet"_s, u"s"_s, {{u"category"_s, u"c"_s}}));
        QVERIFY(state.visible(Kind::Category).isEmpty());
        QCOMPARE(state.visible(Kind::Snippet).value(u"s"_s).value(u"category"_s),
                 QJsonValue(QJsonValue::Null));
    }

    void unreadableInputChangesNothing_data()
    {
        QTest::addColumn<QJsonObject>("change");
        QTest::newRow("unknown op")
            << QJsonObject{{u"op"_s, u"rename"_s}, {u"kind"_s, u"snippet"_s}, {u"id"_s, u"s"_s}};
        QTest::newRow("unknown kind") << set(u"folder"_s, u"s"_s, {});
        QTest::newRow("no id") << set(u"snippet"_s, QString(), {{u"title"_s, u"x"_s}});
        QTest::newRow("fields not an object") << QJsonObject{{u"op"_s, u"set"_s},
                                                             {u"kind"_s, u"snippet"_s},
                                                             {u"id"_s, u"s"_s},
                                                             {u"fields"_s, QJsonArray{1}}};
    }
    void unreadableInputChangesNothing()
    {
        QFETCH(QJsonObject, change);
        SyncState state;
        state.apply(at(1), set(u"snippet"_s, u"s"_s, {{u"title"_s, u"kept"_s}}));
        const SyncState before = state;
        QVERIFY(!state.apply(at(2), change));
        QVERIFY(state == before);
    }
};

QTEST_GUILESS_MAIN(TestSyncState)
#include "tst_syncstate.moc"

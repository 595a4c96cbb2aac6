#include "sync/Journal.h"
#include "sync/SyncFileNames.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace scrivlane::sync;
using Stop = JournalReadResult::Stop;

namespace {

JournalEntry entry(quint64 seq)
{
    return {seq, HlcStamp{1000 + qint64(seq), 0, u"dev-1"_s},
            QJsonObject{{u"op"_s, u"edit"_s}, {u"title"_s, u"Héllo\n%1"_s.arg(seq)}}};
}

QByteArray journal(std::initializer_list<quint64> seqs)
{
    QByteArray bytes;
    for (const quint64 seq : seqs)
        bytes += encodeJournalEntry(entry(seq));
    return bytes;
}

QList<quint64> seqsOf(const JournalReadResult& result)
{
    QList<quint64> seqs;
    for (const JournalEntry& e : result.entries)
        seqs << e.seq;
    return seqs;
}

// A complete line whose JSON is well formed and checksummed but says what we pass.
QByteArray line(const QByteArray& json)
{
    return QByteArray::number(crc32(json), 16).rightJustified(8, '0') + ' ' + json + '\n';
}

} // namespace

class TestJournal : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void roundTripsEveryField()
    {
        const JournalReadResult result = readJournal(journal({1, 2}));
        QCOMPARE(result.entries.size(), 2);
        QCOMPARE(result.entries[1].stamp, entry(2).stamp);
        QCOMPARE(result.entries[1].change, entry(2).change);
        QCOMPARE(result.damaged, 0);
        QCOMPARE(result.stop, Stop::None);
    }

    // A sync tool may hand over the file cut at any byte: only whole lines count, and
    // reading resumes from where the last whole line ended.
    void tornAtEveryByte()
    {
        const QByteArray full = journal({1, 2, 3});
        const qsizetype firstEnd = full.indexOf('\n') + 1;
        const qsizetype secondEnd = full.indexOf('\n', firstEnd) + 1;
        for (qsizetype cut = 0; cut <= full.size(); ++cut) {
            const JournalReadResult result = readJournal(full.left(cut));
            const qsizetype whole = cut >= full.size() ? 3 : cut >= secondEnd ? 2 : cut >= firstEnd;
            QCOMPARE(result.entries.size(), whole);
            QCOMPARE(result.damaged, 0);
            QCOMPARE(result.tornTail,
                     cut != full.size() && cut != firstEnd && cut != secondEnd && cut != 0);
            const JournalReadResult rest =
                readJournal(full.mid(result.consumed), result.lastInOrder);
            QCOMPARE(result.entries.size() + rest.entries.size(), 3);
        }
    }

    void damagedAndStoppingLines_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QList<quint64>>("seqs");
        QTest::addColumn<int>("damaged");
        QTest::addColumn<Stop>("stop");
        QTest::addColumn<quint64>("highest");

        QByteArray flipped = journal({1, 2, 3});
        flipped[flipped.indexOf("\n") + 30] ^= 0x20; // inside entry 2's JSON
        QTest::newRow("one entry damaged in place: skipped")
            << flipped << QList<quint64>{1, 3} << 1 << Stop::None << quint64(3);
        QTest::newRow("bad checksum digits") << journal({1}) + "zzzzzzzz " + journal({2}).mid(9)
                                             << QList<quint64>{1} << 1 << Stop::None << quint64(1);
        QTest::newRow("checksummed but not an entry")
            << journal({1}) + line(R"({"v":1,"seq":2})") + journal({3}) << QList<quint64>{1, 3} << 1
            << Stop::None << quint64(3);
        QTest::newRow("an entry missing: gap")
            << journal({1, 2, 4, 5}) << QList<quint64>{1, 2} << 0 << Stop::Gap << quint64(5);
        QTest::newRow("two damaged bridge a jump of two")
            << journal({1}) + "garbage\nmore garbage\n" + journal({4}) << QList<quint64>{1, 4} << 2
            << Stop::None << quint64(4);
        QTest::newRow("newer format stops before it")
            << journal({1}) + line(R"({"v":2,"seq":2,"hlc":"x","change":{}})") + journal({3})
            << QList<quint64>{1} << 0 << Stop::NewerFormat << quint64(1);
        QTest::newRow("repeats from a conflict copy dropped")
            << journal({1, 2}) + journal({1, 2, 3}) << QList<quint64>{1, 2, 3} << 0 << Stop::None
            << quint64(3);
        QTest::newRow("blank lines ignored")
            << "\n" + journal({1}) + "\n" + journal({2}) << QList<quint64>{1, 2} << 0 << Stop::None
            << quint64(2);
    }
    void damagedAndStoppingLines()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QList<quint64>, seqs);
        QFETCH(int, damaged);
        QFETCH(Stop, stop);
        QFETCH(quint64, highest);
        const JournalReadResult result = readJournal(bytes);
        QCOMPARE(seqsOf(result), seqs);
        QCOMPARE(result.damaged, damaged);
        QCOMPARE(result.stop, stop);
        QCOMPARE(result.lastInOrder, seqs.last());
        QCOMPARE(result.highestSeq, highest);
    }

    void resumesAfterTheLastSeen()
    {
        QCOMPARE(seqsOf(readJournal(journal({1, 2, 3, 4}), 2)), (QList<quint64>{3, 4}));
        QCOMPARE(readJournal(journal({5, 6}), 2).stop, Stop::Gap);
        // A reader that keeps its place carries on from before the gap, not past it.
        const JournalReadResult gapped = readJournal(journal({1, 2, 4, 5}));
        QCOMPARE(gapped.resumeAt, journal({1, 2}).size());
        QCOMPARE(gapped.consumed, journal({1, 2, 4, 5}).size());
    }

    void conflictCopies_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("original");
        QTest::newRow("syncthing")
            << u"dev-1.jsonl.sync-conflict-20261123-101500-ABCDEFG"_s << u"dev-1.jsonl"_s;
        QTest::newRow("syncthing with extension")
            << u"dev-1.sync-conflict-20261123-101500-ABCDEFG.jsonl"_s << u"dev-1.jsonl"_s;
        QTest::newRow("dropbox") << u"dev-1 (Anna's conflicted copy 2026-11-23).jsonl"_s
                                 << u"dev-1.jsonl"_s;
        QTest::newRow("nextcloud")
            << u"snapshot (conflicted copy 2026-11-23 101500).json"_s << u"snapshot.json"_s;
        QTest::newRow("orig") << u"dev-1.jsonl.orig"_s << u"dev-1.jsonl"_s;
        QTest::newRow("ordinary journal") << u"dev-1.jsonl"_s << QString();
        QTest::newRow("bare .orig") << u".orig"_s << QString();
        QTest::newRow("title mentioning a copy") << u"copy of dev-1.jsonl"_s << QString();
    }
    void conflictCopies()
    {
        QFETCH(QString, name);
        QFETCH(QString, original);
        QCOMPARE(conflictCopyOriginal(name).value_or(QString()), original);
    }
};

QTEST_GUILESS_MAIN(TestJournal)
#include "tst_journal.moc"

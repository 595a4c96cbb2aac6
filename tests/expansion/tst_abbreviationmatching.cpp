#include "expansion/TextExpansionService.h"
#include "support/Fakes.h"
#include "support/VirtualClock.h"
#include "text/TextRules.h"

#include <QRandomGenerator>
#include <QTest>

// The indexed matcher must agree with the plain rule it replaces: walk the list in order and
// take the first abbreviation that ends the last hundred typed characters. Random typing over
// a small alphabet full of characters that combine (accents, skin tones, flags, joiners)
// exercises what a hand-picked table would miss.
class TestAbbreviationMatching : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void agreesWithLinearScan_data();
    void agreesWithLinearScan();
};

namespace {

const QStringList alphabet = {
    u"a"_qs,      u"b"_qs,          u"e"_qs,          u"\u00E9"_qs,     u"\u0301"_qs,
    u"\u0323"_qs, u"\U0001F44D"_qs, u"\U0001F3FD"_qs, u"\U0001F1FA"_qs, u"\U0001F1F8"_qs,
    u"\u200D"_qs, u"\U0001F469"_qs, u"\u1100"_qs,     u"\u1161"_qs,     u"\u11A8"_qs,
};

QString randomText(QRandomGenerator& random, int maxKeys)
{
    QString text;
    const int keys = 1 + int(random.bounded(maxKeys));
    for (int i = 0; i < keys; ++i)
        text += alphabet.at(int(random.bounded(qsizetype(alphabet.size()))));
    return text;
}

std::optional<std::size_t> linearScan(const std::vector<SnippetRecord>& records,
                                      const QString& buffer)
{
    for (std::size_t i = 0; i < records.size(); ++i)
        if (TextRules::hasCharacterSuffix(buffer, records[i].abbreviation()))
            return i;
    return std::nullopt;
}

} // namespace

void TestAbbreviationMatching::agreesWithLinearScan_data()
{
    QTest::addColumn<quint32>("seed");
    QTest::addColumn<int>("snippetCount");
    QTest::addColumn<int>("maxAbbreviationKeys");
    QTest::newRow("few short") << 1u << 5 << 2;
    QTest::newRow("many short") << 2u << 60 << 3;
    QTest::newRow("long ones") << 3u << 20 << 8;
    QTest::newRow("dense") << 4u << 200 << 4;
}

void TestAbbreviationMatching::agreesWithLinearScan()
{
    QFETCH(quint32, seed);
    QFETCH(int, snippetCount);
    QFETCH(int, maxAbbreviationKeys);
    QRandomGenerator random(seed);

    std::vector<SnippetRecord> records;
    for (int i = 0; i < snippetCount; ++i)
        records.push_back(
            {randomText(random, maxAbbreviationKeys), QString::number(i), false, std::nullopt});

    VirtualClock scheduler;
    TextExpansionService service({&scheduler, nullptr, nullptr, nullptr});
    service.updateSnippets(records);

    // The exact lookup, too, finds the first record of equal abbreviations, and only those.
    for (std::size_t i = 0; i < records.size(); ++i) {
        const QString abbreviation = records[i].abbreviation();
        const auto first = std::find_if(records.begin(), records.end(), [&](const auto& r) {
            return r.abbreviation() == abbreviation;
        });
        QCOMPARE(service.expandedText(abbreviation), std::optional(first->expandedText()));
        QCOMPARE(service.expandedText(abbreviation + u"@"_qs), std::nullopt);
    }

    std::vector<ExpansionRequest> requests;
    connect(&service, &TextExpansionService::expansionRequested,
            [&](const ExpansionRequest& r) { requests.push_back(r); });

    QString reference;
    int matches = 0;
    for (int key = 0; key < 3000; ++key) {
        QString text = alphabet.at(int(random.bounded(qsizetype(alphabet.size()))));
        if (random.bounded(20) == 0)
            text = u"@"_qs; // a Delete now and then
        const bool isDelete = text == u"@"_qs;
        service.handleKeyDown(isDelete ? KeyEvent{VirtualKey::Delete, 0, {}}
                                       : KeyEvent{0, 0, text});

        if (isDelete) {
            reference = TextRules::droppingLastCharacter(reference);
        } else {
            reference = TextRules::lastCharacters(QString(reference + text), 100);
        }
        const std::optional<std::size_t> expected = linearScan(records, reference);
        scheduler.runAll();
        if (expected) {
            reference.clear();
            ++matches;
            QCOMPARE(requests.size(), std::size_t(matches));
            QCOMPARE(requests.back().expandedText, QString::number(qulonglong(*expected)));
            QCOMPARE(requests.back().abbreviationLength,
                     int(TextRules::characterCount(records[*expected].abbreviation())));
        } else {
            QCOMPARE(requests.size(), std::size_t(matches));
            QCOMPARE(TextRules::canonicalForm(service.typingBuffer()),
                     TextRules::canonicalForm(reference));
        }
    }
    QVERIFY(matches > 0);
}

QTEST_GUILESS_MAIN(TestAbbreviationMatching)
#include "tst_abbreviationmatching.moc"

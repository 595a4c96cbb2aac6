#include "text/SnippetTexts.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

// Random edits checked against plain optional strings kept beside them: a slot's edit must
// leave every other slot, absent or empty, exactly as it was.
class TestSnippetTexts : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void editsMatchSeparateStrings();
    void partsAreRead();
};

void TestSnippetTexts::editsMatchSeparateStrings()
{
    QRandomGenerator random(7);
    const QString samples[] = {QString(),
                               u""_s,
                               u"a"_s,
                               u"caf\u00e9 \U0001F600"_s,
                               QString(300, u'x'),
                               u"\u05E9\u05DC\u05D5\u05DD"_s};
    std::array<std::optional<QString>, SnippetTexts::slotCount> expected;
    SnippetTexts texts;
    for (int step = 0; step < 2000; ++step) {
        const auto slot = SnippetTexts::Slot(random.bounded(int(SnippetTexts::slotCount)));
        const QString& sample = samples[random.bounded(int(std::size(samples)))];
        const std::optional<QString> value =
            sample.isNull() ? std::nullopt : std::optional<QString>(sample);
        QCOMPARE(texts.sameText(slot, value), expected[slot] == value);
        const SnippetTexts before = texts; // a copy shares the buffer and must not see the edit
        texts.setText(slot, value);
        expected[slot] = value;
        for (int i = 0; i < SnippetTexts::slotCount; ++i) {
            const auto s = SnippetTexts::Slot(i);
            QCOMPARE(texts.optionalText(s), expected[std::size_t(i)]);
            QVERIFY(texts.sameText(s, expected[std::size_t(i)]));
        }
        if (before.optionalText(slot) != value)
            QVERIFY(!(before == texts));
    }
}

void TestSnippetTexts::partsAreRead()
{
    const QByteArray broken("ab\xff", 3);
    const QByteArray rtf("{\\rtf1 \xff}");
    const SnippetTexts texts =
        SnippetTexts::fromParts({QByteArrayView("T"), std::nullopt, QByteArrayView(broken),
                                 QByteArrayView(rtf), QByteArrayView("")});
    QCOMPARE(texts.optionalText(SnippetTexts::title), u"T"_s);
    QCOMPARE(texts.optionalText(SnippetTexts::abbreviation), std::nullopt);
    // Invalid UTF-8 reads as a decoder would, the RTF stays bytes, empty stays present.
    QCOMPARE(texts.optionalText(SnippetTexts::expandedText), u"ab\uFFFD"_s);
    QCOMPARE(texts.optionalBytes(SnippetTexts::expandedTextRTF), std::optional(rtf));
    QCOMPARE(texts.optionalText(SnippetTexts::codeLanguage), u""_s);
}

QTEST_APPLESS_MAIN(TestSnippetTexts)
#include "tst_snippettexts.moc"

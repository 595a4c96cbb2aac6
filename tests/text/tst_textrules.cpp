#include "support/TestText.h"
#include "text/TextRules.h"

#include <QTest>

using namespace TestText;

class TestTextRules : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void characterCount_data();
    void characterCount();
    void firstAndLast_data();
    void firstAndLast();
    void droppingLastCharacter_data();
    void droppingLastCharacter();
    void offsets_data();
    void offsets();
    void suffix_data();
    void suffix();
    void trimming_data();
    void trimming();
    void repairedUtf16_data();
    void repairedUtf16();
};

void TestTextRules::characterCount_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qsizetype>("count");
    QTest::newRow("empty") << QString() << qsizetype(0);
    QTest::newRow("ascii") << QStringLiteral("abc") << qsizetype(3);
    QTest::newRow("precomposed") << eAcuteComposed << qsizetype(1);
    QTest::newRow("combining mark") << eAcuteDecomposed << qsizetype(1);
    QTest::newRow("skin tone") << thumbsUpMedium << qsizetype(1);
    QTest::newRow("zwj family") << family << qsizetype(1);
    QTest::newRow("two flags") << flagsUsFr << qsizetype(2);
    QTest::newRow("crlf") << QStringLiteral("a\r\nb") << qsizetype(3);
    QTest::newRow("hangul jamo") << hangulJamo << qsizetype(1);
    QTest::newRow("mixed") << (QStringLiteral("x") + womanTechnologist + eAcuteDecomposed)
                           << qsizetype(3);
}

void TestTextRules::characterCount()
{
    QFETCH(QString, text);
    QFETCH(qsizetype, count);
    QCOMPARE(TextRules::characterCount(text), count);
}

void TestTextRules::firstAndLast_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qsizetype>("n");
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("last");
    const QString mixed = QStringLiteral("a") + thumbsUpMedium + eAcuteDecomposed + family;
    QTest::newRow("zero") << mixed << qsizetype(0) << QString() << QString();
    QTest::newRow("one") << mixed << qsizetype(1) << QStringLiteral("a") << family;
    QTest::newRow("two") << mixed << qsizetype(2) << (QStringLiteral("a") + thumbsUpMedium)
                         << (eAcuteDecomposed + family);
    QTest::newRow("all") << mixed << qsizetype(4) << mixed << mixed;
    QTest::newRow("more than all") << mixed << qsizetype(40) << mixed << mixed;
    QTest::newRow("empty") << QString() << qsizetype(3) << QString() << QString();
}

void TestTextRules::firstAndLast()
{
    QFETCH(QString, text);
    QFETCH(qsizetype, n);
    QFETCH(QString, first);
    QFETCH(QString, last);
    QCOMPARE(TextRules::firstCharacters(text, n), first);
    QCOMPARE(TextRules::lastCharacters(text, n), last);
}

void TestTextRules::droppingLastCharacter_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("ascii") << QStringLiteral("ab") << QStringLiteral("a");
    QTest::newRow("combining") << (QStringLiteral("x") + eAcuteDecomposed) << QStringLiteral("x");
    QTest::newRow("zwj") << (QStringLiteral("x") + family) << QStringLiteral("x");
    QTest::newRow("flags") << flagsUsFr << flagsUsFr.left(4);
}

void TestTextRules::droppingLastCharacter()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(TextRules::droppingLastCharacter(text), expected);
}

void TestTextRules::offsets_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qsizetype>("characters");
    QTest::addColumn<qsizetype>("utf16");
    const QString mixed = QStringLiteral("a") + thumbsUpMedium + eAcuteDecomposed;
    QTest::newRow("start") << mixed << qsizetype(0) << qsizetype(0);
    QTest::newRow("after ascii") << mixed << qsizetype(1) << qsizetype(1);
    QTest::newRow("after emoji") << mixed << qsizetype(2) << qsizetype(5);
    QTest::newRow("end") << mixed << qsizetype(3) << qsizetype(7);
}

void TestTextRules::offsets()
{
    QFETCH(QString, text);
    QFETCH(qsizetype, characters);
    QFETCH(qsizetype, utf16);
    QCOMPARE(TextRules::utf16OffsetAfterCharacters(text, characters), utf16);
    QCOMPARE(TextRules::characterCountBefore(text, utf16), characters);
    // An offset inside a character counts that character as begun.
    if (characters > 0 && utf16 > 1)
        QCOMPARE(TextRules::characterCountBefore(text, utf16 - 1), characters);
    const std::vector<qsizetype> boundaries = TextRules::characterBoundaries(text);
    QCOMPARE(boundaries.at(size_t(characters)), utf16);
}

void TestTextRules::suffix_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<bool>("matches");
    QTest::newRow("plain") << QStringLiteral("xsig") << QStringLiteral("sig") << true;
    QTest::newRow("whole text") << QStringLiteral("sig") << QStringLiteral("sig") << true;
    QTest::newRow("empty suffix") << QStringLiteral("abc") << QString() << true;
    QTest::newRow("longer suffix") << QStringLiteral("ig") << QStringLiteral("sig") << false;
    QTest::newRow("case differs") << QStringLiteral("Sig") << QStringLiteral("sig") << false;
    QTest::newRow("composed text, decomposed suffix")
        << (QStringLiteral("caf") + eAcuteComposed) << (QStringLiteral("f") + eAcuteDecomposed)
        << true;
    QTest::newRow("decomposed text, composed suffix")
        << (QStringLiteral("caf") + eAcuteDecomposed) << eAcuteComposed << true;
    QTest::newRow("base letter is not the accented one")
        << (QStringLiteral("caf") + eAcuteDecomposed) << QStringLiteral("e") << false;
    QTest::newRow("lone combining mark")
        << (QStringLiteral("caf") + eAcuteDecomposed) << u({0x301}) << false;
    QTest::newRow("skin tone is part of the emoji") << thumbsUpMedium << u({0x1F3FD}) << false;
    QTest::newRow("zwj sequence whole")
        << (QStringLiteral("a") + womanTechnologist) << womanTechnologist << true;
    QTest::newRow("zwj sequence tail") << womanTechnologist << u({0x1F4BB}) << false;
    QTest::newRow("second flag") << flagsUsFr << flagsUsFr.mid(4) << true;
    QTest::newRow("misaligned flag") << flagsUsFr << flagsUsFr.mid(2) << false;
}

void TestTextRules::suffix()
{
    QFETCH(QString, text);
    QFETCH(QString, suffix);
    QFETCH(bool, matches);
    QCOMPARE(TextRules::hasCharacterSuffix(text, suffix), matches);
}

void TestTextRules::trimming_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("spacesAndTabs");
    QTest::addColumn<QString>("whitespaceAndNewlines");
    QTest::newRow("none") << QStringLiteral("a b") << QStringLiteral("a b")
                          << QStringLiteral("a b");
    QTest::newRow("spaces and tabs")
        << QStringLiteral(" \t a b\t ") << QStringLiteral("a b") << QStringLiteral("a b");
    QTest::newRow("line breaks") << QStringLiteral("\n a \r\n") << QStringLiteral("\n a \r\n")
                                 << QStringLiteral("a");
    QTest::newRow("no-break and ideographic space")
        << (u({0xA0}) + QStringLiteral("a") + u({0x3000})) << (u({0xA0}) + u'a' + u({0x3000}))
        << QStringLiteral("a");
    QTest::newRow("only blanks") << QStringLiteral(" \t ") << QString() << QString();
}

void TestTextRules::trimming()
{
    QFETCH(QString, text);
    QFETCH(QString, spacesAndTabs);
    QFETCH(QString, whitespaceAndNewlines);
    QCOMPARE(TextRules::trimSpacesAndTabs(text), spacesAndTabs);
    QCOMPARE(TextRules::trimWhitespaceAndNewlines(text), whitespaceAndNewlines);
}

void TestTextRules::repairedUtf16_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("repaired");
    QTest::newRow("valid pair kept") << thumbsUpMedium << thumbsUpMedium;
    QTest::newRow("high at the end") << u"a\xD83D"_qs << u"a\uFFFD"_qs;
    QTest::newRow("low alone") << u"\xDC00"
                                  "b"_qs
                               << u"\uFFFDb"_qs;
    QTest::newRow("pair reversed") << u"\xDC00\xD83D"_qs << u"\uFFFD\uFFFD"_qs;
    QTest::newRow("high before a pair")
        << (u"\xD83D"_qs + thumbsUpMedium) << (u"\uFFFD"_qs + thumbsUpMedium);
}

void TestTextRules::repairedUtf16()
{
    QFETCH(QString, text);
    QFETCH(QString, repaired);
    QCOMPARE(TextRules::repairedUtf16(text), repaired);
}

QTEST_APPLESS_MAIN(TestTextRules)
#include "tst_textrules.moc"

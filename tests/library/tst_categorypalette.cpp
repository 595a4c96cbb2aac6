#include "library/CategoryPalette.h"

#include <QTest>

using OptionalColor = std::optional<QColor>;
Q_DECLARE_METATYPE(OptionalColor)

class TestCategoryPalette : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void palette();
    void colorName_data();
    void colorName();
    void colorFromHex_data();
    void colorFromHex();
};

// Every stored palette colour must read back as a colour, or the views would show the accent
// colour instead; and each has a name to be announced by.
void TestCategoryPalette::palette()
{
    for (const auto& entry : CategoryPalette::entries()) {
        QVERIFY2(CategoryPalette::colorFromHex(entry.hex), qPrintable(entry.hex));
        QCOMPARE(CategoryPalette::colorName(entry.hex), entry.name);
    }
    QVERIFY(CategoryPalette::colorFromHex(CategoryPalette::defaultColorHex()));
}

void TestCategoryPalette::colorName_data()
{
    QTest::addColumn<QString>("hex");
    QTest::addColumn<QString>("name");
    QTest::newRow("palette entry") << QStringLiteral("#4A90D9") << QStringLiteral("Blue");
    QTest::newRow("lower case is not a palette entry")
        << QStringLiteral("#4a90d9") << QStringLiteral("#4a90d9");
    QTest::newRow("mixed case") << QStringLiteral("#4A90d9") << QStringLiteral("#4A90d9");
    QTest::newRow("outside the palette") << QStringLiteral("#123456") << QStringLiteral("#123456");
    QTest::newRow("no number sign") << QStringLiteral("4A90D9") << QStringLiteral("4A90D9");
    QTest::newRow("blanks are not trimmed")
        << QStringLiteral(" #4A90D9") << QStringLiteral(" #4A90D9");
    QTest::newRow("not hex at all") << QStringLiteral("Blue") << QStringLiteral("Blue");
    QTest::newRow("empty") << QString() << QString();
}

void TestCategoryPalette::colorName()
{
    QFETCH(QString, hex);
    QFETCH(QString, name);
    QCOMPARE(CategoryPalette::colorName(hex), name);
}

void TestCategoryPalette::colorFromHex_data()
{
    QTest::addColumn<QString>("hex");
    QTest::addColumn<OptionalColor>("color");
    const OptionalColor green = QColor(0x2E, 0xCC, 0x71);
    const OptionalColor none;
    QTest::newRow("palette green") << QStringLiteral("#2ECC71") << green;
    QTest::newRow("spaces and trailing line break") << QStringLiteral("  #2ECC71 \n") << green;
    QTest::newRow("tabs and crlf") << QStringLiteral("\t#2ECC71\r\n") << green;
    QTest::newRow("no number sign") << QStringLiteral("2ECC71") << green;
    QTest::newRow("lower-case digits") << QStringLiteral("#2ecc71") << green;
    QTest::newRow("channel order")
        << QStringLiteral("#123456") << OptionalColor(QColor(0x12, 0x34, 0x56));
    QTest::newRow("black") << QStringLiteral("#000000") << OptionalColor(QColor(0, 0, 0));
    QTest::newRow("white") << QStringLiteral("FFFFFF") << OptionalColor(QColor(255, 255, 255));
    QTest::newRow("five digits") << QStringLiteral("#2ECC7") << none;
    QTest::newRow("seven digits") << QStringLiteral("#2ECC711") << none;
    QTest::newRow("eight digits with alpha") << QStringLiteral("#2ECC71FF") << none;
    QTest::newRow("not all hex") << QStringLiteral("#2ECC7G") << none;
    QTest::newRow("hex prefix") << QStringLiteral("0x2ECC") << none;
    QTest::newRow("sign") << QStringLiteral("-2ECC7") << none;
    QTest::newRow("blank inside") << QStringLiteral("#2E CC71") << none;
    QTest::newRow("two number signs") << QStringLiteral("##2ECC71") << none;
    QTest::newRow("number sign after blank inside") << QStringLiteral("# 2ECC71") << none;
    QTest::newRow("trailing number sign") << QStringLiteral("2ECC71#") << none;
    QTest::newRow("full-width digits") << QString::fromUtf8("\uFF12ECC71") << none;
    QTest::newRow("number sign only") << QStringLiteral("#") << none;
    QTest::newRow("empty") << QString() << none;
    QTest::newRow("blank") << QStringLiteral(" \n") << none;
}

void TestCategoryPalette::colorFromHex()
{
    QFETCH(QString, hex);
    QFETCH(OptionalColor, color);
    const OptionalColor actual = CategoryPalette::colorFromHex(hex);
    QCOMPARE(actual.has_value(), color.has_value());
    if (!color)
        return;
    QCOMPARE(actual->rgba(), color->rgba());
    QCOMPARE(actual->spec(), QColor::Rgb);
    QCOMPARE(actual->alpha(), 255);
}

QTEST_APPLESS_MAIN(TestCategoryPalette)
#include "tst_categorypalette.moc"

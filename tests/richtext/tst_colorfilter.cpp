#include "richtext/ColorFilter.h"
#include "support/RichTextTestSupport.h"

#include <QGuiApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace RichTest;

class TestColorFilter : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void filter_data();
    void filter();
    void onlyColourRemoved();
};

void TestColorFilter::filter_data()
{
    QTest::addColumn<QColor>("color");
    QTest::addColumn<bool>("kept");
    // Saturation is (max - min) / max of the RGB components.
    QTest::newRow("black") << QColor(0, 0, 0) << false;
    QTest::newRow("white") << QColor(255, 255, 255) << false;
    QTest::newRow("mid grey") << QColor(128, 128, 128) << false;
    QTest::newRow("near-black, faint blue (0.133)") << QColor(26, 26, 30) << true;
    QTest::newRow("saturated red") << QColor(255, 0, 0) << true;
    QTest::newRow("dark red") << QColor(192, 0, 0) << true;
    QTest::newRow("pale pink just below (0.114)") << QColor(255, 226, 226) << false;
    QTest::newRow("pale pink just above (0.122)") << QColor(255, 224, 224) << true;
    QTest::newRow("exactly 0.12 is kept") << QColor(250, 220, 220) << true;
    QTest::newRow("HSV colour, saturation 0.11") << QColor::fromHsvF(0.6f, 0.11f, 0.9f) << false;
    QTest::newRow("HSV colour, saturation 0.13") << QColor::fromHsvF(0.6f, 0.13f, 0.9f) << true;
}

void TestColorFilter::filter()
{
    QFETCH(QColor, color);
    QFETCH(bool, kept);
    QCOMPARE(ColorFilter::keepsColor(color), kept);

    auto doc = makeDocument({{{{u"before "_s}, {u"x"_s, {.color = color.name()}}, {u" after"_s}}}});
    // The same colour in another paragraph and inside a link.
    QTextCursor cursor(doc.get());
    cursor.movePosition(QTextCursor::End);
    cursor.insertBlock();
    QTextCharFormat linked = toFormat({.href = u"https://example.com/"_s});
    linked.setForeground(color);
    cursor.insertText(u"y"_s, linked);

    ColorFilter::apply(*doc);
    const QString expected = kept ? u" c="_s + color.name() : QString();
    QCOMPARE(attributesOf(*doc, u"x"_s), expected.trimmed());
    QCOMPARE(attributesOf(*doc, u"y"_s),
             QString(expected + u" a=https://example.com/"_s).trimmed());
    QCOMPARE(attributesOf(*doc, u"before "_s), QString());
}

// Removing a colour keeps every other attribute of the run, and leaves runs without a colour and
// the document's text alone.
void TestColorFilter::onlyColourRemoved()
{
    auto doc = makeDocument(
        {{{{u"grey bold"_s, {.bold = true, .family = u"Arial"_s, .size = 9, .color = u"#808080"_s}},
           {u"red"_s, {.italic = true, .color = u"#ff0000"_s}},
           {u"black"_s, {.underline = true, .color = u"#000000"_s}}},
          Qt::AlignRight}});
    ColorFilter::apply(*doc);
    QCOMPARE(dump(*doc), u">[grey bold|b f=Arial z=9][red|i c=#ff0000][black|u]"_s);

    QTextDocument empty;
    ColorFilter::apply(empty);
    QVERIFY(empty.isEmpty());
}

QTEST_MAIN(TestColorFilter)
#include "tst_colorfilter.moc"

#include "richtext/RtfReader.h"
#include "richtext/RtfWriter.h"
#include "support/RichTextTestSupport.h"
#include "support/TestText.h"

#include <QGuiApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace RichTest;

Q_DECLARE_METATYPE(QList<RichTest::Para>)

class TestRtfRoundTrip : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void roundTrip_data();
    void roundTrip();
    void output_data();
    void output();
};

void TestRtfRoundTrip::roundTrip_data()
{
    QTest::addColumn<QList<Para>>("paras");
    const QString link = u"https://example.com/a?b=c&d=\u00e9"_s;
    // clang-format off
    QTest::newRow("empty") << QList<Para>{{}};
    QTest::newRow("plain") << QList<Para>{{{{u"Hello, world"_s}}}};
    QTest::newRow("bold") << QList<Para>{{{{u"a "_s}, {u"bold"_s, {.bold = true}}, {u" b"_s}}}};
    QTest::newRow("italic") << QList<Para>{{{{u"italic"_s, {.italic = true}}}}};
    QTest::newRow("underline") << QList<Para>{{{{u"under"_s, {.underline = true}}}}};
    QTest::newRow("strike") << QList<Para>{{{{u"struck"_s, {.strike = true}}}}};
    QTest::newRow("family") << QList<Para>{{{{u"mono"_s, {.family = u"DejaVu Sans Mono"_s}}, {u"serif"_s, {.family = u"Times New Roman"_s}}}}};
    QTest::newRow("non-ascii family") << QList<Para>{{{{u"x"_s, {.family = u"Noto Sans CJK \u65e5\u672c"_s}}}}};
    QTest::newRow("sizes") << QList<Para>{{{{u"big"_s, {.size = 18}}, {u"half"_s, {.size = 7.5}}, {u"default"_s}}}};
    QTest::newRow("colours") << QList<Para>{{{{u"red"_s, {.color = u"#ff0000"_s}}, {u"blue"_s, {.color = u"#1a5fb4"_s}}, {u"red again"_s, {.color = u"#ff0000"_s}}}}};
    QTest::newRow("link") << QList<Para>{{{{u"see "_s}, {u"the site"_s, {.href = link}}, {u" now"_s}}}};
    QTest::newRow("formatted link, two hrefs") << QList<Para>{{{{u"a"_s, {.bold = true, .href = u"https://a.example/"_s}}, {u"b"_s, {.href = u"https://a.example/"_s}}, {u"c"_s, {.href = u"https://c.example/"_s}}}}};
    QTest::newRow("all combined") << QList<Para>{{{{u"everything"_s, {.bold = true, .italic = true, .underline = true, .strike = true, .family = u"Arial"_s, .size = 13, .color = u"#00aa33"_s, .href = u"mailto:x@example.com"_s}}}}};
    QTest::newRow("emoji and combining marks") << QList<Para>{{{{TestText::thumbsUpMedium + TestText::family + TestText::flagsUsFr, {.bold = true}}, {TestText::eAcuteDecomposed + TestText::hangulJamo + u"\u00e9\u20ac"_s}}}};
    QTest::newRow("escapes") << QList<Para>{{{{u"back\\slash {braces} \\par tab\there"_s}, {u"line\u2028break no\u00a0break"_s, {.italic = true}}}}};
    QTest::newRow("digits and spaces after words") << QList<Para>{{{{u" 12 lead"_s, {.size = 10}}, {u"3"_s, {.color = u"#ff0000"_s}}, {u"-4"_s, {.bold = true}}}}};
    QTest::newRow("alignment changes") << QList<Para>{{{{u"left"_s}}}, {{{u"centre"_s}}, Qt::AlignHCenter}, {{{u"right"_s}}, Qt::AlignRight}, {{{u"justified"_s}}, Qt::AlignJustify}, {{{u"left again"_s}}}, {{}, Qt::AlignHCenter}, {{{u"after empty"_s}}, Qt::AlignRight}, {{}, Qt::AlignRight}};
    QTest::newRow("empty paragraphs") << QList<Para>{{}, {}, {{{u"x"_s}}}, {}};
    // clang-format on
}

// Writer then reader gives back the document, and writing is stable: the document read back is
// written to the same bytes.
void TestRtfRoundTrip::roundTrip()
{
    QFETCH(QList<Para>, paras);
    const std::unique_ptr<QTextDocument> original = makeDocument(paras);
    const std::optional<QByteArray> rtf = RtfWriter::write(*original);
    QVERIFY(rtf);
    const std::unique_ptr<QTextDocument> back = RtfReader::read(*rtf);
    QVERIFY2(back, rtf->constData());
    QCOMPARE(dump(*back), dump(*original));
    QCOMPARE(back->toRawText(), original->toRawText());
    QCOMPARE(RtfWriter::write(*back), rtf);
}

void TestRtfRoundTrip::output_data()
{
    QTest::addColumn<QList<Para>>("paras");
    QTest::addColumn<QByteArray>("rtf");
    // clang-format off
    QTest::newRow("header and tables") << QList<Para>{{{{u"x"_s, {.family = u"B"_s, .color = u"#0000ff"_s}}, {u"y"_s, {.family = u"A"_s, .color = u"#ff0000"_s}}, {u"z"_s, {.family = u"B"_s}}}}}
        << QByteArray("{\\rtf1\\ansi\\ansicpg1252\\uc1\n{\\fonttbl{\\f0\\fnil\\fcharset0 B;}{\\f1\\fnil\\fcharset0 A;}}\n{\\colortbl;\\red0\\green0\\blue255;\\red255\\green0\\blue0;}\n\\pard\\plain {\\f0\\cf1 x}{\\f1\\cf2 y}{\\f0 z}}\n");
    QTest::newRow("non-ascii as signed \\uN") << QList<Para>{{{{u"\u00e9\uffff"_s + TestText::thumbsUpMedium}}}}
        << QByteArray("{\\rtf1\\ansi\\ansicpg1252\\uc1\n{\\fonttbl}\n{\\colortbl;}\n\\pard\\plain {\\u233?\\u-1?\\u-10179?\\u-9139?\\u-10180?\\u-8195?}}\n");
    QTest::newRow("paragraphs and link") << QList<Para>{{{{u"a"_s, {.href = u"h\"q"_s}}}, Qt::AlignRight}, {}}
        << QByteArray("{\\rtf1\\ansi\\ansicpg1252\\uc1\n{\\fonttbl}\n{\\colortbl;}\n\\pard\\plain\\qr {\\field{\\*\\fldinst{HYPERLINK \"h%22q\"}}{\\fldrslt {a}}}\\par\n\\pard\\plain }\n");
    QTest::newRow("runs RTF cannot tell apart are one") << QList<Para>{{{{u"x"_s, {.href = u"h\x01"_s}}, {u"y"_s, {.href = u"h"_s}}, {u"a"_s, {.bold = true}}, {u"\x01"_s, {.italic = true, .family = u"Unused"_s}}, {u"b"_s, {.bold = true}}}}}
        << QByteArray("{\\rtf1\\ansi\\ansicpg1252\\uc1\n{\\fonttbl}\n{\\colortbl;}\n\\pard\\plain {\\field{\\*\\fldinst{HYPERLINK \"h\"}}{\\fldrslt {xy}}}{\\b ab}}\n");
    // clang-format on
}

// The exact bytes matter to other readers: numbering in order of first use, \cf0 left to the
// default colour, 16-bit signed \uN with a fallback, no quote inside the link instruction. And
// to the round trip: what RTF cannot say must not split runs that read back as one.
void TestRtfRoundTrip::output()
{
    QFETCH(QList<Para>, paras);
    QFETCH(QByteArray, rtf);
    QCOMPARE(RtfWriter::write(*makeDocument(paras)), std::optional(rtf));
}

QTEST_MAIN(TestRtfRoundTrip)
#include "tst_rtfroundtrip.moc"

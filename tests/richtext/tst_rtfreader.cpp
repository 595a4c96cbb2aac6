#include "richtext/CodePage.h"
#include "richtext/PlainCharacters.h"
#include "richtext/RtfReader.h"
#include "richtext/RtfWriter.h"
#include "support/MissingTool.h"
#include "support/RichTextTestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QScopeGuard>
#include <QTest>
#include <iconv.h>

using namespace Qt::StringLiterals;
using namespace RichTest;

namespace {

using Probes = QList<std::pair<QString, QString>>; // text in the document, its attributes

QString alignments(const QTextDocument& doc)
{
    QString marks;
    for (QTextBlock block = doc.begin(); block.isValid(); block = block.next())
        marks += alignmentMark(block.blockFormat().alignment());
    return marks;
}

QByteArray repeated(const char* s, int n)
{
    return QByteArray(s).repeated(n);
}

} // namespace

Q_DECLARE_METATYPE(Probes)

class TestRtfReader : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void fixtures_data();
    void fixtures();
    void constructs_data();
    void constructs();
    void codePages_data();
    void codePages();
    void johabAgreesWithIconv();
    void malformed_data();
    void malformed();
    void corpus();
    void outputBound();
};

void TestRtfReader::fixtures_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("aligned");
    QTest::addColumn<Probes>("probes");
    // clang-format off
    QTest::newRow("LibreOffice Writer") << u"libreoffice-writer.rtf"_s
        << u"Plain bold italic underline strike all three\nred grey blue\nbig small mono\ncentred\nright\njustified\nVisit the site now.\n"
           "Grüße, café, Zoë, ½ €, Ελληνικά, Кириллица, 日本語, e\u0301 \U0001F44D\U0001F3FD \U0001F469\u200D\U0001F4BB\nline one\nline two\n"_s
        << u"<<<=>|<<<<"_s
        << Probes{{u"Plain"_s, u"f=DejaVu Serif z=12"_s}, {u"bold"_s, u"b f=DejaVu Serif z=12"_s}, {u"italic"_s, u"i f=DejaVu Serif z=12"_s},
                  {u"underline"_s, u"u f=DejaVu Serif z=12"_s}, {u"strike"_s, u"s f=DejaVu Serif z=12"_s}, {u"all three"_s, u"b i u f=DejaVu Serif z=12"_s},
                  {u"red"_s, u"f=DejaVu Serif z=12 c=#ff0000"_s}, {u"grey"_s, u"f=DejaVu Serif z=12 c=#808080"_s}, {u"blue"_s, u"f=DejaVu Serif z=12 c=#1a5fb4"_s},
                  {u"big"_s, u"f=DejaVu Serif z=18"_s}, {u"small"_s, u"f=DejaVu Serif z=8"_s}, {u"mono"_s, u"f=DejaVu Sans Mono z=12"_s},
                  {u"the site"_s, u"u f=DejaVu Serif z=12 c=#000080 a=https://example.com/a?b=c"_s}, {u" now."_s, u"f=DejaVu Serif z=12"_s},
                  {u"日本語"_s, u"f=DejaVu Serif z=12"_s}, {u"line two"_s, u"f=DejaVu Serif z=12"_s}};
    QTest::newRow("Word") << u"word.rtf"_s
        << u"Hello bold italic double wavy struck dark red\nTimes 16\nSee the link. Grüß € \U0001F60A Привет 日本\n"_s
        << u"<=||"_s
        << Probes{{u"Hello"_s, u"f=Calibri z=11"_s}, {u"bold"_s, u"b f=Calibri z=11"_s}, {u"italic"_s, u"i f=Calibri z=11"_s},
                  {u"double"_s, u"u f=Calibri z=11"_s}, {u"wavy"_s, u"u f=Calibri z=11"_s}, {u"struck"_s, u"s f=Calibri z=11"_s},
                  {u"dark red"_s, u"f=Calibri z=11 c=#c00000"_s}, {u"Times 16"_s, u"f=Times New Roman z=16"_s},
                  {u"the link"_s, u"u f=Calibri z=11 c=#0563c1 a=https://example.com/word#part2"_s},
                  {u"Привет"_s, u"f=Courier New Cyr z=11"_s}, {u"日本"_s, u"f=MS Mincho z=11"_s}};
    QTest::newRow("WordPad") << u"wordpad.rtf"_s
        << u"Plain bold italic underline strike red blue big\nПривет, мир!\ncentred\n€ right\n•\tbullet\nnext line\n"_s
        << u"<<=><<"_s
        << Probes{{u"Plain"_s, u"f=Calibri z=11"_s}, {u"bold"_s, u"b f=Calibri z=11"_s}, {u"strike"_s, u"s f=Calibri z=11"_s},
                  {u"red"_s, u"f=Calibri z=11 c=#ff0000"_s}, {u"blue big"_s, u"f=Calibri z=14 c=#004dbb"_s},
                  {u"Привет"_s, u"f=Calibri z=11"_s}, {u"мир"_s, u"b f=Calibri z=11"_s}, {u"•"_s, u"f=Symbol z=10"_s}};
    QTest::newRow("TextEdit (Cocoa)") << u"cocoa-textedit.rtf"_s
        << u"Dear {fill:Name},\n\nBold red and italic and underlined and struck and grey.\nCentred a link\ncafé € “quoted” \U0001F44D\U0001F3FD e\u0301"_s
        << u"<<<=>"_s
        << Probes{{u"Dear"_s, u"f=Helvetica z=12"_s}, {u"Bold red"_s, u"b f=Helvetica-Bold z=12 c=#fb0207"_s},
                  {u"italic"_s, u"i f=Helvetica-Oblique z=12"_s}, {u"underlined"_s, u"u f=Helvetica z=12"_s},
                  {u"struck"_s, u"s f=Helvetica z=12"_s}, {u"grey"_s, u"f=Helvetica z=12 c=#808080"_s},
                  {u"a link"_s, u"u f=Helvetica z=12 c=#0000e9 a=https://example.com/cocoa"_s},
                  {u"café € “quoted”"_s, u"f=Menlo-Regular z=14"_s}};
    // clang-format on
}

void TestRtfReader::fixtures()
{
    QFETCH(QString, file);
    QFETCH(QString, text);
    QFETCH(QString, aligned);
    QFETCH(Probes, probes);
    const QByteArray rtf = readFile(QStringLiteral(SCRIVLANE_RTF_FIXTURES "/") + file);
    QVERIFY(!rtf.isEmpty());
    const std::unique_ptr<QTextDocument> doc = RtfReader::read(rtf);
    QVERIFY(doc);
    QCOMPARE(RichText::plainCharacters(*doc), text);
    QCOMPARE(alignments(*doc), aligned);
    for (const auto& [needle, attributes] : probes)
        QCOMPARE(needle + u": "_s + attributesOf(*doc, needle), needle + u": "_s + attributes);
}

void TestRtfReader::constructs_data()
{
    QTest::addColumn<QByteArray>("rtf");
    QTest::addColumn<QString>("expected");
    // clang-format off
    QTest::newRow("\\uc2 skips two escapes") << QByteArray(R"({\rtf1\uc2\u8364\'80\'80x})") << u"<[€x|]"_s;
    QTest::newRow("\\uc0 skips nothing") << QByteArray(R"({\rtf1\uc0\u8364 x})") << u"<[€x|]"_s;
    QTest::newRow("\\uc1 by default") << QByteArray(R"({\rtf1\u8364?x})") << u"<[€x|]"_s;
    QTest::newRow("\\uc scoped to its group") << QByteArray(R"({\rtf1{\uc0\u233}\u233?x})") << u"<[ééx|]"_s;
    QTest::newRow("skip ends at a group") << QByteArray(R"({\rtf1\uc3\u233{\b b}})") << u"<[é|][b|b]"_s;
    QTest::newRow("negative \\u, surrogate pair") << QByteArray(R"({\rtf1\u-10179?\u-9139?})") << u"<[\U0001F44D|]"_s;
    QTest::newRow("cp1251 document") << QByteArray(R"({\rtf1\ansi\ansicpg1251 \'cf\'f0})") << u"<[Пр|]"_s;
    QTest::newRow("cp1252 0x80-0x9f") << QByteArray(R"({\rtf1\'80\'93\'94\'85})") << u"<[€“”…|]"_s;
    QTest::newRow("font charset, double-byte") << QByteArray(R"({\rtf1{\fonttbl{\f1\fcharset128 MS Gothic;}}\f1\'93\'fa})") << u"<[日|f=MS Gothic]"_s;
    QTest::newRow("font \\cpg") << QByteArray(R"({\rtf1{\fonttbl{\f1\fcharset0\cpg1253 G;}}\f1\'e1})") << u"<[α|f=G]"_s;
    QTest::newRow("\\mac") << QByteArray(R"({\rtf1\mac\'8e})") << u"<[é|]"_s;
    QTest::newRow("UTF-8 code page") << QByteArray(R"({\rtf1\ansicpg65001 \'c3\'a9})") << u"<[é|]"_s;
    QTest::newRow("raw 8-bit text") << QByteArray("{\\rtf1 caf\xe9 }") << u"<[café |]"_s;
    QTest::newRow("\\plain") << QByteArray(R"({\rtf1\b\i\fs30 a\plain b})") << u"<[a|b i z=15][b|]"_s;
    QTest::newRow("groups restore") << QByteArray(R"({\rtf1 a{\b b{\i c}d}e})") << u"<[a|][b|b][c|b i][d|b][e|]"_s;
    QTest::newRow("zero parameters") << QByteArray(R"({\rtf1\b\i\ul\strike a\b0\i0\ul0\strike0 b\ul c\ulnone d})") << u"<[a|b i u s][b|][c|u][d|]"_s;
    QTest::newRow("underline kinds, not \\ulc") << QByteArray(R"({\rtf1{\uldb a}{\ulwave b}{\ulth c}{\ulc2 d}})") << u"<[abc|u][d|]"_s;
    QTest::newRow("\\striked") << QByteArray(R"({\rtf1\striked1 a\striked0 b})") << u"<[a|s][b|]"_s;
    QTest::newRow("colour table") << QByteArray(R"({\rtf1{\colortbl\red1\green2\blue3;;\red255\green0\blue0;}\cf0 a\cf1 b\cf2 c\cf9 d})") << u"<[a|c=#010203][b|][c|c=#ff0000][d|]"_s;
    QTest::newRow("font sizes") << QByteArray(R"({\rtf1\fs21 a\fs b\fs0 c})") << u"<[a|z=10.5][b|z=12][c|]"_s;
    QTest::newRow("alignment until \\pard") << QByteArray(R"({\rtf1\qc a\par b\par\pard c\par\qr\qj d})") << u"=[a|]\n=[b|]\n<[c|]\n|[d|]"_s;
    QTest::newRow("alignment at \\par") << QByteArray(R"({\rtf1\qc a\qr\par b})") << u">[a|]\n>[b|]"_s;
    QTest::newRow("breaks and symbols") << QByteArray(R"({\rtf1 a\line b\tab c\~d\_e\-f\emdash\endash\bullet\lquote\rquote\ldblquote\rdblquote})") << u"<[a<U+2028>b<U+0009>c<U+00a0>d\u2011ef—–•‘’“”|]"_s;
    QTest::newRow("table cells") << QByteArray(R"({\rtf1\trowd a\cell b\cell\row c})") << u"<[a<U+0009>b<U+0009>|]\n<[c|]"_s;
    QTest::newRow("escaped characters") << QByteArray(R"({\rtf1 \{a\}\\})") << u"<[{a}\\|]"_s;
    QTest::newRow("backslash-newline is \\par") << QByteArray("{\\rtf1 a\\\nb}") << u"<[a|]\n<[b|]"_s;
    QTest::newRow("line ends ignored") << QByteArray("{\\rtf1 a\r\nb}") << u"<[ab|]"_s;
    QTest::newRow("skipped destinations") << QByteArray(R"({\rtf1{\*\unknown hidden}{\stylesheet{\s0 Normal;}}{\info{\title T}}{\header H}{\pict\bin3 }{{x}shown})") << u"<[shown|]"_s;
    QTest::newRow("unknown words keep their text") << QByteArray(R"({\rtf1\foo a\bar12 b})") << u"<[ab|]"_s;
    QTest::newRow("\\fldinst outside a field") << QByteArray(R"({\rtf1{\*\fldinst x}y})") << u"<[y|]"_s;
    QTest::newRow("link with anchor and tooltip") << QByteArray(R"({\rtf1{\field{\*\fldinst HYPERLINK "http://x.example/" \\l "top" \\o "tip"}{\fldrslt link}}})") << u"<[link|a=http://x.example/#top]"_s;
    QTest::newRow("link unquoted, formatted") << QByteArray(R"({\rtf1{\field{\*\fldinst{HYPERLINK http://y.example/}}{\fldrslt{\b go}}}})") << u"<[go|b a=http://y.example/]"_s;
    QTest::newRow("link target as the writer can keep it") << QByteArray(R"({\rtf1{\field{\*\fldinst HYPERLINK a"b\'01c}{\fldrslt x}}})") << u"<[x|a=a%22bc]"_s;
    QTest::newRow("other fields show their result") << QByteArray(R"({\rtf1{\field{\*\fldinst PAGE}{\fldrslt 3}} x})") << u"<[3 x|]"_s;
    QTest::newRow("link ends with its field") << QByteArray(R"({\rtf1{\field{\*\fldinst HYPERLINK "h"}{\fldrslt a}}b})") << u"<[a|a=h][b|]"_s;
    QTest::newRow("\\plain keeps the link") << QByteArray(R"({\rtf1{\field{\*\fldinst HYPERLINK "h"}{\fldrslt\b a\plain b}}})") << u"<[a|b a=h][b|a=h]"_s;
    QTest::newRow("font table without groups") << QByteArray(R"({\rtf1{\fonttbl\f0\fswiss Helvetica;\f1\fnil Menlo;}\f1 a\f0 b\f7 c})") << u"<[a|f=Menlo][b|f=Helvetica][c|]"_s;
    QTest::newRow("default font") << QByteArray(R"({\rtf1\deff0{\fonttbl{\f0 Times;}}a\f0 b})") << u"<[ab|f=Times]"_s;
    QTest::newRow("white space before the header") << QByteArray("\r\n {\\rtf1 a}") << u"<[a|]"_s;
    QTest::newRow("\\bin in text") << QByteArray(R"({\rtf1 a\bin2 {}b})") << u"<[ab|]"_s;
    QTest::newRow("non-text characters dropped") << QByteArray("{\\rtf1 a\x01\\uc0\\u0\\u8233\\u65532\\u64976 b}") << u"<[ab|]"_s;
    QTest::newRow("Symbol: bullet and Greek") << QByteArray(R"({\rtf1{\fonttbl{\f1\froman\fcharset2 Symbol;}}\f1\'b7 ab\'a5})") << u"<[• αβ∞|f=Symbol]"_s;
    QTest::newRow("Symbol by name, private-use code") << QByteArray(R"({\rtf1{\fonttbl{\f1 Symbol;}}\f1\u-3913?\u-3999?})") << u"<[•α|f=Symbol]"_s;
    QTest::newRow("Symbol in a double-byte document") << QByteArray(R"({\rtf1\ansicpg932{\fonttbl{\f1\fcharset2 Symbol;}}\f1\'b7\'b7 x})") << u"<[•• ξ|f=Symbol]"_s;
    QTest::newRow("Wingdings") << QByteArray(R"({\rtf1{\fonttbl{\f1\fnil\fcharset2 Wingdings;}}\f1 J\'fc\'9f\'e8})") << u"<[☺✓•🡺|f=Wingdings]"_s;
    QTest::newRow("Webdings") << QByteArray(R"({\rtf1{\fonttbl{\f1\fcharset2 Webdings;}}\f1 a\'f0})") << u"<[✔🗧|f=Webdings]"_s;
    QTest::newRow("other symbol font: private use") << QByteArray(R"({\rtf1{\fonttbl{\f1\fcharset2 Marlett;}}\f1 a\'b7})") << u"<[\uF061\uF0B7|f=Marlett]"_s;
    QTest::newRow("symbol font ends with its run") << QByteArray(R"({\rtf1{\fonttbl{\f0 Arial;}{\f1\fcharset2 Symbol;}}{\f1 a}\f0 a})") << u"<[α|f=Symbol][a|f=Arial]"_s;
    QTest::newRow("\\nonesttables skipped") << QByteArray(R"({\rtf1 a{\nonesttables b\par}c})") << u"<[ac|]"_s;
    QTest::newRow("\\upr reads \\ud") << QByteArray(R"({\rtf1{\upr{\b ansi}{\*\ud{\b uni\u233?}}}x})") << u"<[unié|b][x|]"_s;
    QTest::newRow("\\ud outside \\upr skipped") << QByteArray(R"({\rtf1 a{\*\ud b}c})") << u"<[ac|]"_s;
    QTest::newRow("SYMBOL field without result") << QByteArray(R"({\rtf1{\field{\*\fldinst SYMBOL 74 \\f "Wingdings" \\s 12}{\fldrslt }}x})") << u"<[☺|f=Wingdings z=12][x|]"_s;
    QTest::newRow("SYMBOL field, no result group") << QByteArray(R"({\rtf1\b{\field{\*\fldinst{ SYMBOL 183 \\f "Symbol"}}}})") << u"<[•|b f=Symbol]"_s;
    QTest::newRow("SYMBOL field, Unicode and ANSI") << QByteArray(R"({\rtf1\ansicpg1251{\field{\*\fldinst SYMBOL 8364 \\u}}{\field{\*\fldinst SYMBOL 0xCF \\a}}})") << u"<[€П|]"_s;
    QTest::newRow("SYMBOL field, Shift-JIS") << QByteArray(R"({\rtf1{\field{\*\fldinst SYMBOL 33440 \\j \\f "MS Mincho"}}})") << u"<[あ|f=MS Mincho]"_s;
    QTest::newRow("SYMBOL field with result shows the result") << QByteArray(R"({\rtf1{\fonttbl{\f1 Symbol;}}{\field{\*\fldinst SYMBOL 183 \\f "Symbol"}{\fldrslt\f1\'b7}}})") << u"<[•|f=Symbol]"_s;
    QTest::newRow("HYPERLINK field without result") << QByteArray(R"({\rtf1{\field{\*\fldinst HYPERLINK "http://x.example/"}}.})") << u"<[http://x.example/|a=http://x.example/][.|]"_s;
    QTest::newRow("QUOTE field without result") << QByteArray(R"({\rtf1{\field{\*\fldinst QUOTE "said"}}})") << u"<[said|]"_s;
    QTest::newRow("other fields without result") << QByteArray(R"({\rtf1 a{\field{\*\fldinst PAGE}}b})") << u"<[ab|]"_s;
    QTest::newRow("hidden text left out") << QByteArray(R"({\rtf1 a{\v hidden}b\v c\v0 d\v e\plain f})") << u"<[abdf|]"_s;
    QTest::newRow("hidden paragraph left out") << QByteArray(R"({\rtf1 a\par{\v b\par}c})") << u"<[a|]\n<[c|]"_s;
    QTest::newRow("\\deff for runs without \\f") << QByteArray(R"({\rtf1\deff1{\fonttbl{\f0 A;}{\f1 B;}}x\f0 a\plain b})") << u"<[x|f=B][a|f=A][b|f=B]"_s;
    QTest::newRow("paragraph styles give font and size") << QByteArray(R"({\rtf1\deff0{\fonttbl{\f0 Serif;}{\f1 Sans;}}{\stylesheet{\s0\f0\fs24 Normal;}{\s1\sbasedon0\f1\fs32 Heading;}{\s2\sbasedon1\fs20 Small heading;}{\*\cs3\f1\fs40 Chars;}}\pard\plain\s1 h\par\pard\plain\s0 n\par\pard\plain\s2 s\par\pard\plain\s3 c\par\pard\plain\s1\f0\fs18 e})") << u"<[h|f=Sans z=16]\n<[n|f=Serif z=12]\n<[s|f=Sans z=10]\n<[c|f=Serif]\n<[e|f=Serif z=9]"_s;
    QTest::newRow("style without \\s is style 0") << QByteArray(R"({\rtf1{\fonttbl{\f1 Calibri;}}{\stylesheet{\ql\f1\fs22{\*\keycode x}Normal;}{\s5\fs30 Other;}}\pard\plain\s0 x})") << u"<[x|f=Calibri z=11]"_s;
    QTest::newRow("styles based on each other") << QByteArray(R"({\rtf1{\stylesheet{\s1\sbasedon2 A;}{\s2\sbasedon1 B;}}\s1 x})") << u"<[x|]"_s;
    QTest::newRow("3,000 nested groups") << QByteArray("{\\rtf1 " + repeated("{", 3000) + "\\b x" + repeated("}", 3000) + " y}") << u"<[x|b][ y|]"_s;
    // clang-format on
}

void TestRtfReader::constructs()
{
    QFETCH(QByteArray, rtf);
    QFETCH(QString, expected);
    const std::unique_ptr<QTextDocument> doc = RtfReader::read(rtf);
    QVERIFY(doc);
    QCOMPARE(dump(*doc), expected);
}

// Apple's code pages and the Mac \fcharset values, as early TextEdit and Word for Mac wrote
// them. The bytes are Apple's encodings of the texts.
void TestRtfReader::codePages_data()
{
    QTest::addColumn<QByteArray>("rtf");
    QTest::addColumn<QString>("text");
    // clang-format off
    QTest::newRow("\\mac") << QByteArray("{\\rtf1\\mac caf\\'8e \\'aa \\'de}") << u"café ™ ﬁ"_s;
    QTest::newRow("\\ansicpg10001 (Japanese)") << QByteArray("{\\rtf1\\mac\\ansicpg10001 \\'93\\'fa\\'96\\'7b\\'8c\\'ea\\'81`\\'85@\\'fd\\'81c}") << u"日本語〜①©…"_s;
    QTest::newRow("\\ansicpg10002 (Traditional Chinese)") << QByteArray("{\\rtf1\\mac\\ansicpg10002 \\'a4\\'a4\\'a4\\'e5\\'a1E\\'fd}") << u"中文·©"_s;
    QTest::newRow("\\ansicpg10003 (Korean)") << QByteArray("{\\rtf1\\mac\\ansicpg10003 \\'c7\\'d1\\'b1\\'b9\\'be\\'ee\\'81\\'83}") << u"한국어₩©"_s;
    QTest::newRow("\\ansicpg10004 (Arabic)") << QByteArray("{\\rtf1\\mac\\ansicpg10004 \\'d9\\'d1\\'c8\\'ea}") << u"عربي"_s;
    QTest::newRow("\\ansicpg10005 (Hebrew)") << QByteArray("{\\rtf1\\mac\\ansicpg10005 \\'f2\\'e1\\'f8\\'e9\\'fa}") << u"עברית"_s;
    QTest::newRow("\\ansicpg10006 (Greek)") << QByteArray("{\\rtf1\\mac\\ansicpg10006 \\'b6\\'ec\\'ec\\'e8\\'ee\\'e9\\'eb\\'c0}") << u"Ελληνικά"_s;
    QTest::newRow("\\ansicpg10007 (Cyrillic)") << QByteArray("{\\rtf1\\mac\\ansicpg10007 \\'8f\\'f0\\'e8\\'e2\\'e5\\'f2}") << u"Привет"_s;
    QTest::newRow("\\ansicpg10008 (Simplified Chinese)") << QByteArray("{\\rtf1\\mac\\ansicpg10008 \\'d6\\'d0\\'ce\\'c4\\'a1\\'ab}") << u"中文〜"_s;
    QTest::newRow("\\ansicpg10029 (Central European)") << QByteArray("{\\rtf1\\mac\\ansicpg10029 \\'fc\\'97d\\'90}") << u"Łódź"_s;
    QTest::newRow("\\ansicpg10079 (Icelandic)") << QByteArray("{\\rtf1\\mac\\ansicpg10079 \\'de\\'97r \\'a0r}") << u"Þór Ýr"_s;
    QTest::newRow("\\ansicpg10081 (Turkish)") << QByteArray("{\\rtf1\\mac\\ansicpg10081 \\'dc\\'df\\'db}") << u"İşğ"_s;
    QTest::newRow("\\ansicpg20932 (EUC-JP)") << QByteArray("{\\rtf1\\ansicpg20932 \\'c6\\'fc\\'cb\\'dc\\'b8\\'ec}") << u"日本語"_s;
    QTest::newRow("\\ansicpg51932 (EUC-JP)") << QByteArray("{\\rtf1\\ansicpg51932 \\'c6\\'fc\\'cb\\'dc\\'b8\\'ec}") << u"日本語"_s;
    QTest::newRow("\\fcharset77 (Roman)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset77 F;}}\\f1 \\'8e}") << u"é"_s;
    QTest::newRow("\\fcharset78 (Japanese)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset78 F;}}\\f1 \\'93\\'fa\\'96\\'7b\\'81`}") << u"日本〜"_s;
    QTest::newRow("\\fcharset79 (Korean)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset79 F;}}\\f1 \\'c7\\'d1\\'b1\\'b9}") << u"한국"_s;
    QTest::newRow("\\fcharset80 (Simplified Chinese)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset80 F;}}\\f1 \\'d6\\'d0\\'ce\\'c4}") << u"中文"_s;
    QTest::newRow("\\fcharset81 (Traditional Chinese)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset81 F;}}\\f1 \\'a4\\'a4\\'a4\\'e5}") << u"中文"_s;
    QTest::newRow("\\fcharset83 (Hebrew)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset83 F;}}\\f1 \\'f2\\'e1\\'f8\\'e9\\'fa}") << u"עברית"_s;
    QTest::newRow("\\fcharset84 (Arabic)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset84 F;}}\\f1 \\'d9\\'d1\\'c8\\'ea}") << u"عربي"_s;
    QTest::newRow("\\fcharset85 (Greek)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset85 F;}}\\f1 \\'b6\\'ec\\'ec\\'e8\\'ee\\'e9\\'eb\\'c0}") << u"Ελληνικά"_s;
    QTest::newRow("\\fcharset86 (Turkish)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset86 F;}}\\f1 \\'dc\\'df\\'db}") << u"İşğ"_s;
    QTest::newRow("\\fcharset87 (Thai)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset87 F;}}\\f1 \\'c0\\'d2\\'c9\\'d2\\'e4\\'b7\\'c2}") << u"ภาษาไทย"_s;
    QTest::newRow("\\fcharset88 (Central European)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset88 F;}}\\f1 \\'fc\\'97d\\'90}") << u"Łódź"_s;
    QTest::newRow("\\fcharset89 (Cyrillic)") << QByteArray("{\\rtf1{\\fonttbl{\\f1\\fcharset89 F;}}\\f1 \\'8f\\'f0\\'e8\\'e2\\'e5\\'f2}") << u"Привет"_s;
    QTest::newRow("\\ansicpg10001, trail byte escaped") << QByteArray(R"({\rtf1\mac\ansicpg10001 \'81\'60\'83\'41})") << u"〜ア"_s;
    QTest::newRow("cp932, trail byte as text") << QByteArray(R"({\rtf1\ansicpg932 \'83A\'95\'5c})") << u"ア表"_s;
    QTest::newRow("cp936, trail byte as text") << QByteArray(R"({\rtf1\ansicpg936 \'81@x})") << u"丂x"_s;
    QTest::newRow("lead byte, then a group") << QByteArray(R"({\rtf1\ansicpg932 \'83{A}})") << u"A"_s;
    QTest::newRow("\\ansicpg1361 (Johab): Hangul, ASCII trail bytes") << QByteArray(R"({\rtf1\ansicpg1361 \'94\'81\'d0e\'a3\'a5\'8a\'82 \'d0\'e5\'a4\'f3 \'b9A1\'b9\'a1})") << u"대한민국 헌법 제1조"_s;
    QTest::newRow("\\ansicpg1361: symbols") << QByteArray(R"({\rtf1\ansicpg1361 \'b5\'a1\'93i\'b7e 25\'d9Y\'b7\'b3\'93\'a1\'94a \'d9h\'c0q\'89\'a1})") << u"오늘은 25℃입니다 ※참고"_s;
    QTest::newRow("\\ansicpg1361: Hanja") << QByteArray(R"({\rtf1\ansicpg1361 \'e4\'de\'f7\'db\'e8U\'e2\'d0\'b7e \'a3\'a5\'ba\'81\'89\'b7\'d1\'c1\'8a\'82\'b7\'a1\'94a})") << u"大韓民國은 민주공화국이다"_s;
    QTest::newRow("\\ansicpg1361: lone jamo") << QByteArray(R"({\rtf1\ansicpg1361 \'c4A\'c4A \'b8\'81\'a3\'b6\'94a})") << u"ㅋㅋ 재밌다"_s;
    QTest::newRow("\\ansicpg1361: 0x5C is the backslash") << QByteArray(R"({\rtf1\ansicpg1361 C:\'5c\'a2\'85\'ac\'e1})") << u"C:\\문서"_s;
    QTest::newRow("\\ansicpg1361: lead byte without its trail") << QByteArray(R"({\rtf1\ansicpg1361 \'88 x})") << u"\uFFFD x"_s;
    QTest::newRow("\\fcharset130 (Johab)") << QByteArray(R"({\rtf1{\fonttbl{\f1\fcharset130 Gulim;}}\f1 \'8f\'7b\'90v\'94a})") << u"끝났다"_s;
    // clang-format on
}

void TestRtfReader::codePages()
{
    QFETCH(QByteArray, rtf);
    QFETCH(QString, text);
    const std::unique_ptr<QTextDocument> doc = RtfReader::read(rtf);
    QVERIFY(doc);
    QCOMPARE(RichText::plainCharacters(*doc), text);
}

// Every two-byte code glibc's Johab converter knows decodes to the same character.
void TestRtfReader::johabAgreesWithIconv()
{
    const iconv_t johab = iconv_open("UTF-16LE", "JOHAB");
    if (johab == iconv_t(-1))
        SKIP_FOR_MISSING_TOOL("glibc's JOHAB converter (its gconv module) is missing");
    const auto close = qScopeGuard([johab] { iconv_close(johab); });
    CodePageDecoder decoder;
    int compared = 0;
    for (int lead = 0x84; lead <= 0xF9; ++lead) {
        for (int trail = 0x31; trail <= 0xFE; ++trail) {
            if (lead == 0xD9 && trail == 0xE8)
                continue; // KS X 1001:2002's circled ieung-u, newer than ICU's EUC-KR table
            char in[2] = {char(lead), char(trail)};
            char16_t out[4];
            char* inAt = in;
            char* outAt = reinterpret_cast<char*>(out);
            std::size_t inLeft = sizeof in, outLeft = sizeof out;
            iconv(johab, nullptr, nullptr, nullptr, nullptr);
            if (iconv(johab, &inAt, &inLeft, &outAt, &outLeft) == std::size_t(-1) || inLeft)
                continue;
            const QString expected = QString::fromUtf16(out, qsizetype(sizeof out - outLeft) / 2);
            const QString decoded = decoder.decode(std::string_view(in, 2), 1361);
            if (decoded != expected)
                QFAIL(qPrintable(u"%1%2: %3, iconv %4"_s.arg(lead, 2, 16)
                                     .arg(trail, 2, 16)
                                     .arg(decoded, expected)));
            ++compared;
        }
    }
    QVERIFY(compared > 17000);
}

void TestRtfReader::malformed_data()
{
    QTest::addColumn<QByteArray>("rtf");
    QTest::addColumn<QString>("expected"); // empty: nothing is read
    const QByteArray hundredDigits = repeated("9", 100);
    // clang-format off
    QTest::newRow("not RTF") << QByteArray("hello") << QString();
    QTest::newRow("empty") << QByteArray() << QString();
    QTest::newRow("closing brace first") << QByteArray("}{\\rtf1 a}") << QString();
    QTest::newRow("header only") << QByteArray("{\\rtf") << u"<"_s;
    QTest::newRow("unterminated group") << QByteArray("{\\rtf1 {\\b bold") << u"<[bold|b]"_s;
    QTest::newRow("500 nested groups") << QByteArray("{\\rtf1 " + repeated("{", 500) + "x" + repeated("}", 500) + "}") << u"<[x|]"_s;
    QTest::newRow("100000 nested groups") << QByteArray("{\\rtf1 " + repeated("{", 100000) + "x") << u"<[x|]"_s;
    QTest::newRow("deeper than the limit, all different") << QByteArray("{\\rtf1 " + repeated("{\\b {\\b0 ", 300) + "{\\b x" + repeated("}", 601) + "y}") << u"<[x|b][y|]"_s;
    QTest::newRow("huge \\fs") << QByteArray(R"({\rtf1\fs99999999999 a})") << u"<[a|z=1638]"_s;
    QTest::newRow("negative \\fs") << QByteArray(R"({\rtf1\fs-5 a})") << u"<[a|]"_s;
    QTest::newRow("huge \\u") << QByteArray(R"({\rtf1\u99999999999?a\u-99999?b})") << u"<[ab|]"_s;
    QTest::newRow("100-digit parameters") << QByteArray("{\\rtf1\\fs" + hundredDigits + " a\\cf" + hundredDigits + " b\\uc" + hundredDigits + " c{\\u-" + hundredDigits + " d}\\f" + hundredDigits + " e}") << u"<[abce|z=1638]"_s;
    QTest::newRow("100-letter control word") << QByteArray("{\\rtf1\\" + repeated("b", 100) + " a}") << u"<[a|]"_s;
    QTest::newRow("truncated \\'h at the end") << QByteArray("{\\rtf1 a\\'4") << u"<[a|]"_s;
    QTest::newRow("\\' without hex digits") << QByteArray(R"({\rtf1 a\'zzb\'4})") << u"<[azzb|]"_s;
    QTest::newRow("backslash at the end") << QByteArray("{\\rtf1 a\\") << u"<[a|]"_s;
    QTest::newRow("\\* at the end") << QByteArray("{\\rtf1 a{\\*") << u"<[a|]"_s;
    QTest::newRow("\\bin past the end") << QByteArray("{\\rtf1 a\\bin999 xyz") << u"<[a|]"_s;
    QTest::newRow("negative \\bin") << QByteArray(R"({\rtf1 a\bin-5 b})") << u"<[ab|]"_s;
    QTest::newRow("text after the end") << QByteArray("{\\rtf1 a}b}c") << u"<[a|]"_s;
    QTest::newRow("NUL bytes") << QByteArray("{\\rtf1 a\0b}", 11) << u"<[ab|]"_s;
    QTest::newRow("\\uc skip past the end") << QByteArray("{\\rtf1 \\uc5\\u233") << u"<[é|]"_s;
    QTest::newRow("unterminated field") << QByteArray(R"({\rtf1{\field{\*\fldinst HYPERLINK "x)") << u"<"_s;
    QTest::newRow("link result without instruction") << QByteArray(R"({\rtf1{\field{\fldrslt a}}})") << u"<[a|]"_s;
    QTest::newRow("colour components out of range") << QByteArray(R"({\rtf1{\colortbl;\red999\green-4\blue256;}\cf1 a})") << u"<[a|c=#ff00ff]"_s;
    QTest::newRow("font table entries without names") << QByteArray(R"({\rtf1{\fonttbl{\f1;}\f2\f3}\f1 a\f3 b})") << u"<[ab|]"_s;
    // clang-format on
}

void TestRtfReader::malformed()
{
    QFETCH(QByteArray, rtf);
    QFETCH(QString, expected);
    const std::unique_ptr<QTextDocument> doc = RtfReader::read(rtf);
    if (expected.isEmpty()) {
        QVERIFY(!doc);
        return;
    }
    QVERIFY(doc);
    QCOMPARE(dump(*doc), expected);
}

// Every file the fuzzer starts from, and the fixtures: whatever reads must write, and what is
// written must read back to the same bytes when written again.
void TestRtfReader::corpus()
{
    QStringList files;
    for (const char* dir : {SCRIVLANE_RTF_CORPUS, SCRIVLANE_RTF_FIXTURES}) {
        const QDir d(QString::fromUtf8(dir));
        for (const QString& name : d.entryList(QDir::Files, QDir::Name))
            files << d.filePath(name);
    }
    QVERIFY(files.size() >= 10);
    for (const QString& file : files) {
        const std::unique_ptr<QTextDocument> doc = RtfReader::read(readFile(file));
        if (!doc)
            continue;
        const std::optional<QByteArray> once = RtfWriter::write(*doc);
        QVERIFY2(once, qPrintable(file));
        const std::unique_ptr<QTextDocument> back = RtfReader::read(*once);
        QVERIFY2(back, qPrintable(file));
        QCOMPARE(dump(*back), dump(*doc));
        QCOMPARE(RtfWriter::write(*back), once);
    }
}

// A small input cannot make a large document: more text than the bound reads as nothing, and
// the writer refuses what the reader would refuse.
void TestRtfReader::outputBound()
{
    const QByteArray text(RtfReader::maxCharacters, 'a');
    QVERIFY(
        RtfReader::read(QByteArray("{\\rtf1 " + text.left(RtfReader::maxCharacters - 1) + "}")));
    QVERIFY(!RtfReader::read(QByteArray("{\\rtf1 " + text + "b}")));
    QVERIFY(!RtfReader::read(
        QByteArray("{\\rtf1 " + repeated("\\par ", int(RtfReader::maxPieces) + 1) + "}")));

    QTextDocument doc;
    doc.setPlainText(QString::fromLatin1(text) + u"b"_s);
    QVERIFY(!RtfWriter::write(doc));

    // Second bytes written as text join the bytes before them one at a time: each must cost
    // the same however many came before (a rescan of them all took minutes here).
    QElapsedTimer timer;
    timer.start();
    const auto kana =
        RtfReader::read(QByteArray("{\\rtf1\\ansicpg932 " + repeated("\\'83A", 250000) + "}"));
    QVERIFY(kana);
    QCOMPARE(RichText::plainCharacters(*kana), QString(250000, u'ア'));
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
}

QTEST_MAIN(TestRtfReader)
#include "tst_rtfreader.moc"

#include "macros/MacroProcessor.h"
#include "richtext/PlainCharacters.h"
#include "support/Fakes.h"
#include "support/RichTextTestSupport.h"
#include "support/TestText.h"

#include <QGuiApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace RichTest;

namespace {

struct Case {
    QList<Para> input;
    QString expected; // dump() of the result
    qsizetype cursor = 0;
    QHash<QString, QString> fills{};
    QHash<QString, QString> snippets{};
    std::optional<QString> clipboard = u"C"_s;
};

const Attr bold{.bold = true};
const Attr red{.color = u"#ff0000"_s};
const Attr boldRedMono{.bold = true, .family = u"Mono"_s, .color = u"#ff0000"_s};

} // namespace

Q_DECLARE_METATYPE(Case)

class TestRichMacroResolution : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init() { MacroProcessor::setClipboardReader(nullptr); }
    void resolveRich_data();
    void resolveRich();
    void lineBreaksKept_data();
    void lineBreaksKept();
    void inputUntouched();
    void richPreviewText_data();
    void richPreviewText();
};

void TestRichMacroResolution::resolveRich_data()
{
    QTest::addColumn<Case>("c");
    const QString thumbs = TestText::thumbsUpMedium;
    // clang-format off
    QTest::newRow("value takes the macro's attributes") << Case{.input = {{{{u"Hi "_s}, {u"{fill:Name}"_s, boldRedMono}, {u"!"_s}}}}, .expected = u"<[Hi |][Ada|b f=Mono c=#ff0000][!|]"_s, .fills = {{u"Name"_s, u"Ada"_s}}};
    QTest::newRow("attributes of the first character") << Case{.input = {{{{u"{clip"_s, bold}, {u"board}"_s, red}}}}, .expected = u"<[C|b]"_s};
    QTest::newRow("inside a link") << Case{.input = {{{{u"go {clipboard} now"_s, {.href = u"https://x.example/"_s}}}}}, .expected = u"<[go C now|a=https://x.example/]"_s};
    QTest::newRow("other runs untouched") << Case{.input = {{{{u"a"_s, red}, {u"{fill}"_s}, {u"b"_s, bold}}}, {{{u"c"_s}}, Qt::AlignHCenter}}, .expected = u"<[a|c=#ff0000][v|][b|b]\n=[c|]"_s, .fills = {{u"Value"_s, u"v"_s}}};
    QTest::newRow("empty value removes the macro") << Case{.input = {{{{u"a"_s}, {u"{fill:x}"_s, bold}, {u"b"_s}}}}, .expected = u"<[ab|]"_s, .fills = {{u"x"_s, u""_s}}};
    QTest::newRow("unknown and AI passed through") << Case{.input = {{{{u"{Foo:Bar} {AI:Hi}"_s, bold}}}}, .expected = u"<[{foo:Bar} {ai:Hi}|b]"_s};
    QTest::newRow("multi-line value makes paragraphs") << Case{.input = {{{{u"<{clipboard}>"_s, bold}}, Qt::AlignRight}}, .expected = u">[<x|b]\n>[y>|b]"_s, .clipboard = u"x\ny"_s};
    QTest::newRow("nested snippet resolved as plain text") << Case{.input = {{{{u"{snippet:sig}"_s, red}}}}, .expected = u"<[C-{x}|c=#ff0000]"_s, .snippets = {{u"sig"_s, u"{clipboard}-{X}"_s}}};
    QTest::newRow("first cursor wins") << Case{.input = {{{{u"ab{cursor}cd{cursor}ef"_s}}}}, .expected = u"<[abcdef|]"_s, .cursor = 4};
    QTest::newRow("cursor counts UTF-16 units of emoji") << Case{.input = {{{{u"{cursor}"_s + thumbs}}}}, .expected = u"<["_s + thumbs + u"|]"_s, .cursor = 4};
    QTest::newRow("cursor counts replaced values") << Case{.input = {{{{u"a{cursor}{clipboard}{fill}"_s}}}}, .expected = u"<[a"_s + thumbs + u"e\u0301|]"_s, .cursor = 6, .fills = {{u"Value"_s, u"e\u0301"_s}}, .clipboard = thumbs};
    QTest::newRow("cursor counts paragraph breaks") << Case{.input = {{{{u"a{cursor}b"_s}}}, {{{u"cd"_s}}}}, .expected = u"<[ab|]\n<[cd|]"_s, .cursor = 4};
    QTest::newRow("no cursor") << Case{.input = {{{{u"abc"_s}}}}, .expected = u"<[abc|]"_s};
    QTest::newRow("macro across paragraphs is one macro") << Case{.input = {{{{u"{fill:a"_s}}}, {{{u"b}x"_s}}}}, .expected = u"<[vx|]"_s, .fills = {{u"a\nb"_s, u"v"_s}}};
    QTest::newRow("pending fill-ins: input unchanged") << Case{.input = {{{{u"{cursor}"_s}, {u"{fill:Name}"_s, bold}}}}, .expected = u"<[{cursor}|][{fill:Name}|b]"_s, .fills = {{u"name"_s, u"x"_s}}};
    // clang-format on
}

void TestRichMacroResolution::resolveRich()
{
    QFETCH(Case, c);
    const auto doc = makeDocument(c.input);
    const auto lookup = [&](const QString& abbr) -> std::optional<QString> {
        return c.snippets.contains(abbr) ? std::optional(c.snippets.value(abbr)) : std::nullopt;
    };
    const RichResolutionResult result =
        MacroProcessor::resolveRich(*doc, c.clipboard, c.fills, lookup);
    QVERIFY(result.document);
    QCOMPARE(dump(*result.document), c.expected);
    QCOMPARE(result.cursorBacktrackCount, c.cursor);
}

void TestRichMacroResolution::lineBreaksKept_data()
{
    QTest::addColumn<QString>("value");
    QTest::newRow("LF") << u"x\ny"_s;
    QTest::newRow("CR LF") << u"x\r\ny"_s;
    QTest::newRow("CR") << u"x\ry"_s;
    QTest::newRow("paragraph separator") << u"x\u2029y"_s;
    QTest::newRow("mixed, at both ends") << u"\r\nx\ry\n\n\r\n"_s;
    QTest::newRow("CR at the end") << u"x\r"_s;
}

// A value's breaks come back as they were, and make the same paragraphs whatever they are.
void TestRichMacroResolution::lineBreaksKept()
{
    QFETCH(QString, value);
    const auto doc =
        makeDocument({{{{u"<{cursor}{clipboard}>"_s, bold}}, Qt::AlignRight}, {{{u"z"_s}}}});
    const RichResolutionResult result = MacroProcessor::resolveRich(*doc, value);
    QCOMPARE(RichText::plainCharacters(*result.document), u"<"_s + value + u">\nz"_s);
    QCOMPARE(result.cursorBacktrackCount, value.size() + 3);
    QString unified = value;
    unified.replace(u"\r\n"_s, u"\n"_s)
        .replace(u'\r', u'\n')
        .replace(QChar::ParagraphSeparator, u'\n');
    const RichResolutionResult plainBreaks = MacroProcessor::resolveRich(*doc, unified);
    QCOMPARE(dump(*result.document), dump(*plainBreaks.document));
    QCOMPARE(result.document->blockCount(), unified.count(u'\n') + 2);
}

void TestRichMacroResolution::inputUntouched()
{
    const auto doc = makeDocument({{{{u"a{clipboard}{cursor}b"_s, bold}}}});
    const QString before = dump(*doc);
    const RichResolutionResult result = MacroProcessor::resolveRich(*doc, u"xyz"_s);
    QCOMPARE(dump(*result.document), u"<[axyzb|b]"_s);
    QCOMPARE(result.cursorBacktrackCount, 1);
    QCOMPARE(dump(*doc), before);
}

void TestRichMacroResolution::richPreviewText_data()
{
    QTest::addColumn<QList<Para>>("input");
    QTest::addColumn<QString>("expected");
    // clang-format off
    QTest::newRow("fill-ins pending: labels, cursor marker") << QList<Para>{{{{u"Dear {fill:Name},{cursor} "_s, bold}, {u"{clipboard}"_s}}}} << u"Dear [Name],│ clip"_s;
    QTest::newRow("resolved: no cursor marker") << QList<Para>{{{{u"a{cursor}b {clipboard}"_s}}}} << u"ab clip"_s;
    QTest::newRow("AI macro shown bracketed") << QList<Para>{{{{u"{ai:  summarise {clipboard} }"_s, red}}}} << u"[AI: summarise {clipboard…] }"_s;
    QTest::newRow("paragraphs as line breaks") << QList<Para>{{{{u"a"_s}}}, {{{u"{snippet:x}b"_s}}}} << u"a\nb"_s;
    // clang-format on
}

// The preview reads the real clipboard, never an override.
void TestRichMacroResolution::richPreviewText()
{
    QFETCH(QList<Para>, input);
    QFETCH(QString, expected);
    FakeClipboard clipboard;
    clipboard.setText(u"clip"_s);
    MacroProcessor::setClipboardReader(&clipboard);
    QCOMPARE(MacroProcessor::richPreviewText(*makeDocument(input)), expected);
    MacroProcessor::setClipboardReader(nullptr);
}

QTEST_MAIN(TestRichMacroResolution)
#include "tst_richmacroresolution.moc"

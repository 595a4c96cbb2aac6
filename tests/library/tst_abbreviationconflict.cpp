#include "library/AbbreviationConflict.h"
#include "library/SnippetEntity.h"
#include "support/TestText.h"

#include <QTest>
#include <vector>

using namespace Qt::StringLiterals;

using namespace TestText;

namespace {

// A snippet already in the library, in the order of the "all snippets" fetch.
struct Existing {
    std::optional<QString> abbreviation;
    bool trashed = false;
};

Existing live(const QString& abbreviation)
{
    return {abbreviation, false};
}
Existing trashed(const QString& abbreviation)
{
    return {abbreviation, true};
}
Existing noAbbreviation()
{
    return {std::nullopt, false};
}

} // namespace

using Library = QList<Existing>;
using Kind = AbbreviationConflict::Kind;
Q_DECLARE_METATYPE(Library)
Q_DECLARE_METATYPE(AbbreviationConflict::Kind)
Q_DECLARE_METATYPE(ConflictWarning::Tint)

class TestAbbreviationConflict : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void conflict_data();
    void conflict();
    void warning_data();
    void warning();
    void tintColors();
};

void TestAbbreviationConflict::conflict_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<Library>("library");
    QTest::addColumn<int>("excluded"); // index into library, -1 for none
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<int>("other");

    const QString eComposed = u({0xE9});
    const QString eDecomposed = u({'e', 0x301});
    const QString flagUs = u({0x1F1FA, 0x1F1F8});

    QTest::newRow("duplicate") << u"mre"_s << Library{live(u"mre"_s)} << -1 << Kind::duplicate << 0;
    QTest::newRow("typed is a prefix of the other")
        << u"mre"_s << Library{live(u"mrex"_s)} << -1 << Kind::prefixClash << 0;
    QTest::newRow("other is a prefix of typed")
        << u"mrex"_s << Library{live(u"mre"_s)} << -1 << Kind::prefixClash << 0;
    QTest::newRow("typed is trimmed")
        << u" \tmre \t"_s << Library{live(u"mre"_s)} << -1 << Kind::duplicate << 0;
    QTest::newRow("other is trimmed")
        << u"mre"_s << Library{live(u"\t mre "_s)} << -1 << Kind::duplicate << 0;
    QTest::newRow("line break is not trimmed")
        << u"mre\n"_s << Library{live(u"mre"_s)} << -1 << Kind::prefixClash << 0;
    QTest::newRow("case differs") << u"MRE"_s << Library{live(u"mre"_s)} << -1 << Kind::none << -1;
    QTest::newRow("unrelated") << u"sig"_s << Library{live(u"mre"_s), live(u"si"_s.append(u'x'))}
                               << -1 << Kind::none << -1;
    QTest::newRow("shared start is not a prefix")
        << u"mrea"_s << Library{live(u"mreb"_s)} << -1 << Kind::none << -1;
    QTest::newRow("editing never clashes with itself")
        << u"mre"_s << Library{live(u"mre"_s)} << 0 << Kind::none << -1;
    QTest::newRow("self skipped, another duplicate found")
        << u"mre"_s << Library{live(u"mre"_s), live(u"mre"_s)} << 0 << Kind::duplicate << 1;
    QTest::newRow("trashed snippet counts")
        << u"mre"_s << Library{trashed(u"mre"_s)} << -1 << Kind::duplicate << 0;
    QTest::newRow("empty typed") << QString() << Library{live(u"mre"_s)} << -1 << Kind::none << -1;
    QTest::newRow("blank typed") << u" \t "_s << Library{live(u" "_s), live(u"mre"_s)} << -1
                                 << Kind::none << -1;
    QTest::newRow("first in order wins over a later duplicate")
        << u"mre"_s << Library{live(u"mrex"_s), live(u"mre"_s)} << -1 << Kind::prefixClash << 0;
    QTest::newRow("first in order wins over a later prefix clash")
        << u"mre"_s << Library{live(u"mre"_s), live(u"mrex"_s)} << -1 << Kind::duplicate << 0;
    QTest::newRow("absent and blank abbreviations skipped")
        << u"mre"_s << Library{noAbbreviation(), live(QString()), live(u" \t"_s), live(u"mre"_s)}
        << -1 << Kind::duplicate << 3;
    QTest::newRow("empty library") << u"mre"_s << Library{} << -1 << Kind::none << -1;
    QTest::newRow("composed and decomposed are the same")
        << (u"caf"_s + eComposed) << Library{live(u"caf"_s + eDecomposed)} << -1 << Kind::duplicate
        << 0;
    QTest::newRow("prefix across spellings")
        << (u"caf"_s + eDecomposed) << Library{live(u"caf"_s + eComposed + u"s"_s)} << -1
        << Kind::prefixClash << 0;
    QTest::newRow("base letter is not a prefix of the accented one")
        << u"cafe"_s << Library{live(u"caf"_s + eDecomposed)} << -1 << Kind::none << -1;
    QTest::newRow("half a flag is not a prefix")
        << u({0x1F1FA}) << Library{live(flagUs)} << -1 << Kind::none << -1;
    QTest::newRow("whole flag is a prefix")
        << flagUs << Library{live(flagUs + flagUs)} << -1 << Kind::prefixClash << 0;
}

void TestAbbreviationConflict::conflict()
{
    QFETCH(QString, typed);
    QFETCH(Library, library);
    QFETCH(int, excluded);
    QFETCH(Kind, kind);
    QFETCH(int, other);

    std::vector<std::unique_ptr<SnippetEntity>> owned;
    QList<SnippetEntity*> among;
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    for (const Existing& existing : std::as_const(library)) {
        auto snippet = std::make_unique<SnippetEntity>();
        snippet->setAbbreviation(existing.abbreviation);
        if (existing.trashed)
            snippet->setTrashedAt(now);
        among.append(snippet.get());
        owned.push_back(std::move(snippet));
    }
    const SnippetEntity* excluding = excluded >= 0 ? among.at(excluded) : nullptr;

    const AbbreviationConflict conflict = abbreviationConflict(typed, among, excluding);
    QCOMPARE(conflict.kind(), kind);
    QCOMPARE(conflict.other(), other >= 0 ? among.at(other) : nullptr);
}

void TestAbbreviationConflict::warning_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<std::optional<QString>>("abbreviation");
    QTest::addColumn<std::optional<QString>>("title");
    QTest::addColumn<QString>("expandedText");
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<ConflictWarning::Tint>("tint");
    QTest::addColumn<QString>("text");

    using Tint = ConflictWarning::Tint;
    const std::optional<QString> absent;
    const QString triangle = u"exclamationmark.triangle.fill"_s;
    const QString xmark = u"xmark.circle.fill"_s;
    QTest::newRow("prefix clash")
        << Kind::prefixClash << std::optional(u"mrex"_s) << std::optional(u"Mine"_s) << QString()
        << triangle << Tint::orange
        << u"Conflicts with \"mrex\" \u2014 one will always expand first"_s;
    QTest::newRow("prefix clash quotes the stored abbreviation")
        << Kind::prefixClash << std::optional(u" mrex\t"_s) << absent << QString() << triangle
        << Tint::orange << u"Conflicts with \" mrex\t\" \u2014 one will always expand first"_s;
    QTest::newRow("prefix clash, absent abbreviation")
        << Kind::prefixClash << absent << absent << QString() << triangle << Tint::orange
        << u"Conflicts with \"\" \u2014 one will always expand first"_s;
    QTest::newRow("duplicate, titled")
        << Kind::duplicate << std::optional(u"mre"_s) << std::optional(u"My email"_s) << QString()
        << xmark << Tint::red << u"Already used by \"My email\""_s;
    QTest::newRow("duplicate, untitled")
        << Kind::duplicate << std::optional(u"mre"_s) << std::optional(QString())
        << u"me@example.org"_s << xmark << Tint::red << u"Already used by \"me@example.org\""_s;
    QTest::newRow("duplicate, nothing to show")
        << Kind::duplicate << std::optional(u"mre"_s) << absent << QString() << xmark << Tint::red
        << u"Already used by \"Untitled Snippet\""_s;
}

void TestAbbreviationConflict::warning()
{
    QFETCH(Kind, kind);
    QFETCH(std::optional<QString>, abbreviation);
    QFETCH(std::optional<QString>, title);
    QFETCH(QString, expandedText);
    QFETCH(QString, symbol);
    QFETCH(ConflictWarning::Tint, tint);
    QFETCH(QString, text);

    SnippetEntity other;
    other.setAbbreviation(abbreviation);
    other.setTitle(title);
    other.setExpandedText(expandedText);
    const AbbreviationConflict conflict = kind == Kind::duplicate
                                              ? AbbreviationConflict::duplicate(&other)
                                              : AbbreviationConflict::prefixClash(&other);
    const std::optional<ConflictWarning> warning = conflictWarning(conflict);
    QVERIFY(warning.has_value());
    QCOMPARE(warning->symbolName, symbol);
    QCOMPARE(warning->tint, tint);
    QCOMPARE(warning->text, text);

    QVERIFY(!conflictWarning(AbbreviationConflict()).has_value());
}

void TestAbbreviationConflict::tintColors()
{
    // Swapped or washed-out colours would still compile; the hues must read as orange and red.
    const QColor orange = ConflictWarning{{}, ConflictWarning::Tint::orange, {}}.color();
    const QColor red = ConflictWarning{{}, ConflictWarning::Tint::red, {}}.color();
    QVERIFY2(orange.hsvHue() >= 25 && orange.hsvHue() <= 45, qPrintable(orange.name()));
    QVERIFY2(red.hsvHue() <= 10 || red.hsvHue() >= 350, qPrintable(red.name()));
    QVERIFY(orange.hsvSaturation() > 200 && red.hsvSaturation() > 200);
}

QTEST_APPLESS_MAIN(TestAbbreviationConflict)
#include "tst_abbreviationconflict.moc"

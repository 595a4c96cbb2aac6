#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"
#include "support/TestText.h"

#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <vector>

using namespace Qt::StringLiterals;

using namespace TestText;

namespace {

const QDateTime epoch = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);

// Ids whose order follows the label, so that tie-breaking can be predicted.
QUuid idFor(QChar label)
{
    return QUuid(label.unicode(), 0, 0, 0, 0, 0, 0, 0, 0, 0, 1);
}

// Text by foreground colour, "text:#rrggbb" or "text:" without one; paragraphs apart.
QString colorRuns(const QTextDocument& doc)
{
    QStringList paragraphs;
    for (QTextBlock block = doc.begin(); block.isValid(); block = block.next()) {
        QStringList runs;
        QString last = u"-"_s;
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextCharFormat f = it.fragment().charFormat();
            const QString color = f.hasProperty(QTextFormat::ForegroundBrush)
                                      ? f.foreground().color().name()
                                      : QString();
            if (color == last)
                runs.last().insert(runs.last().lastIndexOf(u':'), it.fragment().text());
            else
                runs << it.fragment().text() + u":"_s + color;
            last = color;
        }
        paragraphs << runs.join(u'|');
    }
    return paragraphs.join(u" ¶ "_s);
}

const QByteArray blackGreyRed =
    R"({\rtf1{\colortbl;\red0\green0\blue0;\red128\green128\blue128;)"
    R"(\red255\green0\blue0;}\cf1 black\cf2\b grey\cf3 red\par\cf1 two})";

} // namespace

using OptionalString = std::optional<QString>;
Q_DECLARE_METATYPE(OptionalString)

class TestRecords : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void displayTitle_data();
    void displayTitle();
    void snippetOrder_data();
    void snippetOrder();
    void relationship();
    void destructionUnlinks_data();
    void destructionUnlinks();
    void newSnippet_data();
    void newSnippet();
    void categoryDisplayName_data();
    void categoryDisplayName();
    void attributedTextRead_data();
    void attributedTextRead();
    void attributedTextWrite();
    void attributedTextWriteWithoutRtf();
};

void TestRecords::displayTitle_data()
{
    QTest::addColumn<OptionalString>("title");
    QTest::addColumn<OptionalString>("expandedText");
    QTest::addColumn<QString>("expected");
    const OptionalString absent;
    const QString a39(39, u'a');
    const QString hundred = QString(60, u'x') + QString(40, u'y');
    QTest::newRow("title") << OptionalString(QStringLiteral("Sig")) << OptionalString(u"x"_s)
                           << QStringLiteral("Sig");
    QTest::newRow("empty title, text")
        << OptionalString(QString()) << OptionalString(QStringLiteral("Hello, world"))
        << QStringLiteral("Hello, world");
    QTest::newRow("absent title, text") << absent << OptionalString(QStringLiteral("Hello, world"))
                                        << QStringLiteral("Hello, world");
    QTest::newRow("both empty") << OptionalString(QString()) << OptionalString(QString())
                                << QStringLiteral("Untitled Snippet");
    QTest::newRow("both absent") << absent << absent << QStringLiteral("Untitled Snippet");
    QTest::newRow("blank title is kept")
        << OptionalString(QStringLiteral("  ")) << OptionalString(QStringLiteral("text"))
        << QStringLiteral("  ");
    QTest::newRow("blank text is kept")
        << absent << OptionalString(QStringLiteral(" \n ")) << QStringLiteral(" \n ");
    QTest::newRow("100 characters") << absent << OptionalString(hundred) << (QString(40, u'x'));
    QTest::newRow("exactly 40") << absent << OptionalString(QString(40, u'z')) << QString(40, u'z');
    QTest::newRow("emoji sequence at the cut")
        << absent << OptionalString(a39 + family + QStringLiteral("tail")) << (a39 + family);
    QTest::newRow("combining mark at the cut")
        << absent << OptionalString(a39 + eAcuteDecomposed + QStringLiteral("tail"))
        << (a39 + eAcuteDecomposed);
    QTest::newRow("flag straddles 40 units")
        << absent << OptionalString(a39 + flagUs + flagUs) << (a39 + flagUs);
    QTest::newRow("forty emoji") << absent << OptionalString(QString(family).repeated(41))
                                 << QString(family).repeated(40);
}

void TestRecords::displayTitle()
{
    QFETCH(OptionalString, title);
    QFETCH(OptionalString, expandedText);
    QFETCH(QString, expected);
    SnippetEntity snippet;
    snippet.setTitle(title);
    snippet.setExpandedText(expandedText);
    QCOMPARE(snippet.displayTitle(), expected);
}

// Each snippet is written "label day [trashed] [noid]"; day "-" means no creation date.
void TestRecords::snippetOrder_data()
{
    QTest::addColumn<QStringList>("snippets");
    QTest::addColumn<QString>("sorted");
    QTest::addColumn<QString>("active");
    QTest::newRow("newest first") << QStringList{u"a 1"_s, u"b 3"_s, u"c 2"_s}
                                  << QStringLiteral("bca") << QStringLiteral("bca");
    QTest::newRow("no creation date is oldest") << QStringList{u"a -"_s, u"b 0"_s, u"c -5"_s}
                                                << QStringLiteral("bca") << QStringLiteral("bca");
    QTest::newRow("trashed only in sorted")
        << QStringList{u"a 1 trashed"_s, u"b 3"_s, u"c 2 trashed"_s, u"d 0"_s}
        << QStringLiteral("bcad") << QStringLiteral("bd");
    QTest::newRow("all trashed") << QStringList{u"a 1 trashed"_s, u"b 2 trashed"_s}
                                 << QStringLiteral("ba") << QString();
    QTest::newRow("ties by id") << QStringList{u"f 1"_s, u"d 1"_s, u"b 1"_s, u"e 1"_s,
                                               u"a 1"_s, u"c 1"_s, u"g 2"_s}
                                << QStringLiteral("gabcdef") << QStringLiteral("gabcdef");
    QTest::newRow("ties without date or id")
        << QStringList{u"e -"_s, u"c -"_s, u"a - noid"_s, u"d -"_s, u"b -"_s}
        << QStringLiteral("bcdea") << QStringLiteral("bcdea");
    QTest::newRow("empty") << QStringList{} << QString() << QString();
}

void TestRecords::snippetOrder()
{
    QFETCH(QStringList, snippets);
    QFETCH(QString, sorted);
    QFETCH(QString, active);
    CategoryEntity category;
    std::vector<std::unique_ptr<SnippetEntity>> owned;
    QHash<const SnippetEntity*, QChar> labels;
    for (const QString& written : std::as_const(snippets)) {
        const QStringList parts = written.split(u' ');
        auto snippet = std::make_unique<SnippetEntity>();
        if (parts.at(1) != u"-")
            snippet->setCreatedAt(epoch.addDays(parts.at(1).toInt()));
        if (parts.contains(u"trashed"_s))
            snippet->setTrashedAt(epoch.addDays(10));
        if (!parts.contains(u"noid"_s))
            snippet->setId(idFor(parts.at(0).at(0)));
        snippet->setCategory(&category);
        labels.insert(snippet.get(), parts.at(0).at(0));
        owned.push_back(std::move(snippet));
    }
    const auto spell = [&](const QList<SnippetEntity*>& list) {
        QString s;
        for (const SnippetEntity* snippet : list)
            s += labels.value(snippet);
        return s;
    };
    QCOMPARE(spell(category.sortedSnippets()), sorted);
    QCOMPARE(spell(category.activeSnippets()), active);
}

void TestRecords::relationship()
{
    CategoryEntity work;
    CategoryEntity home;
    SnippetEntity a;
    SnippetEntity b;

    a.setCategory(&work);
    b.setCategory(&work);
    a.setCategory(&work); // again: still one membership
    QCOMPARE(a.category(), &work);
    QCOMPARE(work.snippets(), (QSet<SnippetEntity*>{&a, &b}));

    a.setCategory(&home);
    QCOMPARE(work.snippets(), QSet<SnippetEntity*>{&b});
    QCOMPARE(home.snippets(), QSet<SnippetEntity*>{&a});

    home.addSnippet(&b);
    QCOMPARE(b.category(), &home);
    QVERIFY(work.snippets().isEmpty());

    work.removeSnippet(&a); // not a member there: nothing changes
    QCOMPARE(a.category(), &home);
    home.removeSnippet(&a);
    QCOMPARE(a.category(), nullptr);
    QCOMPARE(home.snippets(), QSet<SnippetEntity*>{&b});

    b.setCategory(nullptr);
    QVERIFY(home.snippets().isEmpty());
}

void TestRecords::destructionUnlinks_data()
{
    QTest::addColumn<bool>("destroyCategory");
    QTest::newRow("category destroyed") << true;
    QTest::newRow("snippet destroyed") << false;
}

void TestRecords::destructionUnlinks()
{
    QFETCH(bool, destroyCategory);
    auto category = std::make_unique<CategoryEntity>();
    auto doomed = std::make_unique<SnippetEntity>();
    SnippetEntity survivor;
    doomed->setCategory(category.get());
    survivor.setCategory(category.get());
    if (destroyCategory) {
        category.reset();
        QCOMPARE(survivor.category(), nullptr);
        QCOMPARE(doomed->category(), nullptr);
        // Must not reach back into the destroyed category.
        doomed.reset();
        survivor.setCategory(nullptr);
    } else {
        doomed.reset();
        QCOMPARE(category->snippets(), QSet<SnippetEntity*>{&survivor});
        QCOMPARE(category->sortedSnippets(), QList<SnippetEntity*>{&survivor});
    }
}

void TestRecords::newSnippet_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("abbreviation");
    QTest::addColumn<QString>("storedAbbreviation");
    QTest::newRow("plain") << QStringLiteral("Signature") << QStringLiteral("sig")
                           << QStringLiteral("sig");
    QTest::newRow("spaces and tabs trimmed, title kept")
        << QStringLiteral("  Sig \t") << QStringLiteral(" \tsig\t ") << QStringLiteral("sig");
    QTest::newRow("inner blanks stay")
        << QString() << QStringLiteral(" a b ") << QStringLiteral("a b");
    QTest::newRow("line breaks stay")
        << QString() << QStringLiteral("\nsig\r\n") << QStringLiteral("\nsig\r\n");
    QTest::newRow("blanks outside line breaks go")
        << QString() << QStringLiteral(" \t\nsig\n\t ") << QStringLiteral("\nsig\n");
    QTest::newRow("only blanks") << QString() << QStringLiteral(" \t ") << QString();
}

void TestRecords::newSnippet()
{
    QFETCH(QString, title);
    QFETCH(QString, abbreviation);
    QFETCH(QString, storedAbbreviation);
    CategoryEntity category;
    const auto snippet = SnippetEntity::create(title, abbreviation, &category, epoch);
    QCOMPARE(snippet->abbreviation(), OptionalString(storedAbbreviation));
    // An empty text, not an absent one: the engine skips snippets without text.
    QVERIFY(snippet->expandedText().has_value());
    QVERIFY(category.snippets().contains(snippet.get()));

    const auto uncategorised = SnippetEntity::create(title, abbreviation, nullptr, epoch);
    QCOMPARE(uncategorised->category(), nullptr);
    QVERIFY(uncategorised->id() != snippet->id());
}

void TestRecords::categoryDisplayName_data()
{
    QTest::addColumn<OptionalString>("name");
    QTest::addColumn<QString>("expected");
    QTest::newRow("named") << OptionalString(u"Work"_s) << QStringLiteral("Work");
    QTest::newRow("absent") << OptionalString() << QStringLiteral("Unnamed");
    QTest::newRow("empty stays empty") << OptionalString(QString()) << QString();
    QTest::newRow("blank stays blank") << OptionalString(u"  "_s) << QStringLiteral("  ");
}

void TestRecords::categoryDisplayName()
{
    QFETCH(OptionalString, name);
    QFETCH(QString, expected);
    CategoryEntity category;
    category.setName(name);
    QCOMPARE(category.displayName(), expected);
}

void TestRecords::attributedTextRead_data()
{
    QTest::addColumn<std::optional<QByteArray>>("rtf");
    QTest::addColumn<QString>("runs"); // empty: nothing read
    QTest::newRow("no RTF") << std::optional<QByteArray>() << QString();
    QTest::newRow("not RTF") << std::optional(QByteArray("Hello")) << QString();
    QTest::newRow("empty document") << std::optional(QByteArray("{\\rtf1}")) << u"(empty)"_s;
    QTest::newRow("black, grey and red")
        << std::optional(blackGreyRed) << u"blackgrey:|red:#ff0000 ¶ two:"_s;
    QTest::newRow("white and a pale tint go, a pale colour stays")
        << std::optional(QByteArray(R"({\rtf1{\colortbl;\red255\green255\blue255;)"
                                    R"(\red255\green226\blue226;\red255\green224\blue224;})"
                                    R"(\cf1 a\cf2 b\cf3 c})"))
        << u"ab:|c:#ffe0e0"_s;
}

void TestRecords::attributedTextRead()
{
    QFETCH(std::optional<QByteArray>, rtf);
    QFETCH(QString, runs);
    SnippetEntity snippet;
    snippet.setExpandedTextRTF(rtf);
    const std::unique_ptr<QTextDocument> text = snippet.attributedText();
    if (runs.isEmpty()) {
        QVERIFY(!text);
        return;
    }
    QVERIFY(text);
    QCOMPARE(text->isEmpty() ? u"(empty)"_s : colorRuns(*text), runs);
}

// Writing stores the plain characters and the RTF of the filtered text, and touches nothing
// else: not the caller's document, not the rich flag.
void TestRecords::attributedTextWrite()
{
    for (const bool rich : {false, true}) {
        const auto snippet = SnippetEntity::create(u"t"_s, u"a"_s, nullptr, epoch);
        snippet->setRichText(rich);
        const std::unique_ptr<QTextDocument> given = [] {
            SnippetEntity reader;
            reader.setExpandedTextRTF(blackGreyRed);
            return reader.attributedText();
        }();
        QTextCursor(given.get()).insertText(u"\u00a0"_s, QTextCharFormat()); // kept as it is
        QTextCharFormat grey;
        grey.setForeground(QColor(0x80, 0x80, 0x80));
        QTextCursor(given.get()).insertText(u"g"_s, grey);
        const QString before = colorRuns(*given);

        const QDateTime later = epoch.addSecs(5);
        snippet->setAttributedText(*given, later);
        QCOMPARE(colorRuns(*given), before);
        QCOMPARE(snippet->expandedText(), OptionalString(u"g\u00a0blackgreyred\ntwo"_s));
        QCOMPARE(snippet->updatedAt(), std::optional(later));
        QCOMPARE(snippet->createdAt(), std::optional(epoch));
        QCOMPARE(snippet->isRichText(), rich);
        QVERIFY(snippet->expandedTextRTF());
        QVERIFY(!snippet->expandedTextRTF()->contains("\\red128"));
        const std::unique_ptr<QTextDocument> back = snippet->attributedText();
        QVERIFY(back);
        QCOMPARE(colorRuns(*back), u"g\u00a0blackgrey:|red:#ff0000 ¶ two:"_s);
    }
}

// Too large for RTF: the plain characters are still stored, the RTF is removed.
void TestRecords::attributedTextWriteWithoutRtf()
{
    SnippetEntity snippet;
    snippet.setExpandedTextRTF(blackGreyRed);
    QTextDocument huge;
    huge.setPlainText(QString(5 * 1024 * 1024, u'x'));
    snippet.setAttributedText(huge, epoch);
    QVERIFY(!snippet.expandedTextRTF());
    QCOMPARE(snippet.expandedText()->size(), 5 * 1024 * 1024);
    QCOMPARE(snippet.updatedAt(), std::optional(epoch));
}

QTEST_APPLESS_MAIN(TestRecords)
#include "tst_records.moc"

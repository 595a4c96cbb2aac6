#include "ModelTestSupport.h"
#include "models/EditorState.h"
#include "models/RichTextFormatting.h"
#include "models/SnippetEditorModel.h"
#include "richtext/RtfReader.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>

using namespace Qt::StringLiterals;
using Mode = SnippetEditorModel::ContentMode;

class TestSnippetEditorModel : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<Library> m_library;
    EditorState m_state;
    std::unique_ptr<SnippetEditorModel> m_editor;

    SnippetEditorModel& open(SnippetEntity* snippet)
    {
        m_editor = std::make_unique<SnippetEditorModel>(m_library->store.get(), &m_state,
                                                        [this] { return m_library->now; });
        m_editor->load(snippet);
        QTest::qWait(1); // the turn after loading
        return *m_editor;
    }
    SnippetEntity* richSnippet(const QByteArray& rtf)
    {
        SnippetEntity* s = m_library->add(u"r"_s);
        s->setExpandedTextRTF(rtf);
        s->setRichText(true);
        m_library->store->save();
        return s;
    }
    static QByteArray fixture(const QString& name)
    {
        QFile file(QStringLiteral(SCRIVLANE_RTF_FIXTURES) + u'/' + name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private Q_SLOTS:
    void init()
    {
        m_editor.reset();
        m_library = std::make_unique<Library>();
        m_state.setDirty(false);
    }
    void openingNeverDirties_data();
    void openingNeverDirties();
    void saveByMode();
    void modesKeepTheirOwnText();
    void emptyTitleIsStoredAsNone();
    void nestSuggestions();
    void sizeChangesEveryRunWithAFloor();
    void traitToggleOnMixedSelection();
    void richRoundTripKeepsWhatWasNotTouched();
    void changesElsewhereReachTheCheck();
};

void TestSnippetEditorModel::openingNeverDirties_data()
{
    QTest::addColumn<bool>("rich");
    QTest::newRow("plain") << false;
    QTest::newRow("rich") << true;
}

void TestSnippetEditorModel::openingNeverDirties()
{
    QFETCH(bool, rich);
    SnippetEntity* s = rich ? richSnippet(R"({\rtf1 {\b bold} text})")
                            : m_library->add(u"p"_s, nullptr, u"plain"_s, u"Title"_s);
    SnippetEditorModel& editor = open(s);
    QVERIFY(!m_state.isDirty());
    QCOMPARE(editor.mode(), rich ? Mode::rich : Mode::plain);
    QVERIFY(m_state.saveAction);
    editor.setTitle(u"Changed"_s);
    QVERIFY(m_state.isDirty());
}

void TestSnippetEditorModel::saveByMode()
{
    SnippetEntity* s = richSnippet(R"({\rtf1 {\b bold} text})");
    SnippetEditorModel& editor = open(s);
    editor.setMode(Mode::plain);
    editor.setPlainText(u"now plain"_s);
    m_state.saveAction(); // as the window's "Save" does
    QVERIFY(!s->isRichText());
    QVERIFY(!s->expandedTextRTF().has_value()); // the RTF goes
    QCOMPARE(s->expandedText(), std::optional(u"now plain"_s));
    QVERIFY(!m_state.isDirty());

    editor.setMode(Mode::rich);
    QTextCursor cursor(editor.richText());
    cursor.select(QTextCursor::Document);
    RichTextFormatting::toggle(cursor, RichTextFormatting::Trait::italic);
    editor.richTextEdited();
    editor.save();
    QVERIFY(s->isRichText());
    QVERIFY(s->expandedTextRTF().has_value());
    // The rich mode kept its own text through the plain save; its characters are stored.
    QCOMPARE(s->expandedText(), std::optional(u"bold text"_s));
    QCOMPARE(s->updatedAt(), std::optional(m_library->now));
}

void TestSnippetEditorModel::modesKeepTheirOwnText()
{
    SnippetEditorModel& editor = open(m_library->add(u"p"_s, nullptr, u"plain text"_s));
    editor.setMode(Mode::rich); // a plain snippet turned rich starts from its text
    QCOMPARE(editor.richText()->toPlainText(), u"plain text"_s);
    QVERIFY(m_state.isDirty());
    QTextCursor(editor.richText()).insertText(u"rich "_s);
    editor.setMode(Mode::plain);
    QCOMPARE(editor.plainText(), u"plain text"_s);
    editor.setMode(Mode::rich);
    QCOMPARE(editor.richText()->toPlainText(), u"rich plain text"_s);

    // The next snippet starts without the last one's rich text.
    SnippetEditorModel& next = open(m_library->add(u"q"_s, nullptr, QString()));
    QVERIFY(next.richText()->isEmpty());
}

void TestSnippetEditorModel::emptyTitleIsStoredAsNone()
{
    SnippetEntity* s = m_library->add(u"p"_s, nullptr, u"Hello there"_s, u"Title"_s);
    SnippetEditorModel& editor = open(s);
    editor.setTitle(QString());
    editor.save();
    QCOMPARE(s->title(), std::nullopt);
    QCOMPARE(s->displayTitle(), u"Hello there"_s);
}

void TestSnippetEditorModel::nestSuggestions()
{
    m_library->add(u"sigWork"_s);
    m_library->add(u"sig"_s);
    m_library->add(u"addr"_s);
    SnippetEditorModel& editor = open(m_library->add(u"x"_s));
    QStringList found;
    bool exact = false;
    for (const auto& s : editor.nestSuggestions(u" SIG\t"_s)) {
        found << s.abbreviation;
        exact = exact || (s.exact && s.abbreviation == u"sig"_s);
    }
    QCOMPARE(QSet<QString>(found.begin(), found.end()), (QSet<QString>{u"sig"_s, u"sigWork"_s}));
    QVERIFY(exact);
}

void TestSnippetEditorModel::sizeChangesEveryRunWithAFloor()
{
    QTextDocument document;
    QTextCursor cursor(&document);
    QTextCharFormat small, large;
    small.setFontPointSize(7);
    large.setFontPointSize(20);
    cursor.insertText(u"ab"_s, small);
    cursor.insertText(u"cd"_s, large);
    cursor.select(QTextCursor::Document);
    RichTextFormatting::changeSize(cursor, -2, 12);
    const auto sizeAt = [&](int position) {
        QTextCursor at(&document);
        at.setPosition(position + 1);
        return at.charFormat().fontPointSize();
    };
    QCOMPARE(sizeAt(0), 6.0); // 7 - 2, held at 6
    QCOMPARE(sizeAt(2), 18.0);
    RichTextFormatting::changeSize(cursor, 2, 12);
    QCOMPARE(sizeAt(0), 8.0);
    QCOMPARE(sizeAt(2), 20.0);
}

void TestSnippetEditorModel::traitToggleOnMixedSelection()
{
    QTextDocument document;
    QTextCursor cursor(&document);
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    cursor.insertText(u"ab"_s, bold);
    cursor.insertText(u"cd"_s, QTextCharFormat());
    cursor.select(QTextCursor::Document);
    RichTextFormatting::toggle(cursor, RichTextFormatting::Trait::bold); // mixed: all bold
    QVERIFY(document.toHtml().count(u"font-weight"_s) >= 1);
    QTextCursor last(&document);
    last.setPosition(4);
    QCOMPARE(last.charFormat().fontWeight(), int(QFont::Bold));
    RichTextFormatting::toggle(cursor, RichTextFormatting::Trait::bold); // all bold: none
    QVERIFY(last.charFormat().fontWeight() != int(QFont::Bold));
}

// A LibreOffice document: one word made bold through the editor, saved; everything else of it
// (fonts, colours, links, text) must survive the trip.
void TestSnippetEditorModel::richRoundTripKeepsWhatWasNotTouched()
{
    const QByteArray original = fixture(u"libreoffice-writer.rtf"_s);
    QVERIFY(!original.isEmpty());
    SnippetEntity* s = richSnippet(original);
    SnippetEditorModel& editor = open(s);
    QCOMPARE(editor.mode(), Mode::rich);
    const QString before = editor.richText()->toHtml();
    const QString text = editor.richText()->toPlainText();

    QTextCursor word(editor.richText());
    word.movePosition(QTextCursor::Start);
    word.movePosition(QTextCursor::EndOfWord, QTextCursor::KeepAnchor);
    const QString changed = word.selectedText();
    RichTextFormatting::toggle(word, RichTextFormatting::Trait::bold);
    editor.richTextEdited();
    editor.save();

    const std::unique_ptr<QTextDocument> saved = RtfReader::read(*s->expandedTextRTF());
    QVERIFY(saved);
    QCOMPARE(saved->toPlainText(), text);
    const QString after = saved->toHtml();
    const auto collect = [](const QString& html, const QString& pattern) {
        QSet<QString> found;
        auto it = QRegularExpression(pattern).globalMatch(html);
        while (it.hasNext())
            found.insert(it.next().captured(1));
        return found;
    };
    for (const QString& pattern : {u"font-family:'([^']+)'"_s, u"color:(#[0-9a-f]{6})"_s,
                                   u"href=\"([^\"]+)\""_s, u"font-size:([0-9.]+pt)"_s}) {
        const QSet<QString> lost = collect(before, pattern) - collect(after, pattern);
        QVERIFY2(lost.isEmpty(), qPrintable(pattern + u": "_s +
                                            QStringList(lost.begin(), lost.end()).join(u", "_s)));
    }
    QTextCursor check(saved.get());
    check.setPosition(1);
    QCOMPARE(check.charFormat().fontWeight() >= QFont::Bold, true);
    QVERIFY(!changed.isEmpty());
}

// Another process adds a snippet and deletes one for good while the editor is open: the
// abbreviation check walks the library as merged, never a freed record.
void TestSnippetEditorModel::changesElsewhereReachTheCheck()
{
    const QString path = m_library->dir.filePath(u"shared.sqlite"_s);
    const auto openAt = [&](bool watch) {
        PersistenceController::Options options;
        options.databasePath = path;
        options.watchForExternalChanges = watch;
        return std::make_unique<PersistenceController>(std::move(options));
    };
    auto mine = openAt(true);
    SnippetEntity* edited =
        mine->insertSnippet(SnippetEntity::create(u"Mine"_s, u"mine"_s, nullptr, m_library->now));
    mine->insertSnippet(SnippetEntity::create(u"Theirs"_s, u"gone"_s, nullptr, m_library->now));
    mine->save();
    SnippetEditorModel editor(mine.get(), &m_state);
    editor.load(edited);
    editor.setAbbreviation(u"gone"_s);
    QCOMPARE(editor.conflict().kind(), AbbreviationConflict::Kind::duplicate);

    // Added elsewhere: the check sees it once merged.
    auto theirs = openAt(false);
    theirs->insertSnippet(SnippetEntity::create(u"New"_s, u"fresh"_s, nullptr, m_library->now));
    theirs->save();
    QSignalSpy merged(mine.get(), &PersistenceController::remoteStoreChanged);
    QVERIFY(merged.wait(5000));
    editor.setAbbreviation(u"fresh"_s);
    QCOMPARE(editor.conflict().kind(), AbbreviationConflict::Kind::duplicate);
    QVERIFY(mine->contains(editor.conflict().other()));

    // Deleted elsewhere: freed at the merge, no longer walked.
    for (SnippetEntity* s : theirs->fetchAllSnippets())
        if (s->abbreviation() == std::optional(u"gone"_s))
            theirs->deleteSnippetPermanently(s);
    QVERIFY(merged.wait(5000));
    editor.setAbbreviation(u"gone"_s);
    QVERIFY(editor.conflict().isNone());

    // A category chosen in the editor and deleted elsewhere is no longer chosen, and the save
    // that follows stores none.
    CategoryEntity* travel = mine->createCategory(u"Travel"_s, u"#4A90D9"_s);
    editor.setCategory(travel);
    theirs->refreshFromStore();
    for (CategoryEntity* c :
         theirs->fetchCategories(PersistenceController::Filter::all,
                                 PersistenceController::CategoryOrder::sortOrderAscending))
        if (c->name() == std::optional(u"Travel"_s))
            theirs->deleteCategoryPermanently(c);
    QVERIFY(merged.wait(5000));
    QCOMPARE(editor.category(), nullptr);
    editor.save();
    QCOMPARE(edited->category(), nullptr);
}

QTEST_MAIN(TestSnippetEditorModel)
#include "tst_snippeteditormodel.moc"

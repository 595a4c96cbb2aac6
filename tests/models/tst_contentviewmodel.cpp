#include "ModelTestSupport.h"
#include "common/Preferences.h"
#include "models/ContentViewModel.h"
#include "models/EditorState.h"
#include "models/SidebarModel.h"
#include "models/SnippetListModel.h"
#include "support/VirtualClock.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using Detail = ContentViewModel::Detail;

class TestContentViewModel : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<Library> m_library;
    VirtualClock m_clock;
    EditorState m_editor;
    std::unique_ptr<ContentViewModel> m_model;

    ContentViewModel& model()
    {
        if (!m_model) {
            m_model = std::make_unique<ContentViewModel>(
                ContentViewModel::Dependencies{m_library->store.get(), m_library->settings.get(),
                                               &m_clock, [this] { return m_library->now; }},
                &m_editor);
            new QAbstractItemModelTester(m_model->sidebar(),
                                         QAbstractItemModelTester::FailureReportingMode::QtTest,
                                         m_model.get());
            new QAbstractItemModelTester(m_model->snippetList(),
                                         QAbstractItemModelTester::FailureReportingMode::QtTest,
                                         m_model.get());
        }
        return *m_model;
    }
    QStringList listed()
    {
        QStringList out;
        for (const SnippetEntity* s : model().snippetList()->snippets())
            out << *s->abbreviation();
        return out;
    }
    static QUuid id(const SnippetEntity* s) { return *s->id(); }

private Q_SLOTS:
    void init()
    {
        m_model.reset();
        m_library = std::make_unique<Library>();
        m_editor.setDirty(false);
        m_editor.saveAction = nullptr;
    }

    void search_data();
    void search();
    void placesAndDetail();
    void guardSavesBeforeMoving();
    void deletingTheShownCategoryReturnsToAllSnippets();
    void selectionForgetsWhatLeftTheLibrary();
    void moveToNoneUncategorisesAllInOneSave();
    void unreadableLibraryIsNotEmpty();
    void syncSuggestion_data();
    void syncSuggestion();
};

void TestContentViewModel::search_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<bool>("inWork");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("empty shows all, newest first")
        << QString() << false << QStringList{u"c3"_s, u"b2"_s, u"a1"_s};
    QTest::newRow("title") << u"report"_s << false << QStringList{u"b2"_s};
    QTest::newRow("abbreviation") << u"C3"_s << false << QStringList{u"c3"_s};
    QTest::newRow("not trimmed") << u" say"_s << false << QStringList{};
    QTest::newRow("order kept") << u"o"_s << false << QStringList{u"b2"_s, u"a1"_s};
    QTest::newRow("within the category") << u"o"_s << true << QStringList{u"a1"_s};
}

void TestContentViewModel::search()
{
    QFETCH(QString, query);
    QFETCH(bool, inWork);
    QFETCH(QStringList, expected);
    CategoryEntity* work = m_library->store->createCategory(u"Work"_s, u"#4A90D9"_s);
    m_library->add(u"a1"_s, work, u"Say hello to Bob"_s);
    m_library->add(u"b2"_s, nullptr, u"x"_s, u"Monthly Report"_s);
    m_library->add(u"c3"_s, nullptr, u"-"_s);
    if (inWork)
        model().showCategory(work);
    model().setSearchText(query);
    QCOMPARE(listed(), expected);
    QCOMPARE(model().emptyList() == ContentViewModel::EmptyList::noSnippets, expected.isEmpty());
}

void TestContentViewModel::placesAndDetail()
{
    SnippetEntity* a = m_library->add(u"a"_s);
    SnippetEntity* b = m_library->add(u"b"_s);
    QCOMPARE(model().detail(), Detail::nothingSelected);
    QVERIFY(model().requestListSelection({id(a)}));
    QCOMPARE(model().detail(), Detail::snippet);
    QVERIFY(model().requestListSelection({id(a), id(b)}));
    QCOMPARE(model().detail(), Detail::bulkEdit);

    model().toggleSettings();
    QVERIFY(model().showingSettings());
    QCOMPARE(model().settingsSection(), std::optional(SettingsSection::general));
    QCOMPARE(model().detail(), Detail::settingsPane);
    model().selectSettingsSection(std::nullopt);
    QCOMPARE(model().detail(), Detail::noSettingsSection);
    model().toggleSettings();
    QCOMPARE(model().detail(), Detail::bulkEdit); // the selection waited behind the settings

    model().showRecentlyDeleted();
    QVERIFY(model().showingTrash() && !model().showingSettings());
    QVERIFY(model().listSelection().isEmpty());
    QCOMPARE(model().detail(), Detail::trash);
    model().showAllSnippets();
    QVERIFY(!model().showingTrash());
    QCOMPARE(model().sidebar()->kindAt(model().sidebar()->recentlyDeletedRow()),
             SidebarModel::Kind::recentlyDeleted);
}

void TestContentViewModel::guardSavesBeforeMoving()
{
    SnippetEntity* a = m_library->add(u"a"_s);
    SnippetEntity* b = m_library->add(u"b"_s);
    QVERIFY(model().requestListSelection({id(a)}));
    bool didSave = false;
    m_editor.saveAction = [&] {
        didSave = true;
        m_editor.setDirty(false);
    };
    m_editor.setDirty(true);
    QSignalSpy asked(&model(), &ContentViewModel::unsavedChangesQuestionRequested);
    QVERIFY(!model().requestListSelection({id(b)}));
    QCOMPARE(asked.count(), 1);
    QCOMPARE(model().listSelection(), QList<QUuid>{id(a)}); // not applied yet
    model().answerUnsavedChanges(ContentViewModel::UnsavedChoice::save);
    QCOMPARE(model().listSelection(), QList<QUuid>{id(b)});
    QVERIFY(didSave && !m_editor.isDirty());
    QVERIFY(!model().unsavedChangesPending());
}

void TestContentViewModel::deletingTheShownCategoryReturnsToAllSnippets()
{
    CategoryEntity* work = m_library->store->createCategory(u"Work"_s, u"#4A90D9"_s);
    m_library->add(u"a"_s, work);
    m_library->add(u"b"_s);
    model().showCategory(work);
    QCOMPARE(listed(), QStringList{u"a"_s});
    QCOMPARE(model().deleteCategoryQuestion(*work).message,
             u"This will also delete 1 snippet in this category. This action cannot be undone."_s);
    model().deleteCategory(work);
    QCOMPARE(model().selectedCategory(), nullptr);
    QCOMPARE(listed(), QStringList{u"b"_s});
    QCOMPARE(model().sidebar()->rowCount(), 3); // no category row left
}

void TestContentViewModel::selectionForgetsWhatLeftTheLibrary()
{
    SnippetEntity* a = m_library->add(u"a"_s);
    SnippetEntity* b = m_library->add(u"b"_s);
    QVERIFY(model().requestListSelection({id(a), id(b)}));
    m_library->store->trashSnippets({a}); // from elsewhere (the editor, the command line)
    QCOMPARE(model().listSelection(), QList<QUuid>{id(b)});
    QCOMPARE(model().detail(), Detail::snippet);
}

void TestContentViewModel::moveToNoneUncategorisesAllInOneSave()
{
    CategoryEntity* work = m_library->store->createCategory(u"Work"_s, u"#4A90D9"_s);
    SnippetEntity* a = m_library->add(u"a"_s, work);
    SnippetEntity* b = m_library->add(u"b"_s, work);
    QVERIFY(model().requestListSelection({id(a), id(b)}));
    QSignalSpy saves(m_library->store.get(), &PersistenceController::didSave);
    m_library->now = m_library->now.addDays(1);
    model().moveSelection(nullptr);
    QCOMPARE(saves.count(), 1);
    for (const SnippetEntity* s : {a, b}) {
        QCOMPARE(s->category(), nullptr);
        QCOMPARE(s->updatedAt(), std::optional(m_library->now));
    }
    QVERIFY(model().listSelection().isEmpty());
    QCOMPARE(work->activeSnippets().size(), 0);
}

void TestContentViewModel::syncSuggestion_data()
{
    QTest::addColumn<bool>("syncOn");
    QTest::addColumn<bool>("alreadyShown");
    QTest::addColumn<int>("suggested");
    QTest::newRow("first snippet") << false << false << 1;
    QTest::newRow("sync already on") << true << false << 0;
    QTest::newRow("shown before") << false << true << 0;
}

void TestContentViewModel::syncSuggestion()
{
    QFETCH(bool, syncOn);
    QFETCH(bool, alreadyShown);
    QFETCH(int, suggested);
    m_library->settings->setValue(Preferences::iCloudSyncEnabled, syncOn);
    m_library->settings->setValue(Preferences::hasShownSyncPrompt, alreadyShown);
    QSignalSpy shown(&model(), &ContentViewModel::syncSuggestionRequested);
    m_library->add(u"first"_s);
    m_clock.advance(599);
    QCOMPARE(shown.count(), 0);
    m_clock.advance(1);
    QCOMPARE(shown.count(), suggested);
    // Never twice, even when the library goes back to one snippet.
    m_library->add(u"second"_s);
    m_library->store->trashSnippets({m_library->store->fetchActiveSnippets().first()});
    m_clock.advance(1000);
    QCOMPARE(shown.count(), suggested);
    QCOMPARE(Preferences::flag(*m_library->settings, Preferences::hasShownSyncPrompt),
             !syncOn || alreadyShown);
}

// A damaged file must not pass for an empty library, where "Create Snippet" would invite
// writing over it.
void TestContentViewModel::unreadableLibraryIsNotEmpty()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"library.sqlite"_s);
    QFile garbage(path);
    QVERIFY(garbage.open(QIODevice::WriteOnly) && garbage.write(QByteArray(4096, 'x')) > 0);
    garbage.close();
    PersistenceController::Options options;
    options.databasePath = path;
    options.watchForExternalChanges = false;
    PersistenceController store(std::move(options));
    QVERIFY(!store.isAvailable());
    ContentViewModel model({&store, m_library->settings.get(), &m_clock, {}}, &m_editor);
    QCOMPARE(model.emptyList(), ContentViewModel::EmptyList::unavailable);
}

QTEST_GUILESS_MAIN(TestContentViewModel)
#include "tst_contentviewmodel.moc"

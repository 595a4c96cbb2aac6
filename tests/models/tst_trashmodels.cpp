#include "ModelTestSupport.h"
#include "models/ContentViewModel.h"
#include "models/EditorState.h"
#include "models/RelativeTime.h"
#include "models/SnippetListModel.h"
#include "models/TrashListModel.h"
#include "models/TrashTexts.h"
#include "models/TrashViewModel.h"
#include "support/VirtualClock.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using Detail = TrashViewModel::Detail;
using Kind = TrashListModel::Kind;
using Tone = TrashTexts::BadgeTone;

// Recently Deleted without a display: its rows, badges, texts, selection and actions on a real
// store.
class TestTrashModels : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<Library> m_library;
    VirtualClock m_clock;
    EditorState m_editor;
    std::unique_ptr<ContentViewModel> m_content;
    std::unique_ptr<TrashViewModel> m_trash;

    TrashViewModel& trash()
    {
        if (!m_trash) {
            const auto now = [this] { return m_library->now; };
            m_content = std::make_unique<ContentViewModel>(
                ContentViewModel::Dependencies{m_library->store.get(), m_library->settings.get(),
                                               &m_clock, now},
                &m_editor);
            m_trash = std::make_unique<TrashViewModel>(
                TrashViewModel::Dependencies{m_library->store.get(), m_content.get(), now});
            new QAbstractItemModelTester(m_trash->list(),
                                         QAbstractItemModelTester::FailureReportingMode::QtTest,
                                         m_trash.get());
            m_content->showRecentlyDeleted();
        }
        return *m_trash;
    }
    ContentViewModel& content()
    {
        trash();
        return *m_content;
    }
    // Each row as the list shows it: headings in brackets, records by name.
    QStringList rows()
    {
        QStringList out;
        TrashListModel* list = trash().list();
        for (int row = 0; row < list->rowCount(); ++row) {
            const QString text = list->index(row).data().toString();
            out << (list->kindAt(row) == Kind::heading ? u'[' + text + u']' : text);
        }
        return out;
    }
    QStringList listedInLibrary()
    {
        QStringList out;
        for (const SnippetEntity* s : content().snippetList()->snippets())
            out << *s->abbreviation();
        return out;
    }
    void later(qint64 seconds) { m_library->now = m_library->now.addSecs(seconds); }

private Q_SLOTS:
    // "Deleted 3 days ago" is in the user's language.
    void initTestCase() { qputenv("LC_ALL", "en_US.UTF-8"); }
    void init()
    {
        m_trash.reset();
        m_content.reset();
        m_library = std::make_unique<Library>();
    }
    void cleanup()
    {
        m_trash.reset();
        m_content.reset();
    }

    void badge_data();
    void badge();
    void texts_data();
    void texts();
    void namedRelativeTime_data();
    void namedRelativeTime();
    void sectionsAndRows();
    void selectionFollowsTheListAndThePlace();
    void restoringACategoryBringsItsSnippetsBack();
    void deletingForGoodTakesTheCategorysSnippetsInOneSave();
    void detailActsOnItsOwnRecord();
};

void TestTrashModels::badge_data()
{
    QTest::addColumn<qint64>("elapsed");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("tone");
    constexpr qint64 day = 86'400;
    QTest::newRow("just deleted") << qint64(0) << u"30d"_s << int(Tone::distant);
    QTest::newRow("8 days secondary") << qint64(22 * day) << u"8d"_s << int(Tone::distant);
    QTest::newRow("7 days orange") << qint64(23 * day) << u"7d"_s << int(Tone::soon);
    QTest::newRow("4 days orange") << qint64(26 * day) << u"4d"_s << int(Tone::soon);
    QTest::newRow("3 days red") << qint64(27 * day) << u"3d"_s << int(Tone::urgent);
    QTest::newRow("29 days 1 hour") << qint64(29 * day + 3600) << u"1d"_s << int(Tone::urgent);
    QTest::newRow("30 days") << qint64(30 * day) << u"Today"_s << int(Tone::urgent);
    QTest::newRow("past 30 days, not yet purged")
        << qint64(31 * day) << u"Today"_s << int(Tone::urgent);
}

void TestTrashModels::badge()
{
    QFETCH(qint64, elapsed);
    QFETCH(QString, text);
    QFETCH(int, tone);
    m_library->store->trashSnippets({m_library->add(u"a"_s)});
    later(elapsed);
    TrashListModel* list = trash().list();
    QSignalSpy changed(list, &QAbstractItemModel::dataChanged);
    trash().refreshTimes();
    QCOMPARE(changed.count(), 1);
    const QModelIndex row = list->index(1);
    const TrashTexts::Badge badge =
        TrashTexts::daysRemainingBadge(row.data(TrashListModel::DaysRemainingRole).toInt());
    QCOMPARE(badge.text, text);
    QCOMPARE(int(badge.tone), tone);
    QVERIFY(row.data(Qt::AccessibleTextRole).toString().endsWith(badge.spoken));
}

void TestTrashModels::texts_data()
{
    QTest::addColumn<int>("snippets");
    QTest::addColumn<int>("categories");
    QTest::addColumn<QString>("summary");
    QTest::addColumn<QString>("deleteKey");
    QTest::addColumn<QString>("deleteAll");
    QTest::newRow("one snippet") << 1 << 0 << u"1 snippet"_s << u"Delete Permanently?"_s
                                 << u"Delete 1 snippet Permanently?"_s;
    QTest::newRow("one category") << 0 << 1 << u"1 category"_s << u"Delete Permanently?"_s
                                  << u"Delete 1 category Permanently?"_s;
    QTest::newRow("categories only")
        << 0 << 3 << u"3 categories"_s << u"Delete 3 categories Permanently?"_s
        << u"Delete 3 categories Permanently?"_s;
}

void TestTrashModels::texts()
{
    QFETCH(int, snippets);
    QFETCH(int, categories);
    QFETCH(QString, summary);
    QFETCH(QString, deleteKey);
    QFETCH(QString, deleteAll);
    QCOMPARE(TrashTexts::selectionSummary(snippets, categories), summary);
    QCOMPARE(TrashTexts::selectionHeader(snippets, categories), summary + u" selected"_s);
    for (const auto& [question, title] :
         {std::pair{TrashTexts::deleteQuestion(snippets, categories), deleteKey},
          std::pair{TrashTexts::deleteAllQuestion(snippets, categories), deleteAll}}) {
        QCOMPARE(question.title, title);
        QCOMPARE(question.message, u"This cannot be undone."_s);
        QCOMPARE(question.confirm, u"Delete Permanently"_s);
    }
}

void TestTrashModels::namedRelativeTime_data()
{
    QTest::addColumn<qint64>("secondsAgo");
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("expected");
    QTest::newRow("hours, wide") << qint64(7300) << u"en_US"_s << u"2 hours ago"_s;
    QTest::newRow("German name") << qint64(86'400) << u"de_DE"_s << u"gestern"_s;
}

void TestTrashModels::namedRelativeTime()
{
    QFETCH(qint64, secondsAgo);
    QFETCH(QString, locale);
    QFETCH(QString, expected);
    const QDateTime now(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);
    QCOMPARE(RelativeTime::named(now.addSecs(-secondsAgo), now, locale), expected);
    QCOMPARE(TrashTexts::deletedPhrase(now.addSecs(-secondsAgo), now, locale),
             u"Deleted "_s + expected);
}

void TestTrashModels::sectionsAndRows()
{
    // Nothing trashed: no rows at all, so the view shows its empty state.
    m_library->add(u"live"_s);
    QVERIFY(trash().isEmpty());
    QCOMPARE(trash().list()->rowCount(), 0);

    CategoryEntity* work = m_library->store->createCategory(u"Work"_s, u"#4A90D9"_s);
    SnippetEntity* mail = m_library->add(u"mail"_s, work, u"x"_s, u"Mail"_s);
    SnippetEntity* old = m_library->add(u"old"_s, nullptr, u"x"_s, u"Old"_s);
    m_library->store->trashSnippets({old});
    QCOMPARE(rows(), (QStringList{u"[Snippets]"_s, u"Old"_s}));

    later(60);
    m_library->store->trashCategory(work);
    QCOMPARE(rows(), (QStringList{u"[Categories]"_s, u"Work"_s, u"[Snippets]"_s, u"Mail"_s,
                                  u"Old"_s})); // most recently trashed first
    TrashListModel* list = trash().list();
    QCOMPARE(list->flags(list->index(0)), Qt::NoItemFlags);
    QCOMPARE(list->flags(list->index(2)), Qt::NoItemFlags);
    QCOMPARE(list->index(1).data(TrashListModel::SnippetCountRole).toString(), u"1 snippet"_s);
    QCOMPARE(list->index(3).data(TrashListModel::CategoryNameRole).toString(), u"Work"_s);
    QCOMPARE(list->index(3).data(TrashListModel::ColorRole).value<QColor>(), QColor(0x4A90D9));
    QCOMPARE(list->index(4).data(TrashListModel::CategoryNameRole).toString(), QString());
    QCOMPARE(list->recordAt(3), TrashSelection::of(mail));
    QCOMPARE(list->rowOf(TrashSelection::of(work)), 1);
    QCOMPARE(list->rowOf(TrashSelection::of(old)), 4);
    QVERIFY(list->recordAt(2).isNull());
}

void TestTrashModels::selectionFollowsTheListAndThePlace()
{
    CategoryEntity* work = m_library->store->createCategory(u"Work"_s, u"#4A90D9"_s);
    SnippetEntity* a = m_library->add(u"a"_s);
    SnippetEntity* b = m_library->add(u"b"_s);
    SnippetEntity* live = m_library->add(u"live"_s);
    m_library->store->trashSnippets({a, b});
    m_library->store->trashCategory(work);
    QCOMPARE(trash().detail(), Detail::nothingSelected);

    // Kept in the list's order; what is not listed is dropped.
    trash().select({TrashSelection::of(a), TrashSelection::of(live), TrashSelection::of(work)});
    QCOMPARE(trash().selection(), (QList{TrashSelection::of(work), TrashSelection::of(a)}));
    QCOMPARE(trash().detail(), Detail::several);
    QCOMPARE(trash().selectionHeader(), u"1 snippet and 1 category selected"_s);
    QCOMPARE(trash().deleteQuestion().title, u"Delete 1 snippet and 1 category Permanently?"_s);
    trash().select({TrashSelection::of(work)});
    QCOMPARE(trash().detail(), Detail::category);
    QCOMPARE(trash().selectedCategory(), work);
    QCOMPARE(trash().selectedSnippet(), nullptr);
    QCOMPARE(trash().deleteQuestion().title, u"Delete Permanently?"_s);

    // Restored from elsewhere: it leaves the selection with the list.
    trash().select({TrashSelection::of(a), TrashSelection::of(b)});
    QSignalSpy changed(&trash(), &TrashViewModel::selectionChanged);
    m_library->store->restoreSnippet(a);
    QCOMPARE(trash().selection(), QList{TrashSelection::of(b)});
    QCOMPARE(trash().selectedSnippet(), b);
    QVERIFY(changed.count() >= 1);

    // Leaving Recently Deleted empties it.
    content().showAllSnippets();
    QVERIFY(trash().selection().isEmpty());
    content().showRecentlyDeleted();
    trash().select({TrashSelection::of(b)});
    content().toggleSettings();
    QVERIFY(trash().selection().isEmpty());
}

void TestTrashModels::restoringACategoryBringsItsSnippetsBack()
{
    CategoryEntity* work = m_library->store->createCategory(u"Work"_s, u"#4A90D9"_s);
    SnippetEntity* a = m_library->add(u"a"_s, work);
    SnippetEntity* b = m_library->add(u"b"_s, work);
    m_library->add(u"other"_s);
    m_library->store->trashSnippets({b}); // on its own, earlier
    later(3600);
    m_library->store->trashCategory(work);
    QCOMPARE(listedInLibrary(), QStringList{u"other"_s});

    trash().select({TrashSelection::of(work)});
    QSignalSpy saves(m_library->store.get(), &PersistenceController::didSave);
    trash().restoreSelection();
    QCOMPARE(saves.count(), 1);
    QVERIFY(trash().isEmpty());
    QVERIFY(trash().selection().isEmpty());
    QVERIFY(a->isLive() && b->isLive() && work->isLive());
    content().showAllSnippets();
    QCOMPARE(listedInLibrary().size(), 3);
    QVERIFY(listedInLibrary().contains(u"a"_s) && listedInLibrary().contains(u"b"_s));
    QCOMPARE(content().categories(), QList{work});
}

void TestTrashModels::deletingForGoodTakesTheCategorysSnippetsInOneSave()
{
    CategoryEntity* work = m_library->store->createCategory(u"Work"_s, u"#4A90D9"_s);
    CategoryEntity* home = m_library->store->createCategory(u"Home"_s, u"#E5533D"_s);
    SnippetEntity* inWork = m_library->add(u"w"_s, work);
    SnippetEntity* loose = m_library->add(u"loose"_s);
    SnippetEntity* kept = m_library->add(u"kept"_s, nullptr, u"Kept text"_s);
    m_library->store->trashCategory(work);
    m_library->store->trashCategory(home);
    m_library->store->trashSnippets({loose, kept});

    trash().select({TrashSelection::of(work), TrashSelection::of(loose)});
    QCOMPARE(trash().deleteAllQuestion().title, u"Delete 1 snippet and 1 category Permanently?"_s);
    QSignalSpy saves(m_library->store.get(), &PersistenceController::didSave);
    trash().deleteSelectionPermanently();
    QCOMPARE(saves.count(), 1);
    QVERIFY(!m_library->store->contains(work));
    QVERIFY(!m_library->store->contains(inWork));
    QVERIFY(!m_library->store->contains(loose));
    QVERIFY(trash().selection().isEmpty());
    QCOMPARE(rows(), (QStringList{u"[Categories]"_s, u"Home"_s, u"[Snippets]"_s, u"Kept text"_s}));

    // Reopened from the file: gone for good.
    m_library->store.reset();
    m_trash.reset();
    m_content.reset();
    PersistenceController::Options options;
    options.databasePath = m_library->dir.filePath(u"library.sqlite"_s);
    options.settings = m_library->settings.get();
    options.watchForExternalChanges = false;
    PersistenceController reopened(std::move(options));
    QCOMPARE(reopened.fetchAllSnippets().size(), 1);
    QCOMPARE(reopened.fetchTrashedCategories().size(), 1);
}

void TestTrashModels::detailActsOnItsOwnRecord()
{
    SnippetEntity* a = m_library->add(u"a"_s);
    SnippetEntity* b = m_library->add(u"b"_s, nullptr, u"B"_s);
    m_library->store->trashSnippets({a, b});
    later(86'400 * 3);
    trash().select({TrashSelection::of(a)});
    QCOMPARE(trash().deletedPhrase(a->trashedAt()), u"Deleted 3 days ago"_s);
    QCOMPARE(trash().deletedPhrase(std::nullopt), QString());

    QSignalSpy saves(m_library->store.get(), &PersistenceController::didSave);
    trash().deletePermanently(TrashSelection::of(a));
    QCOMPARE(saves.count(), 1);
    QCOMPARE(trash().detail(), Detail::nothingSelected);
    QCOMPARE(rows(), (QStringList{u"[Snippets]"_s, u"B"_s}));
    trash().restore(TrashSelection::of(b));
    QCOMPARE(saves.count(), 2);
    QVERIFY(b->isLive());
    QVERIFY(trash().isEmpty());
    // Gone meanwhile: skipped, nothing saved.
    trash().restore(TrashSelection::of(a));
    QCOMPARE(saves.count(), 2);
}

QTEST_GUILESS_MAIN(TestTrashModels)
#include "tst_trashmodels.moc"

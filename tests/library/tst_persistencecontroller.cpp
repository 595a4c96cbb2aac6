#include "library/CategoryEntity.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "platform/sqlite/SqliteDatabase.h"

#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'750'000'000, Qt::UTC);
constexpr qint64 day = 86'400;

// Sets one column of a snippet to value 0, 1 or 2, three values that differ only there
// (absent, empty and present where the column allows it). `category` is the store's own.
using ColumnEdit = std::function<void(SnippetEntity&, CategoryEntity* category, int value)>;

// Texts are copied into new storage each time, so that equal values are not the same data.
template <typename T> std::optional<T> pick(int value, std::initializer_list<std::optional<T>> of)
{
    const std::optional<T>& picked = *(of.begin() + value);
    if constexpr (std::is_same_v<T, QString> || std::is_same_v<T, QByteArray>) {
        if (picked)
            return T(picked->constData(), picked->size());
    }
    return picked;
}

// Every column of a snippet, absent ones marked, for comparing two records.
QString describe(const SnippetEntity& s)
{
    const auto text = [](const std::optional<QString>& v) { return v ? u'"' + *v + u'"' : u"-"_s; };
    const auto date = [](const std::optional<QDateTime>& d) {
        return d ? QString::number(d->toMSecsSinceEpoch()) : u"-"_s;
    };
    const std::optional<QByteArray> rtf = s.expandedTextRTF();
    return QStringList{s.id() ? s.id()->toString() : u"-"_s,
                       text(s.title()),
                       text(s.abbreviation()),
                       text(s.expandedText()),
                       rtf ? u'\'' + QString::fromLatin1(rtf->toHex()) : u"-"_s,
                       QString::number(s.isRichText()),
                       QString::number(s.isCodeSnippet()),
                       text(s.codeLanguage()),
                       s.category() ? text(s.category()->name()) : u"-"_s,
                       date(s.createdAt()),
                       date(s.updatedAt()),
                       date(s.trashedAt())}
        .join(u'|');
}
} // namespace

Q_DECLARE_METATYPE(ColumnEdit)

class TestPersistenceController : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QDateTime m_now = t0;
    QString path() const { return m_dir.filePath(u"ScrivLane.sqlite"_s); }
    std::unique_ptr<PersistenceController> open(bool watch = false, QSettings* settings = nullptr)
    {
        PersistenceController::Options options;
        options.databasePath = path();
        options.clock = [this] { return m_now; };
        options.watchForExternalChanges = watch;
        options.settings = settings;
        options.busyTimeoutMs = 50;
        return std::make_unique<PersistenceController>(std::move(options));
    }
    SnippetEntity* addSnippet(PersistenceController& store, const QString& abbreviation,
                              CategoryEntity* category = nullptr)
    {
        SnippetEntity* s =
            store.insertSnippet(SnippetEntity::create(u"T"_s, abbreviation, category, m_now));
        s->setExpandedText(abbreviation + u" text"_s);
        return s;
    }

private Q_SLOTS:
    void init()
    {
        QFile::remove(path());
        QFile::remove(path() + u"-wal"_s);
        QFile::remove(path() + u"-shm"_s);
        m_now = t0;
    }
    void everyAttributeSurvivesReopen();
    void saveSemantics();
    void everyColumnChangeIsWritten_data();
    void everyColumnChangeIsWritten();
    void everyColumnMergesOnItsOwn_data();
    void everyColumnMergesOnItsOwn();
    void newRecordsAfterDeletionsKeepTheirOwnSavedState();
    void failedSaveKeepsChangesPending();
    void unusableFilesAreLeftAlone_data();
    void unusableFilesAreLeftAlone();
    void fetchOrders();
    void createCategorySortOrder();
    void trashAndRestore();
    void deleteCategoryPermanently();
    void bulkActionsSkipRecordsAlreadyGone();
    void purge();
    void daysRemaining_data();
    void daysRemaining();
    void syncEvents_data();
    void syncEvents();
    void enableSyncAndRelaunch();
    void externalChangesAreMerged();
    void changesSeenDuringSteadyWrites();
    void unusableFileReadOnceRepaired_data() { unusableFilesAreLeftAlone_data(); }
    void unusableFileReadOnceRepaired();
    void unwritableLibraryStillLists_data();
    void unwritableLibraryStillLists();
    void libraryWrittenOnceWritableAgain();
};

void TestPersistenceController::everyAttributeSurvivesReopen()
{
    QUuid snippetId, categoryId;
    {
        auto store = open();
        QVERIFY(store->isAvailable());
        CategoryEntity* category = store->createCategory(u"Wörk"_s, u"#E74C3C"_s);
        categoryId = *category->id();
        SnippetEntity* rich = addSnippet(*store, u"sig"_s, category);
        snippetId = *rich->id();
        rich->setTitle(std::nullopt);
        rich->setExpandedText(u"Grüße 👍🏽\nline"_s);
        rich->setExpandedTextRTF(QByteArray("{\\rtf1\0binary}", 15));
        rich->setRichText(true);
        rich->setCodeSnippet(true);
        rich->setCodeLanguage(u"swift"_s);
        rich->setTrashedAt(t0.addMSecs(1234));
        SnippetEntity* bare = store->insertSnippet(std::make_unique<SnippetEntity>());
        bare->setExpandedTextRTF(QByteArray("")); // empty, not absent
        store->save();
        QVERIFY(store->syncError().isNull());
    }
    auto store = open();
    QCOMPARE(store->fetchAllSnippets().size(), 2);
    SnippetEntity* rich = store->snippetWithId(snippetId);
    QVERIFY(rich);
    QCOMPARE(rich->title(), std::nullopt);
    QCOMPARE(rich->abbreviation(), std::optional(u"sig"_s));
    QCOMPARE(rich->expandedText(), std::optional(u"Grüße 👍🏽\nline"_s));
    QCOMPARE(rich->expandedTextRTF(), std::optional(QByteArray("{\\rtf1\0binary}", 15)));
    QVERIFY(rich->isRichText() && rich->isCodeSnippet());
    QCOMPARE(rich->codeLanguage(), std::optional(u"swift"_s));
    QCOMPARE(rich->createdAt(), std::optional(t0));
    QCOMPARE(rich->trashedAt(), std::optional(t0.addMSecs(1234)));
    QVERIFY(rich->category());
    QCOMPARE(*rich->category()->id(), categoryId);
    QCOMPARE(rich->category()->name(), std::optional(u"Wörk"_s));
    QCOMPARE(rich->category()->sortOrder(), 1);
    SnippetEntity* bare = store->fetchAllSnippets().at(1);
    QCOMPARE(bare->expandedTextRTF(), std::optional(QByteArray("")));
    QCOMPARE(bare->id(), std::nullopt);
    QVERIFY(!bare->createdAt() && !bare->category());
    QVERIFY(!store->hasChanges()); // loading is not a change

    // Ids are kept in canonical upper-case form.
    SqliteDatabase db;
    QVERIFY(db.open(path(), false));
    auto query = db.prepare(u"SELECT id FROM snippet WHERE id IS NOT NULL"_s);
    QVERIFY(query && query->step() == SqliteStatement::Step::Row);
    QCOMPARE(query->text(0), snippetId.toString(QUuid::WithoutBraces).toUpper());
}

void TestPersistenceController::saveSemantics()
{
    auto store = open();
    QSignalSpy saved(store.get(), &PersistenceController::didSave);
    store->save();
    QCOMPARE(saved.count(), 0);
    SnippetEntity* s = addSnippet(*store, u"a"_s);
    QVERIFY(store->hasChanges());
    store->save();
    store->save();
    QCOMPARE(saved.count(), 1);
    s->setTitle(u"T"_s); // what is stored already: nothing to write
    store->save();
    QCOMPARE(saved.count(), 1);
    store->deleteSnippet(s);
    store->save();
    QCOMPARE(saved.count(), 2);
    QCOMPARE(open()->fetchAllSnippets().size(), 0);
}

namespace {

void addColumns()
{
    QTest::addColumn<ColumnEdit>("edit");
    const QUuid id0(u"{00000000-0000-0000-0000-000000000001}"_s);
    const QUuid id1(u"{00000000-0000-0000-0000-000000000002}"_s);
    QTest::newRow("id") << ColumnEdit([=](SnippetEntity& s, CategoryEntity*, int v) {
        s.setId(pick<QUuid>(v, {id0, id1, std::nullopt}));
    });
    QTest::newRow("title") << ColumnEdit([](SnippetEntity& s, CategoryEntity*, int v) {
        s.setTitle(pick<QString>(v, {u"T"_s, u""_s, std::nullopt}));
    });
    QTest::newRow("abbreviation") << ColumnEdit([](SnippetEntity& s, CategoryEntity*, int v) {
        s.setAbbreviation(pick<QString>(v, {u"a"_s, u"b"_s, u""_s}));
    });
    QTest::newRow("expandedText") << ColumnEdit([](SnippetEntity& s, CategoryEntity*, int v) {
        s.setExpandedText(pick<QString>(v, {u"a text"_s, std::nullopt, u""_s}));
    });
    QTest::newRow("expandedTextRTF") << ColumnEdit([](SnippetEntity& s, CategoryEntity*, int v) {
        s.setExpandedTextRTF(pick<QByteArray>(v, {std::nullopt, QByteArray(""), "{\\rtf1}"}));
    });
    QTest::newRow("isRichText") << ColumnEdit(
        [](SnippetEntity& s, CategoryEntity*, int v) { s.setRichText(v == 1); });
    QTest::newRow("isCodeSnippet")
        << ColumnEdit([](SnippetEntity& s, CategoryEntity*, int v) { s.setCodeSnippet(v == 1); });
    QTest::newRow("codeLanguage") << ColumnEdit([](SnippetEntity& s, CategoryEntity*, int v) {
        s.setCodeLanguage(pick<QString>(v, {std::nullopt, u""_s, u"swift"_s}));
    });
    QTest::newRow("category") << ColumnEdit(
        [](SnippetEntity& s, CategoryEntity* c, int v) { s.setCategory(v == 1 ? c : nullptr); });
    for (const auto& [name, set] : {std::pair{"createdAt", &SnippetEntity::setCreatedAt},
                                    std::pair{"updatedAt", &SnippetEntity::setUpdatedAt},
                                    std::pair{"trashedAt", &SnippetEntity::setTrashedAt}}) {
        QTest::newRow(name) << ColumnEdit([set](SnippetEntity& s, CategoryEntity*, int v) {
            (s.*set)(pick<QDateTime>(v, {t0, t0.addMSecs(1), std::nullopt}));
        });
    }
}

CategoryEntity* theCategory(const PersistenceController& store)
{
    return store
        .fetchCategories(PersistenceController::Filter::all,
                         PersistenceController::CategoryOrder::sortOrderAscending)
        .value(0);
}

} // namespace

void TestPersistenceController::everyColumnChangeIsWritten_data()
{
    addColumns();
}

void TestPersistenceController::everyColumnChangeIsWritten()
{
    QFETCH(ColumnEdit, edit);
    auto store = open();
    CategoryEntity* category = store->createCategory(u"Work"_s, u"#4A90D9"_s);
    SnippetEntity* s = addSnippet(*store, u"a"_s);
    edit(*s, category, 0);
    store->save();
    QVERIFY(!store->hasChanges());
    for (const int value : {1, 2}) {
        const QString before = describe(*s);
        edit(*s, category, value);
        QCOMPARE(store->hasChanges(), describe(*s) != before);
        store->save();
        QVERIFY(!store->hasChanges());
        edit(*s, category, value); // the value it has: no change
        QVERIFY(!store->hasChanges());
    }
    // What was written is what the record holds.
    QCOMPARE(describe(*open()->fetchAllSnippets().at(0)), describe(*s));
}

void TestPersistenceController::everyColumnMergesOnItsOwn_data()
{
    addColumns();
}

void TestPersistenceController::everyColumnMergesOnItsOwn()
{
    QFETCH(ColumnEdit, edit);
    auto app = open();
    CategoryEntity* category = app->createCategory(u"Work"_s, u"#4A90D9"_s);
    SnippetEntity* mine = addSnippet(*app, u"a"_s);
    edit(*mine, category, 0);
    app->save();

    // Changed elsewhere only: the stored value comes in, and counts as saved.
    auto other = open();
    SnippetEntity* theirs = other->fetchAllSnippets().at(0);
    edit(*theirs, theCategory(*other), 1);
    other->save();
    app->refreshFromStore();
    QCOMPARE(describe(*mine), describe(*theirs));
    QVERIFY(!app->hasChanges());

    // Changed here too: ours stays, and is written at the next save.
    edit(*mine, category, 2);
    const QString ours = describe(*mine);
    edit(*theirs, theCategory(*other), 0);
    other->save();
    app->refreshFromStore();
    QCOMPARE(describe(*mine), ours);
    app->save();
    QCOMPARE(describe(*open()->fetchAllSnippets().at(0)), ours);
}

void TestPersistenceController::newRecordsAfterDeletionsKeepTheirOwnSavedState()
{
    auto store = open();
    QList<SnippetEntity*> snippets;
    for (const QString& abbreviation : {u"a"_s, u"b"_s, u"c"_s, u"d"_s})
        snippets << addSnippet(*store, abbreviation);
    store->save();
    store->deleteSnippets({snippets[1], snippets[2]});
    store->save();
    // Saved in the room the deleted ones left.
    SnippetEntity* e = addSnippet(*store, u"e"_s);
    store->save();
    QVERIFY(!store->hasChanges());

    for (SnippetEntity* s : {snippets[0], snippets[3], e}) {
        const QString before = describe(*s);
        s->setTitle(*s->abbreviation() + u" edited"_s);
        QVERIFY(store->hasChanges());
        store->save();
        QVERIFY(!store->hasChanges());
        QVERIFY(describe(*s) != before);
    }
    QStringList titles;
    const auto reopened = open();
    for (const SnippetEntity* s : reopened->fetchAllSnippets())
        titles << *s->title();
    titles.sort();
    QCOMPARE(titles, QStringList({u"a edited"_s, u"d edited"_s, u"e edited"_s}));
}

void TestPersistenceController::failedSaveKeepsChangesPending()
{
    auto store = open();
    addSnippet(*store, u"first"_s);
    store->save();

    SqliteDatabase blocker; // another writer holding the file
    QVERIFY(blocker.open(path(), false));
    QVERIFY(blocker.exec(u"BEGIN EXCLUSIVE"_s));
    QSignalSpy saved(store.get(), &PersistenceController::didSave);
    addSnippet(*store, u"second"_s);
    store->save();
    QVERIFY(!store->syncError().isEmpty());
    QCOMPARE(saved.count(), 0);
    QVERIFY(store->hasChanges());

    QVERIFY(blocker.exec(u"ROLLBACK"_s));
    store->save();
    QCOMPARE(saved.count(), 1);
    QVERIFY(!store->hasChanges());
    QCOMPARE(open()->fetchAllSnippets().size(), 2);
}

void TestPersistenceController::unusableFilesAreLeftAlone_data()
{
    QTest::addColumn<QByteArray>("setupSql"); // empty: the file is not a database
    QTest::addColumn<QString>("reason");
    QTest::newRow("newer version")
        << QByteArray("CREATE TABLE keep(x); PRAGMA user_version = 99;") << u"newer version"_s;
    QTest::newRow("not a database") << QByteArray() << u"not a database"_s;
    QTest::newRow("negative version")
        << QByteArray("CREATE TABLE keep(x); PRAGMA user_version = -1;") << u"format number -1"_s;
}

void TestPersistenceController::unusableFilesAreLeftAlone()
{
    QFETCH(QByteArray, setupSql);
    QFETCH(QString, reason);
    if (setupSql.isEmpty()) {
        QFile file(path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
    } else {
        SqliteDatabase db;
        QVERIFY(db.open(path(), true));
        QVERIFY(db.exec(QString::fromLatin1(setupSql)));
    }
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray before = file.readAll();
    file.close();

    auto store = open();
    QVERIFY(!store->isAvailable());
    QVERIFY2(store->syncError().contains(reason), qPrintable(store->syncError()));
    addSnippet(*store, u"x"_s);
    store->save();
    QVERIFY(store->hasChanges());
    store.reset();
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), before);
}

void TestPersistenceController::fetchOrders()
{
    auto store = open();
    const auto make = [&](const QString& name, qint64 created, qint64 updated, qint64 trashed) {
        SnippetEntity* s = addSnippet(*store, name);
        s->setCreatedAt(created ? std::optional(t0.addSecs(created)) : std::nullopt);
        s->setUpdatedAt(updated ? std::optional(t0.addSecs(updated)) : std::nullopt);
        s->setTrashedAt(trashed ? std::optional(t0.addSecs(trashed)) : std::nullopt);
    };
    make(u"a"_s, 1, 30, 0);
    make(u"b"_s, 3, 10, 5);
    make(u"c"_s, 0, 20, 0);
    make(u"d"_s, 2, 0, 9);
    const auto names = [](const QList<SnippetEntity*>& list) {
        QString out;
        for (const SnippetEntity* s : list)
            out += *s->abbreviation();
        return out;
    };
    using F = PersistenceController::Filter;
    using O = PersistenceController::SnippetOrder;
    QCOMPARE(names(store->fetchActiveSnippets()), u"ac"_s);
    QCOMPARE(names(store->fetchAllSnippets()), u"bdac"_s);
    QCOMPARE(names(store->fetchSnippets(F::live, O::updatedAtDescending)), u"ac"_s);
    QCOMPARE(names(store->fetchSnippets(F::all, O::updatedAtDescending)), u"acbd"_s);
    QCOMPARE(names(store->fetchTrashedSnippets()), u"db"_s);
}

void TestPersistenceController::createCategorySortOrder()
{
    auto store = open();
    QCOMPARE(store->createCategory(u"one"_s, u"#4A90D9"_s)->sortOrder(), 1);
    store->createCategory(u"two"_s, u"#4A90D9"_s)->setTrashedAt(t0);
    store->insertCategory(CategoryEntity::create(u"unsaved"_s, u"#4A90D9"_s, 0, t0));
    CategoryEntity* fourth = store->createCategory(u"four"_s, u"#7B68EE"_s);
    QCOMPARE(fourth->sortOrder(), 4);
    QCOMPARE(fourth->colorHex(), std::optional(u"#7B68EE"_s));
    QVERIFY(!store->hasChanges());
    QCOMPARE(store
                 ->fetchCategories(PersistenceController::Filter::live,
                                   PersistenceController::CategoryOrder::sortOrderAscending)
                 .size(),
             3);
}

void TestPersistenceController::trashAndRestore()
{
    auto store = open();
    CategoryEntity* category = store->createCategory(u"c"_s, u"#4A90D9"_s);
    SnippetEntity* a = addSnippet(*store, u"a"_s, category);
    SnippetEntity* b = addSnippet(*store, u"b"_s, category);
    store->trashSnippets({b});
    m_now = t0.addSecs(5 * day);
    store->trashCategory(category);
    QCOMPARE(a->trashedAt(), std::optional(m_now));
    QCOMPARE(category->trashedAt(), std::optional(m_now));
    QCOMPARE(b->trashedAt(), std::optional(t0)); // trashed on its own earlier

    store->restoreSnippet(a); // brings its category back, not its sibling
    QVERIFY(a->isLive() && category->isLive() && b->isTrashed());

    store->trashCategory(category);
    store->restoreCategory(category);
    QVERIFY(a->isLive() && category->isLive() && b->isLive());

    auto reopened = open();
    QCOMPARE(reopened->fetchActiveSnippets().size(), 2);
}

void TestPersistenceController::deleteCategoryPermanently()
{
    auto store = open();
    CategoryEntity* category = store->createCategory(u"c"_s, u"#4A90D9"_s);
    addSnippet(*store, u"live"_s, category);
    addSnippet(*store, u"gone"_s, category)->setTrashedAt(t0);
    addSnippet(*store, u"other"_s);
    store->save();
    store->deleteCategoryPermanently(category);
    auto reopened = open();
    QCOMPARE(reopened->fetchAllSnippets().size(), 1);
    QCOMPARE(reopened
                 ->fetchCategories(PersistenceController::Filter::all,
                                   PersistenceController::CategoryOrder::sortOrderAscending)
                 .size(),
             0);
}

void TestPersistenceController::bulkActionsSkipRecordsAlreadyGone()
{
    auto store = open();
    CategoryEntity* category = store->createCategory(u"c"_s, u"#4A90D9"_s);
    SnippetEntity* a = addSnippet(*store, u"a"_s, category);
    SnippetEntity* b = addSnippet(*store, u"b"_s);
    store->trashCategory(category);
    store->trashSnippets({b});
    store->deleteSnippetPermanently(b);

    QSignalSpy saved(store.get(), &PersistenceController::didSave);
    store->restoreSelection({a, b}, {category});
    QCOMPARE(saved.count(), 1);
    QVERIFY(a->isLive() && category->isLive());
    store->deleteSelectionPermanently({b}, {category});
    QCOMPARE(saved.count(), 2);
    QCOMPARE(store->fetchAllSnippets().size(), 0);
    store->restoreSelection({a}, {category}); // all gone: nothing to save
    QCOMPARE(saved.count(), 2);
}

void TestPersistenceController::purge()
{
    auto store = open();
    CategoryEntity* oldCategory = store->createCategory(u"old"_s, u"#4A90D9"_s);
    CategoryEntity* recentCategory = store->createCategory(u"recent"_s, u"#4A90D9"_s);
    addSnippet(*store, u"withOld"_s, oldCategory);
    SnippetEntity* old = addSnippet(*store, u"old"_s);
    SnippetEntity* atCutoff = addSnippet(*store, u"atCutoff"_s);
    addSnippet(*store, u"recent"_s, recentCategory);
    addSnippet(*store, u"live"_s);
    store->trashCategory(oldCategory); // withOld too
    store->trashSnippets({old});
    m_now = t0.addSecs(day);
    store->trashSnippets({atCutoff});
    m_now = t0.addSecs(2 * day);
    store->trashCategory(recentCategory);

    m_now = t0.addSecs(31 * day); // exactly 30 days after the "atCutoff" trashing
    store->purgeOldTrash();
    auto reopened = open();
    QStringList left;
    for (const SnippetEntity* s : reopened->fetchAllSnippets())
        left << *s->abbreviation();
    QCOMPARE(left, (QStringList{u"atCutoff"_s, u"recent"_s, u"live"_s}));
    QCOMPARE(reopened->fetchTrashedCategories().size(), 1);
}

void TestPersistenceController::daysRemaining_data()
{
    QTest::addColumn<qint64>("elapsedSeconds");
    QTest::addColumn<int>("days");
    QTest::newRow("just trashed") << qint64(0) << 30;
    QTest::newRow("one second") << qint64(1) << 30;
    QTest::newRow("one day") << day << 29;
    QTest::newRow("29 days and a second") << 29 * day + 1 << 1;
    QTest::newRow("29.5 days") << 29 * day + day / 2 << 1;
    QTest::newRow("30 days") << 30 * day << 0;
    QTest::newRow("long past") << 400 * day << 0;
}

void TestPersistenceController::daysRemaining()
{
    QFETCH(qint64, elapsedSeconds);
    QFETCH(int, days);
    QCOMPARE(PersistenceController::daysRemaining(t0, t0.addSecs(elapsedSeconds)), days);
}

Q_DECLARE_METATYPE(SyncEvent)

void TestPersistenceController::syncEvents_data()
{
    QTest::addColumn<QList<SyncEvent>>("events");
    QTest::addColumn<bool>("syncing");
    QTest::addColumn<QString>("error"); // "old": the error set before stays
    QTest::addColumn<bool>("synced");   // lastSyncDate is t0
    QTest::addColumn<QString>("lastLog");

    const SyncEventError quota{u"Quota"_s, true, SyncEventError::quotaExceeded, {}};
    const SyncEventError changed{u"Changed"_s, true, SyncEventError::serverRecordChanged, {}};
    const auto partial = [](std::vector<SyncEventError> items) {
        return SyncEventError{u"Partial"_s, true, SyncEventError::partialFailure, items};
    };
    using T = SyncEvent::Type;
    QTest::newRow("export runs and finishes")
        << QList<SyncEvent>{{T::exportChanges, {}, {}}, {T::exportChanges, t0, {}}} << false
        << QString() << true << u"[Sync] export finished"_s;
    QTest::newRow("import still running") << QList<SyncEvent>{{T::import, {}, {}}} << true
                                          << u"old"_s << false << u"[Sync] import started"_s;
    QTest::newRow("unknown type leaves syncing alone")
        << QList<SyncEvent>{{T::setup, {}, {}}, {T::other, t0, {}}} << true << QString() << true
        << u"[Sync] unknown finished"_s;
    QTest::newRow("item errors that do not matter")
        << QList<SyncEvent>{{T::exportChanges, t0, partial({changed, changed})}} << false
        << u"old"_s << false << u"[Sync] export finished \u2014 ERROR: Partial"_s;
    QTest::newRow("quota exceeded item")
        << QList<SyncEvent>{{T::exportChanges, t0, partial({changed, quota})}} << false
        << u"Partial"_s << false << u"[Sync] export finished \u2014 ERROR: Partial"_s;
    QTest::newRow("partial failure without items")
        << QList<SyncEvent>{{T::import, t0, partial({})}} << false << u"old"_s << false
        << u"[Sync] import finished \u2014 ERROR: Partial"_s;
    QTest::newRow("plain error") << QList<SyncEvent>{{T::import, t0,
                                                      SyncEventError{u"Offline"_s, false, 0, {}}}}
                                 << false << u"Offline"_s << false
                                 << u"[Sync] import finished \u2014 ERROR: Offline"_s;
}

void TestPersistenceController::syncEvents()
{
    QFETCH(QList<SyncEvent>, events);
    QFETCH(bool, syncing);
    QFETCH(QString, error);
    QFETCH(bool, synced);
    QFETCH(QString, lastLog);
    auto store = open();
    store->handleSyncEvent(
        {SyncEvent::Type::other, t0.addSecs(-1), SyncEventError{u"old"_s, false, 0, {}}});
    for (const SyncEvent& event : events)
        store->handleSyncEvent(event);
    QCOMPARE(store->isSyncing(), syncing);
    QCOMPARE(store->syncError(), error);
    QCOMPARE(store->lastSyncDate() == t0, synced);
    QCOMPARE(PersistenceController::syncEventLogLine(events.last()), lastLog);
}

void TestPersistenceController::enableSyncAndRelaunch()
{
    QSettings settings(m_dir.filePath(u"defaults.ini"_s), QSettings::IniFormat);
    QStringList launched;
    bool quit = false;
    PersistenceController::Options options;
    options.databasePath = path();
    options.settings = &settings;
    options.watchForExternalChanges = false;
    options.startProcess = [&](const QString& program, const QStringList& arguments) {
        launched = QStringList{program} + arguments;
        return true;
    };
    options.quit = [&] { quit = true; };
    PersistenceController store(options);
    QVERIFY(!store.isSyncEnabled());
    store.enableSyncAndRelaunch();
    QCOMPARE(launched.mid(0, 3), (QStringList{u"/bin/sh"_s, u"-c"_s, u"sleep 1 && exec \"$0\""_s}));
    QCOMPARE(launched.value(3), QCoreApplication::applicationFilePath());
    QVERIFY(!quit);
    QTRY_VERIFY(quit);
    QVERIFY(!store.isSyncEnabled()); // read once, at start
    QVERIFY(PersistenceController(options).isSyncEnabled());
}

void TestPersistenceController::externalChangesAreMerged()
{
    auto app = open(/*watch=*/true);
    SnippetEntity* edited = addSnippet(*app, u"edited"_s);
    SnippetEntity* removed = addSnippet(*app, u"removed"_s);
    removed->setExpandedText(QString(100'000, u'r'));
    const QString removedText = *removed->expandedText(); // shared until the record is freed
    app->save();
    edited->setTitle(u"local title"_s); // unsaved here while another process writes

    auto other = open();
    SnippetEntity* theirs = other->fetchAllSnippets().at(0);
    QCOMPARE(*theirs->abbreviation(), u"edited"_s);
    theirs->setTitle(u"their title"_s);
    theirs->setExpandedText(u"their text"_s);
    other->deleteSnippet(other->fetchAllSnippets().at(1));
    addSnippet(*other, u"added"_s);
    other->save();

    QSignalSpy changed(app.get(), &PersistenceController::remoteStoreChanged);
    QVERIFY(changed.wait(5000));
    QVERIFY(!app->contains(removed));
    QVERIFY2(removedText.isDetached(), "a record deleted elsewhere is freed at once");
    QCOMPARE(app->fetchAllSnippets().size(), 2);
    QCOMPARE(edited->title(), std::optional(u"local title"_s));       // ours wins
    QCOMPARE(edited->expandedText(), std::optional(u"their text"_s)); // theirs merged
    app->save();
    auto reopened = open();
    SnippetEntity* stored = reopened->snippetWithId(*edited->id());
    QCOMPARE(stored->title(), std::optional(u"local title"_s));
    QCOMPARE(stored->expandedText(), std::optional(u"their text"_s));
}

// Another process writing every 50 ms, without a pause, still gets its changes seen.
void TestPersistenceController::changesSeenDuringSteadyWrites()
{
    auto app = open(/*watch=*/true);
    addSnippet(*app, u"first"_s);
    app->save();
    auto other = open();
    SnippetEntity* theirs = other->fetchAllSnippets().at(0);
    int writes = 0;
    QTimer writer;
    writer.setInterval(50);
    connect(&writer, &QTimer::timeout, this, [&] {
        theirs->setTitle(QString::number(++writes));
        other->save();
    });
    QSignalSpy changed(app.get(), &PersistenceController::remoteStoreChanged);
    writer.start();
    const bool seen = changed.wait(1000);
    writer.stop();
    QVERIFY2(seen, "nothing merged within a second of steady writes");
    QVERIFY(app->fetchAllSnippets().at(0)->title().has_value());
}

// The running app finds its library again once the file is readable, without a restart.
void TestPersistenceController::unusableFileReadOnceRepaired()
{
    QFETCH(QByteArray, setupSql);
    QFETCH(QString, reason);
    const QString good = m_dir.filePath(u"good.sqlite"_s);
    QFile::remove(good);
    {
        PersistenceController::Options options;
        options.databasePath = good;
        options.watchForExternalChanges = false;
        PersistenceController other(std::move(options));
        addSnippet(other, u"kept"_s);
        other.save();
    }
    if (setupSql.isEmpty()) {
        QFile file(path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
    } else {
        SqliteDatabase db;
        QVERIFY(db.open(path(), true));
        QVERIFY(db.exec(QString::fromLatin1(setupSql)));
    }
    auto app = open(/*watch=*/true);
    QVERIFY(!app->isAvailable());
    QVERIFY2(app->syncError().contains(reason), qPrintable(app->syncError()));
    QSignalSpy available(app.get(), &PersistenceController::availableChanged);
    QSignalSpy changed(app.get(), &PersistenceController::remoteStoreChanged);

    QVERIFY(QFile::remove(path()));
    QVERIFY(QFile::copy(good, path()));
    QVERIFY(available.wait(PersistenceController::reopenIntervalMs + 3000));
    QVERIFY(app->isAvailable());
    QCOMPARE(app->syncError(), QString());
    QCOMPARE(changed.count(), 1);
    QCOMPARE(app->fetchAllSnippets().size(), 1);
    addSnippet(*app, u"after"_s);
    app->save();
    QCOMPARE(app->syncError(), QString());
    QCOMPARE(open()->fetchAllSnippets().size(), 2);
}

void TestPersistenceController::unwritableLibraryStillLists_data()
{
    QTest::addColumn<bool>("folder"); // else the file itself
    QTest::newRow("read-only file") << false;
    QTest::newRow("read-only folder") << true;
}

// Listing and exporting need no writing. Root ignores modes, so it makes the file or folder
// immutable instead.
void TestPersistenceController::unwritableLibraryStillLists()
{
    QFETCH(bool, folder);
    QTemporaryDir dir;
    const QString file = dir.filePath(u"ScrivLane.sqlite"_s);
    const auto openAt = [&] {
        PersistenceController::Options options;
        options.databasePath = file;
        options.watchForExternalChanges = false;
        return std::make_unique<PersistenceController>(std::move(options));
    };
    {
        auto store = openAt();
        addSnippet(*store, u"kept"_s);
        store->save();
    }
    const QString target = folder ? dir.path() : file;
    const auto protect = [&](bool on) {
        if (::geteuid() == 0)
            return QProcess::execute(u"chattr"_s, {on ? u"+i"_s : u"-i"_s, target}) == 0;
        return QFile::setPermissions(target,
                                     on ? QFile::ReadOwner | QFile::ExeOwner
                                        : QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    };
    if (!protect(true))
        QSKIP("cannot make the library unwritable here");
    const QByteArray before = [&] {
        QFile f(file);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }();
    auto store = openAt();
    const bool available = store->isAvailable(), readOnly = store->isReadOnly();
    const qsizetype count = store->fetchAllSnippets().size();
    addSnippet(*store, u"new"_s);
    store->save();
    const QString error = store->syncError();
    store.reset();
    QFile f(file);
    const QByteArray after = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    QVERIFY(protect(false));
    QVERIFY2(available, qPrintable(error));
    QVERIFY(readOnly);
    QCOMPARE(count, 1);
    QVERIFY2(error.contains(u"cannot be written"_s), qPrintable(error));
    QCOMPARE(after, before);
}

// The running app notices when the folder can be written again, and writes what waited.
void TestPersistenceController::libraryWrittenOnceWritableAgain()
{
    QTemporaryDir dir;
    const QString file = dir.filePath(u"ScrivLane.sqlite"_s);
    const auto openAt = [&](bool watch) {
        PersistenceController::Options options;
        options.databasePath = file;
        options.watchForExternalChanges = watch;
        return std::make_unique<PersistenceController>(std::move(options));
    };
    {
        auto store = openAt(false);
        addSnippet(*store, u"kept"_s);
        store->save();
    }
    const auto protect = [&](bool on) {
        if (::geteuid() == 0)
            return QProcess::execute(u"chattr"_s, {on ? u"+i"_s : u"-i"_s, dir.path()}) == 0;
        return QFile::setPermissions(dir.path(),
                                     on ? QFile::ReadOwner | QFile::ExeOwner
                                        : QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    };
    if (!protect(true))
        QSKIP("cannot make the library unwritable here");
    auto store = openAt(true);
    const bool readOnly = store->isReadOnly();
    addSnippet(*store, u"waited"_s);
    store->save();
    const bool pending = store->hasChanges();
    QVERIFY(protect(false));
    QVERIFY(readOnly);
    QVERIFY(pending);
    QSignalSpy available(store.get(), &PersistenceController::availableChanged);
    QVERIFY(available.wait(PersistenceController::reopenIntervalMs + 3000));
    QVERIFY(!store->isReadOnly());
    QVERIFY(!store->hasChanges());
    QCOMPARE(store->syncError(), QString());
    store.reset();
    QCOMPARE(openAt(false)->fetchAllSnippets().size(), 2);
}

QTEST_GUILESS_MAIN(TestPersistenceController)
#include "tst_persistencecontroller.moc"

#include "library/CategoryEntity.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "sync/LibrarySync.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

using namespace Qt::StringLiterals;
using scrivlane::sync::HybridClock;
using scrivlane::sync::LibrarySync;

namespace {

// One computer: its store, its data folder and its side of the shared sync folder.
struct Computer {
    Computer(const QString& root, const QString& name, const QString& syncFolder,
             const QString& machine = u"machine"_s, HybridClock::WallClock wallClock = {})
        : dataFolder(root + u"/"_s + name)
    {
        QDir().mkpath(dataFolder);
        PersistenceController::Options options;
        options.databasePath = dataFolder + u"/ScrivLane.sqlite"_s;
        options.watchForExternalChanges = false;
        options.clock = [] { return QDateTime::currentDateTimeUtc(); };
        store = std::make_unique<PersistenceController>(std::move(options));
        sync = std::make_unique<LibrarySync>(LibrarySync::Options{
            store.get(), syncFolder, dataFolder, machine + name, std::move(wallClock), {}, 2000});
        QObject::connect(store.get(), &PersistenceController::recordsSaved, sync.get(),
                         &LibrarySync::recordsSaved);
    }

    SnippetEntity* add(const QString& abbreviation, CategoryEntity* category = nullptr)
    {
        SnippetEntity* snippet = store->insertSnippet(SnippetEntity::create(
            u"Title "_s + abbreviation, abbreviation, category, QDateTime::currentDateTimeUtc()));
        snippet->setExpandedText(u"expansion of "_s + abbreviation);
        return snippet;
    }
    SnippetEntity* find(const QString& abbreviation) const
    {
        for (SnippetEntity* snippet : store->fetchAllSnippets())
            if (snippet->abbreviation() == abbreviation)
                return snippet;
        return nullptr;
    }
    QStringList abbreviations(PersistenceController::Filter filter) const
    {
        QStringList list;
        for (SnippetEntity* snippet :
             store->fetchSnippets(filter, PersistenceController::SnippetOrder::createdAtDescending))
            list << snippet->abbreviation().value_or(QString());
        list.sort();
        return list;
    }

    QString dataFolder;
    std::unique_ptr<PersistenceController> store;
    std::unique_ptr<LibrarySync> sync;
};

} // namespace

class TestLibrarySync : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(m_dir->path()).mkpath(u"Sync"_s));
    }

    // Adds, edits, moves, trashing, restoring and deleting for good all travel both ways
    // between two real stores, and survive a restart of the receiving side.
    void libraryTravelsBothWays()
    {
        Computer a(m_dir->path(), u"a"_s, syncFolder());
        Computer b(m_dir->path(), u"b"_s, syncFolder());
        CategoryEntity* work = a.store->createCategory(u"Work"_s, u"#3366CC"_s);
        a.add(u";sig"_s, work);
        a.add(u";addr"_s);
        a.store->save();
        a.sync->syncNow();
        b.sync->syncNow();
        QCOMPARE(b.abbreviations(PersistenceController::Filter::all),
                 (QStringList{u";addr"_s, u";sig"_s}));
        QCOMPARE(b.find(u";sig"_s)->category()->name(), std::optional(u"Work"_s));
        QCOMPARE(b.find(u";sig"_s)->expandedText(), std::optional(u"expansion of ;sig"_s));

        b.find(u";sig"_s)->setTitle(u"Signature"_s);
        b.find(u";sig"_s)->setCategory(nullptr);
        b.store->trashSnippets({b.find(u";addr"_s)});
        b.store->save();
        b.sync->exportChanges();
        a.sync->importChanges();
        QCOMPARE(a.find(u";sig"_s)->title(), std::optional(u"Signature"_s));
        QCOMPARE(a.find(u";sig"_s)->category(), nullptr);
        QCOMPARE(a.abbreviations(PersistenceController::Filter::trashed), QStringList{u";addr"_s});

        a.store->restoreSnippet(a.find(u";addr"_s));
        a.store->deleteSnippetPermanently(a.find(u";sig"_s));
        a.sync->exportChanges();
        Computer bAgain(m_dir->path(), u"b"_s, syncFolder());
        b.store.reset();
        bAgain.sync->syncNow();
        QCOMPARE(bAgain.abbreviations(PersistenceController::Filter::live),
                 QStringList{u";addr"_s});
        QCOMPARE(bAgain.abbreviations(PersistenceController::Filter::all), QStringList{u";addr"_s});
    }

    // A computer set up with an empty library takes in what arrives later by imports alone.
    void emptyLibraryTakesInWhatArrives()
    {
        Computer a(m_dir->path(), u"a"_s, syncFolder());
        Computer b(m_dir->path(), u"b"_s, syncFolder());
        b.sync->syncNow();
        a.add(u";x"_s);
        a.store->save();
        a.sync->syncNow();
        b.sync->importChanges();
        QCOMPARE(b.abbreviations(PersistenceController::Filter::all), QStringList{u";x"_s});
    }

    // An edit not saved yet is never overwritten by what arrives; once saved it wins over what
    // had arrived, even from a computer whose clock runs ahead.
    void unsavedEditWins()
    {
        qint64 aClock = QDateTime::currentMSecsSinceEpoch();
        const qint64 bClock = aClock;
        Computer a(m_dir->path(), u"a"_s, syncFolder(), u"machine"_s, [&aClock] { return aClock; });
        Computer b(m_dir->path(), u"b"_s, syncFolder(), u"machine"_s, [bClock] { return bClock; });
        a.add(u";x"_s);
        a.store->save();
        a.sync->syncNow();
        b.sync->syncNow();
        aClock += 60000; // a's clock jumps a minute ahead
        a.find(u";x"_s)->setTitle(u"from a"_s);
        a.store->save();
        a.sync->exportChanges();

        b.find(u";x"_s)->setTitle(u"typing on b"_s); // in the editor, not saved
        b.sync->importChanges();
        QCOMPARE(b.find(u";x"_s)->title(), std::optional(u"typing on b"_s));
        b.store->save();
        b.sync->syncNow();
        a.sync->importChanges();
        QCOMPARE(a.find(u";x"_s)->title(), std::optional(u"typing on b"_s));
    }

    // The events drive the store's sync state: set-up first, then exports and imports; a
    // missing folder is an error the user sees, and the next good run clears it.
    void eventsAndErrors()
    {
        Computer a(m_dir->path(), u"a"_s, syncFolder());
        QSignalSpy syncing(a.store.get(), &PersistenceController::isSyncingChanged);
        a.sync->syncNow();
        QCOMPARE(syncing.count(), 2);
        QVERIFY(a.store->syncError().isEmpty());
        QVERIFY(a.store->lastSyncDate().isValid());

        QVERIFY(QDir(syncFolder()).removeRecursively());
        a.add(u";y"_s);
        a.store->save();
        a.sync->exportChanges();
        QVERIFY2(a.store->syncError().contains(u"is missing"_s), qPrintable(a.store->syncError()));

        QVERIFY(QDir().mkpath(syncFolder()));
        a.sync->syncNow();
        QVERIFY2(a.store->syncError().isEmpty(), qPrintable(a.store->syncError()));
        Computer b(m_dir->path(), u"b"_s, syncFolder());
        b.sync->syncNow();
        QCOMPARE(b.abbreviations(PersistenceController::Filter::all), QStringList{u";y"_s});
    }

    void deviceIdentity()
    {
        const QString data = m_dir->path();
        const QString first = LibrarySync::deviceIdentity(data, u"m1"_s);
        QCOMPARE(LibrarySync::deviceIdentity(data, u"m1"_s), first);
        // The data folder copied to another machine: a device of its own from then on.
        const QString copied = LibrarySync::deviceIdentity(data, u"m2"_s);
        QVERIFY(copied != first);
        QCOMPARE(LibrarySync::deviceIdentity(data, u"m2"_s), copied);
    }

private:
    QString syncFolder() const { return m_dir->filePath(u"Sync"_s); }
    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_GUILESS_MAIN(TestLibrarySync)
#include "tst_librarysync.moc"

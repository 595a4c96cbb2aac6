#include "sync/FolderMirror.h"
#include "sync/Journal.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

using namespace Qt::StringLiterals;
using namespace scrivlane::sync;
using Failure = MirrorOutcome::Failure;
using Kind = SyncState::Kind;

namespace {

QJsonObject title(const QString& id, const QString& text)
{
    return {{u"op"_s, u"set"_s},
            {u"kind"_s, u"snippet"_s},
            {u"id"_s, id},
            {u"fields"_s, QJsonObject{{u"title"_s, text}}}};
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void append(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::Append));
    file.write(bytes);
}

QStringList libraryFiles(const QString& syncFolder)
{
    return QDir(syncFolder + u"/Library"_s).entryList(QDir::Files, QDir::Name);
}

class Home {
public:
    Home(const QString& syncFolder, const QString& device, int compactAfter = 2000)
        : m_mirror(std::make_unique<FolderMirror>(
              FolderMirror::Options{syncFolder, device, [this] { return m_wall; }, compactAfter}))
    {}
    FolderMirror& operator*() { return *m_mirror; }
    FolderMirror* operator->() { return m_mirror.get(); }
    QMap<QString, QJsonObject> snippets() const
    {
        return m_mirror->merged().visible(Kind::Snippet);
    }

    qint64 m_wall = 1'000;

private:
    std::unique_ptr<FolderMirror> m_mirror;
};

} // namespace

class TestFolderMirror : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
    }

    // Two computers and a restart: what one writes, the other reads; a restarted computer
    // carries on its journal without reusing a number the other already holds.
    void changesTravelAndSurviveRestarts()
    {
        const QString folder = m_dir->path();
        {
            Home a(folder, u"dev-a"_s);
            QVERIFY(a->exportChanges({title(u"s1"_s, u"one"_s), title(u"s2"_s, u"two"_s)}).ok());
        }
        Home b(folder, u"dev-b"_s);
        MirrorOutcome read = b->importChanges();
        QVERIFY(read.ok());
        QVERIFY(read.changed);
        QCOMPARE(b.snippets().size(), 2);

        Home restarted(folder, u"dev-a"_s);
        QVERIFY(restarted->exportChanges({title(u"s1"_s, u"uno"_s)}).ok());
        read = b->importChanges();
        QVERIFY(read.ok());
        QCOMPARE(b.snippets().value(u"s1"_s).value(u"title"_s).toString(), u"uno"_s);
        QCOMPARE(b->devicesSeen(), (QStringList{u"dev-a"_s, u"dev-b"_s}));
        QVERIFY(!b->importChanges().changed);

        // b's clock runs an hour slow, yet its edit made after reading a's comes out later.
        b.m_wall = 1'000 - 3'600'000;
        QVERIFY(b->exportChanges({title(u"s1"_s, u"eins"_s)}).ok());
        QVERIFY(restarted->importChanges().ok());
        QCOMPARE(restarted.snippets().value(u"s1"_s).value(u"title"_s).toString(), u"eins"_s);
    }

    // A journal compacts into the snapshot; readers that had read part of the old journal,
    // and readers that read nothing yet, both end with everything.
    void compactionLosesNothing()
    {
        const QString folder = m_dir->path();
        Home a(folder, u"dev-a"_s, 5);
        Home early(folder, u"dev-b"_s);
        QVERIFY(a->exportChanges({title(u"s1"_s, u"v1"_s), title(u"s2"_s, u"v1"_s)}).ok());
        QVERIFY(early->importChanges().ok());
        for (int round = 2; round <= 6; ++round)
            QVERIFY(a->exportChanges({title(u"s1"_s, u"v%1"_s.arg(round)),
                                      title(u"s%1"_s.arg(round + 1), u"new"_s)})
                        .ok());
        const QStringList files = libraryFiles(folder);
        QVERIFY2(files.contains(u"dev-a.snapshot"_s), qPrintable(files.join(u' ')));
        QVERIFY2(!files.contains(u"dev-a.1.journal"_s), qPrintable(files.join(u' ')));

        Home late(folder, u"dev-c"_s);
        QVERIFY(late->importChanges().ok());
        QVERIFY(early->importChanges().ok());
        QCOMPARE(late.snippets(), a.snippets());
        QCOMPARE(early.snippets(), a.snippets());
        QCOMPARE(a.snippets().value(u"s1"_s).value(u"title"_s).toString(), u"v6"_s);

        // And a restart reads its own snapshot back.
        Home restarted(folder, u"dev-a"_s, 5);
        QVERIFY(restarted->importChanges().ok());
        QCOMPARE(restarted.snippets(), a.snippets());
    }

    // A write killed half way leaves a torn line: the next start cuts it off, so the entries
    // after it read cleanly.
    void tornTailIsCutBeforeAppending()
    {
        const QString folder = m_dir->path();
        {
            Home a(folder, u"dev-a"_s);
            QVERIFY(a->exportChanges({title(u"s1"_s, u"one"_s)}).ok());
        }
        const QString journal = folder + u"/Library/dev-a.1.journal"_s;
        append(journal,
               encodeJournalEntry({2, {5, 0, u"dev-a"_s}, title(u"s2"_s, u"x"_s)}).left(20));
        Home a(folder, u"dev-a"_s);
        QVERIFY(a->exportChanges({title(u"s3"_s, u"three"_s)}).ok());
        const JournalReadResult read = readJournal(contents(journal));
        QCOMPARE(read.damaged, 0);
        QVERIFY(!read.tornTail);
        QCOMPARE(read.entries.size(), 2);
        QCOMPARE(read.entries.last().seq, quint64(2));
    }

    // The app and the command line on one computer write one journal in turn; and a drive
    // mounted over the folder shows an older copy of it. Nothing is numbered twice and
    // nothing written is lost to the other computers.
    void ourJournalChangedBehindOurBack()
    {
        const QString folder = m_dir->path();
        Home app(folder, u"dev-a"_s);
        QVERIFY(app->exportChanges({title(u"s1"_s, u"app"_s)}).ok());
        const QByteArray afterFirst = contents(folder + u"/Library/dev-a.1.journal"_s);
        {
            Home cli(folder, u"dev-a"_s);
            QVERIFY(cli->exportChanges({title(u"s2"_s, u"cli"_s)}).ok());
        }
        QVERIFY(app->exportChanges({title(u"s3"_s, u"app"_s)}).ok());
        const JournalReadResult journal =
            readJournal(contents(folder + u"/Library/dev-a.1.journal"_s));
        QCOMPARE(journal.entries.size(), 3);
        QCOMPARE(journal.stop, JournalReadResult::Stop::None);

        // The older copy: only the first entry.
        QFile::remove(folder + u"/Library/dev-a.1.journal"_s);
        append(folder + u"/Library/dev-a.1.journal"_s, afterFirst);
        QVERIFY(app->exportChanges({title(u"s4"_s, u"app"_s)}).ok());
        Home b(folder, u"dev-b"_s);
        QVERIFY(b->importChanges().ok());
        QCOMPARE(b.snippets().keys(), (QStringList{u"s1"_s, u"s2"_s, u"s3"_s, u"s4"_s}));
    }

    // An entry lost from our own journal (a backup of the folder put back, say) must not
    // make us hand its number out again: readers that hold the later one would drop ours.
    void numbersAreNeverReused()
    {
        const QString folder = m_dir->path();
        QVERIFY(QDir(folder).mkpath(u"Library"_s));
        const QString journal = folder + u"/Library/dev-a.1.journal"_s;
        append(journal, encodeJournalEntry({1, {1, 0, u"dev-a"_s}, title(u"s1"_s, u"a"_s)}) +
                            encodeJournalEntry({3, {3, 0, u"dev-a"_s}, title(u"s3"_s, u"c"_s)}));
        Home a(folder, u"dev-a"_s);
        QVERIFY(a->exportChanges({title(u"s4"_s, u"d"_s)}).ok());
        QCOMPARE(readJournal(contents(journal)).highestSeq, quint64(4));
    }

    // What sync tools and other versions leave in the folder never stops the others.
    void foreignFilesInTheFolder()
    {
        const QString folder = m_dir->path();
        const QString library = folder + u"/Library/"_s;
        Home a(folder, u"dev-a"_s);
        QVERIFY(a->exportChanges({title(u"s1"_s, u"one"_s)}).ok());
        // A longer version of a's journal arrived as a conflict copy.
        QFile::copy(library + u"dev-a.1.journal"_s,
                    library + u"dev-a.1.sync-conflict-20261123-101500-ABCDEFG.journal"_s);
        append(library + u"dev-a.1.sync-conflict-20261123-101500-ABCDEFG.journal"_s,
               encodeJournalEntry({2, {9'000, 0, u"dev-a"_s}, title(u"s2"_s, u"two"_s)}));
        // A newer version of ScrivLane on a third computer.
        const QByteArray future = R"({"v":9,"seq":1})";
        append(library + u"dev-c.1.journal"_s,
               QByteArray::number(crc32(future), 16).rightJustified(8, '0') + ' ' + future + '\n');
        // A damaged entry between two good ones on a fourth.
        QByteArray d = encodeJournalEntry({1, {10, 0, u"dev-d"_s}, title(u"s4"_s, u"four"_s)});
        QByteArray bad = encodeJournalEntry({2, {11, 0, u"dev-d"_s}, title(u"s5"_s, u"x"_s)});
        bad[12] = '#';
        append(library + u"dev-d.1.journal"_s,
               d + bad + encodeJournalEntry({3, {12, 0, u"dev-d"_s}, title(u"s6"_s, u"six"_s)}));
        // Leftovers that are nobody's journal.
        append(library + u".dev-a.snapshot.tmp123"_s, "partial");
        append(library + u"notes.txt"_s, "hello");

        Home b(folder, u"dev-b"_s);
        const MirrorOutcome read = b->importChanges();
        QCOMPARE(read.failure, Failure::NewerFormat);
        QVERIFY2(read.error.contains(u"dev-c.1.journal"_s), qPrintable(read.error));
        QCOMPARE(read.damagedEntries, 1);
        QCOMPARE(read.damagedFiles, QStringList{u"dev-d.1.journal"_s});
        QCOMPARE(b.snippets().keys(), (QStringList{u"s1"_s, u"s2"_s, u"s4"_s, u"s6"_s}));
    }

    void folderProblems()
    {
        Home gone(m_dir->filePath(u"unmounted"_s), u"dev-a"_s);
        MirrorOutcome outcome = gone->importChanges();
        QCOMPARE(outcome.failure, Failure::FolderMissing);
        QVERIFY(outcome.error.contains(u"unmounted"_s));
        QCOMPARE(gone->exportChanges({title(u"s"_s, u"t"_s)}).failure, Failure::FolderMissing);

        // Unmounted after a good start.
        QVERIFY(QDir(m_dir->path()).mkpath(u"drive"_s));
        Home mounted(m_dir->filePath(u"drive"_s), u"dev-a"_s);
        QVERIFY(mounted->exportChanges({title(u"s"_s, u"t"_s)}).ok());
        QVERIFY(QDir(m_dir->filePath(u"drive"_s)).removeRecursively());
        QCOMPARE(mounted->exportChanges({title(u"s"_s, u"u"_s)}).failure, Failure::FolderMissing);
        QVERIFY(!QFileInfo::exists(m_dir->filePath(u"drive"_s)));
        QVERIFY(!QFileInfo::exists(m_dir->filePath(u"unmounted"_s)));

        // Something that is not a folder where the library should be (true for root too,
        // unlike permissions).
        QVERIFY(QDir(m_dir->path()).mkpath(u"blocked"_s));
        append(m_dir->filePath(u"blocked/Library"_s), "not a folder");
        Home blocked(m_dir->filePath(u"blocked"_s), u"dev-a"_s);
        outcome = blocked->exportChanges({title(u"s"_s, u"t"_s)});
        QVERIFY2(outcome.error.contains(u"cannot be written"_s), qPrintable(outcome.error));
        QCOMPARE(outcome.failure, Failure::NotWritable);
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_GUILESS_MAIN(TestFolderMirror)
#include "tst_foldermirror.moc"

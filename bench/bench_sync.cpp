// Library sync with a library of 10,000 snippets: the first import of another computer's
// library, the import of one change, and what an export adds to a save on the main thread.
// With --folder-size, the size of the sync folder after 100,000 edits against a plain backup
// of the same library (compaction keeping it in bounds).

#include "BenchSupport.h"
#include "backup/BackupService.h"
#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"
#include "sync/LibrarySync.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <cstdio>
#include <cstring>

using scrivlane::sync::LibrarySync;

namespace {

constexpr int librarySize = 10'000;

struct Home {
    Home(const QString& name, const QString& syncFolder, bool exportOnSave = true,
         int compactAfter = 2000)
        : data(benchFolder().filePath(name))
    {
        QDir().mkpath(data);
        PersistenceController::Options options;
        options.databasePath = data + QStringLiteral("/ScrivLane.sqlite");
        options.watchForExternalChanges = false;
        options.syncLog = [](const QString&) {};
        store = std::make_unique<PersistenceController>(std::move(options));
        sync = std::make_unique<LibrarySync>(LibrarySync::Options{
            store.get(), syncFolder, data, QStringLiteral("bench"), {}, {}, compactAfter});
        // Exports follow saves unless a benchmark times them apart.
        if (exportOnSave)
            QObject::connect(store.get(), &PersistenceController::recordsSaved, sync.get(),
                             &LibrarySync::recordsSaved);
    }
    void fill(int size)
    {
        CategoryEntity* work =
            store->createCategory(QStringLiteral("Work"), QStringLiteral("#4A90D9"));
        const QDateTime now = QDateTime::currentDateTimeUtc();
        for (int i = 0; i < size; ++i) {
            SnippetEntity* s = store->insertSnippet(
                SnippetEntity::create(QStringLiteral("Snippet %1").arg(i),
                                      QStringLiteral(";s%1").arg(i), i % 3 ? work : nullptr, now));
            s->setExpandedText(QStringLiteral("Dear {fill:Name},\nthank you for your message of "
                                              "{date}. Reply number %1 follows.{cursor}")
                                   .arg(i));
        }
        store->save();
    }

    QString data;
    std::unique_ptr<PersistenceController> store;
    std::unique_ptr<LibrarySync> sync;
};

QString freshSyncFolder(const QString& name)
{
    const QString folder = benchFolder().filePath(name);
    QDir(folder).removeRecursively();
    QDir().mkpath(folder);
    return folder;
}

void firstImport(benchmark::State& state)
{
    const QString folder = freshSyncFolder(QStringLiteral("first"));
    Home source(QStringLiteral("first-source"), folder);
    source.fill(librarySize);
    source.sync->syncNow();
    int round = 0;
    for (auto _ : state) {
        Home target(QStringLiteral("first-target-%1").arg(++round), folder);
        target.sync->syncNow();
        benchmark::DoNotOptimize(target.store->fetchAllSnippets().size());
        state.PauseTiming();
        if (target.store->fetchAllSnippets().size() != librarySize)
            state.SkipWithError("the library did not arrive whole");
        state.ResumeTiming();
    }
}

// Two computers in step; each round one edit arrives and is imported.
struct Pair {
    explicit Pair(const QString& name)
        : folder(freshSyncFolder(name)), a(name + QStringLiteral("-a"), folder, false),
          b(name + QStringLiteral("-b"), folder)
    {
        a.fill(librarySize);
        a.sync->syncNow();
        b.sync->syncNow();
        edited = a.store->fetchAllSnippets().at(librarySize / 2);
    }
    void edit(int round)
    {
        edited->setTitle(QStringLiteral("Edited %1").arg(round));
        a.store->save();
    }
    QString folder;
    Home a;
    Home b;
    SnippetEntity* edited = nullptr;
};

void importOneChange(benchmark::State& state)
{
    Pair pair(QStringLiteral("incremental"));
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        pair.edit(++round);
        pair.a.sync->recordsSaved({*pair.edited->id()}, {});
        state.ResumeTiming();
        pair.b.sync->importChanges();
    }
}

// The export that follows a save, on the main thread.
void exportOneEdit(benchmark::State& state)
{
    Pair pair(QStringLiteral("export"));
    const QList<QUuid> edited{*pair.edited->id()};
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        pair.edit(++round);
        state.ResumeTiming();
        pair.a.sync->recordsSaved(edited, {});
    }
}

qint64 folderBytes(const QString& folder)
{
    qint64 total = 0;
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        total += QFileInfo(it.next()).size();
    return total;
}

// 100,000 edits in a library of 1,000 snippets, saved and exported in rounds of 20.
int folderSize()
{
    const QString folder = freshSyncFolder(QStringLiteral("size"));
    Home home(QStringLiteral("size-home"), folder);
    home.fill(1000);
    home.sync->syncNow();
    const QList<SnippetEntity*> snippets = home.store->fetchAllSnippets();
    QElapsedTimer timer;
    timer.start();
    for (int edit = 0; edit < 100'000;) {
        for (int i = 0; i < 20; ++i, ++edit)
            snippets.at((edit * 7919) % snippets.size())
                ->setExpandedText(
                    QStringLiteral("Edit number %1 of this snippet's text").arg(edit));
        home.store->save();
    }
    const QString backupFolder = benchFolder().filePath(QStringLiteral("size-backup"));
    QDir().mkpath(backupFolder);
    const BackupService::ExportOutcome backup = BackupService::exportBackup(
        backupFolder, *home.store, AppSettingsBackup{}, QDateTime::currentDateTimeUtc());
    const qint64 backupBytes = QFileInfo(backup.filePath).size();
    const qint64 syncBytes = folderBytes(folder);
    std::printf("100,000 edits in %.1f s; sync folder %lld bytes, backup %lld bytes: %.2f times\n",
                timer.elapsed() / 1000.0, static_cast<long long>(syncBytes),
                static_cast<long long>(backupBytes), double(syncBytes) / double(backupBytes));
    return 0;
}

} // namespace

BENCHMARK(firstImport)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(importOneChange)->Unit(benchmark::kMillisecond);
BENCHMARK(exportOneEdit)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc > 1 && std::strcmp(argv[1], "--folder-size") == 0)
        return folderSize();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

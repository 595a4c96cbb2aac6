// The store with a library of 10,000 snippets: opening and loading it, saving one edit, and
// purging 10,000 expired records from Recently Deleted.

#include "BenchSupport.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace {

constexpr int librarySize = 10'000;

// A library file with realistic snippets, trashed long ago when asked.
QString library(bool trashed)
{
    const QString path = benchFolder().filePath(trashed ? QStringLiteral("trashed.sqlite")
                                                        : QStringLiteral("live.sqlite"));
    if (QFile::exists(path))
        return path;
    const QDateTime then = QDateTime::currentDateTimeUtc().addDays(-40);
    auto store = openBenchStore(path, then);
    CategoryEntity* category =
        store->createCategory(QStringLiteral("Work"), QStringLiteral("#4A90D9"));
    for (int i = 0; i < librarySize; ++i) {
        SnippetEntity* s = store->insertSnippet(SnippetEntity::create(
            QStringLiteral("Snippet %1").arg(i), QStringLiteral(";s%1").arg(i),
            i % 3 ? category : nullptr, then.addSecs(i)));
        s->setExpandedText(QStringLiteral("Dear {fill:Name},\nthank you for your message of "
                                          "{date}. Reply number %1 follows.{cursor}")
                               .arg(i));
        if (trashed)
            s->setTrashedAt(then);
    }
    store->save();
    return path;
}

void openAndLoad(benchmark::State& state)
{
    const QString path = library(false);
    for (auto _ : state) {
        auto store = openBenchStore(path, QDateTime::currentDateTimeUtc());
        benchmark::DoNotOptimize(store->fetchActiveSnippets().size());
    }
}

void saveOneEdit(benchmark::State& state)
{
    auto store = openBenchStore(library(false), QDateTime::currentDateTimeUtc());
    SnippetEntity* snippet = store->fetchAllSnippets().at(librarySize / 2);
    int round = 0;
    for (auto _ : state) {
        snippet->setTitle(QStringLiteral("Edited %1").arg(++round));
        store->save();
    }
}

void purgeExpired(benchmark::State& state)
{
    const QString source = library(true);
    const QString path = benchFolder().filePath(QStringLiteral("purge.sqlite"));
    for (auto _ : state) {
        state.PauseTiming();
        QFile::remove(path);
        QFile::copy(source, path);
        auto store = openBenchStore(path, QDateTime::currentDateTimeUtc());
        state.ResumeTiming();
        store->purgeOldTrash();
        state.PauseTiming();
        store.reset();
        state.ResumeTiming();
    }
}

} // namespace

BENCHMARK(openAndLoad)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(saveOneEdit)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(purgeExpired)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

SCRIVLANE_BENCHMARK_MAIN()

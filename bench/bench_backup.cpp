// Export and restore of a library of 10,000 snippets.

#include "BenchSupport.h"
#include "backup/BackupService.h"
#include "library/CategoryEntity.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace {

constexpr int librarySize = 10'000;

PersistenceController& library()
{
    static std::unique_ptr<PersistenceController> store = [] {
        auto s = openBenchStore(benchFolder().filePath(QStringLiteral("library.sqlite")));
        const QDateTime now = QDateTime::currentDateTimeUtc();
        CategoryEntity* work = s->createCategory(QStringLiteral("Work"), QStringLiteral("#4A90D9"));
        for (int i = 0; i < librarySize; ++i) {
            SnippetEntity* snippet = s->insertSnippet(SnippetEntity::create(
                QStringLiteral("Snippet %1").arg(i), QStringLiteral(";s%1").arg(i),
                i % 2 ? work : nullptr, now.addSecs(i)));
            snippet->setExpandedText(QStringLiteral("Dear {fill:Name},\nthank you for your "
                                                    "message of {date}. Reply %1.{cursor}")
                                         .arg(i));
        }
        s->save();
        return s;
    }();
    return *store;
}

void exportLibrary(benchmark::State& state)
{
    const QString out = benchFolder().filePath(QStringLiteral("out"));
    QDir().mkpath(out);
    for (auto _ : state) {
        const auto outcome =
            BackupService::exportBackup(out, library(), {}, QDateTime::currentDateTimeUtc());
        if (outcome.filePath.isEmpty())
            state.SkipWithError("export failed");
    }
}

void restoreIntoEmptyLibrary(benchmark::State& state)
{
    const QString out = benchFolder().filePath(QStringLiteral("out"));
    QDir().mkpath(out);
    const QString file =
        BackupService::exportBackup(out, library(), {}, QDateTime::currentDateTimeUtc()).filePath;
    const QString path = benchFolder().filePath(QStringLiteral("restored.sqlite"));
    for (auto _ : state) {
        state.PauseTiming();
        for (const QString& suffix : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")})
            QFile::remove(path + suffix);
        auto store = openBenchStore(path);
        state.ResumeTiming();
        const auto result =
            BackupService::restoreBackup(file, *store, [](const AppSettingsBackup&) {});
        if (!std::holds_alternative<RestoreResult>(result) ||
            std::get<RestoreResult>(result).snippetsAdded != librarySize)
            state.SkipWithError("restore failed");
        state.PauseTiming();
        store.reset();
        state.ResumeTiming();
    }
}

} // namespace

BENCHMARK(exportLibrary)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);
BENCHMARK(restoreIntoEmptyLibrary)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

SCRIVLANE_BENCHMARK_MAIN()

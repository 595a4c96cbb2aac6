#pragma once

#include "library/PersistenceController.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <memory>
#include <vector>

// What the store benchmarks share: one temporary folder per run, stores without a file
// watcher on a fixed clock, and a main() with the Qt application the store needs.

inline QTemporaryDir& benchFolder()
{
    static QTemporaryDir dir;
    return dir;
}

inline std::unique_ptr<PersistenceController>
openBenchStore(const QString& path, QDateTime now = QDateTime::currentDateTimeUtc())
{
    PersistenceController::Options options;
    options.databasePath = path;
    options.watchForExternalChanges = false;
    options.clock = [now] { return now; };
    return std::make_unique<PersistenceController>(std::move(options));
}

#define SCRIVLANE_BENCHMARK_MAIN()                                                                 \
    int main(int argc, char** argv)                                                                \
    {                                                                                              \
        QCoreApplication app(argc, argv);                                                          \
        benchmark::Initialize(&argc, argv);                                                        \
        benchmark::RunSpecifiedBenchmarks();                                                       \
        benchmark::Shutdown();                                                                     \
        return 0;                                                                                  \
    }

inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Lets queued work (layouts, paints) happen, as the event loop would between two events.
inline void settle()
{
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

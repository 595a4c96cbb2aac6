#pragma once

#include "library/PersistenceController.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <memory>

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

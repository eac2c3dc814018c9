// One thing a benchmark; CPU time is what counts. Directories of 1,000, 10,000 and 100,000 files are made below
// $VORN_SYNC_BENCH (default: the temporary directory) and kept for the next run.

#include "mirrored_directory.h"

#include "vorn_sync_database.h"
#include "vorn_sync_directory_listing.h"
#include "vorn_sync_exclusions.h"
#include "vorn_sync_synchronizer.h"
#include "vorn_sync_times.h"

#include <QCoreApplication>
#include <QDir>

#include <benchmark/benchmark.h>

namespace {

QString benchRoot()
{
    const QString fallback = QDir::tempPath() + QStringLiteral("/vorn_sync_bench");
    return qEnvironmentVariable("VORN_SYNC_BENCH", fallback);
}

MirroredDirectory directoryOf(const benchmark::State& state)
{
    const int count = int(state.range(0));
    return MirroredDirectory(benchRoot() + QStringLiteral("/micro-%1").arg(count), count);
}

void perFile(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void unchangedPass(benchmark::State& state)
{
    const MirroredDirectory directory = directoryOf(state);
    VornSyncDatabase database(directory.databasePath());
    database.initialize();
    const int id = database.getDirectoryIdByAlias(MirroredDirectory::alias());
    VornSyncSynchronizer synchronizer(directory.trashRoot(), 60000, {});
    synchronizer.initialize(&database);
    int tasks = 0;
    QObject::connect(&synchronizer, &VornSyncSynchronizer::sigRunTask, [&tasks] { ++tasks; });
    for (auto _ : state)
        synchronizer.synchronizeDirectory(id);
    if (tasks != 0)
        state.SkipWithError("the directory was not unchanged");
    perFile(state);
}

void listing(benchmark::State& state)
{
    const MirroredDirectory directory = directoryOf(state);
    int seen = 0;
    for (auto _ : state)
        VornSyncDirectoryListing::read(directory.localPath(), [&seen](const auto&) { ++seen; });
    benchmark::DoNotOptimize(seen);
    perFile(state);
}

void readRows(benchmark::State& state)
{
    const MirroredDirectory directory = directoryOf(state);
    VornSyncDatabase database(directory.databasePath());
    database.initialize();
    const int id = database.getDirectoryIdByAlias(MirroredDirectory::alias());
    for (auto _ : state) {
        int rows = 0;
        if (!database.readDirectoryRows(id, [&rows](const VornSyncFileRow&) { ++rows; }) ||
            rows != state.range(0))
            state.SkipWithError("rows are missing");
    }
    perFile(state);
}

void statAll(benchmark::State& state)
{
    const MirroredDirectory directory = directoryOf(state);
    for (auto _ : state) {
        for (int i = 0; i < state.range(0); ++i)
            benchmark::DoNotOptimize(VornSyncFiles::listedFacts(directory.localPath() + QLatin1Char('/') +
                                                                MirroredDirectory::fileName(i)));
    }
    perFile(state);
}

// The three counts of a refresh on the host's thread, with 95 % of the rows up to date.
void counterRefresh(benchmark::State& state)
{
    const int count = int(state.range(0));
    const MirroredDirectory directory(benchRoot() + QStringLiteral("/counts-%1").arg(count), count);
    VornSyncDatabase database(directory.databasePath());
    database.initialize();
    const int id = database.getDirectoryIdByAlias(MirroredDirectory::alias());
    MirroredDirectory::scatterStatuses(database, id, count, 20);
    for (auto _ : state) {
        const int pending = database.countFilesByStatuses(
            {ceSfsUnknown, ceSfsPendingSync, ceSfsPendingDelete, ceSfsPendingRestore});
        const int errors = database.countFilesInError();
        const int done = database.countFilesByStatuses({ceSfsUpToDate});
        if (pending != count / 20 || errors != 0 || done != count - count / 20)
            state.SkipWithError("the counts are wrong");
    }
}

void matchPatterns(benchmark::State& state)
{
    const VornSyncExclusions exclusions({QStringLiteral("*.tmp"), QStringLiteral("*-wal"),
                                         QStringLiteral("*-shm"), QStringLiteral("*-journal"),
                                         QStringLiteral("~$*")});
    for (auto _ : state)
        benchmark::DoNotOptimize(exclusions.matches(MirroredDirectory::fileName(4711)));
}

void parseTime(benchmark::State& state)
{
    const QString text = QStringLiteral("2026-02-03T04:05:06Z");
    for (auto _ : state)
        benchmark::DoNotOptimize(VornSyncTimes::secsFromText(text));
}

BENCHMARK(unchangedPass)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(listing)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(statAll)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(readRows)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(counterRefresh)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(matchPatterns);
BENCHMARK(parseTime);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

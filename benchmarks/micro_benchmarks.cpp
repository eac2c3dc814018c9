// One thing a benchmark, over N files or rows; CPU time is what counts. Directories of 1,000, 10,000 and 100,000
// files are made below $VORN_SYNC_BENCH (default: the temporary directory) and kept for the next run; what a
// benchmark writes goes to copies of their states.

#include "mirrored_directory.h"

#include "vorn_sync_database.h"
#include "vorn_sync_directory_listing.h"
#include "vorn_sync_exclusions.h"
#include "vorn_sync_file_rows.h"
#include "vorn_sync_manager.h"
#include "vorn_sync_manager_p.h"
#include "vorn_sync_synchronizer.h"
#include "vorn_sync_times.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

// The way behind the facade.
struct VornSyncManagerTestAccess
{
    static void refresh(const VornSyncManager& manager) { manager.d->refreshDatabaseCounters(); }
    static VornSyncDatabase& database(const VornSyncManager& manager) { return *manager.d->m_database; }
};

namespace {

constexpr int kNoCycleMs = 24 * 3600 * 1000;
constexpr int kPendingOneIn = 20;
constexpr int kErrors = 500;

MirroredDirectory directoryOf(const benchmark::State& state)
{
    const QString root =
        qEnvironmentVariable("VORN_SYNC_BENCH", QDir::tempPath() + QStringLiteral("/vorn_sync_bench"));
    const int count = int(state.range(0));
    return MirroredDirectory(root + QStringLiteral("/micro-%1").arg(count), count);
}

// A state of N rows that may be written, and the database that is open on it.
class WritableState
{
public:
    explicit WritableState(const benchmark::State& state)
        : m_count(int(state.range(0)))
        , m_path(m_folder.filePath(QStringLiteral("state.db")))
        , m_database(copied(directoryOf(state).databasePath(), m_path))
    {
        m_database.initialize();
        m_directoryId = m_database.getDirectoryIdByAlias(MirroredDirectory::alias());
    }

    VornSyncDatabase& database() { return m_database; }
    int directoryId() const { return m_directoryId; }
    const QString& path() const { return m_path; }
    QString nextName() { return MirroredDirectory::fileName(m_next++ % m_count); }

private:
    static QString copied(const QString& from, const QString& to)
    {
        if (!QFile::copy(from, to))
            qFatal("can't copy %s", qPrintable(from));
        return to;
    }

    const int m_count;
    QTemporaryDir m_folder;
    const QString m_path;
    VornSyncDatabase m_database;
    int m_directoryId = VornSyncTypes::kNoDirectoryId;
    int m_next = 0;
};

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
    VornSyncSynchronizer synchronizer(directory.trashRoot(), kNoCycleMs, {});
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
    qint64 seen = 0;
    for (auto _ : state)
        VornSyncDirectoryListing::read(directory.localPath(), [&seen](const auto&) { ++seen; });
    if (seen != state.range(0) * qint64(state.iterations()))
        state.SkipWithError("files are missing");
    perFile(state);
}

void statAll(benchmark::State& state)
{
    const MirroredDirectory directory = directoryOf(state);
    for (auto _ : state) {
        for (int i = 0; i < state.range(0); ++i)
            benchmark::DoNotOptimize(VornSyncFiles::facts(directory.localPath() + QLatin1Char('/') +
                                                          MirroredDirectory::fileName(i)));
    }
    perFile(state);
}

void matching(benchmark::State& state)
{
    const VornSyncExclusions exclusions({QStringLiteral("*.tmp"), QStringLiteral("*-wal"),
                                         QStringLiteral("*-shm"), QStringLiteral("*-journal"),
                                         QStringLiteral("~$*")});
    QStringList names;
    for (int i = 0; i < state.range(0); ++i)
        names.append(MirroredDirectory::fileName(i));
    for (auto _ : state) {
        for (const QString& name : qAsConst(names))
            benchmark::DoNotOptimize(exclusions.matches(name));
    }
    perFile(state);
}

void readRows(benchmark::State& state)
{
    const MirroredDirectory directory = directoryOf(state);
    VornSyncDatabase database(directory.databasePath());
    database.initialize();
    const int id = database.getDirectoryIdByAlias(MirroredDirectory::alias());
    for (auto _ : state) {
        qint64 seen = 0;
        const auto count = [&seen](std::string_view, const VornSyncFileRow&) { ++seen; };
        const bool done = VornSyncFileRows(database).readPacked(
            id, VornSyncFileRows::kMostRowsAPart,
            [&count](const VornSyncPackedRows& part) { part.forEach(count); });
        if (!done || seen != state.range(0))
            state.SkipWithError("rows are missing");
    }
    perFile(state);
}

// As a pass finds them when nobody wrote any since the last.
void readKeptRows(benchmark::State& state)
{
    const MirroredDirectory directory = directoryOf(state);
    VornSyncDatabase database(directory.databasePath());
    database.initialize();
    const int id = database.getDirectoryIdByAlias(MirroredDirectory::alias());
    for (auto _ : state) {
        qint64 seen = 0;
        if (!database.readDirectoryRows(id, [&seen](std::string_view, const VornSyncFileRow&) { ++seen; }) ||
            seen != state.range(0))
            state.SkipWithError("rows are missing");
    }
    perFile(state);
}

// One row in a table of N: what a decision that meets a changed row takes.
void readRow(benchmark::State& state)
{
    WritableState rows(state);
    for (auto _ : state) {
        VornSyncFileRow row;
        bool isFound = false;
        if (!rows.database().readFileRow(rows.directoryId(), rows.nextName(), row, isFound) || !isFound)
            state.SkipWithError("a row is missing");
    }
}

// One row in a table of N, by itself: a transaction each.
void writeStatus(benchmark::State& state)
{
    WritableState rows(state);
    for (auto _ : state) {
        if (!rows.database().setFileStatus(rows.directoryId(), rows.nextName(), ceSfsUnknown, ceSecNone))
            state.SkipWithError("a row was not written");
    }
}

void recordCopy(benchmark::State& state)
{
    WritableState rows(state);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (auto _ : state) {
        if (!rows.database().recordCopy(rows.directoryId(), rows.nextName(), 4711, now, now))
            state.SkipWithError("a row was not written");
    }
}

void changeError(VornSyncDatabase& database, int directoryId, const QString& fileName)
{
    const bool isFailed = database.getFileErrorCode(directoryId, fileName) == ceSecCopyFailed;
    database.setFileStatus(directoryId, fileName, ceSfsError,
                           isFailed ? ceSecDistantDirMissing : ceSecCopyFailed);
}

// The manager's refresh on the host's thread: with files in error, of which one changes each time, or without.
void refresh(benchmark::State& state, int errors)
{
    WritableState rows(state);
    const int count = int(state.range(0));
    MirroredDirectory::scatterStatuses(rows.database(), rows.directoryId(), count, kPendingOneIn);
    for (int i = 0; i < errors; ++i)
        rows.database().setFileStatus(rows.directoryId(), MirroredDirectory::fileName(i), ceSfsError,
                                      ceSecCopyFailed);
    const VornSyncManager manager(rows.path(), QDir::tempPath(), kNoCycleMs, {});
    for (auto _ : state) {
        state.PauseTiming();
        if (errors > 0)
            changeError(VornSyncManagerTestAccess::database(manager), rows.directoryId(),
                        MirroredDirectory::fileName(int(state.iterations() % errors)));
        state.ResumeTiming();
        VornSyncManagerTestAccess::refresh(manager);
    }
    if (manager.errorCount() != errors || manager.errorFiles().size() != errors)
        state.SkipWithError("the counts are wrong");
}

void refreshWithoutErrors(benchmark::State& state)
{
    refresh(state, 0);
}

void refreshWithErrors(benchmark::State& state)
{
    refresh(state, kErrors);
}

// A changed file among N becomes a task: the status is moved to pending and on, the task is made and handed out.
void dispatch(benchmark::State& state)
{
    const MirroredDirectory directory = directoryOf(state);
    WritableState rows(state);
    VornSyncSynchronizer synchronizer(directory.trashRoot(), kNoCycleMs, {});
    synchronizer.initialize(&rows.database());
    pVornSyncTask task;
    QObject::connect(&synchronizer, &VornSyncSynchronizer::sigRunTask,
                     [&task](const pVornSyncTask& given) { task = given; });
    for (auto _ : state) {
        const bool isGiven = synchronizer.copyToDistant(rows.directoryId(), rows.nextName()) && task;
        state.PauseTiming();
        // As if it had been copied: the row is up to date again.
        synchronizer.onTaskDone(task, true);
        task.clear();
        state.ResumeTiming();
        if (!isGiven)
            state.SkipWithError("no task was handed out");
    }
}

void parseTime(benchmark::State& state)
{
    const QString text = QStringLiteral("2026-02-03T04:05:06Z");
    for (auto _ : state)
        benchmark::DoNotOptimize(VornSyncTimes::secsFromText(text));
}

void overN(benchmark::internal::Benchmark* what)
{
    what->Arg(1000)->Arg(10000)->Arg(100000);
}

BENCHMARK(unchangedPass)->Apply(overN)->Unit(benchmark::kMillisecond);
BENCHMARK(listing)->Apply(overN)->Unit(benchmark::kMillisecond);
BENCHMARK(statAll)->Apply(overN)->Unit(benchmark::kMillisecond);
BENCHMARK(matching)->Apply(overN)->Unit(benchmark::kMillisecond);
BENCHMARK(readRows)->Apply(overN)->Unit(benchmark::kMillisecond);
BENCHMARK(readKeptRows)->Apply(overN)->Unit(benchmark::kMillisecond);
BENCHMARK(readRow)->Apply(overN)->Unit(benchmark::kMicrosecond);
BENCHMARK(writeStatus)->Apply(overN)->Unit(benchmark::kMicrosecond);
BENCHMARK(recordCopy)->Apply(overN)->Unit(benchmark::kMicrosecond);
BENCHMARK(refreshWithoutErrors)->Apply(overN)->Unit(benchmark::kMicrosecond);
BENCHMARK(refreshWithErrors)->Apply(overN)->Unit(benchmark::kMicrosecond);
BENCHMARK(dispatch)->Apply(overN)->Unit(benchmark::kMicrosecond);
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

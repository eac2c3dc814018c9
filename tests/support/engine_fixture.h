#pragma once

#include "literals.h"
#include "pair.h"
#include "raw_database.h"
#include "trace_capture.h"
#include "vorn_sync_database.h"
#include "vorn_sync_synchronizer.h"
#include "vorn_sync_task.h"

#include <QList>
#include <QVariantMap>

#include <memory>

class VornSyncWorker;

namespace VornSyncTest {

// A time that no file of a test has by accident.
inline QDateTime longAgo()
{
    return QDateTime(QDate(2024, 3, 1), QTime(10, 0), Qt::UTC);
}

// A row as a test wants to find it; what is not given stays NULL.
struct RowSpec
{
    int status = ceSfsUpToDate;
    int errorCode = ceSecNone;
    QVariant size;
    QVariant localLmd;
    QVariant distantLmd;
    QVariant trashedDate;
    QVariant statusChangedAt;
};

// The engine on the test's thread, over a pair and a real database with the pair registered as "docs". Tasks
// are kept until the test runs them. Lines, events and texts name the pair's root "~".
class Engine
{
    Q_DISABLE_COPY_MOVE(Engine)

public:
    // Long enough for every verification of a test to end within its budget on a loaded machine, ...
    static constexpr int kIntervalMs = 60000;
    // ... and short enough for one to be cut short by simulated time.
    static constexpr int kShortIntervalMs = 300;

    explicit Engine(const QStringList& patterns = QStringList(), int syncIntervalMs = kIntervalMs);
    ~Engine();

    // Hands the database over; nothing that initialize() wrote or emitted is left to be taken.
    [[nodiscard]] bool start();
    int addDirectory(const QString& alias, const QString& localPath, const QString& distantPath,
                     const QString& trashPath);

    const Pair& pair() const { return m_pair; }
    const Side& local() const { return m_pair.local(); }
    const Side& distant() const { return m_pair.distant(); }
    const Side& trash() const { return m_trash; }
    VornSyncDatabase& database() { return m_database; }
    VornSyncSynchronizer& sync() { return *m_sync; }
    RawDatabase& raw() { return m_raw; }
    TraceCapture& trace() { return m_trace; }
    int id() const { return m_id; }

    // --- Tasks ---

    int taskCount() const { return int(m_tasks.size()); }
    pVornSyncTask takeTask();
    // Runs a task and gives its end to the engine, as the worker and the manager do.
    bool run(const pVornSyncTask& task);
    bool runNext();
    void runAll();
    // From now on tasks run as they come, each within the event loop's next turn.
    void runAtOnce();
    // From now on tasks go to a real worker, on this thread.
    void useWorker();

    void pass();
    void passAndRun();
    void cycleAndRun();

    // Writes a local file with the time longAgo() and has it sent; leaves nothing to be taken.
    [[nodiscard]] bool send(const QString& name, const QByteArray& content);
    // A file with five companions that can't be sent: a run adds five messages, which is the end of it.
    [[nodiscard]] bool makeHopeless(const QString& baseName);
    // Lets hopeless files be sent.
    [[nodiscard]] bool makeHopeful(const QString& baseName);

    // --- What the database holds, seen from outside ---

    [[nodiscard]] bool putRow(const QString& name, const RowSpec& spec);
    [[nodiscard]] bool putRow(int directoryId, const QString& name, const RowSpec& spec);
    QVariantMap row(const QString& name);
    bool hasRow(const QString& name);
    int status(const QString& name);
    int errorCode(const QString& name);
    // Status and error code in one text, "17/0"; "none" without a row.
    QString state(const QString& name);

    // --- What was written and emitted since the last call ---

    QStringList takeLines(); // of the engine
    QStringList takeLines(const QString& method);
    QStringList takeEvents();
    QString shortened(QString text) const; // the pair's root becomes "~"
    void forget();

    // --- At rest ---

    // Why this is not a state of rest (a task under way, a critical or a warning, a damaged database, a
    // temporary file); empty when it is one.
    QString restProblems() const;
    // What the next pass does; empty when it finds nothing to do.
    QStringList secondPass();

private:
    void connectSignals();

    Pair m_pair;
    TraceCapture m_trace;
    Side m_trash;
    VornSyncDatabase m_database;
    std::unique_ptr<VornSyncSynchronizer> m_sync;
    std::unique_ptr<VornSyncWorker> m_worker;
    mutable RawDatabase m_raw;
    int m_id = VornSyncTypes::kNoDirectoryId;
    QList<pVornSyncTask> m_tasks;
    QStringList m_events;
    int m_linesTaken = 0;
    bool m_isRunningAtOnce = false;
};

// The line of a pass, without "synchronizeDirectory - ".
QString passStart(int directoryId);
QString passEnd(int directoryId);
QString passCounts(int directoryId, int tracked, int distant, int local, bool isDistantAccessible = true);

} // namespace VornSyncTest

// Trace lines are asserted whole and in order, where the build has them.
#define COMPARE_LINES(engine, ...)                                                                           \
    do {                                                                                                     \
        const QStringList takenLines = (engine).takeLines();                                                 \
        const QStringList expectedLines{__VA_ARGS__};                                                        \
        if (VornSyncTest::traceLinesBuiltIn())                                                               \
            QCOMPARE(takenLines, expectedLines);                                                             \
    } while (false)

// The same for the lines of one method alone.
#define COMPARE_LINES_OF(method, engine, ...)                                                                \
    do {                                                                                                     \
        const QStringList takenLines = (engine).takeLines(method);                                           \
        const QStringList expectedLines{__VA_ARGS__};                                                        \
        if (VornSyncTest::traceLinesBuiltIn())                                                               \
            QCOMPARE(takenLines, expectedLines);                                                             \
    } while (false)

#define COMPARE_EVENTS(engine, ...)                                                                          \
    do {                                                                                                     \
        const QStringList expectedEvents{__VA_ARGS__};                                                       \
        QCOMPARE((engine).takeEvents(), expectedEvents);                                                     \
    } while (false)

#define COMPARE_NO_LINES(engine) QCOMPARE((engine).takeLines(), QStringList())
#define COMPARE_NO_EVENTS(engine) QCOMPARE((engine).takeEvents(), QStringList())

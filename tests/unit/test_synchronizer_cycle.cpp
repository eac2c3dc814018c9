#include "disk_hooks.h"
#include "engine_fixture.h"
#include "wait.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <cerrno>
#include <memory>

using namespace VornSyncTest;

namespace {

constexpr int kTrashDays = 30;
constexpr int kPastBudgetMs = 150; // more than the smallest verification budget
constexpr int kManyCalls = 50;     // far more than a few stalls of a loaded machine need

const QString kResolveStart =
    QStringLiteral("resolveFilesError - Start Files error resolving for directoryId: 1");
const QString kResolveEnd =
    QStringLiteral("resolveFilesError - End Files error resolving for directoryId: 1");

QString cycleStart(int number, int inFlight = 0)
{
    return QStringLiteral("periodicSynchronization - Start synchronisation (cycle #%1, in-flight=%2)")
        .arg(number)
        .arg(inFlight);
}

QString daysAgo(int days, int secs = 0)
{
    return QDateTime::currentDateTimeUtc().addDays(-days).addSecs(secs).toString(Qt::ISODate);
}

// Paced time is the point, and nothing is awaited: a look at the file that uses up a whole verification budget.
int slowDisk()
{
    QThread::msleep(kPastBudgetMs); // paced
    return 0;
}

// How long a verification took is nobody's text.
QStringList verificationLines(Engine& engine)
{
    return engine.takeLines(QStringLiteral("verifyUpToDateFilesBudgeted"))
        .replaceInStrings(QRegularExpression(QStringLiteral(" in \\d+ ms")), QStringLiteral(" in N ms"));
}

RowSpec trashed(const QString& date, int status = ceSfsTrashed)
{
    RowSpec spec;
    spec.status = status;
    spec.trashedDate = date;
    return spec;
}

bool hasMarkTable(Engine& engine)
{
    return !engine.raw().rows("SELECT 1 FROM sqlite_master WHERE name = 'distant_newer_marks'"_s).isEmpty();
}

int markCount(Engine& engine)
{
    return hasMarkTable(engine) ? engine.raw().value("SELECT COUNT(*) FROM distant_newer_marks"_s).toInt()
                                : 0;
}

// Another workstation has put a newer version on the distant side, and verification has found it.
[[nodiscard]] bool growDistant(Engine& engine, const QString& name)
{
    const bool ok = engine.send(name, "short") && engine.distant().write(name, "longer version") &&
                    engine.distant().setLmd(name, longAgo().addDays(1));
    engine.sync().verifyOneUpToDateFile(engine.id(), name, 5);
    return ok;
}

} // namespace

class TestSynchronizerCycle : public QObject
{
    Q_OBJECT

private slots:
    void saturation_tenInFlightSkip_nineRun();
    void cycleWithinACycle_isSkipped();
    void oneCycle_inOrder();
    void everyAvailableDirectory_hasItsTurn();
    void withoutDatabase_theCycleEndsAndTheNextStarts();
    void watchdog_rescuesStaleFiles();
    void watchdog_sparesFilesInFlight();
    void verification_runsEverySixthCycle();

    void budget_isAFifthOfTheIntervalButAtLeast100Ms_data();
    void budget_isAFifthOfTheIntervalButAtLeast100Ms();
    void budget_isExceededByOneFileAtMost();
    void queue_isFilledWhenItIsEmpty();
    void queue_rowIsReadAgainWhenItsTurnComes_data();
    void queue_rowIsReadAgainWhenItsTurnComes();
    void queue_presentSizeIsUsed();
    void queue_directoryPausedMeanwhile();
    void nothingUpToDate_saysOnlyThatItRefilled();

    void verify_equal();
    void verify_localMissing();
    void verify_distantMissing_observedOnceThenError();
    void verify_distantBackBetween_resetsTheCount();
    void verify_localSizeMismatch();
    void verify_localSizeMismatch_afterATombstone_yields();
    void verify_distantGrew_staysUpToDate();
    void verify_distantShrunk_isAnError();
    void verify_beyondFourGigabytes();
    void verify_renaming();
    void verify_unknownDirectory();
    void verify_noCertainAnswer_data();
    void verify_noCertainAnswer();
    void verify_specialFiles();

    void observation_countsOnceACycle();
    void distantMissing_staysInErrorThroughEveryCycle();

    void grown_isLeftAlone();
    void grown_localChangeSendsIt();
    void grown_notificationSendsIt();
    void grown_againAndShrunk();
    void grown_removedRowTakesItsMarkAlong();
    void grown_tableIsCreatedWhenNeeded();

    void shrunk_waitsForTheUser();
    void shrunk_localChangeSendsIt();
    void sizeMismatchOfACopy_isClearedByTheCycle();

    void purge_removesFileAndRow();
    void purge_ageAndState_data();
    void purge_ageAndState();
    void purge_coversUnavailableDirectories();
    void purge_keepsTheRowOfAFileThatCannotBeRemoved();
    void purge_fileSurelyGone_removesTheRow();
    void purge_trashAway_keepsTheRow();
    void purge_rowRestoredMeanwhile_isKept();
    void purge_rowRestoredBeforeItsTurn_keepsItsFile();
    void purge_runsAtTheEndOfACycle();

    void interruption_stopsTheCycle();
    void interruption_stopsTheVerification();
    void interruption_stopsThePurge();
};

void TestSynchronizerCycle::saturation_tenInFlightSkip_nineRun()
{
    Engine engine;
    QVERIFY(engine.start());
    for (int i = 0; i < 10; ++i) {
        const QString name = QString::number(i);
        QVERIFY(engine.local().write(name, "x"));
        QVERIFY(engine.sync().copyToDistant(1, name));
    }
    for (int i = 0; i < 2; ++i) {
        engine.forget();
        engine.sync().periodicSynchronization();
        COMPARE_LINES(engine, "periodicSynchronization - Skipped: worker saturated (10 tasks in flight, "
                              "threshold 10)"_s);
        COMPARE_NO_EVENTS(engine);
    }
    QVERIFY(engine.runNext());
    engine.forget();
    engine.sync().periodicSynchronization();
    COMPARE_LINES_OF("periodicSynchronization"_s, engine, "Start synchronisation (cycle #1, in-flight=9)"_s);
    engine.runAll();
    QCOMPARE(engine.pair().compareTrees(), QString());
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerCycle::cycleWithinACycle_isSkipped()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().remove("a.txt"_s));
    bool hasNested = false;
    connect(&engine.sync(), &VornSyncSynchronizer::errorStateChanged, this, [&] {
        if (!std::exchange(hasNested, true))
            engine.sync().periodicSynchronization();
    });
    engine.sync().periodicSynchronization();
    QVERIFY(hasNested);
    COMPARE_LINES_OF("periodicSynchronization"_s, engine, cycleStart(1).mid(26),
                     "Skipped: previous synchronization still running"_s);
    engine.sync().periodicSynchronization();
    COMPARE_LINES_OF("periodicSynchronization"_s, engine, cycleStart(2).mid(26));
}

void TestSynchronizerCycle::oneCycle_inOrder()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    engine.sync().periodicSynchronization();
    COMPARE_LINES(engine, cycleStart(1), kResolveStart, kResolveEnd, passStart(1), passCounts(1, 1, 1, 1),
                  passEnd(1));
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerCycle::everyAvailableDirectory_hasItsTurn()
{
    Engine engine;
    QVERIFY(engine.start());
    const Pair second;
    const Pair third;
    QCOMPARE(engine.addDirectory("two"_s, second.localPath(), second.distantPath(), "/t2"_s), 2);
    QCOMPARE(engine.addDirectory("three"_s, third.localPath(), third.distantPath(), "/t3"_s), 3);
    QVERIFY(engine.database().setDirectoryUnavailable(2));
    for (const Pair* pair : {&engine.pair(), &second, &third})
        QVERIFY(pair->local().write("a.txt"_s, "x"));
    engine.cycleAndRun();
    QVERIFY(engine.distant().exists("a.txt"_s));
    QVERIFY(!second.distant().exists("a.txt"_s));
    QVERIFY(third.distant().exists("a.txt"_s));
    QVERIFY(engine.database().setDirectoryAvailable(2));
    engine.cycleAndRun();
    QVERIFY(second.distant().exists("a.txt"_s));
}

void TestSynchronizerCycle::withoutDatabase_theCycleEndsAndTheNextStarts()
{
    Engine engine;
    for (int i = 1; i <= 2; ++i) {
        engine.forget();
        engine.sync().periodicSynchronization();
        COMPARE_LINES(engine, cycleStart(i), "emitError - ERROR: Database not initialized in synchronizer"_s);
        COMPARE_EVENTS(engine, "error ERROR: Database not initialized in synchronizer"_s);
    }
    QVERIFY(engine.start());
    engine.sync().periodicSynchronization();
    COMPARE_LINES(engine, cycleStart(3), kResolveStart, kResolveEnd, passStart(1), passCounts(1, 0, 0, 0),
                  passEnd(1));
}

void TestSynchronizerCycle::watchdog_rescuesStaleFiles()
{
    Engine engine;
    QVERIFY(engine.start());
    RowSpec spec;
    spec.statusChangedAt = daysAgo(0, -1000);
    for (int status : {18, 20, 34, 36, 66, 68}) {
        spec.status = status;
        QVERIFY(engine.putRow(QString::number(status), spec));
        QVERIFY(engine.local().write(QString::number(status), "x"));
    }
    spec.statusChangedAt = daysAgo(0);
    QVERIFY(engine.putRow("fresh"_s, spec));
    engine.sync().periodicSynchronization();
    COMPARE_LINES_OF("periodicSynchronization"_s, engine, cycleStart(1).mid(26),
                     "Watchdog rescued 6 stale files"_s);
    const QStringList events = engine.takeEvents();
    QCOMPARE(events.value(0), "errorStateChanged"_s);
    QCOMPARE(engine.status("fresh"_s), 68);
    engine.runAll();
    QCOMPARE(engine.pair().compareTrees(), QString());
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerCycle::watchdog_sparesFilesInFlight()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(engine.raw().exec("UPDATE file_tracking SET status_changed_at = ?"_s, {daysAgo(1)}));
    engine.forget();
    engine.sync().periodicSynchronization();
    COMPARE_LINES_OF("periodicSynchronization"_s, engine, cycleStart(1, 1).mid(26));
    QCOMPARE(engine.state("a.txt"_s), "20/0"_s);
    QCOMPARE(engine.taskCount(), 1);
}

void TestSynchronizerCycle::verification_runsEverySixthCycle()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    for (int cycle = 1; cycle <= 12; ++cycle) {
        engine.sync().periodicSynchronization();
        const QStringList expected =
            cycle % 6 == 0 ? QStringList{"Refilled queue with 1 files (budget 12000 ms)"_s,
                                         "Checked 1 files in N ms, 0 diverged, 0 left in queue"_s}
                           : QStringList();
        QCOMPARE(verificationLines(engine), expected);
    }
}

void TestSynchronizerCycle::budget_isAFifthOfTheIntervalButAtLeast100Ms_data()
{
    QTest::addColumn<int>("intervalMs");
    QTest::addColumn<int>("budgetMs");
    QTest::newRow("300") << 300 << 100;
    QTest::newRow("60000") << 60000 << 12000;
    QTest::newRow("0") << 0 << 100;
    QTest::newRow("500") << 500 << 100;
    QTest::newRow("truncated") << 509 << 101;
    QTest::newRow("a month, beyond 32 bits on the way") << 2000000000 << 400000000;
}

void TestSynchronizerCycle::budget_isAFifthOfTheIntervalButAtLeast100Ms()
{
    QFETCH(int, intervalMs);
    QFETCH(int, budgetMs);
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    Engine engine(QStringList(), intervalMs);
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    engine.sync().verifyUpToDateFilesBudgeted();
    QCOMPARE(verificationLines(engine).value(0),
             "Refilled queue with 1 files (budget %1 ms)"_s.arg(budgetMs));
}

// Simulated time: looking at any of the files takes longer than the budget. A loaded machine may need a call
// for the refill alone.
void TestSynchronizerCycle::budget_isExceededByOneFileAtMost()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    Engine engine(QStringList(), Engine::kShortIntervalMs);
    QVERIFY(engine.start());
    for (int i = 0; i < 4; ++i)
        QVERIFY(engine.send(QString::number(i), "x"));
    QStringList lines;
    for (int call = 0; call < kManyCalls && lines.size() < 5; ++call) {
        const int next = qMax(0, int(lines.size()) - 1);
        StatHook slow(engine.local().filePath(QString::number(next)), &slowDisk);
        engine.sync().verifyUpToDateFilesBudgeted();
        lines += verificationLines(engine);
    }
    QStringList expected{"Refilled queue with 4 files (budget 100 ms)"_s};
    for (int left = 3; left >= 0; --left)
        expected << "Checked 1 files in N ms, 0 diverged, %1 left in queue"_s.arg(left);
    QCOMPARE(lines, expected);
}

// The rest of a queue is taken first; it is then filled with every file, each once.
void TestSynchronizerCycle::queue_isFilledWhenItIsEmpty()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    Engine engine(QStringList(), Engine::kShortIntervalMs);
    QVERIFY(engine.start());
    for (int i = 0; i < 3; ++i)
        QVERIFY(engine.send(QString::number(i), "x"));
    const QRegularExpression checked("^Checked (\\d+) files"_s);
    int sum = 0;
    QStringList refills;
    for (int call = 0; call < kManyCalls && sum < 4; ++call) {
        // Simulated time, as above: three calls at least.
        StatHook slow(engine.local().filePath(QString::number(sum % 3)), &slowDisk);
        engine.sync().verifyUpToDateFilesBudgeted();
        for (const QString& line : verificationLines(engine)) {
            const QRegularExpressionMatch match = checked.match(line);
            sum += match.captured(1).toInt();
            if (!match.hasMatch())
                refills << "%1 checked, %2"_s.arg(QString::number(sum), line);
        }
    }
    QCOMPARE(sum, 4);
    QCOMPARE(refills, (QStringList{"0 checked, Refilled queue with 3 files (budget 100 ms)"_s,
                                   "3 checked, Refilled queue with 3 files (budget 100 ms)"_s}));
}

void TestSynchronizerCycle::queue_rowIsReadAgainWhenItsTurnComes_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("tombstoned") << int(ceSfsDeleted);
    QTest::newRow("syncing") << int(ceSfsSyncing);
    QTest::newRow("in error") << int(ceSfsUpToDate | ceSfsError);
    QTest::newRow("removed") << -1;
}

void TestSynchronizerCycle::queue_rowIsReadAgainWhenItsTurnComes()
{
    QFETCH(int, status);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("0"_s, "x"));
    QVERIFY(engine.send("1"_s, "x"));
    {
        StatHook hook(engine.local().filePath("0"_s), [&] {
            const bool ok =
                status < 0 ? engine.raw().exec("DELETE FROM file_tracking WHERE file_name = '1'"_s)
                           : engine.raw().exec("UPDATE file_tracking SET status = ? WHERE file_name = '1'"_s,
                                               {status});
            return ok && (!engine.local().exists("1"_s) || engine.local().remove("1"_s)) ? 0 : EIO;
        });
        engine.sync().verifyUpToDateFilesBudgeted();
    }
    QVERIFY(!engine.local().exists("1"_s));
    QCOMPARE(engine.state("1"_s), status < 0 ? "none"_s : "%1/0"_s.arg(status));
    COMPARE_NO_EVENTS(engine);
    if (traceLinesBuiltIn())
        QCOMPARE(verificationLines(engine),
                 (QStringList{"Refilled queue with 2 files (budget 12000 ms)"_s,
                              "Checked 1 files in N ms, 0 diverged, 0 left in queue"_s}));
}

void TestSynchronizerCycle::queue_presentSizeIsUsed()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("0"_s, "x"));
    QVERIFY(engine.send("1"_s, "x"));
    {
        // While the first is verified, the second is sent anew with another size.
        StatHook hook(engine.local().filePath("0"_s), [&engine] {
            [&engine] { QVERIFY(engine.send("1"_s, "much longer")); }();
            return 0;
        });
        engine.sync().verifyUpToDateFilesBudgeted();
    }
    QCOMPARE(engine.state("1"_s), "17/0"_s);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerCycle::queue_directoryPausedMeanwhile()
{
    Engine engine(QStringList(), Engine::kShortIntervalMs);
    QVERIFY(engine.start());
    for (const QString& name : {"0"_s, "1"_s, "2"_s})
        QVERIFY(engine.send(name, "x"));
    {
        // Simulated time: at most the first file fits into the budget.
        StatHook slow(engine.local().filePath("0"_s), &slowDisk);
        engine.sync().verifyUpToDateFilesBudgeted();
    }
    QVERIFY(engine.database().setDirectoryUnavailable(1));
    QVERIFY(engine.local().remove("1"_s));
    QVERIFY(engine.local().remove("2"_s));
    engine.forget();
    for (int call = 0; call < 3; ++call)
        engine.sync().verifyUpToDateFilesBudgeted();
    QCOMPARE(engine.state("1"_s), "17/0"_s);
    QCOMPARE(engine.state("2"_s), "17/0"_s);
    QCOMPARE(verificationLines(engine).filter("Checked"_s), QStringList());
}

void TestSynchronizerCycle::nothingUpToDate_saysOnlyThatItRefilled()
{
    Engine engine;
    QVERIFY(engine.start());
    engine.sync().verifyUpToDateFilesBudgeted();
    COMPARE_LINES(engine, "verifyUpToDateFilesBudgeted - Refilled queue with 0 files (budget 12000 ms)"_s);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerCycle::verify_equal()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    engine.sync().verifyOneUpToDateFile(1, "a.txt"_s, 1);
    COMPARE_NO_LINES(engine);
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
}

void TestSynchronizerCycle::verify_localMissing()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().remove("a.txt"_s));
    engine.sync().verifyUpToDateFilesBudgeted();
    QCOMPARE(engine.state("a.txt"_s), "145/2"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QStringList lines = engine.takeLines();
    lines.replaceInStrings(QRegularExpression(" in \\d+ ms"_s), " in N ms"_s);
    if (traceLinesBuiltIn())
        QCOMPARE(
            lines,
            (QStringList{
                "verifyUpToDateFilesBudgeted - Refilled queue with 1 files (budget 12000 ms)"_s,
                "verifyOneUpToDateFile - Local file missing: 'a.txt' (dirId=1) -> Error"_s,
                "verifyUpToDateFilesBudgeted - Checked 1 files in N ms, 1 diverged, 0 left in queue"_s}));
}

void TestSynchronizerCycle::verify_distantMissing_observedOnceThenError()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.distant().remove("a.txt"_s));
    engine.sync().verifyUpToDateFilesBudgeted();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    COMPARE_LINES_OF("verifyOneUpToDateFile"_s, engine,
                     "Distant file missing for 'a.txt' (dirId=1), observation 1 of 2"_s);
    COMPARE_NO_EVENTS(engine);
    engine.sync().verifyUpToDateFilesBudgeted();
    QCOMPARE(engine.state("a.txt"_s), "145/15"_s);
    COMPARE_LINES_OF("verifyOneUpToDateFile"_s, engine,
                     "Distant file missing for 'a.txt' (dirId=1) after 2 consecutive observations -> "
                     "Error/DistantFileMissing"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
}

void TestSynchronizerCycle::verify_distantBackBetween_resetsTheCount()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    for (int round = 0; round < 3; ++round) {
        QVERIFY(engine.distant().remove("a.txt"_s));
        engine.sync().verifyOneUpToDateFile(1, "a.txt"_s, 1);
        QVERIFY(engine.distant().write("a.txt"_s, "x"));
        engine.sync().verifyOneUpToDateFile(1, "a.txt"_s, 1);
    }
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerCycle::verify_localSizeMismatch()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().write("a.txt"_s, "longer"));
    QVERIFY(engine.distant().write("a.txt"_s, "even longer"));
    engine.sync().verifyOneUpToDateFile(1, "a.txt"_s, 1);
    QCOMPARE(engine.state("a.txt"_s), "0/0"_s);
    COMPARE_LINES(engine, "verifyOneUpToDateFile - Local size mismatch on 'a.txt' (dirId=1): db=1 local=6 -> "
                          "Unknown"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    engine.passAndRun();
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("longer"));
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
}

void TestSynchronizerCycle::verify_localSizeMismatch_afterATombstone_yields()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().write("a.txt"_s, "longer"));
    StatHook hook(engine.distant().filePath("a.txt"_s),
                  [&engine] { return engine.database().setFileDeleted(1, "a.txt"_s) ? 0 : EIO; });
    engine.sync().verifyOneUpToDateFile(1, "a.txt"_s, 1);
    QCOMPARE(engine.state("a.txt"_s), "40/0"_s);
}

void TestSynchronizerCycle::verify_distantGrew_staysUpToDate()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(growDistant(engine, "a.txt"_s));
    const QVariantMap row = engine.row("a.txt"_s);
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(row.value("size"_s).toInt(), 14);
    QCOMPARE(row.value("local_lmd"_s).toString(), "2024-03-01T10:00:00Z"_s);
    QCOMPARE(row.value("distant_lmd"_s).toString(), "2024-03-02T10:00:00Z"_s);
    COMPARE_LINES(
        engine, "verifyOneUpToDateFile - Distant grew on 'a.txt' (dirId=1): db=5 distant=14 -> refresh BD"_s);
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.local().read("a.txt"_s), QByteArray("short")); // nothing is copied
}

void TestSynchronizerCycle::verify_distantShrunk_isAnError()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "content"));
    QVERIFY(engine.distant().write("a.txt"_s, "con"));
    engine.sync().verifyOneUpToDateFile(1, "a.txt"_s, 7);
    QCOMPARE(engine.state("a.txt"_s), "145/7"_s);
    COMPARE_LINES(engine,
                  "verifyOneUpToDateFile - Distant shrunk on 'a.txt' (dirId=1): db=7 distant=3 -> Error"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
}

void TestSynchronizerCycle::verify_beyondFourGigabytes()
{
    constexpr qint64 kSize = (Q_INT64_C(5) << 30) + 1;
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a"_s, "x"));
    QVERIFY(engine.distant().write("a"_s, "x"));
    if (!QFile::resize(engine.local().filePath("a"_s), kSize) ||
        !QFile::resize(engine.distant().filePath("a"_s), kSize))
        QSKIP("no sparse files of that size here");
    RowSpec spec;
    spec.size = kSize;
    QVERIFY(engine.putRow("a"_s, spec));
    engine.sync().verifyOneUpToDateFile(1, "a"_s, kSize);
    COMPARE_NO_LINES(engine);
    QVERIFY(QFile::resize(engine.distant().filePath("a"_s), kSize - (Q_INT64_C(1) << 32)));
    engine.sync().verifyOneUpToDateFile(1, "a"_s, kSize);
    COMPARE_LINES(engine, "verifyOneUpToDateFile - Distant shrunk on 'a' (dirId=1): db=%1 distant=%2 -> "
                          "Error"_s.arg(kSize)
                              .arg(kSize - (Q_INT64_C(1) << 32)));
}

void TestSynchronizerCycle::verify_renaming()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.sync().lockRename(1, "a.txt"_s, "b.txt"_s));
    QVERIFY(engine.local().rename("a.txt"_s, "b.txt"_s));
    engine.forget();
    engine.sync().verifyOneUpToDateFile(1, "a.txt"_s, 1);
    COMPARE_LINES(engine, "verifyOneUpToDateFile - Skip 'a.txt' (dirId=1): rename in progress"_s);
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
}

void TestSynchronizerCycle::verify_unknownDirectory()
{
    Engine engine;
    QVERIFY(engine.start());
    engine.sync().verifyOneUpToDateFile(77, "a.txt"_s, 1);
    COMPARE_NO_LINES(engine);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerCycle::verify_noCertainAnswer_data()
{
    QTest::addColumn<QString>("what");
    for (const char* what : {"local look fails", "distant look fails", "distant directory missing",
                             "local directory missing", "a file in the distant directory's place"})
        QTest::newRow(what) << QString::fromLatin1(what);
}

void TestSynchronizerCycle::verify_noCertainAnswer()
{
    QFETCH(QString, what);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    const QVariantMap row = engine.row("a.txt"_s);
    std::unique_ptr<StatHook> hook;
    const auto setAside = [](const QString& path) { return QDir().rename(path, path + "-aside"_s); };
    if (what == "local look fails"_s)
        hook = std::make_unique<StatHook>(engine.local().filePath("a.txt"_s), [] { return EIO; });
    else if (what == "distant look fails"_s)
        hook = std::make_unique<StatHook>(engine.distant().filePath("a.txt"_s), [] { return ESTALE; });
    else if (what == "local directory missing"_s)
        QVERIFY(setAside(engine.pair().localPath()));
    else
        QVERIFY(setAside(engine.pair().distantPath()));
    if (what == "a file in the distant directory's place"_s)
        QVERIFY(QFile(engine.pair().distantPath()).open(QIODevice::WriteOnly));
    for (int i = 0; i < 3; ++i)
        engine.sync().verifyOneUpToDateFile(1, "a.txt"_s, 1);
    COMPARE_NO_LINES(engine);
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.row("a.txt"_s), row);
}

void TestSynchronizerCycle::verify_specialFiles()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.send("b.txt"_s, "x"));
    QVERIFY(engine.distant().remove("a.txt"_s));
    QVERIFY(engine.distant().makeDirectory("a.txt"_s));
    QVERIFY(engine.local().remove("b.txt"_s));
    QVERIFY(QFile::link("/nowhere"_s, engine.local().filePath("b.txt"_s)));
    for (int i = 0; i < 3; ++i)
        engine.sync().verifyUpToDateFilesBudgeted();
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(engine.state("b.txt"_s), "17/0"_s);
}

// The verification and the pass of one cycle see the same moment.
void TestSynchronizerCycle::observation_countsOnceACycle()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    for (int cycle = 1; cycle <= 5; ++cycle)
        engine.sync().periodicSynchronization();
    QVERIFY(engine.distant().remove("a.txt"_s));
    engine.forget();
    engine.sync().periodicSynchronization();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    COMPARE_LINES_OF("verifyOneUpToDateFile"_s, engine,
                     "Distant file missing for 'a.txt' (dirId=1), observation 1 of 2"_s);
    engine.sync().periodicSynchronization();
    QCOMPARE(engine.state("a.txt"_s), "145/15"_s);
}

void TestSynchronizerCycle::distantMissing_staysInErrorThroughEveryCycle()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.distant().remove("a.txt"_s));
    for (int cycle = 1; cycle <= 13; ++cycle)
        engine.sync().periodicSynchronization();
    QCOMPARE(engine.state("a.txt"_s), "145/15"_s);
    QCOMPARE(engine.taskCount(), 0);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    // The user restores it from the local copy.
    QVERIFY(engine.sync().notifyLocalFileChanged(1, "a.txt"_s));
    QVERIFY(engine.runNext());
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(engine.pair().compareTrees(), QString());
}

void TestSynchronizerCycle::grown_isLeftAlone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(growDistant(engine, "a.txt"_s));
    const QVariantMap row = engine.row("a.txt"_s);
    engine.forget();
    for (int cycle = 1; cycle <= 13; ++cycle)
        engine.cycleAndRun();
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.takeLines("verifyOneUpToDateFile"_s), QStringList());
    QCOMPARE(engine.row("a.txt"_s), row);
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("longer version"));
    QCOMPARE(engine.local().read("a.txt"_s), QByteArray("short"));
}

void TestSynchronizerCycle::grown_localChangeSendsIt()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(growDistant(engine, "a.txt"_s));
    QVERIFY(engine.local().write("a.txt"_s, "mine"));
    engine.passAndRun();
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("mine"));
    QCOMPARE(engine.row("a.txt"_s).value("size"_s).toInt(), 4);
    QCOMPARE(markCount(engine), 0);
    // Without the mark the local size is news again.
    QVERIFY(engine.local().write("a.txt"_s, "mine, later"));
    engine.forget();
    engine.sync().verifyUpToDateFilesBudgeted();
    COMPARE_LINES_OF("verifyOneUpToDateFile"_s, engine,
                     "Local size mismatch on 'a.txt' (dirId=1): db=4 local=11 -> Unknown"_s);
}

void TestSynchronizerCycle::grown_notificationSendsIt()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(growDistant(engine, "a.txt"_s));
    QVERIFY(engine.sync().notifyLocalFileChanged(1, "a.txt"_s));
    QVERIFY(engine.runNext());
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("short"));
    QCOMPARE(markCount(engine), 0);
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerCycle::grown_againAndShrunk()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(growDistant(engine, "a.txt"_s));
    QVERIFY(engine.distant().append("a.txt"_s, " and more"));
    engine.forget();
    engine.sync().verifyUpToDateFilesBudgeted();
    COMPARE_LINES_OF("verifyOneUpToDateFile"_s, engine,
                     "Distant grew on 'a.txt' (dirId=1): db=14 distant=23 -> refresh BD"_s);
    QCOMPARE(markCount(engine), 1);
    QCOMPARE(engine.secondPass(), QStringList());
    QVERIFY(engine.distant().write("a.txt"_s, "less"));
    engine.forget();
    engine.sync().verifyUpToDateFilesBudgeted();
    COMPARE_LINES_OF("verifyOneUpToDateFile"_s, engine,
                     "Distant shrunk on 'a.txt' (dirId=1): db=23 distant=4 -> Error"_s);
    QCOMPARE(engine.state("a.txt"_s), "145/7"_s);
}

void TestSynchronizerCycle::grown_removedRowTakesItsMarkAlong()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(growDistant(engine, "a.txt"_s));
    QCOMPARE(markCount(engine), 1);
    QVERIFY(engine.database().removeFileSync(1, "a.txt"_s));
    QCOMPARE(markCount(engine), 0);
}

void TestSynchronizerCycle::grown_tableIsCreatedWhenNeeded()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("b.txt"_s, "x"));
    for (int cycle = 1; cycle <= 6; ++cycle)
        engine.cycleAndRun();
    QVERIFY(!hasMarkTable(engine));
    QVERIFY(growDistant(engine, "a.txt"_s));
    QVERIFY(hasMarkTable(engine));
    QCOMPARE(markCount(engine), 1);
}

void TestSynchronizerCycle::shrunk_waitsForTheUser()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "content"));
    QVERIFY(engine.distant().write("a.txt"_s, "con"));
    engine.sync().verifyUpToDateFilesBudgeted();
    QCOMPARE(engine.state("a.txt"_s), "145/7"_s);
    engine.forget();
    for (int cycle = 1; cycle <= 7; ++cycle) {
        engine.cycleAndRun();
        QCOMPARE(engine.state("a.txt"_s), "145/7"_s);
        COMPARE_NO_EVENTS(engine);
        if (traceLinesBuiltIn())
            QVERIFY(engine.takeLines().contains("resolveFilesError - Skipping auto-retry for 'a.txt' "
                                                "(dirId=1): distant copy shrank, waiting for user choice"_s));
    }
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("con"));

    engine.sync().resolveFileError(1, "a.txt"_s, ceSfsUpToDate | ceSfsError);
    COMPARE_EVENTS(engine, "errorStateChanged"_s, "task ceStoCopy ~/local/a.txt -> ~/distant/a.txt"_s,
                   "started ~/local/a.txt"_s);
    QVERIFY(engine.runNext());
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("content"));
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerCycle::shrunk_localChangeSendsIt()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "content"));
    QVERIFY(engine.distant().write("a.txt"_s, "con"));
    engine.sync().verifyUpToDateFilesBudgeted();
    QVERIFY(engine.local().write("a.txt"_s, "content, edited"));
    engine.cycleAndRun();
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("content, edited"));
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
}

// The same code with another base is a copy that failed, not a copy that shrank.
void TestSynchronizerCycle::sizeMismatchOfACopy_isClearedByTheCycle()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    RowSpec spec;
    spec.status = ceSfsSyncing | ceSfsError;
    spec.errorCode = ceSecCopySizeMismatch;
    QVERIFY(engine.putRow("a.txt"_s, spec));
    engine.cycleAndRun();
    QCOMPARE(engine.state("a.txt"_s), "20/0"_s); // it waits, cleared, until it is stale
}

void TestSynchronizerCycle::purge_removesFileAndRow()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.trash().write("old"_s, "x"));
    QVERIFY(engine.trash().write("young"_s, "x"));
    QVERIFY(engine.trash().write("foreign"_s, "x"));
    QVERIFY(engine.putRow("old"_s, trashed(daysAgo(kTrashDays + 1))));
    QVERIFY(engine.putRow("young"_s, trashed(daysAgo(kTrashDays - 1))));
    engine.sync().purgeExpiredTrash();
    COMPARE_LINES(engine, "removeFromTrash - file: 'old' in directoryId: 1"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QVERIFY(!engine.hasRow("old"_s));
    QVERIFY(engine.hasRow("young"_s));
    QCOMPARE(engine.trash().names(), (QStringList{"foreign"_s, "young"_s}));
}

void TestSynchronizerCycle::purge_ageAndState_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("date");
    QTest::addColumn<bool>("isPurged");
    QTest::newRow("trashed, just over") << int(ceSfsTrashed) << daysAgo(kTrashDays, -60) << true;
    QTest::newRow("trashed, just under") << int(ceSfsTrashed) << daysAgo(kTrashDays, 600) << false;
    QTest::newRow("deleted, over") << int(ceSfsDeleted) << daysAgo(kTrashDays, -60) << true;
    QTest::newRow("trashed, no date") << int(ceSfsTrashed) << QString() << false;
    QTest::newRow("up to date with a date") << int(ceSfsUpToDate) << daysAgo(99) << false;
    QTest::newRow("restoring with a date") << int(ceSfsRestoring) << daysAgo(99) << false;
}

void TestSynchronizerCycle::purge_ageAndState()
{
    QFETCH(int, status);
    QFETCH(QString, date);
    QFETCH(bool, isPurged);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.trash().write("a"_s, "x"));
    RowSpec spec = trashed(date, status);
    if (date.isEmpty())
        spec.trashedDate = QVariant();
    QVERIFY(engine.putRow("a"_s, spec));
    engine.sync().purgeExpiredTrash();
    QCOMPARE(engine.trash().exists("a"_s), !isPurged);
    QCOMPARE(engine.hasRow("a"_s), !isPurged);
}

void TestSynchronizerCycle::purge_coversUnavailableDirectories()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.trash().write("a"_s, "x"));
    QVERIFY(engine.putRow("a"_s, trashed(daysAgo(31))));
    QVERIFY(engine.database().setDirectoryUnavailable(1));
    engine.sync().purgeExpiredTrash();
    QVERIFY(!engine.trash().exists("a"_s));
    QVERIFY(!engine.hasRow("a"_s));
}

void TestSynchronizerCycle::purge_keepsTheRowOfAFileThatCannotBeRemoved()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.trash().makeDirectory("a"_s)); // a directory is not removed like a file
    QVERIFY(engine.trash().write("b"_s, "x"));
    QVERIFY(engine.putRow("a"_s, trashed(daysAgo(31))));
    QVERIFY(engine.putRow("b"_s, trashed(daysAgo(31))));
    engine.sync().purgeExpiredTrash();
    QVERIFY(engine.hasRow("a"_s));
    QVERIFY(!engine.hasRow("b"_s));
    COMPARE_EVENTS(engine, "error ERROR: Failed to permanently delete file from trash: '~/trash/a'"_s,
                   "errorStateChanged"_s);
}

void TestSynchronizerCycle::purge_fileSurelyGone_removesTheRow()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.putRow("a"_s, trashed(daysAgo(31))));
    engine.sync().purgeExpiredTrash();
    QVERIFY(!engine.hasRow("a"_s));
    COMPARE_NO_LINES(engine);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
}

void TestSynchronizerCycle::purge_trashAway_keepsTheRow()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.putRow("a"_s, trashed(daysAgo(31))));
    QVERIFY(QDir(engine.trash().path()).removeRecursively());
    engine.sync().purgeExpiredTrash();
    QVERIFY(engine.hasRow("a"_s));
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerCycle::purge_rowRestoredMeanwhile_isKept()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.trash().write("a"_s, "x"));
    QVERIFY(engine.putRow("a"_s, trashed(daysAgo(31))));
    StatHook hook(engine.trash().filePath("a"_s),
                  [&engine] { return engine.database().unmarkFileTrashed(1, "a"_s) ? 0 : EIO; });
    engine.sync().purgeExpiredTrash();
    QCOMPARE(engine.state("a"_s), "17/0"_s);
}

void TestSynchronizerCycle::purge_rowRestoredBeforeItsTurn_keepsItsFile()
{
    Engine engine;
    QVERIFY(engine.start());
    const QStringList names{"a"_s, "b"_s};
    for (const QString& name : names)
        QVERIFY(engine.trash().write(name, "x") && engine.putRow(name, trashed(daysAgo(31))));
    // Whichever comes first, the other one is wanted again when it is looked at.
    {
        StatHook hook(QRegularExpression("/trash/[ab]$"_s), [&](const QString& path) {
            const QString other = path.endsWith("/a"_s) ? "b"_s : "a"_s;
            return !engine.trash().exists(other) || engine.database().unmarkFileTrashed(1, other) ? 0 : EIO;
        });
        engine.sync().purgeExpiredTrash();
    }
    QCOMPARE(engine.trash().names().size(), 1);
    QCOMPARE(engine.state(engine.trash().names().first()), "17/0"_s);
}

void TestSynchronizerCycle::purge_runsAtTheEndOfACycle()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.trash().write("a"_s, "x"));
    QVERIFY(engine.putRow("a"_s, trashed(daysAgo(31))));
    engine.sync().periodicSynchronization();
    COMPARE_LINES(engine, cycleStart(1), kResolveStart, kResolveEnd, passStart(1), passCounts(1, 0, 0, 0),
                  passEnd(1), "removeFromTrash - file: 'a' in directoryId: 1"_s);
    QVERIFY(!engine.hasRow("a"_s));
}

namespace {

// Runs `story` with an engine of its own on a thread that may be asked to stop.
[[nodiscard]] bool onInterruptibleThread(Engine& engine,
                                         const std::function<void(VornSyncSynchronizer&)>& story)
{
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        VornSyncSynchronizer sync(engine.trash().path(), Engine::kIntervalMs, QStringList());
        sync.initialize(&engine.database());
        story(sync);
    }));
    thread->start();
    return thread->wait(kWaitMs);
}

void interruptOn(VornSyncSynchronizer& sync, void (VornSyncSynchronizer::*changed)())
{
    QObject::connect(&sync, changed, &sync, [] { QThread::currentThread()->requestInterruption(); });
}

} // namespace

void TestSynchronizerCycle::interruption_stopsTheCycle()
{
    Engine engine;
    QVERIFY(engine.start());
    const Pair second;
    QCOMPARE(engine.addDirectory("two"_s, second.localPath(), second.distantPath(), "/t2"_s), 2);
    QVERIFY(engine.send("gone"_s, "x"));
    QVERIFY(engine.local().remove("gone"_s));
    QVERIFY(engine.trash().write("old"_s, "x"));
    QVERIFY(engine.putRow("old"_s, trashed(daysAgo(31))));
    engine.forget();
    QVERIFY(onInterruptibleThread(engine, [](VornSyncSynchronizer& sync) {
        interruptOn(sync, &VornSyncSynchronizer::errorStateChanged);
        sync.periodicSynchronization();
        // The flag is down again.
        sync.periodicSynchronization();
    }));
    QCOMPARE(engine.state("gone"_s), "145/2"_s);
    QVERIFY(engine.trash().exists("old"_s));
    if (!traceLinesBuiltIn())
        return;
    const QStringList lines = engine.takeLines();
    QVERIFY(lines.contains(passEnd(1)));
    QVERIFY(!lines.contains(passStart(2)));
    QVERIFY(lines.contains(cycleStart(2)));
}

void TestSynchronizerCycle::interruption_stopsTheVerification()
{
    Engine engine(QStringList(), 60000);
    QVERIFY(engine.start());
    for (const QString& name : {"0"_s, "1"_s, "2"_s}) {
        QVERIFY(engine.send(name, "x"));
        QVERIFY(engine.local().remove(name));
    }
    QVERIFY(onInterruptibleThread(engine, [](VornSyncSynchronizer& sync) {
        interruptOn(sync, &VornSyncSynchronizer::errorStateChanged);
        sync.verifyUpToDateFilesBudgeted();
    }));
    QCOMPARE(engine.database().countFilesInError(), 1);
}

void TestSynchronizerCycle::interruption_stopsThePurge()
{
    Engine engine;
    QVERIFY(engine.start());
    for (const QString& name : {"0"_s, "1"_s, "2"_s}) {
        QVERIFY(engine.trash().write(name, "x"));
        QVERIFY(engine.putRow(name, trashed(daysAgo(31))));
    }
    QVERIFY(onInterruptibleThread(engine, [](VornSyncSynchronizer& sync) {
        QThread::currentThread()->requestInterruption();
        sync.purgeExpiredTrash();
    }));
    QCOMPARE(engine.trash().names().size(), 3);
    QVERIFY(onInterruptibleThread(engine, [](VornSyncSynchronizer& sync) { sync.purgeExpiredTrash(); }));
    QCOMPARE(engine.trash().names().size(), 0);
}

QTEST_GUILESS_MAIN(TestSynchronizerCycle)
#include "test_synchronizer_cycle.moc"

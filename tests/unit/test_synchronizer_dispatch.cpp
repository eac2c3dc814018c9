#include "disk_hooks.h"
#include "engine_fixture.h"
#include "file_calls.h"
#include "wait.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <cerrno>

using namespace VornSyncTest;

namespace {

constexpr int kRetryDelaysMs = 1000 + 2000 + 3000 + 4000;
constexpr int kDeferrals = 10;
constexpr int kDeferralMs = 500;

// Qt's ordinary timers may fire up to 5 % early.
constexpr int earliest(int delayMs)
{
    return delayMs * 95 / 100;
}

const QString kUnknownBase =
    QStringLiteral("transitioning to Error from an Unknown base ; resolveFileError will not be able to "
                   "auto-retry.");

QString deferral(const QString& name, int count, int directoryId = 1)
{
    return "copyToDistant - '%1' (dirId=%2) has an active SQLite side-car; deferring retry %3/10 in 500 ms"_s
        .arg(name, QString::number(directoryId), QString::number(count));
}

// A share that goes away when a file was opened: the system's own copy fails, and then Qt takes a file whose size
// it can't learn for an empty one, which it copies with success.
class LeavesDuringCopy
{
    Q_DISABLE_COPY_MOVE(LeavesDuringCopy)

public:
    explicit LeavesDuringCopy(const QString& source)
        : m_source(QFile::encodeName(source))
    {
        FileCalls::watch(QFile::encodeName(QFileInfo(source).path()));
        FileCalls::setHooks({[this](const FileCalls::Call& call) { return errorOf(call); }, nullptr});
    }
    ~LeavesDuringCopy() { FileCalls::setHooks({}); }

private:
    int errorOf(const FileCalls::Call& call)
    {
        const auto is = [&call](const char* function) { return qstrcmp(call.function, function) == 0; };
        if (call.path != m_source && call.target != m_source)
            return 0;
        if (is("open64"))
            ++m_openCount;
        const bool isRefused = is("sendfile") || is("ioctl") || is("statx");
        return m_openCount >= kOpeningOfTheCopy && isRefused ? EIO : 0;
    }

    static constexpr int kOpeningOfTheCopy = 2; // the first one is the task's own

    const QByteArray m_source;
    int m_openCount = 0;
};

[[nodiscard]] bool putPending(Engine& engine, const QString& name, int status = ceSfsPendingSync)
{
    RowSpec spec;
    spec.status = status;
    return engine.putRow(name, spec);
}

} // namespace

class TestSynchronizerDispatch : public QObject
{
    Q_OBJECT

private slots:
    void sideCar_tenDeferralsThenStillBusy();
    void sideCar_gone_theFileIsSent();
    void sideCar_passesMeanwhileNeitherCountNorStartTimers();
    void sideCar_directoryRemoved_theTimerStops();

    void doTask_withoutAFolder_data();
    void doTask_withoutAFolder();
    void doTask_sourceMissing();
    void doTask_rowNotPending();
    void doTask_ofATombstone_leavesIt();
    void copyToDistant_ofADirectoryWithoutDistantPath();
    void copyToDistant_refusedStart_isFalse();

    void taskFailingEveryTime_isRunFiveTimes();
    void failedRun_staysInFlight();
    void fiveMessagesInOneRun_endItAtOnce();
    void successAfterARetry();
    void freshCopyThatEndsShort_isSentAgainByTheNextPass();
    void copyThatEndsShort_replacesNothing();
    void shorterVersionAfterACheckedCopy_isNotSentOver();
    void versionAfterACheckedCopyThatCouldNotBeSeen_isNotSentOver();
    void moveThatEndsShort_keepsTheFile();
    void companionThatEndsShort_failsTheTask();
    void fetchThatEndsShort_leavesNothing();
    void companionsThatCantBeAsked_areNotLeftBehind_data();
    void companionsThatCantBeAsked_areNotLeftBehind();
    void failureOfATombstonedFile_leavesTheTombstone_data();
    void failureOfATombstonedFile_leavesTheTombstone();

    void moveBack_completesThroughTheUnknownDirectory();
    void renameTaskWithoutPendingEntry_updatesNothing();
    void nullTask_isIgnored();
    void recordingFails_theOutcomeIsFailure();

    void taskOfSomebodyElse_recordsNothing_data();
    void taskOfSomebodyElse_recordsNothing();
    void taskOfSomebodyElse_isNotRetried();
    void directoryRemovedDuringACopy();
    void idUsedAgainDuringACopy_recordsNothing();
    void directoryReadUnderANewId_recordsThere();
    void localPathWithSeparatorAtItsEnd();
    void twoPairsOnOneDistantDirectory_renameCompletes();

    void deferredRemove_replayedAfterSuccess();
    void deferredRemove_replayedAfterFailure();
    void deferredRemove_thatFails();
    void deferredRemove_distantAlreadyGone();
    void deferredRemove_cancelledByANewDispatch();

    void changedWhileCopied_isSentAgain_data();
    void changedWhileCopied_isSentAgain();
    void notificationRefusedInFlight_isSentAgain();
    void notificationBeforeAFailure_isNotSentAgain();
    void unchangedFile_isNotSentAgain();
    void tombstoneSetDuringACopy_stays_data();
    void tombstoneSetDuringACopy_stays();
    void removedDuringACopy_isReportedByTheNextPass();

    void twoTasksOfOneFile_countTwice();
    void twoTasksOfOneFile_deferredRemoveFollowsBoth();
    void realWorker_runsThemInOrder();
};

void TestSynchronizerDispatch::sideCar_tenDeferralsThenStillBusy()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    Engine engine({"*-wal"_s});
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a%1.db"_s, "x"));
    QVERIFY(engine.local().write("a%1.db-wal"_s, "x"));
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(engine.sync().copyToDistant(1, "a%1.db"_s));
    const QString stillBusy =
        "copyToDistant - 'a%1.db' (dirId=1) still busy after 10 retries; yielding to the next periodic cycle"_s;
    QVERIFY(waitFor([&] { return engine.trace().contains(stillBusy); }));
    QVERIFY2(elapsed.elapsed() >= earliest(kDeferrals * kDeferralMs),
             qPrintable(QString::number(elapsed.elapsed())));
    QStringList expected;
    for (int count = 1; count <= kDeferrals; ++count)
        expected << deferral("a%1.db"_s, count);
    expected << stillBusy;
    QCOMPARE(engine.takeLines(), expected);
    COMPARE_NO_EVENTS(engine);
    QVERIFY(!engine.hasRow("a%1.db"_s));

    // The next pass begins with a fresh count.
    engine.pass();
    QCOMPARE(engine.takeLines(),
             (QStringList{passStart(1), passCounts(1, 0, 0, 2), deferral("a%1.db"_s, 1), passEnd(1)}));
}

void TestSynchronizerDispatch::sideCar_gone_theFileIsSent()
{
    Engine engine({"*-wal"_s});
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.db"_s, "x"));
    QVERIFY(engine.local().write("a.db-wal"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.db"_s));
    QCOMPARE(engine.taskCount(), 0);
    QVERIFY(engine.local().remove("a.db-wal"_s));
    QVERIFY(waitFor([&] { return engine.taskCount() == 1; }));
    QVERIFY(engine.runNext());
    QCOMPARE(engine.state("a.db"_s), "17/0"_s);
    // It counts from one again.
    QVERIFY(engine.local().write("a.db-wal"_s, "x"));
    engine.forget();
    QVERIFY(engine.sync().copyToDistant(1, "a.db"_s));
    COMPARE_LINES(engine, deferral("a.db"_s, 1));
}

void TestSynchronizerDispatch::sideCar_passesMeanwhileNeitherCountNorStartTimers()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    Engine engine({"*-wal"_s});
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.db"_s, "x"));
    QVERIFY(engine.local().write("a.db-wal"_s, "x"));
    for (int i = 0; i < 15; ++i)
        engine.pass();
    QVERIFY(engine.sync().notifyLocalFileChanged(1, "a.db"_s));
    QCOMPARE(engine.takeLines("copyToDistant"_s).size(), 1);
    QVERIFY(waitFor([&] { return engine.trace().contains(deferral("a.db"_s, 2)); }));
    QCOMPARE(engine.trace().count(deferral("a.db"_s, 2)), 1);
    QCOMPARE(engine.trace().count(deferral("a.db"_s, 3)), 0);
}

void TestSynchronizerDispatch::sideCar_directoryRemoved_theTimerStops()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    Engine engine({"*-wal"_s});
    QVERIFY(engine.start());
    const Pair second;
    QCOMPARE(engine.addDirectory("two"_s, second.localPath(), second.distantPath(), "/t2"_s), 2);
    for (const Pair* pair : {&engine.pair(), &second}) {
        QVERIFY(pair->local().write("a.db"_s, "x"));
        QVERIFY(pair->local().write("a.db-wal"_s, "x"));
    }
    QVERIFY(engine.sync().copyToDistant(1, "a.db"_s));
    QVERIFY(engine.database().deleteDirectory(1));
    engine.sync().invalidateDirPathCache(1);
    engine.forget();
    // The other directory's timer is the clock: its second firing is later than any of the first's.
    QVERIFY(engine.sync().copyToDistant(2, "a.db"_s));
    QVERIFY(waitFor([&] { return engine.trace().contains(deferral("a.db"_s, 3, 2)); }));
    QCOMPARE(engine.takeLines(),
             (QStringList{deferral("a.db"_s, 1, 2), deferral("a.db"_s, 2, 2), deferral("a.db"_s, 3, 2)}));
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerDispatch::doTask_withoutAFolder_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("destination");
    QTest::newRow("no source") << QString() << "/x"_s;
    QTest::newRow("no destination") << "/x"_s << QString();
}

void TestSynchronizerDispatch::doTask_withoutAFolder()
{
    QFETCH(QString, source);
    QFETCH(QString, destination);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(putPending(engine, "%1.txt"_s));
    QVERIFY(!engine.sync().doTask(source, destination, "%1.txt"_s, 1, ceStoCopy));
    const QString message = "ERROR: Failure to get folder for file: '%1.txt' in directoryId: 1"_s;
    COMPARE_LINES(engine, "emitError - "_s + message);
    COMPARE_EVENTS(engine, "error "_s + message, "errorStateChanged"_s);
    QCOMPARE(engine.state("%1.txt"_s), "146/12"_s);
}

void TestSynchronizerDispatch::doTask_sourceMissing()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(putPending(engine, "a.txt"_s, ceSfsPendingDelete));
    QVERIFY(!engine.sync().doTask(engine.pair().localPath(), engine.trash().path(), "a.txt"_s, 1, ceStoMove));
    const QString message = "ERROR: Failure to create task for operation 'ceStoMove'."_s;
    COMPARE_LINES(engine,
                  "doTask - Operation: ceStoMove between source: '~/local/a.txt' and destination: "
                  "'~/trash/a.txt'."_s,
                  "emitError - "_s + message);
    COMPARE_EVENTS(engine, "error "_s + message, "errorStateChanged"_s);
    QCOMPARE(engine.state("a.txt"_s), "162/12"_s);
    QVERIFY(!engine.sync().isFileInFlight(1, "a.txt"_s));
}

void TestSynchronizerDispatch::doTask_rowNotPending()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(!engine.sync().doTask(engine.pair().localPath(), engine.pair().distantPath(), "a.txt"_s, 1,
                                  ceStoCopy));
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QCOMPARE(engine.state("a.txt"_s), "145/12"_s);
    QVERIFY(!engine.sync().isFileInFlight(1, "a.txt"_s));
    QCOMPARE(engine.taskCount(), 0);
}

// The host tombstoned the file between its start and its dispatch.
void TestSynchronizerDispatch::doTask_ofATombstone_leavesIt()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.database().setFileDeleted(1, "a.txt"_s));
    QVERIFY(!engine.sync().doTask(engine.pair().localPath(), engine.pair().distantPath(), "a.txt"_s, 1,
                                  ceStoCopy));
    QCOMPARE(engine.state("a.txt"_s), "40/0"_s);
    QCOMPARE(engine.taskCount(), 0);
}

void TestSynchronizerDispatch::copyToDistant_ofADirectoryWithoutDistantPath()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.raw().exec("UPDATE directories SET distant_path = ''"_s));
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(!engine.sync().copyToDistant(1, "a.txt"_s));
    COMPARE_EVENTS(engine, "error ERROR: Failure to get folder for file: 'a.txt' in directoryId: 1"_s,
                   "errorStateChanged"_s);
    QCOMPARE(engine.state("a.txt"_s), "146/12"_s);
}

void TestSynchronizerDispatch::copyToDistant_refusedStart_isFalse()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(!engine.sync().copyToDistant(1, "a.txt"_s));
    QCOMPARE(engine.taskCount(), 1);
    QVERIFY(!engine.sync().copyToDistant(1, "missing.txt"_s));
    QCOMPARE(engine.state("missing.txt"_s), "128/2"_s);
    QCOMPARE(engine.trace().warnings().size(), 1);
    QVERIFY(engine.trace().warnings().first().endsWith(kUnknownBase));
}

// One test for the three kinds of failure: each takes ten seconds of delays.
void TestSynchronizerDispatch::taskFailingEveryTime_isRunFiveTimes()
{
    Engine engine;
    QVERIFY(engine.start());
    const Pair second;
    QCOMPARE(engine.addDirectory("two"_s, second.localPath(), second.distantPath(), "/t2"_s), 2);

    QVERIFY(engine.send("old.txt"_s, "x"));

    // A destination that is a directory: fails without a message.
    QVERIFY(engine.local().write("silent.txt"_s, "x"));
    QVERIFY(engine.distant().makeDirectory("silent.txt"_s));
    QVERIFY(engine.sync().copyToDistant(1, "silent.txt"_s));
    // A rename to the name of a directory: the same.
    QVERIFY(engine.distant().write("new.txt/in the way"_s, "x"));
    QVERIFY(engine.sync().lockRename(1, "old.txt"_s, "new.txt"_s));
    QVERIFY(engine.sync().commitRename(1, "old.txt"_s, "new.txt"_s));
    // A distant directory that goes away: one message a run.
    QVERIFY(second.local().write("away.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(2, "away.txt"_s));
    QVERIFY(QDir(second.distantPath()).removeRecursively());

    engine.forget();
    engine.runAtOnce();
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(!engine.runNext());
    QVERIFY(!engine.runNext());
    QVERIFY(!engine.runNext());
    const auto isOver = [&engine, second = QString("away.txt"_s)] {
        return !engine.sync().isFileInFlight(1, "silent.txt"_s) &&
               !engine.sync().isFileInFlight(1, "old.txt"_s) && !engine.sync().isFileInFlight(2, second);
    };
    QVERIFY(waitFor(isOver));
    QVERIFY2(elapsed.elapsed() >= earliest(kRetryDelaysMs), qPrintable(QString::number(elapsed.elapsed())));

    // Four more runs each, and one completion, at the end.
    const QStringList events = engine.takeEvents();
    const QString away = second.local().filePath("away.txt"_s);
    for (const QString& path : {"~/local/silent.txt"_s, "~/distant/old.txt"_s, away}) {
        QCOMPARE(
            events.filter(QRegularExpression("^task .* "_s + QRegularExpression::escape(path) + " -> "_s))
                .size(),
            4);
        QCOMPARE(events.count("failed "_s + path), 1);
        QCOMPARE(events.count("completed "_s + path), 0);
        QCOMPARE(events.count("started "_s + path), 0);
    }
    const QString awayError = "ERROR: Task can't run, destination path not available: '%1'."_s.arg(
        second.distant().filePath("away.txt"_s));
    QCOMPARE(events.count("error "_s + awayError), 5);
    QCOMPARE(events.filter("error "_s).size(), 5);

    QCOMPARE(engine.state("silent.txt"_s), "148/13"_s);
    QCOMPARE(engine.state("old.txt"_s), "145/13"_s);
    QVERIFY(!engine.hasRow("new.txt"_s));
    QVERIFY(!engine.sync().isRenameLocked(1, "old.txt"_s));
    QVERIFY(!engine.sync().isRenameLocked(1, "new.txt"_s));
    QCOMPARE(engine.raw().fileRow(2, "away.txt"_s).value("status"_s).toInt(), 148);
    QCOMPARE(engine.raw().fileRow(2, "away.txt"_s).value("error_code"_s).toInt(),
             int(ceSecDistantDirMissing));
    QCOMPARE(engine.trace().warnings(), QStringList());

    if (!traceLinesBuiltIn())
        return;
    const QStringList lines = engine.takeLines("onTaskDone"_s);
    const auto expectLines = [&lines](const QString& name, const QString& path, const QString& error) {
        for (int n = 1; n <= 4; ++n)
            QCOMPARE(lines.count("Task on file '%1' FAILED => Retry to do it (%2 / 5). Error: %3"_s.arg(
                         name, QString::number(n), error)),
                     1);
        QCOMPARE(lines.count("Task on file '%1' FAILED after 5 attempts. Last error: %2"_s.arg(name, error)),
                 1);
        QCOMPARE(lines.filter("Task on file '%1' FAIL (in-flight="_s.arg(path)).size(), 1);
    };
    expectLines("silent.txt"_s, "~/local/silent.txt"_s, QString());
    expectLines("old.txt"_s, "~/distant/old.txt"_s, QString());
    expectLines("away.txt"_s, away, awayError);
    QCOMPARE(lines.size(), 3 * 6);
    QVERIFY(lines.last().endsWith("FAIL (in-flight=0)."_s));
}

void TestSynchronizerDispatch::failedRun_staysInFlight()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.distant().makeDirectory("a.txt"_s));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    engine.forget();
    QVERIFY(!engine.runNext());
    COMPARE_LINES(engine, "onTaskDone - Task on file 'a.txt' FAILED => Retry to do it (1 / 5). Error: "_s);
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.state("a.txt"_s), "20/0"_s);
    QVERIFY(engine.sync().isFileInFlight(1, "a.txt"_s));
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 0, 1),
                  "synchronizeDirectory - Skip tracked 'a.txt' (dirId=1): already ceSfsSyncing"_s,
                  "synchronizeDirectory - Skip local 'a.txt' (dirId=1): already ceSfsSyncing"_s, passEnd(1));
}

void TestSynchronizerDispatch::fiveMessagesInOneRun_endItAtOnce()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.makeHopeless("a"_s));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    engine.forget();
    const pVornSyncTask task = engine.takeTask();
    QVERIFY(!engine.run(task));
    QCOMPARE(task->errorMessages().size(), 5);
    COMPARE_LINES(engine,
                  "onTaskDone - Task on file 'a.txt' FAILED after 5 attempts. Last error: "_s +
                      engine.shortened(task->lastErrorMessage()),
                  "onTaskDone - Task on file '~/local/a.txt' FAIL (in-flight=0)."_s);
    QStringList expected;
    for (const QString& message : task->errorMessages())
        expected << "error "_s + engine.shortened(message);
    expected << "errorStateChanged"_s
             << "failed ~/local/a.txt"_s;
    QCOMPARE(engine.takeEvents(), expected);
    QCOMPARE(engine.state("a.txt"_s), "148/9"_s);
    QVERIFY(!engine.sync().isFileInFlight(1, "a.txt"_s));
}

void TestSynchronizerDispatch::successAfterARetry()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.distant().makeDirectory("a.txt"_s));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(!engine.runNext());
    QVERIFY(engine.distant().remove("a.txt"_s));
    QVERIFY(engine.local().write("a.txt"_s, "meanwhile longer"));
    engine.forget();
    engine.runAtOnce();
    QVERIFY(waitFor([&] { return !engine.sync().isFileInFlight(1, "a.txt"_s); }));
    COMPARE_EVENTS(engine, "task ceStoCopy ~/local/a.txt -> ~/distant/a.txt"_s, "completed ~/local/a.txt"_s);
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(engine.row("a.txt"_s).value("size"_s).toInt(), 16);
    QCOMPARE(engine.pair().compareTrees(), QString());
}

void TestSynchronizerDispatch::freshCopyThatEndsShort_isSentAgainByTheNextPass()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "content"));
    QVERIFY(engine.sync().copyToDistant(engine.id(), "a.txt"_s));
    {
        const LeavesDuringCopy share(engine.local().filePath("a.txt"_s));
        QVERIFY(engine.runNext());
    }
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray());
    QCOMPARE(engine.row("a.txt"_s).value("distant_lmd"_s).toString(), "UNDEFINED"_s);
    engine.passAndRun();
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("content"));
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerDispatch::copyThatEndsShort_replacesNothing()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "old"));
    QVERIFY(engine.local().write("a.txt"_s, "content"));
    QVERIFY(engine.sync().copyToDistant(engine.id(), "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();
    {
        const LeavesDuringCopy share(engine.local().filePath("a.txt"_s));
        QVERIFY(!task->runtask());
    }
    QCOMPARE(int(task->errorCode()), int(ceSecCopySizeMismatch));
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("old"));
    QVERIFY(engine.run(task));
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("content"));
}

// A copy of "a.txt" over an older one that has run, and that the engine has not heard of yet; null when one step failed.
static pVornSyncTask runCheckedCopy(Engine& engine)
{
    if (!engine.send("a.txt"_s, "old") || !engine.local().write("a.txt"_s, "changed here") ||
        !engine.sync().copyToDistant(engine.id(), "a.txt"_s))
        return pVornSyncTask();
    const pVornSyncTask task = engine.takeTask();
    return task && task->runtask() ? task : pVornSyncTask();
}

// The copy was whole: what is there when the engine comes to it is another workstation's.
void TestSynchronizerDispatch::shorterVersionAfterACheckedCopy_isNotSentOver()
{
    Engine engine;
    QVERIFY(engine.start());
    const pVornSyncTask task = runCheckedCopy(engine);
    QVERIFY(task);
    QVERIFY(engine.distant().write("a.txt"_s, "theirs"));
    engine.sync().onTaskDone(task, true);
    engine.passAndRun();
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("theirs"));
    engine.sync().verifyUpToDateFilesBudgeted();
    QCOMPARE(engine.state("a.txt"_s), "145/7"_s);
}

// The share goes when the copy is whole, and comes back with another workstation's version.
void TestSynchronizerDispatch::versionAfterACheckedCopyThatCouldNotBeSeen_isNotSentOver()
{
    Engine engine;
    QVERIFY(engine.start());
    const pVornSyncTask task = runCheckedCopy(engine);
    QVERIFY(task);
    {
        const StatHook away(engine.distant().filePath("a.txt"_s), [] { return EIO; });
        engine.sync().onTaskDone(task, true);
    }
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QVERIFY(engine.distant().write("a.txt"_s, "theirs, and longer than ours"));
    engine.passAndRun();
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("theirs, and longer than ours"));
}

void TestSynchronizerDispatch::moveThatEndsShort_keepsTheFile()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "content"));
    QVERIFY(engine.sync().moveToTrashFile(engine.id(), "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();
    {
        const LeavesDuringCopy share(engine.local().filePath("a.txt"_s));
        QVERIFY(!task->runtask());
    }
    QCOMPARE(task->errorMessages(),
             QStringList{"Failure to copy file: '%1', file sizes are different. Source: 7, Temp: 0"_s.arg(
                 engine.local().filePath("a.txt"_s))});
    QCOMPARE(int(task->errorCode()), int(ceSecCopySizeMismatch));
    QCOMPARE(engine.local().read("a.txt"_s), QByteArray("content"));
    QVERIFY(engine.run(task));
    QVERIFY(!engine.local().exists("a.txt"_s));
    QCOMPARE(engine.trash().read("a.txt"_s), QByteArray("content"));
}

void TestSynchronizerDispatch::companionThatEndsShort_failsTheTask()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "a") && engine.local().write("a/x"_s, "content"));
    QVERIFY(engine.sync().copyToDistant(engine.id(), "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();
    {
        const LeavesDuringCopy share(engine.local().filePath("a/x"_s));
        QVERIFY(!task->runtask());
    }
    QCOMPARE(int(task->errorCode()), int(ceSecAssocDirCopyFailed));
    QVERIFY(engine.run(task));
    QCOMPARE(engine.distant().read("a/x"_s), QByteArray("content"));
}

// A short local file would be sent over the distant one.
void TestSynchronizerDispatch::fetchThatEndsShort_leavesNothing()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.distant().write("a.txt"_s, "content"));
    const QString local = engine.local().filePath("a.txt"_s);
    const pVornSyncTask task = VornSyncTask::create(engine.distant().filePath("a.txt"_s), local, ceStoCopy);
    QVERIFY(task);
    task->setExpectedDestination(VornSyncFiles::facts(local));
    {
        const LeavesDuringCopy share(engine.distant().filePath("a.txt"_s));
        QVERIFY(!task->runtask());
    }
    QCOMPARE(engine.local().names(), QStringList());
    QVERIFY(task->runtask());
    QCOMPARE(engine.local().read("a.txt"_s), QByteArray("content"));
}

void TestSynchronizerDispatch::companionsThatCantBeAsked_areNotLeftBehind_data()
{
    QTest::addColumn<bool>("isMove");
    QTest::newRow("copy") << false;
    QTest::newRow("move to the trash") << true;
}

void TestSynchronizerDispatch::companionsThatCantBeAsked_areNotLeftBehind()
{
    QFETCH(bool, isMove);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "a") && engine.local().write("a/x"_s, "x"));
    const Side& destination = isMove ? engine.trash() : engine.distant();
    QVERIFY(isMove ? engine.sync().moveToTrashFile(engine.id(), "a.txt"_s)
                   : engine.sync().copyToDistant(engine.id(), "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();

    const QByteArray directory = QFile::encodeName(engine.local().filePath("a"_s));
    FileCalls::watch(directory);
    FileCalls::setHooks(
        {[&](const FileCalls::Call& call) { return call.path == directory ? EIO : 0; }, nullptr});
    const bool isDone = task->runtask();
    FileCalls::setHooks({});
    QVERIFY(!isDone);
    QCOMPARE(task->errorMessages(),
             QStringList{"Failed to list associated directory: %1"_s.arg(engine.local().filePath("a"_s))});
    QCOMPARE(int(task->errorCode()), int(ceSecAssocDirCopyFailed));
    QVERIFY(engine.local().exists("a.txt"_s));

    QVERIFY(task->runtask());
    QCOMPARE(destination.read("a/x"_s), QByteArray("x"));
    QCOMPARE(engine.local().exists("a/x"_s), !isMove);
}

void TestSynchronizerDispatch::failureOfATombstonedFile_leavesTheTombstone_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("deleted") << int(ceSfsDeleted);
    QTest::newRow("trashed") << int(ceSfsTrashed);
}

void TestSynchronizerDispatch::failureOfATombstonedFile_leavesTheTombstone()
{
    QFETCH(int, status);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.makeHopeless("a"_s));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(engine.database().setFileTrashOrDeleted(1, "a.txt"_s, status));
    QVERIFY(!engine.runNext());
    QCOMPARE(engine.state("a.txt"_s), "%1/0"_s.arg(status));
    QVERIFY(!engine.sync().isFileInFlight(1, "a.txt"_s));
    QCOMPARE(engine.takeEvents().last(), "failed ~/local/a.txt"_s);
}

// Required: the row stays in ceSfsRestoring until it is stale.
void TestSynchronizerDispatch::moveBack_completesThroughTheUnknownDirectory()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "local"));
    QVERIFY(engine.trash().write("a.txt"_s, "trashed"));
    QVERIFY(engine.sync().restoreFromTrash(1, "a.txt"_s));
    QCOMPARE(engine.state("a.txt"_s), "68/0"_s);
    COMPARE_EVENTS(engine, "task ceStoMoveBack ~/trash/a.txt -> ~/local/a.txt"_s, "started ~/trash/a.txt"_s);
    engine.forget();
    QVERIFY(engine.runNext());
    COMPARE_LINES(engine, "onTaskDone - Ignoring task for unknown directory: ~/trash (file: a.txt)"_s,
                  "onTaskDone - Task on file '~/trash/a.txt' FAIL (in-flight=0)."_s);
    COMPARE_EVENTS(engine, "failed ~/trash/a.txt"_s);
    QCOMPARE(engine.state("a.txt"_s), "68/0"_s);
    QVERIFY(!engine.sync().isFileInFlight(1, "a.txt"_s));
}

void TestSynchronizerDispatch::renameTaskWithoutPendingEntry_updatesNothing()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.sync().lockRename(1, "a.txt"_s, "b.txt"_s));
    QVERIFY(engine.sync().commitRename(1, "a.txt"_s, "b.txt"_s));
    engine.sync().abortRename(1, "a.txt"_s, "b.txt"_s);
    engine.forget();
    QVERIFY(engine.runNext());
    COMPARE_LINES(engine,
                  "onTaskDone - Rename completion without pending entry for 'a.txt' (dirId=1). BD update "
                  "skipped."_s,
                  "onTaskDone - Task on file '~/distant/a.txt' FAIL (in-flight=0)."_s);
    QCOMPARE(engine.takeEvents().last(), "failed ~/distant/a.txt"_s);
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QVERIFY(!engine.hasRow("b.txt"_s));
}

void TestSynchronizerDispatch::nullTask_isIgnored()
{
    Engine engine;
    QVERIFY(engine.start());
    engine.sync().onTaskDone(pVornSyncTask(), false);
    COMPARE_NO_LINES(engine);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerDispatch::recordingFails_theOutcomeIsFailure()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.raw().exec("CREATE TRIGGER refuse BEFORE UPDATE OF size ON file_tracking "
                              "BEGIN SELECT RAISE(ABORT, 'refused'); END"_s));
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    engine.forget();
    QVERIFY(engine.runNext());
    QCOMPARE(engine.state("a.txt"_s), "148/1"_s);
    QCOMPARE(engine.takeEvents().last(), "failed ~/local/a.txt"_s);
    COMPARE_LINES(engine, "onTaskDone - Task on file '~/local/a.txt' FAIL (in-flight=0)."_s);
}

void TestSynchronizerDispatch::taskOfSomebodyElse_recordsNothing_data()
{
    QTest::addColumn<bool>("isSourceRegistered");
    QTest::addColumn<bool>("doneOk");
    QTest::newRow("done") << false << true;
    QTest::newRow("failed") << false << false;
    QTest::newRow("done, its source lies in a registered local directory") << true << true;
    QTest::newRow("failed, its source lies in a registered local directory") << true << false;
}

// As a file-ready request does: a copy from the distant side that the manager hands to the worker itself.
void TestSynchronizerDispatch::taskOfSomebodyElse_recordsNothing()
{
    QFETCH(bool, isSourceRegistered);
    QFETCH(bool, doneOk);
    Engine engine;
    QVERIFY(engine.start());
    if (isSourceRegistered)
        QCOMPARE(engine.addDirectory("chained"_s, engine.pair().distantPath(), "/elsewhere"_s, "/t2"_s), 2);
    QVERIFY(engine.local().write("busy.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "busy.txt"_s)); // one in flight
    QVERIFY(engine.distant().write("a.txt"_s, "newer"));
    const pVornSyncTask task = VornSyncTask::create(engine.distant().filePath("a.txt"_s),
                                                    engine.local().filePath("a.txt"_s), ceStoCopy);
    QVERIFY(task);
    engine.forget();
    engine.sync().onTaskDone(task, doneOk);
    COMPARE_LINES(engine, "onTaskDone - Ignoring task for unknown directory: ~/distant (file: a.txt)"_s,
                  "onTaskDone - Task on file '~/distant/a.txt' FAIL (in-flight=1)."_s);
    COMPARE_EVENTS(engine, "failed ~/distant/a.txt"_s);
    QVERIFY(!engine.hasRow("a.txt"_s));
    QVERIFY(engine.raw().fileRow(2, "a.txt"_s).isEmpty());
    QVERIFY(engine.sync().isFileInFlight(1, "busy.txt"_s));
}

void TestSynchronizerDispatch::taskOfSomebodyElse_isNotRetried()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.distant().makeDirectory("a.txt"_s));
    const pVornSyncTask task = VornSyncTask::create(engine.local().filePath("a.txt"_s),
                                                    engine.distant().filePath("a.txt"_s), ceStoCopy);
    QVERIFY(!engine.run(task));
    if (traceLinesBuiltIn())
        QCOMPARE(engine.takeLines("onTaskDone"_s).filter("Retry"_s), QStringList());
    COMPARE_EVENTS(engine, "failed ~/local/a.txt"_s);
    QVERIFY(!engine.hasRow("a.txt"_s));
}

void TestSynchronizerDispatch::directoryRemovedDuringACopy()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(engine.database().deleteDirectory(1));
    engine.sync().invalidateDirPathCache(1);
    engine.forget();
    QVERIFY(engine.runNext());
    COMPARE_LINES(engine, "onTaskDone - Ignoring task for unknown directory: ~/local (file: a.txt)"_s,
                  "onTaskDone - Task on file '~/local/a.txt' FAIL (in-flight=0)."_s);
    COMPARE_EVENTS(engine, "failed ~/local/a.txt"_s);
    QVERIFY(!engine.sync().isFileInFlight(1, "a.txt"_s));
    QCOMPARE(engine.raw().value("SELECT COUNT(*) FROM file_tracking"_s).toInt(), 0);
}

void TestSynchronizerDispatch::idUsedAgainDuringACopy_recordsNothing()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(engine.database().reset());
    engine.sync().invalidateDirPathCache();
    const Pair other;
    QCOMPARE(engine.addDirectory("other"_s, other.localPath(), other.distantPath(), "/t"_s), 1);
    engine.forget();
    QVERIFY(engine.runNext());
    COMPARE_EVENTS(engine, "failed ~/local/a.txt"_s);
    QVERIFY(!engine.hasRow("a.txt"_s));
    QVERIFY(!engine.sync().isFileInFlight(1, "a.txt"_s));
}

void TestSynchronizerDispatch::directoryReadUnderANewId_recordsThere()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(
        engine.raw().exec("INSERT INTO directories (id, alias_name, local_path, distant_path, trash_path, "
                          "available) VALUES (5, 'five', '/l5', '/d5', '/t5', 1)"_s));
    QVERIFY(engine.raw().execAll(
        {"UPDATE directories SET local_path = '/gone' WHERE id = 1"_s,
         "UPDATE directories SET local_path = '%1' WHERE id = 5"_s.arg(engine.pair().localPath())}));
    QVERIFY(engine.runNext());
    QCOMPARE(engine.raw().fileRow(5, "a.txt"_s).value("status"_s).toInt(), int(ceSfsUpToDate));
    QVERIFY(!engine.sync().isFileInFlight(1, "a.txt"_s)); // the mark that was set is the one released
}

void TestSynchronizerDispatch::localPathWithSeparatorAtItsEnd()
{
    Engine engine;
    QVERIFY(engine.start());
    const Pair second;
    QCOMPARE(engine.addDirectory("two"_s, second.localPath() + QLatin1Char('/'),
                                 second.distantPath() + QLatin1Char('/'), "/t2"_s),
             2);
    QVERIFY(second.local().write("a.txt"_s, "x"));
    engine.sync().synchronizeDirectory(2);
    QVERIFY(engine.runNext());
    QCOMPARE(engine.raw().fileRow(2, "a.txt"_s).value("status"_s).toInt(), int(ceSfsUpToDate));
    QVERIFY(second.distant().exists("a.txt"_s));
}

void TestSynchronizerDispatch::twoPairsOnOneDistantDirectory_renameCompletes()
{
    Engine engine;
    QVERIFY(engine.start());
    const Pair second;
    QCOMPARE(engine.addDirectory("two"_s, second.localPath(), engine.pair().distantPath(), "/t2"_s), 2);
    QVERIFY(engine.send("a.txt"_s, "x"));
    RowSpec spec;
    QVERIFY(engine.putRow(2, "a.txt"_s, spec));
    QVERIFY(engine.sync().lockRename(2, "a.txt"_s, "b.txt"_s));
    QVERIFY(engine.sync().commitRename(2, "a.txt"_s, "b.txt"_s));
    engine.forget();
    QVERIFY(engine.runNext());
    COMPARE_LINES(engine, "onTaskDone - Task on file '~/distant/a.txt' done (in-flight=0)."_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s, "completed ~/distant/a.txt"_s);
    QCOMPARE(engine.raw().fileRow(2, "b.txt"_s).value("status"_s).toInt(), int(ceSfsUpToDate));
    QVERIFY(engine.raw().fileRow(2, "a.txt"_s).isEmpty());
    QVERIFY(engine.hasRow("a.txt"_s));
    for (const QString& name : {"a.txt"_s, "b.txt"_s})
        QVERIFY(!engine.sync().isRenameLocked(2, name));
}

void TestSynchronizerDispatch::deferredRemove_replayedAfterSuccess()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();
    QVERIFY(task->runtask());
    QVERIFY(engine.local().remove("a.txt"_s));
    QVERIFY(engine.database().setFileDeleted(1, "a.txt"_s));
    engine.forget();
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "a.txt"_s));
    COMPARE_LINES(engine, "notifyLocalFileDeleted - Program-initiated distant cleanup of 'a.txt' (dirId=1)"_s,
                  "notifyLocalFileDeleted - Deferring distant remove for 'a.txt' (dirId=1): copy still in "
                  "flight, will replay on task completion"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QVERIFY(engine.distant().exists("a.txt"_s));

    engine.sync().onTaskDone(task, true);
    COMPARE_LINES(engine, "onTaskDone - Replayed deferred distant remove for 'a.txt' (dirId=1): done"_s,
                  "onTaskDone - Task on file '~/local/a.txt' done (in-flight=0)."_s);
    COMPARE_EVENTS(engine, "completed ~/local/a.txt"_s);
    QVERIFY(!engine.distant().exists("a.txt"_s));
    QCOMPARE(engine.state("a.txt"_s), "40/0"_s);
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerDispatch::deferredRemove_replayedAfterFailure()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.makeHopeless("a"_s));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(engine.database().setFileDeleted(1, "a.txt"_s));
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();
    QVERIFY(!task->runtask());
    QVERIFY(engine.distant().exists("a.txt"_s)); // its companions failed, it did not
    engine.forget();
    engine.sync().onTaskDone(task, false);
    QVERIFY(!engine.distant().exists("a.txt"_s));
    if (traceLinesBuiltIn())
        QCOMPARE(engine.takeLines("onTaskDone"_s).value(1),
                 "Replayed deferred distant remove for 'a.txt' (dirId=1): done"_s);
}

void TestSynchronizerDispatch::deferredRemove_thatFails()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();
    QVERIFY(task->runtask());
    QVERIFY(engine.distant().remove("a.txt"_s));
    QVERIFY(engine.distant().makeDirectory("a.txt"_s));
    engine.forget();
    engine.sync().onTaskDone(task, true);
    COMPARE_LINES(engine, "onTaskDone - Replayed deferred distant remove for 'a.txt' (dirId=1): FAILED"_s,
                  "onTaskDone - Task on file '~/local/a.txt' done (in-flight=0)."_s);
}

void TestSynchronizerDispatch::deferredRemove_distantAlreadyGone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();
    QVERIFY(task->runtask());
    QVERIFY(engine.distant().remove("a.txt"_s));
    engine.forget();
    engine.sync().onTaskDone(task, true);
    COMPARE_LINES(engine, "onTaskDone - Replayed deferred distant remove for 'a.txt' (dirId=1): done"_s,
                  "onTaskDone - Task on file '~/local/a.txt' done (in-flight=0)."_s);
}

// Deleted while it is copied, and written anew before the copy has ended: the new file is wanted over there.
void TestSynchronizerDispatch::deferredRemove_cancelledByANewDispatch()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "first"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(engine.local().remove("a.txt"_s));
    QVERIFY(engine.database().setFileDeleted(1, "a.txt"_s));
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "a.txt"_s));
    QVERIFY(engine.local().write("a.txt"_s, "the second"));
    QVERIFY(engine.sync().notifyLocalFileChanged(1, "a.txt"_s));
    QCOMPARE(engine.taskCount(), 2);
    QVERIFY(engine.runNext());
    QVERIFY(engine.distant().exists("a.txt"_s));
    engine.runAll();
    QCOMPARE(engine.takeLines("onTaskDone"_s).filter("Replayed"_s), QStringList());
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("the second"));
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerDispatch::changedWhileCopied_isSentAgain_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("laterMs");
    QTest::newRow("other size") << QByteArray("longer") << 0;
    QTest::newRow("other time") << QByteArray("after.") << 60000;
    QTest::newRow("within the tolerance") << QByteArray("after.") << 1000;
    QTest::newRow("within the second") << QByteArray("after.") << 5;
}

void TestSynchronizerDispatch::changedWhileCopied_isSentAgain()
{
    QFETCH(QByteArray, content);
    QFETCH(int, laterMs);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, laterMs > 0 ? "before" : "short"));
    QVERIFY(engine.local().setLmd("a.txt"_s, longAgo()));
    const int sentSize = int(engine.local().read("a.txt"_s).size());
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();
    QVERIFY(task->runtask());
    QVERIFY(engine.local().write("a.txt"_s, content));
    QVERIFY(engine.local().setLmd("a.txt"_s, longAgo().addMSecs(laterMs)));
    engine.forget();
    engine.sync().onTaskDone(task, true);
    // What was recorded is what was sent.
    QCOMPARE(engine.row("a.txt"_s).value("size"_s).toInt(), sentSize);
    QCOMPARE(engine.row("a.txt"_s).value("local_lmd"_s).toString(), "2024-03-01T10:00:00Z"_s);
    COMPARE_EVENTS(engine, "completed ~/local/a.txt"_s, "task ceStoCopy ~/local/a.txt -> ~/distant/a.txt"_s,
                   "started ~/local/a.txt"_s);
    engine.runAll();
    QCOMPARE(engine.distant().read("a.txt"_s), content);
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    COMPARE_EVENTS(engine, "completed ~/local/a.txt"_s);
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerDispatch::notificationRefusedInFlight_isSentAgain()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    engine.forget();
    QVERIFY(!engine.sync().notifyLocalFileChanged(1, "a.txt"_s));
    COMPARE_LINES(engine, "notifyLocalFileChanged - Immediate copyToDistant for 'a.txt' (dirId=1)"_s,
                  "startProcessing - file: 'a.txt' in directory 1 is already being processed (status "
                  "=ceSfsSyncing)"_s);
    QVERIFY(engine.runNext());
    COMPARE_EVENTS(engine, "completed ~/local/a.txt"_s, "task ceStoCopy ~/local/a.txt -> ~/distant/a.txt"_s,
                   "started ~/local/a.txt"_s);
    QVERIFY(engine.runNext());
    COMPARE_EVENTS(engine, "completed ~/local/a.txt"_s); // and not a third time
    QCOMPARE(engine.taskCount(), 0);
}

void TestSynchronizerDispatch::notificationBeforeAFailure_isNotSentAgain()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.makeHopeless("a"_s));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(!engine.sync().notifyLocalFileChanged(1, "a.txt"_s));
    QVERIFY(!engine.runNext());
    QCOMPARE(engine.taskCount(), 0);
    QCOMPARE(engine.state("a.txt"_s), "148/9"_s);
}

void TestSynchronizerDispatch::unchangedFile_isNotSentAgain()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    QVERIFY(engine.runNext());
    QCOMPARE(engine.taskCount(), 0);
}

void TestSynchronizerDispatch::tombstoneSetDuringACopy_stays_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("isChanged");
    QTest::newRow("deleted") << int(ceSfsDeleted) << false;
    QTest::newRow("trashed") << int(ceSfsTrashed) << false;
    QTest::newRow("deleted, and changed") << int(ceSfsDeleted) << true;
}

void TestSynchronizerDispatch::tombstoneSetDuringACopy_stays()
{
    QFETCH(int, status);
    QFETCH(bool, isChanged);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();
    QVERIFY(task->runtask());
    QVERIFY(engine.database().setFileTrashOrDeleted(1, "a.txt"_s, status));
    const QVariantMap row = engine.row("a.txt"_s);
    if (isChanged)
        QVERIFY(engine.local().write("a.txt"_s, "changed"));
    engine.forget();
    engine.sync().onTaskDone(task, true);
    QCOMPARE(engine.row("a.txt"_s), row);
    COMPARE_EVENTS(engine, "completed ~/local/a.txt"_s);
    QCOMPARE(engine.taskCount(), 0);
}

void TestSynchronizerDispatch::removedDuringACopy_isReportedByTheNextPass()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();
    QVERIFY(task->runtask());
    QVERIFY(engine.local().remove("a.txt"_s));
    engine.sync().onTaskDone(task, true);
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(engine.row("a.txt"_s).value("size"_s).toInt(), 1);
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "145/2"_s);
}

// "a.txt" is sent, deleted, and back before the first copy of it has ended.
static bool dispatchTwice(Engine& engine)
{
    return engine.local().write("a.txt"_s, "x") && engine.sync().copyToDistant(1, "a.txt"_s) &&
           engine.database().setFileDeleted(1, "a.txt"_s) && engine.sync().copyToDistant(1, "a.txt"_s);
}

void TestSynchronizerDispatch::twoTasksOfOneFile_countTwice()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(dispatchTwice(engine));
    engine.forget();
    QVERIFY(engine.runNext());
    COMPARE_LINES(engine, "onTaskDone - Task on file '~/local/a.txt' done (in-flight=1)."_s);
    QVERIFY(engine.sync().isFileInFlight(1, "a.txt"_s));
    QVERIFY(engine.runNext());
    COMPARE_LINES(engine, "onTaskDone - Task on file '~/local/a.txt' done (in-flight=0)."_s);
    QVERIFY(!engine.sync().isFileInFlight(1, "a.txt"_s));
}

// The engine hears of the first task's end when the worker has the second one half done.
void TestSynchronizerDispatch::twoTasksOfOneFile_deferredRemoveFollowsBoth()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(dispatchTwice(engine));
    QVERIFY(engine.database().setFileDeleted(1, "a.txt"_s));
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "a.txt"_s));
    QVERIFY(engine.runNext());
    const pVornSyncTask second = engine.takeTask();
    QVERIFY(second->runtask()); // as it had opened the file, it can read it to the end
    QVERIFY(engine.local().remove("a.txt"_s));
    engine.sync().onTaskDone(second, true);
    QVERIFY(!engine.distant().exists("a.txt"_s));
    QCOMPARE(engine.state("a.txt"_s), "40/0"_s);
}

void TestSynchronizerDispatch::realWorker_runsThemInOrder()
{
    Engine engine;
    QVERIFY(engine.start());
    engine.useWorker();
    QStringList expected;
    for (const QString& name : {"c"_s, "a"_s, "b"_s}) {
        QVERIFY(engine.local().write(name, name.toUtf8()));
        QVERIFY(engine.sync().copyToDistant(1, name));
        expected << "completed ~/local/"_s + name;
    }
    engine.forget();
    QVERIFY(waitFor(
        [&] { return engine.pair().compareTrees().isEmpty() && !engine.sync().isFileInFlight(1, "b"_s); }));
    QCOMPARE(engine.takeEvents(), expected);
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(engine.restProblems(), QString());
}

QTEST_GUILESS_MAIN(TestSynchronizerDispatch)
#include "test_synchronizer_dispatch.moc"

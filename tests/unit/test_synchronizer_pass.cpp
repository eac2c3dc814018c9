#include "disk_hooks.h"
#include "engine_fixture.h"
#include "mounts.h"
#include "wait.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <cerrno>
#include <functional>
#include <memory>
#include <utility>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace VornSyncTest;

namespace {

constexpr int kLaterSecs = 60; // well beyond the tolerance

const QString kSkipScan = QStringLiteral(
    "synchronizeDirectory - Skip local files scan (dirId=1): distant directory not accessible");

[[nodiscard]] bool makeFifo(const QString& path)
{
    return ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0;
}

[[nodiscard]] bool makeSocket(const QString& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof(address.sun_path));
    const int handle = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const bool ok = ::bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(handle);
    return ok;
}

// Ways in which the distant side can be away.
enum class Away { Missing, ThroughFile, Forbidden, FailingHalfWay };

} // namespace

Q_DECLARE_METATYPE(Away)

class TestSynchronizerPass : public QObject
{
    Q_OBJECT

private slots:
    void newFile_isSent();
    void unchangedFile_isLeftAlone();
    void countsOfThePass();
    void changedFile_isSentOnce();
    void timeWithinTolerance_isNoChange();
    void fileWithoutRow_isSentEvenIfTheDistantOneIsLikeIt();
    void symbolicLinkToFile_isSentAsContent();

    void distantMissing_isAnErrorOnTheSecondPassOnly();
    void distantMissing_onePassThatFindsItBackResetsTheCount();
    void distantMissing_countGoesWithTheRowsState_data();
    void distantMissing_countGoesWithTheRowsState();
    void distantMissing_sentMeanwhile_startsAnew();
    void distantMissing_inErrorOrNeverCompleted();

    void distantAway_changesNothing_data();
    void distantAway_changesNothing();
    void distantAway_locallyMissingFileIsStillReported();
    void distantAway_isNoEvidence();

    void locallyMissing_isReportedOnce();
    void locallyMissing_inProgressIsLeftAlone_data();
    void locallyMissing_inProgressIsLeftAlone();
    void localDirectoryMissing_changesNoRow();
    void localDirectoryUnreadable_endsThePass_data();
    void localDirectoryUnreadable_endsThePass();
    void localLookFails_leavesFileAlone();
    void fileVanishedSinceListing_isLeftAlone();
    void rowsUnreadable_nothingIsDecided();

    void tombstonedFileThatIsBack_isResurrected_data();
    void tombstonedFileThatIsBack_isResurrected();
    void tombstonedFileThatStaysAway_isLeftAlone();
    void tombstoneSetDuringThePass_stays();

    void excludedFile_isNeverSentByTheLocalPass();
    void excludedTrackedFile_isStillSentByTheTrackedPass();
    void temporaryFileOfACopy_isNotSent();

    void fileInError_waits();
    void fileInErrorThatChanged_isSent();
    void renamingNames_areSkipped();
    void renameLockedDuringThePass_isCaughtByTheStart();
    void pendingFile_isRefusedByTheStart();

    void unknownRow_isExamined_data();
    void unknownRow_isExamined();
    void undefinedDistantTime_isResolved();
    void undefinedDistantTime_withOtherSizes_isSent();
    void unknownRow_recordedWithoutACopy_reportsIt();

    void hiddenTrackedFile_isNotMissing();
    void hiddenNewFile_isNotSent();
    void specialFileInThePlaceOfATrackedOne_data();
    void specialFileInThePlaceOfATrackedOne();
    void specialNewFile_isIgnored();
    void directoryInThePlaceOfTheDistantCopy_isNotMissing();

    void anyName_isData_data();
    void anyName_isData();
    void invalidNamesInRows_neverBecomePaths();

    void oneListing_servesAllSideCarTests();
    void interruption_stopsThePass();
    void interruption_stopsGathering();

    void startProcessing_setsTheStatus();
    void startProcessing_localMissing();
    void startProcessing_busy_data();
    void startProcessing_busy();
    void startProcessing_renameLocked();
    void startProcessing_lockTakenMeanwhile_data();
    void startProcessing_lockTakenMeanwhile();
    void startProcessing_statusChangedMeanwhile_yields();
    void startProcessing_tombstonedUnderATakenLock_staysSo();
    void startProcessing_noCertainAnswer();
    void startProcessing_specialFile();
};

void TestSynchronizerPass::newFile_isSent()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "content"));
    QVERIFY(engine.local().setLmd("a.txt"_s, longAgo()));

    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "20/0"_s);
    QVERIFY(engine.sync().isFileInFlight(1, "a.txt"_s));
    COMPARE_LINES(engine, passStart(1), passCounts(1, 0, 0, 1),
                  "doTask - Operation: ceStoCopy between source: '~/local/a.txt' and destination: "
                  "'~/distant/a.txt'."_s,
                  passEnd(1));
    COMPARE_EVENTS(engine, "task ceStoCopy ~/local/a.txt -> ~/distant/a.txt"_s, "started ~/local/a.txt"_s);

    QVERIFY(engine.runNext());
    COMPARE_LINES(engine, "onTaskDone - Task on file '~/local/a.txt' done (in-flight=0)."_s);
    COMPARE_EVENTS(engine, "completed ~/local/a.txt"_s);
    const QVariantMap row = engine.row("a.txt"_s);
    QCOMPARE(row.value("status"_s).toInt(), int(ceSfsUpToDate));
    QCOMPARE(row.value("error_code"_s).toInt(), int(ceSecNone));
    QCOMPARE(row.value("size"_s).toLongLong(), 7LL);
    QCOMPARE(row.value("local_lmd"_s).toString(), "2024-03-01T10:00:00Z"_s);
    QCOMPARE(row.value("distant_lmd"_s).toString(), engine.distant().lmd("a.txt"_s).toString(Qt::ISODate));
    QVERIFY(row.value("trashed_date"_s).isNull());
    QVERIFY(row.value("status_changed_at"_s).toString().endsWith(QLatin1Char('Z')));
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("content"));
    QVERIFY(!engine.sync().isFileInFlight(1, "a.txt"_s));
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerPass::unchangedFile_isLeftAlone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    const QVariantMap row = engine.row("a.txt"_s);
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 1, 1), passEnd(1));
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.row("a.txt"_s), row);
}

void TestSynchronizerPass::countsOfThePass()
{
    Engine engine;
    QVERIFY(engine.start());
    for (const QString& name : {"a"_s, "b"_s, "c"_s})
        QVERIFY(engine.send(name, "x"));
    QVERIFY(engine.database().setFileDeleted(1, "c"_s)); // not tracked any more
    QVERIFY(engine.local().remove("c"_s));
    QVERIFY(engine.local().write(".hidden"_s, "x"));
    QVERIFY(engine.local().makeDirectory("sub"_s));
    QVERIFY(engine.distant().write("foreign"_s, "x"));
    QVERIFY(engine.distant().write(".hidden"_s, "x"));
    engine.forget();
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 2, 4, 2), passEnd(1));
    COMPARE_NO_EVENTS(engine);
    QVERIFY(!engine.local().exists("foreign"_s)); // never from distant to local
}

void TestSynchronizerPass::changedFile_isSentOnce()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "old"));
    QVERIFY(engine.local().write("a.txt"_s, "newer"));
    engine.pass();
    // Tracked and local: the second loop finds it in progress.
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 1, 1),
                  "doTask - Operation: ceStoCopy between source: '~/local/a.txt' and destination: "
                  "'~/distant/a.txt'."_s,
                  "synchronizeDirectory - Skip local 'a.txt' (dirId=1): already ceSfsSyncing"_s, passEnd(1));
    QCOMPARE(engine.taskCount(), 1);
    engine.runAll();
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("newer"));
    QCOMPARE(engine.row("a.txt"_s).value("size"_s).toInt(), 5);
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerPass::timeWithinTolerance_isNoChange()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    for (int secs : {3, -3}) {
        QVERIFY(engine.local().setLmd("a.txt"_s, longAgo().addSecs(secs)));
        QCOMPARE(engine.secondPass(), QStringList());
    }
    for (int secs : {4, -4}) {
        QVERIFY(engine.local().setLmd("a.txt"_s, longAgo().addSecs(secs)));
        engine.pass();
        QVERIFY2(engine.runNext(), qPrintable(QString::number(secs)));
        QVERIFY(engine.local().setLmd("a.txt"_s, longAgo()));
        engine.passAndRun();
    }
}

// Kept, odd as it looks.
void TestSynchronizerPass::fileWithoutRow_isSentEvenIfTheDistantOneIsLikeIt()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "same"));
    QVERIFY(engine.distant().write("a.txt"_s, "same"));
    engine.pass();
    QCOMPARE(engine.taskCount(), 1);
}

void TestSynchronizerPass::symbolicLinkToFile_isSentAsContent()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(QFile::link(engine.distant().filePath("../elsewhere"_s), engine.local().filePath("link"_s)));
    QFile target(engine.pair().rootPath() + "/elsewhere"_s);
    QVERIFY(target.open(QIODevice::WriteOnly) && target.write("linked") == 6);
    target.close();
    engine.passAndRun();
    QCOMPARE(engine.distant().read("link"_s), QByteArray("linked"));
    QVERIFY(!QFileInfo(engine.distant().filePath("link"_s)).isSymLink());
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerPass::distantMissing_isAnErrorOnTheSecondPassOnly()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.distant().remove("a.txt"_s));

    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    COMPARE_LINES(
        engine, passStart(1), passCounts(1, 1, 0, 1),
        "synchronizeDirectory - Skip local 'a.txt' (dirId=1): distant-missing observation in progress"_s,
        passEnd(1));
    COMPARE_NO_EVENTS(engine);

    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "145/15"_s);
    COMPARE_LINES(
        engine, passStart(1), passCounts(1, 1, 0, 1),
        "synchronizeDirectory - Distant file missing for tracked 'a.txt' (dirId=1) after 2 consecutive "
        "cycles -> Error/DistantFileMissing"_s,
        "synchronizeDirectory - Skip local 'a.txt' (dirId=1): file in error, waiting for user action"_s,
        passEnd(1));
    COMPARE_EVENTS(engine, "errorStateChanged"_s);

    engine.pass();
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.state("a.txt"_s), "145/15"_s);
    QCOMPARE(engine.taskCount(), 0);
    QVERIFY(engine.local().exists("a.txt"_s));
}

void TestSynchronizerPass::distantMissing_onePassThatFindsItBackResetsTheCount()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    for (int round = 0; round < 3; ++round) {
        QVERIFY(engine.distant().remove("a.txt"_s));
        engine.pass();
        QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
        QVERIFY(engine.distant().write("a.txt"_s, "x"));
        engine.pass();
        QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    }
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerPass::distantMissing_countGoesWithTheRowsState_data()
{
    QTest::addColumn<int>("meanwhile");
    QTest::newRow("tombstoned") << int(ceSfsDeleted);
    QTest::newRow("trashed") << int(ceSfsTrashed);
    QTest::newRow("in error") << int(ceSfsUpToDate | ceSfsError);
    QTest::newRow("unknown") << int(ceSfsUnknown);
    QTest::newRow("no row") << -1;
}

// The row leaves its state and returns to it with a pass between: what was seen before is void.
void TestSynchronizerPass::distantMissing_countGoesWithTheRowsState()
{
    QFETCH(int, meanwhile);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.distant().remove("a.txt"_s));
    engine.pass();

    QVERIFY(engine.raw().exec("CREATE TABLE kept AS SELECT * FROM file_tracking"_s));
    if (meanwhile < 0)
        QVERIFY(engine.raw().exec("DELETE FROM file_tracking"_s));
    else
        QVERIFY(engine.raw().exec("UPDATE file_tracking SET status = ?"_s, {meanwhile}));
    const bool isRemoved = QFile::rename(engine.local().filePath("a.txt"_s), engine.local().filePath(".a"_s));
    QVERIFY(isRemoved);
    engine.pass();
    QVERIFY(QFile::rename(engine.local().filePath(".a"_s), engine.local().filePath("a.txt"_s)));
    QVERIFY(engine.raw().execAll(
        {"DELETE FROM file_tracking"_s, "INSERT INTO file_tracking SELECT * FROM kept"_s}));
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "145/15"_s);
}

void TestSynchronizerPass::distantMissing_sentMeanwhile_startsAnew()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.distant().remove("a.txt"_s));
    engine.pass();
    QVERIFY(engine.sync().notifyLocalFileChanged(1, "a.txt"_s));
    QVERIFY(engine.runNext());
    QVERIFY(engine.distant().remove("a.txt"_s));
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "145/15"_s);
}

void TestSynchronizerPass::distantMissing_inErrorOrNeverCompleted()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("error.txt"_s, "x"));
    QVERIFY(engine.local().write("unknown.txt"_s, "x"));
    RowSpec spec;
    spec.status = ceSfsUpToDate | ceSfsError;
    spec.errorCode = ceSecCopyFailed;
    QVERIFY(engine.putRow("error.txt"_s, spec));
    spec.status = ceSfsUnknown;
    spec.errorCode = ceSecNone;
    spec.size = 1;
    QVERIFY(engine.putRow("unknown.txt"_s, spec));
    engine.pass();
    QCOMPARE(engine.state("error.txt"_s), "145/6"_s);
    COMPARE_EVENTS(engine, "task ceStoCopy ~/local/unknown.txt -> ~/distant/unknown.txt"_s,
                   "started ~/local/unknown.txt"_s);
}

void TestSynchronizerPass::distantAway_changesNothing_data()
{
    QTest::addColumn<Away>("away");
    QTest::newRow("directory missing") << Away::Missing;
    QTest::newRow("a file in the way") << Away::ThroughFile;
    QTest::newRow("no permission") << Away::Forbidden;
    QTest::newRow("listing fails half-way") << Away::FailingHalfWay;
}

void TestSynchronizerPass::distantAway_changesNothing()
{
    QFETCH(Away, away);
    Engine engine;
    QVERIFY(engine.start());
    for (const QString& name : {"a.txt"_s, "b.txt"_s, "c.txt"_s})
        QVERIFY(engine.send(name, "x"));
    QVERIFY(engine.local().write("b.txt"_s, "changed"));
    QVERIFY(engine.local().write("new.txt"_s, "new"));
    const auto rowsBefore = engine.raw().rows("SELECT * FROM file_tracking"_s);

    const QString distantPath = engine.pair().distantPath();
    const QString asidePath = distantPath + "-aside"_s;
    std::unique_ptr<FailingListing> hook;
    std::unique_ptr<UnprivilegedScope> scope;
    switch (away) {
    case Away::Missing:
        QVERIFY(QDir().rename(distantPath, asidePath));
        break;
    case Away::ThroughFile:
        QVERIFY(QDir().rename(distantPath, asidePath));
        QVERIFY(QFile(distantPath).open(QIODevice::WriteOnly));
        break;
    case Away::Forbidden:
        QVERIFY(::chmod(QFile::encodeName(engine.pair().rootPath()).constData(), 0711) == 0);
        QVERIFY(::chmod(QFile::encodeName(distantPath).constData(), 0) == 0);
        scope = std::make_unique<UnprivilegedScope>();
        if (!scope->isActive())
            QSKIP("permissions are not checked for this user");
        break;
    case Away::FailingHalfWay:
        hook = std::make_unique<FailingListing>(distantPath, 3, EIO);
        break;
    }
    for (int i = 0; i < 3; ++i) {
        engine.forget();
        engine.pass();
        COMPARE_LINES(engine, passStart(1), passCounts(1, 3, 0, 4, false), kSkipScan, passEnd(1));
        COMPARE_NO_EVENTS(engine);
    }
    scope.reset();
    hook.reset();
    QCOMPARE(engine.raw().rows("SELECT * FROM file_tracking"_s), rowsBefore);

    if (away == Away::ThroughFile)
        QVERIFY(QFile::remove(distantPath));
    if (away == Away::ThroughFile || away == Away::Missing)
        QVERIFY(QDir().rename(asidePath, distantPath));
    if (away == Away::Forbidden)
        QVERIFY(::chmod(QFile::encodeName(distantPath).constData(), 0700) == 0);
    engine.passAndRun();
    QCOMPARE(engine.pair().compareTrees(), QString());
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerPass::distantAway_locallyMissingFileIsStillReported()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().remove("a.txt"_s));
    QVERIFY(engine.distant().remove(QString()));
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "145/2"_s);
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 0, 0, false),
                  "synchronizeDirectory - Local file missing for tracked 'a.txt' (dirId=1) -> Error"_s,
                  kSkipScan, passEnd(1));
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
}

void TestSynchronizerPass::distantAway_isNoEvidence()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.distant().remove("a.txt"_s));
    engine.pass(); // observed once
    const QString path = engine.pair().distantPath();
    QVERIFY(QDir().rename(path, path + "-aside"_s));
    engine.pass(); // forgets it
    QVERIFY(QDir().rename(path + "-aside"_s, path));
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "145/15"_s);
}

void TestSynchronizerPass::locallyMissing_isReportedOnce()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().remove("a.txt"_s));
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "145/2"_s);
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 1, 0),
                  "synchronizeDirectory - Local file missing for tracked 'a.txt' (dirId=1) -> Error"_s,
                  passEnd(1));
    COMPARE_EVENTS(engine, "errorStateChanged"_s);

    for (int i = 0; i < 2; ++i) {
        engine.pass();
        COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 1, 0), passEnd(1));
        COMPARE_NO_EVENTS(engine);
    }
    QVERIFY(engine.distant().exists("a.txt"_s));
}

void TestSynchronizerPass::locallyMissing_inProgressIsLeftAlone_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("name");
    QTest::newRow("syncing") << int(ceSfsSyncing) << "ceSfsSyncing"_s;
    QTest::newRow("deleting") << int(ceSfsDeleting) << "ceSfsDeleting"_s;
    QTest::newRow("restoring") << int(ceSfsRestoring) << "ceSfsRestoring"_s;
}

void TestSynchronizerPass::locallyMissing_inProgressIsLeftAlone()
{
    QFETCH(int, status);
    QFETCH(QString, name);
    Engine engine;
    QVERIFY(engine.start());
    RowSpec spec;
    spec.status = status;
    QVERIFY(engine.putRow("a.txt"_s, spec));
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 0, 0),
                  "synchronizeDirectory - Skip tracked 'a.txt' (dirId=1): already "_s + name, passEnd(1));
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.status("a.txt"_s), status);
}

// An unmounted local disk is no wish to delete everything.
void TestSynchronizerPass::localDirectoryMissing_changesNoRow()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    const QVariantMap row = engine.row("a.txt"_s);
    const QString path = engine.pair().localPath();
    QVERIFY(QDir().rename(path, path + "-aside"_s));
    engine.pass();
    QCOMPARE(engine.row("a.txt"_s), row);
    COMPARE_NO_EVENTS(engine);
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 1, 0),
                  "synchronizeDirectory - Skip tracked 'a.txt' (dirId=1): no certain answer from the disk"_s,
                  passEnd(1));
    QVERIFY(QDir().rename(path + "-aside"_s, path));
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerPass::localDirectoryUnreadable_endsThePass_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("text");
    QTest::newRow("I/O error half-way") << EIO << "Input/output error"_s;
    QTest::newRow("no permission") << EACCES << "Permission denied"_s;
    QTest::newRow("gone half-way") << ENOENT << "No such file or directory"_s;
    QTest::newRow("a file in the way") << ENOTDIR << "Not a directory"_s;
}

void TestSynchronizerPass::localDirectoryUnreadable_endsThePass()
{
    QFETCH(int, error);
    QFETCH(QString, text);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.send("b.txt"_s, "x"));
    QVERIFY(engine.local().remove("a.txt"_s));
    const auto rowsBefore = engine.raw().rows("SELECT * FROM file_tracking"_s);
    const QString path = engine.pair().localPath();
    std::unique_ptr<FailingListing> hook;
    if (error == ENOTDIR) {
        QVERIFY(QDir().rename(path, path + "-aside"_s));
        QVERIFY(QFile(path).open(QIODevice::WriteOnly));
    } else {
        hook = std::make_unique<FailingListing>(path, 3, error);
    }
    engine.pass();
    const QString message = "ERROR: Local directory can't be listed: '~/local'. Error: "_s + text;
    COMPARE_LINES(engine, passStart(1), "emitError - "_s + message, passEnd(1));
    COMPARE_EVENTS(engine, "error "_s + message);
    QCOMPARE(engine.raw().rows("SELECT * FROM file_tracking"_s), rowsBefore);
}

void TestSynchronizerPass::localLookFails_leavesFileAlone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    const QVariantMap row = engine.row("a.txt"_s);
    {
        StatHook hook(engine.local().filePath("a.txt"_s), [] { return EIO; });
        engine.pass();
    }
    QCOMPARE(engine.row("a.txt"_s), row);
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 1, 1),
                  "synchronizeDirectory - Skip tracked 'a.txt' (dirId=1): no certain answer from the disk"_s,
                  "synchronizeDirectory - Skip local 'a.txt' (dirId=1): no certain answer from the disk"_s,
                  passEnd(1));
}

void TestSynchronizerPass::fileVanishedSinceListing_isLeftAlone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    const QVariantMap row = engine.row("a.txt"_s);
    {
        StatHook hook(engine.local().filePath("a.txt"_s), [&engine] {
            engine.local().remove("a.txt"_s);
            return 0;
        });
        engine.pass();
    }
    QVERIFY(!engine.local().exists("a.txt"_s));
    QCOMPARE(engine.row("a.txt"_s), row);
    engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "145/2"_s);
}

void TestSynchronizerPass::rowsUnreadable_nothingIsDecided()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().write("new.txt"_s, "x"));
    QVERIFY(engine.raw().exec("ALTER TABLE file_tracking RENAME TO hidden_away"_s));
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passEnd(1));
    const QStringList events = engine.takeEvents();
    QVERIFY(events.filter(QRegularExpression("^(?!database )"_s)).isEmpty());
    QCOMPARE(engine.taskCount(), 0);
    QVERIFY(engine.raw().exec("ALTER TABLE hidden_away RENAME TO file_tracking"_s));
    engine.passAndRun();
    QCOMPARE(engine.pair().compareTrees(), QString());
}

void TestSynchronizerPass::tombstonedFileThatIsBack_isResurrected_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("statusName");
    QTest::addColumn<bool>("hasTrashCopy");
    QTest::newRow("trashed") << int(ceSfsTrashed) << "ceSfsTrashed"_s << true;
    QTest::newRow("trashed, without a copy") << int(ceSfsTrashed) << "ceSfsTrashed"_s << false;
    QTest::newRow("deleted") << int(ceSfsDeleted) << "ceSfsDeleted"_s << false;
}

// It comes back exactly as it was: still it counts as changed.
void TestSynchronizerPass::tombstonedFileThatIsBack_isResurrected()
{
    QFETCH(int, status);
    QFETCH(QString, statusName);
    QFETCH(bool, hasTrashCopy);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "content"));
    QVERIFY(engine.database().setFileTrashOrDeleted(1, "a.txt"_s, status));
    QVERIFY(engine.distant().remove("a.txt"_s));
    if (hasTrashCopy)
        QVERIFY(engine.trash().write("a.txt"_s, "stale"));
    engine.forget();

    engine.pass();
    QStringList expected{passStart(1), passCounts(1, 0, 0, 1),
                         "synchronizeDirectory - Resurrecting tombstoned 'a.txt' (dirId=1): row was "_s +
                             statusName};
    if (hasTrashCopy)
        expected << "removeFromLocalTrashIfExists - Dropped stale trash copy '~/trash/a.txt' (dirId=1)"_s;
    expected << "doTask - Operation: ceStoCopy between source: '~/local/a.txt' and destination: "
                "'~/distant/a.txt'."_s
             << passEnd(1);
    if (traceLinesBuiltIn())
        QCOMPARE(engine.takeLines(), expected);
    QVERIFY(!engine.trash().exists("a.txt"_s));
    engine.runAll();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QVERIFY(engine.row("a.txt"_s).value("trashed_date"_s).isNull());
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("content"));
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerPass::tombstonedFileThatStaysAway_isLeftAlone()
{
    Engine engine;
    QVERIFY(engine.start());
    RowSpec spec;
    for (int status : {ceSfsTrashed, ceSfsDeleted}) {
        spec.status = status;
        QVERIFY(engine.putRow(QString::number(status), spec));
        QVERIFY(engine.distant().write(QString::number(status), "x"));
    }
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 0, 2, 0), passEnd(1));
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.distant().names().size(), 2);
}

// The host's word during a pass: the decision of the pass was made on a row that is no more.
void TestSynchronizerPass::tombstoneSetDuringThePass_stays()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.send("b.txt"_s, "x"));
    QVERIFY(engine.local().remove("a.txt"_s));
    QVERIFY(engine.local().remove("b.txt"_s));
    bool isFirst = true;
    QString tombstoned;
    connect(&engine.sync(), &VornSyncSynchronizer::errorStateChanged, this, [&] {
        if (!isFirst)
            return;
        isFirst = false;
        tombstoned = engine.status("a.txt"_s) == ceSfsUpToDate ? "a.txt"_s : "b.txt"_s;
        QVERIFY(engine.database().setFileDeleted(1, tombstoned));
    });
    engine.pass();
    QVERIFY(!isFirst);
    QCOMPARE(engine.state(tombstoned), "40/0"_s);
    if (traceLinesBuiltIn())
        QVERIFY(engine.takeLines().contains(
            "synchronizeDirectory - Skip tracked '%1' (dirId=1): tombstoned (ceSfsDeleted)"_s.arg(
                tombstoned)));
}

void TestSynchronizerPass::excludedFile_isNeverSentByTheLocalPass()
{
    Engine engine({"*.tmp"_s});
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.TMP"_s, "x"));
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 0, 0, 1), passEnd(1));
    COMPARE_NO_EVENTS(engine);
    QVERIFY(!engine.hasRow("a.TMP"_s));
}

void TestSynchronizerPass::excludedTrackedFile_isStillSentByTheTrackedPass()
{
    Engine engine({"*.tmp"_s});
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.tmp"_s, "x"));
    QVERIFY(engine.distant().write("a.tmp"_s, "other"));
    RowSpec spec;
    spec.size = 5;
    QVERIFY(engine.putRow("a.tmp"_s, spec));
    engine.pass();
    QCOMPARE(engine.taskCount(), 1);
    QVERIFY(engine.runNext());
    QCOMPARE(engine.distant().read("a.tmp"_s), QByteArray("x"));
}

void TestSynchronizerPass::temporaryFileOfACopy_isNotSent()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("qt_temp.ABCDEF"_s, "x"));
    QVERIFY(engine.local().write("qt_temp.ABCDEFG"_s, "x"));
    QVERIFY(engine.local().write("qt_temp.ABCD"_s, "x"));
    engine.passAndRun();
    QVERIFY(!engine.distant().exists("qt_temp.ABCDEF"_s));
    QVERIFY(!engine.hasRow("qt_temp.ABCDEF"_s));
    QVERIFY(engine.distant().exists("qt_temp.ABCDEFG"_s));
    QVERIFY(engine.distant().exists("qt_temp.ABCD"_s));
    engine.forget();
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 2, 2, 3), passEnd(1));
    QVERIFY(!engine.sync().notifyLocalFileChanged(1, "qt_temp.ABCDEF"_s));
    COMPARE_LINES(engine, "notifyLocalFileChanged - Immediate copyToDistant for 'qt_temp.ABCDEF' (dirId=1)"_s,
                  "copyToDistant - 'qt_temp.ABCDEF' (dirId=1) is a temporary file of a copy; not sent"_s);
    QVERIFY(!engine.hasRow("qt_temp.ABCDEF"_s));
}

void TestSynchronizerPass::fileInError_waits()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.database().setFileStatus(1, "a.txt"_s, ceSfsError, ceSecCopyFailed));
    engine.forget();
    engine.pass();
    COMPARE_LINES(
        engine, passStart(1), passCounts(1, 1, 1, 1),
        "synchronizeDirectory - Skip local 'a.txt' (dirId=1): file in error, waiting for user action"_s,
        passEnd(1));
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerPass::fileInErrorThatChanged_isSent()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.database().setFileStatus(1, "a.txt"_s, ceSfsError, ceSecCopyFailed));
    QVERIFY(engine.local().write("a.txt"_s, "changed"));
    engine.passAndRun();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("changed"));
}

void TestSynchronizerPass::renamingNames_areSkipped()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("old"_s, "x"));
    QVERIFY(engine.sync().lockRename(1, "old"_s, "new"_s));
    QVERIFY(engine.local().rename("old"_s, "new"_s));
    engine.forget();
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 1, 1),
                  "synchronizeDirectory - Skip tracked 'old' (dirId=1): rename in progress"_s,
                  "synchronizeDirectory - Skip local 'new' (dirId=1): rename in progress"_s, passEnd(1));
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.state("old"_s), "17/0"_s);
    QVERIFY(!engine.hasRow("new"_s));
}

void TestSynchronizerPass::renameLockedDuringThePass_isCaughtByTheStart()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().write("a.txt"_s, "changed"));
    {
        StatHook hook(engine.local().filePath("a.txt"_s), [&engine] {
            if (!engine.sync().isRenameLocked(1, "a.txt"_s))
                [&engine] { QVERIFY(engine.sync().lockRename(1, "a.txt"_s, "b.txt"_s)); }();
            return 0;
        });
        engine.pass();
    }
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 1, 1),
                  "lockRename - Locked 'a.txt' -> 'b.txt' (dirId=1)"_s,
                  "startProcessing - Skip 'a.txt' (dirId=1): rename in progress"_s,
                  "startProcessing - Skip 'a.txt' (dirId=1): rename in progress"_s, passEnd(1));
    QCOMPARE(engine.taskCount(), 0);
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
}

void TestSynchronizerPass::pendingFile_isRefusedByTheStart()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    RowSpec spec;
    spec.status = ceSfsPendingSync;
    QVERIFY(engine.putRow("a.txt"_s, spec));
    engine.pass();
    const QString refused = "startProcessing - file: 'a.txt' in directory 1 is already being processed "
                            "(status =ceSfsPendingSync)"_s;
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 0, 1), refused, refused, passEnd(1));
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerPass::unknownRow_isExamined_data()
{
    QTest::addColumn<int>("distantSecs");
    QTest::addColumn<QByteArray>("distantContent");
    QTest::addColumn<bool>("isSent");
    QTest::newRow("as recorded") << 0 << QByteArray("same") << false;
    QTest::newRow("within the tolerance") << 3 << QByteArray("same") << false;
    QTest::newRow("later distant time") << kLaterSecs << QByteArray("same") << true;
    QTest::newRow("other distant size") << 0 << QByteArray("grown") << true;
}

void TestSynchronizerPass::unknownRow_isExamined()
{
    QFETCH(int, distantSecs);
    QFETCH(QByteArray, distantContent);
    QFETCH(bool, isSent);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "same"));
    const QDateTime distantLmd = engine.distant().lmd("a.txt"_s);
    QVERIFY(engine.distant().write("a.txt"_s, distantContent));
    QVERIFY(engine.distant().setLmd("a.txt"_s, distantLmd.addSecs(distantSecs)));
    QVERIFY(engine.database().setFileStatus(1, "a.txt"_s, ceSfsUnknown, ceSecNone));
    engine.forget();
    engine.pass();
    QCOMPARE(engine.taskCount(), isSent ? 1 : 0);
    engine.runAll();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("same"));
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerPass::undefinedDistantTime_isResolved()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "same"));
    QVERIFY(engine.raw().exec("UPDATE file_tracking SET distant_lmd = 'UNDEFINED'"_s));
    engine.pass();
    QCOMPARE(engine.taskCount(), 0);
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(engine.row("a.txt"_s).value("distant_lmd"_s).toString(),
             engine.distant().lmd("a.txt"_s).toString(Qt::ISODate));
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerPass::undefinedDistantTime_withOtherSizes_isSent()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "same"));
    QVERIFY(engine.distant().write("a.txt"_s, "other"));
    QVERIFY(engine.raw().exec("UPDATE file_tracking SET distant_lmd = 'UNDEFINED'"_s));
    engine.pass();
    QVERIFY(engine.runNext());
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("same"));
    QCOMPARE(engine.row("a.txt"_s).value("distant_lmd"_s).toString(),
             engine.distant().lmd("a.txt"_s).toString(Qt::ISODate));
}

void TestSynchronizerPass::unknownRow_recordedWithoutACopy_reportsIt()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "same"));
    QVERIFY(engine.database().setFileStatus(1, "a.txt"_s, ceSfsUnknown, ceSecNone));
    engine.forget();
    engine.pass();
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 1, 1), passEnd(1));
    QCOMPARE(engine.row("a.txt"_s).value("size"_s).toInt(), 4);
    QCOMPARE(engine.row("a.txt"_s).value("local_lmd"_s).toString(), "2024-03-01T10:00:00Z"_s);
}

void TestSynchronizerPass::hiddenTrackedFile_isNotMissing()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send(".hidden"_s, "x"));
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 0, 0), passEnd(1));
    COMPARE_NO_EVENTS(engine);
    QVERIFY(engine.local().write(".hidden"_s, "changed"));
    engine.passAndRun();
    QCOMPARE(engine.distant().read(".hidden"_s), QByteArray("changed"));
    QVERIFY(engine.local().remove(".hidden"_s));
    engine.pass();
    QCOMPARE(engine.state(".hidden"_s), "145/2"_s);
}

void TestSynchronizerPass::hiddenNewFile_isNotSent()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write(".hidden"_s, "x"));
    engine.pass();
    COMPARE_NO_EVENTS(engine);
    QVERIFY(!engine.hasRow(".hidden"_s));
}

void TestSynchronizerPass::specialFileInThePlaceOfATrackedOne_data()
{
    QTest::addColumn<QString>("kind");
    for (const char* kind : {"fifo", "socket", "directory", "dangling link", "link to a directory"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

void TestSynchronizerPass::specialFileInThePlaceOfATrackedOne()
{
    QFETCH(QString, kind);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    const QVariantMap row = engine.row("a.txt"_s);
    QVERIFY(engine.local().remove("a.txt"_s));
    const QString path = engine.local().filePath("a.txt"_s);
    if (kind == "fifo"_s)
        QVERIFY(makeFifo(path));
    else if (kind == "socket"_s)
        QVERIFY(makeSocket(path));
    else if (kind == "directory"_s)
        QVERIFY(QDir().mkpath(path));
    else if (kind == "dangling link"_s)
        QVERIFY(QFile::link("/nowhere/at/all"_s, path));
    else
        QVERIFY(QFile::link(engine.pair().rootPath(), path));

    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 1, 0),
                  "synchronizeDirectory - Skip tracked 'a.txt' (dirId=1): no certain answer from the disk"_s,
                  passEnd(1));
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.row("a.txt"_s), row);

    QVERIFY(!engine.sync().notifyLocalFileChanged(1, "a.txt"_s));
    COMPARE_EVENTS(engine,
                   "error ERROR: Impossible to process synchronization, not a plain file: 'a.txt'."_s);
    QCOMPARE(engine.row("a.txt"_s), row);
    QCOMPARE(engine.distant().read("a.txt"_s), QByteArray("x"));
}

void TestSynchronizerPass::specialNewFile_isIgnored()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(makeFifo(engine.local().filePath("fifo"_s)));
    QVERIFY(QFile::link("/nowhere"_s, engine.local().filePath("dangling"_s)));
    QVERIFY(engine.local().makeDirectory("sub"_s));
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 0, 0, 0), passEnd(1));
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerPass::directoryInThePlaceOfTheDistantCopy_isNotMissing()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.distant().remove("a.txt"_s));
    QVERIFY(engine.distant().makeDirectory("a.txt"_s));
    for (int i = 0; i < 3; ++i)
        engine.pass();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerPass::anyName_isData_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("percent one") << "%1"_s;
    QTest::newRow("percent, more") << "%1 %2 %3 %L1 %n.txt"_s;
    QTest::newRow("quotes") << "a'b\"c"_s;
    QTest::newRow("SQL") << "x'; DROP TABLE file_tracking; --"_s;
    QTest::newRow("newline") << "a\nb"_s;
    QTest::newRow("leading dash") << "-rf"_s;
    QTest::newRow("accents") << "Ünïcødé.txt"_s;
    QTest::newRow("outside the plane") << "😀.txt"_s;
    QTest::newRow("wildcards") << "[a]*?.txt"_s;
    QTest::newRow("backslash") << "a\\b"_s;
    QTest::newRow("255 bytes") << QString(255, QLatin1Char('n'));
    QTest::newRow("255 bytes of accents") << "x"_s + QString(127, QChar(0xe9));
}

void TestSynchronizerPass::anyName_isData()
{
    QFETCH(QString, name);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write(name, "first"));
    engine.pass();
    COMPARE_EVENTS(engine, "task ceStoCopy ~/local/"_s + name + " -> ~/distant/"_s + name,
                   "started ~/local/"_s + name);
    QVERIFY(engine.runNext());
    COMPARE_LINES(engine, passStart(1), passCounts(1, 0, 0, 1),
                  "doTask - Operation: ceStoCopy between source: '~/local/"_s + name +
                      "' and destination: '~/distant/"_s + name + "'."_s,
                  passEnd(1), "onTaskDone - Task on file '~/local/"_s + name + "' done (in-flight=0)."_s);
    QCOMPARE(engine.row(name).value("file_name"_s).toString(), name);
    QCOMPARE(engine.state(name), "17/0"_s);

    QVERIFY(engine.local().write(name, "the second"));
    engine.passAndRun();
    QCOMPARE(engine.distant().read(name), QByteArray("the second"));
    QVERIFY(engine.distant().remove(name));
    engine.forget();
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 0, 1),
                  "synchronizeDirectory - Skip local '"_s + name +
                      "' (dirId=1): distant-missing observation in progress"_s,
                  passEnd(1));
    QVERIFY(engine.local().remove(name));
    engine.pass();
    COMPARE_LINES(engine, passStart(1), passCounts(1, 1, 0, 0),
                  "synchronizeDirectory - Local file missing for tracked '"_s + name +
                      "' (dirId=1) -> Error"_s,
                  passEnd(1));
    QCOMPARE(engine.state(name), "145/2"_s);
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerPass::invalidNamesInRows_neverBecomePaths()
{
    Engine engine({"*-wal"_s});
    QVERIFY(engine.start());
    QFile victim(engine.pair().rootPath() + "/victim"_s);
    QVERIFY(victim.open(QIODevice::WriteOnly));
    victim.close();
    RowSpec spec;
    QStringList names{"../victim"_s, ".."_s, "."_s, "sub/a.txt"_s, "/etc/hostname"_s, ""_s};
    QVERIFY(engine.local().write("sub/a.txt"_s, "x"));
    for (int status : {int(ceSfsUpToDate), int(ceSfsUnknown), int(ceSfsPendingSync),
                       ceSfsPendingSync | ceSfsError, int(ceSfsTrashed)}) {
        for (const QString& name : names) {
            spec.status = status;
            spec.trashedDate = "2020-01-01T00:00:00Z"_s;
            QVERIFY(engine.putRow(name, spec));
        }
        const auto rows = engine.raw().rows("SELECT * FROM file_tracking"_s);
        engine.pass();
        engine.sync().resolveFilesError(1);
        engine.sync().verifyUpToDateFilesBudgeted();
        engine.sync().purgeExpiredTrash();
        COMPARE_NO_EVENTS(engine);
        QCOMPARE(engine.raw().rows("SELECT * FROM file_tracking"_s), rows);
    }
    QVERIFY(victim.exists());
    QVERIFY(engine.local().exists("sub/a.txt"_s));
    QCOMPARE(engine.distant().allFiles(), QStringList());
}

void TestSynchronizerPass::oneListing_servesAllSideCarTests()
{
    Engine engine({"*-wal"_s});
    QVERIFY(engine.start());
    for (int i = 0; i < 50; ++i)
        QVERIFY(engine.local().write(QString::number(i), "x"));
    const ListingCounter counter(engine.pair().localPath());
    engine.pass();
    QCOMPARE(engine.taskCount(), 50);
    QCOMPARE(counter.count(), 1);
}

void TestSynchronizerPass::interruption_stopsThePass()
{
    Engine engine;
    QVERIFY(engine.start());
    for (int i = 0; i < 5; ++i)
        QVERIFY(engine.local().write(QString::number(i), "x"));
    int started = 0;
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        VornSyncSynchronizer sync(engine.trash().path(), Engine::kIntervalMs, QStringList());
        sync.initialize(&engine.database());
        QObject::connect(&sync, &VornSyncSynchronizer::syncStarted, &sync, [&started] {
            if (++started == 2)
                QThread::currentThread()->requestInterruption();
        });
        sync.synchronizeDirectory(1);
    }));
    thread->start();
    QVERIFY(thread->wait(kWaitMs));
    QCOMPARE(started, 2);
    if (traceLinesBuiltIn())
        QVERIFY(engine.takeLines().contains(passEnd(1)));
}

void TestSynchronizerPass::interruption_stopsGathering()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("gone"_s, "x"));
    QVERIFY(engine.local().remove("gone"_s));
    QVERIFY(engine.local().write("new"_s, "x"));
    QStringList errors;
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        VornSyncSynchronizer sync(engine.trash().path(), Engine::kIntervalMs, QStringList());
        sync.initialize(&engine.database());
        QObject::connect(&sync, &VornSyncSynchronizer::errorOccurred, &sync,
                         [&errors](const QString& message) { errors << message; });
        engine.forget();
        QThread::currentThread()->requestInterruption();
        sync.synchronizeDirectory(1);
        sync.resolveFilesError(1);
    }));
    thread->start();
    QVERIFY(thread->wait(kWaitMs));
    QCOMPARE(errors, QStringList());
    QCOMPARE(engine.state("gone"_s), "17/0"_s);
    QVERIFY(!engine.hasRow("new"_s));
    // Nothing was counted either: a listing that is cut short counts nothing.
    COMPARE_LINES_OF("synchronizeDirectory"_s, engine, passStart(1).mid(23), passEnd(1).mid(23));
}

void TestSynchronizerPass::startProcessing_setsTheStatus()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.raw().exec("UPDATE file_tracking SET status_changed_at = NULL"_s));
    bool localPresent = false;
    QVERIFY(engine.sync().startProcessing(1, "a.txt"_s, ceSfsPendingDelete, localPresent));
    QVERIFY(localPresent);
    QCOMPARE(engine.state("a.txt"_s), "34/0"_s);
    QVERIFY(!engine.row("a.txt"_s).value("status_changed_at"_s).toString().isEmpty());

    QVERIFY(engine.database().setFileStatus(1, "a.txt"_s, ceSfsUpToDate, 0));
    QVERIFY(engine.database().setFileStatus(1, "a.txt"_s, ceSfsError, ceSecCopyFailed));
    QVERIFY(engine.sync().startProcessing(1, "a.txt"_s, ceSfsPendingSync, localPresent));
    QCOMPARE(engine.state("a.txt"_s), "18/0"_s);

    QVERIFY(engine.local().write("new.txt"_s, "x"));
    QVERIFY(engine.sync().startProcessing(1, "new.txt"_s, ceSfsPendingSync, localPresent));
    QCOMPARE(engine.state("new.txt"_s), "18/0"_s);
    COMPARE_NO_EVENTS(engine);
    COMPARE_NO_LINES(engine);
}

void TestSynchronizerPass::startProcessing_localMissing()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().remove("a.txt"_s));
    bool localPresent = true;
    QVERIFY(!engine.sync().startProcessing(1, "a.txt"_s, ceSfsPendingSync, localPresent));
    QVERIFY(!localPresent);
    QCOMPARE(engine.state("a.txt"_s), "145/2"_s);
    const QString message =
        "ERROR: Impossible to process synchronization, local file does not exist: 'a.txt'."_s;
    COMPARE_LINES(engine, "emitError - "_s + message);
    COMPARE_EVENTS(engine, "error "_s + message, "errorStateChanged"_s);
}

void TestSynchronizerPass::startProcessing_busy_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("name");
    QTest::newRow("18") << 18 << "ceSfsPendingSync"_s;
    QTest::newRow("20") << 20 << "ceSfsSyncing"_s;
    QTest::newRow("34") << 34 << "ceSfsPendingDelete"_s;
    QTest::newRow("36") << 36 << "ceSfsDeleting"_s;
    QTest::newRow("66") << 66 << "ceSfsPendingRestore"_s;
    QTest::newRow("68") << 68 << "ceSfsRestoring"_s;
    QTest::newRow("148, which has no name") << 148 << QString();
}

void TestSynchronizerPass::startProcessing_busy()
{
    QFETCH(int, status);
    QFETCH(QString, name);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    RowSpec spec;
    spec.status = status;
    QVERIFY(engine.putRow("a.txt"_s, spec));
    bool localPresent = false;
    QVERIFY(!engine.sync().startProcessing(1, "a.txt"_s, ceSfsPendingSync, localPresent));
    QVERIFY(localPresent);
    COMPARE_LINES(engine, "startProcessing - file: 'a.txt' in directory 1 is already being processed "
                          "(status =%1)"_s.arg(name));
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.status("a.txt"_s), status);
}

void TestSynchronizerPass::startProcessing_renameLocked()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.sync().lockRename(1, "a.txt"_s, "b.txt"_s));
    engine.forget();
    for (const QString& name : {"a.txt"_s, "b.txt"_s}) {
        bool localPresent = false;
        QVERIFY(!engine.sync().startProcessing(1, name, ceSfsPendingSync, localPresent));
        QVERIFY(localPresent);
        COMPARE_LINES(engine, "startProcessing - Skip '%1' (dirId=1): rename in progress"_s.arg(name));
    }
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerPass::startProcessing_lockTakenMeanwhile_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("errorCode");
    QTest::newRow("no row") << -1 << 0;
    QTest::newRow("up to date") << int(ceSfsUpToDate) << 0;
    QTest::newRow("unknown") << int(ceSfsUnknown) << 0;
    QTest::newRow("trashed") << int(ceSfsTrashed) << 0;
    QTest::newRow("deleted") << int(ceSfsDeleted) << 0;
    QTest::newRow("in error") << int(ceSfsUpToDate | ceSfsError) << int(ceSecCopyFailed);
}

// The host's thread locks the name after the first look: the start yields, and the row is as it was.
void TestSynchronizerPass::startProcessing_lockTakenMeanwhile()
{
    QFETCH(int, status);
    QFETCH(int, errorCode);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    RowSpec spec;
    spec.status = status;
    spec.errorCode = errorCode;
    if (status >= 0)
        QVERIFY(engine.putRow("a.txt"_s, spec));
    bool localPresent = false;
    {
        StatHook hook(engine.local().filePath("a.txt"_s), [&engine] {
            [&engine] { QVERIFY(engine.sync().lockRename(1, "a.txt"_s, "b.txt"_s)); }();
            return 0;
        });
        QVERIFY(!engine.sync().startProcessing(1, "a.txt"_s, ceSfsPendingSync, localPresent));
    }
    QVERIFY(localPresent);
    COMPARE_LINES(engine, "lockRename - Locked 'a.txt' -> 'b.txt' (dirId=1)"_s,
                  "startProcessing - Skip 'a.txt' (dirId=1): rename in progress"_s);
    if (status >= 0)
        QCOMPARE(engine.state("a.txt"_s), "%1/%2"_s.arg(status).arg(errorCode));
    else
        QVERIFY(!engine.hasRow("a.txt"_s));
    QVERIFY(engine.sync().isRenameLocked(1, "a.txt"_s));
}

// The host tombstones the file after the status was read: its word holds.
void TestSynchronizerPass::startProcessing_statusChangedMeanwhile_yields()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    bool localPresent = false;
    StatHook hook(engine.local().filePath("a.txt"_s),
                  [&engine] { return engine.database().setFileDeleted(1, "a.txt"_s) ? 0 : EIO; });
    QVERIFY(!engine.sync().startProcessing(1, "a.txt"_s, ceSfsPendingSync, localPresent));
    QCOMPARE(engine.state("a.txt"_s), "40/0"_s);
    COMPARE_NO_EVENTS(engine);
}

namespace {

// Acts when the database has traced that it set a status: between the two looks at the lock.
QtMessageHandler previousHandler = nullptr;
std::function<void()> statusSetAction;

void actOnStatusSet(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (message.contains("DB: setFileStatusIf"_s) && statusSetAction)
        std::exchange(statusSetAction, nullptr)();
    previousHandler(type, context, message);
}

} // namespace

// The host locks the name and tombstones the file in one breath: the start yields to both.
void TestSynchronizerPass::startProcessing_tombstonedUnderATakenLock_staysSo()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    bool isLocked = false;
    bool isDeleted = false;
    statusSetAction = [&] {
        isLocked = engine.sync().lockRename(1, "a.txt"_s, "b.txt"_s);
        isDeleted = engine.database().setFileDeleted(1, "a.txt"_s);
    };
    previousHandler = qInstallMessageHandler(actOnStatusSet);
    bool localPresent = false;
    const bool isStarted = engine.sync().startProcessing(1, "a.txt"_s, ceSfsPendingSync, localPresent);
    qInstallMessageHandler(previousHandler);
    QVERIFY(isLocked && isDeleted);
    QVERIFY(!isStarted);
    QCOMPARE(engine.state("a.txt"_s), "40/0"_s);
}

void TestSynchronizerPass::startProcessing_noCertainAnswer()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    bool localPresent = false;
    StatHook hook(engine.local().filePath("a.txt"_s), [] { return EACCES; });
    QVERIFY(!engine.sync().startProcessing(1, "a.txt"_s, ceSfsPendingSync, localPresent));
    QVERIFY(localPresent);
    COMPARE_LINES(engine, "startProcessing - Skip 'a.txt' (dirId=1): no certain answer from the disk"_s);
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
}

void TestSynchronizerPass::startProcessing_specialFile()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(makeFifo(engine.local().filePath("fifo"_s)));
    bool localPresent = false;
    QVERIFY(!engine.sync().startProcessing(1, "fifo"_s, ceSfsPendingSync, localPresent));
    QVERIFY(localPresent);
    const QString message = "ERROR: Impossible to process synchronization, not a plain file: 'fifo'."_s;
    COMPARE_LINES(engine, "emitError - "_s + message);
    COMPARE_EVENTS(engine, "error "_s + message);
    QVERIFY(!engine.hasRow("fifo"_s));
}

QTEST_GUILESS_MAIN(TestSynchronizerPass)
#include "test_synchronizer_pass.moc"

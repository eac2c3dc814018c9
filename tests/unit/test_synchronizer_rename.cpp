#include "disk_hooks.h"
#include "engine_fixture.h"
#include "wait.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <QThread>

#include <atomic>
#include <cerrno>
#include <memory>
#include <vector>

using namespace VornSyncTest;

namespace {

// What the manager and the host do: lock, rename the local file, commit.
[[nodiscard]] bool renameAsTheHostDoes(Engine& engine, const QString& oldName, const QString& newName)
{
    return engine.sync().lockRename(1, oldName, newName) && engine.local().rename(oldName, newName) &&
           engine.sync().commitRename(1, oldName, newName);
}

bool isAnyLocked(Engine& engine, const QStringList& names)
{
    for (const QString& name : names) {
        if (engine.sync().isRenameLocked(1, name))
            return true;
    }
    return false;
}

} // namespace

class TestSynchronizerRename : public QObject
{
    Q_OBJECT

private slots:
    void rename_fromLockToCompletion();
    void chainOfLocks_isRefused();
    void emptyOrEqualNames_areRefused_data();
    void emptyOrEqualNames_areRefused();
    void lockOfAFileInProgress_isRefused_data();
    void lockOfAFileInProgress_isRefused();
    void lockOfAFileInFlight_isRefused_data();
    void lockOfAFileInFlight_isRefused();
    void lockTwice_isRefused();
    void lockInAnotherDirectory_isFree();
    void lockInAnotherDirectory_stopsNoPass();
    void lockFromManyThreads_isGivenOnce();
    void lockInADirectoryThatCantBeRead_isKept();

    void commitWithoutLock_isRefused();
    void commitWithoutDistantPath();
    void commitTwice_theLaterNameHolds();
    void distantSourceAbsent_theRowIsRenamedAtOnce();
    void distantSourceAbsent_untrackedFile();
    void distantSideAway_isNoDatabaseOnlyRename_data();
    void distantSideAway_isNoDatabaseOnlyRename();
    void distantLookFails_leavesItToTheTask();
    void distantSourceGoneBeforeTheRun();

    void tombstoneUnderTheNewName_givesWay_data();
    void tombstoneUnderTheNewName_givesWay();
    void trashedUnderTheNewName_isNoDeletionOfTheFile();
    void trackedRowUnderTheNewName_isKept_data();
    void trackedRowUnderTheNewName_isKept();
    void distantFileUnderTheNewName_isReplaced();
    void caseOnlyRename();
    void markOfANewerDistantCopy_travelsAlong();
    void rowTravelsWithAllColumns();

    void abort_releasesBothNames();
    void abortOfNothing_isSilent();
    void abortUnderAnotherName_freesWhatItNames();
    void abortAfterCommit_leavesTheTaskWithoutEntry();
    void finalFailure_keepsTheOldNameAndFreesBoth();
    void passesAndRequestsDuringARename_waitForIt();
    void anyName_isData_data();
    void anyName_isData();
};

void TestSynchronizerRename::rename_fromLockToCompletion()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("old.txt"_s, "content"));
    QVERIFY(renameAsTheHostDoes(engine, "old.txt"_s, "new.txt"_s));
    COMPARE_LINES(engine, "lockRename - Locked 'old.txt' -> 'new.txt' (dirId=1)"_s,
                  "commitRename - Enqueue ceStoRename '~/distant/old.txt' -> '~/distant/new.txt'"_s);
    COMPARE_EVENTS(engine, "task ceStoRename ~/distant/old.txt -> ~/distant/new.txt"_s,
                   "started ~/distant/old.txt"_s);
    QVERIFY(engine.sync().isFileInFlight(1, "old.txt"_s));
    QVERIFY(engine.sync().isRenameLocked(1, "old.txt"_s));
    QVERIFY(engine.sync().isRenameLocked(1, "new.txt"_s));
    QCOMPARE(engine.state("old.txt"_s), "17/0"_s); // the row waits for the distant side
    QVERIFY(!engine.hasRow("new.txt"_s));

    QVERIFY(engine.runNext());
    COMPARE_LINES(engine, "onTaskDone - Task on file '~/distant/old.txt' done (in-flight=0)."_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s, "completed ~/distant/old.txt"_s);
    QVERIFY(!engine.hasRow("old.txt"_s));
    QCOMPARE(engine.state("new.txt"_s), "17/0"_s);
    QCOMPARE(engine.distant().names(), QStringList("new.txt"_s));
    QVERIFY(!isAnyLocked(engine, {"old.txt"_s, "new.txt"_s}));
    QVERIFY(!engine.sync().isFileInFlight(1, "old.txt"_s));
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerRename::chainOfLocks_isRefused()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    engine.forget();
    QVERIFY(!engine.sync().lockRename(1, "b"_s, "c"_s));
    COMPARE_LINES(engine,
                  "lockRename - REFUSED: another rename already in progress on 'b' or 'c' (dirId=1)"_s);
    QVERIFY(!engine.sync().isRenameLocked(1, "c"_s));
    QVERIFY(!engine.sync().lockRename(1, "c"_s, "a"_s));
    COMPARE_LINES(engine,
                  "lockRename - REFUSED: another rename already in progress on 'c' or 'a' (dirId=1)"_s);
    QVERIFY(!engine.sync().isRenameLocked(1, "c"_s));
    QVERIFY(engine.sync().isRenameLocked(1, "a"_s));
    QVERIFY(engine.sync().isRenameLocked(1, "b"_s));
    QVERIFY(engine.sync().lockRename(1, "c"_s, "d"_s));
}

void TestSynchronizerRename::emptyOrEqualNames_areRefused_data()
{
    QTest::addColumn<QString>("oldName");
    QTest::addColumn<QString>("newName");
    QTest::newRow("old empty") << QString() << "b%2"_s;
    QTest::newRow("new empty") << "a"_s << QString();
    QTest::newRow("both empty") << QString() << QString();
    QTest::newRow("equal") << "a"_s
                           << "a"_s;
}

void TestSynchronizerRename::emptyOrEqualNames_areRefused()
{
    QFETCH(QString, oldName);
    QFETCH(QString, newName);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(!engine.sync().lockRename(1, oldName, newName));
    COMPARE_LINES(engine, "lockRename - Invalid argument(s) for rename lock: old='"_s + oldName +
                              "' new='"_s + newName + "' (dirId=1)"_s);
    COMPARE_NO_EVENTS(engine);
    QVERIFY(!isAnyLocked(engine, {oldName, newName}));
}

void TestSynchronizerRename::lockOfAFileInProgress_isRefused_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isRefused");
    QTest::newRow("syncing") << 20 << "ceSfsSyncing"_s << true;
    QTest::newRow("deleting") << 36 << "ceSfsDeleting"_s << true;
    QTest::newRow("restoring") << 68 << "ceSfsRestoring"_s << true;
    QTest::newRow("in progress and in error, without a name") << 148 << QString() << true;
    QTest::newRow("pending") << 18 << "ceSfsPendingSync"_s << false;
    QTest::newRow("in error") << 145 << QString() << false;
    QTest::newRow("tombstoned") << 40 << "ceSfsDeleted"_s << false;
}

void TestSynchronizerRename::lockOfAFileInProgress_isRefused()
{
    QFETCH(int, status);
    QFETCH(QString, name);
    QFETCH(bool, isRefused);
    Engine engine;
    QVERIFY(engine.start());
    RowSpec spec;
    spec.status = status;
    QVERIFY(engine.putRow("a"_s, spec));
    QCOMPARE(engine.sync().lockRename(1, "a"_s, "b"_s), !isRefused);
    QCOMPARE(isAnyLocked(engine, {"a"_s, "b"_s}), !isRefused);
    if (isRefused)
        COMPARE_LINES(engine, "lockRename - REFUSED: 'a' (dirId=1) currently "_s + name);
}

void TestSynchronizerRename::lockOfAFileInFlight_isRefused_data()
{
    QTest::addColumn<QString>("oldName");
    QTest::addColumn<QString>("newName");
    QTest::newRow("the old name") << "busy"_s
                                  << "b"_s;
    QTest::newRow("the new name") << "a"_s
                                  << "busy"_s;
}

// A task may be under way while the row says nothing of it: the host tombstoned the file meanwhile.
void TestSynchronizerRename::lockOfAFileInFlight_isRefused()
{
    QFETCH(QString, oldName);
    QFETCH(QString, newName);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("busy"_s, "x"));
    QVERIFY(engine.sync().copyToDistant(1, "busy"_s));
    QVERIFY(engine.database().setFileDeleted(1, "busy"_s));
    engine.forget();
    QVERIFY(!engine.sync().lockRename(1, oldName, newName));
    COMPARE_LINES(engine, "lockRename - REFUSED: a task is in flight on '%1' or '%2' (dirId=1)"_s.arg(
                              oldName, newName));
    QVERIFY(!isAnyLocked(engine, {oldName, newName}));
    engine.runAll();
    QVERIFY(engine.sync().lockRename(1, oldName, newName));
}

void TestSynchronizerRename::lockTwice_isRefused()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    QVERIFY(!engine.sync().lockRename(1, "a"_s, "b"_s));
    // The second, refused, did not free what the first holds.
    QVERIFY(engine.sync().isRenameLocked(1, "a"_s));
    QVERIFY(engine.sync().isRenameLocked(1, "b"_s));
}

void TestSynchronizerRename::lockInAnotherDirectory_isFree()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    QVERIFY(engine.sync().lockRename(2, "a"_s, "b"_s));
    QVERIFY(engine.sync().lockRename(1, "A"_s, "B"_s));
}

void TestSynchronizerRename::lockInAnotherDirectory_stopsNoPass()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a"_s, "x"));
    QVERIFY(engine.sync().lockRename(2, "a"_s, "b"_s));
    engine.passAndRun();
    QCOMPARE(engine.distant().names(), QStringList("a"_s));
    QCOMPARE(engine.state("a"_s), "17/0"_s);
}

void TestSynchronizerRename::lockFromManyThreads_isGivenOnce()
{
    Engine engine;
    QVERIFY(engine.start());
    for (int round = 0; round < 10; ++round) {
        const QString name = QString::number(round);
        std::atomic<int> given{0};
        std::vector<std::unique_ptr<QThread>> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back(QThread::create([&engine, &given, name, i] {
                if (engine.sync().lockRename(1, name, QStringLiteral("%1-%2").arg(name, QString::number(i))))
                    ++given;
            }));
            threads.back()->start();
        }
        for (const auto& thread : threads)
            QVERIFY(thread->wait(kWaitMs));
        QCOMPARE(given.load(), 1);
    }
}

// Only a directory that is surely gone takes its locks along.
void TestSynchronizerRename::lockInADirectoryThatCantBeRead_isKept()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    QVERIFY(engine.raw().exec("ALTER TABLE directories RENAME TO away"_s));
    engine.sync().invalidateDirPathCache(1);
    QVERIFY(engine.raw().exec("ALTER TABLE away RENAME TO directories"_s));
    QVERIFY(engine.sync().isRenameLocked(1, "a"_s));
    QVERIFY(engine.database().deleteDirectory(1));
    engine.sync().invalidateDirPathCache(1);
    QVERIFY(!engine.sync().isRenameLocked(1, "a"_s));
}

void TestSynchronizerRename::commitWithoutLock_isRefused()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(!engine.sync().commitRename(1, "a"_s, "b"_s));
    COMPARE_LINES(engine, "commitRename - REFUSED: no lock held for 'a' (dirId=1)"_s);
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.state("a"_s), "17/0"_s);
    QCOMPARE(engine.distant().names(), QStringList("a"_s));
}

void TestSynchronizerRename::commitWithoutDistantPath()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.sync().lockRename(44, "a"_s, "b"_s));
    engine.forget();
    QVERIFY(!engine.sync().commitRename(44, "a"_s, "b"_s));
    const QString message = "ERROR: Cannot commit rename, distant path unknown for dirId 44"_s;
    COMPARE_LINES(engine, "emitError - "_s + message);
    COMPARE_EVENTS(engine, "error "_s + message);
    QVERIFY(!engine.sync().isRenameLocked(44, "a"_s));
    QVERIFY(!engine.sync().isRenameLocked(44, "b"_s));
}

void TestSynchronizerRename::commitTwice_theLaterNameHolds()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    QVERIFY(engine.sync().commitRename(1, "a"_s, "b"_s));
    QVERIFY(engine.sync().commitRename(1, "a"_s, "c"_s));
    QCOMPARE(engine.taskCount(), 2);
    QVERIFY(engine.runNext());
    QCOMPARE(engine.state("c"_s), "17/0"_s);
}

void TestSynchronizerRename::distantSourceAbsent_theRowIsRenamedAtOnce()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a%1"_s, "x"));
    QVERIFY(engine.distant().remove("a%1"_s));
    QVERIFY(renameAsTheHostDoes(engine, "a%1"_s, "b%2"_s));
    COMPARE_LINES(engine, "lockRename - Locked 'a%1' -> 'b%2' (dirId=1)"_s,
                  "commitRename - Enqueue ceStoRename '~/distant/a%1' -> '~/distant/b%2'"_s,
                  "commitRename - Distant source absent, BD-only rename applied"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QVERIFY(!engine.hasRow("a%1"_s));
    QCOMPARE(engine.state("b%2"_s), "17/0"_s);
    QVERIFY(!isAnyLocked(engine, {"a%1"_s, "b%2"_s}));
    QVERIFY(!engine.sync().isFileInFlight(1, "a%1"_s));
    QCOMPARE(engine.taskCount(), 0);
}

void TestSynchronizerRename::distantSourceAbsent_untrackedFile()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a"_s, "x"));
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    QVERIFY(!isAnyLocked(engine, {"a"_s, "b"_s}));
    engine.passAndRun();
    QCOMPARE(engine.distant().names(), QStringList("b"_s));
}

void TestSynchronizerRename::distantSideAway_isNoDatabaseOnlyRename_data()
{
    QTest::addColumn<bool>("hasFileInTheWay");
    QTest::newRow("directory missing") << false;
    QTest::newRow("a file in the way") << true;
}

// The distant file may well be there: to forget its old name would leave it behind for ever.
void TestSynchronizerRename::distantSideAway_isNoDatabaseOnlyRename()
{
    QFETCH(bool, hasFileInTheWay);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    const QVariantMap row = engine.row("a"_s);
    const QString path = engine.pair().distantPath();
    QVERIFY(QDir().rename(path, path + "-aside"_s));
    if (hasFileInTheWay)
        QVERIFY(QFile(path).open(QIODevice::WriteOnly));
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    engine.forget();
    QVERIFY(!engine.sync().commitRename(1, "a"_s, "b"_s));
    COMPARE_LINES(engine, "commitRename - Enqueue ceStoRename '~/distant/a' -> '~/distant/b'"_s,
                  "commitRename - Distant source absent, BD-only rename FAILED"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QCOMPARE(engine.row("a"_s), row);
    QVERIFY(!engine.hasRow("b"_s));
    QVERIFY(!isAnyLocked(engine, {"a"_s, "b"_s}));
}

// One look fails, the next finds the file: the task goes on its way.
void TestSynchronizerRename::distantLookFails_leavesItToTheTask()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    {
        StatHook hook(engine.distant().filePath("a"_s), [] { return EIO; });
        QVERIFY(engine.sync().commitRename(1, "a"_s, "b"_s));
    }
    QVERIFY(engine.hasRow("a"_s));
    QVERIFY(engine.runNext());
    QCOMPARE(engine.distant().names(), QStringList("b"_s));
    QCOMPARE(engine.state("b"_s), "17/0"_s);
}

void TestSynchronizerRename::distantSourceGoneBeforeTheRun()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    QVERIFY(engine.distant().remove("a"_s));
    QVERIFY(engine.runNext());
    QCOMPARE(engine.state("b"_s), "17/0"_s);
    QVERIFY(!engine.hasRow("a"_s));
}

void TestSynchronizerRename::tombstoneUnderTheNewName_givesWay_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("hasDistantSource");
    for (int status : {ceSfsDeleted, ceSfsTrashed}) {
        QTest::addRow("%d, with a task", status) << status << true;
        QTest::addRow("%d, in the database alone", status) << status << false;
    }
}

void TestSynchronizerRename::tombstoneUnderTheNewName_givesWay()
{
    QFETCH(int, status);
    QFETCH(bool, hasDistantSource);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    if (!hasDistantSource)
        QVERIFY(engine.distant().remove("a"_s));
    RowSpec spec;
    spec.status = status;
    spec.trashedDate = "2024-01-01T00:00:00Z"_s;
    QVERIFY(engine.putRow("b"_s, spec));
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    engine.runAll();
    QCOMPARE(engine.state("b"_s), "17/0"_s);
    QVERIFY(engine.row("b"_s).value("trashed_date"_s).isNull());
    QVERIFY(!engine.hasRow("a"_s));
    QVERIFY(!isAnyLocked(engine, {"a"_s, "b"_s}));
}

// The renamed file is lost before the task ends. The trashed row is an older file's, and says nothing of it.
void TestSynchronizerRename::trashedUnderTheNewName_isNoDeletionOfTheFile()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    RowSpec spec;
    spec.status = ceSfsTrashed;
    QVERIFY(engine.putRow("b"_s, spec));
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    QVERIFY(engine.local().remove("b"_s));
    QVERIFY(engine.runNext());
    QVERIFY(!engine.hasRow("a"_s));
    QCOMPARE(engine.state("b"_s), "17/0"_s);
    engine.pass();
    QCOMPARE(engine.state("b"_s), "145/2"_s);
}

void TestSynchronizerRename::trackedRowUnderTheNewName_isKept_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("up to date") << int(ceSfsUpToDate);
    QTest::newRow("unknown") << int(ceSfsUnknown);
    QTest::newRow("in error") << int(ceSfsUpToDate | ceSfsError);
    QTest::newRow("a tombstone in error") << int(ceSfsTrashed | ceSfsError);
}

void TestSynchronizerRename::trackedRowUnderTheNewName_isKept()
{
    QFETCH(int, status);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.distant().remove("a"_s));
    RowSpec spec;
    spec.status = status;
    QVERIFY(engine.putRow("b"_s, spec));
    const auto rows = engine.raw().rows("SELECT * FROM file_tracking"_s);
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    engine.forget();
    QVERIFY(!engine.sync().commitRename(1, "a"_s, "b"_s));
    COMPARE_LINES(engine, "commitRename - Enqueue ceStoRename '~/distant/a' -> '~/distant/b'"_s,
                  "commitRename - Distant source absent, BD-only rename FAILED"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QCOMPARE(engine.raw().rows("SELECT * FROM file_tracking"_s), rows);
    QVERIFY(!isAnyLocked(engine, {"a"_s, "b"_s}));
}

void TestSynchronizerRename::distantFileUnderTheNewName_isReplaced()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "renamed"));
    QVERIFY(engine.distant().write("b"_s, "in the way"));
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    engine.runAll();
    QCOMPARE(engine.distant().names(), QStringList("b"_s));
    QCOMPARE(engine.distant().read("b"_s), QByteArray("renamed"));
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerRename::caseOnlyRename()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("name.txt"_s, "x"));
    QVERIFY(renameAsTheHostDoes(engine, "name.txt"_s, "NAME.txt"_s));
    engine.runAll();
    QCOMPARE(engine.distant().names(), QStringList("NAME.txt"_s));
    QCOMPARE(engine.state("NAME.txt"_s), "17/0"_s);
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerRename::markOfANewerDistantCopy_travelsAlong()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "short"));
    QVERIFY(engine.distant().write("a"_s, "a newer version"));
    engine.sync().verifyUpToDateFilesBudgeted();
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    engine.runAll();
    QCOMPARE(engine.secondPass(), QStringList());
    engine.sync().verifyUpToDateFilesBudgeted();
    QCOMPARE(engine.state("b"_s), "17/0"_s);
    QCOMPARE(engine.distant().read("b"_s), QByteArray("a newer version"));
}

void TestSynchronizerRename::rowTravelsWithAllColumns()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "content"));
    QVariantMap row = engine.row("a"_s);
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    engine.runAll();
    row.insert("file_name"_s, "b"_s);
    QCOMPARE(engine.row("b"_s), row);
}

void TestSynchronizerRename::abort_releasesBothNames()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    engine.forget();
    engine.sync().abortRename(1, "a"_s, "b"_s);
    COMPARE_LINES(engine, "abortRename - Released lock for 'a' -> 'b' (dirId=1)"_s);
    COMPARE_NO_EVENTS(engine);
    QVERIFY(!isAnyLocked(engine, {"a"_s, "b"_s}));
    QVERIFY(engine.sync().lockRename(1, "b"_s, "c"_s));
}

void TestSynchronizerRename::abortOfNothing_isSilent()
{
    Engine engine;
    QVERIFY(engine.start());
    engine.sync().abortRename(1, "a"_s, "b"_s);
    COMPARE_NO_LINES(engine);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerRename::abortUnderAnotherName_freesWhatItNames()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    engine.forget();
    engine.sync().abortRename(1, "x"_s, "y"_s);
    engine.sync().abortRename(2, "a"_s, "b"_s);
    COMPARE_NO_LINES(engine);
    QVERIFY(engine.sync().isRenameLocked(1, "a"_s));
    QVERIFY(engine.sync().isRenameLocked(1, "b"_s));
    engine.sync().abortRename(1, "x"_s, "b"_s);
    COMPARE_LINES(engine, "abortRename - Released lock for 'x' -> 'b' (dirId=1)"_s);
    QVERIFY(engine.sync().isRenameLocked(1, "a"_s));
    QVERIFY(!engine.sync().isRenameLocked(1, "b"_s));
    engine.sync().abortRename(1, "a"_s, "y"_s);
    COMPARE_LINES(engine, "abortRename - Released lock for 'a' -> 'y' (dirId=1)"_s);
    QVERIFY(!engine.sync().isRenameLocked(1, "a"_s));
}

void TestSynchronizerRename::abortAfterCommit_leavesTheTaskWithoutEntry()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    QVERIFY(engine.sync().commitRename(1, "a"_s, "b"_s));
    engine.sync().abortRename(1, "a"_s, "b"_s);
    QVERIFY(!isAnyLocked(engine, {"a"_s, "b"_s}));
    engine.forget();
    QVERIFY(engine.runNext());
    COMPARE_LINES(
        engine,
        "onTaskDone - Rename completion without pending entry for 'a' (dirId=1). BD update skipped."_s,
        "onTaskDone - Task on file '~/distant/a' FAIL (in-flight=0)."_s);
    QCOMPARE(engine.state("a"_s), "17/0"_s);
    QVERIFY(!engine.sync().isFileInFlight(1, "a"_s));
}

// The run that fails for good is the fifth; here it is the task's first, given as many messages.
void TestSynchronizerRename::finalFailure_keepsTheOldNameAndFreesBoth()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    QVERIFY(engine.sync().commitRename(1, "a"_s, "b"_s));
    const pVornSyncTask task = engine.takeTask();
    const QString distantPath = engine.pair().distantPath();
    QVERIFY(QDir().rename(distantPath, distantPath + "-aside"_s));
    for (int run = 1; run <= 5; ++run)
        QVERIFY(!task->runtask());
    engine.forget();
    engine.sync().onTaskDone(task, false);
    QCOMPARE(engine.takeEvents(), (QStringList{"errorStateChanged"_s, "failed ~/distant/a"_s}));
    QCOMPARE(engine.state("a"_s), "145/%1"_s.arg(task->errorCode()));
    QVERIFY(task->errorCode() != ceSecNone);
    QVERIFY(!engine.hasRow("b"_s));
    QVERIFY(!isAnyLocked(engine, {"a"_s, "b"_s}));
    QVERIFY(!engine.sync().isFileInFlight(1, "a"_s));
}

void TestSynchronizerRename::passesAndRequestsDuringARename_waitForIt()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    engine.forget();
    engine.pass();
    engine.sync().verifyUpToDateFilesBudgeted();
    QVERIFY(!engine.sync().notifyLocalFileChanged(1, "b"_s));
    QVERIFY(engine.sync().moveToTrashFile(1, "b"_s)); // busy still reads as accepted
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.state("a"_s), "17/0"_s);
    QCOMPARE(engine.taskCount(), 1);
    QVERIFY(engine.runNext());
    // The change that was announced meanwhile is sent as soon as the rename is over.
    QCOMPARE(engine.taskCount(), 1);
    QVERIFY(engine.runNext());
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(engine.state("b"_s), "17/0"_s);
}

void TestSynchronizerRename::anyName_isData_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("percent") << "%1 %2 %3"_s;
    QTest::newRow("quotes") << "a'b\"c"_s;
    QTest::newRow("newline") << "a\nb"_s;
    QTest::newRow("accents") << "Ünïcødé"_s;
    QTest::newRow("255 bytes") << QString(255, QLatin1Char('n'));
}

void TestSynchronizerRename::anyName_isData()
{
    QFETCH(QString, name);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send(name, "x"));
    QVERIFY(renameAsTheHostDoes(engine, name, "plain %1"_s));
    COMPARE_LINES(engine, "lockRename - Locked '"_s + name + "' -> 'plain %1' (dirId=1)"_s,
                  "commitRename - Enqueue ceStoRename '~/distant/"_s + name + "' -> '~/distant/plain %1'"_s);
    engine.runAll();
    QVERIFY(renameAsTheHostDoes(engine, "plain %1"_s, name));
    engine.runAll();
    QCOMPARE(engine.distant().names(), QStringList(name));
    QCOMPARE(engine.state(name), "17/0"_s);
    QCOMPARE(engine.secondPass(), QStringList());
}

QTEST_GUILESS_MAIN(TestSynchronizerRename)
#include "test_synchronizer_rename.moc"

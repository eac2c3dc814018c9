#include "disk_hooks.h"
#include "engine_fixture.h"
#include "vorn_sync_files.h"
#include "wait.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <cerrno>
#include <functional>
#include <memory>

using namespace VornSyncTest;

namespace {

using Action = std::function<void()>;

// The next debug line that holds a text calls an action, on the thread that writes it.
class LineHook
{
    Q_DISABLE_COPY_MOVE(LineHook)

public:
    LineHook(const QString& text, const Action& action)
    {
        s_text = text;
        s_action = action;
        s_previous = qInstallMessageHandler(handle);
    }
    ~LineHook()
    {
        qInstallMessageHandler(s_previous);
        s_action = nullptr;
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& message)
    {
        s_previous(type, context, message);
        if (!s_action || !message.contains(s_text))
            return;
        const Action action = std::exchange(s_action, nullptr);
        action();
    }

    static QString s_text;
    static Action s_action;
    static QtMessageHandler s_previous;
};

QString LineHook::s_text;
Action LineHook::s_action;
QtMessageHandler LineHook::s_previous = nullptr;

// Acts once, at the engine's first change of an error state: in the middle of a pass.
void atFirstErrorState(Engine& engine, const Action& action)
{
    auto* context = new QObject(&engine.sync());
    QObject::connect(&engine.sync(), &VornSyncSynchronizer::errorStateChanged, context, [context, action] {
        context->disconnect();
        delete context;
        action();
    });
}

// While it lives, no statement finds the directories.
class LostDirectories
{
    Q_DISABLE_COPY_MOVE(LostDirectories)

public:
    explicit LostDirectories(Engine& engine)
        : m_engine(engine)
        , isLost(engine.raw().exec("ALTER TABLE directories RENAME TO lost"_s))
    {
    }
    ~LostDirectories() { m_engine.raw().exec("ALTER TABLE lost RENAME TO directories"_s); }

private:
    Engine& m_engine;

public:
    const bool isLost;
};

// What the manager does on the host's thread: the tombstone at once, the rest when the engine comes to it.
[[nodiscard]] bool deleteAsTheHostDoes(Engine& engine, const QString& name)
{
    return engine.local().remove(name) && engine.database().setFileDeleted(1, name);
}

[[nodiscard]] bool renameAsTheHostDoes(Engine& engine, const QString& oldName, const QString& newName)
{
    return engine.sync().lockRename(1, oldName, newName) && engine.local().rename(oldName, newName) &&
           engine.sync().commitRename(1, oldName, newName);
}

// A change that neither size nor time tell of.
[[nodiscard]] bool editUnseen(Engine& engine, const QString& name)
{
    return engine.local().write(name, "Y") && engine.local().setLmd(name, longAgo());
}

bool isAnyLocked(Engine& engine, const QStringList& names)
{
    for (const QString& name : names) {
        if (engine.sync().isRenameLocked(1, name) || engine.sync().isFileInFlight(1, name))
            return true;
    }
    return false;
}

int errorsIn(const QStringList& events)
{
    return int(events.filter("database "_s).size() + events.filter("error "_s).size());
}

QList<QVariantMap> allRows(Engine& engine)
{
    return engine.raw().rows("SELECT * FROM file_tracking ORDER BY directories_id, file_name"_s);
}

} // namespace

// What the host, another process or the disk does between two steps of the engine.
class TestSynchronizerRaces : public QObject
{
    Q_OBJECT

private slots:
    void changeOnItsWayWhenTheFileIsDeleted_leavesTheTombstone();
    void fileDeletedWhileAChangeIsExamined_leavesTheTombstone();
    void waitingSideCarDeferralOfADeletedFile_isDropped();
    void movedToTheTrashTwice_staysAsItWasTrashed();
    void fileDeletedBetweenTheLoopsOfAPass_staysDeletedAndTrashed();

    void renamedWhileItIsLookedAt_waitsForTheRename_data();
    void renamedWhileItIsLookedAt_waitsForTheRename();
    void renamedWhileAFailureIsResolved_keepsItsRow();
    void newNameDeletedWhileItsRenameIsInFlight_isGone_data();
    void newNameDeletedWhileItsRenameIsInFlight_isGone();
    void newNameDeletedBeforeADatabaseOnlyRename_staysDeleted();
    void newNameTombstonedDuringItsRename_keepsTheDistantCopy();
    void editNotifiedDuringARename_isSentAfterIt();
    void editNotifiedUnderTheOldName_isSentAfterTheRename();
    void editNotifiedDuringADatabaseOnlyRename_isSentAfterIt_data();
    void editNotifiedDuringADatabaseOnlyRename_isSentAfterIt();
    void editNotifiedBeforeAnAbort_isSentAfterIt();
    void lockBetweenPendingAndDispatch_isRefused();
    void renameWhoseDirectoryIsNotFound_freesItsNames();

    void recordThatCannotBegin_leavesATombstone();
    void pathThatCouldNotBeRead_isNotRemembered_data();
    void pathThatCouldNotBeRead_isNotRemembered();
    void passWithoutItsPaths_changesNothing();
    void passWhosePathCanBeReadAMomentLater_changesNothing_data();
    void passWhosePathCanBeReadAMomentLater_changesNothing();
    void passOnAnUnknownDirectory_changesNothing();
    void wipedAndRegisteredInAnotherOrderDuringAPass_noRowGoesAstray();
    void removedDuringItsPass_atMostOneError();
    void reasonThatCouldNotBeRead_decidesNothing_data();
    void reasonThatCouldNotBeRead_decidesNothing();

    void siblingInTheLocalDirectory_isNoNewFile();
    void siblingOfSomebodyElse_isNotRemoved_data();
    void siblingOfSomebodyElse_isNotRemoved();
};

// --- Deleted meanwhile ----------------------------------------------------------------------------------

void TestSynchronizerRaces::changeOnItsWayWhenTheFileIsDeleted_leavesTheTombstone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(deleteAsTheHostDoes(engine, "a"_s));
    QVERIFY(!engine.sync().notifyLocalFileChanged(1, "a"_s));
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "a"_s));
    QCOMPARE(engine.taskCount(), 0);
    QCOMPARE(engine.state("a"_s), "40/0"_s);
    QVERIFY(!engine.distant().exists("a"_s));
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerRaces::fileDeletedWhileAChangeIsExamined_leavesTheTombstone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    {
        StatHook hook(engine.local().filePath("a"_s), [&] {
            return !engine.local().exists("a"_s) || deleteAsTheHostDoes(engine, "a"_s) ? 0 : EIO;
        });
        QVERIFY(!engine.sync().notifyLocalFileChanged(1, "a"_s));
    }
    QCOMPARE(engine.state("a"_s), "40/0"_s);
    QCOMPARE(engine.taskCount(), 0);
}

void TestSynchronizerRaces::waitingSideCarDeferralOfADeletedFile_isDropped()
{
    Engine engine({"*-wal"_s});
    QVERIFY(engine.start());
    QVERIFY(engine.send("d.db"_s, "x"));
    QVERIFY(engine.local().write("d.db-wal"_s, "x"));
    QVERIFY(engine.sync().notifyLocalFileChanged(1, "d.db"_s));
    QVERIFY(engine.local().remove("d.db-wal"_s));
    QVERIFY(deleteAsTheHostDoes(engine, "d.db"_s));
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "d.db"_s));
    QCOMPARE(engine.state("d.db"_s), "40/0"_s);
    engine.forget();
    // Two more deferrals, one after the other, are the clock.
    for (const QString& clock : {"1.db"_s, "2.db"_s}) {
        QVERIFY(engine.local().write(clock, "x"));
        QVERIFY(engine.local().write(clock + "-wal"_s, "x"));
        QVERIFY(engine.sync().copyToDistant(1, clock));
        QVERIFY(engine.local().remove(clock + "-wal"_s));
        QVERIFY(waitFor([&] { return engine.taskCount() == 1; }));
        QVERIFY(engine.runNext());
    }
    QCOMPARE(engine.state("d.db"_s), "40/0"_s);
    QCOMPARE(engine.takeEvents().filter("error "_s), QStringList());
    COMPARE_LINES_OF("startProcessing"_s, engine, );
}

void TestSynchronizerRaces::movedToTheTrashTwice_staysAsItWasTrashed()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.sync().moveToTrashFile(1, "a"_s));
    engine.runAll();
    const QVariantMap row = engine.row("a"_s);
    QCOMPARE(engine.state("a"_s), "33/0"_s);
    QVERIFY(!row.value("trashed_date"_s).toString().isEmpty());
    engine.forget();
    QVERIFY(!engine.sync().moveToTrashFile(1, "a"_s));
    QCOMPARE(engine.taskCount(), 0);
    QCOMPARE(engine.row("a"_s), row);
    QCOMPARE(engine.trash().read("a"_s), QByteArray("x"));
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerRaces::fileDeletedBetweenTheLoopsOfAPass_staysDeletedAndTrashed()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("b"_s, "x"));
    QVERIFY(engine.send("z"_s, "y"));
    QVERIFY(engine.trash().write("b"_s, "older version"));
    QVERIFY(engine.local().remove("z"_s));
    bool isDeleted = false;
    atFirstErrorState(engine, [&] { isDeleted = deleteAsTheHostDoes(engine, "b"_s); });
    engine.pass();
    QVERIFY(isDeleted);
    QCOMPARE(engine.taskCount(), 0);
    QCOMPARE(engine.state("b"_s), "40/0"_s);
    QCOMPARE(engine.state("z"_s), "145/2"_s);
    QCOMPARE(engine.trash().read("b"_s), QByteArray("older version"));
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
}

// --- During a rename ------------------------------------------------------------------------------------

void TestSynchronizerRaces::renamedWhileItIsLookedAt_waitsForTheRename_data()
{
    QTest::addColumn<QString>("who");
    QTest::newRow("pass") << "pass"_s;
    QTest::newRow("verification") << "verification"_s;
    QTest::newRow("notification") << "notification"_s;
}

void TestSynchronizerRaces::renamedWhileItIsLookedAt_waitsForTheRename()
{
    QFETCH(QString, who);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    bool isRenamed = false;
    {
        // Every test of the locks has passed when the disk is asked.
        StatHook hook(engine.local().filePath("a"_s), [&] {
            if (!isRenamed)
                isRenamed = engine.sync().lockRename(1, "a"_s, "b"_s) && engine.local().rename("a"_s, "b"_s);
            return 0;
        });
        if (who == "pass"_s)
            engine.pass();
        else if (who == "verification"_s)
            engine.sync().verifyOneUpToDateFile(1, "a"_s, 1);
        else
            QVERIFY(!engine.sync().notifyLocalFileChanged(1, "a"_s));
    }
    QVERIFY(isRenamed);
    QCOMPARE(engine.state("a"_s), "17/0"_s);
    QCOMPARE(engine.taskCount(), 0);
    COMPARE_NO_EVENTS(engine);
    QVERIFY(engine.sync().commitRename(1, "a"_s, "b"_s));
    engine.runAll();
    QCOMPARE(engine.state("b"_s), "17/0"_s);
    QCOMPARE(engine.distant().names(), QStringList("b"_s));
}

void TestSynchronizerRaces::renamedWhileAFailureIsResolved_keepsItsRow()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.database().setFileStatus(1, "a"_s, ceSfsPendingSync, ceSecNone));
    QVERIFY(engine.database().setFileStatus(1, "a"_s, ceSfsError, ceSecCopyFailed));
    const QVariantMap row = engine.row("a"_s);
    bool isRenamed = false;
    {
        StatHook hook(engine.local().filePath("a"_s), [&] {
            if (!isRenamed)
                isRenamed = engine.sync().lockRename(1, "a"_s, "b"_s) && engine.local().rename("a"_s, "b"_s);
            return 0;
        });
        engine.sync().resolveFilesError(1);
    }
    QVERIFY(isRenamed);
    QCOMPARE(engine.row("a"_s), row);
}

void TestSynchronizerRaces::newNameDeletedWhileItsRenameIsInFlight_isGone_data()
{
    QTest::addColumn<bool>("isToldAfterTheEnd");
    QTest::newRow("told while it runs") << false;
    QTest::newRow("told when it has ended") << true;
}

void TestSynchronizerRaces::newNameDeletedWhileItsRenameIsInFlight_isGone()
{
    QFETCH(bool, isToldAfterTheEnd);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    QVERIFY(deleteAsTheHostDoes(engine, "b"_s));
    if (isToldAfterTheEnd)
        engine.runAll();
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "b"_s));
    engine.runAll();
    QCOMPARE(engine.distant().names(), QStringList());
    QCOMPARE(engine.state("b"_s), "40/0"_s);
    QVERIFY(!engine.hasRow("a"_s));
    QVERIFY(!isAnyLocked(engine, {"a"_s, "b"_s}));
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerRaces::newNameDeletedBeforeADatabaseOnlyRename_staysDeleted()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.distant().remove("a"_s));
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    QVERIFY(engine.local().rename("a"_s, "b"_s));
    // The commit is on its way when the host deletes the file.
    QVERIFY(deleteAsTheHostDoes(engine, "b"_s));
    QVERIFY(engine.sync().commitRename(1, "a"_s, "b"_s));
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "b"_s));
    QCOMPARE(engine.taskCount(), 0);
    QCOMPARE(engine.state("b"_s), "40/0"_s);
    QVERIFY(!engine.hasRow("a"_s));
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerRaces::newNameTombstonedDuringItsRename_keepsTheDistantCopy()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    QVERIFY(deleteAsTheHostDoes(engine, "b"_s)); // and nothing is to be removed
    engine.runAll();
    QCOMPARE(engine.state("b"_s), "40/0"_s);
    QVERIFY(!engine.hasRow("a"_s));
    QCOMPARE(engine.distant().names(), QStringList("b"_s));
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerRaces::editNotifiedDuringARename_isSentAfterIt()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    QVERIFY(editUnseen(engine, "b"_s));
    QVERIFY(!engine.sync().notifyLocalFileChanged(1, "b"_s));
    QCOMPARE(engine.taskCount(), 1);
    engine.runAll();
    QCOMPARE(engine.distant().names(), QStringList("b"_s));
    QCOMPARE(engine.distant().read("b"_s), QByteArray("Y"));
    QCOMPARE(engine.state("b"_s), "17/0"_s);
    QVERIFY(!engine.hasRow("a"_s));
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerRaces::editNotifiedUnderTheOldName_isSentAfterTheRename()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(editUnseen(engine, "a"_s));
    // The notification is on its way when the host renames.
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    QVERIFY(engine.local().rename("a"_s, "b"_s));
    QVERIFY(!engine.sync().notifyLocalFileChanged(1, "a"_s));
    QVERIFY(engine.sync().commitRename(1, "a"_s, "b"_s));
    engine.runAll();
    QCOMPARE(engine.distant().names(), QStringList("b"_s));
    QCOMPARE(engine.distant().read("b"_s), QByteArray("Y"));
    QCOMPARE(engine.state("b"_s), "17/0"_s);
    QVERIFY(!engine.hasRow("a"_s));
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerRaces::editNotifiedDuringADatabaseOnlyRename_isSentAfterIt_data()
{
    QTest::addColumn<QString>("notified");
    QTest::newRow("old name") << "a"_s;
    QTest::newRow("new name") << "b"_s;
}

void TestSynchronizerRaces::editNotifiedDuringADatabaseOnlyRename_isSentAfterIt()
{
    QFETCH(QString, notified);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.distant().remove("a"_s));
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    QVERIFY(engine.local().rename("a"_s, "b"_s));
    QVERIFY(editUnseen(engine, "b"_s));
    QVERIFY(!engine.sync().notifyLocalFileChanged(1, notified));
    QCOMPARE(engine.taskCount(), 0);
    QVERIFY(engine.sync().commitRename(1, "a"_s, "b"_s));
    QCOMPARE(engine.taskCount(), 1);
    engine.runAll();
    QCOMPARE(engine.distant().read("b"_s), QByteArray("Y"));
    QCOMPARE(engine.state("b"_s), "17/0"_s);
    QVERIFY(!engine.hasRow("a"_s));
}

void TestSynchronizerRaces::editNotifiedBeforeAnAbort_isSentAfterIt()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
    QVERIFY(editUnseen(engine, "a"_s));
    QVERIFY(!engine.sync().notifyLocalFileChanged(1, "a"_s));
    engine.sync().abortRename(1, "a"_s, "b"_s);
    QVERIFY(waitFor([&] { return engine.taskCount() == 1; }));
    engine.runAll();
    QCOMPARE(engine.distant().read("a"_s), QByteArray("Y"));
    QCOMPARE(engine.state("a"_s), "17/0"_s);
    QVERIFY(!engine.hasRow("b"_s));
}

void TestSynchronizerRaces::lockBetweenPendingAndDispatch_isRefused()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines, which are the way in");
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.local().append("a"_s, "yy"));
    QString stateAtTheLock;
    bool isLocked = false;
    {
        LineHook hook("doTask - Operation"_s, [&] {
            stateAtTheLock = engine.state("a"_s);
            isLocked = engine.sync().lockRename(1, "a"_s, "b"_s);
        });
        QVERIFY(engine.sync().notifyLocalFileChanged(1, "a"_s));
    }
    QCOMPARE(stateAtTheLock, "17/0"_s); // the row's steps into the task are one transaction
    QVERIFY(!isLocked);
    QVERIFY(!engine.sync().isRenameLocked(1, "a"_s));
    QVERIFY(!engine.sync().isRenameLocked(1, "b"_s));
    engine.runAll();
    QCOMPARE(engine.distant().read("a"_s), QByteArray("xyy"));
    QCOMPARE(engine.state("a"_s), "17/0"_s);
    QVERIFY(engine.sync().lockRename(1, "a"_s, "b"_s));
}

void TestSynchronizerRaces::renameWhoseDirectoryIsNotFound_freesItsNames()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(renameAsTheHostDoes(engine, "a"_s, "b"_s));
    const pVornSyncTask task = engine.takeTask();
    QVERIFY(task->runtask());
    {
        const LostDirectories lost(engine);
        QVERIFY(lost.isLost);
        engine.sync().onTaskDone(task, true);
    }
    QVERIFY(!isAnyLocked(engine, {"a"_s, "b"_s}));
    QVERIFY(engine.sync().lockRename(1, "b"_s, "a"_s));
}

// --- What could not be written or read ------------------------------------------------------------------

void TestSynchronizerRaces::recordThatCannotBegin_leavesATombstone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a"_s, "x"));
    engine.pass();
    const pVornSyncTask task = engine.takeTask();
    QVERIFY(task->runtask());
    QVERIFY(deleteAsTheHostDoes(engine, "a"_s));
    const QString connectionName = "another process"_s;
    {
        QSqlDatabase other = QSqlDatabase::addDatabase("QSQLITE"_s, connectionName);
        other.setDatabaseName(engine.pair().databasePath());
        QVERIFY(other.open());
        QVERIFY(QSqlQuery(other).exec("BEGIN IMMEDIATE"_s));
        // It goes on as soon as the engine has waited in vain: what follows can be written.
        int errors = 0;
        QObject context;
        QObject::connect(&engine.database(), &VornSyncDatabase::errorOccurred, &context,
                         [&] { ++errors == 1 ? QSqlQuery(other).exec("ROLLBACK"_s) : false; });
        QVERIFY(!engine.database().recordCopy(1, "a"_s, 1, longAgo(), longAgo()));
        QCOMPARE(errors, 1);
        other.close();
    }
    QSqlDatabase::removeDatabase(connectionName);
    QCOMPARE(engine.state("a"_s), "40/0"_s);
}

void TestSynchronizerRaces::pathThatCouldNotBeRead_isNotRemembered_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("local") << 0;
    QTest::newRow("distant") << 1;
    QTest::newRow("trash") << 2;
}

void TestSynchronizerRaces::pathThatCouldNotBeRead_isNotRemembered()
{
    QFETCH(int, kind);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.send("b"_s, "x"));
    const auto path = [&] {
        return kind == 0   ? engine.sync().localDirPath(1)
               : kind == 1 ? engine.sync().distantDirPath(1)
                           : engine.sync().trashDirPath(1);
    };
    const QString known = path();
    const QList<QVariantMap> rows = allRows(engine);
    QVERIFY(!known.isEmpty());
    engine.sync().invalidateDirPathCache(1);
    {
        const LostDirectories lost(engine);
        QVERIFY(lost.isLost);
        QCOMPARE(path(), QString());
    }
    QCOMPARE(path(), known);
    engine.forget();
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(allRows(engine), rows);
}

void TestSynchronizerRaces::passWithoutItsPaths_changesNothing()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.send("b"_s, "x"));
    QVERIFY(engine.local().append("b"_s, "yy"));
    const QList<QVariantMap> rows = allRows(engine);
    engine.sync().invalidateDirPathCache(1);
    {
        const LostDirectories lost(engine);
        QVERIFY(lost.isLost);
        engine.pass();
    }
    QCOMPARE(allRows(engine), rows);
    QCOMPARE(engine.taskCount(), 0);
    engine.passAndRun();
    QCOMPARE(engine.distant().read("b"_s), QByteArray("xyy"));
}

void TestSynchronizerRaces::passWhosePathCanBeReadAMomentLater_changesNothing_data()
{
    QTest::addColumn<int>("failures");
    QTest::newRow("after one failure") << 1;
    QTest::newRow("after two") << 2; // local and distant
}

void TestSynchronizerRaces::passWhosePathCanBeReadAMomentLater_changesNothing()
{
    QFETCH(int, failures);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.send("b"_s, "x"));
    const QList<QVariantMap> rows = allRows(engine);
    engine.sync().invalidateDirPathCache(1);
    auto lost = std::make_unique<LostDirectories>(engine);
    QVERIFY(lost->isLost);
    const auto connection = connect(&engine.database(), &VornSyncDatabase::errorOccurred, this, [&] {
        if (--failures == 0)
            lost.reset();
    });
    engine.pass();
    disconnect(connection);
    QVERIFY(!lost);
    QCOMPARE(allRows(engine), rows);
    QCOMPARE(engine.taskCount(), 0);
    engine.forget();
    QCOMPARE(engine.secondPass(), QStringList());
}

void TestSynchronizerRaces::passOnAnUnknownDirectory_changesNothing()
{
    constexpr int kUnknownId = 99;
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.putRow(kUnknownId, "a"_s, RowSpec())); // left by a directory that is gone
    const QList<QVariantMap> rows = allRows(engine);
    QCOMPARE(rows.size(), 1);
    for (int i = 0; i < 3; ++i)
        engine.sync().synchronizeDirectory(kUnknownId);
    QCOMPARE(allRows(engine), rows);
    QCOMPARE(engine.taskCount(), 0);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerRaces::wipedAndRegisteredInAnotherOrderDuringAPass_noRowGoesAstray()
{
    constexpr int kFiles = 5;
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("z"_s, "y")); // the first of the pass, which has the others before it
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(engine.send("f%1"_s.arg(i), "x"));
    QVERIFY(engine.local().remove("z"_s));
    const Pair other;
    int otherId = 0;
    int id = 0;
    atFirstErrorState(engine, [&] {
        QVERIFY(engine.database().reset());
        otherId = engine.addDirectory("other"_s, other.localPath(), other.distantPath(), other.trashRoot());
        id = engine.addDirectory("docs"_s, engine.local().path(), engine.distant().path(),
                                 engine.trash().path());
    });
    engine.pass();
    engine.runAll();
    QCOMPARE(otherId, 1);
    QCOMPARE(id, 2);
    QCOMPARE(allRows(engine), QList<QVariantMap>());
    engine.sync().synchronizeDirectory(otherId);
    engine.sync().synchronizeDirectory(id);
    QCOMPARE(engine.taskCount(), kFiles);
    engine.runAll();
    const QList<QVariantMap> rows = allRows(engine);
    QCOMPARE(rows.size(), kFiles);
    for (const QVariantMap& row : rows) {
        QCOMPARE(row.value("directories_id"_s).toInt(), id);
        QCOMPARE(row.value("status"_s).toInt(), int(ceSfsUpToDate));
    }
    QCOMPARE(other.distant().names(), QStringList());
}

void TestSynchronizerRaces::removedDuringItsPass_atMostOneError()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("1"_s, "y")); // the first of the pass
    for (int i = 0; i < 5; ++i) {
        QVERIFY(engine.send("f%1"_s.arg(i), "x"));
        QVERIFY(engine.local().append("f%1"_s.arg(i), "yy"));
        QVERIFY(engine.local().write("new %1"_s.arg(i), "x"));
    }
    QVERIFY(engine.local().remove("1"_s));
    bool isRemoved = false;
    atFirstErrorState(engine, [&] {
        engine.forget();
        isRemoved = engine.database().deleteDirectory(1);
    });
    engine.pass();
    QVERIFY(isRemoved);
    const QStringList events = engine.takeEvents();
    QVERIFY2(errorsIn(events) <= 1, qPrintable(events.join(QLatin1Char('\n'))));
    engine.pass();
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(allRows(engine), QList<QVariantMap>());
}

void TestSynchronizerRaces::reasonThatCouldNotBeRead_decidesNothing_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("isLocal");
    QTest::newRow("distant shrunk") << (ceSfsError | ceSfsUpToDate) << int(ceSecCopySizeMismatch) << true;
    QTest::newRow("local missing") << (ceSfsError | ceSfsPendingSync) << int(ceSecLocalFileMissing) << false;
    QTest::newRow("distant missing") << (ceSfsError | ceSfsPendingSync) << int(ceSecDistantFileMissing)
                                     << true;
}

void TestSynchronizerRaces::reasonThatCouldNotBeRead_decidesNothing()
{
    QFETCH(int, status);
    QFETCH(int, code);
    QFETCH(bool, isLocal);
    Engine engine;
    QVERIFY(engine.start());
    RowSpec first;
    first.status = ceSfsError | ceSfsUpToDate;
    first.errorCode = ceSecUnknown;
    QVERIFY(engine.putRow("first"_s, first));
    RowSpec spec;
    spec.status = status;
    spec.errorCode = code;
    QVERIFY(engine.putRow("later"_s, spec));
    if (isLocal)
        QVERIFY(engine.local().write("later"_s, "x"));
    const QVariantMap row = engine.row("later"_s);
    // From the first row's end to the next failure there are no reasons.
    bool isLost = false;
    atFirstErrorState(engine, [&] {
        isLost = engine.raw().exec("ALTER TABLE file_tracking RENAME COLUMN error_code TO lost"_s);
    });
    int errors = 0;
    QObject context;
    connect(&engine.database(), &VornSyncDatabase::errorOccurred, &context, [&] {
        if (++errors == 1)
            QVERIFY(engine.raw().exec("ALTER TABLE file_tracking RENAME COLUMN lost TO error_code"_s));
    });
    engine.sync().resolveFilesError(1);
    QVERIFY(isLost);
    QCOMPARE(errors, 1);
    QCOMPARE(engine.row("later"_s), row);
    QCOMPARE(engine.taskCount(), 0);
}

// --- The disk -------------------------------------------------------------------------------------------

void TestSynchronizerRaces::siblingInTheLocalDirectory_isNoNewFile()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.distant().write("a"_s, "from elsewhere"));
    const pVornSyncTask task =
        VornSyncTask::create(engine.distant().filePath("a"_s), engine.local().filePath("a"_s), ceStoCopy);
    QVERIFY(task);
    task->setExpectedDestination(VornSyncFiles::facts(engine.local().filePath("a"_s)));
    QString sibling;
    {
        // Its destination is looked at once more when the sibling is complete.
        StatHook hook(engine.local().filePath("a"_s), [&] {
            const QStringList siblings =
                engine.local().names().filter(QRegularExpression("^a\\.[0-9a-f]{4}$"_s));
            if (siblings.isEmpty())
                return 0;
            sibling = siblings.first();
            engine.pass();
            engine.sync().notifyLocalFileChanged(1, sibling); // as a host that watches the directory does
            return 0;
        });
        QVERIFY(task->runtask());
    }
    QVERIFY(!sibling.isEmpty());
    QVERIFY(!engine.hasRow(sibling));
    // A listing from before the end decides after it.
    QVERIFY(!engine.local().exists(sibling));
    QVERIFY(!engine.sync().copyToDistant(1, sibling));
    QVERIFY(!engine.hasRow(sibling));
    QCOMPARE(errorsIn(engine.takeEvents()), 0);
    QCOMPARE(engine.local().names(), QStringList("a"_s));
    // The user may have a file of that name.
    QVERIFY(engine.local().write(sibling, "mine"));
    engine.passAndRun();
    QCOMPARE(engine.distant().read(sibling), QByteArray("mine"));
    QCOMPARE(engine.state(sibling), "17/0"_s);
}

void TestSynchronizerRaces::siblingOfSomebodyElse_isNotRemoved_data()
{
    QTest::addColumn<int>("looksThatFail");
    QTest::newRow("not tested once") << 1;
    QTest::newRow("never tested") << 1000;
}

void TestSynchronizerRaces::siblingOfSomebodyElse_isNotRemoved()
{
    QFETCH(int, looksThatFail);
    const Pair pair;
    QVERIFY(pair.local().write("a"_s, "new content"));
    QVERIFY(pair.distant().write("a"_s, "old"));
    const pVornSyncTask task =
        VornSyncTask::create(pair.local().filePath("a"_s), pair.distant().filePath("a"_s), ceStoCopy);
    QVERIFY(task);
    QStringList siblings;
    {
        const QString pattern =
            QRegularExpression::escape(pair.distant().filePath("a"_s)) + "\\.[0-9a-f]{4}"_s;
        StatHook hook(QRegularExpression(QRegularExpression::anchoredPattern(pattern)),
                      [&](const QString& path) {
                          const QString name = path.mid(pair.distantPath().size() + 1);
                          if (siblings.isEmpty() && !pair.distant().write(name, "somebody's"))
                              return 0;
                          siblings << name;
                          return siblings.size() <= looksThatFail ? EIO : 0;
                      });
        QVERIFY(!task->runtask());
    }
    QVERIFY(!siblings.isEmpty());
    QCOMPARE(pair.distant().read(siblings.first()), QByteArray("somebody's"));
    QCOMPARE(pair.distant().read("a"_s), QByteArray("old"));
    QCOMPARE(pair.distant().names().size(), 2);
}

QTEST_GUILESS_MAIN(TestSynchronizerRaces)
#include "test_synchronizer_races.moc"

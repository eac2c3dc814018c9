#include "disk_hooks.h"
#include "engine_fixture.h"

#include <QDir>
#include <QTest>

#include <cerrno>

using namespace VornSyncTest;

namespace {

const QString kDistantChoice = QStringLiteral("distant missing, waiting for user choice (restore vs delete)");
const QString kLocalChoice = QStringLiteral("local missing, waiting for user confirmation");

[[nodiscard]] bool putError(Engine& engine, const QString& name, int base, int code)
{
    RowSpec spec;
    spec.status = base | ceSfsError;
    spec.errorCode = code;
    return engine.putRow(name, spec);
}

} // namespace

class TestSynchronizerTrash : public QObject
{
    Q_OBJECT

private slots:
    void notifyChanged_sendsAtOnce();
    void notifyChanged_emptyName_isFalse();
    void notifyChanged_missingFile();
    void notifyChanged_ofATombstonedFile_sendsIt();

    void notifyDeleted_removesTheDistantCopy();
    void notifyDeleted_nothingToRemove();
    void notifyDeleted_thatFails();
    void notifyDeleted_distantAway_isNotTakenForDone();
    void notifyDeleted_unknownDirectory();
    void notifyDeleted_whileCopied_isDeferred();

    void notifyDeleted_whileCopiedAndChanged_isNotSentAgain();

    void moveToTrash_movesTheLocalFile();
    void moveToTrash_busyReadsAsAccepted_data();
    void moveToTrash_busyReadsAsAccepted();
    void moveToTrash_localMissing_isFalse();
    void moveToTrash_intoAMissingDirectory();
    void moveToTrash_carriesTheAssociatedDirectory();
    void restore_needsTheLocalFile();
    void confirmDeletion_tombstonesTheRow();
    void confirmDeletion_ofAnUntrackedFile();

    void removeFromTrash_removesThePlainFile();
    void removeFromTrash_results_data();
    void removeFromTrash_results();
    void dropStaleTrashCopy_data();
    void dropStaleTrashCopy();

    void resolveErrors_betweenTheLines();
    void resolveErrors_everyFileOfTheDirectoryAlone();
    void resolve_waitsForTheUser_data();
    void resolve_waitsForTheUser();
    void distantMissing_thenLocalToo_becomesLocalMissing_data();
    void distantMissing_thenLocalToo_becomesLocalMissing();
    void resolve_pendingSyncWhoseLocalFileHasGone_losesItsRow();
    void resolve_byBaseStatus_data();
    void resolve_byBaseStatus();
    void resolve_noCertainAnswer_keepsTheError_data();
    void resolve_noCertainAnswer_keepsTheError();
    void resolve_pathThatCantBeRead_keepsTheError_data();
    void resolve_pathThatCantBeRead_keepsTheError();
    void resolve_otherCodeOfAnUpToDateRow_onlyClears();
    void resolve_settledByTheHostMeanwhile_holds();
    void resolve_settledByTheHostBeforeItIsCleared_holds();
    void resolve_rowWithoutError();
    void resolve_failedCopyIsSentOnceItIsStale();
};

void TestSynchronizerTrash::notifyChanged_sendsAtOnce()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a%1.txt"_s, "x"));
    QVERIFY(engine.sync().notifyLocalFileChanged(1, "a%1.txt"_s));
    COMPARE_LINES(engine, "notifyLocalFileChanged - Immediate copyToDistant for 'a%1.txt' (dirId=1)"_s,
                  "doTask - Operation: ceStoCopy between source: '~/local/a%1.txt' and destination: "
                  "'~/distant/a%1.txt'."_s);
    COMPARE_EVENTS(engine, "task ceStoCopy ~/local/a%1.txt -> ~/distant/a%1.txt"_s,
                   "started ~/local/a%1.txt"_s);
    QVERIFY(engine.runNext());
    QCOMPARE(engine.state("a%1.txt"_s), "17/0"_s);
}

void TestSynchronizerTrash::notifyChanged_emptyName_isFalse()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(!engine.sync().notifyLocalFileChanged(1, QString()));
    COMPARE_NO_LINES(engine);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerTrash::notifyChanged_missingFile()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().remove("a.txt"_s));
    QVERIFY(!engine.sync().notifyLocalFileChanged(1, "a.txt"_s));
    QCOMPARE(engine.state("a.txt"_s), "145/2"_s);
    COMPARE_EVENTS(
        engine, "error ERROR: Impossible to process synchronization, local file does not exist: 'a.txt'."_s,
        "errorStateChanged"_s);
}

void TestSynchronizerTrash::notifyChanged_ofATombstonedFile_sendsIt()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.database().setFileDeleted(1, "a.txt"_s));
    QVERIFY(engine.sync().notifyLocalFileChanged(1, "a.txt"_s));
    QVERIFY(engine.runNext());
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QVERIFY(engine.row("a.txt"_s).value("trashed_date"_s).isNull());
}

void TestSynchronizerTrash::notifyDeleted_removesTheDistantCopy()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().remove("a.txt"_s));
    QVERIFY(engine.database().setFileDeleted(1, "a.txt"_s)); // the manager's part
    engine.forget();
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "a.txt"_s));
    QVERIFY(!engine.distant().exists("a.txt"_s));
    COMPARE_LINES(engine,
                  "notifyLocalFileDeleted - Program-initiated distant cleanup of 'a.txt' (dirId=1)"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QCOMPARE(engine.state("a.txt"_s), "40/0"_s);
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerTrash::notifyDeleted_nothingToRemove()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "a.txt"_s));
    COMPARE_LINES(engine,
                  "notifyLocalFileDeleted - Program-initiated distant cleanup of 'a.txt' (dirId=1)"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
}

void TestSynchronizerTrash::notifyDeleted_thatFails()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.distant().makeDirectory("a%2.txt"_s));
    QVERIFY(!engine.sync().notifyLocalFileDeleted(1, "a%2.txt"_s));
    COMPARE_LINES(engine,
                  "notifyLocalFileDeleted - Program-initiated distant cleanup of 'a%2.txt' (dirId=1)"_s,
                  "notifyLocalFileDeleted - Warning: distant file remove FAILED for '~/distant/a%2.txt'"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QVERIFY(engine.distant().exists("a%2.txt"_s));
}

void TestSynchronizerTrash::notifyDeleted_distantAway_isNotTakenForDone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(QDir(engine.pair().distantPath()).removeRecursively());
    QVERIFY(!engine.sync().notifyLocalFileDeleted(1, "a.txt"_s));
    COMPARE_LINES(engine, "notifyLocalFileDeleted - Program-initiated distant cleanup of 'a.txt' (dirId=1)"_s,
                  "notifyLocalFileDeleted - Warning: distant file remove FAILED for '~/distant/a.txt'"_s);
}

void TestSynchronizerTrash::notifyDeleted_unknownDirectory()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(!engine.sync().notifyLocalFileDeleted(9, "a.txt"_s));
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
}

// The distant file goes only when the task has ended, whatever its outcome (both outcomes: see dispatch).
void TestSynchronizerTrash::notifyDeleted_whileCopied_isDeferred()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().write("a.txt"_s, "changed"));
    engine.pass();
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "a.txt"_s));
    QVERIFY(engine.distant().exists("a.txt"_s));
    engine.runAll();
    QVERIFY(!engine.distant().exists("a.txt"_s));
}

// The wish to remove is younger than the change that the copy missed.
void TestSynchronizerTrash::notifyDeleted_whileCopiedAndChanged_isNotSentAgain()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    engine.pass();
    const pVornSyncTask task = engine.takeTask();
    QVERIFY(task && task->runtask());
    QVERIFY(engine.local().write("a.txt"_s, "changed"));
    QVERIFY(engine.sync().notifyLocalFileDeleted(1, "a.txt"_s));
    QVERIFY(engine.distant().exists("a.txt"_s));
    engine.sync().onTaskDone(task, true);
    QVERIFY(!engine.distant().exists("a.txt"_s));
    QCOMPARE(engine.taskCount(), 0);
}

void TestSynchronizerTrash::moveToTrash_movesTheLocalFile()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.sync().moveToTrashFile(1, "a.txt"_s));
    QCOMPARE(engine.state("a.txt"_s), "36/0"_s);
    COMPARE_LINES(engine, "moveToTrashFile - User-driven moveToTrash for 'a.txt' (dirId=1)"_s,
                  "doTask - Operation: ceStoMove between source: '~/local/a.txt' and destination: "
                  "'~/trash/a.txt'."_s);
    COMPARE_EVENTS(engine, "task ceStoMove ~/local/a.txt -> ~/trash/a.txt"_s, "started ~/local/a.txt"_s);
    QVERIFY(engine.runNext());
    COMPARE_LINES(engine, "onTaskDone - Task on file '~/local/a.txt' done (in-flight=0)."_s);
    COMPARE_EVENTS(engine, "completed ~/local/a.txt"_s);
    QCOMPARE(engine.state("a.txt"_s), "33/0"_s);
    QVERIFY(!engine.row("a.txt"_s).value("trashed_date"_s).toString().isEmpty());
    QVERIFY(!engine.local().exists("a.txt"_s));
    QCOMPARE(engine.trash().read("a.txt"_s), QByteArray("x"));
    QVERIFY(engine.distant().exists("a.txt"_s));
    QCOMPARE(engine.secondPass(), QStringList());
    QCOMPARE(engine.restProblems(), QString());
}

void TestSynchronizerTrash::moveToTrash_busyReadsAsAccepted_data()
{
    QTest::addColumn<int>("status");
    for (int status : {18, 20, 34, 36, 66, 68})
        QTest::addRow("%d", status) << status;
}

void TestSynchronizerTrash::moveToTrash_busyReadsAsAccepted()
{
    QFETCH(int, status);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.txt"_s, "x"));
    RowSpec spec;
    spec.status = status;
    QVERIFY(engine.putRow("a.txt"_s, spec));
    QVERIFY(engine.sync().moveToTrashFile(1, "a.txt"_s));
    QVERIFY(engine.sync().restoreFromTrash(1, "a.txt"_s));
    QCOMPARE(engine.taskCount(), 0);
    QCOMPARE(engine.status("a.txt"_s), status);
}

void TestSynchronizerTrash::moveToTrash_localMissing_isFalse()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(engine.local().remove("a.txt"_s));
    QVERIFY(!engine.sync().moveToTrashFile(1, "a.txt"_s));
    QCOMPARE(engine.state("a.txt"_s), "145/2"_s);
}

void TestSynchronizerTrash::moveToTrash_intoAMissingDirectory()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a.txt"_s, "x"));
    QVERIFY(QDir(engine.trash().path()).removeRecursively());
    QVERIFY(engine.sync().moveToTrashFile(1, "a.txt"_s));
    const pVornSyncTask task = engine.takeTask();
    for (int run = 1; run <= 5; ++run)
        QVERIFY(!task->runtask());
    engine.sync().onTaskDone(task, false);
    QCOMPARE(engine.state("a.txt"_s), "164/4"_s);
    QCOMPARE(engine.local().read("a.txt"_s), QByteArray("x"));
}

void TestSynchronizerTrash::moveToTrash_carriesTheAssociatedDirectory()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("page/image"_s, "i"));
    QVERIFY(engine.send("page.html"_s, "x"));
    QVERIFY(engine.distant().exists("page/image"_s));
    QVERIFY(engine.sync().moveToTrashFile(1, "page.html"_s));
    QVERIFY(engine.runNext());
    QCOMPARE(engine.trash().allFiles(), (QStringList{"page.html"_s, "page/image"_s}));
    QCOMPARE(engine.local().allFiles(), QStringList());
}

// Kept, odd as it looks: the start asks for the local file, whatever is to be done.
void TestSynchronizerTrash::restore_needsTheLocalFile()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.trash().write("a.txt"_s, "x"));
    RowSpec spec;
    spec.status = ceSfsTrashed;
    QVERIFY(engine.putRow("a.txt"_s, spec));
    QVERIFY(!engine.sync().restoreFromTrash(1, "a.txt"_s));
    QCOMPARE(engine.state("a.txt"_s), "161/2"_s);
    QVERIFY(engine.trash().exists("a.txt"_s));
}

void TestSynchronizerTrash::confirmDeletion_tombstonesTheRow()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a%1.txt"_s, "x"));
    QVERIFY(engine.local().remove("a%1.txt"_s));
    engine.pass();
    QCOMPARE(engine.state("a%1.txt"_s), "145/2"_s);
    engine.forget();
    engine.sync().confirmFileDeletion(1, "a%1.txt"_s);
    COMPARE_LINES(engine, "confirmFileDeletion - User confirmed deletion of 'a%1.txt' (dirId=1)"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QCOMPARE(engine.state("a%1.txt"_s), "40/0"_s);
    QVERIFY(!engine.row("a%1.txt"_s).value("trashed_date"_s).toString().isEmpty());
    QCOMPARE(engine.secondPass(), QStringList());
    QVERIFY(engine.distant().exists("a%1.txt"_s));
}

void TestSynchronizerTrash::confirmDeletion_ofAnUntrackedFile()
{
    Engine engine;
    QVERIFY(engine.start());
    engine.sync().confirmFileDeletion(1, "a.txt"_s);
    QCOMPARE(engine.state("a.txt"_s), "40/0"_s);
}

void TestSynchronizerTrash::removeFromTrash_removesThePlainFile()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.trash().write("a%1"_s, "x"));
    QVERIFY(engine.sync().removeFromTrash(1, "a%1"_s));
    QVERIFY(!engine.trash().exists("a%1"_s));
    COMPARE_LINES(engine, "removeFromTrash - file: 'a%1' in directoryId: 1"_s);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerTrash::removeFromTrash_results_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<bool>("isSurelyGone");
    QTest::newRow("no such file") << "absent"_s << true;
    QTest::newRow("no trash directory") << "away"_s << false;
    QTest::newRow("cannot be removed") << "directory"_s << false;
    QTest::newRow("unknown directory id") << "unknown"_s << false;
}

void TestSynchronizerTrash::removeFromTrash_results()
{
    QFETCH(QString, what);
    QFETCH(bool, isSurelyGone);
    Engine engine;
    QVERIFY(engine.start());
    if (what == "away"_s)
        QVERIFY(QDir(engine.trash().path()).removeRecursively());
    if (what == "directory"_s)
        QVERIFY(engine.trash().makeDirectory("a"_s));
    QCOMPARE(engine.sync().removeFromTrash(what == "unknown"_s ? 9 : 1, "a"_s), isSurelyGone);
    if (what == "directory"_s) {
        const QString message = "ERROR: Failed to permanently delete file from trash: '~/trash/a'"_s;
        COMPARE_LINES(engine, "removeFromTrash - file: 'a' in directoryId: 1"_s, "emitError - "_s + message);
        COMPARE_EVENTS(engine, "error "_s + message);
    } else {
        COMPARE_NO_LINES(engine);
        COMPARE_NO_EVENTS(engine);
    }
}

void TestSynchronizerTrash::dropStaleTrashCopy_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("directoryId");
    QTest::addColumn<QStringList>("lines");
    const auto line = [](const char* text) {
        return QStringList("removeFromLocalTrashIfExists - "_s + QString::fromLatin1(text));
    };
    QTest::newRow("there") << "file%1"_s << 1 << line("Dropped stale trash copy '~/trash/file%1' (dirId=1)");
    QTest::newRow("a directory") << "directory"_s << 1
                                 << line("Warning: failed to drop stale trash copy '~/trash/directory'");
    QTest::newRow("not there") << "nothing"_s << 1 << QStringList();
    QTest::newRow("empty name") << QString() << 1 << QStringList();
    QTest::newRow("outside") << "../victim"_s << 1 << QStringList();
    QTest::newRow("unknown directory id") << "file%1"_s << 9 << QStringList();
}

void TestSynchronizerTrash::dropStaleTrashCopy()
{
    QFETCH(QString, name);
    QFETCH(int, directoryId);
    QFETCH(QStringList, lines);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.trash().write("file%1"_s, "x"));
    QVERIFY(engine.trash().makeDirectory("directory"_s));
    QVERIFY(engine.trash().write("../victim"_s, "x"));
    engine.sync().removeFromLocalTrashIfExists(directoryId, name);
    if (traceLinesBuiltIn())
        QCOMPARE(engine.takeLines(), lines);
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.trash().exists("file%1"_s), name != "file%1"_s || directoryId != 1);
    QVERIFY(engine.trash().exists("../victim"_s));
}

void TestSynchronizerTrash::resolveErrors_betweenTheLines()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("fine"_s, "x"));
    QVERIFY(putError(engine, "a%1"_s, ceSfsUpToDate, ceSecDistantFileMissing));
    engine.sync().resolveFilesError(1);
    COMPARE_LINES(engine, "resolveFilesError - Start Files error resolving for directoryId: 1"_s,
                  "resolveFileError - Skipping auto-retry for 'a%1' (dirId=1): "_s + kDistantChoice,
                  "resolveFilesError - End Files error resolving for directoryId: 1"_s);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerTrash::resolveErrors_everyFileOfTheDirectoryAlone()
{
    Engine engine;
    QVERIFY(engine.start());
    QCOMPARE(engine.addDirectory("two"_s, "/l2"_s, "/d2"_s, "/t2"_s), 2);
    for (const QString& name : {"a"_s, "b"_s})
        QVERIFY(putError(engine, name, ceSfsUpToDate, ceSecCopyFailed));
    RowSpec spec;
    spec.status = ceSfsUpToDate | ceSfsError;
    spec.errorCode = ceSecCopyFailed;
    QVERIFY(engine.putRow(2, "c"_s, spec));
    engine.sync().resolveFilesError(1);
    QCOMPARE(engine.state("a"_s), "17/0"_s);
    QCOMPARE(engine.state("b"_s), "17/0"_s);
    QCOMPARE(engine.raw().fileRow(2, "c"_s).value("status"_s).toInt(), 145);
    COMPARE_EVENTS(engine, "errorStateChanged"_s, "errorStateChanged"_s);
}

void TestSynchronizerTrash::resolve_waitsForTheUser_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("base");
    QTest::addColumn<QString>("reason");
    for (int base : {int(ceSfsUpToDate), int(ceSfsPendingSync), int(ceSfsSyncing)}) {
        QTest::addRow("local missing, %d", base) << int(ceSecLocalFileMissing) << base << kLocalChoice;
        QTest::addRow("distant missing, %d", base) << int(ceSecDistantFileMissing) << base << kDistantChoice;
    }
}

void TestSynchronizerTrash::resolve_waitsForTheUser()
{
    QFETCH(int, code);
    QFETCH(int, base);
    QFETCH(QString, reason);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a"_s, "x"));
    QVERIFY(putError(engine, "a"_s, base, code));
    engine.sync().resolveFileError(1, "a"_s, base | ceSfsError);
    COMPARE_LINES(engine, "resolveFileError - Skipping auto-retry for 'a' (dirId=1): "_s + reason);
    COMPARE_NO_EVENTS(engine);
    QCOMPARE(engine.state("a"_s), "%1/%2"_s.arg(base | ceSfsError).arg(code));
}

void TestSynchronizerTrash::distantMissing_thenLocalToo_becomesLocalMissing_data()
{
    QTest::addColumn<bool>("isRestored");
    QTest::newRow("restored") << true;
    QTest::newRow("deleted") << false;
}

// The user decides on a distant loss, and the local file is gone by then.
void TestSynchronizerTrash::distantMissing_thenLocalToo_becomesLocalMissing()
{
    QFETCH(bool, isRestored);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(putError(engine, "a"_s, ceSfsUpToDate, ceSecDistantFileMissing));
    engine.pass();
    QCOMPARE(engine.state("a"_s), "145/15"_s); // until then it stays what it was
    QVERIFY(isRestored ? !engine.sync().notifyLocalFileChanged(1, "a"_s)
                       : !engine.sync().moveToTrashFile(1, "a"_s));
    QCOMPARE(engine.state("a"_s), "145/2"_s);
    QCOMPARE(engine.taskCount(), 0);
    engine.sync().confirmFileDeletion(1, "a"_s);
    QCOMPARE(engine.state("a"_s), "40/0"_s);
}

void TestSynchronizerTrash::resolve_pendingSyncWhoseLocalFileHasGone_losesItsRow()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(putError(engine, "a"_s, ceSfsPendingSync, ceSecCopyFailed));
    engine.sync().resolveFilesError(1);
    QVERIFY(!engine.hasRow("a"_s));
    COMPARE_EVENTS(engine, "errorStateChanged"_s, "errorStateChanged"_s);
}

void TestSynchronizerTrash::resolve_byBaseStatus_data()
{
    QTest::addColumn<int>("base");
    QTest::addColumn<bool>("isThere"); // in the local directory, or in the trash, as the base status asks
    QTest::addColumn<QString>("state");
    for (int base : {18, 20, 34, 36, 66, 68, 33}) {
        QTest::addRow("%d, gone", base) << base << false << "none"_s;
        // Required: a start refuses every pending and every running row, so it is only cleared.
        QTest::addRow("%d, there", base) << base << true << "%1/0"_s.arg(base);
    }
    QTest::newRow("17") << 17 << false << "17/0"_s;
    QTest::newRow("0") << 0 << false << "0/0"_s;
    QTest::newRow("40") << 40 << false << "40/0"_s;
}

void TestSynchronizerTrash::resolve_byBaseStatus()
{
    QFETCH(int, base);
    QFETCH(bool, isThere);
    QFETCH(QString, state);
    Engine engine;
    QVERIFY(engine.start());
    const bool isTrashAsked = base == 33 || base == 66 || base == 68;
    if (isThere)
        QVERIFY((isTrashAsked ? engine.trash() : engine.local()).write("a"_s, "x"));
    // The other side must not answer for the one that is asked.
    if (!isThere)
        QVERIFY((isTrashAsked ? engine.local() : engine.trash()).write("a"_s, "x"));
    QVERIFY(putError(engine, "a"_s, base, ceSecCopyFailed));
    engine.sync().resolveFileError(1, "a"_s, base | ceSfsError);
    QCOMPARE(engine.state("a"_s), state);
    QCOMPARE(engine.takeEvents().filter("errorStateChanged"_s).isEmpty(), false);
    QVERIFY((isTrashAsked ? engine.trash() : engine.local()).exists("a"_s) == isThere);
}

void TestSynchronizerTrash::resolve_noCertainAnswer_keepsTheError_data()
{
    QTest::addColumn<int>("base");
    for (int base : {18, 20, 34, 36, 66, 68, 33})
        QTest::addRow("%d", base) << base;
}

// A share that is away is no reason to forget a file.
void TestSynchronizerTrash::resolve_noCertainAnswer_keepsTheError()
{
    QFETCH(int, base);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(QDir(engine.pair().localPath()).removeRecursively());
    QVERIFY(QDir(engine.trash().path()).removeRecursively());
    QVERIFY(putError(engine, "a"_s, base, ceSecCopyFailed));
    engine.sync().resolveFileError(1, "a"_s, base | ceSfsError);
    QCOMPARE(engine.state("a"_s), "%1/6"_s.arg(base | ceSfsError));
    COMPARE_LINES(
        engine,
        "resolveFileError - Skipping auto-retry for 'a' (dirId=1): no certain answer from the disk"_s);
    COMPARE_NO_EVENTS(engine);
}

void TestSynchronizerTrash::resolve_pathThatCantBeRead_keepsTheError_data()
{
    resolve_noCertainAnswer_keepsTheError_data();
}

// Below no directory at all there is no such file, which says nothing about the one that is meant.
void TestSynchronizerTrash::resolve_pathThatCantBeRead_keepsTheError()
{
    QFETCH(int, base);
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a"_s, "x"));
    QVERIFY(engine.trash().write("a"_s, "x"));
    QVERIFY(putError(engine, "a"_s, base, ceSecCopyFailed));
    QVERIFY(engine.raw().exec("ALTER TABLE directories RENAME TO away"_s));
    engine.sync().resolveFileError(1, "a"_s, base | ceSfsError);
    QVERIFY(engine.raw().exec("ALTER TABLE away RENAME TO directories"_s));
    QCOMPARE(engine.state("a"_s), "%1/6"_s.arg(base | ceSfsError));
}

void TestSynchronizerTrash::resolve_otherCodeOfAnUpToDateRow_onlyClears()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    QVERIFY(engine.database().setFileStatus(1, "a"_s, ceSfsError, ceSecDistantRenameFailed));
    engine.forget();
    engine.sync().resolveFilesError(1);
    QCOMPARE(engine.state("a"_s), "17/0"_s);
    COMPARE_EVENTS(engine, "errorStateChanged"_s);
    QCOMPARE(engine.taskCount(), 0);
}

// The host answers the first signal with a tombstone: nothing is sent, and the row is not removed.
void TestSynchronizerTrash::resolve_settledByTheHostMeanwhile_holds()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(putError(engine, "a"_s, ceSfsPendingSync, ceSecCopyFailed));
    bool isSet = false;
    connect(&engine.sync(), &VornSyncSynchronizer::errorStateChanged, this,
            [&] { isSet = isSet || engine.database().setFileDeleted(1, "a"_s); });
    engine.sync().resolveFileError(1, "a"_s, ceSfsPendingSync | ceSfsError);
    QVERIFY(isSet);
    QCOMPARE(engine.state("a"_s), "40/0"_s);
    QCOMPARE(engine.taskCount(), 0);
}

// The host deletes the file between the look at the disk and the step in the database.
void TestSynchronizerTrash::resolve_settledByTheHostBeforeItIsCleared_holds()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(putError(engine, "a"_s, ceSfsPendingSync, ceSecCopyFailed));
    {
        StatHook hook(engine.local().filePath("a"_s),
                      [&engine] { return engine.database().setFileDeleted(1, "a"_s) ? 0 : EIO; });
        engine.sync().resolveFileError(1, "a"_s, ceSfsPendingSync | ceSfsError);
    }
    QCOMPARE(engine.state("a"_s), "40/0"_s);
    QVERIFY(!engine.row("a"_s).value("trashed_date"_s).isNull());
    QCOMPARE(engine.taskCount(), 0);
}

// The request was queued; meanwhile the error has been settled otherwise.
void TestSynchronizerTrash::resolve_rowWithoutError()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "x"));
    const QVariantMap row = engine.row("a"_s);
    engine.sync().resolveFileError(1, "a"_s, ceSfsSyncing | ceSfsError);
    QCOMPARE(engine.row("a"_s), row);
    QCOMPARE(engine.taskCount(), 0);
    engine.sync().resolveFileError(1, "untracked"_s, ceSfsSyncing | ceSfsError);
    QVERIFY(!engine.hasRow("untracked"_s));
    QCOMPARE(engine.taskCount(), 0);
}

// The whole road of a copy that failed: cleared by the cycle, then waiting until it is stale.
void TestSynchronizerTrash::resolve_failedCopyIsSentOnceItIsStale()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.makeHopeless("a"_s));
    engine.passAndRun();
    QCOMPARE(engine.state("a.txt"_s), "148/9"_s);
    QVERIFY(engine.makeHopeful("a"_s));
    engine.cycleAndRun();
    QCOMPARE(engine.state("a.txt"_s), "20/0"_s);
    engine.cycleAndRun();
    QCOMPARE(engine.state("a.txt"_s), "20/0"_s);
    // Simulated time: the row waits since long ago.
    QVERIFY(engine.raw().exec("UPDATE file_tracking SET status_changed_at = '2024-01-01T00:00:00Z'"_s));
    engine.cycleAndRun();
    QCOMPARE(engine.state("a.txt"_s), "17/0"_s);
    QCOMPARE(engine.pair().compareTrees(), QString());
    QVERIFY(engine.distant().exists("a/0"_s));
    QCOMPARE(engine.secondPass(), QStringList());
}

QTEST_GUILESS_MAIN(TestSynchronizerTrash)
#include "test_synchronizer_trash.moc"

#include "host.h"
#include "literals.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace VornSyncTest;

namespace {

constexpr int kNoCycleMs = 3600000; // only what is asked for happens
constexpr int kUpToDate = 17;
constexpr int kSyncing = 20;
constexpr int kTrashed = 33;
constexpr int kDeleting = 36;
constexpr int kDeleted = 40;
constexpr int kNoRow = -1;
// Five runs, with 1, 2, 3 and 4 s between them, on a loaded machine.
constexpr int kRetriedMs = 60000;

QString plan()
{
    return "plan.doc"_s;
}

HostOptions withoutCycles()
{
    HostOptions options;
    options.syncIntervalMs = kNoCycleMs;
    return options;
}

bool isListed(const Host& host, const QString& fileName, int code)
{
    for (const QVariant& entry : host.manager()->errorFiles()) {
        const QVariantMap map = entry.toMap();
        if (map.value("fileName"_s).toString() == fileName && map.value("errorCode"_s).toInt() == code)
            return true;
    }
    return false;
}

bool awaitPairs(Host& host)
{
    return waitFor(
        [&host] { return host.raw().value("SELECT MIN(available) FROM directories"_s).toInt() == 1; });
}

// One cycle over the first pair, from its begin to its end: a file that is new is sent in it.
bool runCycle(Host& host)
{
    const QString marker = "sent in a cycle"_s;
    if (!host.local().write(marker, "x"))
        return false;
    host.manager()->requestSync();
    return waitFor([&] { return host.status(marker) == kUpToDate; });
}

bool writeMany(const Host& host, int count)
{
    for (int i = 0; i < count; ++i) {
        if (!host.local().write("file %1"_s.arg(i), QByteArray(10000 + i, 'x')))
            return false;
    }
    return true;
}

} // namespace

// What the user decides on files, and what comes of it on disk and in the database.
class TestUserDecisions : public QObject
{
    Q_OBJECT

private slots:
    // Files in error
    void onlyTheFileThatIsNamedIsAcknowledged();
    void aLostFileThatIsBackUnchangedWaitsForTheUser();
    void aLostFileThatIsBackChangedIsSent();
    void eachBulkDecisionTakesItsOwnCode_data();
    void eachBulkDecisionTakesItsOwnCode();
    void aDistantFileThatIsBackWaitsForTheUser();
    void aRetriedFailureWaitsUntilItIsStale();
    void decisionsOnOtherFilesChangeNothing();
    void decisionsOnARemovedPairChangeNothing();
    void decisionsWhilePausedAreCarriedOut();

    // Trash
    void aFileMayBeTrashedAgain();
    void theTrashTakesWhatTravels();
    void aTrashThatIsGoneKeepsTheFile();

    // Deletion
    void deletedWhileItsCopyRuns();
    void deletedWhileItsCopyFails();
    void tombstonedWhileItsCopyRuns();
    void aTombstonedFileThatStaysIsSentAgain();

    // Rename
    void namesThatCannotBeRenamed_data();
    void namesThatCannotBeRenamed();
    void aFileInFlightCannotBeRenamed();
    void namesOfARenameAreLocked();
    void commitAndAbortWithoutALock();
    void renamedBeforeItWasEverSent();
    void renamedAndChanged();
    void renamedToAnotherCase();
    void renamedOntoAFileOfTheShare();
    void renamedOntoATrackedFile();
    void renamedOntoADeletedFile();
    void aRenameThatTheShareRefuses();

    // Reset and wipe
    void resetWhilePausedWithErrors();
    void resetBringsAnUnusableDatabaseBack();
    void resetOfAPlaceThatDoesNotExist();
    void wipedWhileFilesAreSent();
    void aResetSendsOverTheShare();

    // File-ready requests
    void answeredWithoutACopy_data();
    void answeredWithoutACopy();
    void changedOnBothSidesTheLocalFileIsUsed();
    void aCopyThatComesTooLate();
};

// --- Files in error -------------------------------------------------------------------------------------

void TestUserDecisions::onlyTheFileThatIsNamedIsAcknowledged()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.local().write("other"_s, "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.local().remove(plan()));
    QVERIFY(host.local().remove("other"_s));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 2; }));
    host.manager()->retrySync(Host::alias(), plan());
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }));
    QCOMPARE(host.status(plan()), kDeleted);
    QVERIFY(isListed(host, "other"_s, 2));
    QCOMPARE(host.distant().names(), (QStringList{"other"_s, plan()}));
}

void TestUserDecisions::aLostFileThatIsBackUnchangedWaitsForTheUser()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(QFile::rename(host.local().filePath(plan()), host.pair().rootPath() + "/away"_s));
    QVERIFY(waitFor([&] { return isListed(host, plan(), 2); }));
    QVERIFY(QFile::rename(host.pair().rootPath() + "/away"_s, host.local().filePath(plan())));
    QVERIFY(host.awaitCycles(8)); // with a verification among them
    QVERIFY(isListed(host, plan(), 2));
    host.manager()->retrySync(Host::alias(), plan());
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read(plan()), QByteArray("content"));
}

void TestUserDecisions::aLostFileThatIsBackChangedIsSent()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.local().remove(plan()));
    QVERIFY(waitFor([&] { return isListed(host, plan(), 2); }));
    QVERIFY(host.local().write(plan(), "written again"));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read(plan()), QByteArray("written again"));
}

void TestUserDecisions::eachBulkDecisionTakesItsOwnCode_data()
{
    QTest::addColumn<QString>("decision");
    QTest::addColumn<int>("lostLocally");    // the file without a local copy afterwards, by status
    QTest::addColumn<int>("lostOnTheShare"); // the other one
    QTest::newRow("retry") << "retry"_s << (128 | kUpToDate) << kUpToDate;
    QTest::newRow("acknowledge") << "acknowledge"_s << kDeleted << (128 | kUpToDate);
    QTest::newRow("delete") << "delete"_s << (128 | kUpToDate) << kTrashed;
}

void TestUserDecisions::eachBulkDecisionTakesItsOwnCode()
{
    QFETCH(QString, decision);
    QFETCH(int, lostLocally);
    QFETCH(int, lostOnTheShare);
    Host host;
    QVERIFY(host.local().write("lost here"_s, "1"));
    QVERIFY(host.local().write("lost there"_s, "2"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.local().remove("lost here"_s));
    QVERIFY(host.distant().remove("lost there"_s));
    QVERIFY(waitFor([&] { return isListed(host, "lost here"_s, 2) && isListed(host, "lost there"_s, 15); }));

    if (decision == "retry"_s)
        host.manager()->retryAllErrors();
    else if (decision == "acknowledge"_s)
        host.manager()->acknowledgeAllMissing();
    else
        host.manager()->deleteAllDistantMissing();
    QVERIFY(waitFor([&] {
        return host.status("lost here"_s) == lostLocally && host.status("lost there"_s) == lostOnTheShare;
    }));
    QVERIFY(host.awaitCycles(2));
    QCOMPARE(host.status("lost here"_s), lostLocally);
    QCOMPARE(host.status("lost there"_s), lostOnTheShare);
    QCOMPARE(host.distant().read("lost here"_s), QByteArray("1"));
    QVERIFY(!host.local().exists("lost here"_s));
    QCOMPARE(host.distant().exists("lost there"_s), decision == "retry"_s);
    QCOMPARE(host.local().exists("lost there"_s), decision != "delete"_s);
    if (decision == "delete"_s)
        QCOMPARE(host.trash().read("lost there"_s), QByteArray("2"));
}

void TestUserDecisions::aDistantFileThatIsBackWaitsForTheUser()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.distant().remove(plan()));
    QVERIFY(waitFor([&] { return isListed(host, plan(), 15); }));
    QVERIFY(host.distant().write(plan(), "put back by somebody"));
    QVERIFY(host.awaitCycles(8)); // with a verification among them
    QVERIFY(isListed(host, plan(), 15));
    QCOMPARE(host.distant().read(plan()), QByteArray("put back by somebody"));
    host.manager()->retrySync(Host::alias(), plan());
    QVERIFY(waitFor([&] { return host.distant().read(plan()) == "content"; }));
    VERIFY_AT_REST(host);
}

void TestUserDecisions::aRetriedFailureWaitsUntilItIsStale()
{
    Host host(withoutCycles());
    QVERIFY(host.distant().makeDirectory(plan()));
    QVERIFY(host.start());
    QVERIFY(awaitPairs(host));
    QVERIFY(host.local().write(plan(), "content"));
    host.manager()->notifyLocalFileChanged(Host::alias(), plan());
    QVERIFY(waitFor([&] { return isListed(host, plan(), 13); }, kRetriedMs));
    QCOMPARE(host.status(plan()), 128 | kSyncing);
    QVERIFY(host.distant().remove(plan()));

    host.manager()->retrySync(Host::alias(), plan());
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 0; }));
    QVERIFY(runCycle(host));
    QCOMPARE(host.status(plan()), kSyncing);
    QVERIFY(!host.distant().exists(plan()));
    QVERIFY(host.age(plan()));
    host.manager()->requestSync();
    QVERIFY(waitFor([&] { return host.status(plan()) == kUpToDate; }));
    QCOMPARE(host.distant().read(plan()), QByteArray("content"));
}

void TestUserDecisions::decisionsOnOtherFilesChangeNothing()
{
    Host host(withoutCycles());
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.status(plan()) == kUpToDate; }));
    const QVariantMap row = host.row(plan());
    VornSyncManager& manager = *host.manager();
    for (const QString& alias : {Host::alias(), "nobody"_s}) {
        const bool isKnown = alias == Host::alias();
        const QString other = isKnown ? "untracked"_s : plan();
        manager.retrySync(alias, other);
        manager.commitRename(alias, other, "new"_s);
        manager.abortRename(alias, other, "new"_s);
        if (isKnown)
            continue;
        manager.notifyLocalFileChanged(alias, other);
        manager.notifyLocalFileDeleted(alias, other);
        manager.tombstoneLocalFile(alias, other);
        manager.moveToTrashFile(alias, other);
        QVERIFY(!manager.lockForRename(alias, other, "new"_s));
    }
    manager.retrySync(Host::alias(), plan());
    manager.retryAllErrors();
    manager.acknowledgeAllMissing();
    manager.deleteAllDistantMissing();
    // Behind all of them in the engine's queue.
    QVERIFY(host.local().write("last"_s, "x"));
    manager.notifyLocalFileChanged(Host::alias(), "last"_s);
    QVERIFY(waitFor([&] { return host.status("last"_s) == kUpToDate; }));
    QCOMPARE(host.row(plan()), row);
    QCOMPARE(host.status("untracked"_s), kNoRow);
    QCOMPARE(host.status("new"_s), kNoRow);
    QCOMPARE(host.distant().names(), (QStringList{"last"_s, plan()}));
    QCOMPARE(host.errors(), QStringList());
}

void TestUserDecisions::decisionsOnARemovedPairChangeNothing()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.manager()->lockForRename(Host::alias(), plan(), "new.doc"_s));
    // Queued before the removal, or refused after it: either way the pair is gone when it is looked at.
    QVERIFY(host.manager()->delDirectory(Host::alias()));
    host.manager()->commitRename(Host::alias(), plan(), "new.doc"_s);
    host.manager()->moveToTrashFile(Host::alias(), plan());
    host.manager()->notifyLocalFileDeleted(Host::alias(), plan());
    QVERIFY(host.awaitCycles(2));
    QCOMPARE(host.local().read(plan()), QByteArray("content"));
    QCOMPARE(host.distant().names(), QStringList{plan()});
    QCOMPARE(host.raw().value("SELECT COUNT(*) FROM file_tracking"_s).toInt(), 0);
    QCOMPARE(host.errors(), QStringList());
    // The lock went with the pair.
    QVERIFY(host.manager()->addDirectory(Host::alias(), host.local().path(), host.distant().path()));
    VERIFY_AT_REST(host);
}

void TestUserDecisions::decisionsWhilePausedAreCarriedOut()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.local().write("lost"_s, "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.distant().remove("lost"_s));
    QVERIFY(waitFor([&] { return isListed(host, "lost"_s, 15); }));
    host.manager()->pauseAll();
    host.manager()->retrySync(Host::alias(), "lost"_s);
    host.manager()->moveToTrashFile(Host::alias(), plan());
    QVERIFY(waitFor([&] { return host.status("lost"_s) == kUpToDate && host.status(plan()) == kTrashed; }));
    QVERIFY(host.manager()->isPausedAll());
    QCOMPARE(host.distant().read("lost"_s), QByteArray("content"));
    host.manager()->resumeAll();
    QVERIFY(awaitPairs(host));
    VERIFY_AT_REST(host);
}

// --- Trash ----------------------------------------------------------------------------------------------

void TestUserDecisions::aFileMayBeTrashedAgain()
{
    Host host;
    QVERIFY(host.local().write(plan(), "first"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    host.manager()->moveToTrashFile(Host::alias(), plan());
    QVERIFY(waitFor([&] { return host.status(plan()) == kTrashed; }));
    QCOMPARE(host.distant().read(plan()), QByteArray("first")); // the share keeps its copy
    // A new file of that name takes the place of the one in the trash.
    QVERIFY(host.local().write(plan(), "second"));
    VERIFY_AT_REST(host);
    QVERIFY(!host.trash().exists(plan()));
    QCOMPARE(host.distant().read(plan()), QByteArray("second"));
    host.manager()->moveToTrashFile(Host::alias(), plan());
    QVERIFY(waitFor([&] { return host.status(plan()) == kTrashed; }));
    QCOMPARE(host.trash().read(plan()), QByteArray("second"));
    VERIFY_AT_REST(host);
}

void TestUserDecisions::theTrashTakesWhatTravels()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.local().write("plan/picture"_s, "1"));
    QVERIFY(host.local().write("plan/.hidden"_s, "2"));
    QVERIFY(host.local().write("plan/sub/table"_s, "3"));
    QVERIFY(host.local().write("plan/sub/deep/note"_s, "4"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    host.manager()->moveToTrashFile(Host::alias(), plan());
    QVERIFY(waitFor([&] { return host.status(plan()) == kTrashed; }));
    QCOMPARE(host.trash().allFiles(), (QStringList{plan(), "plan/picture"_s, "plan/sub/table"_s}));
    QCOMPARE(host.local().allFiles(), (QStringList{"plan/.hidden"_s, "plan/sub/deep/note"_s}));
}

void TestUserDecisions::aTrashThatIsGoneKeepsTheFile()
{
    Host host(withoutCycles());
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.status(plan()) == kUpToDate; }));
    QVERIFY(QDir(host.trash().path()).removeRecursively());
    host.manager()->moveToTrashFile(Host::alias(), plan());
    QVERIFY(waitFor([&] { return isListed(host, plan(), 4); }, kRetriedMs));
    QCOMPARE(host.status(plan()), 128 | kDeleting);
    QCOMPARE(host.local().read(plan()), QByteArray("content"));
    // Taken up again, it waits; then it is an ordinary file again, and the wish is forgotten.
    host.manager()->retrySync(Host::alias(), plan());
    QVERIFY(waitFor([&] { return host.status(plan()) == kDeleting; }));
    QVERIFY(host.age(plan()));
    host.manager()->requestSync();
    QVERIFY(waitFor([&] { return host.status(plan()) == kUpToDate; }));
    QCOMPARE(host.local().read(plan()), QByteArray("content"));
    QCOMPARE(host.distant().read(plan()), QByteArray("content"));
}

// --- Deletion -------------------------------------------------------------------------------------------

void TestUserDecisions::deletedWhileItsCopyRuns()
{
    Host host(withoutCycles());
    QVERIFY(host.start());
    QVERIFY(awaitPairs(host));
    host.expectErrors("destination path not available"_s);
    // The share is away for a moment: the copy is tried again and again, and is in flight all the while.
    QVERIFY(QDir().rename(host.distant().path(), host.distant().path() + "-away"_s));
    QVERIFY(host.local().write(plan(), "content"));
    host.manager()->notifyLocalFileChanged(Host::alias(), plan());
    QVERIFY(waitFor([&] { return !host.errors().isEmpty(); }));
    host.manager()->notifyLocalFileDeleted(Host::alias(), plan());
    QCOMPARE(host.status(plan()), kDeleted);
    QVERIFY(QDir().rename(host.distant().path() + "-away"_s, host.distant().path()));
    QVERIFY(waitFor([&] { return host.completed().size() == 1; }, kRetriedMs));
    QCOMPARE(host.completed().first(), qMakePair(host.local().filePath(plan()), true));
    // It was sent, and what was sent is gone again.
    QVERIFY(!host.distant().exists(plan()));
    QCOMPARE(host.status(plan()), kDeleted);
    QVERIFY(host.local().remove(plan()));
    QVERIFY(runCycle(host));
    QCOMPARE(host.status(plan()), kDeleted);
    QVERIFY(host.manager()->errorFiles().isEmpty());
    QCOMPARE(host.takeErrors().filter("destination path not available"_s).isEmpty(), false);
}

void TestUserDecisions::deletedWhileItsCopyFails()
{
    Host host(withoutCycles());
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.status(plan()) == kUpToDate; }));
    QVERIFY(QDir().rename(host.distant().path(), host.distant().path() + "-away"_s));
    QVERIFY(host.local().write(plan(), "changed content"));
    host.manager()->notifyLocalFileChanged(Host::alias(), plan());
    QVERIFY(waitFor([&] { return !host.errors().isEmpty(); }));
    QVERIFY(host.local().remove(plan()));
    host.manager()->notifyLocalFileDeleted(Host::alias(), plan());
    QVERIFY(QDir().rename(host.distant().path() + "-away"_s, host.distant().path()));
    QVERIFY(host.distant().exists(plan()));
    QVERIFY(waitFor([&] { return host.completed().size() == 2; }, kRetriedMs));
    QCOMPARE(host.completed().last(), qMakePair(host.local().filePath(plan()), false));
    // The deletion outlives the failure, which is nobody's concern any more.
    QVERIFY(!host.distant().exists(plan()));
    QCOMPARE(host.status(plan()), kDeleted);
    QVERIFY(host.manager()->errorFiles().isEmpty());
}

void TestUserDecisions::tombstonedWhileItsCopyRuns()
{
    Host host(withoutCycles());
    QVERIFY(host.start());
    QVERIFY(awaitPairs(host));
    QVERIFY(QDir().rename(host.distant().path(), host.distant().path() + "-away"_s));
    QVERIFY(host.local().write(plan(), "content"));
    host.manager()->notifyLocalFileChanged(Host::alias(), plan());
    QVERIFY(waitFor([&] { return !host.errors().isEmpty(); }));
    host.manager()->tombstoneLocalFile(Host::alias(), plan());
    QVERIFY(QDir().rename(host.distant().path() + "-away"_s, host.distant().path()));
    QVERIFY(waitFor([&] { return host.completed().size() == 1; }, kRetriedMs));
    QCOMPARE(host.distant().read(plan()), QByteArray("content"));
    QCOMPARE(host.status(plan()), kDeleted);
}

void TestUserDecisions::aTombstonedFileThatStaysIsSentAgain()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    const int sent = host.completedCount(host.local().filePath(plan()));
    host.manager()->tombstoneLocalFile(Host::alias(), plan());
    QVERIFY(waitFor([&] { return host.completedCount(host.local().filePath(plan())) == sent + 1; }));
    VERIFY_AT_REST(host);
    QCOMPARE(host.status(plan()), kUpToDate);
}

// --- Rename ---------------------------------------------------------------------------------------------

void TestUserDecisions::namesThatCannotBeRenamed_data()
{
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::addColumn<QString>("error");
    const auto invalid = [](const QString& name) {
        return "ERROR: Invalid file name: '%1' for alias: 'docs'."_s.arg(name);
    };
    QTest::newRow("equal") << plan() << plan() << QString();
    QTest::newRow("no old name") << QString() << plan() << QString();
    QTest::newRow("no new name") << plan() << QString() << QString();
    QTest::newRow("up") << plan() << "../plan.doc"_s << invalid("../plan.doc"_s);
    QTest::newRow("from above") << "../plan.doc"_s
                                << "new"_s << invalid("../plan.doc"_s);
    QTest::newRow("down") << plan() << "sub/plan.doc"_s << invalid("sub/plan.doc"_s);
    QTest::newRow("absolute") << plan() << "/tmp/plan.doc"_s << invalid("/tmp/plan.doc"_s);
    QTest::newRow("dot") << plan() << "."_s << invalid("."_s);
    QTest::newRow("dots") << plan() << ".."_s << invalid(".."_s);
}

void TestUserDecisions::namesThatCannotBeRenamed()
{
    QFETCH(QString, from);
    QFETCH(QString, to);
    QFETCH(QString, error);
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(!host.manager()->lockForRename(Host::alias(), from, to));
    QCOMPARE(host.takeErrors(), error.isEmpty() ? QStringList() : QStringList{error});
    host.manager()->commitRename(Host::alias(), from, to);
    host.manager()->abortRename(Host::alias(), from, to);
    host.takeErrors();
    // Nothing is locked: the file is sent when it changes.
    QVERIFY(host.local().write(plan(), "changed content"));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), QStringList{plan()});
}

void TestUserDecisions::aFileInFlightCannotBeRenamed()
{
    Host host(withoutCycles());
    QVERIFY(host.start());
    QVERIFY(awaitPairs(host));
    QVERIFY(QDir().rename(host.distant().path(), host.distant().path() + "-away"_s));
    QVERIFY(host.local().write(plan(), "content"));
    host.manager()->notifyLocalFileChanged(Host::alias(), plan());
    QVERIFY(waitFor([&] { return !host.errors().isEmpty(); }));
    QVERIFY(!host.manager()->lockForRename(Host::alias(), plan(), "new.doc"_s));
    QVERIFY(!host.manager()->lockForRename(Host::alias(), "other.doc"_s, plan()));
    QVERIFY(QDir().rename(host.distant().path() + "-away"_s, host.distant().path()));
    QVERIFY(waitFor([&] { return host.status(plan()) == kUpToDate; }, kRetriedMs));
    QVERIFY(waitFor([&] { return host.manager()->isIdle(); }));
    QVERIFY(host.manager()->lockForRename(Host::alias(), plan(), "new.doc"_s));
}

void TestUserDecisions::namesOfARenameAreLocked()
{
    Host host;
    for (const QString& name : {"a"_s, "c"_s})
        QVERIFY(host.local().write(name, name.toUtf8()));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    VornSyncManager& manager = *host.manager();
    QVERIFY(manager.lockForRename(Host::alias(), "a"_s, "b"_s));
    QVERIFY(!manager.lockForRename(Host::alias(), "b"_s, "d"_s));
    QVERIFY(!manager.lockForRename(Host::alias(), "c"_s, "a"_s));
    QVERIFY(!manager.lockForRename(Host::alias(), "c"_s, "b"_s));
    // Neither name is touched: the local file may be away, the new one there already.
    QVERIFY(host.local().rename("a"_s, "b"_s));
    QVERIFY(host.awaitCycles(8)); // with a verification among them
    QCOMPARE(host.distant().names(), (QStringList{"a"_s, "c"_s}));
    QVERIFY(host.manager()->errorFiles().isEmpty());
    manager.commitRename(Host::alias(), "a"_s, "b"_s);
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), (QStringList{"b"_s, "c"_s}));
    QVERIFY(manager.lockForRename(Host::alias(), "c"_s, "a"_s));
    manager.abortRename(Host::alias(), "c"_s, "a"_s);
}

void TestUserDecisions::commitAndAbortWithoutALock()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    host.manager()->commitRename(Host::alias(), plan(), "new.doc"_s);
    host.manager()->abortRename(Host::alias(), plan(), "new.doc"_s);
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), QStringList{plan()});
    QCOMPARE(host.status("new.doc"_s), kNoRow);
}

void TestUserDecisions::renamedBeforeItWasEverSent()
{
    Host host(withoutCycles());
    QVERIFY(host.start());
    QVERIFY(awaitPairs(host));
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.manager()->lockForRename(Host::alias(), plan(), "new.doc"_s));
    QVERIFY(host.local().rename(plan(), "new.doc"_s));
    host.manager()->commitRename(Host::alias(), plan(), "new.doc"_s);
    host.manager()->requestSync();
    QVERIFY(waitFor([&] { return host.status("new.doc"_s) == kUpToDate; }));
    QCOMPARE(host.distant().names(), QStringList{"new.doc"_s});
    QCOMPARE(host.status(plan()), kNoRow);
}

void TestUserDecisions::renamedAndChanged()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.manager()->lockForRename(Host::alias(), plan(), "new.doc"_s));
    QVERIFY(host.local().rename(plan(), "new.doc"_s));
    QVERIFY(host.local().write("new.doc"_s, "changed at once"));
    host.manager()->commitRename(Host::alias(), plan(), "new.doc"_s);
    QVERIFY(waitFor([&] { return host.distant().read("new.doc"_s) == "changed at once"; }));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), QStringList{"new.doc"_s});
}

void TestUserDecisions::renamedToAnotherCase()
{
    Host host;
    QVERIFY(host.local().write("Übersicht.doc"_s, "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.manager()->lockForRename(Host::alias(), "Übersicht.doc"_s, "ÜBERSICHT.DOC"_s));
    QVERIFY(host.local().rename("Übersicht.doc"_s, "ÜBERSICHT.DOC"_s));
    host.manager()->commitRename(Host::alias(), "Übersicht.doc"_s, "ÜBERSICHT.DOC"_s);
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), QStringList{"ÜBERSICHT.DOC"_s});
}

void TestUserDecisions::renamedOntoAFileOfTheShare()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.distant().write("new.doc"_s, "of somebody else"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.manager()->lockForRename(Host::alias(), plan(), "new.doc"_s));
    QVERIFY(host.local().rename(plan(), "new.doc"_s));
    host.manager()->commitRename(Host::alias(), plan(), "new.doc"_s);
    // Required: what has that name on the share gives way.
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), QStringList{"new.doc"_s});
    QCOMPARE(host.distant().read("new.doc"_s), QByteArray("content"));
}

void TestUserDecisions::renamedOntoATrackedFile()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.local().write("new.doc"_s, "another content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.manager()->lockForRename(Host::alias(), plan(), "new.doc"_s));
    QVERIFY(QFile::remove(host.local().filePath("new.doc"_s)));
    QVERIFY(host.local().rename(plan(), "new.doc"_s));
    host.manager()->commitRename(Host::alias(), plan(), "new.doc"_s);
    // The row of the replaced file stays and follows; the old name's row is a loss to acknowledge.
    QVERIFY(waitFor([&] { return isListed(host, plan(), 2); }));
    host.manager()->acknowledgeAllMissing();
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), QStringList{"new.doc"_s});
    QCOMPARE(host.distant().read("new.doc"_s), QByteArray("content"));
    QCOMPARE(host.status(plan()), kDeleted);
}

void TestUserDecisions::renamedOntoADeletedFile()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.local().write("new.doc"_s, "deleted"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.local().remove("new.doc"_s));
    host.manager()->notifyLocalFileDeleted(Host::alias(), "new.doc"_s);
    QVERIFY(waitFor([&] { return !host.distant().exists("new.doc"_s); }));
    QVERIFY(host.manager()->lockForRename(Host::alias(), plan(), "new.doc"_s));
    QVERIFY(host.local().rename(plan(), "new.doc"_s));
    host.manager()->commitRename(Host::alias(), plan(), "new.doc"_s);
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), QStringList{"new.doc"_s});
    QCOMPARE(host.status(plan()), kNoRow);
    QCOMPARE(host.status("new.doc"_s), kUpToDate);
    QVERIFY(host.seenErrorFiles().isEmpty());
}

void TestUserDecisions::aRenameThatTheShareRefuses()
{
    Host host(withoutCycles());
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.status(plan()) == kUpToDate; }));
    QVERIFY(waitFor([&] { return host.manager()->isIdle(); }));
    QVERIFY(host.distant().write("new.doc/in the way"_s, "x"));
    QVERIFY(host.manager()->lockForRename(Host::alias(), plan(), "new.doc"_s));
    QVERIFY(host.local().rename(plan(), "new.doc"_s));
    host.manager()->commitRename(Host::alias(), plan(), "new.doc"_s);
    QVERIFY(waitFor([&] { return isListed(host, plan(), 13); }, kRetriedMs));
    QCOMPARE(host.status(plan()), 128 | kUpToDate);
    QCOMPARE(host.distant().read(plan()), QByteArray("content"));
    // The names are free again, and each file is what the disk says: one is lost, one is new.
    QVERIFY(host.distant().remove("new.doc"_s));
    QVERIFY(runCycle(host));
    QVERIFY(waitFor([&] { return isListed(host, plan(), 2); }));
    QVERIFY(waitFor([&] { return host.status("new.doc"_s) == kUpToDate; }));
    QCOMPARE(host.distant().read("new.doc"_s), QByteArray("content"));
    host.manager()->acknowledgeAllMissing();
    QVERIFY(waitFor([&] { return host.status(plan()) == kDeleted; }));
    QCOMPARE(host.distant().read(plan()), QByteArray("content"));
}

// --- Reset and wipe -------------------------------------------------------------------------------------

void TestUserDecisions::resetWhilePausedWithErrors()
{
    Host host;
    QVERIFY(writeMany(host, 3));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.local().remove("file 0"_s));
    QVERIFY(host.distant().remove("file 1"_s));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 2; }));
    host.manager()->pauseAll();
    QVERIFY(host.manager()->resetSyncDatabase(kWaitMs));
    QVERIFY(host.manager()->isPausedAll());
    QCOMPARE(host.manager()->errorCount(), 0);
    QVERIFY(host.manager()->errorFiles().isEmpty());
    QVERIFY(host.manager()->recentEvents().isEmpty());
    host.manager()->resumeAll();
    QVERIFY(host.registerPairs());
    QVERIFY(awaitPairs(host));
    VERIFY_AT_REST(host);
    // The loss is forgotten, the distant file of it stays; the other one is sent anew.
    QCOMPARE(host.distant().names(), (QStringList{"file 0"_s, "file 1"_s, "file 2"_s}));
    QCOMPARE(host.status("file 0"_s), kNoRow);
}

void TestUserDecisions::resetBringsAnUnusableDatabaseBack()
{
    Host host;
    QVERIFY(writeMany(host, 2));
    QFile file(host.databasePath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(QByteArray(8192, '#')), qint64(8192));
    file.close();
    host.expectCriticals();
    host.expectErrors("file is not a database"_s); // from the engine's thread too, whenever it comes
    host.create();
    QVERIFY(!host.manager()->addDirectory(Host::alias(), host.local().path(), host.distant().path()));
    QVERIFY(waitFor([&] {
        return host.hasError("ERROR: State database is not usable: '%1'."_s.arg(host.databasePath()));
    }));
    QVERIFY(host.manager()->resetSyncDatabase(kWaitMs));
    QVERIFY(!host.manager()->isPausedAll());
    host.takeErrors();
    QVERIFY(host.registerPairs());
    VERIFY_AT_REST(host);
}

void TestUserDecisions::resetOfAPlaceThatDoesNotExist()
{
    HostOptions options;
    options.databasePath = "/nonexistent/state.db"_s;
    Host host(options);
    host.create();
    QVERIFY(!host.manager()->resetSyncDatabase(0));
    QVERIFY(!host.manager()->isPausedAll());
    QVERIFY(!host.manager()->wipeSyncDatabaseFile());
    QVERIFY(host.manager()->isIdle());
    QVERIFY(!host.errors().isEmpty());
}

void TestUserDecisions::wipedWhileFilesAreSent()
{
    Host host;
    QVERIFY(writeMany(host, 8));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return !host.completed().isEmpty(); }));
    // A wipe without a pause leaves the local directory watched.
    host.expectErrors("Observer error: Failed to add directory to watch: "_s);
    QVERIFY(host.manager()->wipeSyncDatabaseFile());
    QCOMPARE(host.manager()->inProgressCount(), 0);
    QCOMPARE(host.raw().value("SELECT COUNT(*) FROM directories"_s).toInt(), 0);
    QVERIFY(host.registerPairs());
    // What was under way ends, and records again what was sent anew.
    QCOMPARE(host.settle(), QString());
    QVERIFY(waitFor([&] { return host.completed().size() == host.started().size(); }));
    VERIFY_AT_REST(host);
}

void TestUserDecisions::aResetSendsOverTheShare()
{
    Host host;
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    host.manager()->pauseAll();
    QVERIFY(host.distant().write(plan(), "a newer version of somebody else"));
    QVERIFY(host.manager()->resetSyncDatabase(kWaitMs));
    host.manager()->resumeAll();
    QVERIFY(host.registerPairs());
    QVERIFY(awaitPairs(host));
    VERIFY_AT_REST(host);
    // Required: a file without a row is sent, whatever the share holds.
    QCOMPARE(host.distant().read(plan()), QByteArray("content"));
}

// --- File-ready requests --------------------------------------------------------------------------------

void TestUserDecisions::answeredWithoutACopy_data()
{
    QTest::addColumn<bool>("isLocal");
    QTest::addColumn<bool>("isDistant");
    QTest::newRow("nowhere") << false << false;
    QTest::newRow("local alone") << true << false;
    QTest::newRow("both, not recorded") << true << true;
}

void TestUserDecisions::answeredWithoutACopy()
{
    QFETCH(bool, isLocal);
    QFETCH(bool, isDistant);
    Host host(withoutCycles());
    QVERIFY(host.start());
    QVERIFY(awaitPairs(host));
    if (isLocal)
        QVERIFY(host.local().write(plan(), "here"));
    if (isDistant)
        QVERIFY(host.distant().write(plan(), "written elsewhere"));
    QSignalSpy ready(host.manager(), &VornSyncManager::fileReady);
    host.manager()->requestFileReady(host.distant().filePath(plan()));
    QCOMPARE(ready.size(), 1); // before the call returns
    QCOMPARE(ready.first(), QVariantList({host.local().filePath(plan()), isLocal}));
    QVERIFY(host.manager()->isIdle());
    QCOMPARE(host.local().exists(plan()), isLocal);
    // Outside of every pair: the path itself.
    const QString outside = host.cyclePair().rootPath() + "/outside.doc"_s;
    host.manager()->requestFileReady(outside);
    QCOMPARE(ready.at(1), QVariantList({outside, false}));
    QVERIFY(Side(host.cyclePair().rootPath()).write("outside.doc"_s, "x"));
    host.manager()->requestFileReady(outside);
    QCOMPARE(ready.at(2), QVariantList({outside, true}));
}

void TestUserDecisions::changedOnBothSidesTheLocalFileIsUsed()
{
    Host host(withoutCycles());
    QVERIFY(host.local().write(plan(), "content"));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.status(plan()) == kUpToDate; }));
    const QDateTime later = QDateTime::currentDateTimeUtc().addSecs(10);
    QVERIFY(host.local().write(plan(), "changed here"));
    QVERIFY(host.local().setLmd(plan(), later));
    QVERIFY(host.distant().write(plan(), "changed elsewhere"));
    QVERIFY(host.distant().setLmd(plan(), later));
    QSignalSpy ready(host.manager(), &VornSyncManager::fileReady);
    host.manager()->requestFileReady(host.distant().filePath(plan()));
    QCOMPARE(ready.size(), 1);
    QCOMPARE(ready.first(), QVariantList({host.local().filePath(plan()), true}));
    QCOMPARE(host.local().read(plan()), QByteArray("changed here"));
    QCOMPARE(host.distant().read(plan()), QByteArray("changed elsewhere"));
}

void TestUserDecisions::aCopyThatComesTooLate()
{
    constexpr int kFilesAhead = 90; // 200 ms between two: more than 15 s
    Host host;
    QVERIFY(writeMany(host, kFilesAhead));
    QVERIFY(host.distant().write(plan(), "written elsewhere"));
    host.expectCriticals();
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.started().size() == kFilesAhead; }));
    QSignalSpy ready(host.manager(), &VornSyncManager::fileReady);
    host.manager()->requestFileReady(host.distant().filePath(plan()));
    QVERIFY(ready.isEmpty());
    QVERIFY(waitFor([&] { return ready.size() == 1; }, kRetriedMs));
    QCOMPARE(ready.first(), QVariantList({host.local().filePath(plan()), false}));
    QCOMPARE(host.trace().criticals().size(), 1);
    QVERIFY(host.trace().criticals().first().contains(
        "VornSyncManagerPrivate::onFileReadyTimeout: Copy operation timed out for:"_s));
    QVERIFY(host.trace().criticals().first().contains(host.local().filePath(plan())));
    // The copy runs on to its end, which answers nothing more.
    QVERIFY(waitFor([&] { return host.local().exists(plan()); }, kRetriedMs));
    QCOMPARE(host.settle(kRetriedMs), QString());
    QCOMPARE(ready.size(), 1);
    VERIFY_AT_REST(host);
}

QTEST_GUILESS_MAIN(TestUserDecisions)
#include "test_user_decisions.moc"

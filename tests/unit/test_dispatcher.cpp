#include "engine_parts_fixture.h"
#include "vorn_sync_dispatcher.h"
#include "wait.h"

#include <QTest>

#include <utility>

using namespace VornSyncTest;

namespace {

const QString kName = "a.txt"_s;

// A dispatcher whose tasks wait for the test, and what it emitted, in order.
class Dispatch
{
    Q_DISABLE_COPY_MOVE(Dispatch)

public:
    Dispatch()
        : dispatcher(parts.paths, parts.renames, parts.observations, nullptr)
    {
        VornSyncTask::registerMetaType();
        using D = VornSyncDispatcher;
        const auto note = [this](const QString& event) { events << event; };
        QObject::connect(&dispatcher, &D::sigRunTask, &dispatcher, [this, note](const pVornSyncTask& task) {
            note("task"_s);
            tasks << task;
        });
        QObject::connect(&dispatcher, &D::syncStarted, &dispatcher, [note] { note("started"_s); });
        QObject::connect(&dispatcher, &D::syncCompleted, &dispatcher, [note](const QString&, bool succeeded) {
            note(succeeded ? "completed"_s : "not completed"_s);
        });
        QObject::connect(&dispatcher, &D::failed, &dispatcher, note);
        QObject::connect(&dispatcher, &D::taskErrorOccurred, &dispatcher, [note] { note("task error"_s); });
        QObject::connect(&dispatcher, &D::errorStateChanged, &dispatcher, [note] { note("errors"_s); });
        QObject::connect(&dispatcher, &D::copyWanted, &dispatcher,
                         [note](int, const QString& fileName) { note("wanted %1"_s.arg(fileName)); });
    }

    [[nodiscard]] bool start()
    {
        const bool isStarted = parts.start() && parts.pair.local().write(kName, "x");
        dispatcher.setDatabase(&parts.database);
        return isStarted;
    }

    // Runs the oldest task and gives its end back.
    void finish()
    {
        const pVornSyncTask task = tasks.takeFirst();
        dispatcher.endTask(task, task->runtask());
    }

    QStringList takeEvents() { return std::exchange(events, QStringList()); }

    EngineParts parts;
    VornSyncDispatcher dispatcher;
    QList<pVornSyncTask> tasks;
    QStringList events;
};

} // namespace

class TestDispatcher : public QObject
{
    Q_OBJECT

private slots:
    void copy();
    void inTwoSteps();
    void aFileThatIsGone();
    void aFolderThatIsUnknown();
    void aRunThatFails();
    void announcedChange_data();
    void announcedChange();
    void announcedChange_underNoTask();
    void deferredRemove();
    void clear();
    void taskOfAnother();
};

void TestDispatcher::copy()
{
    Dispatch dispatch;
    QVERIFY(dispatch.start());
    VornSyncDispatcher& dispatcher = dispatch.dispatcher;
    QVERIFY(dispatcher.startCopy(dispatch.parts.id, kName));
    QCOMPARE(dispatch.takeEvents(), (QStringList{"task"_s, "started"_s}));
    QCOMPARE(dispatch.parts.state(kName), "20/0"_s);
    QCOMPARE(dispatcher.tasksInFlight(), 1);
    QVERIFY(dispatcher.isFileInFlight(dispatch.parts.id, kName));
    QVERIFY(!dispatcher.takeHasTaskEnded());
    QVERIFY(!dispatcher.startCopy(dispatch.parts.id, kName)); // busy

    dispatch.finish();
    QCOMPARE(dispatch.takeEvents(), (QStringList{"completed"_s}));
    QCOMPARE(dispatch.parts.state(kName), "17/0"_s);
    QCOMPARE(dispatch.parts.pair.distant().read(kName), QByteArray("x"));
    QCOMPARE(dispatcher.tasksInFlight(), 0);
    QVERIFY(!dispatcher.isFileInFlight(dispatch.parts.id, kName));
    QVERIFY(dispatcher.takeHasTaskEnded());
    QVERIFY(!dispatcher.takeHasTaskEnded());
}

void TestDispatcher::inTwoSteps()
{
    Dispatch dispatch;
    QVERIFY(dispatch.start());
    bool isLocalPresent = false;
    QVERIFY(
        dispatch.dispatcher.startProcessing(dispatch.parts.id, kName, ceSfsPendingDelete, isLocalPresent));
    QVERIFY(isLocalPresent);
    QVERIFY(dispatch.dispatcher.isFileInFlight(dispatch.parts.id, kName));
    QCOMPARE(dispatch.dispatcher.tasksInFlight(), 0);
    QVERIFY(dispatch.parts.trash.makeDirectory("."_s));
    QVERIFY(dispatch.dispatcher.doTask(dispatch.parts.pair.localPath(), dispatch.parts.trash.path(), kName,
                                       dispatch.parts.id, ceStoMove));
    QCOMPARE(dispatch.parts.state(kName), "36/0"_s);
    dispatch.finish();
    QCOMPARE(dispatch.takeEvents(), (QStringList{"task"_s, "started"_s, "completed"_s}));
    QCOMPARE(dispatch.parts.state(kName), "33/0"_s);
    QVERIFY(!dispatch.parts.pair.local().exists(kName));
}

void TestDispatcher::aFileThatIsGone()
{
    Dispatch dispatch;
    QVERIFY(dispatch.start());
    QVERIFY(dispatch.parts.putRow(kName, ceSfsUpToDate));
    QVERIFY(dispatch.parts.pair.local().remove(kName));
    bool isLocalPresent = true;
    QVERIFY(!dispatch.dispatcher.startProcessing(dispatch.parts.id, kName, ceSfsPendingSync, isLocalPresent));
    QVERIFY(!isLocalPresent);
    QCOMPARE(
        dispatch.takeEvents(),
        (QStringList{"ERROR: Impossible to process synchronization, local file does not exist: 'a.txt'."_s,
                     "errors"_s}));
    QCOMPARE(dispatch.parts.state(kName), "145/2"_s);
    QVERIFY(!dispatch.dispatcher.isFileInFlight(dispatch.parts.id, kName));
}

void TestDispatcher::aFolderThatIsUnknown()
{
    Dispatch dispatch;
    QVERIFY(dispatch.start());
    bool isLocalPresent = false;
    QVERIFY(dispatch.dispatcher.startProcessing(dispatch.parts.id, kName, ceSfsPendingSync, isLocalPresent));
    QVERIFY(!dispatch.dispatcher.doTask(dispatch.parts.pair.localPath(), QString(), kName, dispatch.parts.id,
                                        ceStoCopy));
    QCOMPARE(dispatch.takeEvents(),
             (QStringList{"ERROR: Failure to get folder for file: 'a.txt' in directoryId: 1"_s, "errors"_s}));
    QCOMPARE(dispatch.parts.state(kName), "146/12"_s);
    QVERIFY(!dispatch.dispatcher.isFileInFlight(dispatch.parts.id, kName));
}

void TestDispatcher::aRunThatFails()
{
    Dispatch dispatch;
    QVERIFY(dispatch.start());
    QVERIFY(dispatch.dispatcher.startCopy(dispatch.parts.id, kName));
    QVERIFY(dispatch.parts.pair.distant().remove("."_s));
    dispatch.finish();
    QCOMPARE(dispatch.takeEvents(), (QStringList{"task"_s, "started"_s, "task error"_s}));
    QCOMPARE(dispatch.parts.state(kName), "20/0"_s);
    QCOMPARE(dispatch.dispatcher.tasksInFlight(), 1);
    QVERIFY(dispatch.parts.pair.distant().makeDirectory("."_s));
    QVERIFY(waitFor([&] { return !dispatch.tasks.isEmpty(); }));
    dispatch.finish();
    QCOMPARE(dispatch.takeEvents(), (QStringList{"task"_s, "completed"_s}));
    QCOMPARE(dispatch.parts.state(kName), "17/0"_s);
    QCOMPARE(dispatch.dispatcher.tasksInFlight(), 0);
}

void TestDispatcher::announcedChange_data()
{
    QTest::addColumn<bool>("isAnnounced");
    QTest::addColumn<bool>("isEdited");
    QTest::addColumn<bool>("isDeleted");
    QTest::addColumn<bool>("isWanted");
    QTest::newRow("announced") << true << false << false << true;
    QTest::newRow("only edited") << false << true << false << true;
    QTest::newRow("nothing happened") << false << false << false << false;
    QTest::newRow("deleted since") << true << true << true << false;
}

void TestDispatcher::announcedChange()
{
    QFETCH(bool, isAnnounced);
    QFETCH(bool, isEdited);
    QFETCH(bool, isDeleted);
    QFETCH(bool, isWanted);
    Dispatch dispatch;
    QVERIFY(dispatch.start());
    QVERIFY(dispatch.dispatcher.startCopy(dispatch.parts.id, kName));
    const pVornSyncTask task = dispatch.tasks.takeFirst();
    QVERIFY(task->runtask());
    if (isAnnounced)
        dispatch.dispatcher.announce({dispatch.parts.id, kName});
    if (isEdited)
        QVERIFY(dispatch.parts.pair.local().write(kName, "longer"));
    if (isDeleted)
        QVERIFY(dispatch.parts.database.setFileDeleted(dispatch.parts.id, kName));
    dispatch.takeEvents();
    dispatch.dispatcher.endTask(task, true);
    QStringList expected{"completed"_s};
    if (isWanted)
        expected << "wanted a.txt"_s;
    QCOMPARE(dispatch.takeEvents(), expected);
    dispatch.dispatcher.resendAnnounced({{dispatch.parts.id, kName}}); // once is enough
    QCOMPARE(dispatch.takeEvents(), QStringList());
}

// As a rename has the file: it may be under either name.
void TestDispatcher::announcedChange_underNoTask()
{
    Dispatch dispatch;
    QVERIFY(dispatch.start());
    const int id = dispatch.parts.id;
    dispatch.dispatcher.announce({id, "old.txt"_s});
    dispatch.dispatcher.resendAnnounced({{id, "old.txt"_s}, {id, kName}});
    QCOMPARE(dispatch.takeEvents(), (QStringList{"wanted a.txt"_s}));
}

void TestDispatcher::deferredRemove()
{
    Dispatch dispatch;
    QVERIFY(dispatch.start());
    const VornSyncFileKey key(dispatch.parts.id, kName);
    QVERIFY(!dispatch.dispatcher.deferDistantRemove(key));
    QVERIFY(dispatch.dispatcher.startCopy(key.first, key.second));
    QVERIFY(dispatch.dispatcher.deferDistantRemove(key));
    dispatch.finish();
    QVERIFY(!dispatch.parts.pair.distant().exists(kName));
    QVERIFY(dispatch.parts.pair.local().exists(kName));
}

void TestDispatcher::clear()
{
    Dispatch dispatch;
    QVERIFY(dispatch.start());
    const VornSyncFileKey key(dispatch.parts.id, kName);
    QVERIFY(dispatch.dispatcher.startCopy(key.first, key.second));
    QVERIFY(dispatch.dispatcher.deferDistantRemove(key));
    dispatch.dispatcher.announce(key);
    dispatch.dispatcher.clear(dispatch.parts.id);
    QVERIFY(dispatch.dispatcher.isFileInFlight(key.first, key.second));
    dispatch.finish();
    QCOMPARE(dispatch.takeEvents(), (QStringList{"task"_s, "started"_s, "completed"_s}));
    QVERIFY(dispatch.parts.pair.distant().exists(kName));
}

void TestDispatcher::taskOfAnother()
{
    Dispatch dispatch;
    QVERIFY(dispatch.start());
    QVERIFY(dispatch.dispatcher.startCopy(dispatch.parts.id, kName));
    dispatch.takeEvents();
    const pVornSyncTask other =
        VornSyncTask::create(dispatch.parts.pair.local().filePath(kName),
                             dispatch.parts.pair.distant().filePath("b.txt"_s), ceStoCopy);
    QVERIFY(other && other->runtask());
    dispatch.dispatcher.endTask(other, true);
    QCOMPARE(dispatch.takeEvents(), (QStringList{"not completed"_s}));
    QCOMPARE(dispatch.dispatcher.tasksInFlight(), 1);
    QCOMPARE(dispatch.parts.state("b.txt"_s), "none"_s);
}

QTEST_GUILESS_MAIN(TestDispatcher)
#include "test_dispatcher.moc"

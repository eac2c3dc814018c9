#include "sync_manager_access.h"

#include "pair.h"
#include "raw_database.h"
#include "trace_capture.h"

#include <QFile>
#include <QProcess>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <functional>
#include <memory>

using namespace VornSyncTest;
using Access = VornSyncManagerTestAccess;

namespace {

constexpr int kNoCycleMs = 3600000;
constexpr int kWaitMs = 30000;
constexpr int kThreadStopMs = 2000;
const QLatin1String kManagerTag("Mngr: ");
const char* const kStayStuckArgument = "--leave-a-thread-stuck";

// Keeps an object's thread inside a slot until it is opened. Shared with the slot, so that it may outlive the
// test function that made it.
struct Gate
{
    QSemaphore isReached;
    QSemaphore mayGoOn;
};

std::shared_ptr<Gate> block(QObject* object, const std::function<void()>& goOn = std::function<void()>())
{
    auto gate = std::make_shared<Gate>();
    QMetaObject::invokeMethod(
        object,
        [gate, goOn] {
            gate->isReached.release();
            gate->mayGoOn.acquire();
            if (goOn)
                goOn();
        },
        Qt::QueuedConnection);
    return gate->isReached.tryAcquire(1, kWaitMs) ? gate : nullptr;
}

QStringList threadNames(const VornSyncManagerPrivate* inside)
{
    QStringList names;
    for (const QThread* thread : inside->findChildren<QThread*>())
        names << thread->objectName();
    return names;
}

QStringList texts(const QSignalSpy& spy)
{
    QStringList result;
    for (const QVariantList& arguments : spy)
        result << arguments.first().toString();
    return result;
}

} // namespace

class TestSyncManagerCore : public QObject
{
    Q_OBJECT

private slots:
    void threadsAndTheirObjects();
    void startTraces();
    void cleanUpAfterACrash();
    void cleanUpOfStaleRowsAlone();
    void synchronizerSignalsAreQueued();
    void observerWiring();
    void tasksReachTheWorkerAndComeBack();
    void databaseErrorsPassUnchanged();
    void errorPrefixes();
    void unusableDatabase_data();
    void unusableDatabase();
    void stopOrder();
    void threadsAreGoneAfterDestruction();
    void stuckThread_data();
    void stuckThread();
    void allThreadsStuck();
    void stuckSynchronizerKeepsItsDatabase();
    void noSignalAfterDestruction();
    void processEndsWithAStuckThread();
};

void TestSyncManagerCore::threadsAndTheirObjects()
{
    Pair pair;
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, {}, nullptr);
    const VornSyncManagerPrivate* inside = Access::inside(manager);
    QCOMPARE(inside->parent(), &manager);
    QCOMPARE(threadNames(inside),
             QStringList({QStringLiteral("SyncWorkerThread"), QStringLiteral("SyncSynchronizerThread"),
                          QStringLiteral("SyncObserverThread")}));
    for (const QThread* thread : inside->findChildren<QThread*>())
        QVERIFY(thread->isRunning());
    QCOMPARE(Access::worker(manager)->thread()->objectName(), QStringLiteral("SyncWorkerThread"));
    QCOMPARE(Access::synchronizer(manager)->thread()->objectName(), QStringLiteral("SyncSynchronizerThread"));
    QCOMPARE(Access::observer(manager)->thread()->objectName(), QStringLiteral("SyncObserverThread"));
    QVERIFY(!Access::worker(manager)->parent());
    QVERIFY(!Access::synchronizer(manager)->parent());
    QVERIFY(!Access::observer(manager)->parent());
    QCOMPARE(inside->thread(), QThread::currentThread());
    QCOMPARE(Access::database(manager).thread(), QThread::currentThread());
}

void TestSyncManagerCore::startTraces()
{
    if (!traceLinesBuiltIn())
        QSKIP("trace lines are compiled out of this build");
    Pair pair;
    TraceCapture capture;
    {
        VornSyncManager manager(pair.databasePath(), pair.trashRoot(), 54321, {}, nullptr);
        QCOMPARE(
            capture.linesOf(kManagerTag),
            QStringList({QStringLiteral("VornSyncManagerPrivate - Started with sync interval: 54321ms")}));
        QVERIFY(capture.contains(QStringLiteral(
            "[-- SYNC --]: Mngr: VornSyncManagerPrivate - Started with sync interval: 54321ms")));
        QTRY_VERIFY_WITH_TIMEOUT(capture.contains(QStringLiteral("initialize - Initialized with database")),
                                 kWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(
            capture.contains(QStringLiteral("[-- SYNC --]: Obsr: startObserving - Started observing with "
                                            "periodic sync interval: 54321ms")),
            kWaitMs);
    }
    QCOMPARE(capture.linesOf(kManagerTag).last(), QStringLiteral("~VornSyncManagerPrivate - Destroyed"));
    QVERIFY(capture.criticals().isEmpty());
    QVERIFY(capture.warnings().isEmpty());
}

// A database with one suspended pair, and one row for each status.
static bool makeCrashedDatabase(const Pair& pair, const QList<int>& statuses)
{
    {
        VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, {}, nullptr);
        if (!manager.addDirectory(QStringLiteral("a"), pair.localPath(),
                                  pair.rootPath() + QLatin1String("/none")))
            return false;
    }
    RawDatabase raw(pair.databasePath());
    const QVariant id = raw.value(QStringLiteral("SELECT id FROM directories"));
    for (int i = 0; i < statuses.size(); ++i) {
        if (!raw.exec(QStringLiteral(
                          "INSERT INTO file_tracking (file_name, directories_id, status) VALUES (?, ?, ?)"),
                      {QString::number(i), id, statuses.at(i)}))
            return false;
    }
    return id.isValid();
}

void TestSyncManagerCore::cleanUpAfterACrash()
{
    Pair pair;
    QVERIFY(makeCrashedDatabase(pair, {20, 36, 68, 18, 34, 17, 128 + 18}));
    TraceCapture capture;
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, {}, nullptr);
    QCOMPARE(manager.pendingCount(), 5);
    QCOMPARE(manager.doneCount(), 1);
    QCOMPARE(manager.errorCount(), 0);
    RawDatabase raw(pair.databasePath());
    QCOMPARE(raw.value(QStringLiteral("SELECT COUNT(*) FROM file_tracking WHERE status = 0")).toInt(), 5);
    if (!traceLinesBuiltIn())
        return;
    QCOMPARE(
        capture.linesOf(kManagerTag),
        QStringList(
            {QStringLiteral("VornSyncManagerPrivate - Cleaned up 3 orphaned files from previous session"),
             QStringLiteral("VornSyncManagerPrivate - Cleaned up 2 stale processing files at startup"),
             QStringLiteral("VornSyncManagerPrivate - Started with sync interval: 3600000ms")}));
    // Before any thread starts.
    QTRY_VERIFY_WITH_TIMEOUT(capture.contains(QStringLiteral("initialize - Initialized with database")),
                             kWaitMs);
    const QStringList lines = capture.debugLines();
    const auto position = [&lines](const QString& text) {
        return lines.indexOf(lines.filter(text).value(0));
    };
    QVERIFY(position(QStringLiteral("Initialized with database")) >
            position(QStringLiteral("stale processing files at startup")));
}

void TestSyncManagerCore::cleanUpOfStaleRowsAlone()
{
    if (!traceLinesBuiltIn())
        QSKIP("trace lines are compiled out of this build");
    Pair pair;
    QVERIFY(makeCrashedDatabase(pair, {66}));
    {
        TraceCapture capture;
        VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, {}, nullptr);
        QVERIFY(!capture.contains(QStringLiteral("orphaned files from previous session")));
        QCOMPARE(capture.count(QStringLiteral("Cleaned up 1 stale processing files at startup")), 1);
    }
    TraceCapture capture;
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, {}, nullptr);
    QVERIFY(!capture.contains(QStringLiteral("Cleaned up")));
}

static bool makeErrorRow(const VornSyncManager& manager)
{
    VornSyncDatabase& database = Access::database(manager);
    const int id = database.addDirectory(QStringLiteral("a"), QStringLiteral("/l"), QStringLiteral("/d"),
                                         QStringLiteral("/t"));
    return id > 0 && database.setFileStatus(id, QStringLiteral("f"), ceSfsUpToDate, ceSecNone) &&
           database.setFileStatus(id, QStringLiteral("f"), ceSfsError, ceSecCopyFailed);
}

void TestSyncManagerCore::synchronizerSignalsAreQueued()
{
    Pair pair;
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, {}, nullptr);
    QSignalSpy started(&manager, &VornSyncManager::syncStarted);
    QSignalSpy completed(&manager, &VornSyncManager::syncCompleted);
    QSignalSpy errors(&manager, &VornSyncManager::errorOccurred);
    QSignalSpy counters(&manager, &VornSyncManager::countersChanged);
    VornSyncSynchronizer* synchronizer = Access::synchronizer(manager);

    // Emitted on this thread: an automatic connection would deliver inside the emission.
    emit synchronizer->syncStarted(QStringLiteral("/x/f"));
    QCOMPARE(manager.inProgressCount(), 0);
    QVERIFY(started.wait(kWaitMs));
    QCOMPARE(started.first().first().toString(), QStringLiteral("/x/f"));
    QCOMPARE(manager.inProgressCount(), 1);

    emit synchronizer->syncCompleted(QStringLiteral("/x/f"), true);
    QCOMPARE(manager.inProgressCount(), 1);
    QVERIFY(completed.wait(kWaitMs));
    QCOMPARE(completed.first(), QVariantList({QStringLiteral("/x/f"), true}));

    emit synchronizer->errorOccurred(QStringLiteral("bad"));
    QVERIFY(errors.isEmpty());
    QVERIFY(errors.wait(kWaitMs));
    QCOMPARE(texts(errors), QStringList{QStringLiteral("Synchronizer error: bad")});

    QVERIFY(makeErrorRow(manager));
    counters.clear();
    emit synchronizer->errorStateChanged();
    QVERIFY(counters.isEmpty());
    QVERIFY(counters.wait(kWaitMs));
    QCOMPARE(manager.errorCount(), 1);
}

void TestSyncManagerCore::observerWiring()
{
    if (!traceLinesBuiltIn())
        QSKIP("trace lines are compiled out of this build");
    Pair pair;
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, {}, nullptr);
    QSignalSpy errors(&manager, &VornSyncManager::errorOccurred);
    VornSyncObserver* observer = Access::observer(manager);
    TraceCapture capture;
    // No directory has these ids: a pass ends with an error text that names its id.
    emit observer->syncDirectoryNeeded(4711);
    emit observer->directoryChanged(4712);
    emit observer->periodicSyncNeeded();
    emit observer->errorOccurred(QStringLiteral("bad"));
    QVERIFY(errors.isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(
        capture.contains(QStringLiteral("periodicSynchronization - Start synchronisation")), kWaitMs);
    QVERIFY(capture.contains(QStringLiteral("Start directory synchronization for directoryId: 4712")));
    QVERIFY(!capture.contains(QStringLiteral("4711")));
    QTRY_VERIFY_WITH_TIMEOUT(texts(errors).contains(QStringLiteral("Observer error: bad")), kWaitMs);
}

void TestSyncManagerCore::tasksReachTheWorkerAndComeBack()
{
    if (!traceLinesBuiltIn())
        QSKIP("trace lines are compiled out of this build");
    Pair pair;
    QVERIFY(pair.distant().write(QStringLiteral("f"), "content"));
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, {}, nullptr);
    QSignalSpy completed(&manager, &VornSyncManager::syncCompleted);
    const pVornSyncTask task = VornSyncTask::create(pair.distant().filePath(QStringLiteral("f")),
                                                    pair.local().filePath(QStringLiteral("f")), ceStoCopy);
    QVERIFY(task);
    TraceCapture capture;
    emit Access::inside(manager)->sigAddTask(task);
    QVERIFY(completed.wait(kWaitMs));
    QCOMPARE(pair.local().read(QStringLiteral("f")), QByteArray("content"));
    QCOMPARE(capture.count(QStringLiteral("Wrkr: onAddTask - queue size = 1")), 1);
    QVERIFY(capture.contains(QStringLiteral("onTaskDone - Ignoring task for unknown directory: ")));
    QCOMPARE(completed.first(), QVariantList({pair.distant().filePath(QStringLiteral("f")), false}));
}

void TestSyncManagerCore::databaseErrorsPassUnchanged()
{
    Pair pair;
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, {}, nullptr);
    QSignalSpy errors(&manager, &VornSyncManager::errorOccurred);
    TraceCapture capture;
    emit Access::database(manager).errorOccurred(QStringLiteral("ERROR: 50% of %1"));
    QCOMPARE(texts(errors), QStringList{QStringLiteral("ERROR: 50% of %1")});
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag), QStringList{QStringLiteral("emitError - ERROR: 50% of %1")});
}

void TestSyncManagerCore::errorPrefixes()
{
    Pair pair;
    VornSyncManager manager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, {}, nullptr);
    QSignalSpy errors(&manager, &VornSyncManager::errorOccurred);
    TraceCapture capture;
    QVERIFY(QMetaObject::invokeMethod(Access::inside(manager), "onObserverErrorOccurred",
                                      Q_ARG(QString, QStringLiteral("a %1"))));
    QVERIFY(QMetaObject::invokeMethod(Access::inside(manager), "onSynchronizerErrorOccurred",
                                      Q_ARG(QString, QStringLiteral("b %1"))));
    QCOMPARE(texts(errors), QStringList({QStringLiteral("Observer error: a %1"),
                                         QStringLiteral("Synchronizer error: b %1")}));
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf(kManagerTag),
                 QStringList({QStringLiteral("emitError - Observer error: a %1"),
                              QStringLiteral("emitError - Synchronizer error: b %1")}));
}

void TestSyncManagerCore::unusableDatabase_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("a directory") << QStringLiteral("local");
    QTest::newRow("below a missing directory") << QStringLiteral("missing/state.sqlite");
    QTest::newRow("not a database") << QStringLiteral("garbage");
}

void TestSyncManagerCore::unusableDatabase()
{
    QFETCH(QString, name);
    Pair pair;
    const QString path = pair.rootPath() + QLatin1Char('/') + name;
    const QByteArray garbage(8192, 'x');
    QVERIFY(Side(pair.rootPath()).write(QStringLiteral("garbage"), garbage));
    TraceCapture capture;
    VornSyncManager manager(path, pair.trashRoot(), kNoCycleMs, {}, nullptr);
    // A host that connects now misses nothing.
    QSignalSpy errors(&manager, &VornSyncManager::errorOccurred);
    QVERIFY(errors.wait(kWaitMs));
    const QString text = QStringLiteral("ERROR: State database is not usable: '%1'.").arg(path);
    QVERIFY(texts(errors).contains(text));
    QVERIFY(!texts(errors).filter(QStringLiteral("ERROR: Database VornSyncDB_Connection: ")).isEmpty());
    if (traceLinesBuiltIn())
        QVERIFY(capture.linesOf(kManagerTag).contains(QStringLiteral("emitError - ") + text));
    QCOMPARE(capture.criticals().size(), 1);
    QVERIFY2(capture.criticals().first().contains(QStringLiteral(
                 "VornSyncManagerPrivate::VornSyncManagerPrivate: state database is not usable:")),
             qPrintable(capture.criticals().first()));

    errors.clear();
    QVERIFY(manager.isIdle());
    QCOMPARE(manager.pendingCount() + manager.errorCount() + manager.doneCount(), 0);
    QVERIFY(!manager.addDirectory(QStringLiteral("a"), pair.localPath(), pair.distantPath()));
    QVERIFY(texts(errors).contains(
        QStringLiteral("ERROR: Failure to add directory in database for alias: 'a'.")));
    QVERIFY(!manager.delDirectory(QStringLiteral("a")));
    QVERIFY(!manager.isAliasDirectorySynchronised(QStringLiteral("a")));
    QVERIFY(manager.getLocalDirSynchronizedAlias(pair.localPath()).isNull());
    manager.pauseAll();
    manager.resumeAll();
    manager.requestSync();
    // Nothing deletes the file by itself.
    QCOMPARE(Side(pair.rootPath()).read(QStringLiteral("garbage")), garbage);
    QVERIFY(QFileInfo::exists(pair.localPath()));
}

void TestSyncManagerCore::stopOrder()
{
    Pair pair;
    auto manager = std::make_unique<VornSyncManager>(pair.databasePath(), pair.trashRoot(), kNoCycleMs,
                                                     QStringList(), nullptr);
    QMutex mutex;
    QStringList order;
    for (QThread* thread : Access::inside(*manager)->findChildren<QThread*>()) {
        connect(
            thread, &QThread::finished, this,
            [&mutex, &order, thread] {
                QMutexLocker lock(&mutex);
                order << thread->objectName();
            },
            Qt::DirectConnection);
    }
    manager.reset();
    QCOMPARE(order, QStringList({QStringLiteral("SyncWorkerThread"), QStringLiteral("SyncSynchronizerThread"),
                                 QStringLiteral("SyncObserverThread")}));
}

void TestSyncManagerCore::threadsAreGoneAfterDestruction()
{
    Pair pair;
    auto manager = std::make_unique<VornSyncManager>(pair.databasePath(), pair.trashRoot(), kNoCycleMs,
                                                     QStringList(), nullptr);
    QSignalSpy errors(manager.get(), &VornSyncManager::errorOccurred);
    QList<QPointer<QObject>> objects = {Access::worker(*manager), Access::synchronizer(*manager),
                                        Access::observer(*manager), Access::inside(*manager)};
    for (QThread* thread : Access::inside(*manager)->findChildren<QThread*>())
        objects << thread;
    QCOMPARE(objects.size(), 7);
    const auto database = Access::weakDatabase(*manager);
    manager.reset();
    for (const QPointer<QObject>& object : qAsConst(objects))
        QVERIFY(object.isNull());
    QVERIFY(database.expired());
    QVERIFY(errors.isEmpty());
}

void TestSyncManagerCore::stuckThread_data()
{
    QTest::addColumn<int>("which");
    QTest::addColumn<QString>("text");
    QTest::newRow("worker") << 0 << QStringLiteral("ERROR: Failed to stop worker thread");
    QTest::newRow("synchronizer") << 1 << QStringLiteral("ERROR: Failed to stop synchronizer thread");
    QTest::newRow("observer") << 2 << QStringLiteral("ERROR: Failed to stop observer thread");
}

void TestSyncManagerCore::stuckThread()
{
    QFETCH(int, which);
    QFETCH(QString, text);
    Pair pair;
    auto manager = std::make_unique<VornSyncManager>(pair.databasePath(), pair.trashRoot(), kNoCycleMs,
                                                     QStringList(), nullptr);
    const QList<QObject*> objects = {Access::worker(*manager), Access::synchronizer(*manager),
                                     Access::observer(*manager)};
    const QPointer<QObject> object = objects.at(which);
    const QPointer<QThread> thread = object->thread();
    const auto gate = block(object);
    QVERIFY(gate);
    QSignalSpy errors(manager.get(), &VornSyncManager::errorOccurred);
    QElapsedTimer clock;
    clock.start();
    manager.reset();
    QVERIFY(clock.elapsed() >= kThreadStopMs - 1);
    QCOMPARE(texts(errors), QStringList{text});
    QVERIFY(thread && thread->isRunning());
    QVERIFY(thread->isInterruptionRequested());
    QVERIFY(!thread->parent());
    QVERIFY(object);

    gate->mayGoOn.release();
    QTRY_VERIFY_WITH_TIMEOUT(thread.isNull(), kWaitMs);
    QVERIFY(object.isNull());
}

void TestSyncManagerCore::allThreadsStuck()
{
    Pair pair;
    auto manager = std::make_unique<VornSyncManager>(pair.databasePath(), pair.trashRoot(), kNoCycleMs,
                                                     QStringList(), nullptr);
    QList<std::shared_ptr<Gate>> gates;
    QList<QPointer<QThread>> threads;
    for (QObject* object : QList<QObject*>{Access::worker(*manager), Access::synchronizer(*manager),
                                           Access::observer(*manager)}) {
        threads << object->thread();
        gates << block(object);
        QVERIFY(gates.last());
    }
    QSignalSpy errors(manager.get(), &VornSyncManager::errorOccurred);
    manager.reset();
    QCOMPARE(texts(errors), QStringList({QStringLiteral("ERROR: Failed to stop worker thread"),
                                         QStringLiteral("ERROR: Failed to stop synchronizer thread"),
                                         QStringLiteral("ERROR: Failed to stop observer thread")}));
    for (const auto& gate : qAsConst(gates))
        gate->mayGoOn.release();
    for (const QPointer<QThread>& thread : qAsConst(threads))
        QTRY_VERIFY_WITH_TIMEOUT(thread.isNull(), kWaitMs);
}

void TestSyncManagerCore::stuckSynchronizerKeepsItsDatabase()
{
    Pair pair;
    auto manager = std::make_unique<VornSyncManager>(pair.databasePath(), pair.trashRoot(), kNoCycleMs,
                                                     QStringList(), nullptr);
    QVERIFY(manager->addDirectory(QStringLiteral("a"), pair.localPath(),
                                  pair.rootPath() + QLatin1String("/none")));
    const QPointer<QThread> thread = Access::synchronizer(*manager)->thread();
    const auto weakDatabase = Access::weakDatabase(*manager);
    VornSyncDatabase* database = &Access::database(*manager);
    QList<int> ids;
    bool isBadAccepted = true;
    const auto gate = block(Access::synchronizer(*manager), [&ids, &isBadAccepted, database] {
        ids = database->getDirectoryIds(false);
        isBadAccepted = database->executeQuery(QStringLiteral("NO SUCH STATEMENT"), QVariantList());
    });
    QVERIFY(gate);
    manager.reset();
    QVERIFY(!weakDatabase.expired());
    // The same file serves a new manager meanwhile.
    VornSyncManager next(pair.databasePath(), pair.trashRoot(), kNoCycleMs, {}, nullptr);
    QSignalSpy errors(&next, &VornSyncManager::errorOccurred);
    QVERIFY(next.isAliasDirectorySynchronised(QStringLiteral("a")));

    gate->mayGoOn.release();
    QTRY_VERIFY_WITH_TIMEOUT(thread.isNull(), kWaitMs);
    QCOMPARE(ids.size(), 1);
    QVERIFY(!isBadAccepted);
    QVERIFY(weakDatabase.expired());
    QVERIFY(errors.isEmpty());
}

void TestSyncManagerCore::noSignalAfterDestruction()
{
    Pair pair;
    auto manager = std::make_unique<VornSyncManager>(pair.databasePath(), pair.trashRoot(), kNoCycleMs,
                                                     QStringList(), nullptr);
    QSignalSpy started(manager.get(), &VornSyncManager::syncStarted);
    QSignalSpy errors(manager.get(), &VornSyncManager::errorOccurred);
    // Waiting in this thread's queue when the manager goes.
    emit Access::synchronizer(*manager)->syncStarted(QStringLiteral("/x/f"));
    emit Access::synchronizer(*manager)->errorOccurred(QStringLiteral("bad"));
    manager.reset();
    QCoreApplication::processEvents();
    QVERIFY(started.isEmpty());
    QVERIFY(errors.isEmpty());
}

// Runs in a process of its own: the end of main() finds a thread still at work.
static int leaveAThreadStuck()
{
    Pair pair;
    VornSyncManager* manager =
        new VornSyncManager(pair.databasePath(), pair.trashRoot(), kNoCycleMs, QStringList(), nullptr);
    const bool isBlocked = block(Access::synchronizer(*manager)) && block(Access::worker(*manager));
    delete manager;
    return isBlocked ? 0 : 1;
}

void TestSyncManagerCore::processEndsWithAStuckThread()
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(kStayStuckArgument)});
    QVERIFY(process.waitForFinished(kWaitMs));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (argc == 2 && qstrcmp(argv[1], kStayStuckArgument) == 0)
        return leaveAThreadStuck();
    TestSyncManagerCore test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_sync_manager_core.moc"

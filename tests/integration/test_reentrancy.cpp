#include "host.h"
#include "literals.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QPointer>
#include <QTest>

#include <functional>

using namespace VornSyncTest;

namespace {

using Action = std::function<void()>;

const char* const kSignals[] = {"syncStarted",     "syncCompleted",       "errorOccurred", "idleChanged",
                                "countersChanged", "recentEventsChanged", "fileReady"};
// Longer than a worker's pause between two tasks: the drain loop always has something to wait for.
constexpr int kFiles = 4;

// Runs an action at each emission of a signal, on the thread that it is emitted on.
void onEmission(VornSyncManager& manager, const QString& signal, QObject* context, const Action& action)
{
    const auto connectTo = [&](const char* name, auto member) {
        if (signal == QLatin1String(name))
            QVERIFY(QObject::connect(&manager, member, context, action, Qt::DirectConnection));
    };
    connectTo("syncStarted", &VornSyncManager::syncStarted);
    connectTo("syncCompleted", &VornSyncManager::syncCompleted);
    connectTo("errorOccurred", &VornSyncManager::errorOccurred);
    connectTo("idleChanged", &VornSyncManager::idleChanged);
    connectTo("countersChanged", &VornSyncManager::countersChanged);
    connectTo("recentEventsChanged", &VornSyncManager::recentEventsChanged);
    connectTo("fileReady", &VornSyncManager::fileReady);
}

QString fileName(int i)
{
    return "file %1.txt"_s.arg(i);
}

bool writeFiles(const Host& host)
{
    for (int i = 0; i < kFiles; ++i) {
        if (!host.local().write(fileName(i), QByteArray(1000 * (i + 1), 'x')))
            return false;
    }
    return host.distant().write("elsewhere.txt"_s, "written elsewhere");
}

// Operations of the pair that were handed out and have not ended. A wipe sets the manager's own count to 0 while
// they run, and the end of a file-ready copy, whose source is a distant file, lowers it.
int openOperations(const Host& host)
{
    int ended = 0;
    for (const auto& operation : host.completed())
        ended += operation.first.startsWith(host.local().path()) ? 1 : 0;
    return int(host.started().size()) - ended;
}

bool awaitAllDone(Host& host, int fileCount)
{
    return waitFor([&] { return openOperations(host) == 0 && host.manager()->doneCount() == fileCount; });
}

// Makes every signal come, now and while files are sent. Each call may be the last one of the manager.
void provoke(const Host& host, const QPointer<VornSyncManager>& manager)
{
    const QVector<Action> actions = {
        [&] { manager->requestFileReady(host.distant().filePath("elsewhere.txt"_s)); },
        [&] { manager->notifyLocalFileChanged(Host::alias(), fileName(0)); },
        [&] { manager->notifyLocalFileChanged(Host::alias(), "not/a name"_s); },
        [&] { manager->requestFileReady(host.distant().filePath("nowhere"_s)); },
    };
    for (const Action& action : actions) {
        if (manager)
            action();
    }
}

} // namespace

// Slots of a host that call back into the manager at whatever moment.
class TestReentrancy : public QObject
{
    Q_OBJECT

private slots:
    void pairRemovedAndAddedAsEachFileArrives();
    void pairRemovedAtTheFirstFileAndAddedLater();
    void wipedFromEverySignal_data() { addSignalRows(); }
    void wipedFromEverySignal();
    void resetFromEverySignal_data() { addSignalRows(); }
    void resetFromEverySignal();
    void resetFromAnErrorOfARegistration();
    void theNextFileIsAskedForInTheAnswer();
    void anEventLoopInEverySignal_data() { addSignalRows(); }
    void anEventLoopInEverySignal();
    void deletedInAnEventLoopInEverySignal_data() { addSignalRows(); }
    void deletedInAnEventLoopInEverySignal();
    void deletedFromEverySignalOfAReset_data();
    void deletedFromEverySignalOfAReset();
    void decisionsTakenAsTheErrorsAppear();
    void deletedWhileAllErrorsAreRetried();

private:
    static void addSignalRows();
};

void TestReentrancy::addSignalRows()
{
    QTest::addColumn<QString>("signal");
    for (const char* name : kSignals)
        QTest::newRow(name) << QString::fromLatin1(name);
}

void TestReentrancy::pairRemovedAndAddedAsEachFileArrives()
{
    Host host;
    QVERIFY(writeFiles(host));
    QVERIFY(host.start());
    int rounds = 0;
    connect(host.manager(), &VornSyncManager::syncCompleted, &host, [&] {
        if (++rounds > kFiles)
            return;
        QVERIFY(host.manager()->delDirectory(Host::alias()));
        QVERIFY(!host.manager()->isAliasDirectorySynchronised(Host::alias()));
        QVERIFY(host.manager()->addDirectory(Host::alias(), host.local().path(), host.distant().path()));
    });
    QVERIFY(waitFor([&] { return rounds > kFiles; }));
    VERIFY_AT_REST(host);
    QCOMPARE(host.errors(), QStringList());
    QCOMPARE(host.manager()->doneCount(), kFiles);
}

void TestReentrancy::pairRemovedAtTheFirstFileAndAddedLater()
{
    Host host;
    QVERIFY(writeFiles(host));
    QVERIFY(host.start());
    bool isRemoved = false;
    connect(host.manager(), &VornSyncManager::syncCompleted, &host, [&] {
        if (!isRemoved)
            QVERIFY(host.manager()->delDirectory(Host::alias()));
        isRemoved = true;
    });
    // What was handed out ends, and leaves no row.
    QVERIFY(waitFor([&] { return isRemoved && host.completed().size() == host.started().size(); }));
    QVERIFY(host.awaitCycles(2));
    QCOMPARE(host.raw().value("SELECT COUNT(*) FROM file_tracking"_s).toInt(), 0);
    QVERIFY(host.manager()->addDirectory(Host::alias(), host.local().path(), host.distant().path()));
    VERIFY_AT_REST(host);
}

void TestReentrancy::wipedFromEverySignal()
{
    QFETCH(QString, signal);
    Host host;
    QVERIFY(writeFiles(host));
    QVERIFY(host.start());
    host.expectErrors("ERROR: Invalid file name: 'not/a name'"_s);
    // A wipe without a pause leaves the local directory watched; what was handed out before it finds neither its
    // directory nor its row.
    host.expectErrors("Observer error: Failed to add directory to watch: "_s);
    host.expectErrors("ERROR: Failure to get folder for file: "_s);
    host.expectErrors("FOREIGN KEY constraint failed"_s);
    host.expectWarnings();
    bool isInside = false; // a wipe speaks too
    int wipes = 0;
    onEmission(*host.manager(), signal, &host, [&] {
        if (isInside || wipes == 2)
            return;
        isInside = true;
        ++wipes;
        QVERIFY(host.manager()->wipeSyncDatabaseFile());
        QVERIFY(host.registerPairs());
        isInside = false;
    });
    provoke(host, host.manager());
    QVERIFY(waitFor([&] { return wipes > 0; }));
    // What was handed out before the wipe ends after it, and may meet the row of the new one.
    QVERIFY(waitFor([&] { return host.local().exists("elsewhere.txt"_s); }));
    QVERIFY(waitFor([&] { return host.manager()->doneCount() >= kFiles; }));
    wipes = 2;
    QVERIFY(awaitAllDone(host, kFiles + 1));
    VERIFY_AT_REST(host);
}

void TestReentrancy::resetFromEverySignal()
{
    QFETCH(QString, signal);
    Host host;
    QVERIFY(writeFiles(host));
    QVERIFY(host.start());
    host.expectErrors("ERROR: Invalid file name: 'not/a name'"_s);
    int resets = 0;
    onEmission(*host.manager(), signal, &host, [&] {
        // Once more from inside the reset, whose drain loop and wipe send signals of their own.
        if (resets == 2)
            return;
        ++resets;
        QVERIFY(host.manager()->resetSyncDatabase(kWaitMs));
        QVERIFY(host.registerPairs());
    });
    provoke(host, host.manager());
    QVERIFY(waitFor([&] { return resets > 0; }));
    QVERIFY(waitFor([&] { return host.local().exists("elsewhere.txt"_s); }));
    QVERIFY(waitFor([&] { return host.manager()->doneCount() >= kFiles; }));
    resets = 2;
    QVERIFY(awaitAllDone(host, kFiles + 1));
    QVERIFY(!host.manager()->isPausedAll());
    VERIFY_AT_REST(host);
}

void TestReentrancy::resetFromAnErrorOfARegistration()
{
    Host host;
    QVERIFY(writeFiles(host));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return !host.started().isEmpty(); }));
    int resets = 0;
    connect(host.manager(), &VornSyncManager::errorOccurred, &host, [&] {
        if (resets++ == 0)
            QVERIFY(host.manager()->resetSyncDatabase(kWaitMs));
    });
    const Pair far;
    QVERIFY(host.manager()->addDirectory("far"_s, far.localPath(), "/nonexistent"_s));
    QCOMPARE(resets, 1);
    QCOMPARE(host.takeErrors(),
             QStringList{"Warning: Given distant path for alias: 'far' does not exist or is not a "
                         "directory"_s});
    QCOMPARE(host.raw().value("SELECT COUNT(*) FROM directories"_s).toInt(), 0);
    QVERIFY(host.registerPairs());
    VERIFY_AT_REST(host);
}

void TestReentrancy::theNextFileIsAskedForInTheAnswer()
{
    Host host;
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(host.distant().write(fileName(i), QByteArray::number(i)));
    QVERIFY(host.start());
    QStringList answers;
    const auto ask = [&] {
        host.manager()->requestFileReady(host.distant().filePath(fileName(int(answers.size()))));
    };
    connect(host.manager(), &VornSyncManager::fileReady, &host, [&](const QString& path, bool isFound) {
        QVERIFY(isFound);
        QCOMPARE(path, host.local().filePath(fileName(int(answers.size()))));
        answers << path;
        if (answers.size() < kFiles)
            ask();
    });
    ask();
    QVERIFY(waitFor([&] { return answers.size() == kFiles; }));
    VERIFY_AT_REST(host);
    QCOMPARE(host.manager()->doneCount(), kFiles);
}

void TestReentrancy::anEventLoopInEverySignal()
{
    QFETCH(QString, signal);
    Host host;
    QVERIFY(writeFiles(host));
    QVERIFY(host.start());
    host.expectErrors("ERROR: Invalid file name: 'not/a name'"_s);
    int depth = 0;
    int calls = 0;
    onEmission(*host.manager(), signal, &host, [&] {
        ++calls;
        if (depth == 3) // as a host that opens dialogs on dialogs
            return;
        ++depth;
        QVERIFY(waitFor([&] { return host.manager()->doneCount() >= 1; }));
        --depth;
    });
    provoke(host, host.manager());
    QVERIFY(waitFor([&] { return calls > 0; }));
    QVERIFY(awaitAllDone(host, kFiles + 1));
    VERIFY_AT_REST(host);
}

void TestReentrancy::deletedInAnEventLoopInEverySignal()
{
    QFETCH(QString, signal);
    Host host;
    QVERIFY(writeFiles(host));
    QVERIFY(host.start());
    QPointer<VornSyncManager> manager = host.manager();
    onEmission(*manager, signal, &host, [&] {
        if (!manager)
            return;
        host.releaseManager()->deleteLater();
        // As in a dialog that is still open when the application lets go of the manager.
        QCoreApplication::sendPostedEvents(manager, QEvent::DeferredDelete);
        QVERIFY(!manager);
    });
    provoke(host, manager);
    QVERIFY(waitFor([&] { return !manager; }));
    QCOMPARE(host.trace().criticals(), QStringList());
    QCOMPARE(host.trace().warnings(), QStringList());
    host.takeErrors();
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
}

void TestReentrancy::deletedFromEverySignalOfAReset_data()
{
    addSignalRows();
}

void TestReentrancy::deletedFromEverySignalOfAReset()
{
    QFETCH(QString, signal);
    Host host;
    QVERIFY(writeFiles(host));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return !host.started().isEmpty(); }));
    const QPointer<VornSyncManager> manager = host.releaseManager();
    // Asked for before, told inside.
    QVERIFY(host.local().write("late.txt"_s, "x"));
    manager->notifyLocalFileChanged(Host::alias(), "late.txt"_s);
    manager->requestFileReady(host.distant().filePath("elsewhere.txt"_s));
    manager->notifyLocalFileChanged(Host::alias(), "gone.txt"_s); // raises an error there
    bool isInside = false;
    onEmission(*manager, signal, &host, [&] {
        if (isInside)
            manager->deleteLater();
    });
    isInside = true;
    QVERIFY(!manager->isIdle());
    const bool isReset = manager->resetSyncDatabase(kWaitMs);
    // The wipe tells of its counters and events when the loop is over: the deletion follows the call.
    QVERIFY(isReset || !manager);
    QVERIFY(waitFor([&] { return !manager; }));
    host.takeErrors();
    host.expectWarnings(); // a file that nobody knows is in error
    host.leaveOut("gone.txt"_s);
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
}

void TestReentrancy::decisionsTakenAsTheErrorsAppear()
{
    Host host;
    QVERIFY(writeFiles(host));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    connect(host.manager(), &VornSyncManager::countersChanged, &host, [&] {
        host.manager()->retryAllErrors();
        host.manager()->acknowledgeAllMissing();
    });
    QVERIFY(host.local().remove(fileName(0)));
    QVERIFY(host.distant().remove(fileName(1)));
    QVERIFY(waitFor([&] { return host.seenErrorFiles().size() == 2; }));
    QVERIFY(waitFor([&] { return host.status(fileName(0)) == 40; }));
    QVERIFY(waitFor([&] { return host.distant().exists(fileName(1)); }));
    VERIFY_AT_REST(host);
}

void TestReentrancy::deletedWhileAllErrorsAreRetried()
{
    Host host;
    QVERIFY(writeFiles(host));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(host.local().remove(fileName(i)));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == kFiles; }));
    const QPointer<VornSyncManager> manager = host.releaseManager();
    connect(manager, &VornSyncManager::countersChanged, manager, &QObject::deleteLater);
    manager->acknowledgeAllMissing();
    manager->deleteAllDistantMissing();
    manager->retryAllErrors();
    QVERIFY(waitFor([&] { return !manager; }));
    QVERIFY(host.start());
    QCOMPARE(host.trace().criticals(), QStringList());
    QVERIFY(host.awaitCycles(1));
}

QTEST_GUILESS_MAIN(TestReentrancy)
#include "test_reentrancy.moc"

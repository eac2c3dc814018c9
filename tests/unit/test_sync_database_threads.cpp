#include "collect.h"
#include "sync_database_fixture.h"
#include "vorn_sqlite_transaction.h"
#include "wait.h"

#include <QDir>
#include <QFile>
#include <QSemaphore>
#include <QSqlDatabase>
#include <QThread>
#include <QThreadPool>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

using namespace VornSyncTest;

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 200;

QStringList ownConnections()
{
    return QSqlDatabase::connectionNames().filter("VornSyncDB_Connection"_s);
}

// Files that this process holds open although they are gone.
QStringList deletedHandles(const QString& directory)
{
    QStringList handles;
    const QStringList names =
        QDir("/proc/self/fd"_s).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System);
    for (const QString& name : names) {
        const QString target = QFile::symLinkTarget("/proc/self/fd/"_s + name);
        if (target.startsWith(directory) && target.endsWith("(deleted)"_s))
            handles << target;
    }
    return handles;
}

// Runs `action` on each of several threads at once and waits for all.
void together(int count, const std::function<void(int)>& action)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&action, i] { action(i); });
    for (std::thread& thread : threads)
        thread.join();
}

// A thread with an event loop that runs what it is given, until the object goes.
class LoopThread
{
    Q_DISABLE_COPY_MOVE(LoopThread)

public:
    LoopThread()
    {
        context.moveToThread(&thread);
        thread.start();
    }
    ~LoopThread() { stop(); }

    void run(const std::function<void()>& action)
    {
        QMetaObject::invokeMethod(&context, action, Qt::BlockingQueuedConnection);
    }
    void post(const std::function<void()>& action)
    {
        QMetaObject::invokeMethod(&context, action, Qt::QueuedConnection);
    }
    void stop()
    {
        thread.quit();
        thread.wait();
    }

    QThread thread;
    QObject context;
};

// Uses the database in its destructor, as an object does that its thread's end deletes.
class LastUser : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LastUser)

public:
    explicit LastUser(VornSyncDatabase& database)
        : m_database(database)
    {
    }
    ~LastUser() override { m_database.getDirectoryIds(false); }

private:
    VornSyncDatabase& m_database;
};

} // namespace

class TestSyncDatabaseThreads : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void eachThreadHasAConnection();
    void connectionsEndWithTheirThread_data();
    void connectionsEndWithTheirThread();
    void lastUseOfAnEndingThread();
    void restartedThread();
    void noneIsLeftWhenTheObjectGoes();
    void noneIsLeftOfARunningThread();
    void errorsComeToTheReceiversThread();

    void readAndWriteDoNotInterleave();
    void oneThreadWinsACondition();
    void recordingsDoNotCollide();
    void tombstoneAgainstAPass();

    void resetWhileOthersHammer();
    void resetOnSeveralThreads();
    void resetWaitsForATransaction();
    void resetClosesIdleThreads();
    void resetClosesThreadsThatHang();
    void resetWhileThreadsEnd();

private:
    VornSyncDatabase& db() { return m_fixture->database; }
    int id() const { return m_fixture->directoryId; }

    std::unique_ptr<SyncDatabaseFixture> m_fixture;
};

void TestSyncDatabaseThreads::init()
{
    m_fixture = std::make_unique<SyncDatabaseFixture>();
    QVERIFY(m_fixture->isReady);
    QVERIFY(m_fixture->directoryId > 0);
}

void TestSyncDatabaseThreads::cleanup()
{
    m_fixture.reset();
    QCOMPARE(ownConnections(), QStringList());
}

// --- Connections ----------------------------------------------------------------------------------------

void TestSyncDatabaseThreads::eachThreadHasAConnection()
{
    QCOMPARE(ownConnections().size(), 1);
    LoopThread first;
    LoopThread second;
    for (LoopThread* thread : {&first, &second, &first}) {
        int found = -1;
        thread->run([&] { found = db().getDirectoryIdByAlias("alias"_s); });
        QCOMPARE(found, id());
    }
    QCOMPARE(ownConnections().size(), 3);
}

void TestSyncDatabaseThreads::connectionsEndWithTheirThread_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("thread with an event loop") << 0;
    QTest::newRow("thread without one") << 1;
    QTest::newRow("standard thread") << 2;
    QTest::newRow("pool") << 3;
}

void TestSyncDatabaseThreads::connectionsEndWithTheirThread()
{
    QFETCH(int, kind);
    std::atomic<int> done{0};
    const std::function<void()> use = [&] {
        if (db().setFileStatus(id(), "x"_s, ceSfsPendingSync, 0) && ownConnections().size() == 2)
            ++done;
    };
    if (kind == 0) {
        LoopThread thread;
        thread.run(use);
    } else if (kind == 1) {
        std::unique_ptr<QThread> thread(QThread::create(use));
        thread->start();
        QVERIFY(thread->wait());
    } else if (kind == 2) {
        std::thread(use).join();
    } else {
        QThreadPool pool;
        pool.start(QRunnable::create(use));
        QVERIFY(pool.waitForDone(kWaitMs));
    }
    QCOMPARE(done.load(), 1);
    QCOMPARE(ownConnections().size(), 1);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseThreads::lastUseOfAnEndingThread()
{
    LoopThread loop;
    loop.run([] {}); // has emitted started(): the first connection beside an emission is a race inside Qt
    auto* user = new LastUser(db());
    user->moveToThread(&loop.thread);
    QSignalSpy destroyed(user, &QObject::destroyed);
    connect(&loop.thread, &QThread::finished, user, &QObject::deleteLater);
    loop.run([&] { db().getDirectoryIds(false); });
    QCOMPARE(ownConnections().size(), 2);
    loop.stop();
    QCOMPARE(destroyed.size(), 1);
    QCOMPARE(ownConnections().size(), 1);
}

void TestSyncDatabaseThreads::restartedThread()
{
    std::atomic<int> done{0};
    QThread restarted;
    QObject context;
    context.moveToThread(&restarted);
    for (int round = 0; round < 2; ++round) {
        restarted.start();
        QMetaObject::invokeMethod(
            &context,
            [&] {
                if (db().getDirectoryIds(false).size() == 1)
                    ++done;
            },
            Qt::BlockingQueuedConnection);
        QCOMPARE(ownConnections().size(), 2);
        restarted.quit();
        QVERIFY(restarted.wait(kWaitMs));
        QCOMPARE(ownConnections().size(), 1);
    }
    QCOMPARE(done.load(), 2);
}

void TestSyncDatabaseThreads::noneIsLeftWhenTheObjectGoes()
{
    LoopThread loop;
    loop.run([&] { db().getDirectoryIds(false); });
    m_fixture.reset();
    QCOMPARE(ownConnections(), QStringList());
}

void TestSyncDatabaseThreads::noneIsLeftOfARunningThread()
{
    LoopThread loop;
    QSemaphore isHanging;
    QSemaphore goOn;
    loop.post([&] {
        db().getDirectoryIds(false);
        isHanging.release();
        goOn.acquire();
    });
    QVERIFY(isHanging.tryAcquire(1, kWaitMs));
    m_fixture.reset();
    QCOMPARE(ownConnections(), QStringList());
    goOn.release();
}

void TestSyncDatabaseThreads::errorsComeToTheReceiversThread()
{
    QThread* seenOn = nullptr;
    QObject context;
    connect(&db(), &VornSyncDatabase::errorOccurred, &context, [&] { seenOn = QThread::currentThread(); });
    LoopThread loop;
    bool done = true;
    loop.run([&] { done = db().executeQuery("SELECT missing"_s); });
    QVERIFY(!done);
    QTRY_COMPARE_WITH_TIMEOUT(seenOn, QThread::currentThread(), kWaitMs);
}

// --- One after the other --------------------------------------------------------------------------------

void TestSyncDatabaseThreads::readAndWriteDoNotInterleave()
{
    QVERIFY(db().createTable("counter"_s, {"n INTEGER"_s}, {}));
    QVERIFY(db().executeQuery("INSERT INTO counter VALUES (0)"_s));
    std::atomic<int> failures{0};
    together(kThreads, [&](int) {
        for (int round = 0; round < kRounds; ++round) {
            VornSqliteTransaction transaction(db());
            QVariantList n;
            if (!db().executeQuery(n, "SELECT n FROM counter"_s) || n.size() != 1 ||
                !db().executeQuery("UPDATE counter SET n = ?"_s, {n.first().toInt() + 1}) ||
                !transaction.commit())
                ++failures;
        }
    });
    QCOMPARE(failures.load(), 0);
    QCOMPARE(m_fixture->raw.value("SELECT n FROM counter"_s).toInt(), kThreads * kRounds);
}

void TestSyncDatabaseThreads::oneThreadWinsACondition()
{
    QVERIFY(m_fixture->insert("x"_s, 17));
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> winners{0};
        together(kThreads, [&](int) {
            if (db().setFileStatusIf(id(), "x"_s, ceSfsUpToDate, ceSfsPendingSync))
                ++winners;
        });
        QCOMPARE(winners.load(), 1);
        QVERIFY(db().setFileStatusIf(id(), "x"_s, ceSfsPendingSync, ceSfsUpToDate));
    }
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseThreads::recordingsDoNotCollide()
{
    // All record one new file at once: one of them adds it, the others update it.
    const QDateTime time = QDateTime::currentDateTimeUtc();
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> recorded{0};
        std::atomic<int> added{0};
        const QString name = QString::number(round);
        together(kThreads, [&](int thread) {
            bool existed = false;
            if (db().recordFileSync(id(), name, thread, time, time, &existed))
                ++recorded;
            if (!existed)
                ++added;
        });
        QCOMPARE(recorded.load(), kThreads);
        QCOMPARE(added.load(), 1);
    }
    QCOMPARE(m_fixture->rowCount(), 20);
    QCOMPARE(db().countFilesByStatuses({17}), 20);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseThreads::tombstoneAgainstAPass()
{
    // The host's word stays, whichever comes first.
    for (int round = 0; round < 50; ++round) {
        const QString name = QString::number(round);
        QVERIFY(db().setFileStatus(id(), name, ceSfsUpToDate, 0));
        together(2, [&](int thread) {
            if (thread == 0)
                db().setFileDeleted(id(), name);
            else
                db().setFileErrorIf(id(), name, ceSfsUpToDate, ceSecLocalFileMissing);
        });
        QCOMPARE(db().getFileStatus(id(), name), int(ceSfsDeleted));
    }
}

// --- Reset ----------------------------------------------------------------------------------------------

void TestSyncDatabaseThreads::resetWhileOthersHammer()
{
    std::atomic<bool> isOver{false};
    std::atomic<int> statements{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; !isOver; ++round) {
                const QString name = "%1 %2"_s.arg(i).arg(round % 50);
                db().setFileStatus(1, name, ceSfsPendingSync, 0);
                db().updateStatusToProcess(1, name);
                QVector<VornSyncFileRow> rows;
                db().readDirectoryRows(1, into(rows));
                ++statements;
            }
        });
    }
    QStringList left;
    bool isReset = true;
    for (int round = 0; round < 10 && isReset; ++round) {
        const int before = statements;
        isReset = db().reset() && db().addDirectory("alias"_s, "/local"_s, "/distant"_s, "/trash"_s) == 1;
        left += deletedHandles(m_fixture->directory.path());
        if (!waitFor([&] { return statements > before + kThreads; }))
            isReset = false;
    }
    isOver = true;
    for (std::thread& thread : threads)
        thread.join();
    QVERIFY(isReset);
    QCOMPARE(left, QStringList());
    QCOMPARE(m_fixture->raw.integrityProblems(), QString());
    QCOMPARE(db().countFilesByStatuses({18, 20}), m_fixture->rowCount());
    // What failed, failed for want of its directory, never for a file or a table that was pulled away.
    const QStringList errors = m_fixture->errorTexts();
    for (const QString& error : errors)
        QVERIFY2(error.contains("FOREIGN KEY"_s), qPrintable(error));
}

void TestSyncDatabaseThreads::resetOnSeveralThreads()
{
    std::atomic<int> resets{0};
    together(kThreads, [&](int) {
        for (int round = 0; round < 5; ++round) {
            if (db().resetFile())
                ++resets;
        }
    });
    QCOMPARE(resets.load(), kThreads * 5);
    QCOMPARE(deletedHandles(m_fixture->directory.path()), QStringList());
    QVERIFY(db().initialize());
    QCOMPARE(m_fixture->raw.integrityProblems(), QString());
}

void TestSyncDatabaseThreads::resetWaitsForATransaction()
{
    QSemaphore isInside;
    QSemaphore goOn;
    bool isCommitted = false;
    std::thread writer([&] {
        VornSqliteTransaction transaction(db());
        db().setFileStatus(id(), "x"_s, ceSfsPendingSync, 0);
        isInside.release();
        goOn.acquire();
        db().setFileStatus(id(), "y"_s, ceSfsPendingSync, 0);
        isCommitted = transaction.commit();
    });
    const bool isThere = isInside.tryAcquire(1, kWaitMs);
    std::atomic<bool> isReset{false};
    std::thread resetter([&] { isReset = db().resetFile(); });
    // The reset is on its way; a new statement waits behind it, and it waits for the transaction.
    std::atomic<bool> isRead{false};
    std::thread reader([&] {
        db().getDirectoryIds(false);
        isRead = true;
    });
    const bool isEarly = isReset;
    goOn.release();
    writer.join();
    resetter.join();
    reader.join();
    QVERIFY(isThere);
    QVERIFY(!isEarly);
    QVERIFY(isCommitted);
    QVERIFY(isReset);
    QVERIFY(isRead);
    QCOMPARE(m_fixture->raw.value("SELECT COUNT(*) FROM sqlite_master"_s).toInt(), 0);
}

void TestSyncDatabaseThreads::resetClosesIdleThreads()
{
    LoopThread loop;
    loop.run([&] { db().getDirectoryIds(false); });
    QVERIFY(db().reset());
    QCOMPARE(deletedHandles(m_fixture->directory.path()), QStringList());
    int added = -1;
    loop.run([&] { added = db().addDirectory("loop"_s, "/l"_s, "/d"_s, "/t"_s); });
    QCOMPARE(added, 1);
    QCOMPARE(m_fixture->raw.value("SELECT alias_name FROM directories"_s).toString(), "loop"_s);
}

void TestSyncDatabaseThreads::resetClosesThreadsThatHang()
{
    // As the engine's thread in a look at a share that does not answer: outside of all statements.
    QSemaphore isHanging;
    QSemaphore goOn;
    int added = -1;
    std::thread hanging([&] {
        db().getDirectoryIds(false);
        isHanging.release();
        goOn.acquire();
        added = db().addDirectory("late"_s, "/l"_s, "/d"_s, "/t"_s);
    });
    const bool isThere = isHanging.tryAcquire(1, kWaitMs);
    const bool isReset = db().reset();
    const QStringList left = deletedHandles(m_fixture->directory.path());
    const bool hasWal = QFile::exists(m_fixture->path() + "-wal"_s);
    goOn.release();
    hanging.join();
    QVERIFY(isThere);
    QVERIFY(isReset);
    QCOMPARE(left, QStringList());
    QVERIFY(hasWal);
    // Neither its next statement nor its end touched anything but the new file.
    QCOMPARE(added, 1);
    QVERIFY(QFile::exists(m_fixture->path() + "-wal"_s));
    QCOMPARE(m_fixture->raw.value("SELECT alias_name FROM directories"_s).toString(), "late"_s);
    QCOMPARE(db().getDirectoryIdByAlias("late"_s), 1);
    QCOMPARE(m_fixture->raw.integrityProblems(), QString());
}

void TestSyncDatabaseThreads::resetWhileThreadsEnd()
{
    std::atomic<bool> isOver{false};
    std::thread starter([&] {
        while (!isOver)
            together(2, [&](int) { db().getDirectoryIds(false); });
    });
    int resets = 0;
    for (int round = 0; round < 10; ++round)
        resets += db().reset() ? 1 : 0;
    isOver = true;
    starter.join();
    QCOMPARE(resets, 10);
    QCOMPARE(ownConnections().size(), 1);
    QCOMPARE(deletedHandles(m_fixture->directory.path()), QStringList());
}

QTEST_GUILESS_MAIN(TestSyncDatabaseThreads)

#include "test_sync_database_threads.moc"

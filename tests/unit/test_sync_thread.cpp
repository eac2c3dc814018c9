#include "vorn_sync_thread.h"

#include <QPointer>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

namespace {

constexpr int kLongEnoughMs = 30000;
constexpr int kNotWaitingMs = 50;
constexpr int kLateMs = 300;

// Lives on the thread and blocks it; a slot that never returns by itself.
struct Blocker : QObject
{
    void block()
    {
        isBlocked.release();
        gate.acquire();
    }
    QSemaphore isBlocked;
    QSemaphore gate;
};

} // namespace

class TestSyncThread : public QObject
{
    Q_OBJECT

private slots:
    void carriesItsName();
    void stopsAnIdleThread();
    void stopOfAThreadThatNeverStarted();
    void asksForInterruption();
    void reportsAThreadThatDoesNotStop();
    void lettingGoWhileItRuns();
    void lettingGoAfterItHasFinished();
    void neededObjectOutlivesObjectsOfTheThread();
};

void TestSyncThread::carriesItsName()
{
    QObject parent;
    VornSyncThread thread(QStringLiteral("SomeThread"), &parent);
    QCOMPARE(thread.objectName(), QStringLiteral("SomeThread"));
    QCOMPARE(thread.parent(), &parent);
}

void TestSyncThread::stopsAnIdleThread()
{
    VornSyncThread thread(QStringLiteral("SomeThread"), nullptr);
    thread.start();
    QVERIFY(thread.stop(kLongEnoughMs));
    QVERIFY(thread.isFinished());
}

void TestSyncThread::stopOfAThreadThatNeverStarted()
{
    VornSyncThread thread(QStringLiteral("SomeThread"), nullptr);
    QVERIFY(thread.stop(kLongEnoughMs));
}

void TestSyncThread::asksForInterruption()
{
    VornSyncThread thread(QStringLiteral("SomeThread"), nullptr);
    QObject worker;
    worker.moveToThread(&thread);
    thread.start();
    QSemaphore isRunning;
    QMetaObject::invokeMethod(
        &worker,
        [&isRunning, &thread] {
            isRunning.release();
            while (!thread.isInterruptionRequested())
                QThread::yieldCurrentThread();
        },
        Qt::QueuedConnection);
    QVERIFY(isRunning.tryAcquire(1, kLongEnoughMs));
    QVERIFY(thread.stop(kLongEnoughMs));
}

void TestSyncThread::reportsAThreadThatDoesNotStop()
{
    VornSyncThread thread(QStringLiteral("SomeThread"), nullptr);
    Blocker blocker;
    blocker.moveToThread(&thread);
    thread.start();
    QMetaObject::invokeMethod(
        &blocker, [&blocker] { blocker.block(); }, Qt::QueuedConnection);
    QVERIFY(blocker.isBlocked.tryAcquire(1, kLongEnoughMs));
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!thread.stop(kNotWaitingMs));
    QVERIFY(clock.elapsed() >= kNotWaitingMs - 1);
    QVERIFY(thread.isRunning());
    blocker.gate.release();
    QVERIFY(thread.stop(kLongEnoughMs));
}

void TestSyncThread::lettingGoWhileItRuns()
{
    QObject parent;
    QPointer<VornSyncThread> thread = new VornSyncThread(QStringLiteral("SomeThread"), &parent);
    Blocker blocker;
    blocker.moveToThread(thread);
    thread->start();
    QMetaObject::invokeMethod(
        &blocker, [&blocker] { blocker.block(); }, Qt::QueuedConnection);
    QVERIFY(blocker.isBlocked.tryAcquire(1, kLongEnoughMs));
    QVERIFY(!thread->stop(kNotWaitingMs));
    auto needed = std::make_shared<QObject>();
    const std::weak_ptr<QObject> watched = needed;
    thread->letGo(std::move(needed));
    QVERIFY(!thread->parent());
    QVERIFY(!watched.expired());
    blocker.gate.release();
    QTRY_VERIFY_WITH_TIMEOUT(thread.isNull(), kLongEnoughMs);
    QVERIFY(watched.expired());
}

void TestSyncThread::lettingGoAfterItHasFinished()
{
    QPointer<VornSyncThread> thread = new VornSyncThread(QStringLiteral("SomeThread"), nullptr);
    thread->start();
    QVERIFY(thread->stop(kLongEnoughMs));
    auto needed = std::make_shared<QObject>();
    const std::weak_ptr<QObject> watched = needed;
    thread->letGo(std::move(needed));
    QTRY_VERIFY_WITH_TIMEOUT(thread.isNull(), kLongEnoughMs);
    QVERIFY(watched.expired());
}

void TestSyncThread::neededObjectOutlivesObjectsOfTheThread()
{
    QSemaphore isNeededGone;
    auto needed = std::make_shared<QObject>();
    connect(
        needed.get(), &QObject::destroyed, this, [&isNeededGone] { isNeededGone.release(); },
        Qt::DirectConnection);

    QPointer<VornSyncThread> thread = new VornSyncThread(QStringLiteral("SomeThread"), nullptr);
    auto* blocker = new Blocker;
    QAtomicInt wentFirst = -1;
    // The thread says that it has finished before it deletes its objects: the time is for an owner that does
    // not wait for the rest.
    connect(
        blocker, &QObject::destroyed, this,
        [&wentFirst, &isNeededGone] { wentFirst = isNeededGone.tryAcquire(1, kLateMs) ? 0 : 1; },
        Qt::DirectConnection);
    blocker->moveToThread(thread);
    connect(thread, &QThread::finished, blocker, &QObject::deleteLater);
    thread->start();
    QMetaObject::invokeMethod(
        blocker, [blocker] { blocker->block(); }, Qt::QueuedConnection);
    QVERIFY(blocker->isBlocked.tryAcquire(1, kLongEnoughMs));
    QVERIFY(!thread->stop(kNotWaitingMs));
    thread->letGo(std::move(needed));
    blocker->gate.release();
    QTRY_VERIFY_WITH_TIMEOUT(thread.isNull(), kLongEnoughMs);
    QCOMPARE(wentFirst.loadAcquire(), 1);
    QCOMPARE(isNeededGone.available(), 1);
}

QTEST_GUILESS_MAIN(TestSyncThread)
#include "test_sync_thread.moc"

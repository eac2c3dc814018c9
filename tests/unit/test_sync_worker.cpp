#include "pair.h"
#include "trace_capture.h"
#include "vorn_sync_worker.h"
#include "wait.h"

#include <QAtomicPointer>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <QWeakPointer>

#include <functional>
#include <memory>
#include <stdexcept>

using namespace VornSyncTest;

namespace {

// The required pause before every task. Only lower bounds are asserted: a loaded machine is late, not early.
constexpr qint64 kPauseMs = 200;

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

struct Recorder
{
    QStringList names;
    QList<qint64> startsMs;
    QList<qint64> endsMs;
    QElapsedTimer clock;
};

// A task that only notes that and when it ran.
class FakeTask : public VornSyncTask
{
public:
    FakeTask(
        const QString& name, Recorder* recorder, std::function<bool()> action = [] { return true; })
        : VornSyncTask(nullptr)
        , m_recorder(recorder)
        , m_action(std::move(action))
    {
        setOperation(name, QString(), ceStoCopy);
    }

    bool runtask() override
    {
        m_recorder->names << sourcePath();
        m_recorder->startsMs << m_recorder->clock.elapsed();
        const bool result = m_action();
        m_recorder->endsMs << m_recorder->clock.elapsed();
        return result;
    }

private:
    Recorder* m_recorder;
    std::function<bool()> m_action;
};

} // namespace

class TestSyncWorker : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void knowsTheTaskType();
    void tracesItsConstruction();
    void runsInArrivalOrderWithPauses();
    void tracesEveryStep();
    void arrivalsRestartTheCountdown();
    void emptyQueueStopsTheTimer();
    void startsAgainAfterRest();
    void nullTaskIsSkipped();
    void failureIsReported();
    void exceptionIsReportedAsFailure_data();
    void exceptionIsReportedAsFailure();
    void arrivalDuringATask();
    void releasesTheTask();
    void destructionDropsTheQueue();
    void worksOnItsOwnThread();
    void runsARealCopy();

private:
    pVornSyncTask fake(const char* name) { return pVornSyncTask(new FakeTask(text(name), &m_recorder)); }

    Recorder m_recorder;
    QAtomicPointer<QThread> m_emitter; // the thread that a signal was emitted on
};

void TestSyncWorker::init()
{
    m_recorder = Recorder();
    m_recorder.clock.start();
}

void TestSyncWorker::knowsTheTaskType()
{
    const VornSyncWorker worker;
    QVERIFY(QMetaType::type("pVornSyncTask") != QMetaType::UnknownType);
    QVERIFY(VornSyncWorker::staticMetaObject.indexOfSignal("taskDone(pVornSyncTask,bool)") >= 0);
    QVERIFY(VornSyncWorker::staticMetaObject.indexOfSlot("onAddTask(pVornSyncTask)") >= 0);
    QCOMPARE(worker.parent(), nullptr);
    const QTimer* timer = worker.findChild<QTimer*>();
    QVERIFY(timer);
    QVERIFY(timer->isSingleShot());
    QVERIFY(!timer->isActive());
    QCOMPARE(timer->interval(), 200);
}

void TestSyncWorker::tracesItsConstruction()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    TraceCapture trace;
    {
        const VornSyncWorker worker;
    }
    QCOMPARE(trace.debugLines(), QStringList(text("[-- SYNC --]: Wrkr: VornSyncWorker - created")));
}

void TestSyncWorker::runsInArrivalOrderWithPauses()
{
    VornSyncWorker worker;
    QSignalSpy done(&worker, &VornSyncWorker::taskDone);
    worker.onAddTask(fake("a"));
    worker.onAddTask(fake("b"));
    worker.onAddTask(fake("c"));
    const qint64 lastArrivalMs = m_recorder.clock.elapsed();
    QVERIFY(m_recorder.names.isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 3, kWaitMs);

    QCOMPARE(m_recorder.names, QStringList({text("a"), text("b"), text("c")}));
    // A coarse timer may fire up to five per cent early.
    const qint64 shortestMs = kPauseMs * 95 / 100;
    QVERIFY(m_recorder.startsMs.at(0) - lastArrivalMs >= shortestMs);
    QVERIFY(m_recorder.startsMs.at(1) - m_recorder.endsMs.at(0) >= shortestMs);
    QVERIFY(m_recorder.startsMs.at(2) - m_recorder.endsMs.at(1) >= shortestMs);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(done.at(i).at(0).value<pVornSyncTask>()->sourcePath(), m_recorder.names.at(i));
        QCOMPARE(done.at(i).at(1).toBool(), true);
    }
}

void TestSyncWorker::tracesEveryStep()
{
    if (!traceLinesBuiltIn())
        QSKIP("built without trace lines");
    VornSyncWorker worker;
    QSignalSpy done(&worker, &VornSyncWorker::taskDone);
    TraceCapture trace;
    worker.onAddTask(fake("a"));
    worker.onAddTask(fake("b"));
    QVERIFY(waitFor([&] { return trace.contains(text("processNextCommand - queue size = 0")); }));
    QCOMPARE(done.count(), 2);
    QCOMPARE(trace.debugLines().size(), trace.linesOf(text("Wrkr: ")).size());
    QCOMPARE(
        trace.linesOf(text("Wrkr: ")),
        QStringList({text("onAddTask - queue size = 1"), text("runNext - queue size = 1, processing = FALSE"),
                     text("onAddTask - queue size = 2"), text("runNext - queue size = 2, processing = FALSE"),
                     text("processNextCommand - queue size = 2"),
                     text("runNext - queue size = 1, processing = FALSE"),
                     text("processNextCommand - queue size = 1"),
                     text("runNext - queue size = 0, processing = FALSE"),
                     text("processNextCommand - queue size = 0")}));
}

void TestSyncWorker::arrivalsRestartTheCountdown()
{
    VornSyncWorker worker;
    QSignalSpy done(&worker, &VornSyncWorker::taskDone);
    qint64 lastArrivalMs = 0;
    int arrivals = 0;
    bool hasRunInBetween = false;
    QTimer feeder;
    feeder.setTimerType(Qt::PreciseTimer);
    // Paced on purpose: arrivals well under the pause apart.
    feeder.setInterval(50);
    connect(&feeder, &QTimer::timeout, &worker, [&] {
        // Where the machine was too late for this pace the countdown may rightly have ended.
        const bool wasOnPace = m_recorder.clock.elapsed() - lastArrivalMs < kPauseMs * 95 / 100;
        hasRunInBetween = hasRunInBetween || (wasOnPace && arrivals > 0 && !m_recorder.names.isEmpty());
        worker.onAddTask(fake("x"));
        lastArrivalMs = m_recorder.clock.elapsed();
        if (++arrivals == 8 || !m_recorder.names.isEmpty())
            feeder.stop();
    });
    lastArrivalMs = m_recorder.clock.elapsed();
    feeder.start();
    QTRY_VERIFY_WITH_TIMEOUT(done.count() > 0 && !feeder.isActive(), kWaitMs);
    QVERIFY(!hasRunInBetween);
    if (arrivals < 8)
        QSKIP("the machine was too busy to keep the pace");
    QVERIFY(m_recorder.startsMs.first() - lastArrivalMs >= kPauseMs * 95 / 100);
    QVERIFY(m_recorder.startsMs.first() >= 8 * 50);
}

void TestSyncWorker::emptyQueueStopsTheTimer()
{
    VornSyncWorker worker;
    auto* timer = worker.findChild<QTimer*>();
    timer->start();
    TraceCapture trace;
    QTRY_VERIFY_WITH_TIMEOUT(!timer->isActive(), kWaitMs);
    // The firing is posted to the queue: it is there once everything posted before has been dealt with.
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    QVERIFY(!timer->isActive());
    if (traceLinesBuiltIn())
        QCOMPARE(trace.debugLines(),
                 QStringList(text("[-- SYNC --]: Wrkr: processNextCommand - queue size = 0")));
}

void TestSyncWorker::startsAgainAfterRest()
{
    VornSyncWorker worker;
    QSignalSpy done(&worker, &VornSyncWorker::taskDone);
    const auto* timer = worker.findChild<QTimer*>();
    worker.onAddTask(fake("a"));
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(!timer->isActive(), kWaitMs);
    worker.onAddTask(fake("b"));
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 2, kWaitMs);
    QCOMPARE(m_recorder.names, QStringList({text("a"), text("b")}));
}

void TestSyncWorker::nullTaskIsSkipped()
{
    VornSyncWorker worker;
    QSignalSpy done(&worker, &VornSyncWorker::taskDone);
    TraceCapture trace;
    worker.onAddTask(pVornSyncTask());
    worker.onAddTask(fake("after"));
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, kWaitMs);
    QCOMPARE(m_recorder.names, QStringList(text("after")));
    QCOMPARE(done.first().first().value<pVornSyncTask>()->sourcePath(), text("after"));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Wrkr: ")).mid(0, 6),
                 QStringList({text("onAddTask - queue size = 1"),
                              text("runNext - queue size = 1, processing = FALSE"),
                              text("onAddTask - queue size = 2"),
                              text("runNext - queue size = 2, processing = FALSE"),
                              text("processNextCommand - queue size = 2"),
                              text("runNext - queue size = 1, processing = FALSE")}));
}

void TestSyncWorker::failureIsReported()
{
    VornSyncWorker worker;
    QSignalSpy done(&worker, &VornSyncWorker::taskDone);
    worker.onAddTask(pVornSyncTask(new FakeTask(text("bad"), &m_recorder, [] { return false; })));
    worker.onAddTask(fake("good"));
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 2, kWaitMs);
    QCOMPARE(done.at(0).at(1).toBool(), false);
    QCOMPARE(done.at(1).at(1).toBool(), true);
}

void TestSyncWorker::exceptionIsReportedAsFailure_data()
{
    QTest::addColumn<bool>("isStandard");
    QTest::newRow("standard exception") << true;
    QTest::newRow("anything else") << false;
}

void TestSyncWorker::exceptionIsReportedAsFailure()
{
    QFETCH(bool, isStandard);
    VornSyncWorker worker;
    QSignalSpy done(&worker, &VornSyncWorker::taskDone);
    const auto failing = [isStandard]() -> bool {
        if (isStandard)
            throw std::runtime_error("on purpose");
        throw 7;
    };
    worker.onAddTask(pVornSyncTask(new FakeTask(text("throws"), &m_recorder, failing)));
    worker.onAddTask(fake("after"));
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 2, kWaitMs);
    QCOMPARE(done.at(0).at(0).value<pVornSyncTask>()->sourcePath(), text("throws"));
    QCOMPARE(done.at(0).at(1).toBool(), false);
    QCOMPARE(done.at(1).at(1).toBool(), true);
    QCOMPARE(m_recorder.names, QStringList({text("throws"), text("after")}));
}

// A receiver on the worker's own thread may hand in the next task while the last one is being reported.
void TestSyncWorker::arrivalDuringATask()
{
    VornSyncWorker worker;
    const auto* timer = worker.findChild<QTimer*>();
    bool wasTimerActive = true;
    QSignalSpy done(&worker, &VornSyncWorker::taskDone);
    connect(&worker, &VornSyncWorker::taskDone, &worker, [&](const pVornSyncTask& task, bool) {
        if (task->sourcePath() != text("first"))
            return;
        worker.onAddTask(fake("second"));
        wasTimerActive = timer->isActive();
    });
    TraceCapture trace;
    worker.onAddTask(fake("first"));
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 2, kWaitMs);
    QVERIFY(!wasTimerActive);
    QCOMPARE(m_recorder.names, QStringList({text("first"), text("second")}));
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Wrkr: ")).mid(2, 4),
                 QStringList({text("processNextCommand - queue size = 1"), text("onAddTask - queue size = 1"),
                              text("runNext - queue size = 1, processing = TRUE"),
                              text("runNext - queue size = 1, processing = FALSE")}));
}

void TestSyncWorker::releasesTheTask()
{
    VornSyncWorker worker;
    int doneCount = 0;
    connect(&worker, &VornSyncWorker::taskDone, &worker, [&] { ++doneCount; });
    pVornSyncTask task = fake("a");
    const QWeakPointer<VornSyncTask> watched = task;
    worker.onAddTask(task);
    task.reset();
    QVERIFY(watched.toStrongRef());
    QTRY_COMPARE_WITH_TIMEOUT(doneCount, 1, kWaitMs);
    QVERIFY(!watched.toStrongRef());
}

void TestSyncWorker::destructionDropsTheQueue()
{
    QWeakPointer<VornSyncTask> watched;
    auto worker = std::make_unique<VornSyncWorker>();
    QSignalSpy done(worker.get(), &VornSyncWorker::taskDone);
    {
        const pVornSyncTask task = fake("never");
        watched = task;
        worker->onAddTask(task);
        worker->onAddTask(fake("never either"));
    }
    worker.reset();
    QVERIFY(!watched.toStrongRef());
    QCOMPARE(done.count(), 0);
    QVERIFY(m_recorder.names.isEmpty());
}

void TestSyncWorker::worksOnItsOwnThread()
{
    QThread thread;
    auto* worker = new VornSyncWorker;
    worker->moveToThread(&thread);
    connect(&thread, &QThread::finished, worker, &QObject::deleteLater);
    thread.start();

    QThread* runThread = nullptr;
    connect(
        worker, &VornSyncWorker::taskDone, worker, [this] { m_emitter = QThread::currentThread(); },
        Qt::DirectConnection);
    QSignalSpy done(worker, &VornSyncWorker::taskDone);
    const auto note = [&] {
        runThread = QThread::currentThread();
        return true;
    };
    const pVornSyncTask task(new FakeTask(text("a"), &m_recorder, note));
    QVERIFY(QMetaObject::invokeMethod(worker, "onAddTask", Qt::QueuedConnection, Q_ARG(pVornSyncTask, task)));
    QVERIFY(done.wait(kWaitMs));
    QCOMPARE(done.first().first().value<pVornSyncTask>(), task);

    thread.quit();
    QVERIFY(thread.wait(kWaitMs));
    QCOMPARE(runThread, &thread);
    QCOMPARE(m_emitter.loadAcquire(), &thread);
}

void TestSyncWorker::runsARealCopy()
{
    const Pair pair;
    QVERIFY(pair.local().write(text("a.txt"), "content"));
    VornSyncWorker worker;
    QSignalSpy done(&worker, &VornSyncWorker::taskDone);
    TraceCapture trace;
    worker.onAddTask(VornSyncTask::create(pair.local().filePath(text("a.txt")),
                                          pair.distant().filePath(text("a.txt")), ceStoCopy));
    QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, kWaitMs);
    QCOMPARE(done.first().last().toBool(), true);
    QCOMPARE(pair.compareTrees(), QString());
    QVERIFY(pair.noTemporaryFiles());
}

QTEST_GUILESS_MAIN(TestSyncWorker)
#include "test_sync_worker.moc"

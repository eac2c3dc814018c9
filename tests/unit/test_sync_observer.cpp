#include "pair.h"
#include "trace_capture.h"
#include "vorn_sync_observer.h"
#include "wait.h"

#include <QAtomicPointer>
#include <QElapsedTimer>
#include <QFileSystemWatcher>
#include <QMetaMethod>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <memory>

using namespace VornSyncTest;

namespace {

constexpr int kIntervalMs = 3600000; // the periodic timer must not fire by itself in these tests
// The debounce interval, less the five per cent that a coarse timer may fire early. Only lower bounds are
// asserted: a loaded machine is late, not early.
constexpr qint64 kShortestDebounceMs = 950;

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

bool change(VornSyncObserver& observer, const QString& path)
{
    return QMetaObject::invokeMethod(&observer, "onDirectoryChanged", Qt::DirectConnection,
                                     Q_ARG(QString, path));
}

QList<QTimer*> debounceTimers(const VornSyncObserver& observer)
{
    QList<QTimer*> result;
    const auto timers = observer.findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    for (QTimer* timer : timers) {
        if (timer->isSingleShot())
            result << timer;
    }
    return result;
}

QTimer* periodicTimer(const VornSyncObserver& observer)
{
    const auto timers = observer.findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    for (QTimer* timer : timers) {
        if (!timer->isSingleShot())
            return timer;
    }
    return nullptr;
}

} // namespace

class TestSyncObserver : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void declaresItsMembersInOrder();
    void constructionAndDestruction();
    void destructionStopsPendingTimers();

    // Periodic timer
    void startObserving();
    void startPeriodicSync_data();
    void startPeriodicSync();
    void startPeriodicSyncOnARunningTimer_data();
    void startPeriodicSyncOnARunningTimer();
    void stopPeriodicSync();
    void periodicTimerRepeats();

    // Watch list
    void addsAndRemoves();
    void refusedPath();
    void pathAddedTwice();
    void removesOnlyWhatIsWatched();
    void errorSlotMayCallBack();
    void deletedDirectoryCanBeWatchedAgain();

    // Debounce
    void burstGivesOneRequest();
    void twoPathsGiveTwoRequests();
    void timersAreSingleShotChildren();
    void removalEndsAPendingTimer();
    void changeAfterRemovalIsUnknown();
    void unknownDirectoryIsReported();
    void firesAgainAfterRest();
    void expirySlotIgnoresOtherSenders();
    void realChangeOnDisk();
    void changesBelowAreNotWatched();
    void directoryChangedIsNeverEmitted();
    void livesOnItsOwnThread();

private:
    QString local() const { return m_pair->localPath(); }

    std::unique_ptr<Pair> m_pair;
    QAtomicPointer<QThread> m_emitter; // the thread that a signal was emitted on
};

void TestSyncObserver::init()
{
    m_pair = std::make_unique<Pair>();
    QVERIFY(m_pair->isValid());
}

void TestSyncObserver::declaresItsMembersInOrder()
{
    QStringList methods;
    const QMetaObject& meta = VornSyncObserver::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods << QString::fromLatin1(meta.method(i).methodSignature());
    QCOMPARE(methods, QStringList({text("directoryChanged(int)"), text("periodicSyncNeeded()"),
                                   text("syncDirectoryNeeded(int)"), text("errorOccurred(QString)"),
                                   text("addDirectoryToWatch(int,QString)"),
                                   text("removeDirectoryFromWatch(int,QString)"),
                                   text("startPeriodicSync(int)"), text("stopPeriodicSync()"),
                                   text("startObserving()"), text("onDirectoryChanged(QString)"),
                                   text("onDebounceTimerExpired()"), text("onPeriodicSyncTimerExpired()")}));
}

void TestSyncObserver::constructionAndDestruction()
{
    QObject parent;
    TraceCapture trace;
    auto* observer = new VornSyncObserver(4321, &parent);
    QCOMPARE(observer->parent(), &parent);
    QVERIFY(observer->findChild<QFileSystemWatcher*>());
    const QTimer* timer = periodicTimer(*observer);
    QVERIFY(timer);
    QCOMPARE(timer->interval(), 4321);
    QVERIFY(!timer->isActive());
    delete observer;
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.debugLines(),
            QStringList({text("[-- SYNC --]: Obsr: VornSyncObserver - created with sync interval: 4321ms"),
                         text("[-- SYNC --]: Obsr: ~VornSyncObserver - destroyed")}));
}

void TestSyncObserver::destructionStopsPendingTimers()
{
    auto observer = std::make_unique<VornSyncObserver>(kIntervalMs, nullptr);
    QSignalSpy errors(observer.get(), &VornSyncObserver::errorOccurred);
    QVERIFY(change(*observer, text("/one")));
    QVERIFY(change(*observer, text("/two")));
    const QPointer<QTimer> timer = debounceTimers(*observer).constFirst();
    observer->startObserving();
    TraceCapture trace;
    observer.reset();
    QVERIFY(!timer);
    QCOMPARE(errors.count(), 0);
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Obsr: ")), QStringList(text("~VornSyncObserver - destroyed")));
}

// ---- Periodic timer ----

void TestSyncObserver::startObserving()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    TraceCapture trace;
    observer.startObserving();
    QVERIFY(periodicTimer(observer)->isActive());
    observer.startObserving();
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Obsr: ")),
            QStringList(text("startObserving - Started observing with periodic sync interval: 3600000ms")));
}

void TestSyncObserver::startPeriodicSync_data()
{
    QTest::addColumn<int>("argument");
    QTest::addColumn<int>("expected");
    QTest::newRow("own interval") << 0 << kIntervalMs;
    QTest::newRow("negative") << -5 << kIntervalMs;
    QTest::newRow("new interval") << 700000 << 700000;
}

void TestSyncObserver::startPeriodicSync()
{
    QFETCH(int, argument);
    QFETCH(int, expected);
    VornSyncObserver observer(kIntervalMs, nullptr);
    TraceCapture trace;
    observer.startPeriodicSync(argument);
    QVERIFY(periodicTimer(observer)->isActive());
    QCOMPARE(periodicTimer(observer)->interval(), expected);
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Obsr: ")),
            QStringList(text("startPeriodicSync - Started periodic sync with interval: %1ms").arg(expected)));
}

void TestSyncObserver::startPeriodicSyncOnARunningTimer_data()
{
    startPeriodicSync_data();
}

void TestSyncObserver::startPeriodicSyncOnARunningTimer()
{
    QFETCH(int, argument);
    QFETCH(int, expected);
    VornSyncObserver observer(kIntervalMs, nullptr);
    observer.startObserving();
    TraceCapture trace;
    observer.startPeriodicSync(argument);
    QVERIFY(periodicTimer(observer)->isActive());
    QCOMPARE(periodicTimer(observer)->interval(), expected);
    // A coarse timer may be five per cent late.
    QVERIFY(periodicTimer(observer)->remainingTime() <= expected / 100 * 105);
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Obsr: ")),
            QStringList(
                text("startPeriodicSync - Periodic sync already active with interval: %1ms").arg(expected)));
}

void TestSyncObserver::stopPeriodicSync()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    TraceCapture trace;
    observer.stopPeriodicSync();
    QCOMPARE(trace.debugLines(), QStringList());
    observer.startObserving();
    trace.clear();
    observer.stopPeriodicSync();
    QVERIFY(!periodicTimer(observer)->isActive());
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Obsr: ")),
                 QStringList(text("stopPeriodicSync - Stopped periodic sync")));
}

void TestSyncObserver::periodicTimerRepeats()
{
    VornSyncObserver observer(30, nullptr);
    QSignalSpy needed(&observer, &VornSyncObserver::periodicSyncNeeded);
    TraceCapture trace;
    observer.startObserving();
    QTRY_VERIFY_WITH_TIMEOUT(needed.count() >= 3, kWaitMs);
    observer.stopPeriodicSync();
    const int count = int(needed.count());
    QCoreApplication::processEvents();
    QCOMPARE(needed.count(), count);
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Obsr: ")).count(text("onPeriodicSyncTimerExpired - Periodic sync needed")),
            count);
}

// ---- Watch list ----

void TestSyncObserver::addsAndRemoves()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    const auto* watcher = observer.findChild<QFileSystemWatcher*>();
    QSignalSpy errors(&observer, &VornSyncObserver::errorOccurred);
    TraceCapture trace;
    observer.addDirectoryToWatch(7, local());
    QCOMPARE(watcher->directories(), QStringList(local()));
    observer.removeDirectoryFromWatch(8, local());
    QCOMPARE(watcher->directories(), QStringList());
    QCOMPARE(errors.count(), 0);
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Obsr: ")),
                 QStringList(
                     {text("addDirectoryToWatch - Added directory: '%1' with ID: 7").arg(local()),
                      text("removeDirectoryFromWatch - Removed directory: '%1' with ID: 8").arg(local())}));
}

void TestSyncObserver::refusedPath()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy errors(&observer, &VornSyncObserver::errorOccurred);
    const QString path = local() + text("/not there %1");
    TraceCapture trace;
    observer.addDirectoryToWatch(7, path);
    const QString expected = text("Failed to add directory to watch: '") + path + text("'");
    QCOMPARE(errors.count(), 1);
    QCOMPARE(errors.first().first().toString(), expected);
    QCOMPARE(observer.findChild<QFileSystemWatcher*>()->directories(), QStringList());
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Obsr: ")), QStringList(text("addDirectoryToWatch - ") + expected));
}

void TestSyncObserver::pathAddedTwice()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy errors(&observer, &VornSyncObserver::errorOccurred);
    QSignalSpy needed(&observer, &VornSyncObserver::syncDirectoryNeeded);
    TraceCapture trace;
    observer.addDirectoryToWatch(7, local());
    observer.addDirectoryToWatch(9, local());
    QCOMPARE(errors.count(), 1);
    QCOMPARE(errors.first().first().toString(), text("Failed to add directory to watch: '%1'").arg(local()));
    QVERIFY(change(observer, local()));
    QTRY_COMPARE_WITH_TIMEOUT(needed.count(), 1, kWaitMs);
    QCOMPARE(needed.first().first().toInt(), 7); // the watch list was not changed
}

void TestSyncObserver::removesOnlyWhatIsWatched()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy errors(&observer, &VornSyncObserver::errorOccurred);
    TraceCapture trace;
    observer.removeDirectoryFromWatch(7, local());
    QCOMPARE(errors.count(), 0);
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Obsr: ")),
            QStringList(text("removeDirectoryFromWatch - Directory not in watch list: '%1'").arg(local())));
}

void TestSyncObserver::errorSlotMayCallBack()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    connect(&observer, &VornSyncObserver::errorOccurred, &observer, [&] {
        observer.startObserving();
        observer.addDirectoryToWatch(1, local());
    });
    TraceCapture trace;
    observer.addDirectoryToWatch(7, local() + text("/missing"));
    QVERIFY(periodicTimer(observer)->isActive());
    QCOMPARE(observer.findChild<QFileSystemWatcher*>()->directories(), QStringList(local()));
}

void TestSyncObserver::deletedDirectoryCanBeWatchedAgain()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy errors(&observer, &VornSyncObserver::errorOccurred);
    QSignalSpy needed(&observer, &VornSyncObserver::syncDirectoryNeeded);
    const auto* watcher = observer.findChild<QFileSystemWatcher*>();
    TraceCapture trace;
    const QString path = local() + text("/sub");
    QVERIFY(m_pair->local().makeDirectory(text("sub")));
    observer.addDirectoryToWatch(7, path);
    QVERIFY(m_pair->local().remove(text("sub")));
    QTRY_COMPARE_WITH_TIMEOUT(watcher->directories(), QStringList(), kWaitMs);
    QVERIFY(m_pair->local().makeDirectory(text("sub")));
    observer.addDirectoryToWatch(9, path);
    QCOMPARE(errors.count(), 0);
    QTRY_VERIFY_WITH_TIMEOUT(needed.count() > 0, kWaitMs);
    QCOMPARE(needed.last().first().toInt(), 9); // the older id of the path is replaced
}

// ---- Debounce ----

void TestSyncObserver::burstGivesOneRequest()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy needed(&observer, &VornSyncObserver::syncDirectoryNeeded);
    QSignalSpy errors(&observer, &VornSyncObserver::errorOccurred);
    TraceCapture trace;
    observer.addDirectoryToWatch(7, local());
    trace.clear();

    QElapsedTimer sinceLast;
    int changes = 0;
    QTimer feeder;
    // Paced on purpose: ten notifications spread over most of the interval.
    feeder.setInterval(80);
    connect(&feeder, &QTimer::timeout, &observer, [&] {
        sinceLast.start();
        if (change(observer, local()) && ++changes == 10)
            feeder.stop();
    });
    feeder.start();
    QTRY_COMPARE_WITH_TIMEOUT(needed.count(), 1, kWaitMs);
    const qint64 waitedMs = sinceLast.elapsed();
    feeder.stop();
    QVERIFY2(waitedMs >= kShortestDebounceMs, qPrintable(QString::number(waitedMs)));
    QCOMPARE(needed.first().first().toInt(), 7);
    QCOMPARE(changes, 10);
    QTRY_COMPARE_WITH_TIMEOUT(debounceTimers(observer).size(), 0, kWaitMs);
    QCOMPARE(errors.count(), 0);
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Obsr: ")),
                 QStringList(
                     {text("onDirectoryChanged - Created and started debounce timer for: '%1'").arg(local()),
                      text("onDebounceTimerExpired - Removed debounce timer for: '%1'").arg(local()),
                      text("onDirectoryChanged - Directory changed: '%1' with ID: 7").arg(local())}));
}

void TestSyncObserver::twoPathsGiveTwoRequests()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy needed(&observer, &VornSyncObserver::syncDirectoryNeeded);
    TraceCapture trace;
    observer.addDirectoryToWatch(7, local());
    observer.addDirectoryToWatch(8, m_pair->distantPath());
    QElapsedTimer clock;
    clock.start();
    QVERIFY(change(observer, local()));
    QVERIFY(change(observer, m_pair->distantPath()));
    QVERIFY(change(observer, local()));
    QCOMPARE(debounceTimers(observer).size(), 2);
    QTRY_COMPARE_WITH_TIMEOUT(needed.count(), 2, kWaitMs);
    QVERIFY(clock.elapsed() >= kShortestDebounceMs);
    QList<int> ids{needed.at(0).first().toInt(), needed.at(1).first().toInt()};
    std::sort(ids.begin(), ids.end());
    QCOMPARE(ids, QList<int>({7, 8}));
}

void TestSyncObserver::timersAreSingleShotChildren()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    TraceCapture trace;
    QVERIFY(change(observer, local()));
    QCOMPARE(debounceTimers(observer).size(), 1);
    QCOMPARE(debounceTimers(observer).constFirst()->interval(), 1000);
    QVERIFY(debounceTimers(observer).constFirst()->isActive());
}

void TestSyncObserver::removalEndsAPendingTimer()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy needed(&observer, &VornSyncObserver::syncDirectoryNeeded);
    QSignalSpy errors(&observer, &VornSyncObserver::errorOccurred);
    observer.addDirectoryToWatch(7, local());
    observer.addDirectoryToWatch(8, m_pair->distantPath());
    QVERIFY(change(observer, local()));
    TraceCapture trace;
    observer.removeDirectoryFromWatch(7, local());
    QCOMPARE(debounceTimers(observer).size(), 0);
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Obsr: ")),
            QStringList({text("removeDirectoryFromWatch - Removed directory: '%1' with ID: 7").arg(local()),
                         text("removeDirectoryFromWatch - Removed debounce timer for: '%1'").arg(local())}));
    // A change made after it, and heard of, shows that the first one's time is over.
    QVERIFY(change(observer, m_pair->distantPath()));
    QTRY_COMPARE_WITH_TIMEOUT(needed.count(), 1, kWaitMs);
    QCOMPARE(needed.first().first().toInt(), 8);
    QCOMPARE(errors.count(), 0);
}

// The watcher's last word may come after the removal.
void TestSyncObserver::changeAfterRemovalIsUnknown()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy needed(&observer, &VornSyncObserver::syncDirectoryNeeded);
    QSignalSpy errors(&observer, &VornSyncObserver::errorOccurred);
    TraceCapture trace;
    observer.addDirectoryToWatch(7, local());
    observer.removeDirectoryFromWatch(7, local());
    QVERIFY(change(observer, local()));
    QTRY_COMPARE_WITH_TIMEOUT(errors.count(), 1, kWaitMs);
    QCOMPARE(errors.first().first().toString(), text("Unknown directory ID for path: '%1'").arg(local()));
    QCOMPARE(needed.count(), 0);
}

void TestSyncObserver::unknownDirectoryIsReported()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy needed(&observer, &VornSyncObserver::syncDirectoryNeeded);
    QSignalSpy errors(&observer, &VornSyncObserver::errorOccurred);
    const QString path = text("/never registered %1");
    TraceCapture trace;
    QVERIFY(change(observer, path));
    QTRY_COMPARE_WITH_TIMEOUT(errors.count(), 1, kWaitMs);
    const QString expected = text("Unknown directory ID for path: '") + path + text("'");
    QCOMPARE(errors.first().first().toString(), expected);
    QCOMPARE(needed.count(), 0);
    if (traceLinesBuiltIn())
        QCOMPARE(
            trace.linesOf(text("Obsr: ")),
            QStringList(
                {text("onDirectoryChanged - Created and started debounce timer for: '") + path + text("'"),
                 text("onDebounceTimerExpired - Removed debounce timer for: '") + path + text("'"),
                 text("onDirectoryChanged - ") + expected}));
}

void TestSyncObserver::firesAgainAfterRest()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy needed(&observer, &VornSyncObserver::syncDirectoryNeeded);
    TraceCapture trace;
    observer.addDirectoryToWatch(7, local());
    QVERIFY(change(observer, local()));
    QTRY_COMPARE_WITH_TIMEOUT(needed.count(), 1, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(debounceTimers(observer).size(), 0, kWaitMs); // deleted, not kept
    QVERIFY(change(observer, local()));
    QTRY_COMPARE_WITH_TIMEOUT(needed.count(), 2, kWaitMs);
}

void TestSyncObserver::expirySlotIgnoresOtherSenders()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    TraceCapture trace;
    QVERIFY(change(observer, local()));
    trace.clear();
    QVERIFY(QMetaObject::invokeMethod(&observer, "onDebounceTimerExpired", Qt::DirectConnection));
    QCOMPARE(trace.debugLines(), QStringList());
    QCOMPARE(debounceTimers(observer).size(), 1);
}

void TestSyncObserver::realChangeOnDisk()
{
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy needed(&observer, &VornSyncObserver::syncDirectoryNeeded);
    TraceCapture trace;
    observer.addDirectoryToWatch(7, local());
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < 20; ++i)
        QVERIFY(m_pair->local().write(text("file %1").arg(i), "x"));
    QTRY_COMPARE_WITH_TIMEOUT(needed.count(), 1, kWaitMs);
    QVERIFY(clock.elapsed() >= kShortestDebounceMs);
    QCOMPARE(needed.first().first().toInt(), 7);
}

void TestSyncObserver::changesBelowAreNotWatched()
{
    QVERIFY(m_pair->local().makeDirectory(text("sub")));
    VornSyncObserver observer(kIntervalMs, nullptr);
    QSignalSpy needed(&observer, &VornSyncObserver::syncDirectoryNeeded);
    TraceCapture trace;
    observer.addDirectoryToWatch(7, local());
    observer.addDirectoryToWatch(8, m_pair->distantPath());
    QVERIFY(m_pair->local().write(text("sub/file"), "x"));
    // The watcher reports in order: once the later change is heard of, the earlier one was not reported.
    QVERIFY(m_pair->distant().write(text("file"), "x"));
    QTRY_COMPARE_WITH_TIMEOUT(needed.count(), 1, kWaitMs);
    QCOMPARE(needed.first().first().toInt(), 8);
    QVERIFY(debounceTimers(observer).size() <= 1);
}

void TestSyncObserver::directoryChangedIsNeverEmitted()
{
    VornSyncObserver observer(30, nullptr);
    QSignalSpy changed(&observer, &VornSyncObserver::directoryChanged);
    QSignalSpy periodic(&observer, &VornSyncObserver::periodicSyncNeeded);
    QSignalSpy needed(&observer, &VornSyncObserver::syncDirectoryNeeded);
    TraceCapture trace;
    observer.startObserving();
    observer.addDirectoryToWatch(7, local());
    QVERIFY(change(observer, local()));
    QTRY_VERIFY_WITH_TIMEOUT(needed.count() == 1 && periodic.count() > 1, kWaitMs);
    QCOMPARE(changed.count(), 0);
}

void TestSyncObserver::livesOnItsOwnThread()
{
    QThread thread;
    TraceCapture trace;
    auto* observer = new VornSyncObserver(kIntervalMs, nullptr);
    observer->moveToThread(&thread);
    connect(&thread, &QThread::finished, observer, &QObject::deleteLater);
    thread.start();
    connect(
        observer, &VornSyncObserver::syncDirectoryNeeded, observer,
        [this] { m_emitter = QThread::currentThread(); }, Qt::DirectConnection);
    QSignalSpy needed(observer, &VornSyncObserver::syncDirectoryNeeded);
    QVERIFY(QMetaObject::invokeMethod(observer, "addDirectoryToWatch", Qt::BlockingQueuedConnection,
                                      Q_ARG(int, 7), Q_ARG(QString, local())));
    QVERIFY(m_pair->local().write(text("file"), "x"));
    QVERIFY(needed.wait(kWaitMs));
    QVERIFY(QMetaObject::invokeMethod(observer, "startPeriodicSync", Qt::BlockingQueuedConnection,
                                      Q_ARG(int, 5000)));
    thread.quit();
    QVERIFY(thread.wait(kWaitMs));
    QCOMPARE(m_emitter.loadAcquire(), &thread);
    QCOMPARE(trace.warnings(), QStringList());
    if (traceLinesBuiltIn())
        QCOMPARE(trace.linesOf(text("Obsr: ")).constLast(), text("~VornSyncObserver - destroyed"));
}

QTEST_GUILESS_MAIN(TestSyncObserver)
#include "test_sync_observer.moc"

#include "host.h"
#include "mounts.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>

using namespace VornSyncTest;

namespace {

constexpr int kManyFiles = 12;

bool writeMany(const Host& host, const QByteArray& content)
{
    for (int i = 0; i < kManyFiles; ++i) {
        if (!host.local().write(QStringLiteral("file %1").arg(i), content + QByteArray::number(i)))
            return false;
    }
    return true;
}

bool waitForDestruction(const QPointer<VornSyncManager>& manager)
{
    return waitFor([&manager] { return manager.isNull(); });
}

// Pairs start one after the other: until the last one has.
bool awaitPairs(Host& host)
{
    return waitFor([&host] {
        return host.raw().value(QStringLiteral("SELECT MIN(available) FROM directories")).toInt() == 1;
    });
}

} // namespace

// Beginnings and ends: what a host may do to a manager, and what the next one finds.
class TestManagerLifecycle : public QObject
{
    Q_OBJECT

private slots:
    void startedAndStoppedAtOnce();
    void stoppedWithPairsWaiting();
    void stoppedWhileFilesAreBeingSent();
    void stoppedInTheMiddleOfALargeCopy();
    void deletedByASlot_data();
    void deletedByASlot();
    void twoManagersInOneProcess();
    void pausedFromTheStart();
    void stateOnAReadOnlyFileSystem();
};

void TestManagerLifecycle::startedAndStoppedAtOnce()
{
    Host host;
    QVERIFY(host.local().write(QStringLiteral("f"), "content"));
    for (int i = 0; i < 20; ++i) {
        QVERIFY(host.start());
        host.stop();
    }
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
}

void TestManagerLifecycle::stoppedWithPairsWaiting()
{
    Host host;
    QVERIFY(host.addPair(QStringLiteral("b")));
    QVERIFY(host.addPair(QStringLiteral("c")));
    QVERIFY(host.local().write(QStringLiteral("f"), "content"));
    QVERIFY(host.start());
    host.stop();
    QCoreApplication::processEvents();
    QCOMPARE(host.started(), QStringList());
    QVERIFY(host.distant().names().isEmpty());
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
}

void TestManagerLifecycle::stoppedWhileFilesAreBeingSent()
{
    Host host;
    QVERIFY(writeMany(host, "content "));
    QVERIFY(host.start());
    // One more file arrives at each turn.
    for (int sent = 1; sent <= 3; ++sent) {
        QVERIFY(waitFor([&host, sent] { return host.distant().names().size() >= sent; }));
        QVERIFY(host.restart());
    }
    VERIFY_AT_REST(host);
    QVERIFY(host.pair().noTemporaryFiles());
}

void TestManagerLifecycle::stoppedInTheMiddleOfALargeCopy()
{
    Host host;
    const QByteArray block(1 << 20, 'l');
    constexpr int kLargeBlocks = 200;
    for (int i = 0; i < kLargeBlocks; ++i)
        QVERIFY(host.local().append(QStringLiteral("large"), block));
    QVERIFY(host.distant().write(QStringLiteral("large"), "old"));
    QVERIFY(host.start());
    // A copy over an existing file goes through a sibling.
    QVERIFY(waitFor([&host] { return host.distant().names().size() > 1 || !host.completed().isEmpty(); }));
    QElapsedTimer clock;
    clock.start();
    host.stop();
    QVERIFY2(clock.elapsed() < kWaitMs, "the stop is not bounded");
    // Whole, old or new, whatever the moment.
    QVERIFY(host.distant().read(QStringLiteral("large")) == "old" ||
            host.distant().read(QStringLiteral("large")) == host.local().read(QStringLiteral("large")));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.pair().noTemporaryFiles());
}

void TestManagerLifecycle::deletedByASlot_data()
{
    QTest::addColumn<QByteArray>("signal");
    for (const char* name : {"syncStarted(QString)", "syncCompleted(QString,bool)", "idleChanged(bool)",
                             "countersChanged()", "recentEventsChanged()", "errorOccurred(QString)"})
        QTest::newRow(name) << QByteArray(name);
}

void TestManagerLifecycle::deletedByASlot()
{
    QFETCH(QByteArray, signal);
    Host host;
    QVERIFY(writeMany(host, "content "));
    host.create();
    const QPointer<VornSyncManager> manager = host.manager();
    const QMetaObject& meta = VornSyncManager::staticMetaObject;
    QVERIFY(connect(manager, meta.method(meta.indexOfSignal(signal.constData())), manager,
                    meta.method(meta.indexOfSlot("deleteLater()"))));
    QVERIFY(host.registerPairs());
    if (signal.startsWith("errorOccurred"))
        manager->delDirectory(QStringLiteral("unknown"));
    host.releaseManager();
    QVERIFY(waitForDestruction(manager));
    const int startedCount = int(host.started().size());
    const int completedCount = int(host.completed().size());
    QCoreApplication::processEvents();
    QCOMPARE(host.started().size(), startedCount);
    QCOMPARE(host.completed().size(), completedCount);
    host.takeErrors();
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
}

void TestManagerLifecycle::twoManagersInOneProcess()
{
    Host first;
    Host second;
    QVERIFY(first.local().write(QStringLiteral("f"), "of the first"));
    QVERIFY(second.local().write(QStringLiteral("f"), "of the second"));
    QVERIFY(first.start());
    QVERIFY(second.start());
    QCOMPARE(first.settle(), QString());
    QCOMPARE(second.settle(), QString());
    first.stop();
    QVERIFY(second.local().write(QStringLiteral("g"), "after the first has gone"));
    VERIFY_AT_REST(second);
    QCOMPARE(first.distant().read(QStringLiteral("f")), QByteArray("of the first"));
    QCOMPARE(second.distant().read(QStringLiteral("f")), QByteArray("of the second"));
}

void TestManagerLifecycle::pausedFromTheStart()
{
    Host host;
    QVERIFY(host.local().write(QStringLiteral("f"), "content"));
    QVERIFY(host.start());
    host.manager()->pauseAll();
    // The pairs were waiting to start; a cycle on request is refused too.
    host.manager()->requestSync();
    QVERIFY(host.manager()->isPausedAll());
    QSignalSpy counters(host.manager(), &VornSyncManager::countersChanged);
    QVERIFY(host.manager()->isIdle());
    host.manager()->resumeAll();
    QVERIFY(awaitPairs(host));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read(QStringLiteral("f")), QByteArray("content"));
}

void TestManagerLifecycle::stateOnAReadOnlyFileSystem()
{
    QTemporaryDir directory;
    TmpfsMount mount(directory.path(), QStringLiteral("size=8m"));
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    QVERIFY(mount.remount(true));
    HostOptions options;
    options.databasePath = mount.path() + QLatin1String("/state.sqlite");
    Host host(options);
    host.expectCriticals();
    host.expectErrors(QStringLiteral("ERROR: "));
    QVERIFY(host.local().write(QStringLiteral("f"), "content"));
    host.create();
    QVERIFY(waitFor([&host] {
        return host.hasError(
            QStringLiteral("ERROR: State database is not usable: '%1'.").arg(host.databasePath()));
    }));
    QVERIFY(!host.registerPairs());
    QVERIFY(!host.manager()->wipeSyncDatabaseFile());

    QVERIFY(mount.remount(false));
    QVERIFY(host.manager()->wipeSyncDatabaseFile());
    QVERIFY(host.registerPairs());
    QVERIFY(awaitPairs(host));
    VERIFY_AT_REST(host);
    host.stop();
}

QTEST_GUILESS_MAIN(TestManagerLifecycle)
#include "test_manager_lifecycle.moc"

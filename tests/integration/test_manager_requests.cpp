#include "host.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>

using namespace VornSyncTest;

namespace {

constexpr int kManyFiles = 8;

QString name()
{
    return QStringLiteral("report %1 \u00e9.doc");
}

// Pairs start one after the other: until the last one has.
bool awaitPairs(Host& host)
{
    return waitFor([&host] {
        return host.raw().value(QStringLiteral("SELECT MIN(available) FROM directories")).toInt() == 1;
    });
}

} // namespace

// What a host asks for, and what comes of it on both sides.
class TestManagerRequests : public QObject
{
    Q_OBJECT

private slots:
    void notifiedChangeArrives();
    void notifiedChangesInABurst();
    void renamedOnBothSides();
    void renameThatTheHostGaveUp();
    void deletedOnBothSides();
    void tombstonedStaysOnTheDistantSide();
    void movedToTheTrash();
    void acknowledgedAfterALocalLoss();
    void restoredAfterADistantLoss();
    void resetAndRegisteredAgain();
    void resetWhileFilesAreBeingSent();
    void resetWithoutTimeWhileFilesAreBeingSent();
    void resetThatEndsWithTheManager();
    void wipedAndRegisteredAgain();
    void fileReadyFromAnotherWorkstation();
    void fileReadyBringsANewFile();
    void fileReadyWhileMirroring();
};

void TestManagerRequests::notifiedChangeArrives()
{
    HostOptions options;
    options.syncIntervalMs = 3600000; // no cycle comes by in time
    Host host(options);
    QVERIFY(host.start());
    QVERIFY(awaitPairs(host));
    QVERIFY(host.local().write(name(), "content"));
    host.manager()->notifyLocalFileChanged(Host::alias(), name());
    QVERIFY(waitFor([&host] { return host.completed().size() == 1; }));
    QCOMPARE(host.completed().first(), qMakePair(host.local().filePath(name()), true));
    QCOMPARE(host.started(), QStringList{host.local().filePath(name())});
    QCOMPARE(host.distant().read(name()), QByteArray("content"));
    QCOMPARE(host.manager()->recentEvents().size(), 1);
    QCOMPARE(host.manager()->doneCount(), 1);
    QVERIFY(host.manager()->isIdle());
}

void TestManagerRequests::notifiedChangesInABurst()
{
    Host host;
    QVERIFY(host.start());
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < kManyFiles; ++i) {
            const QString fileName = QString::number(i);
            QVERIFY(host.local().write(fileName, "round " + QByteArray::number(round)));
            host.manager()->notifyLocalFileChanged(Host::alias(), fileName);
        }
    }
    VERIFY_AT_REST(host);
}

void TestManagerRequests::renamedOnBothSides()
{
    Host host;
    QVERIFY(host.local().write(name(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    const QString renamed = QStringLiteral("renamed.doc");
    QVERIFY(host.manager()->lockForRename(Host::alias(), name(), renamed));
    QVERIFY(host.local().rename(name(), renamed));
    host.manager()->commitRename(Host::alias(), name(), renamed);
    QVERIFY(waitFor([&host, &renamed] { return host.status(renamed) == 17; }));
    QCOMPARE(host.distant().names(), QStringList{renamed});
    VERIFY_AT_REST(host);
    QVERIFY(host.seenErrorFiles().isEmpty());
}

void TestManagerRequests::renameThatTheHostGaveUp()
{
    Host host;
    QVERIFY(host.local().write(name(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.manager()->lockForRename(Host::alias(), name(), QStringLiteral("other")));
    QVERIFY(host.local().write(name(), "changed while locked"));
    QVERIFY(host.awaitCycles(2));
    QCOMPARE(host.distant().read(name()), QByteArray("content"));
    host.manager()->abortRename(Host::alias(), name(), QStringLiteral("other"));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read(name()), QByteArray("changed while locked"));
}

void TestManagerRequests::deletedOnBothSides()
{
    Host host;
    QVERIFY(host.local().write(name(), "content"));
    QVERIFY(host.local().write(QStringLiteral("kept"), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.local().remove(name()));
    host.manager()->notifyLocalFileDeleted(Host::alias(), name());
    QVERIFY(waitFor([&host] { return !host.distant().exists(name()); }));
    VERIFY_AT_REST(host);
    QCOMPARE(host.status(name()), 40);
    QCOMPARE(host.distant().names(), QStringList{QStringLiteral("kept")});
}

void TestManagerRequests::tombstonedStaysOnTheDistantSide()
{
    Host host;
    QVERIFY(host.local().write(name(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    host.manager()->tombstoneLocalFile(Host::alias(), name());
    QVERIFY(host.local().remove(name()));
    QVERIFY(host.awaitCycles(3));
    QCOMPARE(host.distant().read(name()), QByteArray("content"));
    QCOMPARE(host.status(name()), 40);
    QVERIFY(host.manager()->errorFiles().isEmpty());
    // Back again: sent again.
    QVERIFY(host.local().write(name(), "back"));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read(name()), QByteArray("back"));
}

void TestManagerRequests::movedToTheTrash()
{
    Host host;
    QVERIFY(host.local().write(name(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    host.manager()->moveToTrashFile(Host::alias(), name());
    QVERIFY(waitFor([&host] { return host.status(name()) == 33; }));
    QVERIFY(!host.local().exists(name()));
    QCOMPARE(host.trash().read(name()), QByteArray("content"));
}

void TestManagerRequests::acknowledgedAfterALocalLoss()
{
    Host host;
    QVERIFY(host.local().write(name(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.local().remove(name()));
    QVERIFY(waitFor([&host] { return host.manager()->errorFiles().size() == 1; }));
    const QVariantMap entry = host.manager()->errorFiles().first().toMap();
    QCOMPARE(entry.value(QStringLiteral("aliasName")), QVariant(Host::alias()));
    QCOMPARE(entry.value(QStringLiteral("fileName")), QVariant(name()));
    QVERIFY(host.manager()->isAcknowledgeOnly(entry.value(QStringLiteral("errorCode")).toInt()));
    // Retrying all leaves it alone.
    host.manager()->retryAllErrors();
    QVERIFY(host.awaitCycles(2));
    QCOMPARE(host.manager()->errorCount(), 1);
    host.manager()->acknowledgeAllMissing();
    QVERIFY(waitFor([&host] { return host.manager()->errorFiles().isEmpty(); }));
    QCOMPARE(host.status(name()), 40);
    QCOMPARE(host.distant().read(name()), QByteArray("content"));
}

void TestManagerRequests::restoredAfterADistantLoss()
{
    Host host;
    QVERIFY(host.local().write(name(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.distant().remove(name()));
    QVERIFY(waitFor([&host] { return host.manager()->errorFiles().size() == 1; }));
    const QVariantMap entry = host.manager()->errorFiles().first().toMap();
    QVERIFY(host.manager()->isRestoreOrDelete(entry.value(QStringLiteral("errorCode")).toInt()));
    host.manager()->retrySync(Host::alias(), name());
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read(name()), QByteArray("content"));
}

void TestManagerRequests::resetAndRegisteredAgain()
{
    Host host;
    QVERIFY(host.local().write(name(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    QVERIFY(host.manager()->resetSyncDatabase(kWaitMs));
    QVERIFY(!host.manager()->isPausedAll());
    QCOMPARE(host.raw().value(QStringLiteral("SELECT COUNT(*) FROM file_tracking")).toInt(), 0);
    QCOMPARE(host.raw().value(QStringLiteral("SELECT COUNT(*) FROM directories")).toInt(), 0);
    QCOMPARE(host.manager()->doneCount(), 0);
    QVERIFY(host.registerPairs());
    QVERIFY(awaitPairs(host));
    VERIFY_AT_REST(host);
}

static bool writeMany(const Host& host)
{
    for (int i = 0; i < kManyFiles; ++i) {
        if (!host.local().write(QString::number(i), QByteArray(100000, 'x')))
            return false;
    }
    return true;
}

void TestManagerRequests::resetWhileFilesAreBeingSent()
{
    Host host;
    QVERIFY(writeMany(host));
    QVERIFY(host.start());
    QVERIFY(waitFor([&host] { return !host.started().isEmpty(); }));
    QVERIFY(host.manager()->resetSyncDatabase(kWaitMs));
    QVERIFY(host.manager()->isIdle());
    QCOMPARE(host.completed().size(), host.started().size());
    QVERIFY(host.registerPairs());
    QVERIFY(awaitPairs(host));
    VERIFY_AT_REST(host);
}

void TestManagerRequests::resetWithoutTimeWhileFilesAreBeingSent()
{
    Host host;
    QVERIFY(writeMany(host));
    QVERIFY(host.start());
    QVERIFY(waitFor([&host] { return !host.started().isEmpty(); }));
    QVERIFY(host.manager()->resetSyncDatabase(0));
    QVERIFY(host.registerPairs());
    // What was under way runs on, and records again what was sent anew.
    QCOMPARE(host.settle(), QString());
    QVERIFY(waitFor([&host] { return host.completed().size() == host.started().size(); }));
    VERIFY_AT_REST(host);
}

void TestManagerRequests::resetThatEndsWithTheManager()
{
    Host host;
    QVERIFY(writeMany(host));
    QVERIFY(host.start());
    QVERIFY(waitFor([&host] { return !host.started().isEmpty(); }));
    QVERIFY(!host.manager()->isIdle());
    const QPointer<VornSyncManager> manager = host.manager();
    // The first signal inside the drain loop ends it.
    connect(manager, &VornSyncManager::syncCompleted, manager, &QObject::deleteLater);
    host.releaseManager();
    QVERIFY(!manager->resetSyncDatabase(kWaitMs));
    QVERIFY(manager.isNull());
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
}

void TestManagerRequests::wipedAndRegisteredAgain()
{
    Host host;
    QVERIFY(host.local().write(name(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    host.manager()->pauseAll();
    QVERIFY(host.manager()->wipeSyncDatabaseFile());
    QVERIFY(host.manager()->recentEvents().isEmpty());
    host.manager()->resumeAll();
    QVERIFY(host.registerPairs());
    QVERIFY(awaitPairs(host));
    VERIFY_AT_REST(host);
}

void TestManagerRequests::fileReadyFromAnotherWorkstation()
{
    Host host;
    QVERIFY(host.local().write(name(), "content"));
    QVERIFY(host.start());
    QCOMPARE(host.settle(), QString());
    // A cycle would send or verify: this is about the request alone.
    host.manager()->pauseAll();
    QVERIFY(host.distant().write(name(), "written elsewhere"));
    QVERIFY(host.distant().setLmd(name(), QDateTime::currentDateTimeUtc().addSecs(10)));
    QSignalSpy ready(host.manager(), &VornSyncManager::fileReady);
    host.manager()->requestFileReady(host.distant().filePath(name()));
    QVERIFY(ready.wait(kWaitMs));
    QCOMPARE(ready.first(), QVariantList({host.local().filePath(name()), true}));
    QCOMPARE(host.local().read(name()), QByteArray("written elsewhere"));
    host.manager()->resumeAll();
    QVERIFY(awaitPairs(host));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read(name()), QByteArray("written elsewhere"));
}

void TestManagerRequests::fileReadyBringsANewFile()
{
    Host host;
    QVERIFY(host.distant().write(name(), "written elsewhere"));
    QVERIFY(host.start());
    QSignalSpy ready(host.manager(), &VornSyncManager::fileReady);
    host.manager()->requestFileReady(host.distant().filePath(name()));
    QVERIFY(ready.wait(kWaitMs));
    QCOMPARE(ready.first(), QVariantList({host.local().filePath(name()), true}));
    VERIFY_AT_REST(host);
    QCOMPARE(host.local().read(name()), QByteArray("written elsewhere"));
}

void TestManagerRequests::fileReadyWhileMirroring()
{
    Host host;
    QVERIFY(writeMany(host));
    for (int i = 0; i < 3; ++i)
        QVERIFY(host.distant().write(QStringLiteral("elsewhere %1").arg(i), "x"));
    QVERIFY(host.start());
    QSignalSpy ready(host.manager(), &VornSyncManager::fileReady);
    for (int i = 0; i < 3; ++i)
        host.manager()->requestFileReady(host.distant().filePath(QStringLiteral("elsewhere %1").arg(i)));
    QVERIFY(waitFor([&ready] { return ready.size() == 3; }));
    for (int i = 0; i < 3; ++i)
        QCOMPARE(ready.at(i),
                 QVariantList({host.local().filePath(QStringLiteral("elsewhere %1").arg(i)), true}));
    VERIFY_AT_REST(host);
}

QTEST_GUILESS_MAIN(TestManagerRequests)
#include "test_manager_requests.moc"

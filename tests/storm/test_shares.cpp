#include "bind_share.h"
#include "host.h"
#include "literals.h"

#include <QDir>
#include <QTest>

using namespace VornSyncTest;

namespace {

constexpr int kFileCount = 12;

void writeFiles(const Side& side, const QByteArray& mark)
{
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(side.write("file %1.txt"_s.arg(i), mark + QByteArray(i * 1000, 'x')));
}

} // namespace

class TestShares : public QObject
{
    Q_OBJECT

private slots:
    void aShareUnmountedWhileNothingRuns();
    void aShareUnmountedWhileItsMountPointIsTakenAway();
    void aShareUnmountedInTheMiddleOfCopies();
    void aShareThatTurnsReadOnly();
    void aHostThatSuspendsItsShareInTime();
};

void TestShares::aShareUnmountedWhileNothingRuns()
{
    Host host;
    const Pair storage;
    BindShare share(storage.distantPath(), host.pair().distantPath());
    if (!share.mount())
        QSKIP("cannot mount");
    writeFiles(host.local(), "1");
    QVERIFY(host.start());
    VERIFY_AT_REST(host);

    // Its mount point is a readable empty directory: to the library the files are gone for certain, and after the
    // second look all of them wait for the user. No file is touched, and none is sent into the mount point.
    QVERIFY(share.unmount());
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == kFileCount; }));
    QVERIFY(host.awaitCycles(3));
    QCOMPARE(host.distant().names(), QStringList());
    QCOMPARE(storage.distant().names().size(), kFileCount);

    QVERIFY(share.mount());
    for (int i = 0; i < kFileCount; ++i)
        host.manager()->notifyLocalFileChanged(Host::alias(), "file %1.txt"_s.arg(i));
    VERIFY_AT_REST(host);
}

// As automounters do: without the share its directory is not there at all.
void TestShares::aShareUnmountedWhileItsMountPointIsTakenAway()
{
    Host host;
    const Pair storage;
    BindShare share(storage.distantPath(), host.pair().distantPath());
    if (!share.mount())
        QSKIP("cannot mount");
    writeFiles(host.local(), "1");
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    for (int round = 0; round < 3; ++round) {
        QVERIFY(share.unmount());
        // A pass may fall between the two steps: one look alone decides nothing.
        QVERIFY(QDir().rmdir(host.pair().distantPath()));
        QVERIFY(host.local().append("file %1.txt"_s.arg(round), " more"));
        QVERIFY(host.awaitCycles(8));
        QCOMPARE(host.manager()->errorCount(), 0);
        QVERIFY(QDir().mkdir(host.pair().distantPath()));
        QVERIFY(share.mount());
        VERIFY_AT_REST(host);
    }
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

void TestShares::aShareUnmountedInTheMiddleOfCopies()
{
    Host host;
    const Pair storage;
    BindShare share(storage.distantPath(), host.pair().distantPath());
    if (!share.mount())
        QSKIP("cannot mount");
    host.expectErrors("destination path not available: '"_s);
    host.expectErrors("Destination directory does not exist: '"_s);
    host.expectErrors("Failure to copy file: '"_s);
    writeFiles(host.local(), "1");
    QVERIFY(host.local().write("big.bin"_s, QByteArray(64 * 1024 * 1024, 'b')));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.completed().size() >= 2; }));
    QVERIFY(share.unmount());
    QVERIFY(QDir().rmdir(host.pair().distantPath()));
    QVERIFY(waitFor([&] { return !host.errors().isEmpty(); }));
    QVERIFY(QDir().mkdir(host.pair().distantPath()));
    QVERIFY(share.mount());
    VERIFY_AT_REST(host);
    QCOMPARE(host.seenErrorFiles(), QStringList());
    QCOMPARE(storage.distant().names().size(), kFileCount + 1);
}

void TestShares::aShareThatTurnsReadOnly()
{
    Host host;
    const Pair storage;
    BindShare share(storage.distantPath(), host.pair().distantPath());
    if (!share.mount())
        QSKIP("cannot mount");
    writeFiles(host.local(), "1");
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(share.setReadOnly(true));
    host.expectErrors("Failure to copy file: '"_s);
    host.expectErrors("is not writable: '"_s);
    QVERIFY(host.local().append("file 3.txt"_s, " more"));
    QVERIFY(host.local().write("new.txt"_s, "new"));
    QVERIFY(waitFor([&] { return host.errors().size() >= 2; }));
    QCOMPARE(storage.distant().read("file 3.txt"_s), QByteArray("1") + QByteArray(3000, 'x'));
    QVERIFY(share.setReadOnly(false));
    VERIFY_AT_REST(host);
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

void TestShares::aHostThatSuspendsItsShareInTime()
{
    Host host;
    const Pair storage;
    BindShare share(storage.distantPath(), host.pair().distantPath());
    if (!share.mount())
        QSKIP("cannot mount");
    writeFiles(host.local(), "1");
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    for (int round = 0; round < 3; ++round) {
        host.manager()->setDirectoryAvailability(Host::alias(), false);
        // The cycle that ran at that moment is over.
        QVERIFY(host.awaitCycles(1));
        QVERIFY(share.unmount());
        QVERIFY(host.local().append("file %1.txt"_s.arg(round), " more"));
        QVERIFY(host.awaitCycles(8));
        QVERIFY(share.mount());
        host.manager()->setDirectoryAvailability(Host::alias(), true);
        VERIFY_AT_REST(host);
    }
    QCOMPARE(host.errors(), QStringList());
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

QTEST_GUILESS_MAIN(TestShares)
#include "test_shares.moc"

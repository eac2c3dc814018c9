#include "bind_share.h"
#include "host.h"
#include "literals.h"

#include <QTest>

#include <memory>

using namespace VornSyncTest;

namespace {

constexpr int kCycleMs = 40;
constexpr int kFileCount = 6;
constexpr int kLocalMissing = 2;
constexpr int kDistantMissing = 15;
constexpr int kCyclesToVerify = 7;

QString nameOf(int number)
{
    return QStringLiteral("file %1.txt").arg(number);
}

QByteArray firstVersion(int number)
{
    return "the first version of file " + QByteArray::number(number);
}

} // namespace

// A share goes, and its mount point stays: a readable, empty directory. Required: that looks as if every file were
// missing. The user is told, decides, and nothing else is lost by it.
class TestEmptyMountPoint : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void filesThatNobodyTouches();
    void whatTheUserDoesMeanwhile();
    void aShorterVersionIsSentWhenItIsAnnouncedAgain();
    void aLocalDirectoryThatIsOne();
    void missingFilesThatTheUserGaveUp();

private:
    bool isListed(const QString& name, int code) const;
    bool areAllListed(int code) const;
    void mirrorAll();

    std::unique_ptr<Host> m_host;
    std::unique_ptr<Pair> m_storage;
    std::unique_ptr<BindShare> m_share;
};

void TestEmptyMountPoint::init()
{
    HostOptions options;
    options.syncIntervalMs = kCycleMs;
    m_host = std::make_unique<Host>(options);
    m_storage = std::make_unique<Pair>();
    m_share = std::make_unique<BindShare>(m_storage->distantPath(), m_host->pair().distantPath());
    if (!m_share->mount())
        QSKIP("cannot mount");
}

void TestEmptyMountPoint::cleanup()
{
    m_host->stop();
    m_share.reset();
    m_storage.reset();
    m_host.reset();
}

bool TestEmptyMountPoint::isListed(const QString& name, int code) const
{
    for (const QVariant& value : m_host->manager()->errorFiles()) {
        const QVariantMap entry = value.toMap();
        if (entry.value("fileName"_s).toString() == name && entry.value("errorCode"_s).toInt() == code)
            return true;
    }
    return false;
}

bool TestEmptyMountPoint::areAllListed(int code) const
{
    for (int i = 0; i < kFileCount; ++i) {
        if (!isListed(nameOf(i), code))
            return false;
    }
    return m_host->manager()->errorCount() == kFileCount;
}

void TestEmptyMountPoint::mirrorAll()
{
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(m_host->local().write(nameOf(i), firstVersion(i)));
    QVERIFY(m_host->start());
    VERIFY_AT_REST(*m_host);
}

void TestEmptyMountPoint::filesThatNobodyTouches()
{
    mirrorAll();
    Host& host = *m_host;
    QVERIFY(m_share->unmount());
    QVERIFY(waitFor([&] { return areAllListed(kDistantMissing); }));
    // A restart believes no more and no less.
    QVERIFY(host.restart());
    QVERIFY(host.awaitCycles(kCyclesToVerify));
    QVERIFY(areAllListed(kDistantMissing));
    QCOMPARE(host.distant().names(), QStringList());
    for (int i = 0; i < kFileCount; ++i)
        QCOMPARE(host.local().read(nameOf(i)), firstVersion(i));

    // The share comes back: the question stays until it is answered.
    QVERIFY(m_share->mount());
    QVERIFY(host.awaitCycles(kCyclesToVerify));
    QVERIFY(areAllListed(kDistantMissing));
    host.manager()->retryAllErrors();
    VERIFY_AT_REST(host);
    QCOMPARE(m_storage->distant().names().size(), kFileCount);
    for (int i = 0; i < kFileCount; ++i)
        QCOMPARE(m_storage->distant().read(nameOf(i)), firstVersion(i));
}

// Some of it lands in the mount point, and is gone from sight when the share comes back.
void TestEmptyMountPoint::whatTheUserDoesMeanwhile()
{
    mirrorAll();
    Host& host = *m_host;
    QVERIFY(m_share->unmount());
    QVERIFY(waitFor([&] { return areAllListed(kDistantMissing); }));
    QVERIFY(host.local().write("new.txt"_s, "new"));
    QVERIFY(host.local().append(nameOf(1), " and more"));
    host.manager()->notifyLocalFileChanged(Host::alias(), nameOf(1));
    QVERIFY(host.local().append(nameOf(2), " and more, told to nobody"));
    host.manager()->retrySync(Host::alias(), nameOf(3));
    QVERIFY(host.local().remove(nameOf(4)));
    host.manager()->notifyLocalFileDeleted(Host::alias(), nameOf(4));
    for (const QString& name : {"new.txt"_s, nameOf(1), nameOf(3)})
        QVERIFY(waitFor([&] { return host.distant().exists(name) && host.status(name) == 17; }));
    QVERIFY(waitFor([&] { return host.status(nameOf(4)) == 40; }));

    QVERIFY(m_share->mount());
    // Sent to the mount point as it was: the row has a time that the share's file has not.
    host.manager()->notifyLocalFileChanged(Host::alias(), nameOf(3));
    // What a user does who looks at the list: the local files are the right ones.
    connect(
        host.manager(), &VornSyncManager::countersChanged, &host, [&] { host.manager()->retryAllErrors(); },
        Qt::QueuedConnection);
    VERIFY_AT_REST(host);
    QCOMPARE(host.local().read(nameOf(1)), firstVersion(1) + " and more");
    QCOMPARE(host.local().read(nameOf(2)), firstVersion(2) + " and more, told to nobody");
    QStringList expected = host.local().names();
    // Deleted while the share was away: it keeps its copy.
    expected << nameOf(4);
    expected.sort();
    QCOMPARE(m_storage->distant().names(), expected);
    for (const QString& name : host.local().names())
        QCOMPARE(m_storage->distant().read(name), host.local().read(name));
}

// What comes back is longer than what was sent last, and is taken for a newer version of another workstation.
void TestEmptyMountPoint::aShorterVersionIsSentWhenItIsAnnouncedAgain()
{
    mirrorAll();
    Host& host = *m_host;
    const QString name = nameOf(0);
    QVERIFY(m_share->unmount());
    QVERIFY(waitFor([&] { return areAllListed(kDistantMissing); }));
    // Written an hour later: times that are nearer than their tolerance tell nothing.
    QVERIFY(m_storage->distant().setLmd(name, QDateTime::currentDateTimeUtc().addSecs(-3600)));
    QVERIFY(host.local().write(name, "short"));
    host.manager()->notifyLocalFileChanged(Host::alias(), name);
    QVERIFY(waitFor([&] { return host.status(name) == 17; }));
    QCOMPARE(host.distant().read(name), QByteArray("short"));

    QVERIFY(m_share->mount());
    QVERIFY(host.awaitCycles(2 * kCyclesToVerify));
    QCOMPARE(host.local().read(name), QByteArray("short"));
    QCOMPARE(m_storage->distant().read(name), firstVersion(0));

    // Required: a distant copy that has grown is taken note of, and nothing is copied. An announcement sends it.
    QCOMPARE(host.status(name), 17);
    host.manager()->retryAllErrors(); // all others
    host.manager()->notifyLocalFileChanged(Host::alias(), name);
    VERIFY_AT_REST(host);
    QCOMPARE(m_storage->distant().read(name), QByteArray("short"));
}

// The other way round: the local files are away. Their copies stay, and nobody believes them deleted.
void TestEmptyMountPoint::aLocalDirectoryThatIsOne()
{
    Host& host = *m_host;
    const Pair home;
    BindShare disk(home.localPath(), host.pair().localPath());
    QVERIFY(disk.mount());
    mirrorAll();
    QVERIFY(disk.unmount());
    QVERIFY(waitFor([&] { return areAllListed(kLocalMissing); }));
    QVERIFY(host.awaitCycles(kCyclesToVerify));
    QCOMPARE(host.distant().names().size(), kFileCount);
    QCOMPARE(host.local().names(), QStringList());

    QVERIFY(disk.mount());
    QVERIFY(host.awaitCycles(2));
    QVERIFY(areAllListed(kLocalMissing));
    host.manager()->acknowledgeAllMissing();
    VERIFY_AT_REST(host);
    for (int i = 0; i < kFileCount; ++i)
        QCOMPARE(host.distant().read(nameOf(i)), firstVersion(i));
    host.stop(); // before the disk below it
}

// "Delete" for all of them, and only then the share is back: both sides have them still.
void TestEmptyMountPoint::missingFilesThatTheUserGaveUp()
{
    mirrorAll();
    Host& host = *m_host;
    QVERIFY(m_share->unmount());
    QVERIFY(waitFor([&] { return areAllListed(kDistantMissing); }));
    host.manager()->deleteAllDistantMissing();
    QVERIFY(waitFor([&] { return host.trash().names().size() == kFileCount && host.manager()->isIdle(); }));
    QVERIFY(m_share->mount());
    VERIFY_AT_REST(host);
    QCOMPARE(host.local().names(), QStringList());
    for (int i = 0; i < kFileCount; ++i) {
        QCOMPARE(host.trash().read(nameOf(i)), firstVersion(i));
        QCOMPARE(m_storage->distant().read(nameOf(i)), firstVersion(i));
    }
}

QTEST_GUILESS_MAIN(TestEmptyMountPoint)
#include "test_empty_mount_point.moc"

#include "host.h"
#include "literals.h"
#include "mounts.h"

#include <QFile>
#include <QTest>

#include <memory>

using namespace VornSyncTest;

namespace {

constexpr int kFileCount = 5;
constexpr int kSlowMs = 120000;

QByteArray content(const QString& name)
{
    return "content of " + name.toUtf8();
}

// Takes every name that is left; gives how many it has by then.
int takeNames(const Side& side)
{
    int count = 0;
    while (side.write("theirs %1"_s.arg(count), QByteArray()))
        ++count;
    return count;
}

bool giveNamesBack(const Side& side, int count)
{
    for (int i = 0; i < count; ++i) {
        if (!side.remove("theirs %1"_s.arg(i)))
            return false;
    }
    return true;
}

} // namespace

// File systems with room for bytes and none for another name.
class TestFewInodes : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void onTheDistantSide();
    void inTheTrash();
    void besideTheStateDatabase();
    void beforeTheStateDatabase();

private:
    void writeFiles();
    [[nodiscard]] bool mountAt(const QString& path);
    bool placeDatabase();
    QString unusableText() const
    {
        return "ERROR: State database is not usable: '%1'."_s.arg(m_host->databasePath());
    }

    std::unique_ptr<Pair> m_place;
    std::unique_ptr<TmpfsMount> m_mount;
    std::unique_ptr<Host> m_host;
};

void TestFewInodes::cleanup()
{
    m_host.reset();
    m_mount.reset();
    m_place.reset();
}

void TestFewInodes::writeFiles()
{
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(m_host->local().write("file %1.txt"_s.arg(i), content("file %1.txt"_s.arg(i))));
}

bool TestFewInodes::mountAt(const QString& path)
{
    m_mount = std::make_unique<TmpfsMount>(path, "size=16m,nr_inodes=32"_s);
    return m_mount->isMounted();
}

// A host with its state on the small disk.
bool TestFewInodes::placeDatabase()
{
    m_place = std::make_unique<Pair>();
    HostOptions options;
    options.databasePath = m_place->databasePath();
    if (!mountAt(m_place->rootPath()))
        return false;
    m_host = std::make_unique<Host>(options);
    return true;
}

// A copy over an existing file needs a name too: the temporary one. When there is room again, a retry finds it.
void TestFewInodes::onTheDistantSide()
{
    m_host = std::make_unique<Host>();
    Host& host = *m_host;
    if (!mountAt(host.pair().distantPath()))
        QSKIP(qPrintable(m_mount->reason()));
    writeFiles();
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    const int taken = takeNames(host.distant());
    QVERIFY(taken > 0);
    host.expectErrors("Failure to copy file: '"_s);
    QVERIFY(host.local().append("file 1.txt"_s, ", changed"));
    QVERIFY(host.local().write("new.txt"_s, "new"));
    QVERIFY(waitFor([&] { return host.errors().size() >= 2; }));
    for (int i = 0; i < kFileCount; ++i)
        QCOMPARE(host.distant().read("file %1.txt"_s.arg(i)), content("file %1.txt"_s.arg(i)));
    QVERIFY(!host.distant().exists("new.txt"_s));
    QVERIFY(giveNamesBack(host.distant(), taken));
    VERIFY_AT_REST(host);
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

// What can't go to the trash stays where it is.
void TestFewInodes::inTheTrash()
{
    m_place = std::make_unique<Pair>();
    HostOptions options;
    options.syncIntervalMs = kNoCyclesMs;
    options.trashRoot = m_place->rootPath();
    if (!mountAt(m_place->rootPath()))
        QSKIP(qPrintable(m_mount->reason()));
    m_host = std::make_unique<Host>(options);
    Host& host = *m_host;
    writeFiles();
    QVERIFY(host.local().write("file 0/chart.svg"_s, "chart"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    const int taken = takeNames(Side(host.trashRoot()));
    QVERIFY(taken > 0);
    host.expectErrors("file 0"_s);
    host.manager()->moveToTrashFile(Host::alias(), "file 0.txt"_s);
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1 && host.manager()->isIdle(); }, kSlowMs));
    QCOMPARE(host.local().read("file 0.txt"_s), content("file 0.txt"_s));
    QCOMPARE(host.local().read("file 0/chart.svg"_s), QByteArray("chart"));
    QCOMPARE(host.distant().read("file 0.txt"_s), content("file 0.txt"_s));
    QCOMPARE(host.trash().allFiles(), QStringList());

    // The wish is forgotten when its time is over: asked again, it is granted.
    QVERIFY(giveNamesBack(Side(host.trashRoot()), taken));
    host.manager()->requestSync();
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 0; }));
    QVERIFY(host.age("file 0.txt"_s));
    host.manager()->requestSync();
    QVERIFY(waitFor([&] { return host.status("file 0.txt"_s) == 17; }));
    host.manager()->moveToTrashFile(Host::alias(), "file 0.txt"_s);
    QVERIFY(waitFor([&] { return host.status("file 0.txt"_s) == 33; }));
    VERIFY_AT_REST(host);
    QCOMPARE(host.trash().allFiles(), (QStringList{"file 0.txt"_s, "file 0/chart.svg"_s}));
}

// A running database has its files open; it needs no further name.
void TestFewInodes::besideTheStateDatabase()
{
    if (!placeDatabase())
        QSKIP(qPrintable(m_mount->reason()));
    Host& host = *m_host;
    writeFiles();
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    int taken = takeNames(Side(m_place->rootPath()));
    QVERIFY(taken > 0);
    for (int i = 0; i < kFileCount; ++i)
        QVERIFY(host.local().append("file %1.txt"_s.arg(i), ", changed"));
    QVERIFY(host.local().write("new.txt"_s, "new"));
    VERIFY_AT_REST(host);
    QCOMPARE(host.manager()->doneCount(), kFileCount + 1);

    // A start needs names for the log beside it: nothing is done without one, and nothing forgotten.
    host.stop();
    taken = takeNames(Side(m_place->rootPath()));
    host.expectCriticals();
    QVERIFY(!host.start());
    QVERIFY(host.local().append("new.txt"_s, ", changed"));
    QVERIFY(waitFor([&] { return host.hasError(unusableText()); }));
    host.stop();
    host.takeErrors();
    QCOMPARE(host.distant().read("new.txt"_s), QByteArray("new"));
    QVERIFY(giveNamesBack(Side(m_place->rootPath()), taken));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.manager()->doneCount(), kFileCount + 1);
    host.stop();
}

void TestFewInodes::beforeTheStateDatabase()
{
    if (!placeDatabase())
        QSKIP(qPrintable(m_mount->reason()));
    Host& host = *m_host;
    writeFiles();
    const int taken = takeNames(Side(m_place->rootPath()));
    host.expectCriticals();
    QVERIFY(!host.start());
    QVERIFY(waitFor([&] { return host.hasError(unusableText()); }));
    host.stop();
    host.takeErrors();
    QCOMPARE(host.distant().names(), QStringList());
    QVERIFY(giveNamesBack(Side(m_place->rootPath()), taken));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    host.stop(); // before the file system below it
}

QTEST_GUILESS_MAIN(TestFewInodes)
#include "test_few_inodes.moc"

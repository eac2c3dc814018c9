#include "host.h"
#include "literals.h"
#include "mounts.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

using namespace VornSyncTest;

namespace {

QByteArray filler(int kibibytes)
{
    QByteArray result(kibibytes * 1024, '\0');
    for (int i = 0; i < result.size(); ++i)
        result[i] = char(i * 7 + i / 1024);
    return result;
}

// Takes what is left of a file system. The last bytes go one page at a time.
bool fill(const Side& side, const QString& name)
{
    QFile file(side.filePath(name));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return false;
    const QByteArray page(4096, 'f');
    while (file.write(page) == page.size()) {
    }
    return true;
}

} // namespace

class TestFullDisks : public QObject
{
    Q_OBJECT

private slots:
    void aFullDistantSideKeepsItsOldVersions();
    void spaceThatComesBackInTimeIsUsed();
    void aDistantSideWithoutRoomForNamesIsRetried();
    void aFullStateDatabaseLosesNoRow();
    void aFullDiskAtTheFirstStartIsReported();
    void aStateDatabaseThatAnotherProgramHoldsLosesNoRow();
};

void TestFullDisks::aFullDistantSideKeepsItsOldVersions()
{
    HostOptions options;
    options.syncIntervalMs = kNoCyclesMs;
    Host host(options);
    TmpfsMount mount(host.pair().distantPath(), "size=2m"_s);
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    host.expectErrors("Failure to copy file: '"_s);
    QVERIFY(host.local().write("grows.bin"_s, filler(100)));
    QVERIFY(host.local().write("small.txt"_s, "small"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);

    QVERIFY(fill(host.distant(), "theirs"_s));
    const QByteArray newVersion = filler(1000);
    QVERIFY(host.local().write("grows.bin"_s, newVersion));
    QVERIFY(host.local().write("new.bin"_s, filler(300)));
    host.manager()->requestSync();
    // Both spend their five runs.
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 2 && host.manager()->isIdle(); }, 60000));
    QStringList seen = host.seenErrorFiles();
    seen.sort();
    QCOMPARE(seen, (QStringList{"grows.bin/6"_s, "new.bin/6"_s}));
    QCOMPARE(host.distant().read("grows.bin"_s), filler(100));
    QCOMPARE(host.distant().read("small.txt"_s), QByteArray("small"));
    QVERIFY(!host.distant().exists("new.bin"_s));
    QCOMPARE(host.pair().temporaryFiles(), QStringList());
    QCOMPARE(host.raw().value("SELECT COUNT(*) FROM file_tracking"_s).toInt(), 3);

    // Cleared by the next cycle, the rows wait for their time-out.
    QVERIFY(host.distant().remove("theirs"_s));
    QVERIFY(host.awaitCycles(1));
    QCOMPARE(host.status("grows.bin"_s), 20);
    QCOMPARE(host.status("new.bin"_s), 20);
    QVERIFY(host.age("grows.bin"_s));
    QVERIFY(host.age("new.bin"_s));
    QVERIFY(host.awaitCycles(1));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("grows.bin"_s), newVersion);
}

void TestFullDisks::spaceThatComesBackInTimeIsUsed()
{
    Host host;
    TmpfsMount mount(host.pair().distantPath(), "size=2m"_s);
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    host.expectErrors("Failure to copy file: '"_s);
    QVERIFY(fill(host.distant(), "theirs"_s));
    for (int i = 0; i < 4; ++i)
        QVERIFY(host.local().write("file %1"_s.arg(i), filler(100 + i)));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return host.errors().size() >= 4; }));
    QVERIFY(host.distant().remove("theirs"_s));
    VERIFY_AT_REST(host);
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

void TestFullDisks::aDistantSideWithoutRoomForNamesIsRetried()
{
    Host host;
    TmpfsMount mount(host.pair().distantPath(), "size=2m,nr_inodes=4"_s);
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    host.expectErrors("Failure to copy file: '"_s);
    QVERIFY(host.distant().write("theirs 1"_s, "1"));
    QVERIFY(host.distant().write("theirs 2"_s, "2"));
    QVERIFY(host.distant().write("theirs 3"_s, "3"));
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return !host.errors().isEmpty(); }));
    QVERIFY(host.distant().remove("theirs 1"_s));
    VERIFY_AT_REST(host);
}

void TestFullDisks::aFullStateDatabaseLosesNoRow()
{
    const Pair place;
    // Several times what the write-ahead log takes before it is written back.
    TmpfsMount mount(place.rootPath(), "size=16m"_s);
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    const Side state(place.rootPath());
    HostOptions options;
    options.databasePath = state.filePath("state.sqlite"_s);
    Host host(options);
    constexpr int kBefore = 8;
    for (int i = 0; i < kBefore; ++i)
        QVERIFY(host.local().write("before %1"_s.arg(i), filler(i)));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);

    // While rows are being written.
    for (int i = 0; i < kBefore; ++i)
        QVERIFY(host.local().write("during %1"_s.arg(i), filler(i)));
    const int completed = int(host.completed().size());
    QVERIFY(waitFor([&] { return host.completed().size() > completed; }));
    QVERIFY(fill(state, "filler"_s));
    host.expectErrors("ERROR: Database VornSyncDB_Connection: "_s);
    QVERIFY(waitFor([&] { return !host.errors().isEmpty(); }));
    QVERIFY(host.awaitCycles(3));
    const QString countBefore =
        "SELECT COUNT(*) FROM file_tracking WHERE file_name LIKE 'before%' AND status = 17"_s;
    QCOMPARE(host.raw().value(countBefore).toInt(), kBefore);

    QVERIFY(state.remove("filler"_s));
    QVERIFY(host.awaitCycles(2));
    // A row whose end could not be recorded waits for its time-out.
    QVERIFY(waitFor([&] { return host.manager()->isIdle(); }));
    for (int i = 0; i < kBefore; ++i)
        QVERIFY(host.age("during %1"_s.arg(i)));
    QCOMPARE(host.settle(60000), QString());
    QCOMPARE(host.restProblems(), QString());
    QCOMPARE(host.manager()->doneCount(), 2 * kBefore);
    host.stop();
}

void TestFullDisks::aFullDiskAtTheFirstStartIsReported()
{
    const Pair place;
    TmpfsMount mount(place.rootPath(), "size=64k"_s);
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    const Side state(place.rootPath());
    QVERIFY(fill(state, "filler"_s));
    HostOptions options;
    options.databasePath = state.filePath("state.sqlite"_s);
    Host host(options);
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(!host.start());
    QVERIFY(waitFor([&] {
        return host.hasError("ERROR: State database is not usable: '%1'."_s.arg(options.databasePath));
    }));
    host.stop();
    QVERIFY(state.remove("filler"_s));
    QVERIFY(mount.unmount());

    host.takeErrors();
    host.expectCriticals();
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
}

// Longer than a writer waits: the ends of the copies cannot be recorded.
void TestFullDisks::aStateDatabaseThatAnotherProgramHoldsLosesNoRow()
{
    Host host;
    QVERIFY(host.local().write("before"_s, "b"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    constexpr int kFiles = 3;
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(host.local().write("during %1"_s.arg(i), filler(i)));
    QVERIFY(waitFor([&] { return host.started().size() > 1; }));
    {
        QSqlDatabase other = QSqlDatabase::addDatabase("QSQLITE"_s, "other program"_s);
        other.setDatabaseName(host.databasePath());
        QVERIFY(other.open());
        QVERIFY(QSqlQuery(other).exec("BEGIN IMMEDIATE"_s));
        host.expectErrors("ERROR: Database VornSyncDB_Connection: "_s);
        QVERIFY(waitFor([&] { return !host.errors().isEmpty(); }));
        QVERIFY(QSqlQuery(other).exec("ROLLBACK"_s));
        other.close();
    }
    QSqlDatabase::removeDatabase("other program"_s);
    QVERIFY(host.awaitCycles(2, 60000));
    QVERIFY(waitFor([&] { return host.manager()->isIdle(); }, 60000));
    // A row whose end could not be recorded waits for its time-out.
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(host.age("during %1"_s.arg(i)));
    QCOMPARE(host.settle(60000), QString());
    QCOMPARE(host.restProblems(), QString());
    QCOMPARE(host.manager()->doneCount(), kFiles + 1);
}

QTEST_GUILESS_MAIN(TestFullDisks)
#include "test_full_disks.moc"

#include "engine_parts_fixture.h"
#include "vorn_sync_file_start.h"
#include "vorn_sync_flight_table.h"

#include <QTest>

using namespace VornSyncTest;

namespace {

constexpr int kNoRow = -1;

const QString kName = "a.txt"_s;

enum class Local { File, Absent, Directory };

} // namespace

Q_DECLARE_METATYPE(Local)
Q_DECLARE_METATYPE(SyncFileStatus)

class TestFileStart : public QObject
{
    Q_OBJECT

private slots:
    void isPossible_data();
    void isPossible();
    void isPossible_withoutALocalDirectory();
    void isPossible_underARenameLock();

    void mark();
    void mark_ofARowThatChangedMeanwhile();
    void mark_whenARenameTookTheName_data();
    void mark_whenARenameTookTheName();
};

void TestFileStart::isPossible_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<Local>("local");
    QTest::addColumn<SyncFileStatus>("target");
    QTest::addColumn<bool>("isPossible");
    QTest::addColumn<bool>("isLocalGone");
    QTest::addColumn<bool>("isLossNew");
    QTest::addColumn<QString>("error");
    const QString none;
    const QString gone =
        "ERROR: Impossible to process synchronization, local file does not exist: 'a.txt'."_s;
    const QString notPlain = "ERROR: Impossible to process synchronization, not a plain file: 'a.txt'."_s;
    const auto sync = ceSfsPendingSync;
    const auto restore = ceSfsPendingRestore;

    QTest::newRow("new file") << kNoRow << Local::File << sync << true << false << false << none;
    QTest::newRow("up to date") << int(ceSfsUpToDate) << Local::File << sync << true << false << false
                                << none;
    QTest::newRow("in error") << int(ceSfsUpToDate | ceSfsError) << Local::File << sync << true << false
                              << false << none;
    QTest::newRow("tombstoned and back")
        << int(ceSfsDeleted) << Local::File << sync << true << false << false << none;
    QTest::newRow("pending") << int(ceSfsPendingSync) << Local::File << sync << false << false << false
                             << none;
    QTest::newRow("in progress") << int(ceSfsSyncing) << Local::File << sync << false << false << false
                                 << none;
    QTest::newRow("busy and gone") << int(ceSfsSyncing) << Local::Absent << sync << false << false << false
                                   << none;
    QTest::newRow("gone") << int(ceSfsUpToDate) << Local::Absent << sync << false << true << true << gone;
    QTest::newRow("gone, never seen") << kNoRow << Local::Absent << sync << false << true << true << gone;
    QTest::newRow("tombstoned") << int(ceSfsDeleted) << Local::Absent << sync << false << true << false
                                << none;
    QTest::newRow("trashed, to be restored")
        << int(ceSfsTrashed) << Local::Absent << restore << false << true << true << gone;
    QTest::newRow("a directory") << int(ceSfsUpToDate) << Local::Directory << sync << false << false << false
                                 << notPlain;
}

void TestFileStart::isPossible()
{
    QFETCH(int, status);
    QFETCH(Local, local);
    QFETCH(SyncFileStatus, target);
    EngineParts parts;
    QVERIFY(parts.start());
    if (status != kNoRow)
        QVERIFY(parts.putRow(kName, status));
    if (local == Local::File)
        QVERIFY(parts.pair.local().write(kName, "x"));
    if (local == Local::Directory)
        QVERIFY(parts.pair.local().makeDirectory(kName));
    const QString before = parts.state(kName);

    VornSyncFlightTable flights;
    VornSyncFileStart start(parts.database, parts.paths, parts.renames, flights, {parts.id, kName}, target);
    QTEST(start.isPossible(), "isPossible");
    QTEST(start.isLocalGone(), "isLocalGone");
    QTEST(start.isLossNew(), "isLossNew");
    QTEST(start.error(), "error");
    QCOMPARE(start.status(), status == kNoRow ? int(ceSfsUnknown) : status);
    QCOMPARE(parts.state(kName), before);
    QVERIFY(!flights.contains({parts.id, kName}));
}

// What is below a directory that can't be listed may be there or not.
void TestFileStart::isPossible_withoutALocalDirectory()
{
    EngineParts parts;
    QVERIFY(parts.start());
    QVERIFY(parts.putRow(kName, ceSfsUpToDate));
    QVERIFY(parts.pair.local().remove("."_s));
    VornSyncFlightTable flights;
    VornSyncFileStart start(parts.database, parts.paths, parts.renames, flights, {parts.id, kName},
                            ceSfsPendingSync);
    QVERIFY(!start.isPossible());
    QVERIFY(!start.isLocalGone());
    QCOMPARE(start.error(), QString());
}

void TestFileStart::isPossible_underARenameLock()
{
    EngineParts parts;
    QVERIFY(parts.start());
    QVERIFY(parts.pair.local().write(kName, "x"));
    QVERIFY(parts.renames.lock(parts.id, "old.txt"_s, kName));
    VornSyncFlightTable flights;
    VornSyncFileStart start(parts.database, parts.paths, parts.renames, flights, {parts.id, kName},
                            ceSfsPendingSync);
    QVERIFY(!start.isPossible());
    QVERIFY(parts.renames.release(parts.id, "old.txt"_s, kName));
    QVERIFY(start.isPossible());
}

void TestFileStart::mark()
{
    EngineParts parts;
    QVERIFY(parts.start());
    QVERIFY(parts.pair.local().write(kName, "x"));
    VornSyncFlightTable flights;
    VornSyncFileStart start(parts.database, parts.paths, parts.renames, flights, {parts.id, kName},
                            ceSfsPendingDelete);
    QVERIFY(start.isPossible());
    QVERIFY(start.mark());
    QCOMPARE(parts.state(kName), "34/0"_s);
    QVERIFY(flights.contains({parts.id, kName}));
}

void TestFileStart::mark_ofARowThatChangedMeanwhile()
{
    EngineParts parts;
    QVERIFY(parts.start());
    QVERIFY(parts.putRow(kName, ceSfsUpToDate));
    QVERIFY(parts.pair.local().write(kName, "x"));
    VornSyncFlightTable flights;
    VornSyncFileStart start(parts.database, parts.paths, parts.renames, flights, {parts.id, kName},
                            ceSfsPendingSync);
    QVERIFY(start.isPossible());
    QVERIFY(parts.database.setFileDeleted(parts.id, kName));
    QVERIFY(!start.mark());
    QCOMPARE(parts.state(kName), "40/0"_s);
    QVERIFY(!flights.contains({parts.id, kName}));
}

void TestFileStart::mark_whenARenameTookTheName_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("errorCode");
    QTest::newRow("no row") << kNoRow << int(ceSecNone);
    QTest::newRow("up to date") << int(ceSfsUpToDate) << int(ceSecNone);
    QTest::newRow("in error") << int(ceSfsUpToDate | ceSfsError) << int(ceSecCopySizeMismatch);
    QTest::newRow("trashed") << int(ceSfsTrashed) << int(ceSecNone);
    QTest::newRow("deleted") << int(ceSfsDeleted) << int(ceSecNone);
}

void TestFileStart::mark_whenARenameTookTheName()
{
    QFETCH(int, status);
    QFETCH(int, errorCode);
    EngineParts parts;
    QVERIFY(parts.start());
    if (status != kNoRow)
        QVERIFY(parts.putRow(kName, status, errorCode));
    QVERIFY(parts.pair.local().write(kName, "x"));
    const QString before = parts.state(kName);
    VornSyncFlightTable flights;
    VornSyncFileStart start(parts.database, parts.paths, parts.renames, flights, {parts.id, kName},
                            ceSfsPendingSync);
    QVERIFY(start.isPossible());
    QVERIFY(parts.renames.lock(parts.id, kName, "new.txt"_s));
    QVERIFY(!start.mark());
    QCOMPARE(parts.state(kName), before);
    QVERIFY(!flights.contains({parts.id, kName}));
}

QTEST_GUILESS_MAIN(TestFileStart)
#include "test_file_start.moc"

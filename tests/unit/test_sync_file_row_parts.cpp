#include "collect.h"
#include "file_calls.h"
#include "sync_database_fixture.h"
#include "vorn_sync_file_rows.h"

#include <QDir>
#include <QHash>
#include <QScopeGuard>

using namespace VornSyncTest;

namespace {

constexpr int kRows = 140000; // two parts

// "n000000" to "n139999".
bool insertRows(SyncDatabaseFixture& fixture)
{
    return fixture.raw.exec(
        "WITH RECURSIVE numbers(n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM numbers WHERE n + 1 < ?) "
        "INSERT INTO file_tracking (file_name, directories_id, status, size) "
        "SELECT printf('n%06d', n), ?, 17, n FROM numbers"_s,
        {kRows, fixture.directoryId});
}

// All names with their sizes; empty when a name comes twice or the rows can't be read.
QHash<QString, qint64> readSizes(VornSyncDatabase& database, int directoryId)
{
    QVector<VornSyncFileRow> rows;
    QHash<QString, qint64> sizes;
    if (!database.readDirectoryRows(directoryId, into(rows), [&rows] { rows.clear(); }))
        return sizes;
    for (const VornSyncFileRow& row : qAsConst(rows))
        sizes.insert(row.fileName, row.size);
    return sizes.size() == rows.size() ? sizes : QHash<QString, qint64>();
}

} // namespace

// More rows than come in one part, and somebody who writes between two of them.
class TestSyncFileRowParts : public QObject
{
    Q_OBJECT

private slots:
    void everyRowOnce();
    void rowsAtTheEndsOfAllNumbers();
    void rowThatMovesMeanwhile_data();
    void rowThatMovesMeanwhile();
    void otherDirectoryMeanwhile();
};

void TestSyncFileRowParts::everyRowOnce()
{
    SyncDatabaseFixture fixture;
    QVERIFY(fixture.isReady);
    QVERIFY(insertRows(fixture));
    const QHash<QString, qint64> sizes = readSizes(fixture.database, fixture.directoryId);
    QCOMPARE(sizes.size(), kRows);
    for (int i = 0; i < kRows; ++i)
        QCOMPARE(sizes.value("n%1"_s.arg(i, 6, 10, QLatin1Char('0')), -1), qint64(i));
}

void TestSyncFileRowParts::rowsAtTheEndsOfAllNumbers()
{
    SyncDatabaseFixture fixture;
    QVERIFY(fixture.isReady);
    QVERIFY(insertRows(fixture));
    QVERIFY(fixture.raw.execAll({"UPDATE file_tracking SET rowid = -9223372036854775808 WHERE file_name = "
                                 "'n070000'"_s,
                                 "UPDATE file_tracking SET rowid = 9223372036854775807 WHERE file_name = "
                                 "'n000000'"_s}));
    // That one begins a part of its own.
    QVERIFY(fixture.raw.exec("DELETE FROM file_tracking WHERE file_name > 'n131071'"_s));
    QCOMPARE(readSizes(fixture.database, fixture.directoryId).size(), 131072);
    QVERIFY(fixture.insert("one more"_s, 17, {{"rowid"_s, -1}}));
    QCOMPARE(readSizes(fixture.database, fixture.directoryId).size(), 131073);
}

void TestSyncFileRowParts::rowThatMovesMeanwhile_data()
{
    QTest::addColumn<int>("percent");
    for (int percent = 5; percent < 100; percent += 30)
        QTest::addRow("%d", percent) << percent;
}

// A row that is replaced goes to the end: who has read it in the first part would read it again in the last.
void TestSyncFileRowParts::rowThatMovesMeanwhile()
{
    QFETCH(int, percent);
    FileCalls::watch(QDir::tempPath().toUtf8()); // before the file is opened: SQLite shares descriptors
    SyncDatabaseFixture fixture;
    QVERIFY(fixture.isReady);
    QVERIFY(insertRows(fixture));
    QVERIFY(fixture.raw.exec("PRAGMA wal_checkpoint(TRUNCATE)"_s));
    int calls = 0;
    int writeAt = -1;
    bool isWritten = false;
    FileCalls::Hooks hooks;
    hooks.before = [&](const FileCalls::Call&) {
        if (calls++ == writeAt)
            isWritten =
                fixture.raw.exec("REPLACE INTO file_tracking (file_name, directories_id, status, size) "
                                 "VALUES ('n000001', ?, 17, 1)"_s,
                                 {fixture.directoryId});
        return 0;
    };
    FileCalls::setHooks(hooks);
    const auto unhook = qScopeGuard([] { FileCalls::setHooks(FileCalls::Hooks()); });
    {
        VornSyncDatabase database(fixture.path());
        QCOMPARE(readSizes(database, fixture.directoryId).size(), kRows);
    }
    QVERIFY2(calls > 100, qPrintable(QString::number(calls)));
    writeAt = calls * percent / 100;
    calls = 0;
    VornSyncDatabase database(fixture.path());
    QCOMPARE(readSizes(database, fixture.directoryId).size(), kRows);
    QVERIFY(isWritten);
}

// The directory is the only one when the reading begins, and no longer when its last rows are read.
void TestSyncFileRowParts::otherDirectoryMeanwhile()
{
    SyncDatabaseFixture fixture;
    QVERIFY(fixture.isReady);
    QCOMPARE(fixture.database.addDirectory("other"_s, "/l"_s, "/d"_s, "/t"_s), 2);
    QVERIFY(fixture.insert("mine"_s, 17) && fixture.insert("mine, too"_s, 17));
    QByteArrayList names;
    bool isWritten = false;
    const bool isWhole =
        VornSyncFileRows(fixture.database)
            .readPacked(fixture.directoryId, 1, [&](const VornSyncPackedRows& part) {
                names << part.names;
                isWritten = fixture.raw.exec(
                    "INSERT OR IGNORE INTO file_tracking (file_name, directories_id, status) "
                    "VALUES ('theirs', 2, 17)"_s);
            });
    QVERIFY(isWritten);
    QVERIFY(!isWhole);
    QCOMPARE(names, QByteArrayList({"mine"}));
}

QTEST_GUILESS_MAIN(TestSyncFileRowParts)
#include "test_sync_file_row_parts.moc"

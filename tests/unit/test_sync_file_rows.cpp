#include "collect.h"
#include "sync_database_fixture.h"
#include "vorn_sqlite_transaction.h"
#include "vorn_sync_row_cache.h"

#include <QThread>

#include <limits>

using namespace VornSyncTest;

namespace {

constexpr qint64 kSecs = 1600000000;
constexpr int kManyRows = 3000;

QDateTime utc(qint64 secs)
{
    return QDateTime::fromSecsSinceEpoch(secs, Qt::UTC);
}

QString described(const VornSyncFileRow& row)
{
    const QStringList columns = {row.fileName + ":"_s,
                                 QString::number(row.status),
                                 QString::number(row.size),
                                 QString::number(row.localLmdSecs),
                                 QString::number(row.distantLmdUndefined ? 1 : 0),
                                 QString::number(row.isDistantNewer ? 1 : 0),
                                 QString::number(row.markedLocalSize),
                                 QString::number(row.markedLocalLmdSecs)};
    return columns.join(QLatin1Char(' '));
}

// All rows as a pass reads them, in the order of their names.
QStringList readAll(VornSyncDatabase& database, int directoryId)
{
    QVector<VornSyncFileRow> rows;
    if (!database.readDirectoryRows(directoryId, into(rows)))
        return {"FAILED"_s};
    QStringList all;
    for (const VornSyncFileRow& row : qAsConst(rows))
        all << described(row);
    all.sort();
    return all;
}

// The same, by somebody who has read nothing before.
QStringList readAfresh(const QString& path, int directoryId)
{
    VornSyncDatabase database(path);
    return readAll(database, directoryId);
}

VornSyncPackedRows packedExample()
{
    VornSyncPackedRows rows;
    rows.count = 2;
    rows.names = "a/b c";
    rows.sizes = "3,0";
    rows.localLmds = "2020-09-13T12:26:40Z,";
    rows.others = "145,1,b c";
    return rows;
}

} // namespace

class TestSyncFileRows : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void packedRows();
    void packedMarks();
    void unsoundRows_data();
    void unsoundRows();
    void packedNumbers();

    void kindsOfRows_data();
    void kindsOfRows();
    void manyRows_data();
    void manyRows();
    void anotherEncoding();
    void rowsOfAView();
    void marksThatCantBeRead();

    void unchangedRowsAreKept();
    void rowsAsTheyAreNow_data();
    void rowsAsTheyAreNow();
    void rowsAfterAReset();
    void rowsOfTwoDirectories();
    void rowsOfAMovedTable();
    void cacheForgetsOtherStamps();
    void cacheHasALimit();

private:
    VornSyncDatabase& db() { return m_fixture->database; }
    int id() const { return m_fixture->directoryId; }
    bool raw(const QString& sql) { return m_fixture->raw.exec(sql); }

    std::unique_ptr<SyncDatabaseFixture> m_fixture;
};

void TestSyncFileRows::init()
{
    m_fixture = std::make_unique<SyncDatabaseFixture>();
    QVERIFY(m_fixture->isReady);
}

void TestSyncFileRows::cleanup()
{
    m_fixture.reset();
}

// --- Packed rows ----------------------------------------------------------------------------------------

void TestSyncFileRows::packedRows()
{
    const VornSyncPackedRows rows = packedExample();
    QVERIFY(rows.isSound());
    QVector<VornSyncFileRow> read;
    rows.forEach(into(read));
    QCOMPARE(read.size(), 2);
    QCOMPARE(described(read.at(0)), "a: 17 3 1600000000 0 0 0 0"_s);
    QCOMPARE(described(read.at(1)), "b c: 145 0 0 1 0 0 0"_s);
    QVERIFY(VornSyncPackedRows().isSound());
    QCOMPARE(rows.byteCount(), 38);
}

void TestSyncFileRows::packedMarks()
{
    VornSyncPackedRows rows = packedExample();
    rows.markedSizes = ",9000000000";
    rows.markedLmds = ",2020-09-13T12:26:41Z";
    QVERIFY(rows.isSound());
    QVector<VornSyncFileRow> read;
    rows.forEach(into(read));
    QCOMPARE(described(read.at(0)), "a: 17 3 1600000000 0 0 0 0"_s);
    QCOMPARE(described(read.at(1)), "b c: 145 0 0 1 1 9000000000 1600000001"_s);
    rows.markedSizes = "1";
    QVERIFY(!rows.isSound());
}

void TestSyncFileRows::unsoundRows_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<QByteArray>("values");
    QTest::newRow("a name with a separator") << 0 << QByteArray("a/b/c");
    QTest::newRow("a name is missing") << 0 << QByteArray("a");
    QTest::newRow("another row's name twice") << 0 << QByteArray("b c/b c");
    QTest::newRow("no size") << 1 << QByteArray("3");
    QTest::newRow("a size beyond all numbers") << 1 << QByteArray("3,1.0e+20");
    QTest::newRow("a time with a separator") << 2 << QByteArray("a,b,c");
    QTest::newRow("no time") << 2 << QByteArray("a");
    QTest::newRow("no status") << 3 << QByteArray(",1,b c");
    QTest::newRow("a status that is no integer") << 3 << QByteArray("1.5,1,b c");
    QTest::newRow("a status that is a text") << 3 << QByteArray("x,1,b c");
    QTest::newRow("no word on a distant time") << 3 << QByteArray("145,,b c");
    QTest::newRow("no name of another row") << 3 << QByteArray("145,1");
    QTest::newRow("another row by itself") << 3 << QByteArray("145,1,c");
    QTest::newRow("other rows in another order") << 3 << QByteArray("145,1,b c/18,0,a");
    QTest::newRow("one of them twice") << 3 << QByteArray("145,1,b c/145,1,b c");
    QTest::newRow("a status with a sign within") << 3 << QByteArray("1-7,1,b c");
    QTest::newRow("half of another one") << 3 << QByteArray("18,0,a/145");
}

void TestSyncFileRows::unsoundRows()
{
    QFETCH(int, column);
    QFETCH(QByteArray, values);
    VornSyncPackedRows rows = packedExample();
    QByteArray* const columns[] = {&rows.names, &rows.sizes, &rows.localLmds, &rows.others};
    *columns[column] = values;
    QVERIFY(!rows.isSound());
}

void TestSyncFileRows::packedNumbers()
{
    VornSyncPackedRows rows = packedExample();
    rows.others = "-1,0,a/0,0,b c";
    rows.sizes = "-9223372036854775808,9223372036854775807";
    QVERIFY(rows.isSound());
    QVector<VornSyncFileRow> read;
    rows.forEach(into(read));
    QCOMPARE(read.at(0).status, -1);
    QCOMPARE(read.at(0).size, std::numeric_limits<qint64>::min());
    QCOMPARE(read.at(1).size, std::numeric_limits<qint64>::max());
}

// --- Rows of the file -----------------------------------------------------------------------------------

// Whatever a row is like, all rows together say of it what it says alone.
void TestSyncFileRows::kindsOfRows_data()
{
    QTest::addColumn<QString>("sql");
    const QString insert = "INSERT INTO file_tracking (directories_id, file_name, status, size, local_lmd, "
                           "distant_lmd) VALUES (1, %1)"_s;
    QTest::newRow("none") << "SELECT 1"_s;
    QTest::newRow("plain") << insert.arg("'a', 17, 5, '2020-09-13T12:26:40Z', '2020-09-13T12:26:40Z'"_s);
    QTest::newRow("undefined") << insert.arg("'a', 17, 5, '2020-09-13T12:26:40Z', 'UNDEFINED'"_s);
    QTest::newRow("never sent") << insert.arg("'a', 18, NULL, NULL, NULL"_s);
    QTest::newRow("time with offset") << insert.arg("'a', 17, 5, '2020-09-13T13:26:40+01:00', ''"_s);
    QTest::newRow("no time") << insert.arg("'a', 17, 5, 'x', 'y'"_s);
    QTest::newRow("time with separators") << insert.arg("'a', 17, 5, 'x,y,z', ''"_s);
    QTest::newRow("name with a separator") << insert.arg("'a/b', 17, 5, '', ''"_s);
    QTest::newRow("name with a comma") << insert.arg("'a,b', 17, 5, '', ''"_s);
    QTest::newRow("empty name") << insert.arg("'', 17, 5, '', ''"_s);
    QTest::newRow("other scripts") << insert.arg("'\u00fc\u4e2d\U0001F600', 17, 5, '', ''"_s);
    QTest::newRow("name as bytes") << insert.arg("x'6162', 17, 5, '', ''"_s);
    QTest::newRow("status as text") << insert.arg("'a', 'x', 5, '', ''"_s);
    QTest::newRow("real numbers") << insert.arg("'a', 1.5, 2.5, '', ''"_s);
    QTest::newRow("numbers as text") << insert.arg("'a', '33', '7', '', ''"_s);
    QTest::newRow("time as a number") << insert.arg("'a', 17, 5, 20200913, 5"_s);
    QTest::newRow("huge") << insert.arg("'a', 17, 9223372036854775807, '', ''"_s);
    QTest::newRow("beyond huge") << insert.arg("'a', 17, 99999999999999999999, '', ''"_s);
    QTest::newRow("negative") << insert.arg("'a', -1, -5, '', ''"_s);
}

void TestSyncFileRows::kindsOfRows()
{
    QFETCH(QString, sql);
    for (const bool isMarked : {false, true}) {
        if (isMarked) {
            QVERIFY(db().recordFileSync(id(), "marked"_s, 7, utc(kSecs), utc(kSecs)));
            QVERIFY(db().recordDistantGrown(id(), "marked"_s, 8, utc(kSecs), utc(kSecs + 9), 7));
        } else {
            QVERIFY(raw(sql));
        }
        QVector<VornSyncFileRow> rows;
        QVERIFY(db().readDirectoryRows(id(), into(rows)));
        QCOMPARE(rows.size(), m_fixture->rowCount());
        for (const VornSyncFileRow& row : qAsConst(rows)) {
            VornSyncFileRow alone;
            bool found = false;
            QVERIFY(db().readFileRow(id(), row.fileName, alone, found));
            if (found) // a name as bytes is found by bytes only
                QCOMPARE(described(row), described(alone));
            QCOMPARE(row.isDistantNewer, row.fileName == "marked"_s);
        }
    }
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncFileRows::manyRows_data()
{
    QTest::addColumn<int>("directories");
    QTest::newRow("of all directories' rows the half") << 2;
    QTest::newRow("all rows there are") << 1;
}

void TestSyncFileRows::manyRows()
{
    QFETCH(int, directories);
    const auto status = [](int i) { return i % 5 == 0 ? 18 : 17; };
    const auto isUndefined = [](int i) { return i % 7 == 0; };
    QStringList statements = {"BEGIN"_s};
    for (int i = 0; i < kManyRows; ++i)
        statements
            << "INSERT INTO file_tracking (directories_id, file_name, status, size, local_lmd, distant_lmd) "
               "VALUES (%1, 'file %2', %3, %2, '2020-09-13T12:26:40Z', '%4')"_s.arg(
                   QString::number(1 + i % directories), QString::number(i), QString::number(status(i)),
                   isUndefined(i) ? VornSyncTypes::undefinedTimeText() : QString());
    QVERIFY(db().addDirectory("other"_s, "/l"_s, "/d"_s, "/t"_s) == 2);
    QVERIFY(m_fixture->raw.execAll(statements + QStringList{"COMMIT"_s}));
    const QStringList rows = readAll(db(), directories);
    QCOMPARE(rows.size(), kManyRows / directories);
    for (int i = directories - 1; i < kManyRows; i += directories)
        QVERIFY(rows.contains("file %1: %2 %1 1600000000 %3 0 0 0"_s.arg(
            QString::number(i), QString::number(status(i)), QString::number(isUndefined(i) ? 1 : 0))));
}

void TestSyncFileRows::anotherEncoding()
{
    for (const QString& encoding : {"UTF-16le"_s, "UTF-16be"_s}) {
        const QString path = m_fixture->directory.filePath(encoding);
        QVERIFY(
            RawDatabase(path).execAll({"PRAGMA encoding = '%1'"_s.arg(encoding), "CREATE TABLE t (a)"_s}));
        VornSyncDatabase database(path);
        QVERIFY(database.initialize());
        QCOMPARE(database.addDirectory("alias"_s, "/l"_s, "/d"_s, "/t"_s), 1);
        QVERIFY(database.recordFileSync(1, "\u00fc.txt"_s, 7, utc(kSecs), utc(kSecs)));
        QCOMPARE(RawDatabase(path).value("PRAGMA encoding"_s).toString(), encoding);
        QCOMPARE(readAll(database, 1), QStringList("\u00fc.txt: 17 7 1600000000 0 0 0 0"_s));
    }
}

void TestSyncFileRows::rowsOfAView()
{
    QVERIFY(m_fixture->insert("x"_s, 17, {{"size"_s, 5}}));
    QVERIFY(m_fixture->raw.execAll({"ALTER TABLE file_tracking RENAME TO moved"_s,
                                    "CREATE VIEW file_tracking AS SELECT * FROM moved"_s}));
    QCOMPARE(readAll(db(), id()), QStringList("x: 17 5 0 0 0 0 0"_s));
}

// Without its mark the local file would be sent over the newer distant one.
void TestSyncFileRows::marksThatCantBeRead()
{
    QVERIFY(m_fixture->insert("x"_s, 17));
    QCOMPARE(readAll(db(), id()).size(), 1);
    QVERIFY(m_fixture->raw.execAll({"PRAGMA writable_schema = ON"_s,
                                    "INSERT INTO sqlite_master (type, name, tbl_name, rootpage, sql) VALUES "
                                    "('table', 'distant_newer_marks', 'distant_newer_marks', 0, 'CREATE "
                                    "VIRTUAL TABLE distant_newer_marks USING missing')"_s,
                                    "CREATE TABLE another (a)"_s}));
    QCOMPARE(readAll(db(), id()), QStringList("FAILED"_s));
    VornSyncFileRow row;
    bool found = false;
    QVERIFY(!db().readFileRow(id(), "x"_s, row, found));
    QVERIFY(!m_fixture->errorTexts().isEmpty());
}

// --- Rows that are kept from one pass to the next -------------------------------------------------------

// Seen by a row that changes although nobody writes it: not the way a file works, but the only way to tell.
void TestSyncFileRows::unchangedRowsAreKept()
{
    QVERIFY(m_fixture->insert("x"_s, 17));
    QVERIFY(m_fixture->raw.execAll(
        {"ALTER TABLE file_tracking RENAME TO moved"_s,
         "CREATE VIEW file_tracking AS SELECT rowid AS rowid, file_name, directories_id, status, "
         "ABS(random()) AS size, local_lmd, distant_lmd FROM moved"_s}));
    const QStringList first = readAll(db(), id());
    QCOMPARE(first.size(), 1);
    QCOMPARE(readAll(db(), id()), first);
    QVERIFY(raw("CREATE TABLE another (a)"_s));
    QVERIFY(readAll(db(), id()) != first);
}

void TestSyncFileRows::rowsAsTheyAreNow_data()
{
    QTest::addColumn<QString>("who");
    QTest::addColumn<QString>("what");
    for (const QString& who : {"this thread"_s, "another thread"_s}) {
        for (const QString& what : {"setFileStatus"_s,
                                    "setFileStatusIf"_s,
                                    "setFileErrorIf"_s,
                                    "clearFileError"_s,
                                    "updateStatusToProcess"_s,
                                    "setFileTrashed"_s,
                                    "unmarkFileTrashed"_s,
                                    "recordFileSync"_s,
                                    "recordCopy"_s,
                                    "recordDistantGrown"_s,
                                    "renameFile"_s,
                                    "renameFileOverTombstone"_s,
                                    "removeFileSync"_s,
                                    "removeTombstone"_s,
                                    "isFileNeedUpdate"_s,
                                    "cleanupOrphanedProcessingStates"_s,
                                    "cleanupStaleProcessingStates"_s,
                                    "deleteDirectory"_s,
                                    "new file"_s,
                                    "a transaction"_s})
            QTest::addRow("%s: %s", qPrintable(who), qPrintable(what)) << who << what;
    }
    QTest::newRow("another object") << "another database object"_s
                                    << "setFileStatus"_s;
    for (const QString& sql :
         {"UPDATE file_tracking SET size = 6 WHERE file_name = 'x'"_s, "DELETE FROM file_tracking"_s,
          "INSERT INTO file_tracking (file_name, directories_id, status) VALUES ('n', 1, 17)"_s,
          "UPDATE file_tracking SET file_name = 'renamed' WHERE file_name = 'x'"_s,
          "REPLACE INTO file_tracking (file_name, directories_id, status) VALUES ('x', 1, 18)"_s,
          "UPDATE distant_newer_marks SET local_size = 99"_s, "DELETE FROM distant_newer_marks"_s,
          "UPDATE file_tracking SET directories_id = 7 WHERE file_name = 'x'"_s})
        QTest::addRow("another program: %s", qPrintable(sql)) << "another program"_s << sql;
}

void TestSyncFileRows::rowsAsTheyAreNow()
{
    QFETCH(QString, who);
    QFETCH(QString, what);
    const QString x = "x"_s;
    QVERIFY(m_fixture->insert(x, 17, {{"size"_s, 5}, {"distant_lmd"_s, "UNDEFINED"_s}}));
    QVERIFY(m_fixture->insert("pending"_s, 18, {{"status_changed_at"_s, utcText(0)}}));
    QVERIFY(m_fixture->insert("syncing"_s, 20, {{"status_changed_at"_s, utcText(0)}}));
    QVERIFY(m_fixture->insert("error"_s, 145, {{"error_code"_s, 6}}));
    QVERIFY(m_fixture->insert("deleted"_s, 40));
    QVERIFY(db().recordFileSync(id(), "marked"_s, 7, utc(kSecs), utc(kSecs)));
    QVERIFY(db().recordDistantGrown(id(), "marked"_s, 8, utc(kSecs), utc(kSecs + 9), 7));
    QFile onDisk(m_fixture->directory.filePath("five"_s));
    QVERIFY(onDisk.open(QIODevice::WriteOnly) && onDisk.write("12345") == 5);
    onDisk.close();
    const QFileInfo five(onDisk.fileName());

    const auto write = [&](VornSyncDatabase& database) {
        const QHash<QString, std::function<void()>> writes = {
            {"setFileStatus"_s, [&] { database.setFileStatus(1, x, 18, 0); }},
            {"setFileStatusIf"_s, [&] { database.setFileStatusIf(1, x, 17, 18); }},
            {"setFileErrorIf"_s, [&] { database.setFileErrorIf(1, x, 17, 6); }},
            {"clearFileError"_s, [&] { database.clearFileError(1, "error"_s); }},
            {"updateStatusToProcess"_s, [&] { database.updateStatusToProcess(1, "pending"_s); }},
            {"setFileTrashed"_s, [&] { database.setFileTrashed(1, x); }},
            {"unmarkFileTrashed"_s, [&] { database.unmarkFileTrashed(1, "deleted"_s); }},
            {"recordFileSync"_s, [&] { database.recordFileSync(1, x, 6, utc(1), utc(2)); }},
            {"recordCopy"_s, [&] { database.recordCopy(1, x, 6, utc(1), utc(2)); }},
            {"recordDistantGrown"_s, [&] { database.recordDistantGrown(1, x, 6, utc(1), utc(2), 5); }},
            {"renameFile"_s, [&] { database.renameFile(1, x, "z"_s); }},
            {"renameFileOverTombstone"_s, [&] { database.renameFileOverTombstone(1, x, "deleted"_s); }},
            {"removeFileSync"_s, [&] { database.removeFileSync(1, x); }},
            {"removeTombstone"_s, [&] { database.removeTombstone(1, "deleted"_s); }},
            {"isFileNeedUpdate"_s, [&] { database.isFileNeedUpdate(1, x, five, five); }},
            {"cleanupOrphanedProcessingStates"_s, [&] { database.cleanupOrphanedProcessingStates(); }},
            {"cleanupStaleProcessingStates"_s, [&] { database.cleanupStaleProcessingStates(nullptr); }},
            {"deleteDirectory"_s, [&] { database.deleteDirectory(1); }},
            {"new file"_s, [&] { database.setFileStatus(1, "new"_s, 18, 0); }},
            {"a transaction"_s,
             [&] {
                 VornSqliteTransaction transaction(database);
                 database.setFileStatus(1, x, 18, 0);
                 transaction.commit();
             }},
        };
        writes.value(what)();
    };

    const QStringList before = readAll(db(), id());
    QCOMPARE(before.size(), 6);
    QCOMPARE(readAll(db(), id()), before);
    if (who == "another program"_s) {
        QVERIFY2(raw(what), qPrintable(m_fixture->raw.lastError()));
    } else if (who == "this thread"_s) {
        write(db());
    } else if (who == "another thread"_s) {
        const std::unique_ptr<QThread> thread(QThread::create([&] { write(db()); }));
        thread->start();
        QVERIFY(thread->wait(30000));
    } else {
        VornSyncDatabase other(m_fixture->path());
        write(other);
    }
    const QStringList after = readAll(db(), id());
    QVERIFY(after != before);
    QCOMPARE(after, readAfresh(m_fixture->path(), id()));
    QCOMPARE(readAll(db(), id()), after);
}

// The new file's numbers may well be those of the old one.
void TestSyncFileRows::rowsAfterAReset()
{
    QVERIFY(m_fixture->insert("x"_s, 17));
    QCOMPARE(readAll(db(), id()).size(), 1);
    QVERIFY(db().reset());
    QCOMPARE(readAll(db(), id()), QStringList());
    QCOMPARE(db().addDirectory("alias"_s, "/local"_s, "/distant"_s, "/trash"_s), id());
    QVERIFY(m_fixture->insert("y"_s, 17));
    QCOMPARE(readAll(db(), id()), QStringList("y: 17 0 0 0 0 0 0"_s));
    // By another thread, whose handle is closed with it.
    for (const int status : {18, 17}) {
        const std::unique_ptr<QThread> thread(QThread::create([&] {
            readAll(db(), id());
            db().setFileStatus(id(), "y"_s, status, 0);
        }));
        thread->start();
        QVERIFY(thread->wait(30000));
        QCOMPARE(readAll(db(), id()), QStringList("y: %1 0 0 0 0 0 0"_s.arg(status)));
    }
    // The log is moved into the file, and begins anew.
    QVERIFY(raw("PRAGMA wal_checkpoint(TRUNCATE)"_s));
    QVERIFY(raw("UPDATE file_tracking SET size = 3"_s));
    QVERIFY(raw("PRAGMA wal_checkpoint(TRUNCATE)"_s));
    QCOMPARE(readAll(db(), id()), QStringList("y: 17 3 0 0 0 0 0"_s));
    QVERIFY(raw("VACUUM"_s));
    QCOMPARE(readAll(db(), id()), QStringList("y: 17 3 0 0 0 0 0"_s));
}

void TestSyncFileRows::rowsOfTwoDirectories()
{
    QCOMPARE(db().addDirectory("other"_s, "/l"_s, "/d"_s, "/t"_s), 2);
    QVERIFY(db().setFileStatus(1, "one"_s, 17, 0));
    QVERIFY(db().setFileStatus(2, "two"_s, 17, 0));
    for (int round = 0; round < 2; ++round) {
        QCOMPARE(readAll(db(), 1), QStringList("one: 17 0 0 0 0 0 0"_s));
        QCOMPARE(readAll(db(), 2), QStringList("two: 17 0 0 0 0 0 0"_s));
    }
    // Written while another directory's rows were read last.
    QVERIFY(db().setFileStatus(1, "one"_s, 18, 0));
    QCOMPARE(readAll(db(), 2), QStringList("two: 17 0 0 0 0 0 0"_s));
    QCOMPARE(readAll(db(), 1), QStringList("one: 18 0 0 0 0 0 0"_s));
}

void TestSyncFileRows::rowsOfAMovedTable()
{
    QVERIFY(m_fixture->insert("x"_s, 17));
    QCOMPARE(readAll(db(), id()).size(), 1);
    QVERIFY(raw("ALTER TABLE file_tracking RENAME TO moved"_s));
    QCOMPARE(readAll(db(), id()), QStringList("FAILED"_s));
    QVERIFY(!m_fixture->errorTexts().isEmpty());
    QVERIFY(raw("ALTER TABLE moved RENAME TO file_tracking"_s));
    QCOMPARE(readAll(db(), id()).size(), 1);
}

void TestSyncFileRows::cacheForgetsOtherStamps()
{
    const VornSyncRowsStamp stamp{{1, 2}, 3};
    VornSyncRowCache cache;
    VornSyncPackedParts found;
    QVERIFY(!cache.find(1, stamp, found));
    cache.keep(1, stamp, {packedExample()});
    QVERIFY(cache.find(1, stamp, found));
    QCOMPARE(found.value(0).names, packedExample().names);
    QVERIFY(!cache.find(2, stamp, found));
    for (const VornSyncRowsStamp& other :
         {VornSyncRowsStamp{{2, 2}, 3}, VornSyncRowsStamp{{1, 3}, 3}, VornSyncRowsStamp{{1, 2}, 4}})
        QVERIFY(!cache.find(1, other, found));
    cache.keep(2, stamp, {packedExample()});
    QVERIFY(cache.find(1, stamp, found));
    cache.keep(2, {{1, 2}, 4}, {packedExample()});
    QVERIFY(!cache.find(1, stamp, found));
    QVERIFY(!cache.find(1, {{1, 2}, 4}, found));
    QVERIFY(cache.find(2, {{1, 2}, 4}, found));
}

void TestSyncFileRows::cacheHasALimit()
{
    const VornSyncRowsStamp stamp{{1, 2}, 3};
    VornSyncPackedRows large;
    large.count = 1;
    large.names = QByteArray(int(VornSyncRowCache::kMaximumBytes), 'x');
    VornSyncRowCache cache;
    VornSyncPackedParts found;
    cache.keep(1, stamp, {large});
    QVERIFY(cache.find(1, stamp, found));
    cache.keep(2, stamp, {packedExample()});
    QVERIFY(!cache.find(2, stamp, found));
    large.names += 'x';
    cache.keep(3, {{1, 2}, 4}, {large});
    QVERIFY(!cache.find(3, {{1, 2}, 4}, found));
    cache.keep(4, {{1, 2}, 4}, {packedExample()});
    QVERIFY(cache.find(4, {{1, 2}, 4}, found));
}

QTEST_GUILESS_MAIN(TestSyncFileRows)

#include "test_sync_file_rows.moc"

#include "sync_database_fixture.h"
#include "vorn_sync_row_repairs.h"

using namespace VornSyncTest;

namespace {

QString secondsAgo(qint64 seconds)
{
    return utcText(QDateTime::currentSecsSinceEpoch() - seconds);
}

} // namespace

class TestSyncDatabaseMaintenance : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void orphans();
    void orphansOfNothing();
    void orphansThatCannotBeRead();
    void orphansThatCannotBeReset();

    void staleRule_data();
    void staleRule();
    void staleRows();
    void staleRowsStillActive();
    void staleTestMayUseTheDatabase();
    void staleRowsMovedOnAreLeft();
    void staleRowsAtTheirBounds();
    void staleRowThatCannotBeReset();
    void staleWithoutTable();

    void trashedDates();
    void trashedDatesWithoutTable();

    void countsByStatuses();
    void countsOfNothing();
    void countsFollowForeignWrites_data();
    void countsFollowForeignWrites();
    void countsOfATableMadeByHand();
    void countsAreRepairedAtStart();
    void countsWithoutTable();
    void countsInError();
    void countsInErrorUseTheirIndex();
    void errorFiles();
    void errorFilesWithoutTable();

private:
    VornSyncDatabase& db() { return m_fixture->database; }
    int id() const { return m_fixture->directoryId; }
    int status(const QString& fileName) { return m_fixture->row(fileName).value("status"_s).toInt(); }
    // The counts that the object gives, next to what the rows say.
    QString countProblems();

    std::unique_ptr<SyncDatabaseFixture> m_fixture;
};

void TestSyncDatabaseMaintenance::init()
{
    m_fixture = std::make_unique<SyncDatabaseFixture>();
    QVERIFY(m_fixture->isReady);
    QVERIFY(m_fixture->directoryId > 0);
}

// --- Orphans --------------------------------------------------------------------------------------------

void TestSyncDatabaseMaintenance::orphans()
{
    const QVariantMap columns = {
        {"error_code"_s, 5}, {"trashed_date"_s, "t"_s}, {"status_changed_at"_s, "c"_s}};
    for (int orphan : {20, 36, 68, 17, 18, 148})
        QVERIFY(m_fixture->insert(QString::number(orphan), orphan, columns));
    TraceCapture capture;
    QCOMPARE(db().cleanupOrphanedProcessingStates(), 3);
    for (int orphan : {20, 36, 68}) {
        const QVariantMap row = m_fixture->row(QString::number(orphan));
        QCOMPARE(row.value("status"_s).toInt(), 0);
        QCOMPARE(row.value("error_code"_s).toInt(), 5);
        QCOMPARE(row.value("trashed_date"_s).toString(), "t"_s);
        QCOMPARE(row.value("status_changed_at"_s).toString(), "c"_s);
    }
    for (int other : {17, 18, 148})
        QCOMPARE(status(QString::number(other)), other);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
    if (traceLinesBuiltIn())
        QCOMPARE(
            capture.debugLines(),
            QStringList{"[-- SYNC --]: DB: cleanupOrphanedProcessingStates - Reset 3 orphaned files from "
                        "processing states to Unknown"_s});
}

void TestSyncDatabaseMaintenance::orphansOfNothing()
{
    QVERIFY(m_fixture->insert("x"_s, 18));
    TraceCapture capture;
    QCOMPARE(db().cleanupOrphanedProcessingStates(), 0);
    QCOMPARE(capture.debugLines(), QStringList());
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseMaintenance::orphansThatCannotBeRead()
{
    QVERIFY(m_fixture->raw.exec("DROP TABLE file_tracking"_s));
    QCOMPARE(db().cleanupOrphanedProcessingStates(), 0);
    QCOMPARE(m_fixture->errors.size(), 2);
    QCOMPARE(m_fixture->errorTexts().last(), "ERROR: Failed to query orphaned processing states"_s);
}

void TestSyncDatabaseMaintenance::orphansThatCannotBeReset()
{
    QVERIFY(m_fixture->insert("x"_s, 20));
    QVERIFY(m_fixture->raw.exec("CREATE TRIGGER refuse BEFORE UPDATE ON file_tracking BEGIN "
                                "SELECT RAISE(ABORT, 'refused'); END"_s));
    QCOMPARE(db().cleanupOrphanedProcessingStates(), 0);
    QCOMPARE(m_fixture->errors.size(), 2);
    QCOMPARE(m_fixture->errorTexts().last(), "ERROR: Failed to cleanup orphaned processing states"_s);
    QCOMPARE(status("x"_s), 20);
}

// --- Stale rows -----------------------------------------------------------------------------------------

void TestSyncDatabaseMaintenance::staleRule_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<int>("age"); // seconds
    QTest::addColumn<bool>("isStale");
    QTest::newRow("deletion at 29 s") << 34 << qint64(0) << 29 << false;
    QTest::newRow("deletion at 30 s") << 34 << qint64(0) << 30 << true;
    QTest::newRow("50 MB at 541 s") << 18 << qint64(52428800) << 541 << false;
    QTest::newRow("50 MB at 542 s") << 18 << qint64(52428800) << 542 << true;
    QTest::newRow("copy at 119 s") << 20 << qint64(0) << 119 << false;
    QTest::newRow("copy at 120 s") << 20 << qint64(0) << 120 << true;
    QTest::newRow("huge copy at 600 s") << 68 << (qint64(1) << 40) << 600 << true;
    QTest::newRow("changed in the future") << 34 << qint64(0) << -5 << false;
}

void TestSyncDatabaseMaintenance::staleRule()
{
    QFETCH(int, status);
    QFETCH(qint64, size);
    QFETCH(int, age);
    const qint64 now = 1600000000;
    QTEST(VornSyncRowRepairs::isStale(status, size, utcText(now - age), now), "isStale");
    QVERIFY(VornSyncRowRepairs::isStale(status, size, QString(), now));
    QVERIFY(VornSyncRowRepairs::isStale(status, size, "no time"_s, now));
}

void TestSyncDatabaseMaintenance::staleRows()
{
    const QVariantMap old = {
        {"status_changed_at"_s, secondsAgo(700)}, {"error_code"_s, 5}, {"trashed_date"_s, "t"_s}};
    const QVariantMap young = {{"status_changed_at"_s, secondsAgo(5)}};
    for (int status : {18, 20, 34, 36, 66, 68}) {
        QVERIFY(m_fixture->insert("old %1"_s.arg(status), status, old));
        QVERIFY(m_fixture->insert("young %1"_s.arg(status), status, young));
    }
    for (int status : {0, 17, 33, 40, 148})
        QVERIFY(m_fixture->insert("old %1"_s.arg(status), status, old));
    QVERIFY(m_fixture->insert("never"_s, 20));
    const QDateTime before = QDateTime::currentDateTimeUtc();
    TraceCapture capture;
    QCOMPARE(db().cleanupStaleProcessingStates(nullptr), 7);
    for (int status : {18, 20, 34, 36, 66, 68}) {
        const QVariantMap row = m_fixture->row("old %1"_s.arg(status));
        QCOMPARE(row.value("status"_s).toInt(), 0);
        QCOMPARE(row.value("error_code"_s).toInt(), 0);
        QVERIFY(row.value("trashed_date"_s).isNull());
        QVERIFY(isRecent(row.value("status_changed_at"_s), before));
        QCOMPARE(this->status("young %1"_s.arg(status)), status);
    }
    for (int status : {17, 33, 40, 148})
        QCOMPARE(this->status("old %1"_s.arg(status)), status);
    QCOMPARE(status("never"_s), 0);
    if (!traceLinesBuiltIn())
        QSKIP("Built without trace lines");
    const QStringList lines = capture.linesOf("DB: "_s);
    QCOMPARE(lines.size(), 8);
    const QString line =
        "cleanupStaleProcessingStates - File '%1' (dirId=%2) reset from %3 to Unknown after %4s timeout"_s;
    const QString directory = QString::number(id());
    QVERIFY(lines.contains(line.arg("old 34"_s, directory, "ceSfsPendingDelete"_s, "30"_s)));
    QVERIFY(lines.contains(line.arg("never"_s, directory, "ceSfsSyncing"_s, "120"_s)));
    QCOMPARE(lines.last(), "cleanupStaleProcessingStates - Reset 7 stale files to Unknown"_s);
}

void TestSyncDatabaseMaintenance::staleRowsStillActive()
{
    for (int status : {18, 20, 36, 68})
        QVERIFY(m_fixture->insert(QString::number(status), status));
    QStringList asked;
    TraceCapture capture;
    QCOMPARE(db().cleanupStaleProcessingStates([&](int directoryId, const QString& fileName) {
        asked << fileName;
        return directoryId == id() && fileName != "36"_s;
    }),
             2);
    asked.sort();
    // A pending row is not asked for: nobody works on it.
    QCOMPARE(asked, (QStringList{"20"_s, "36"_s, "68"_s}));
    QCOMPARE(status("18"_s), 0);
    QCOMPARE(status("36"_s), 0);
    QCOMPARE(status("20"_s), 20);
    QCOMPARE(status("68"_s), 68);
    if (traceLinesBuiltIn())
        QCOMPARE(
            capture.linesOf("DB: "_s).mid(2),
            (QStringList{"cleanupStaleProcessingStates - Reset 2 stale files to Unknown"_s,
                         "cleanupStaleProcessingStates - Skipped 2 stale in-process rows still active on the "
                         "worker side"_s}));
}

void TestSyncDatabaseMaintenance::staleTestMayUseTheDatabase()
{
    QVERIFY(m_fixture->insert("x"_s, 20));
    bool isWritten = false;
    QCOMPARE(db().cleanupStaleProcessingStates([&](int, const QString&) {
        // Neither a lock nor a transaction is held here: another connection may write.
        isWritten = m_fixture->raw.exec("UPDATE directories SET available = 1"_s) &&
                    db().getFileStatus(id(), "x"_s) == 20;
        return false;
    }),
             1);
    QVERIFY(isWritten);
}

void TestSyncDatabaseMaintenance::staleRowsMovedOnAreLeft()
{
    QVERIFY(m_fixture->insert("x"_s, 20));
    QVERIFY(m_fixture->insert("y"_s, 20));
    QCOMPARE(db().cleanupStaleProcessingStates([&](int, const QString& fileName) {
        // The task ends while it is asked about.
        return fileName == "x"_s && !db().setFileStatus(id(), fileName, ceSfsUpToDate, 0);
    }),
             1);
    QCOMPARE(status("x"_s), 17);
    QCOMPARE(status("y"_s), 0);
}

// The time of a size, read from the row; the tests' own time counts, so the kept ones are well within.
void TestSyncDatabaseMaintenance::staleRowsAtTheirBounds()
{
    const qint64 size = 52428800;
    QVERIFY(m_fixture->insert("542"_s, 18, {{"size"_s, size}, {"status_changed_at"_s, secondsAgo(542)}}));
    QVERIFY(m_fixture->insert("400"_s, 18, {{"size"_s, size}, {"status_changed_at"_s, secondsAgo(400)}}));
    QVERIFY(m_fixture->insert("30"_s, 34, {{"status_changed_at"_s, secondsAgo(30)}}));
    QVERIFY(m_fixture->insert("10"_s, 34, {{"status_changed_at"_s, secondsAgo(10)}}));
    TraceCapture capture;
    QCOMPARE(db().cleanupStaleProcessingStates(nullptr), 2);
    QCOMPARE(status("542"_s), 0);
    QCOMPARE(status("400"_s), 18);
    QCOMPARE(status("30"_s), 0);
    QCOMPARE(status("10"_s), 34);
    if (traceLinesBuiltIn())
        QVERIFY(capture.linesOf("DB: "_s).contains("cleanupStaleProcessingStates - File '542' (dirId=%1) "
                                                   "reset from ceSfsPendingSync to Unknown after "
                                                   "542s timeout"_s.arg(id())));
}

// What was rewritten before the failure stays, and only that is counted and traced.
void TestSyncDatabaseMaintenance::staleRowThatCannotBeReset()
{
    for (const QString& name : {"a"_s, "bad"_s, "c"_s})
        QVERIFY(m_fixture->insert(name, 20));
    QVERIFY(m_fixture->raw.exec("CREATE TRIGGER refuse BEFORE UPDATE ON file_tracking "
                                "WHEN OLD.file_name = 'bad' BEGIN SELECT RAISE(ABORT, 'refused'); END"_s));
    TraceCapture capture;
    QCOMPARE(db().cleanupStaleProcessingStates(nullptr), 2);
    QCOMPARE(status("a"_s), 0);
    QCOMPARE(status("bad"_s), 20);
    QCOMPARE(status("c"_s), 0);
    if (!traceLinesBuiltIn())
        return;
    const QStringList lines = capture.linesOf("DB: "_s);
    QVERIFY(lines.contains("cleanupStaleProcessingStates - Reset 2 stale files to Unknown"_s));
    QVERIFY(lines.filter("File 'bad'"_s).isEmpty());
}

void TestSyncDatabaseMaintenance::staleWithoutTable()
{
    QVERIFY(m_fixture->raw.exec("DROP TABLE file_tracking"_s));
    TraceCapture capture;
    QCOMPARE(db().cleanupStaleProcessingStates(nullptr), 0);
    if (traceLinesBuiltIn())
        QCOMPARE(capture.debugLines(), QStringList{"[-- SYNC --]: DB: cleanupStaleProcessingStates - ERROR: "
                                                   "cleanupStaleProcessingStates query failed"_s});
}

// --- Trashed dates --------------------------------------------------------------------------------------

void TestSyncDatabaseMaintenance::trashedDates()
{
    for (int status : {17, 33, 40, 161})
        QVERIFY(m_fixture->insert(QString::number(status), status, {{"trashed_date"_s, "t"_s}}));
    QVERIFY(m_fixture->insert("none"_s, 17));
    TraceCapture capture;
    QCOMPARE(db().cleanupInconsistentTrashedDates(), 2);
    QVERIFY(m_fixture->row("17"_s).value("trashed_date"_s).isNull());
    QVERIFY(m_fixture->row("161"_s).value("trashed_date"_s).isNull());
    QCOMPARE(m_fixture->row("33"_s).value("trashed_date"_s).toString(), "t"_s);
    QCOMPARE(m_fixture->row("40"_s).value("trashed_date"_s).toString(), "t"_s);
    if (traceLinesBuiltIn())
        QCOMPARE(capture.debugLines(),
                 QStringList{"[-- SYNC --]: DB: cleanupInconsistentTrashedDates - Cleared "
                             "trashed_date on 2 inconsistent rows"_s});
    capture.clear();
    QCOMPARE(db().cleanupInconsistentTrashedDates(), 0);
    QCOMPARE(capture.debugLines(), QStringList());
}

void TestSyncDatabaseMaintenance::trashedDatesWithoutTable()
{
    QVERIFY(m_fixture->raw.exec("DROP TABLE file_tracking"_s));
    TraceCapture capture;
    QCOMPARE(db().cleanupInconsistentTrashedDates(), 0);
    if (traceLinesBuiltIn())
        QCOMPARE(capture.debugLines(),
                 QStringList{"[-- SYNC --]: DB: cleanupInconsistentTrashedDates - ERROR: "
                             "cleanupInconsistentTrashedDates query failed"_s});
}

// --- Counts ---------------------------------------------------------------------------------------------

QString TestSyncDatabaseMaintenance::countProblems()
{
    QStringList problems;
    for (int status : {0, 17, 18, 20, 33, 34, 36, 40, 66, 68, 128, 145, 148, 161}) {
        const int counted = db().countFilesByStatuses({status});
        const int real =
            m_fixture->raw.value("SELECT COUNT(*) FROM file_tracking WHERE status = ?"_s, {status}).toInt();
        if (counted != real)
            problems << "%1 of status %2 instead of %3"_s.arg(counted).arg(status).arg(real);
    }
    return problems.join(", "_s);
}

void TestSyncDatabaseMaintenance::countsByStatuses()
{
    for (int status : {0, 17, 17, 17, 18, 34, 66, 20, 145})
        QVERIFY(m_fixture->insert("%1 %2"_s.arg(m_fixture->rowCount()).arg(status), status));
    QCOMPARE(db().countFilesByStatuses({17}), 3);
    QCOMPARE(db().countFilesByStatuses({0, 18, 34, 66}), 4);
    QCOMPARE(db().countFilesByStatuses({17, 17}), 3);
    QCOMPARE(db().countFilesByStatuses({33}), 0);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseMaintenance::countsOfNothing()
{
    QVERIFY(m_fixture->raw.exec("DROP TABLE file_tracking"_s));
    QCOMPARE(db().countFilesByStatuses({}), 0);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseMaintenance::countsFollowForeignWrites_data()
{
    QTest::addColumn<QStringList>("statements");
    QTest::newRow("insert") << QStringList{
        "INSERT INTO file_tracking (file_name, directories_id, status) VALUES ('n', 1, 18), ('m', 1, 18)"_s};
    QTest::newRow("update") << QStringList{"UPDATE file_tracking SET status = 33"_s};
    QTest::newRow("update to the same") << QStringList{"UPDATE file_tracking SET status = status"_s};
    QTest::newRow("update of a part")
        << QStringList{"UPDATE file_tracking SET status = status | 128 WHERE file_name < 'c'"_s};
    QTest::newRow("delete") << QStringList{"DELETE FROM file_tracking WHERE file_name = 'a'"_s};
    QTest::newRow("delete all") << QStringList{"DELETE FROM file_tracking"_s};
    QTest::newRow("cascade") << QStringList{"PRAGMA foreign_keys=ON"_s, "DELETE FROM directories"_s};
    QTest::newRow("replace a row") << QStringList{
        "INSERT OR REPLACE INTO file_tracking (file_name, directories_id, status) VALUES ('a', 1, 18), ('new', 1, 18), ('b', 1, 17)"_s};
    QTest::newRow("replace a row, deletions told") << QStringList{
        "PRAGMA recursive_triggers=ON"_s,
        "REPLACE INTO file_tracking (file_name, directories_id, status) VALUES ('a', 1, 18)"_s};
    QTest::newRow("replace by row id") << QStringList{
        "REPLACE INTO file_tracking (rowid, file_name, directories_id, status) SELECT rowid, file_name, directories_id, 20 FROM file_tracking WHERE file_name = 'a'"_s};
    QTest::newRow("replace by row id alone") << QStringList{
        "REPLACE INTO file_tracking (rowid, file_name, directories_id, status) SELECT rowid, 'new', 1, 20 FROM file_tracking WHERE file_name = 'a'"_s};
    QTest::newRow("replace by row id and by key") << QStringList{
        "REPLACE INTO file_tracking (rowid, file_name, directories_id, status) SELECT rowid, 'b', 1, 20 FROM file_tracking WHERE file_name = 'c'"_s};
    QTest::newRow("another row id") << QStringList{
        "UPDATE OR REPLACE file_tracking SET rowid = (SELECT rowid FROM file_tracking WHERE file_name = 'a') WHERE file_name = 'c'"_s};
    QTest::newRow("replace by rename")
        << QStringList{"UPDATE OR REPLACE file_tracking SET file_name = 'b' WHERE file_name = 'a'"_s};
    QTest::newRow("ignore, then insert") << QStringList{
        "INSERT OR IGNORE INTO file_tracking (file_name, directories_id, status) VALUES ('a', 1, 18)"_s,
        "INSERT INTO file_tracking (file_name, directories_id, status) VALUES ('n', 1, 18)"_s};
    QTest::newRow("ignore, delete, insert") << QStringList{
        "INSERT OR IGNORE INTO file_tracking (file_name, directories_id, status) VALUES ('a', 1, 18)"_s,
        "DELETE FROM file_tracking WHERE file_name = 'a'"_s,
        "INSERT INTO file_tracking (file_name, directories_id, status) VALUES ('a', 1, 18)"_s};
    QTest::newRow("upsert") << QStringList{
        "INSERT INTO file_tracking (file_name, directories_id, status) VALUES ('a', 1, 18) ON CONFLICT(file_name, directories_id) DO UPDATE SET status = 66"_s};
    QTest::newRow("rename") << QStringList{
        "UPDATE file_tracking SET file_name = 'z' WHERE file_name = 'a'"_s};
    QTest::newRow("rolled back") << QStringList{"BEGIN"_s, "UPDATE file_tracking SET status = 0"_s,
                                                "ROLLBACK"_s};
}

void TestSyncDatabaseMaintenance::countsFollowForeignWrites()
{
    QFETCH(QStringList, statements);
    QCOMPARE(id(), 1);
    for (const auto& [name, status] : {qMakePair("a"_s, 17), qMakePair("b"_s, 17), qMakePair("c"_s, 20)})
        QVERIFY(m_fixture->insert(name, status));
    QCOMPARE(countProblems(), QString());
    QVERIFY2(m_fixture->raw.execAll(statements), qPrintable(m_fixture->raw.lastError()));
    QCOMPARE(countProblems(), QString());
    // And our own writes go on rightly from there.
    QVERIFY(db().initialize());
    QVERIFY(m_fixture->raw.rows("SELECT * FROM file_tracking_counts WHERE files < 0"_s).isEmpty());
    QCOMPARE(countProblems(), QString());
}

void TestSyncDatabaseMaintenance::countsOfATableMadeByHand()
{
    QVERIFY(m_fixture->insert("x"_s, 17));
    QVERIFY(m_fixture->dropKey());
    QCOMPARE(db().countFilesByStatuses({17}), 0);
    QVERIFY(m_fixture->insert("x"_s, 17));
    QVERIFY(m_fixture->insert("x"_s, 17));
    QCOMPARE(db().countFilesByStatuses({17}), 2);
    QVERIFY(db().initialize());
    QVERIFY(m_fixture->insert("x"_s, 17));
    QCOMPARE(countProblems(), QString());
    QCOMPARE(db().countFilesByStatuses({17}), 3);
}

void TestSyncDatabaseMaintenance::countsAreRepairedAtStart()
{
    QVERIFY(m_fixture->insert("x"_s, 17));
    QVERIFY(m_fixture->raw.exec("UPDATE file_tracking_counts SET files = 99"_s));
    QCOMPARE(db().countFilesByStatuses({17}), 99);
    QVERIFY(db().initialize());
    QCOMPARE(countProblems(), QString());
    QVERIFY(m_fixture->raw.exec("INSERT INTO file_tracking_counts VALUES (33, 2)"_s));
    QVERIFY(db().initialize());
    QCOMPARE(countProblems(), QString());
}

void TestSyncDatabaseMaintenance::countsWithoutTable()
{
    QVERIFY(m_fixture->raw.exec("DROP TABLE file_tracking"_s));
    TraceCapture capture;
    QCOMPARE(db().countFilesByStatuses({17}), 0);
    QCOMPARE(db().countFilesInError(), 0);
    QCOMPARE(m_fixture->errors.size(), 2);
    if (traceLinesBuiltIn())
        QCOMPARE(capture.debugLines(),
                 (QStringList{
                     "[-- SYNC --]: DB: countFilesByStatuses - ERROR: countFilesByStatuses query failed"_s,
                     "[-- SYNC --]: DB: countFilesInError - ERROR: countFilesInError query failed"_s}));
}

void TestSyncDatabaseMaintenance::countsInError()
{
    QVERIFY(m_fixture->insert("counted"_s, 148, {{"error_code"_s, 6}}));
    QVERIFY(m_fixture->insert("no code"_s, 148));
    QVERIFY(m_fixture->insert("no bit"_s, 17, {{"error_code"_s, 6}}));
    QCOMPARE(db().countFilesInError(), 1);
    QCOMPARE(db().getErrorFiles().size(), 1);
}

// A refresh with files in error runs both on the host's thread.
void TestSyncDatabaseMaintenance::countsInErrorUseTheirIndex()
{
    for (const QString& sql :
         {"SELECT COUNT(*) AS n FROM file_tracking WHERE (status & ?) != 0 AND error_code != 0"_s,
          "SELECT ft.file_name FROM file_tracking ft INNER JOIN directories d ON d.id = "
          "ft.directories_id WHERE (ft.status & ?) != 0 AND ft.error_code != 0"_s}) {
        QStringList plan;
        const auto steps = m_fixture->raw.rows("EXPLAIN QUERY PLAN "_s + sql, {128});
        for (const QVariantMap& step : steps)
            plan << step.value("detail"_s).toString();
        QVERIFY2(plan.join("; "_s).contains("file_tracking_in_error"_s), qPrintable(plan.join("; "_s)));
    }
}

void TestSyncDatabaseMaintenance::errorFiles()
{
    const int first = db().addDirectory("A first"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    QVERIFY(m_fixture->insert("b"_s, 148, {{"error_code"_s, 6}}));
    QVERIFY(m_fixture->insert("a"_s, 145, {{"error_code"_s, 15}}));
    QVERIFY(db().setFileStatus(first, "z"_s, ceSfsUpToDate, 0));
    QVERIFY(db().setFileStatus(first, "z"_s, ceSfsError, ceSecCopyFailed));
    const auto files = db().getErrorFiles();
    QCOMPARE(files.size(), 3);
    QCOMPARE(files.at(0), (QVariantMap{{"fileName"_s, "z"_s},
                                       {"status"_s, 145LL},
                                       {"errorCode"_s, 6LL},
                                       {"directoryId"_s, qlonglong(first)},
                                       {"aliasName"_s, "A first"_s}}));
    QCOMPARE(files.at(1).value("fileName"_s).toString(), "a"_s);
    QCOMPARE(files.at(1).value("errorCode"_s).toInt(), 15);
    QCOMPARE(files.at(2).value("fileName"_s).toString(), "b"_s);
    QCOMPARE(files.at(2).value("aliasName"_s).toString(), "alias"_s);
}

void TestSyncDatabaseMaintenance::errorFilesWithoutTable()
{
    QVERIFY(m_fixture->raw.exec("DROP TABLE file_tracking"_s));
    QVERIFY(db().getErrorFiles().isEmpty());
    QCOMPARE(m_fixture->errors.size(), 1);
}

QTEST_GUILESS_MAIN(TestSyncDatabaseMaintenance)

#include "test_sync_database_maintenance.moc"

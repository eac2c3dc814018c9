#include "collect.h"
#include "sync_database_fixture.h"

using namespace VornSyncTest;

namespace {

const QLatin1String kUnknownBase("transitioning to Error from an Unknown base ; resolveFileError will not be "
                                 "able to auto-retry.");

QDateTime utc(qint64 secs)
{
    return QDateTime::fromSecsSinceEpoch(secs, Qt::UTC);
}

} // namespace

class TestSyncDatabaseFiles : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void statusOfNoRow();
    void statusOfTwoRows();
    void newRowByStatus();
    void errorKeepsTheBase_data();
    void errorKeepsTheBase();
    void errorFromUnknownWarns();
    void errorOfNoRow();
    void otherStatusDropsTheErrorCode();
    void trashStatusKeepsTheDate();
    void unknownDirectoryIsRefused();
    void clearingAnError_data();
    void clearingAnError();
    void pendingToProcess_data();
    void pendingToProcess();

    void trashAndTombstone();
    void trashTraces();
    void trashIsOneTransaction();
    void untrashing();

    void recordingANewFile();
    void recordingAKnownFile();
    void recordingTakesTimesAsGiven();
    void recordingADuplicatedKey();
    void recordingInNoDirectory();
    void recordingThatFails();
    void recordingTraces();
    void copyRespectsTombstones_data();
    void copyRespectsTombstones();
    void copyWithoutDistantTime_hasItUndefined();

    void renaming();
    void renamingOntoAnExistingName();
    void renamingNothing();
    void renamingOverATombstone_data();
    void renamingOverATombstone();
    void removing();
    void removingATombstone_data();
    void removingATombstone();

    void info();
    void infoOfNothing();
    void namesOfADirectory();
    void trashedFilesOlderThan();
    void filesByMaskAndStatus();

    void conditionalStatus();
    void conditionalError();

    void marks();
    void marksGoWithARecording();
    void marksFollowTheRow();
    void marksNeedAnUpToDateRow();

    void oddNames_data();
    void oddNames();
    void bigSizes();

private:
    VornSyncDatabase& db() { return m_fixture->database; }
    int id() const { return m_fixture->directoryId; }
    QVariantMap row(const QString& fileName) { return m_fixture->row(fileName); }

    std::unique_ptr<SyncDatabaseFixture> m_fixture;
};

void TestSyncDatabaseFiles::init()
{
    m_fixture = std::make_unique<SyncDatabaseFixture>();
    QVERIFY(m_fixture->isReady);
    QVERIFY(m_fixture->directoryId > 0);
}

// --- Status ---------------------------------------------------------------------------------------------

void TestSyncDatabaseFiles::statusOfNoRow()
{
    bool found = true;
    QCOMPARE(db().getFileStatus(id(), "x"_s, &found), int(ceSfsUnknown));
    QVERIFY(!found);
    QCOMPARE(db().getFileStatus(id(), "x"_s), int(ceSfsUnknown));
    QCOMPARE(db().getFileErrorCode(id(), "x"_s), int(ceSecNone));

    QVERIFY(m_fixture->insert("x"_s, 148, {{"error_code"_s, 6}}));
    QCOMPARE(db().getFileStatus(id(), "x"_s, &found), 148);
    QVERIFY(found);
    QCOMPARE(db().getFileErrorCode(id(), "x"_s), 6);
    QCOMPARE(db().getFileStatus(id() + 1, "x"_s, &found), int(ceSfsUnknown));
    QCOMPARE(db().getFileStatus(id(), "X"_s, &found), int(ceSfsUnknown));
}

void TestSyncDatabaseFiles::statusOfTwoRows()
{
    QVERIFY(m_fixture->dropKey());
    QVERIFY(m_fixture->insert("x"_s, 17, {{"error_code"_s, 3}}));
    QVERIFY(m_fixture->insert("x"_s, 18, {{"error_code"_s, 3}}));
    bool found = true;
    QCOMPARE(db().getFileStatus(id(), "x"_s, &found), int(ceSfsUnknown));
    QVERIFY(!found);
    QCOMPARE(db().getFileErrorCode(id(), "x"_s), 0);
}

void TestSyncDatabaseFiles::newRowByStatus()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    QVERIFY(db().setFileStatus(id(), "x"_s, ceSfsPendingSync, ceSecCopyFailed));
    const QVariantMap stored = row("x"_s);
    QCOMPARE(stored.value("status"_s).toInt(), 18);
    QCOMPARE(stored.value("error_code"_s).toInt(), 0);
    QVERIFY(isRecent(stored.value("status_changed_at"_s), before));
    for (const QString& column : {"size"_s, "local_lmd"_s, "distant_lmd"_s, "trashed_date"_s})
        QVERIFY2(stored.value(column).isNull(), qPrintable(column));
}

void TestSyncDatabaseFiles::errorKeepsTheBase_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("stored");
    QTest::newRow("syncing") << 20 << 148;
    QTest::newRow("up to date") << 17 << 145;
    QTest::newRow("trashed") << 33 << 161;
    QTest::newRow("in error already") << 148 << 148;
}

void TestSyncDatabaseFiles::errorKeepsTheBase()
{
    QFETCH(int, status);
    QFETCH(int, stored);
    QVERIFY(m_fixture->insert("x"_s, status, {{"trashed_date"_s, "2020"_s}, {"size"_s, 5}}));
    TraceCapture capture;
    const QDateTime before = QDateTime::currentDateTimeUtc();
    QVERIFY(db().setFileStatus(id(), "x"_s, ceSfsError, ceSecCopyFailed));
    QCOMPARE(capture.warnings(), QStringList());
    QCOMPARE(row("x"_s).value("status"_s).toInt(), stored);
    QCOMPARE(row("x"_s).value("error_code"_s).toInt(), 6);
    QCOMPARE(row("x"_s).value("size"_s).toInt(), 5);
    QVERIFY(row("x"_s).value("trashed_date"_s).isNull());
    QVERIFY(isRecent(row("x"_s).value("status_changed_at"_s), before));
}

void TestSyncDatabaseFiles::errorFromUnknownWarns()
{
    for (int status : {0, 128}) {
        const QString name = "file %1 \"x\""_s.arg(status);
        QVERIFY(m_fixture->insert(name, status));
        TraceCapture capture;
        QVERIFY(db().setFileStatus(id(), name, ceSfsError, ceSecCopyFailed));
        QString quoted;
        QDebug(&quoted) << name;
        QCOMPARE(capture.warnings(), QStringList{"VornSyncDatabase::setFileStatus: file %1in dir %2 "_s.arg(
                                                     quoted, QString::number(id())) +
                                                 kUnknownBase});
        QCOMPARE(row(name).value("status"_s).toInt(), 128);
    }
}

void TestSyncDatabaseFiles::errorOfNoRow()
{
    TraceCapture capture;
    QVERIFY(db().setFileStatus(id(), "x"_s, ceSfsError, ceSecCopyFailed));
    QCOMPARE(capture.warnings().size(), 1);
    QVERIFY(capture.warnings().first().startsWith("VornSyncDatabase::setFileStatus: file \"x\" in dir "_s));
    QCOMPARE(row("x"_s).value("status"_s).toInt(), 128);
    QCOMPARE(row("x"_s).value("error_code"_s).toInt(), 6);
}

void TestSyncDatabaseFiles::otherStatusDropsTheErrorCode()
{
    QVERIFY(m_fixture->insert("x"_s, 148, {{"error_code"_s, 6}, {"trashed_date"_s, "2020"_s}}));
    QVERIFY(db().setFileStatus(id(), "x"_s, ceSfsUpToDate, ceSecRenameFailed));
    QCOMPARE(row("x"_s).value("status"_s).toInt(), 17);
    QCOMPARE(row("x"_s).value("error_code"_s).toInt(), 0);
    QVERIFY(row("x"_s).value("trashed_date"_s).isNull());
}

void TestSyncDatabaseFiles::trashStatusKeepsTheDate()
{
    for (int status : {33, 40}) {
        const QString name = QString::number(status);
        QVERIFY(
            m_fixture->insert(name, 17, {{"trashed_date"_s, "2020-01-01T00:00:00Z"_s}, {"error_code"_s, 3}}));
        QVERIFY(db().setFileStatus(id(), name, status, ceSecNone));
        QCOMPARE(row(name).value("status"_s).toInt(), status);
        QCOMPARE(row(name).value("error_code"_s).toInt(), 0);
        QCOMPARE(row(name).value("trashed_date"_s).toString(), "2020-01-01T00:00:00Z"_s);

        const QDateTime before = QDateTime::currentDateTimeUtc();
        QVERIFY(db().setFileTrashOrDeleted(id(), name, status));
        QVERIFY(isRecent(row(name).value("trashed_date"_s), before));
    }
}

void TestSyncDatabaseFiles::unknownDirectoryIsRefused()
{
    QVERIFY(!db().setFileStatus(99, "x"_s, ceSfsPendingSync, 0));
    QCOMPARE(m_fixture->errors.size(), 1);
    QVERIFY(m_fixture->errorTexts().first().contains("FOREIGN KEY constraint failed"_s));
    QCOMPARE(m_fixture->rowCount(), 0);
}

void TestSyncDatabaseFiles::clearingAnError_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("expected");
    QTest::addColumn<bool>("isDateKept");
    QTest::newRow("failed copy") << 148 << 20 << false;
    QTest::newRow("no base") << 128 << 0 << false;
    QTest::newRow("trashed") << 161 << 33 << true;
}

void TestSyncDatabaseFiles::clearingAnError()
{
    QFETCH(int, status);
    QFETCH(int, expected);
    QFETCH(bool, isDateKept);
    QVERIFY(m_fixture->insert("x"_s, status, {{"error_code"_s, 6}, {"trashed_date"_s, "2020"_s}}));
    QVERIFY(db().clearFileError(id(), "x"_s));
    QCOMPARE(row("x"_s).value("status"_s).toInt(), expected);
    QCOMPARE(row("x"_s).value("error_code"_s).toInt(), 0);
    QCOMPARE(row("x"_s).value("trashed_date"_s).isNull(), !isDateKept);

    // Nothing to clear, nothing written.
    QVERIFY(m_fixture->insert("fine"_s, 17, {{"status_changed_at"_s, "then"_s}, {"error_code"_s, 4}}));
    QVERIFY(db().clearFileError(id(), "fine"_s));
    QCOMPARE(row("fine"_s).value("status_changed_at"_s).toString(), "then"_s);
    QCOMPARE(row("fine"_s).value("error_code"_s).toInt(), 4);
    QVERIFY(db().clearFileError(id(), "none"_s));
    QVERIFY(row("none"_s).isEmpty());
}

void TestSyncDatabaseFiles::pendingToProcess_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("expected");
    QTest::addColumn<QString>("line");
    QTest::newRow("sync") << 18 << 20 << "Updated status from ceSfsPendingSync to ceSfsSyncing"_s;
    QTest::newRow("delete") << 34 << 36 << "Updated status from ceSfsPendingDelete to ceSfsDeleting"_s;
    QTest::newRow("restore") << 66 << 68 << "Updated status from ceSfsPendingRestore to ceSfsRestoring"_s;
    const QString refused = "FAIL because current status is not pending = "_s;
    QTest::newRow("up to date") << 17 << 17 << refused + "ceSfsUpToDate"_s;
    QTest::newRow("in progress") << 20 << 20 << refused + "ceSfsSyncing"_s;
    QTest::newRow("error") << 148 << 148 << refused;
    QTest::newRow("pending in error") << 146 << 146 << refused;
}

void TestSyncDatabaseFiles::pendingToProcess()
{
    QFETCH(int, status);
    QFETCH(int, expected);
    QFETCH(QString, line);
    QVERIFY(m_fixture->insert("x"_s, status, {{"error_code"_s, 6}}));
    const QVariantMap before = row("x"_s);
    TraceCapture capture;
    QCOMPARE(db().updateStatusToProcess(id(), "x"_s), status != expected);
    QCOMPARE(row("x"_s).value("status"_s).toInt(), expected);
    if (status == expected)
        QCOMPARE(row("x"_s), before);
    else
        QCOMPARE(row("x"_s).value("error_code"_s).toInt(), 0);
    if (traceLinesBuiltIn())
        QCOMPARE(capture.debugLines(), QStringList{"[-- SYNC --]: DB: updateStatusToProcess - "_s + line});
}

// --- Trash ----------------------------------------------------------------------------------------------

void TestSyncDatabaseFiles::trashAndTombstone()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    QVERIFY(m_fixture->insert("trashed"_s, 36));
    QVERIFY(db().setFileTrashed(id(), "trashed"_s));
    QCOMPARE(row("trashed"_s).value("status"_s).toInt(), 33);
    QVERIFY(isRecent(row("trashed"_s).value("trashed_date"_s), before));
    QVERIFY(isRecent(row("trashed"_s).value("status_changed_at"_s), before));

    // A tombstone may be set for a file without a row.
    QVERIFY(db().setFileDeleted(id(), "gone"_s));
    QCOMPARE(row("gone"_s).value("status"_s).toInt(), 40);
    QVERIFY(isRecent(row("gone"_s).value("trashed_date"_s), before));
}

void TestSyncDatabaseFiles::trashTraces()
{
    if (!traceLinesBuiltIn())
        QSKIP("Built without trace lines");
    TraceCapture capture;
    QVERIFY(db().setFileTrashed(id(), "a %3 %4"_s));
    QVERIFY(!db().setFileDeleted(99, "b"_s));
    QCOMPARE(
        capture.debugLines(),
        (QStringList{
            "[-- SYNC --]: DB: setFileTrashOrDeleted - file: 'a %3 %4' in directory "_s +
                QString::number(id()) + " -> ceSfsTrashed done"_s,
            "[-- SYNC --]: DB: setFileTrashOrDeleted - file: 'b' in directory 99 -> ceSfsDeleted FAIL"_s}));
}

void TestSyncDatabaseFiles::trashIsOneTransaction()
{
    QVERIFY(m_fixture->insert("x"_s, 36));
    QVERIFY(m_fixture->raw.exec("CREATE TRIGGER refuse BEFORE UPDATE OF trashed_date ON file_tracking WHEN "
                                "NEW.trashed_date IS NOT NULL BEGIN SELECT RAISE(ABORT, 'refused'); END"_s));
    QVERIFY(!db().setFileTrashed(id(), "x"_s));
    QCOMPARE(row("x"_s).value("status"_s).toInt(), 36);
    QCOMPARE(m_fixture->errors.size(), 1);
}

void TestSyncDatabaseFiles::untrashing()
{
    QVERIFY(m_fixture->insert("x"_s, 68, {{"trashed_date"_s, "2020"_s}, {"error_code"_s, 1}}));
    QVERIFY(db().unmarkFileTrashed(id(), "x"_s));
    QCOMPARE(row("x"_s).value("status"_s).toInt(), 17);
    QCOMPARE(row("x"_s).value("error_code"_s).toInt(), 0);
    QVERIFY(row("x"_s).value("trashed_date"_s).isNull());
    QVERIFY(!db().unmarkFileTrashed(99, "x"_s));
}

// --- Recording ------------------------------------------------------------------------------------------

void TestSyncDatabaseFiles::recordingANewFile()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    bool existed = true;
    QVERIFY(db().recordFileSync(id(), "x"_s, 5, utc(1000000), utc(2000000), &existed));
    QVERIFY(!existed);
    QVariantMap stored = row("x"_s);
    QVERIFY(isRecent(stored.take("status_changed_at"_s), before));
    QVERIFY(stored.take("trashed_date"_s).isNull());
    QCOMPARE(stored, (QVariantMap{{"file_name"_s, "x"_s},
                                  {"directories_id"_s, qlonglong(id())},
                                  {"size"_s, 5LL},
                                  {"local_lmd"_s, "1970-01-12T13:46:40Z"_s},
                                  {"distant_lmd"_s, "1970-01-24T03:33:20Z"_s},
                                  {"status"_s, 17LL},
                                  {"error_code"_s, 0LL}}));
}

void TestSyncDatabaseFiles::recordingAKnownFile()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    QVERIFY(
        m_fixture->insert("x"_s, 148, {{"size"_s, 1}, {"error_code"_s, 6}, {"trashed_date"_s, "2020"_s}}));
    bool existed = false;
    QVERIFY(db().recordFileSync(id(), "x"_s, 5, utc(1000000), utc(2000000), &existed));
    QVERIFY(existed);
    const QVariantMap stored = row("x"_s);
    QCOMPARE(stored.value("size"_s).toInt(), 5);
    QCOMPARE(stored.value("local_lmd"_s).toString(), "1970-01-12T13:46:40Z"_s);
    QCOMPARE(stored.value("distant_lmd"_s).toString(), "1970-01-24T03:33:20Z"_s);
    QCOMPARE(stored.value("status"_s).toInt(), 17);
    QCOMPARE(stored.value("error_code"_s).toInt(), 0);
    QVERIFY(stored.value("trashed_date"_s).isNull());
    QVERIFY(isRecent(stored.value("status_changed_at"_s), before));
    QCOMPARE(m_fixture->rowCount(), 1);
    QVERIFY(db().recordFileSync(id(), "x"_s, 6, utc(1000000), utc(2000000)));
    QCOMPARE(row("x"_s).value("size"_s).toInt(), 6);
}

void TestSyncDatabaseFiles::recordingTakesTimesAsGiven()
{
    const QDateTime local(QDate(2020, 1, 2), QTime(3, 4, 5), Qt::LocalTime);
    const QDateTime offset(QDate(2020, 1, 2), QTime(3, 4, 5, 678), Qt::OffsetFromUTC, 3600);
    QVERIFY(db().recordFileSync(id(), "x"_s, 5, local, offset));
    QCOMPARE(row("x"_s).value("local_lmd"_s).toString(), "2020-01-02T03:04:05"_s);
    QCOMPARE(row("x"_s).value("distant_lmd"_s).toString(), "2020-01-02T03:04:05+01:00"_s);
}

void TestSyncDatabaseFiles::recordingADuplicatedKey()
{
    QVERIFY(m_fixture->dropKey());
    QVERIFY(m_fixture->insert("x"_s, 17, {{"size"_s, 1}}));
    QVERIFY(m_fixture->insert("x"_s, 17, {{"size"_s, 2}}));
    TraceCapture capture;
    bool existed = true;
    QVERIFY(!db().recordFileSync(id(), "x"_s, 5, utc(1), utc(2), &existed));
    QVERIFY(!existed);
    QCOMPARE(
        m_fixture->raw.value("SELECT group_concat(size) FROM file_tracking WHERE status = 17"_s).toString(),
        "1,2"_s);
    // No row is the one of the key, so the error has a row of its own.
    QCOMPARE(
        m_fixture->raw.value("SELECT COUNT(*) FROM file_tracking WHERE status = 128 AND error_code = 1"_s)
            .toInt(),
        1);
    if (traceLinesBuiltIn())
        QVERIFY(capture.contains(
            "[-- SYNC --]: DB: recordFileSync - ERROR: There are more than one record in the "
            "database for file: 'x' in directory "_s +
            QString::number(id())));
}

void TestSyncDatabaseFiles::recordingInNoDirectory()
{
    TraceCapture capture;
    QVERIFY(!db().recordFileSync(-1, "x"_s, 5, utc(1), utc(2)));
    QCOMPARE(m_fixture->rowCount(), 0);
    QVERIFY(!m_fixture->errorTexts().filter("FOREIGN KEY constraint failed"_s).isEmpty());
    QCOMPARE(capture.warnings().size(), 1);
}

void TestSyncDatabaseFiles::recordingThatFails()
{
    QVERIFY(m_fixture->insert("x"_s, 20, {{"size"_s, 1}}));
    QVERIFY(m_fixture->raw.exec("CREATE TRIGGER refuse BEFORE UPDATE OF size ON file_tracking BEGIN "
                                "SELECT RAISE(ABORT, 'refused'); END"_s));
    QVERIFY(!db().recordFileSync(id(), "x"_s, 5, utc(1), utc(2)));
    QCOMPARE(row("x"_s).value("status"_s).toInt(), 148);
    QCOMPARE(row("x"_s).value("error_code"_s).toInt(), 1);
    QCOMPARE(row("x"_s).value("size"_s).toInt(), 1);
}

void TestSyncDatabaseFiles::recordingTraces()
{
    if (!traceLinesBuiltIn())
        QSKIP("Built without trace lines");
    TraceCapture capture;
    QVERIFY(db().recordFileSync(id(), "%1"_s, 5, utc(1), utc(2)));
    QVERIFY(db().recordFileSync(id(), "%1"_s, 5, utc(1), utc(2)));
    const QString place = "file: '%1' in directory "_s + QString::number(id());
    QCOMPARE(capture.linesOf("DB: "_s), (QStringList{"recordFileSync - Added "_s + place + " done"_s,
                                                     "recordFileSync - Updated "_s + place + " done"_s}));
    capture.clear();
    QVERIFY(!db().recordFileSync(99, "y"_s, 5, utc(1), utc(2)));
    QCOMPARE(capture.linesOf("DB: "_s).first(), "recordFileSync - Added file: 'y' in directory 99 FAIL"_s);
}

void TestSyncDatabaseFiles::copyRespectsTombstones_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("isRecorded");
    QTest::newRow("syncing") << 20 << true;
    QTest::newRow("unknown") << 0 << true;
    QTest::newRow("trashed") << 33 << false;
    QTest::newRow("tombstone") << 40 << false;
}

void TestSyncDatabaseFiles::copyRespectsTombstones()
{
    QFETCH(int, status);
    QFETCH(bool, isRecorded);
    QVERIFY(m_fixture->insert("x"_s, status, {{"size"_s, 1}, {"trashed_date"_s, "2020"_s}}));
    const QVariantMap before = row("x"_s);
    QVERIFY(db().recordCopy(id(), "x"_s, 5, utc(1), utc(2)));
    if (isRecorded)
        QCOMPARE(row("x"_s).value("status"_s).toInt(), 17);
    else
        QCOMPARE(row("x"_s), before);
    QVERIFY(db().recordCopy(id(), "new"_s, 5, utc(1), utc(2)));
    QCOMPARE(row("new"_s).value("size"_s).toInt(), 5);
    QVERIFY(!db().recordCopy(99, "x"_s, 5, utc(1), utc(2)));
}

void TestSyncDatabaseFiles::copyWithoutDistantTime_hasItUndefined()
{
    QVERIFY(db().recordCopy(id(), "x"_s, 5, utc(1), QDateTime()));
    QCOMPARE(row("x"_s).value("status"_s).toInt(), 17);
    QCOMPARE(row("x"_s).value("distant_lmd"_s).toString(), "UNDEFINED"_s);
}

// --- Names ----------------------------------------------------------------------------------------------

void TestSyncDatabaseFiles::renaming()
{
    QVERIFY(m_fixture->insert("old %2"_s, 145,
                              {{"size"_s, 5},
                               {"local_lmd"_s, "l"_s},
                               {"distant_lmd"_s, "d"_s},
                               {"error_code"_s, 6},
                               {"trashed_date"_s, "t"_s},
                               {"status_changed_at"_s, "c"_s}}));
    QVariantMap expected = row("old %2"_s);
    TraceCapture capture;
    QVERIFY(db().renameFile(id(), "old %2"_s, "new %1"_s));
    expected["file_name"_s] = "new %1"_s;
    QCOMPARE(row("new %1"_s), expected);
    QVERIFY(row("old %2"_s).isEmpty());
    if (traceLinesBuiltIn())
        QCOMPARE(capture.debugLines(),
                 QStringList{"[-- SYNC --]: DB: renameFile - from 'old %2' to 'new %1' in directory "_s +
                             QString::number(id()) + " done"_s});
}

void TestSyncDatabaseFiles::renamingOntoAnExistingName()
{
    for (int status : {17, 40}) {
        const QString target = QString::number(status);
        QVERIFY(db().setFileStatus(id(), "a"_s, ceSfsUpToDate, 0));
        QVERIFY(m_fixture->insert(target, status));
        TraceCapture capture;
        QVERIFY(!db().renameFile(id(), "a"_s, target));
        QCOMPARE(row("a"_s).value("status"_s).toInt(), 17);
        QCOMPARE(row(target).value("status"_s).toInt(), status);
        if (traceLinesBuiltIn())
            QCOMPARE(
                capture.debugLines(),
                QStringList{"[-- SYNC --]: DB: renameFile - FAIL: target name already exists in BD: '%1' "
                            "(dirId=%2)"_s.arg(target, QString::number(id()))});
    }
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseFiles::renamingNothing()
{
    QVERIFY(db().renameFile(id(), "none"_s, "new"_s));
    QCOMPARE(m_fixture->rowCount(), 0);
}

void TestSyncDatabaseFiles::renamingOverATombstone_data()
{
    QTest::addColumn<int>("target");
    QTest::addColumn<bool>("isRenamed");
    QTest::newRow("tombstone") << 40 << true;
    QTest::newRow("trashed") << 33 << true;
    QTest::newRow("up to date") << 17 << false;
    QTest::newRow("unknown") << 0 << false;
    QTest::newRow("tombstone in error") << 168 << false;
    QTest::newRow("none") << -1 << true;
}

void TestSyncDatabaseFiles::renamingOverATombstone()
{
    QFETCH(int, target);
    QFETCH(bool, isRenamed);
    QVERIFY(m_fixture->insert("old"_s, 17, {{"size"_s, 5}}));
    if (target >= 0)
        QVERIFY(m_fixture->insert("new"_s, target, {{"size"_s, 6}}));
    QCOMPARE(db().renameFileOverTombstone(id(), "old"_s, "new"_s), isRenamed);
    QCOMPARE(row("old"_s).isEmpty(), isRenamed);
    QCOMPARE(row("new"_s).value("size"_s).toInt(), isRenamed ? 5 : 6);

    // A failure leaves the tombstone where it is.
    QVERIFY(m_fixture->insert("other"_s, 17));
    QVERIFY(m_fixture->insert("grave"_s, 40));
    QVERIFY(m_fixture->raw.exec("CREATE TRIGGER refuse BEFORE UPDATE OF file_name ON file_tracking BEGIN "
                                "SELECT RAISE(ABORT, 'refused'); END"_s));
    QVERIFY(!db().renameFileOverTombstone(id(), "other"_s, "grave"_s));
    QCOMPARE(row("grave"_s).value("status"_s).toInt(), 40);
    QCOMPARE(row("other"_s).value("status"_s).toInt(), 17);
}

void TestSyncDatabaseFiles::removing()
{
    QVERIFY(m_fixture->insert("x"_s, 17));
    QVERIFY(m_fixture->insert("y"_s, 17));
    QVERIFY(db().removeFileSync(id(), "x"_s));
    QVERIFY(row("x"_s).isEmpty());
    QVERIFY(!row("y"_s).isEmpty());
    QVERIFY(db().removeFileSync(id(), "none"_s));
}

void TestSyncDatabaseFiles::removingATombstone_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("isRemoved");
    QTest::newRow("tombstone") << 40 << true;
    QTest::newRow("trashed") << 33 << true;
    QTest::newRow("sent again") << 18 << false;
    QTest::newRow("up to date") << 17 << false;
}

void TestSyncDatabaseFiles::removingATombstone()
{
    QFETCH(int, status);
    QFETCH(bool, isRemoved);
    QVERIFY(m_fixture->insert("x"_s, status));
    QVERIFY(db().removeTombstone(id(), "x"_s));
    QCOMPARE(row("x"_s).isEmpty(), isRemoved);
    QVERIFY(db().removeTombstone(id(), "none"_s));
}

// --- Reading --------------------------------------------------------------------------------------------

void TestSyncDatabaseFiles::info()
{
    QVERIFY(m_fixture->insert("x"_s, 145, {{"size"_s, 6000000000LL}, {"local_lmd"_s, "l"_s}}));
    QVariantMap info;
    QVERIFY(db().getFileInfo(info, "x"_s, "/local"_s, VornSyncDatabase::LocalPath));
    QCOMPARE(info, (QVariantMap{{"directoryId"_s, id()},
                                {"fileName"_s, "x"_s},
                                {"fileSize"_s, 6000000000LL},
                                {"localLmd"_s, "l"_s},
                                {"distantLmd"_s, QVariant()},
                                {"status"_s, 145LL},
                                {"deletionDate"_s, QVariant()}}));
    QVERIFY(!info.value("distantLmd"_s).isValid());
    info.clear();
    QVERIFY(db().getFileInfo(info, "x"_s, "alias"_s, VornSyncDatabase::AliasName));
    QVERIFY(db().getFileInfo(info, "x"_s, "/distant"_s, VornSyncDatabase::DistantPath));
}

void TestSyncDatabaseFiles::infoOfNothing()
{
    QVariantMap info;
    QVERIFY(!db().getFileInfo(info, "x"_s, "/nowhere"_s, VornSyncDatabase::LocalPath));
    QVERIFY(!db().getFileInfo(info, "x"_s, "/local"_s, VornSyncDatabase::LocalPath));
    QVERIFY(m_fixture->dropKey());
    QVERIFY(m_fixture->insert("x"_s, 17));
    QVERIFY(m_fixture->insert("x"_s, 17));
    QVERIFY(!db().getFileInfo(info, "x"_s, "/local"_s, VornSyncDatabase::LocalPath));
    QVERIFY(info.isEmpty());
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseFiles::namesOfADirectory()
{
    const int other = db().addDirectory("b"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    QVERIFY(m_fixture->insert("fine"_s, 17));
    QVERIFY(m_fixture->insert("trashed"_s, 33));
    QVERIFY(m_fixture->insert("gone"_s, 40));
    QVERIFY(m_fixture->insert("gone in error"_s, 168));
    QVERIFY(db().setFileStatus(other, "elsewhere"_s, 17, 0));
    QCOMPARE(db().getActiveFileNames(id()), (QSet<QString>{"fine"_s, "gone in error"_s}));
    QCOMPARE(db().getFileNamesByStatus(id(), 33), QSet<QString>{"trashed"_s});
    QCOMPARE(db().getFileNamesByStatus(id(), 20), QSet<QString>());
    QCOMPARE(db().getActiveFileNames(99), QSet<QString>());
}

void TestSyncDatabaseFiles::trashedFilesOlderThan()
{
    const QDateTime cutoff(QDate(2020, 1, 2), QTime(0, 0), Qt::UTC);
    QVERIFY(m_fixture->insert("old"_s, 33, {{"trashed_date"_s, "2020-01-01T23:59:59Z"_s}}));
    QVERIFY(m_fixture->insert("old grave"_s, 40, {{"trashed_date"_s, "2019-01-01T00:00:00Z"_s}}));
    QVERIFY(m_fixture->insert("exactly"_s, 33, {{"trashed_date"_s, "2020-01-02T00:00:00Z"_s}}));
    QVERIFY(m_fixture->insert("young"_s, 33, {{"trashed_date"_s, "2020-01-03T00:00:00Z"_s}}));
    QVERIFY(m_fixture->insert("no date"_s, 33));
    QVERIFY(m_fixture->insert("not trashed"_s, 17, {{"trashed_date"_s, "2019-01-01T00:00:00Z"_s}}));
    QStringList names = db().getTrashedFilesOlderThan(id(), cutoff);
    names.sort();
    QCOMPARE(names, (QStringList{"old"_s, "old grave"_s}));
}

void TestSyncDatabaseFiles::filesByMaskAndStatus()
{
    QVERIFY(m_fixture->insert("failed"_s, 148, {{"error_code"_s, 6}}));
    QVERIFY(m_fixture->insert("fine"_s, 17, {{"size"_s, 5}, {"distant_lmd"_s, "d"_s}}));
    QCOMPARE(db().getFilesByStatusMask(id(), 128),
             (QList<QVariantMap>{{{"fileName"_s, "failed"_s}, {"status"_s, 148LL}}}));
    QCOMPARE(db().getFilesByStatusMask(id(), 16).size(), 2);
    QCOMPARE(db().getFilesByStatusMask(id(), 64).size(), 0);
    QCOMPARE(db().getFilesByStatus(id(), 17),
             (QList<QVariantMap>{{{"fileName"_s, "fine"_s}, {"fileSize"_s, 5LL}, {"distantLmd"_s, "d"_s}}}));
    QCOMPARE(db().getFilesByStatus(id(), 18).size(), 0);
}

// --- If the row still is as it was ----------------------------------------------------------------------

void TestSyncDatabaseFiles::conditionalStatus()
{
    QVERIFY(m_fixture->insert("x"_s, 17, {{"size"_s, 5}}));
    QVERIFY(db().setFileStatusIf(id(), "x"_s, ceSfsUpToDate, ceSfsPendingSync));
    QCOMPARE(row("x"_s).value("status"_s).toInt(), 18);
    const QVariantMap before = row("x"_s);
    QVERIFY(!db().setFileStatusIf(id(), "x"_s, ceSfsUpToDate, ceSfsUnknown));
    QCOMPARE(row("x"_s), before);
    QVERIFY(db().setFileStatusIf(id(), "new"_s, ceSfsUnknown, ceSfsPendingSync));
    QCOMPARE(row("new"_s).value("status"_s).toInt(), 18);
    QVERIFY(!db().setFileStatusIf(id(), "none"_s, ceSfsUpToDate, ceSfsPendingSync));
    QVERIFY(row("none"_s).isEmpty());
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseFiles::conditionalError()
{
    QVERIFY(m_fixture->insert("x"_s, 17));
    QVERIFY(db().setFileDeleted(id(), "x"_s));
    const QVariantMap tombstone = row("x"_s);
    QVERIFY(!db().setFileErrorIf(id(), "x"_s, ceSfsUpToDate, ceSecLocalFileMissing));
    QCOMPARE(row("x"_s), tombstone);

    QVERIFY(m_fixture->insert("y"_s, 17));
    QVERIFY(db().setFileErrorIf(id(), "y"_s, ceSfsUpToDate, ceSecLocalFileMissing));
    QCOMPARE(row("y"_s).value("status"_s).toInt(), 145);
    QCOMPARE(row("y"_s).value("error_code"_s).toInt(), 2);

    QVERIFY(db().setFileErrorIf(id(), "new"_s, ceSfsUnknown, ceSecTaskCreationFailed));
    QCOMPARE(row("new"_s).value("status"_s).toInt(), 128);
    QCOMPARE(row("new"_s).value("error_code"_s).toInt(), 12);
}

// --- Marks of a newer distant copy ----------------------------------------------------------------------

void TestSyncDatabaseFiles::marks()
{
    QVERIFY(db().recordFileSync(id(), "x"_s, 100, utc(1000), utc(1000)));
    QCOMPARE(m_fixture->raw.value("SELECT COUNT(*) FROM sqlite_master WHERE name = 'distant_newer_marks'"_s)
                 .toInt(),
             0);
    QVERIFY(db().recordDistantGrown(id(), "x"_s, 200, utc(1000), utc(5000), 100));
    QCOMPARE(row("x"_s).value("size"_s).toInt(), 200);
    QCOMPARE(row("x"_s).value("distant_lmd"_s).toString(), utcText(5000));
    QCOMPARE(row("x"_s).value("status"_s).toInt(), 17);
    QCOMPARE(m_fixture->raw.rows("SELECT * FROM distant_newer_marks"_s),
             (QList<QVariantMap>{{{"file_name"_s, "x"_s},
                                  {"directories_id"_s, qlonglong(id())},
                                  {"local_size"_s, 100LL},
                                  {"local_lmd"_s, utcText(1000)}}}));

    QVERIFY(db().recordFileSync(id(), "y"_s, 7, utc(1000), utc(1000)));
    QVector<VornSyncFileRow> rows;
    QVERIFY(db().readDirectoryRows(id(), into(rows)));
    QCOMPARE(rows.size(), 2);
    for (const VornSyncFileRow& read : qAsConst(rows)) {
        QCOMPARE(read.isDistantNewer, read.fileName == "x"_s);
        QCOMPARE(read.markedLocalSize, read.fileName == "x"_s ? 100 : 0);
        QCOMPARE(read.markedLocalLmdSecs, read.fileName == "x"_s ? 1000 : 0);
    }
    VornSyncFileRow one;
    bool found = false;
    QVERIFY(db().readFileRow(id(), "x"_s, one, found));
    QVERIFY(found && one.isDistantNewer);

    // Grown once more: one mark, the newest.
    QVERIFY(db().recordDistantGrown(id(), "x"_s, 300, utc(1000), utc(6000), 101));
    QCOMPARE(m_fixture->raw.value("SELECT group_concat(local_size) FROM distant_newer_marks"_s).toString(),
             "101"_s);
    QVERIFY(db().recordFileSync(id(), "x"_s, 300, utc(1000), utc(6000)));
    QVERIFY(db().readFileRow(id(), "x"_s, one, found));
    QVERIFY(found && !one.isDistantNewer);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseFiles::marksGoWithARecording()
{
    for (bool isCopy : {false, true}) {
        QVERIFY(db().recordFileSync(id(), "x"_s, 100, utc(1000), utc(1000)));
        QVERIFY(db().recordDistantGrown(id(), "x"_s, 200, utc(1000), utc(5000), 100));
        QVERIFY(isCopy ? db().recordCopy(id(), "x"_s, 100, utc(1000), utc(1000))
                       : db().recordFileSync(id(), "x"_s, 100, utc(1000), utc(1000)));
        QCOMPARE(m_fixture->raw.value("SELECT COUNT(*) FROM distant_newer_marks"_s).toInt(), 0);
    }
}

void TestSyncDatabaseFiles::marksFollowTheRow()
{
    const auto marked = [this] {
        return m_fixture->raw.value("SELECT group_concat(file_name) FROM distant_newer_marks"_s).toString();
    };
    QVERIFY(db().recordFileSync(id(), "x"_s, 100, utc(1000), utc(1000)));
    QVERIFY(db().recordDistantGrown(id(), "x"_s, 200, utc(1000), utc(5000), 100));
    QVERIFY(db().renameFile(id(), "x"_s, "y"_s));
    QCOMPARE(marked(), "y"_s);
    QVERIFY(db().setFileDeleted(id(), "z"_s));
    QVERIFY(db().renameFileOverTombstone(id(), "y"_s, "z"_s));
    QCOMPARE(marked(), "z"_s);
    QVERIFY(db().removeFileSync(id(), "z"_s));
    QCOMPARE(marked(), QString());

    QVERIFY(db().recordFileSync(id(), "x"_s, 100, utc(1000), utc(1000)));
    QVERIFY(db().recordDistantGrown(id(), "x"_s, 200, utc(1000), utc(5000), 100));
    QVERIFY(db().setFileDeleted(id(), "x"_s));
    QVERIFY(db().removeTombstone(id(), "x"_s));
    QCOMPARE(marked(), QString());
}

void TestSyncDatabaseFiles::marksNeedAnUpToDateRow()
{
    for (int status : {18, 40, 145}) {
        const QString name = QString::number(status);
        QVERIFY(m_fixture->insert(name, status, {{"size"_s, 5}}));
        const QVariantMap before = row(name);
        QVERIFY(!db().recordDistantGrown(id(), name, 200, utc(1000), utc(5000), 100));
        QCOMPARE(row(name), before);
    }
    QVERIFY(!db().recordDistantGrown(id(), "none"_s, 200, utc(1000), utc(5000), 100));
    QVERIFY(row("none"_s).isEmpty());
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

// --- Any name, any size ---------------------------------------------------------------------------------

void TestSyncDatabaseFiles::oddNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("place markers") << "%1 %2 100%"_s;
    QTest::newRow("quotes") << "it's \"quoted\"; --"_s;
    QTest::newRow("newlines") << "a\nb\r"_s;
    QTest::newRow("non-ASCII") << "Ünïcödé 文件 \U0001F4C4"_s;
    QTest::newRow("decomposed") << "e\u0301"_s;
    QTest::newRow("dashes") << "--help"_s;
    QTest::newRow("wildcards") << "*?[a]_%"_s;
    QTest::newRow("long") << QString(255, QLatin1Char('x'));
}

void TestSyncDatabaseFiles::oddNames()
{
    QFETCH(QString, name);
    TraceCapture capture;
    QVERIFY(db().setFileStatus(id(), name, ceSfsPendingSync, 0));
    QVERIFY(db().updateStatusToProcess(id(), name));
    QVERIFY(db().recordFileSync(id(), name, 5, utc(1), utc(2)));
    QCOMPARE(db().getFileStatus(id(), name), 17);
    QVERIFY(db().recordDistantGrown(id(), name, 6, utc(1), utc(2), 5));
    QCOMPARE(db().getActiveFileNames(id()), QSet<QString>{name});
    QVector<VornSyncFileRow> rows;
    QVERIFY(db().readDirectoryRows(id(), into(rows)));
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.first().fileName, name);
    QVERIFY(rows.first().isDistantNewer);
    QVERIFY(db().renameFile(id(), name, name + "2"_s));
    QVERIFY(db().setFileErrorIf(id(), name + "2"_s, ceSfsUpToDate, ceSecCopyFailed));
    QCOMPARE(db().getErrorFiles().first().value("fileName"_s).toString(), name + "2"_s);
    QVERIFY(db().removeFileSync(id(), name + "2"_s));
    QCOMPARE(m_fixture->rowCount(), 0);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
    if (traceLinesBuiltIn())
        QVERIFY(capture.contains("Added file: '%1'"_s.arg(name)) ||
                capture.contains("Updated file: '"_s + name));
}

void TestSyncDatabaseFiles::bigSizes()
{
    const qint64 size = 9000000000000000000LL;
    QVERIFY(db().recordFileSync(id(), "x"_s, size, utc(1), utc(2)));
    QCOMPARE(row("x"_s).value("size"_s).toLongLong(), size);
    VornSyncFileRow read;
    bool found = false;
    QVERIFY(db().readFileRow(id(), "x"_s, read, found));
    QCOMPARE(read.size, size);
    QCOMPARE(db().getFilesByStatus(id(), 17).first().value("fileSize"_s).toLongLong(), size);
    QVERIFY(db().recordDistantGrown(id(), "x"_s, size + 2, utc(1), utc(2), size + 1));
    QVERIFY(db().readFileRow(id(), "x"_s, read, found));
    QCOMPARE(read.markedLocalSize, size + 1);
}

QTEST_GUILESS_MAIN(TestSyncDatabaseFiles)

#include "test_sync_database_files.moc"

#include "engine_fixture.h"
#include "mounts.h"
#include "sync_database_fixture.h"
#include "vorn_sync_exclusions.h"
#include "vorn_sync_progress_notes.h"
#include "vorn_sync_verify_rounds.h"
#include "wait.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QThread>

using namespace VornSyncTest;

namespace {

constexpr int kIntervalMs = 1000;
constexpr int kSilentAtMostMs = 2000; // far less than a write waits for another one

qint64 nowSecs()
{
    return QDateTime::currentSecsSinceEpoch();
}

// The notes on a file; empty when there are none.
QVariantMap waitOf(RawDatabase& raw, const QString& fileName)
{
    return raw.rows("SELECT * FROM file_waits WHERE file_name = ?"_s, {fileName}).value(0);
}

QString waiting(RawDatabase& raw)
{
    return raw
        .value("SELECT group_concat(n) FROM (SELECT file_name AS n FROM file_waits ORDER BY file_name)"_s)
        .toString();
}

QString deferred(RawDatabase& raw)
{
    return raw
        .value("SELECT group_concat(n) FROM (SELECT file_name || ':' || times AS n FROM file_deferrals ORDER "
               "BY file_name)"_s)
        .toString();
}

QVariantMap pairOf(RawDatabase& raw, int directoryId)
{
    return raw.rows("SELECT * FROM pair_progress WHERE directories_id = ?"_s, {directoryId}).value(0);
}

qint64 number(const QVariantMap& row, const QString& column)
{
    return row.value(column).toLongLong();
}

// Rows at no rest without a note, and notes without such a row.
int mismatches(RawDatabase& raw)
{
    return raw
        .value("SELECT (SELECT COUNT(*) FROM file_tracking f WHERE status NOT IN (17, 33, 40) AND NOT EXISTS "
               "(SELECT 1 FROM file_waits w WHERE w.directories_id = f.directories_id AND w.file_name = "
               "f.file_name)) + (SELECT COUNT(*) FROM file_waits w WHERE NOT EXISTS (SELECT 1 FROM "
               "file_tracking f WHERE w.directories_id = f.directories_id AND w.file_name = f.file_name AND "
               "status NOT IN (17, 33, 40)))"_s)
        .toInt();
}

VornSyncPassNote passNote(int directoryId)
{
    VornSyncPassNote note;
    note.directoryId = directoryId;
    note.syncIntervalMs = kIntervalMs;
    note.isLocalListed = note.isDistantListed = true;
    return note;
}

} // namespace

// What is noted for those who ask whether a mirror comes forward, and that nothing depends on it.
class TestSyncProgressNotes : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void waitBeginsAndEnds();
    void waitSpansErrors();
    void waitFollowsTheRow();
    void replacedRow();
    void tombstoneIsNoWait_data();
    void tombstoneIsNoWait();
    void runsAreCounted();
    void rowWithoutADirectory();
    void olderFileIsFilledIn();
    void missingPartsAreMadeAgain();
    void waitsAreNotLookedForWithoutAReason();
    void droppedTriggerIsAReason_data();
    void droppedTriggerIsAReason();
    void otherShapesAreMadeAnew();
    void removedDirectory();
    void reset();

    void passIsNoted();
    void sideThatWasNotListed();
    void noteOfTheSameMoment_data();
    void noteOfTheSameMoment();
    void anotherDistantDirectory();
    void unexaminedFiles();
    void unknownDirectory();
    void rounds();
    void roundIsNoted();
    void deferrals();
    void deferralEndsWithTheCopy();

    void lockedFile();
    void readOnlyFile();
    void withoutTheTables();

    void engine_passes();
    void engine_distantGone();
    void engine_localUnlisted();
    void engine_leftAlone();
    void engine_verification();
    void engine_verificationWithoutAnswer();
    void engine_retries();
    void engine_sideCar();
    void engine_sideCarOfAFileThatGoes();
    void sideCarInAListingThatIsCutShort();
    void engine_leftOutCycles();
    void engine_lockedFileHoldsNothingUp();

private:
    VornSyncProgressNotes notes() { return VornSyncProgressNotes(m_fixture->database); }
    bool ageWait(const QString& fileName, int secs)
    {
        return m_fixture->raw.exec("UPDATE file_waits SET since = since - ? WHERE file_name = ?"_s,
                                   {secs, fileName});
    }

    std::unique_ptr<SyncDatabaseFixture> m_fixture;
};

void TestSyncProgressNotes::init()
{
    m_fixture = std::make_unique<SyncDatabaseFixture>();
    QVERIFY(m_fixture->isReady);
}

void TestSyncProgressNotes::cleanup()
{
    m_fixture.reset();
}

// --- Files that wait ------------------------------------------------------------------------------------

void TestSyncProgressNotes::waitBeginsAndEnds()
{
    const qint64 before = nowSecs();
    const int id = m_fixture->directoryId;
    QVERIFY(m_fixture->database.setFileStatus(id, "a"_s, ceSfsPendingSync, ceSecNone));
    QVariantMap wait = waitOf(m_fixture->raw, "a"_s);
    QVERIFY(number(wait, "since"_s) >= before && number(wait, "since"_s) <= nowSecs());
    QCOMPARE(number(wait, "tries"_s), 0);
    QCOMPARE(number(wait, "directories_id"_s), id);

    QVERIFY(m_fixture->database.updateStatusToProcess(id, "a"_s));
    QCOMPARE(number(waitOf(m_fixture->raw, "a"_s), "tries"_s), 1);
    QVERIFY(m_fixture->database.recordFileSync(id, "a"_s, 1, longAgo(), longAgo()));
    QCOMPARE(waiting(m_fixture->raw), QString());

    // The next wait is another one.
    QVERIFY(m_fixture->database.setFileStatus(id, "a"_s, ceSfsUnknown, ceSecNone));
    QCOMPARE(number(waitOf(m_fixture->raw, "a"_s), "tries"_s), 0);
}

// A failure, its clearing, the time-out and the next try are one wait.
void TestSyncProgressNotes::waitSpansErrors()
{
    const int id = m_fixture->directoryId;
    VornSyncDatabase& database = m_fixture->database;
    QVERIFY(database.setFileStatus(id, "a"_s, ceSfsPendingSync, ceSecNone));
    const qint64 since = number(waitOf(m_fixture->raw, "a"_s), "since"_s) - 1000;
    QVERIFY(ageWait("a"_s, 1000));
    for (int round = 1; round <= 2; ++round) {
        QVERIFY(database.updateStatusToProcess(id, "a"_s));
        QVERIFY(database.setFileStatus(id, "a"_s, ceSfsError, ceSecCopyFailed));
        QCOMPARE(number(waitOf(m_fixture->raw, "a"_s), "last_error"_s), int(ceSecCopyFailed));
        QVERIFY(database.clearFileError(id, "a"_s));
        QVERIFY(m_fixture->raw.exec("UPDATE file_tracking SET status_changed_at = '2020-01-01T00:00:00Z'"_s));
        QCOMPARE(database.cleanupStaleProcessingStates(nullptr), 1);
        QVERIFY(database.setFileStatus(id, "a"_s, ceSfsPendingSync, ceSecNone));
        const QVariantMap wait = waitOf(m_fixture->raw, "a"_s);
        QCOMPARE(number(wait, "since"_s), since);
        QCOMPARE(number(wait, "tries"_s), round);
        QCOMPARE(number(wait, "last_error"_s), int(ceSecCopyFailed));
    }
    QCOMPARE(mismatches(m_fixture->raw), 0);
}

void TestSyncProgressNotes::waitFollowsTheRow()
{
    const int id = m_fixture->directoryId;
    QVERIFY(m_fixture->database.setFileStatus(id, "a"_s, ceSfsPendingSync, ceSecNone));
    QVERIFY(m_fixture->database.setFileStatus(id, "b"_s, ceSfsUnknown, ceSecNone));
    QVERIFY(ageWait("a"_s, 1000));
    const QVariant since = waitOf(m_fixture->raw, "a"_s).value("since"_s);
    QVERIFY(m_fixture->database.initialize()); // a new start is no new wait
    QCOMPARE(waitOf(m_fixture->raw, "a"_s).value("since"_s), since);
    QVERIFY(m_fixture->database.renameFile(id, "a"_s, "new"_s));
    QCOMPARE(waiting(m_fixture->raw), "b,new"_s);
    QCOMPARE(waitOf(m_fixture->raw, "new"_s).value("since"_s), since);
    QVERIFY(m_fixture->database.removeFileSync(id, "new"_s));
    QCOMPARE(waiting(m_fixture->raw), "b"_s);
    QCOMPARE(mismatches(m_fixture->raw), 0);
}

void TestSyncProgressNotes::replacedRow()
{
    const QString replace =
        "INSERT OR REPLACE INTO file_tracking (file_name, directories_id, status) VALUES ('a', ?, ?)"_s;
    const int id = m_fixture->directoryId;
    QVERIFY(m_fixture->raw.exec(replace, {id, int(ceSfsPendingSync)}));
    QCOMPARE(waiting(m_fixture->raw), "a"_s);
    QVERIFY(m_fixture->raw.exec(replace, {id, int(ceSfsUpToDate)}));
    QCOMPARE(waiting(m_fixture->raw), QString());
    QVERIFY(m_fixture->raw.exec(replace, {id, int(ceSfsSyncing)}));
    QCOMPARE(number(waitOf(m_fixture->raw, "a"_s), "tries"_s), 1);
}

void TestSyncProgressNotes::tombstoneIsNoWait_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("trashed") << int(ceSfsTrashed);
    QTest::newRow("deleted") << int(ceSfsDeleted);
}

void TestSyncProgressNotes::tombstoneIsNoWait()
{
    QFETCH(int, status);
    const int id = m_fixture->directoryId;
    QVERIFY(
        m_fixture->insert("a"_s, ceSfsUpToDate | ceSfsError, {{"error_code"_s, int(ceSecLocalFileMissing)}}));
    QCOMPARE(number(waitOf(m_fixture->raw, "a"_s), "last_error"_s), int(ceSecLocalFileMissing));
    QVERIFY(m_fixture->database.setFileTrashOrDeleted(id, "a"_s, status));
    QCOMPARE(waiting(m_fixture->raw), QString());
}

void TestSyncProgressNotes::runsAreCounted()
{
    const int id = m_fixture->directoryId;
    QVERIFY(m_fixture->database.setFileStatus(id, "a"_s, ceSfsPendingDelete, ceSecNone));
    QVERIFY(m_fixture->database.updateStatusToProcess(id, "a"_s));
    notes().noteRetry(id, "a"_s);
    notes().noteRetry(id, "a"_s);
    QCOMPARE(number(waitOf(m_fixture->raw, "a"_s), "tries"_s), 3);
    notes().noteRetry(id, "none"_s);
    QCOMPARE(waiting(m_fixture->raw), "a"_s);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

// Old files hold such rows, and what can be done with them must not fail for a note.
void TestSyncProgressNotes::rowWithoutADirectory()
{
    constexpr int kNowhere = 77;
    QVERIFY(m_fixture->raw.execAll(
        {"PRAGMA foreign_keys = OFF"_s,
         "INSERT INTO file_tracking (file_name, directories_id, status) VALUES ('a', 77, 17)"_s}));
    QVERIFY(m_fixture->database.setFileStatus(kNowhere, "a"_s, ceSfsUnknown, ceSecNone));
    QVERIFY(m_fixture->database.setFileStatus(kNowhere, "a"_s, ceSfsPendingSync, ceSecNone));
    QVERIFY(m_fixture->database.removeFileSync(kNowhere, "a"_s));
    QCOMPARE(mismatches(m_fixture->raw), 0);
    QCOMPARE(m_fixture->raw.integrityProblems(), QString());
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

// --- Files of other versions ----------------------------------------------------------------------------

void TestSyncProgressNotes::olderFileIsFilledIn()
{
    QVERIFY(m_fixture->insert("waits"_s, ceSfsPendingSync, {{"status_changed_at"_s, utcText(1700000000)}}));
    QVERIFY(m_fixture->insert("in error"_s, ceSfsSyncing | ceSfsError, {{"error_code"_s, 6}}));
    QVERIFY(m_fixture->insert("fine"_s, ceSfsUpToDate));
    QStringList drops;
    for (const QVariantMap& row : m_fixture->raw.rows("SELECT name FROM sqlite_master WHERE type = 'trigger' "
                                                      "AND (name GLOB 'file_waits_*' OR name GLOB "
                                                      "'file_deferrals_*' OR name GLOB 'pair_progress_*')"_s))
        drops << "DROP TRIGGER "_s + row.value("name"_s).toString();
    QVERIFY(!drops.isEmpty());
    for (const char* table : {"file_waits", "file_deferrals", "pair_progress"})
        drops << "DROP TABLE %1"_s.arg(QLatin1String(table));
    QVERIFY(m_fixture->raw.execAll(drops));

    const qint64 before = nowSecs();
    QVERIFY(m_fixture->database.initialize());
    QCOMPARE(waiting(m_fixture->raw), "in error,waits"_s);
    QCOMPARE(number(waitOf(m_fixture->raw, "waits"_s), "since"_s), 1700000000);
    QVERIFY(number(waitOf(m_fixture->raw, "in error"_s), "since"_s) >= before);
    QCOMPARE(number(waitOf(m_fixture->raw, "in error"_s), "last_error"_s), 6);
    const QVariantMap pair = pairOf(m_fixture->raw, m_fixture->directoryId);
    QVERIFY(number(pair, "since"_s) >= before);
    QVERIFY(pair.value("local_listed_at"_s).isNull() && pair.value("verified_at"_s).isNull());
}

// Whatever somebody has done to the tables by hand: the next start puts it right.
void TestSyncProgressNotes::missingPartsAreMadeAgain()
{
    QVERIFY(m_fixture->insert("a"_s, ceSfsUnknown) && m_fixture->insert("b"_s, ceSfsUnknown));
    QVERIFY(m_fixture->raw.execAll({"DROP TRIGGER file_waits_end"_s, "DROP TRIGGER file_waits_insert"_s,
                                    "UPDATE file_tracking SET status = 17 WHERE file_name = 'a'"_s}));
    QVERIFY(m_fixture->insert("c"_s, ceSfsUnknown));
    QCOMPARE(mismatches(m_fixture->raw), 2);
    QVERIFY(m_fixture->database.initialize());
    QCOMPARE(waiting(m_fixture->raw), "b,c"_s);
    QVERIFY(m_fixture->database.recordFileSync(m_fixture->directoryId, "b"_s, 1, longAgo(), longAgo()));
    QCOMPARE(waiting(m_fixture->raw), "c"_s);
}

// Among a million rows that would take its time at every start: a note that somebody took away by hand stays away.
void TestSyncProgressNotes::waitsAreNotLookedForWithoutAReason()
{
    QVERIFY(m_fixture->insert("a"_s, ceSfsUnknown) && m_fixture->insert("b"_s, ceSfsPendingSync));
    QVERIFY(m_fixture->raw.execAll(
        {"DELETE FROM file_waits WHERE file_name = 'a'"_s,
         "INSERT INTO file_waits (directories_id, file_name, since) VALUES (1, 'nowhere', 5)"_s}));
    QVERIFY(m_fixture->database.initialize());
    QCOMPARE(waiting(m_fixture->raw), "b,nowhere"_s);
    QVERIFY(VornSyncDatabase(m_fixture->path()).initialize()); // nor by another start
    QCOMPARE(waiting(m_fixture->raw), "b,nowhere"_s);
}

void TestSyncProgressNotes::droppedTriggerIsAReason_data()
{
    QTest::addColumn<QString>("name");
    SyncDatabaseFixture fixture;
    for (const QVariantMap& row :
         fixture.raw.rows("SELECT name FROM sqlite_master WHERE type = 'trigger' AND "
                          "name GLOB 'file_waits_*'"_s))
        QTest::newRow(qPrintable(row.value("name"_s).toString())) << row.value("name"_s).toString();
}

void TestSyncProgressNotes::droppedTriggerIsAReason()
{
    QFETCH(QString, name);
    for (const char* file : {"a", "b", "c", "d"})
        QVERIFY(m_fixture->insert(QLatin1String(file), file[0] == 'd' ? ceSfsUpToDate : ceSfsPendingSync));
    QVERIFY(ageWait("b"_s, 1000));
    const QVariant since = waitOf(m_fixture->raw, "b"_s).value("since"_s);
    QVERIFY(m_fixture->raw.execAll(
        {"DROP TRIGGER "_s + name, "UPDATE file_tracking SET status = 17 WHERE file_name = 'a'"_s,
         "UPDATE file_tracking SET status = 0 WHERE file_name = 'd'"_s,
         "DELETE FROM file_tracking WHERE file_name = 'c'"_s,
         "INSERT INTO file_tracking (file_name, directories_id, status) VALUES ('e', 1, 18)"_s,
         "UPDATE file_tracking SET file_name = 'f' WHERE file_name = 'e'"_s}));
    QVERIFY(m_fixture->database.initialize());
    QCOMPARE(waiting(m_fixture->raw), "b,d,f"_s);
    QCOMPARE(mismatches(m_fixture->raw), 0);
    QCOMPARE(waitOf(m_fixture->raw, "b"_s).value("since"_s), since); // what was right stays
    QVERIFY(m_fixture->raw.exec("UPDATE file_tracking SET status = 17"_s));
    QCOMPARE(waiting(m_fixture->raw), QString());
}

// Notes of another version: theirs are given up, and nothing else is lost.
void TestSyncProgressNotes::otherShapesAreMadeAnew()
{
    QVERIFY(m_fixture->insert("a"_s, ceSfsPendingSync) && m_fixture->insert("b"_s, ceSfsUpToDate));
    QVERIFY(m_fixture->raw.execAll(
        {"DROP TABLE file_waits"_s, "CREATE TABLE file_waits (other TEXT)"_s, "DROP TRIGGER file_waits_end"_s,
         "CREATE TRIGGER file_waits_end AFTER UPDATE ON file_tracking BEGIN UPDATE file_waits SET more = 1; END"_s}));
    QVERIFY(m_fixture->database.initialize());
    QCOMPARE(waiting(m_fixture->raw), "a"_s);
    QVERIFY(m_fixture->database.setFileStatus(m_fixture->directoryId, "b"_s, ceSfsUnknown, ceSecNone));
    QCOMPARE(waiting(m_fixture->raw), "a,b"_s);
    QVERIFY(m_fixture->database.recordFileSync(m_fixture->directoryId, "a"_s, 1, longAgo(), longAgo()));
    QCOMPARE(waiting(m_fixture->raw), "b"_s);
    QCOMPARE(m_fixture->rowCount(), 2);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncProgressNotes::removedDirectory()
{
    const int id = m_fixture->directoryId;
    const int other = m_fixture->database.addDirectory("other"_s, "/l"_s, "/d"_s, "/t"_s);
    for (const int directoryId : {id, other}) {
        QVERIFY(m_fixture->database.setFileStatus(directoryId, "a%1"_s.arg(directoryId), ceSfsPendingSync,
                                                  ceSecNone));
        notes().noteDeferral(directoryId, "d%1"_s.arg(directoryId));
    }
    QVERIFY(m_fixture->database.deleteDirectory(id));
    QCOMPARE(waiting(m_fixture->raw), "a%1"_s.arg(other));
    QCOMPARE(deferred(m_fixture->raw), "d%1:1"_s.arg(other));
    QVERIFY(pairOf(m_fixture->raw, id).isEmpty() && !pairOf(m_fixture->raw, other).isEmpty());
    QCOMPARE(m_fixture->raw.integrityProblems(), QString());
}

void TestSyncProgressNotes::reset()
{
    QVERIFY(m_fixture->insert("a"_s, ceSfsUnknown));
    notes().noteDeferral(m_fixture->directoryId, "d"_s);
    QVERIFY(m_fixture->database.reset());
    QCOMPARE(waiting(m_fixture->raw) + deferred(m_fixture->raw), QString());
    QCOMPARE(m_fixture->raw.value("SELECT COUNT(*) FROM pair_progress"_s).toInt(), 0);
    const int id = m_fixture->database.addDirectory("alias"_s, "/local"_s, "/distant"_s, "/trash"_s);
    QVERIFY(number(pairOf(m_fixture->raw, id), "since"_s) > 0);
}

// --- Passes and verifications ---------------------------------------------------------------------------

void TestSyncProgressNotes::passIsNoted()
{
    const qint64 before = nowSecs();
    const int id = m_fixture->directoryId;
    notes().notePass(passNote(id));
    const QVariantMap pair = pairOf(m_fixture->raw, id);
    QCOMPARE(number(pair, "sync_interval_ms"_s), kIntervalMs);
    for (const QString& column : {"local_listed_at"_s, "distant_listed_at"_s})
        QVERIFY(number(pair, column) >= before && number(pair, column) <= nowSecs());
    QVERIFY(pair.value("verified_at"_s).isNull());
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncProgressNotes::sideThatWasNotListed()
{
    const int id = m_fixture->directoryId;
    VornSyncPassNote note = passNote(id);
    note.isDistantListed = false;
    notes().notePass(note);
    QVERIFY(!pairOf(m_fixture->raw, id).value("local_listed_at"_s).isNull());
    QVERIFY(pairOf(m_fixture->raw, id).value("distant_listed_at"_s).isNull());
    notes().notePass(passNote(id));
    QVERIFY(m_fixture->raw.exec("UPDATE pair_progress SET local_listed_at = 5, distant_listed_at = 5"_s));
    note.isLocalListed = false;
    notes().notePass(note);
    QCOMPARE(number(pairOf(m_fixture->raw, id), "local_listed_at"_s), 5);
    QCOMPARE(number(pairOf(m_fixture->raw, id), "distant_listed_at"_s), 5);
}

void TestSyncProgressNotes::noteOfTheSameMoment_data()
{
    QTest::addColumn<int>("ageSecs");
    QTest::addColumn<bool>("isWritten");
    QTest::newRow("just now") << 2 << false;
    QTest::newRow("a while ago") << 60 << true;
    QTest::newRow("before the clock was set back") << -1000 << true;
}

void TestSyncProgressNotes::noteOfTheSameMoment()
{
    QFETCH(int, ageSecs);
    QFETCH(bool, isWritten);
    const int id = m_fixture->directoryId;
    notes().notePass(passNote(id));
    const qint64 then = nowSecs() - ageSecs;
    QVERIFY(m_fixture->raw.exec("UPDATE pair_progress SET local_listed_at = ?, distant_listed_at = ?"_s,
                                {then, then}));
    notes().notePass(passNote(id));
    QCOMPARE(number(pairOf(m_fixture->raw, id), "local_listed_at"_s) != then, isWritten);
    QCOMPARE(number(pairOf(m_fixture->raw, id), "distant_listed_at"_s) != then, isWritten);
}

void TestSyncProgressNotes::anotherDistantDirectory()
{
    const int id = m_fixture->directoryId;
    notes().notePass(passNote(id));
    QCOMPARE(m_fixture->database.addDirectory("alias"_s, "/local"_s, "/distant"_s, "/trash"_s), id);
    QVERIFY(!pairOf(m_fixture->raw, id).value("distant_listed_at"_s).isNull());
    QCOMPARE(m_fixture->database.addDirectory("alias"_s, "/local"_s, "/elsewhere"_s, "/trash"_s), id);
    QVERIFY(pairOf(m_fixture->raw, id).value("distant_listed_at"_s).isNull());
    QVERIFY(number(pairOf(m_fixture->raw, id), "since"_s) > 0);
}

void TestSyncProgressNotes::unexaminedFiles()
{
    const int id = m_fixture->directoryId;
    VornSyncPassNote note = passNote(id);
    note.isWhole = true;
    note.unexaminedFiles = 2;
    note.unexaminedName = "odd"_s;
    notes().notePass(note);
    QVERIFY(m_fixture->raw.exec("UPDATE pair_progress SET unexamined_since = 5"_s));
    note.unexaminedFiles = 3;
    notes().notePass(note);
    QVariantMap pair = pairOf(m_fixture->raw, id);
    QCOMPARE(number(pair, "unexamined_files"_s), 3);
    QCOMPARE(pair.value("unexamined_name"_s).toString(), "odd"_s);
    QCOMPARE(number(pair, "unexamined_since"_s), 5);

    notes().notePass(passNote(id)); // not whole: it does not know
    QCOMPARE(number(pairOf(m_fixture->raw, id), "unexamined_files"_s), 3);
    note.unexaminedFiles = 0;
    note.unexaminedName.clear();
    notes().notePass(note);
    pair = pairOf(m_fixture->raw, id);
    QCOMPARE(number(pair, "unexamined_files"_s), 0);
    QVERIFY(pair.value("unexamined_since"_s).isNull() && pair.value("unexamined_name"_s).isNull());
}

void TestSyncProgressNotes::unknownDirectory()
{
    VornSyncPassNote note = passNote(99);
    note.isWhole = true;
    notes().notePass(note);
    notes().noteDeferral(99, "a"_s);
    notes().noteRound({99, nowSecs(), 0, QString()});
    QVERIFY(pairOf(m_fixture->raw, 99).isEmpty());
    QCOMPARE(deferred(m_fixture->raw), QString());
    QCOMPARE(m_fixture->raw.integrityProblems(), QString());
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncProgressNotes::rounds()
{
    VornSyncVerifyRounds rounds;
    const VornSyncVerifyRounds::Ended none = rounds.begin(1, 0, 500);
    QVERIFY(none.has_value());
    QCOMPARE(none->beganAtSecs, 500);
    QVERIFY(!rounds.begin(1, 3, 600));
    QVERIFY(!rounds.begin(2, 1, 600));
    QVERIFY(!rounds.end(1, "a"_s, true));
    QVERIFY(!rounds.end(1, "b"_s, false));
    const VornSyncVerifyRounds::Ended other = rounds.end(2, "x"_s, true);
    QVERIFY(other && other->directoryId == 2 && other->unansweredFiles == 0);
    const VornSyncVerifyRounds::Ended ended = rounds.end(1, "c"_s, false);
    QVERIFY(ended.has_value());
    QCOMPARE(ended->beganAtSecs, 600);
    QCOMPARE(ended->unansweredFiles, 2);
    QCOMPARE(ended->unansweredName, "b"_s);
    QVERIFY(!rounds.end(1, "d"_s, true)); // of no round

    QVERIFY(!rounds.begin(1, 1, 700) && !rounds.begin(2, 1, 700));
    rounds.clear(1);
    QVERIFY(!rounds.end(1, "a"_s, true));
    rounds.clear(-1);
    QVERIFY(!rounds.end(2, "a"_s, true));
}

void TestSyncProgressNotes::roundIsNoted()
{
    const int id = m_fixture->directoryId;
    const auto verified = [&] { return number(pairOf(m_fixture->raw, id), "verified_at"_s); };
    notes().noteRound({id, 1000, 0, QString()});
    QCOMPARE(verified(), 1000);
    notes().noteRound({id, 2000, 2, "odd"_s});
    QCOMPARE(verified(), 1000);
    QCOMPARE(number(pairOf(m_fixture->raw, id), "unanswered_files"_s), 2);
    QCOMPARE(pairOf(m_fixture->raw, id).value("unanswered_name"_s).toString(), "odd"_s);
    notes().noteRound({id, 3000, 0, QString()});
    QCOMPARE(verified(), 3000);
    QCOMPARE(number(pairOf(m_fixture->raw, id), "unanswered_files"_s), 0);
    notes().noteRound({id, 3002, 0, QString()}); // as good as the one before
    QCOMPARE(verified(), 3000);
}

void TestSyncProgressNotes::deferrals()
{
    const int id = m_fixture->directoryId;
    notes().noteDeferral(id, "a"_s);
    QVERIFY(m_fixture->raw.exec("UPDATE file_deferrals SET since = 5"_s));
    notes().noteDeferral(id, "a"_s);
    notes().noteDeferral(id, "b"_s);
    QCOMPARE(deferred(m_fixture->raw), "a:2,b:1"_s);
    QCOMPARE(m_fixture->raw.value("SELECT since FROM file_deferrals WHERE file_name = 'a'"_s).toInt(), 5);
    notes().notePass(passNote(id)); // given up half-way: it may have left out either
    QCOMPARE(deferred(m_fixture->raw), "a:2,b:1"_s);
    VornSyncPassNote note = passNote(id);
    note.isWhole = true;
    note.deferredNames = {"a"_s};
    notes().notePass(note);
    QCOMPARE(deferred(m_fixture->raw), "a:2"_s);
}

void TestSyncProgressNotes::deferralEndsWithTheCopy()
{
    const int id = m_fixture->directoryId;
    QVERIFY(m_fixture->insert("tracked"_s, ceSfsUpToDate) && m_fixture->insert("deleted"_s, ceSfsUpToDate));
    QVERIFY(m_fixture->insert("renamed"_s, ceSfsUpToDate) && m_fixture->insert("stays"_s, ceSfsUpToDate));
    for (const QString& name : {"new"_s, "tracked"_s, "deleted"_s, "renamed"_s, "stays"_s})
        notes().noteDeferral(id, name);
    QVERIFY(m_fixture->database.setFileStatus(id, "new"_s, ceSfsPendingSync, ceSecNone));
    QVERIFY(m_fixture->database.setFileStatus(id, "tracked"_s, ceSfsPendingSync, ceSecNone));
    QVERIFY(m_fixture->database.setFileDeleted(id, "deleted"_s));
    QVERIFY(m_fixture->database.setFileStatus(id, "stays"_s, ceSfsUnknown, ceSecNone));
    QVERIFY(m_fixture->database.renameFile(id, "renamed"_s, "other"_s));
    QCOMPARE(deferred(m_fixture->raw), "other:1,stays:1"_s);
    QVERIFY(m_fixture->database.removeFileSync(id, "other"_s));
    QCOMPARE(deferred(m_fixture->raw), "stays:1"_s);
}

// --- Notes that can't be written ------------------------------------------------------------------------

void TestSyncProgressNotes::lockedFile()
{
    const QString connection = "writer"_s;
    {
        QSqlDatabase writer = QSqlDatabase::addDatabase("QSQLITE"_s, connection);
        writer.setDatabaseName(m_fixture->path());
        QVERIFY(writer.open());
        QVERIFY(QSqlQuery(writer).exec("BEGIN IMMEDIATE"_s));
        QElapsedTimer elapsed;
        elapsed.start();
        notes().notePass(passNote(m_fixture->directoryId));
        notes().noteDeferral(m_fixture->directoryId, "a"_s);
        notes().noteRetry(m_fixture->directoryId, "a"_s);
        QVERIFY2(elapsed.elapsed() < kSilentAtMostMs, qPrintable(QString::number(elapsed.elapsed())));
        QCOMPARE(m_fixture->errorTexts(), QStringList());
        QVERIFY(QSqlQuery(writer).exec("ROLLBACK"_s));
    }
    QSqlDatabase::removeDatabase(connection);
    // What is no note waits for its turn as before, and is heard of.
    QVERIFY(pairOf(m_fixture->raw, m_fixture->directoryId).value("local_listed_at"_s).isNull());
    notes().notePass(passNote(m_fixture->directoryId));
    QVERIFY(number(pairOf(m_fixture->raw, m_fixture->directoryId), "local_listed_at"_s) > 0);
    QVERIFY(m_fixture->raw.exec("DROP TABLE schema_version"_s));
    QVERIFY(!m_fixture->database.executeQuery("SELECT version FROM schema_version"_s));
    QCOMPARE(m_fixture->errorTexts().size(), 1);
}

void TestSyncProgressNotes::readOnlyFile()
{
    const QString copy = m_fixture->directory.filePath("copy/state.db"_s);
    QVERIFY(QDir().mkpath(QFileInfo(copy).path()));
    QVERIFY(m_fixture->raw.exec("VACUUM INTO ?"_s, {copy}));
    QVERIFY(QFile::setPermissions(m_fixture->directory.path(), QFile::Permissions(0x7777)));
    QVERIFY(QFile::setPermissions(copy, QFile::Permissions(0x4444)));
    QVERIFY(QFile::setPermissions(QFileInfo(copy).path(), QFile::Permissions(0x5555)));
    const UnprivilegedScope stranger;
    if (!stranger.isActive())
        QSKIP("the right to become an ordinary user is missing");
    VornSyncDatabase database(copy);
    QSignalSpy errors(&database, &VornSyncDatabase::errorOccurred);
    QCOMPARE(database.getDirectoryIdByAlias("alias"_s), m_fixture->directoryId); // it can be read
    VornSyncPassNote note = passNote(m_fixture->directoryId);
    note.isWhole = true;
    VornSyncProgressNotes(database).notePass(note);
    VornSyncProgressNotes(database).noteRound({m_fixture->directoryId, 1000, 1, "a"_s});
    QCOMPARE(errors.size(), 0);
    QVERIFY(!database.setFileStatus(m_fixture->directoryId, "a"_s, ceSfsPendingSync, ceSecNone));
    QVERIFY(!errors.isEmpty()); // it could not be written indeed
}

void TestSyncProgressNotes::withoutTheTables()
{
    QVERIFY(m_fixture->raw.execAll({"DROP TABLE pair_progress"_s, "DROP TABLE file_deferrals"_s}));
    VornSyncPassNote note = passNote(m_fixture->directoryId);
    note.isWhole = true;
    notes().notePass(note);
    notes().noteRound({m_fixture->directoryId, 1000, 0, QString()});
    notes().noteDeferral(m_fixture->directoryId, "a"_s);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

// --- The engine -----------------------------------------------------------------------------------------

void TestSyncProgressNotes::engine_passes()
{
    const qint64 before = nowSecs();
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a"_s, "a"));
    engine.passAndRun();
    const QVariantMap pair = pairOf(engine.raw(), engine.id());
    QVERIFY(number(pair, "local_listed_at"_s) >= before && number(pair, "distant_listed_at"_s) >= before);
    QCOMPARE(number(pair, "sync_interval_ms"_s), Engine::kIntervalMs);
    QCOMPARE(waiting(engine.raw()), QString());
}

void TestSyncProgressNotes::engine_distantGone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "a"));
    engine.pass();
    QVERIFY(engine.raw().exec("UPDATE pair_progress SET local_listed_at = 5, distant_listed_at = 5"_s));
    QVERIFY(QFile::rename(engine.distant().path(), engine.distant().path() + "-away"_s));
    engine.pass();
    QCOMPARE(number(pairOf(engine.raw(), engine.id()), "distant_listed_at"_s), 5);
    QVERIFY(number(pairOf(engine.raw(), engine.id()), "local_listed_at"_s) > 5);
    QVERIFY(QFile::rename(engine.distant().path() + "-away"_s, engine.distant().path()));
    engine.pass();
    QVERIFY(number(pairOf(engine.raw(), engine.id()), "distant_listed_at"_s) > 5);
}

void TestSyncProgressNotes::engine_localUnlisted()
{
    Engine engine;
    QVERIFY(engine.start());
    engine.pass();
    QVERIFY(engine.raw().exec("UPDATE pair_progress SET local_listed_at = 5, distant_listed_at = 5"_s));
    QVERIFY(QFile::rename(engine.local().path(), engine.local().path() + "-away"_s));
    engine.pass();
    QCOMPARE(number(pairOf(engine.raw(), engine.id()), "local_listed_at"_s), 5);
    QVERIFY(number(pairOf(engine.raw(), engine.id()), "distant_listed_at"_s) > 5);
}

void TestSyncProgressNotes::engine_leftAlone()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "a") && engine.send("b"_s, "b"));
    QVERIFY(engine.local().remove("a"_s) && engine.local().makeDirectory("a"_s));
    engine.pass();
    const QVariantMap pair = pairOf(engine.raw(), engine.id());
    QCOMPARE(number(pair, "unexamined_files"_s), 1);
    QCOMPARE(pair.value("unexamined_name"_s).toString(), "a"_s);
    QVERIFY(engine.local().remove("a"_s) && engine.local().write("a"_s, "again"));
    engine.passAndRun();
    QCOMPARE(number(pairOf(engine.raw(), engine.id()), "unexamined_files"_s), 0);
}

void TestSyncProgressNotes::engine_verification()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "a") && engine.send("b"_s, "b"));
    const int empty = engine.addDirectory("empty"_s, engine.pair().rootPath() + "/l2"_s,
                                          engine.pair().rootPath() + "/d2"_s, engine.trash().path());
    QVERIFY(engine.database().setDirectoryAvailable(engine.id()) &&
            engine.database().setDirectoryAvailable(empty));
    const qint64 before = nowSecs();
    engine.sync().verifyUpToDateFilesBudgeted();
    QVERIFY(number(pairOf(engine.raw(), engine.id()), "verified_at"_s) >= before);
    QVERIFY(number(pairOf(engine.raw(), empty), "verified_at"_s) >= before);
}

// A file of which nobody can say how it stands, or a pair that goes away while its files are queued.
void TestSyncProgressNotes::engine_verificationWithoutAnswer()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "a") && engine.send("b"_s, "b"));
    QVERIFY(engine.database().setDirectoryAvailable(engine.id()));
    QVERIFY(engine.distant().remove("b"_s) && engine.distant().makeDirectory("b"_s));
    engine.sync().verifyUpToDateFilesBudgeted();
    QVariantMap pair = pairOf(engine.raw(), engine.id());
    QVERIFY(pair.value("verified_at"_s).isNull());
    QCOMPARE(number(pair, "unanswered_files"_s), 1);
    QCOMPARE(pair.value("unanswered_name"_s).toString(), "b"_s);

    QVERIFY(engine.distant().remove("b"_s)); // surely missing is an answer
    engine.sync().verifyUpToDateFilesBudgeted();
    pair = pairOf(engine.raw(), engine.id());
    QVERIFY(number(pair, "verified_at"_s) > 0);
    QCOMPARE(number(pair, "unanswered_files"_s), 0);
}

void TestSyncProgressNotes::engine_retries()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a"_s, "a") && engine.distant().makeDirectory("a"_s));
    engine.pass();
    QCOMPARE(number(waitOf(engine.raw(), "a"_s), "tries"_s), 1);
    QVERIFY(!engine.runNext());
    QCOMPARE(number(waitOf(engine.raw(), "a"_s), "tries"_s), 2); // the second is on its way
    QVERIFY(waitFor([&] { return engine.taskCount() == 1; }));
    QVERIFY(!engine.runNext());
    QCOMPARE(number(waitOf(engine.raw(), "a"_s), "tries"_s), 3);
}

void TestSyncProgressNotes::engine_sideCar()
{
    Engine engine({"*-wal"_s});
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.db"_s, "x") && engine.local().write("a.db-wal"_s, "x"));
    engine.pass();
    engine.pass(); // it waits already
    QCOMPARE(deferred(engine.raw()), "a.db:1"_s);
    QVERIFY(engine.local().remove("a.db-wal"_s));
    QVERIFY(waitFor([&] { return engine.taskCount() == 1; }));
    QCOMPARE(deferred(engine.raw()), QString());
    QCOMPARE(waiting(engine.raw()), "a.db"_s);
    QVERIFY(engine.runNext());
    QCOMPARE(waiting(engine.raw()), QString());
}

void TestSyncProgressNotes::engine_sideCarOfAFileThatGoes()
{
    Engine engine({"*-wal"_s});
    QVERIFY(engine.start());
    QVERIFY(engine.local().write("a.db"_s, "x") && engine.local().write("a.db-wal"_s, "x"));
    engine.pass();
    QVERIFY(engine.local().remove("a.db"_s) && engine.local().remove("a.db-wal"_s));
    QVERIFY(QFile::rename(engine.distant().path(), engine.distant().path() + "-away"_s));
    engine.pass(); // nothing is sent, so nothing is known of what waits
    QCOMPARE(deferred(engine.raw()), "a.db:1"_s);
    QVERIFY(QFile::rename(engine.distant().path() + "-away"_s, engine.distant().path()));
    engine.pass();
    QCOMPARE(deferred(engine.raw()), QString());
}

// At shutdown a listing ends before its first entry: that is no evidence for a database that is quiet.
void TestSyncProgressNotes::sideCarInAListingThatIsCutShort()
{
    const QTemporaryDir directory;
    const Side side(directory.path());
    QVERIFY(side.write("a.db"_s, "x") && side.write("a.db-wal"_s, "x") && side.write("quiet"_s, "x"));
    const VornSyncExclusions exclusions({"*-wal"_s});
    bool isBusy = false;
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        QThread::currentThread()->requestInterruption();
        isBusy = exclusions.hasSideCarBeside(side.filePath("a.db"_s));
    }));
    thread->start();
    QVERIFY(thread->wait(kWaitMs));
    QVERIFY(isBusy);
    QVERIFY(!exclusions.hasSideCarBeside(side.filePath("quiet"_s)));
    QVERIFY(!exclusions.hasSideCarBeside(side.filePath("nowhere/a.db"_s)));
}

// A cycle that is left out is an excuse for what waits, but only while something is sent.
void TestSyncProgressNotes::engine_leftOutCycles()
{
    constexpr int kSaturated = 10;
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.database().setDirectoryAvailable(engine.id()));
    for (int i = 0; i <= kSaturated; ++i)
        QVERIFY(engine.local().write("file %1"_s.arg(i), "x"));
    const auto saturated = [&] { return pairOf(engine.raw(), engine.id()).value("saturated_at"_s); };
    engine.pass();
    engine.sync().periodicSynchronization();
    QVERIFY(saturated().isNull());
    QVERIFY(engine.runNext());
    engine.sync().periodicSynchronization();
    QVERIFY(saturated().toLongLong() > 0);
    QVERIFY(engine.raw().exec("UPDATE pair_progress SET saturated_at = 5"_s));
    engine.sync().periodicSynchronization();
    QCOMPARE(saturated().toInt(), 5);
    QCOMPARE(engine.taskCount(), kSaturated);
}

// A pass over files that need nothing wrote nothing before there were notes, and must not fail for them.
void TestSyncProgressNotes::engine_lockedFileHoldsNothingUp()
{
    Engine engine;
    QVERIFY(engine.start());
    QVERIFY(engine.send("a"_s, "a"));
    const QString connection = "writer"_s;
    {
        QSqlDatabase writer = QSqlDatabase::addDatabase("QSQLITE"_s, connection);
        writer.setDatabaseName(engine.database().filePath());
        QVERIFY(writer.open());
        QVERIFY(QSqlQuery(writer).exec("BEGIN IMMEDIATE"_s));
        QSignalSpy errors(&engine.database(), &VornSyncDatabase::errorOccurred);
        QElapsedTimer elapsed;
        elapsed.start();
        engine.pass();
        QVERIFY2(elapsed.elapsed() < kSilentAtMostMs, qPrintable(QString::number(elapsed.elapsed())));
        QCOMPARE(errors.size(), 0);
        COMPARE_NO_EVENTS(engine);
        QVERIFY(QSqlQuery(writer).exec("ROLLBACK"_s));
    }
    QSqlDatabase::removeDatabase(connection);
    QVERIFY(pairOf(engine.raw(), engine.id()).value("local_listed_at"_s).isNull());
}

QTEST_GUILESS_MAIN(TestSyncProgressNotes)
#include "test_sync_progress_notes.moc"

#include "seed_rows.h"
#include "sync_database_fixture.h"
#include "vorn_sync_error_list.h"

#include <QSet>

#include <optional>
#include <random>

using namespace VornSyncTest;

namespace {

constexpr int kSeeds = 3;
constexpr int kStepsPerSeed = 100;
constexpr int kInError = ceSfsSyncing | ceSfsError;

QVariantMap entry(const QString& aliasName, const QString& fileName, int errorCode, int status)
{
    return {{"aliasName"_s, aliasName},
            {"fileName"_s, fileName},
            {"errorCode"_s, errorCode},
            {"status"_s, status}};
}

// The list as the database gives it, without what keeps it.
QVariantList plainList(VornSyncDatabase& database)
{
    QVariantList files;
    for (const QVariantMap& file : database.getErrorFiles())
        files << entry(file.value("aliasName"_s).toString(), file.value("fileName"_s).toString(),
                       file.value("errorCode"_s).toInt(), file.value("status"_s).toInt());
    return files;
}

std::optional<qint64> revisionOf(VornSyncDatabase& database)
{
    const auto kept = database.keptCounters();
    return kept ? std::optional<qint64>(kept->errorRevision) : std::nullopt;
}

// What a refresh does.
int refresh(VornSyncErrorList& list, VornSyncDatabase& database)
{
    const int count = list.count(database, revisionOf(database));
    list.update(database);
    return count;
}

QStringList namesOf(const VornSyncErrorList& list)
{
    QStringList names;
    for (const QVariant& file : list.files())
        names << file.toMap().value("fileName"_s).toString();
    return names;
}

bool isEntryShared(const QVariant& left, const QVariant& right)
{
    return static_cast<const QVariantMap*>(left.constData())
        ->isSharedWith(*static_cast<const QVariantMap*>(right.constData()));
}

} // namespace

// The number that says whether the files in error are the same, and the list that is kept by it.
class TestSyncErrorList : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void changes_data();
    void changes();
    void leavesAlone_data();
    void leavesAlone();
    void rolledBack();
    void removedDirectory();
    void resetGivesAnotherNumber();
    void replacedFileGivesAnotherNumber();
    void droppedTrigger_data();
    void droppedTrigger();
    void droppedTriggerOfANewFile();
    void tableMadeByHand();
    void tableMovedAsideWithItsTriggers();
    void lostNumber();
    void startGivesTheSameNumber();

    void listOfNothing();
    void fourKeysInOrder();
    void keptWhileUnchanged();
    void notReadWhileUnchanged();
    void oneChangedEntry_data();
    void oneChangedEntry();
    void lastErrorGone();
    void failedCountIsRepeated();
    void failedListIsReadAgain();
    void countBeforeTheChange();
    void withoutANumber();
    void asTheDatabase_data();
    void asTheDatabase();

private:
    VornSyncDatabase& db() { return m_fixture->database; }
    RawDatabase& raw() { return m_fixture->raw; }
    QString counterProblem();
    bool insertError(const QString& fileName, int errorCode = ceSecCopyFailed)
    {
        return m_fixture->insert(fileName, kInError, {{"error_code"_s, errorCode}});
    }

    std::unique_ptr<SyncDatabaseFixture> m_fixture;
};

// Two healthy rows, two in error, and a second directory with one in error.
void TestSyncErrorList::init()
{
    m_fixture = std::make_unique<SyncDatabaseFixture>();
    QVERIFY(m_fixture->isReady);
    QCOMPARE(m_fixture->directoryId, 1);
    QCOMPARE(db().addDirectory("other"_s, "/l2"_s, "/d2"_s, "/t2"_s), 2);
    QVERIFY(m_fixture->insert("h1"_s, ceSfsUpToDate) && m_fixture->insert("h2"_s, ceSfsPendingSync));
    QVERIFY(insertError("e1"_s) && insertError("e2"_s, ceSecLocalFileMissing));
    QVERIFY(raw().exec("INSERT INTO file_tracking (file_name, directories_id, status, error_code) VALUES "
                       "('e3', 2, 145, 2)"_s));
}

void TestSyncErrorList::cleanup()
{
    m_fixture.reset();
}

// What is wrong with the kept counters against the plain ones; empty when nothing is.
QString TestSyncErrorList::counterProblem()
{
    const auto kept = db().keptCounters();
    if (!kept)
        return "not kept"_s;
    const int pending =
        raw().value("SELECT COUNT(*) FROM file_tracking WHERE status IN (0, 18, 34, 66)"_s).toInt();
    const int done = raw().value("SELECT COUNT(*) FROM file_tracking WHERE status = 17"_s).toInt();
    if (kept->pending != pending || kept->done != done)
        return "pending %1 instead of %2, done %3 instead of %4"_s.arg(kept->pending)
            .arg(pending)
            .arg(kept->done)
            .arg(done);
    return QString();
}

// --- The number -----------------------------------------------------------------------------------------

void TestSyncErrorList::changes_data()
{
    QTest::addColumn<QStringList>("statements");
    const auto add = [](const char* tag, const QStringList& statements) { QTest::newRow(tag) << statements; };
    const QString insert = "INTO file_tracking (file_name, directories_id, status, error_code) VALUES "_s;
    add("insert", {"INSERT "_s + insert + "('n', 1, 148, 6)"_s});
    add("insert among healthy ones", {"INSERT "_s + insert + "('n', 1, 17, 0), ('m', 1, 148, 6)"_s});
    add("healthy row gets an error",
        {"UPDATE file_tracking SET status = 145, error_code = 6 WHERE file_name = 'h1'"_s});
    add("in two steps, the code last", {"UPDATE file_tracking SET status = 145 WHERE file_name = 'h1'"_s,
                                        "UPDATE file_tracking SET error_code = 6 WHERE file_name = 'h1'"_s});
    add("in two steps, the status last", {"UPDATE file_tracking SET error_code = 6 WHERE file_name = 'h1'"_s,
                                          "UPDATE file_tracking SET status = 145 WHERE file_name = 'h1'"_s});
    add("other code", {"UPDATE file_tracking SET error_code = 7 WHERE file_name = 'e1'"_s});
    add("other status", {"UPDATE file_tracking SET status = 145 WHERE file_name = 'e1'"_s});
    add("cleared", {"UPDATE file_tracking SET status = 20, error_code = 0 WHERE file_name = 'e1'"_s});
    add("code cleared", {"UPDATE file_tracking SET error_code = 0 WHERE file_name = 'e1'"_s});
    add("status cleared", {"UPDATE file_tracking SET status = 17 WHERE file_name = 'e1'"_s});
    add("delete", {"DELETE FROM file_tracking WHERE file_name = 'e1'"_s});
    add("delete all", {"DELETE FROM file_tracking"_s});
    add("rename", {"UPDATE file_tracking SET file_name = 'z' WHERE file_name = 'e1'"_s});
    add("move", {"UPDATE file_tracking SET directories_id = 2 WHERE file_name = 'e1'"_s});
    add("replace by a healthy row", {"INSERT OR REPLACE "_s + insert + "('e1', 1, 17, 0)"_s});
    add("replace by another error", {"REPLACE "_s + insert + "('e1', 1, 148, 7)"_s});
    add("replace, deletions told",
        {"PRAGMA recursive_triggers=ON"_s, "REPLACE "_s + insert + "('e1', 1, 17, 0)"_s});
    add("replace by row id",
        {"REPLACE INTO file_tracking (rowid, file_name, directories_id, status) SELECT rowid, 'new', 1, 17 FROM file_tracking WHERE file_name = 'e1'"_s});
    add("replace by row id and key",
        {"REPLACE INTO file_tracking (rowid, file_name, directories_id, status) SELECT rowid, 'h1', 1, 17 FROM file_tracking WHERE file_name = 'e1'"_s});
    add("rename over", {"UPDATE OR REPLACE file_tracking SET file_name = 'e1' WHERE file_name = 'h1'"_s});
    add("move over",
        {"UPDATE OR REPLACE file_tracking SET file_name = 'e3', directories_id = 2 WHERE file_name = 'h1'"_s});
    add("error renamed over an error",
        {"UPDATE OR REPLACE file_tracking SET file_name = 'e2' WHERE file_name = 'e1'"_s});
    add("row id over",
        {"UPDATE OR REPLACE file_tracking SET rowid = (SELECT rowid FROM file_tracking WHERE file_name = 'e1') WHERE file_name = 'h1'"_s});
    add("upsert",
        {"INSERT "_s + insert +
         "('e1', 1, 17, 0) ON CONFLICT(file_name, directories_id) DO UPDATE SET status = 17, error_code = 0"_s});
    add("alias", {"UPDATE directories SET alias_name = 'renamed' WHERE id = 1"_s});
    add("id of a directory", {"UPDATE directories SET id = 9 WHERE id = 1"_s});
    add("directory with its rows", {"PRAGMA foreign_keys=ON"_s, "DELETE FROM directories WHERE id = 1"_s});
    add("directory without its rows", {"DELETE FROM directories WHERE id = 1"_s});
    add("directory comes back",
        {"PRAGMA foreign_keys=OFF"_s, "INSERT "_s + insert + "('e', 77, 148, 6)"_s,
         "INSERT INTO directories (id, alias_name, local_path, distant_path, trash_path) VALUES (77, 'x', '/x', '/y', '/z')"_s});
    add("directory replaced by id",
        {"REPLACE INTO directories (id, alias_name, local_path, distant_path, trash_path) VALUES (1, 'x', '/x', '/y', '/z')"_s});
    add("directory replaced by path",
        {"REPLACE INTO directories (alias_name, local_path, distant_path, trash_path) VALUES ('x', '/local', '/y', '/z')"_s});
    add("directory given another's path",
        {"UPDATE OR REPLACE directories SET local_path = '/local' WHERE id = 2"_s});
    add("directory given another's alias",
        {"UPDATE OR REPLACE directories SET alias_name = 'alias' WHERE id = 2"_s});
}

void TestSyncErrorList::changes()
{
    QFETCH(QStringList, statements);
    const auto before = db().keptCounters();
    QVERIFY(before);
    const QVariantList listed = plainList(db());
    QCOMPARE(listed.size(), 3);
    QVERIFY2(raw().execAll(statements), qPrintable(raw().lastError()));
    QVERIFY(plainList(db()) != listed); // or there would be nothing to see
    const auto after = db().keptCounters();
    QVERIFY(after);
    QVERIFY(after->errorRevision != before->errorRevision);
    QCOMPARE(counterProblem(), QString());
}

void TestSyncErrorList::leavesAlone_data()
{
    QTest::addColumn<QStringList>("statements");
    const auto add = [](const char* tag, const QStringList& statements) { QTest::newRow(tag) << statements; };
    const QString insert = "INTO file_tracking (file_name, directories_id, status) VALUES "_s;
    add("insert", {"INSERT "_s + insert + "('n', 1, 17), ('m', 2, 0)"_s});
    add("replace", {"REPLACE "_s + insert + "('h1', 1, 18)"_s});
    add("status", {"UPDATE file_tracking SET status = 20 WHERE error_code = 0"_s});
    add("all columns but the ones that say so",
        {"UPDATE file_tracking SET size = 5, local_lmd = 'x', distant_lmd = 'y', status_changed_at = 'z'"_s});
    add("the same values", {"UPDATE file_tracking SET status = status, error_code = error_code"_s});
    add("rename", {"UPDATE file_tracking SET file_name = 'z' WHERE file_name = 'h1'"_s});
    add("rename over a healthy one",
        {"UPDATE OR REPLACE file_tracking SET file_name = 'h2' WHERE file_name = 'h1'"_s});
    add("move", {"UPDATE file_tracking SET directories_id = 2 WHERE file_name = 'h1'"_s});
    add("delete", {"DELETE FROM file_tracking WHERE error_code = 0"_s});
    add("availability", {"UPDATE directories SET available = 1"_s});
    add("paths", {"UPDATE directories SET distant_path = '/elsewhere', trash_path = '/t'"_s});
}

void TestSyncErrorList::leavesAlone()
{
    QFETCH(QStringList, statements);
    const auto before = db().keptCounters();
    QVERIFY(before);
    const QVariantList listed = plainList(db());
    QVERIFY2(raw().execAll(statements), qPrintable(raw().lastError()));
    QCOMPARE(plainList(db()), listed);
    const auto after = db().keptCounters();
    QVERIFY(after);
    QCOMPARE(after->errorRevision, before->errorRevision);
    QCOMPARE(counterProblem(), QString());
}

void TestSyncErrorList::rolledBack()
{
    const auto before = revisionOf(db());
    QVERIFY(
        raw().execAll({"BEGIN"_s, "DELETE FROM file_tracking"_s, "DELETE FROM directories"_s, "ROLLBACK"_s}));
    QCOMPARE(revisionOf(db()), before);
    QVERIFY(!raw().exec("INSERT INTO file_tracking (file_name, directories_id, status, error_code) VALUES "
                        "('n', 1, 148, 6), ('e1', 1, 148, 6)"_s)); // as a whole
    QCOMPARE(revisionOf(db()), before);
    QCOMPARE(plainList(db()).size(), 3);
    QCOMPARE(counterProblem(), QString());
}

void TestSyncErrorList::removedDirectory()
{
    const auto before = revisionOf(db());
    QVERIFY(db().deleteDirectory(1));
    QVERIFY(revisionOf(db()) && revisionOf(db()) != before);
    QCOMPARE(plainList(db()), QVariantList({entry("other"_s, "e3"_s, 2, 145)}));
    QCOMPARE(counterProblem(), QString());
}

// The rows are the same after each, and the list is not that of before.
void TestSyncErrorList::resetGivesAnotherNumber()
{
    QSet<qint64> seen = {revisionOf(db()).value_or(0)};
    for (int i = 0; i < 5; ++i) {
        QVERIFY(db().reset());
        const auto revision = revisionOf(db());
        QVERIFY(revision);
        QVERIFY(!seen.contains(*revision));
        seen.insert(*revision);
        QCOMPARE(counterProblem(), QString());
        QCOMPARE(db().addDirectory("alias"_s, "/local"_s, "/distant"_s, "/trash"_s), 1);
        QVERIFY(insertError("e1"_s));
        QVERIFY(!seen.contains(revisionOf(db()).value_or(*revision)));
        seen.insert(revisionOf(db()).value_or(0));
    }
}

// Another process, too, begins a file of its own with a number of its own.
void TestSyncErrorList::replacedFileGivesAnotherNumber()
{
    QSet<qint64> seen;
    for (int i = 0; i < 5; ++i) {
        SyncDatabaseFixture fixture;
        QVERIFY(fixture.isReady);
        const auto revision = revisionOf(fixture.database);
        QVERIFY(revision);
        seen.insert(*revision);
    }
    QCOMPARE(seen.size(), 5);
}

void TestSyncErrorList::droppedTrigger_data()
{
    QTest::addColumn<QString>("name");
    SyncDatabaseFixture fixture;
    const auto triggers =
        fixture.raw.rows("SELECT name FROM sqlite_master WHERE type = 'trigger' AND (name GLOB "
                         "'file_tracking_errors_*' OR name GLOB 'file_tracking_counts_*')"_s);
    for (const QVariantMap& row : triggers)
        QTest::newRow(qPrintable(row.value("name"_s).toString())) << row.value("name"_s).toString();
}

void TestSyncErrorList::droppedTrigger()
{
    QFETCH(QString, name);
    const auto before = revisionOf(db());
    QVERIFY(before);
    QVERIFY(raw().exec("DROP TRIGGER "_s + name));
    QVERIFY(!db().keptCounters());
    // What nobody has counted.
    QVERIFY(raw().execAll(
        {"UPDATE file_tracking SET error_code = 9 WHERE file_name = 'e1'"_s,
         "DELETE FROM file_tracking WHERE file_name = 'h1'"_s,
         "INSERT INTO file_tracking (file_name, directories_id, status) VALUES ('n', 1, 18)"_s}));
    QVERIFY(!db().keptCounters());
    QVERIFY(db().initialize());
    QVERIFY(revisionOf(db()));
    if (name.startsWith("file_tracking_errors_"_s))
        QVERIFY(revisionOf(db()) != before);
    QCOMPARE(counterProblem(), QString());
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

// SQLite's number of the schema begins anew with the file, and may come to that of the file before.
void TestSyncErrorList::droppedTriggerOfANewFile()
{
    QVERIFY(raw().exec("CREATE TABLE more (a)"_s));
    QVERIFY(db().keptCounters());
    const QVariant schema = raw().value("PRAGMA schema_version"_s);
    QVERIFY(db().reset());
    QVERIFY(raw().exec("DROP TRIGGER file_tracking_errors_update"_s));
    while (raw().value("PRAGMA schema_version"_s).toInt() < schema.toInt())
        QVERIFY(raw().exec("CREATE TABLE more_%1 (a)"_s.arg(raw().value("PRAGMA schema_version"_s).toInt())));
    QCOMPARE(raw().value("PRAGMA schema_version"_s), schema);
    QVERIFY(!db().keptCounters());
}

void TestSyncErrorList::tableMadeByHand()
{
    QVERIFY(m_fixture->dropKey());
    QVERIFY(!db().keptCounters());
    QVERIFY(insertError("e1"_s));
    QVERIFY(!db().keptCounters());
    QVERIFY(db().initialize());
    QCOMPARE(counterProblem(), QString());
}

// Somebody keeps the old table beside a new one: the triggers go with the old one, under the names they had.
void TestSyncErrorList::tableMovedAsideWithItsTriggers()
{
    QVERIFY(raw().execAll(
        {"ALTER TABLE file_tracking RENAME TO file_tracking_old"_s,
         "CREATE TABLE file_tracking (file_name TEXT NOT NULL, directories_id INTEGER NOT NULL, "
         "size INTEGER, local_lmd TEXT, distant_lmd TEXT, status INTEGER NOT NULL DEFAULT 0, "
         "trashed_date TEXT, error_code INTEGER NOT NULL DEFAULT 0, status_changed_at TEXT, "
         "PRIMARY KEY (file_name, directories_id))"_s,
         "INSERT INTO file_tracking SELECT * FROM file_tracking_old"_s}));
    QVERIFY(!db().keptCounters());
    QVERIFY(raw().exec("UPDATE file_tracking SET status = 17, error_code = 0"_s));
    VornSyncErrorList list;
    QCOMPARE(refresh(list, db()), 0);
    QCOMPARE(db().countFilesByStatuses({ceSfsUpToDate}), 5);
    QVERIFY(db().initialize());
    QVERIFY(m_fixture->insert("n"_s, ceSfsPendingSync));
    QCOMPARE(db().countFilesByStatuses({ceSfsPendingSync}), 1);
    QCOMPARE(counterProblem(), QString());
}

void TestSyncErrorList::lostNumber()
{
    const auto before = revisionOf(db());
    QVERIFY(raw().exec("DELETE FROM file_tracking_errors"_s));
    QVERIFY(!db().keptCounters());
    QVERIFY(insertError("e4"_s)); // nothing is refused for it
    QVERIFY(db().initialize());
    QVERIFY(revisionOf(db()) && revisionOf(db()) != before);
    QCOMPARE(counterProblem(), QString());
}

void TestSyncErrorList::startGivesTheSameNumber()
{
    const auto before = revisionOf(db());
    QVERIFY(db().initialize());
    QCOMPARE(revisionOf(db()), before);
}

// --- The list -------------------------------------------------------------------------------------------

void TestSyncErrorList::listOfNothing()
{
    QVERIFY(raw().exec("DELETE FROM file_tracking WHERE error_code != 0"_s));
    VornSyncErrorList list;
    QCOMPARE(list.files(), QVariantList());
    QCOMPARE(refresh(list, db()), 0);
    QCOMPARE(list.files(), QVariantList());
    QVERIFY(insertError("e"_s));
    QCOMPARE(refresh(list, db()), 1);
    QCOMPARE(namesOf(list), QStringList{"e"_s});
}

void TestSyncErrorList::fourKeysInOrder()
{
    VornSyncErrorList list;
    QCOMPARE(refresh(list, db()), 3);
    QCOMPARE(list.files(), QVariantList({entry("alias"_s, "e1"_s, 6, 148), entry("alias"_s, "e2"_s, 2, 148),
                                         entry("other"_s, "e3"_s, 2, 145)}));
}

void TestSyncErrorList::keptWhileUnchanged()
{
    VornSyncErrorList list;
    refresh(list, db());
    const QVariantList before = list.files();
    QCOMPARE(before.size(), 3);
    QVERIFY(raw().execAll(
        {"UPDATE file_tracking SET status = 18 WHERE error_code = 0"_s,
         "INSERT INTO file_tracking (file_name, directories_id, status) VALUES ('n', 1, 17)"_s}));
    QVERIFY(db().recordFileSync(1, "h1"_s, 5, QDateTime::currentDateTime(), QDateTime::currentDateTime()));
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(refresh(list, db()), 3);
        QVERIFY(list.files().isSharedWith(before));
    }
}

// A change whose trace is wiped out: who reads the rows again sees it, who trusts the number does not.
void TestSyncErrorList::notReadWhileUnchanged()
{
    VornSyncErrorList list;
    refresh(list, db());
    const QVariantList before = list.files();
    const qint64 revision = revisionOf(db()).value_or(0);
    QVERIFY(raw().execAll({"UPDATE file_tracking SET error_code = 9 WHERE file_name = 'e1'"_s,
                           "DELETE FROM file_tracking WHERE file_name = 'e2'"_s}));
    QVERIFY(raw().exec("UPDATE file_tracking_errors SET revision = ?"_s, {revision}));
    QCOMPARE(refresh(list, db()), 3);
    QVERIFY(list.files().isSharedWith(before));
    QVERIFY(raw().exec("UPDATE file_tracking_errors SET revision = revision + 1"_s));
    QCOMPARE(refresh(list, db()), 2);
    QCOMPARE(list.files(), plainList(db()));
}

void TestSyncErrorList::oneChangedEntry_data()
{
    QTest::addColumn<QString>("statement");
    QTest::addColumn<int>("sharedBefore"); // entries at the beginning that are those of before
    QTest::addColumn<int>("sharedAfter");  // and at the end
    const QString insert =
        "INSERT INTO file_tracking (file_name, directories_id, status, error_code) VALUES ('%1', 1, 148, 6)"_s;
    const QString remove = "DELETE FROM file_tracking WHERE file_name = '%1'"_s;
    const QString change = "UPDATE file_tracking SET error_code = 9 WHERE file_name = '%1'"_s;
    QTest::newRow("first comes") << insert.arg("e0"_s) << 0 << 3;
    QTest::newRow("middle comes") << insert.arg("e15"_s) << 1 << 2;
    QTest::newRow("last comes") << insert.arg("e9"_s) << 2 << 1;
    QTest::newRow("first goes") << remove.arg("e1"_s) << 0 << 2;
    QTest::newRow("middle goes") << remove.arg("e2"_s) << 1 << 1;
    QTest::newRow("last goes") << remove.arg("e3"_s) << 2 << 0;
    QTest::newRow("first changes") << change.arg("e1"_s) << 0 << 2;
    QTest::newRow("middle changes") << change.arg("e2"_s) << 1 << 1;
    QTest::newRow("last changes") << change.arg("e3"_s) << 2 << 0;
    QTest::newRow("status changes") << "UPDATE file_tracking SET status = 145 WHERE file_name = 'e2'"_s << 1
                                    << 1;
    QTest::newRow("alias changes") << "UPDATE directories SET alias_name = 'z' WHERE id = 2"_s << 2 << 0;
    QTest::newRow("renamed in its place")
        << "UPDATE file_tracking SET file_name = 'e21' WHERE file_name = 'e2'"_s << 1 << 1;
    QTest::newRow("all change") << "UPDATE file_tracking SET error_code = 9 WHERE error_code != 0"_s << 0
                                << 0;
}

void TestSyncErrorList::oneChangedEntry()
{
    QFETCH(QString, statement);
    QFETCH(int, sharedBefore);
    QFETCH(int, sharedAfter);
    VornSyncErrorList list;
    refresh(list, db());
    const QVariantList before = list.files();
    QVERIFY(raw().exec(statement));
    QCOMPARE(refresh(list, db()), plainList(db()).size());
    const QVariantList after = list.files();
    QCOMPARE(after, plainList(db()));
    QVERIFY(!after.isSharedWith(before));
    for (int i = 0; i < sharedBefore; ++i)
        QVERIFY2(isEntryShared(after.at(i), before.at(i)), qPrintable(QString::number(i)));
    for (int i = 1; i <= sharedAfter; ++i)
        QVERIFY2(isEntryShared(after.at(after.size() - i), before.at(before.size() - i)),
                 qPrintable(QString::number(-i)));
}

void TestSyncErrorList::lastErrorGone()
{
    VornSyncErrorList list;
    refresh(list, db());
    QVERIFY(raw().exec("UPDATE file_tracking SET status = 17, error_code = 0"_s));
    QCOMPARE(refresh(list, db()), 0);
    QCOMPARE(list.files(), QVariantList());
    QVERIFY(raw().exec("UPDATE file_tracking SET status = 145, error_code = 2 WHERE file_name = 'e3'"_s));
    QCOMPARE(refresh(list, db()), 1);
    QCOMPARE(namesOf(list), QStringList{"e3"_s});
}

// The table is away for one moment, and comes back as it was.
void TestSyncErrorList::failedCountIsRepeated()
{
    VornSyncErrorList list;
    const auto revision = revisionOf(db());
    QVERIFY(revision);
    QVERIFY(raw().exec("ALTER TABLE file_tracking RENAME TO away"_s));
    QCOMPARE(list.count(db(), revision), 0);
    list.update(db());
    QCOMPARE(list.files(), QVariantList());
    QVERIFY(!m_fixture->errorTexts().isEmpty()); // it has failed indeed
    QVERIFY(raw().exec("ALTER TABLE away RENAME TO file_tracking"_s));
    QCOMPARE(list.count(db(), revision), 3);
    list.update(db());
    QCOMPARE(list.files(), plainList(db()));
    QCOMPARE(list.files().size(), 3);
}

void TestSyncErrorList::failedListIsReadAgain()
{
    VornSyncErrorList list;
    const auto revision = revisionOf(db());
    QVERIFY(revision);
    for (int i = 0; i < 2; ++i) { // never read before, and read before
        QVERIFY(raw().exec("UPDATE file_tracking SET error_code = error_code + 1 WHERE file_name = 'e1'"_s));
        const auto changed = revisionOf(db());
        QCOMPARE(list.count(db(), changed), 3);
        QVERIFY(raw().exec("ALTER TABLE file_tracking RENAME TO away"_s));
        list.update(db());
        QCOMPARE(list.files(), QVariantList());
        QVERIFY(raw().exec("ALTER TABLE away RENAME TO file_tracking"_s));
        QCOMPARE(list.count(db(), changed), 3);
        list.update(db());
        QCOMPARE(list.files(), plainList(db()));
        QCOMPARE(list.files().size(), 3);
    }
}

// Somebody writes between the number and the count, or between the count and the list.
void TestSyncErrorList::countBeforeTheChange()
{
    VornSyncErrorList list;
    auto revision = revisionOf(db());
    QVERIFY(insertError("e4"_s));
    QCOMPARE(list.count(db(), revision), 4);
    QVERIFY(insertError("e5"_s));
    list.update(db());
    QCOMPARE(refresh(list, db()), 5);
    QCOMPARE(list.files(), plainList(db()));

    revision = revisionOf(db());
    QCOMPARE(list.count(db(), revision), 5);
    QVERIFY(raw().exec("DELETE FROM file_tracking WHERE file_name = 'e4'"_s));
    list.update(db()); // may be either
    QCOMPARE(refresh(list, db()), 4);
    QCOMPARE(list.files(), plainList(db()));
}

void TestSyncErrorList::withoutANumber()
{
    VornSyncErrorList list;
    refresh(list, db());
    QVERIFY(raw().exec("DROP TRIGGER file_tracking_errors_update"_s));
    for (int code = 10; code < 13; ++code) {
        QVERIFY(raw().exec("UPDATE file_tracking SET error_code = ? WHERE file_name = 'e1'"_s, {code}));
        QCOMPARE(refresh(list, db()), 3);
        QCOMPARE(list.files().first().toMap().value("errorCode"_s).toInt(), code);
    }
    QVERIFY(raw().exec("DELETE FROM file_tracking WHERE file_name = 'e1'"_s));
    QCOMPARE(refresh(list, db()), 2);
    QVERIFY(db().initialize());
    QCOMPARE(refresh(list, db()), 2);
    QVERIFY(raw().exec("UPDATE file_tracking SET error_code = 13 WHERE file_name = 'e2'"_s));
    refresh(list, db());
    QCOMPARE(list.files(), plainList(db()));
}

// --- Whoever writes whatever ----------------------------------------------------------------------------

namespace {

// One random write of ours or of a foreign program; some of them fail, and change nothing then.
class Writer
{
public:
    Writer(SyncDatabaseFixture& fixture, quint32 seed)
        : m_fixture(fixture)
        , m_random(seed)
    {
    }

    QString step() { return below(2) ? own() : foreign(); }

private:
    int below(int bound) { return int(m_random() % quint32(bound)); }
    QString name() { return QString(QLatin1Char(char('a' + below(6)))); }
    int id() { return 1 + below(3); }
    int status() { return QVector<int>({0, 17, 18, 20, 33, 145, 148, 128}).at(below(8)); }
    int code() { return below(2) ? 0 : 1 + below(8); }

    QString own()
    {
        VornSyncDatabase& database = m_fixture.database;
        const int directoryId = id();
        const QString file = name();
        const QString other = name();
        const auto now = QDateTime::currentDateTime();
        switch (below(12)) {
        case 0:
        case 1:
            database.setFileStatus(directoryId, file, ceSfsError, code());
            return "error %1 %2"_s.arg(directoryId).arg(file);
        case 2:
            database.clearFileError(directoryId, file);
            return "clear %1 %2"_s.arg(directoryId).arg(file);
        case 3:
            database.setFileStatus(directoryId, file, ceSfsPendingSync, ceSecNone);
            return "pending %1 %2"_s.arg(directoryId).arg(file);
        case 4:
            database.recordFileSync(directoryId, file, 1, now, now);
            return "record %1 %2"_s.arg(directoryId).arg(file);
        case 5:
            database.renameFile(directoryId, file, other);
            return "rename %1 %2 %3"_s.arg(directoryId).arg(file, other);
        case 6:
            database.renameFileOverTombstone(directoryId, file, other);
            return "rename over %1 %2 %3"_s.arg(directoryId).arg(file, other);
        case 7:
            database.removeFileSync(directoryId, file);
            return "remove %1 %2"_s.arg(directoryId).arg(file);
        case 8:
            database.setFileDeleted(directoryId, file);
            return "delete %1 %2"_s.arg(directoryId).arg(file);
        case 9:
            m_fixture.raw.exec("INSERT OR IGNORE INTO directories (id, alias_name, local_path, distant_path, "
                               "trash_path) VALUES (1, 'alias', '/l', '/d', '/t'), (2, 'other', '/m', '/d', "
                               "'/t'), (3, 'third', '/n', '/d', '/t')"_s);
            return "directories"_s;
        case 10:
            if (below(4) == 0)
                database.deleteDirectory(directoryId);
            return "remove directory %1, perhaps"_s.arg(directoryId);
        default:
            if (below(6) == 0)
                database.reset();
            else
                database.initialize();
            return "initialize or reset"_s;
        }
    }

    QString foreign()
    {
        const QString where = " WHERE file_name = '%1' AND directories_id = %2"_s.arg(name()).arg(id());
        const QString values =
            " INTO file_tracking (file_name, directories_id, status, error_code) VALUES ('%1', %2, %3, %4)"_s
                .arg(name())
                .arg(id())
                .arg(status())
                .arg(code());
        const QStringList statements = {
            "INSERT"_s + values,
            "INSERT OR IGNORE"_s + values,
            "REPLACE"_s + values,
            "REPLACE"_s + values,
            "UPDATE file_tracking SET error_code = %1"_s.arg(code()) + where,
            "UPDATE file_tracking SET status = %1"_s.arg(status()) + where,
            "UPDATE OR REPLACE file_tracking SET file_name = '%1'"_s.arg(name()) + where,
            "UPDATE OR REPLACE file_tracking SET directories_id = %1"_s.arg(id()) + where,
            "DELETE FROM file_tracking"_s + where,
            "UPDATE directories SET alias_name = 'alias %1' WHERE id = %2"_s.arg(below(9)).arg(id()),
            "UPDATE OR REPLACE directories SET local_path = '/l%1' WHERE id = %2"_s.arg(below(4)).arg(id()),
            "REPLACE INTO directories (id, alias_name, local_path, distant_path, trash_path) VALUES (%1, 'alias %2', '/l%3', 'd', 't')"_s
                .arg(id())
                .arg(below(4))
                .arg(below(4)),
            "DELETE FROM directories WHERE id = %1"_s.arg(below(40)),
        };
        const QString keys = "PRAGMA foreign_keys=%1"_s.arg(below(2));
        const QString statement = statements.at(below(int(statements.size())));
        m_fixture.raw.execAll({keys, statement});
        return keys + "; "_s + statement;
    }

    SyncDatabaseFixture& m_fixture;
    std::mt19937 m_random;
};

} // namespace

// VORN_TEST_SEED=n plays one sequence again.
void TestSyncErrorList::asTheDatabase_data()
{
    addSeedRows(kSeeds);
}

void TestSyncErrorList::asTheDatabase()
{
    QFETCH(quint32, seed);
    Writer writer(*m_fixture, seed);
    const TraceCapture trace; // of the writes that fail
    VornSyncErrorList list;
    QStringList log;
    int entries = 0;
    int keptLists = 0;
    for (int step = 0; step < kStepsPerSeed; ++step) {
        const QVariantList before = list.files();
        log << writer.step();
        const int count = refresh(list, db());
        // Rows without a directory are counted, and not listed.
        const bool isRight = count == db().countFilesInError() && list.files() == plainList(db());
        QVERIFY2(isRight, qPrintable("VORN_TEST_SEED=%1\n%2"_s.arg(QString::number(seed), log.join("\n"_s))));
        QVERIFY2(counterProblem().isEmpty(), qPrintable(counterProblem() + "\n"_s + log.join("\n"_s)));
        entries += int(list.files().size());
        keptLists += int(!before.isEmpty() && list.files().isSharedWith(before));
    }
    QVERIFY(entries > kStepsPerSeed / 4); // or nothing was seen
    QVERIFY(keptLists > kStepsPerSeed / 20);
}

QTEST_GUILESS_MAIN(TestSyncErrorList)
#include "test_sync_error_list.moc"

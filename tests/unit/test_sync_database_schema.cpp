#include "collect.h"
#include "literals.h"
#include "mounts.h"
#include "pair.h"
#include "raw_database.h"
#include "trace_capture.h"
#include "vorn_sync_database.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

using namespace VornSyncTest;

namespace {

const char* const kFileColumns = "file_name TEXT NOT NULL, directories_id INTEGER NOT NULL, size INTEGER, "
                                 "local_lmd TEXT, distant_lmd TEXT, "
                                 "status INTEGER NOT NULL DEFAULT 0, trashed_date TEXT";
const char* const kFileConstraints = "PRIMARY KEY (file_name, directories_id), FOREIGN KEY (directories_id) "
                                     "REFERENCES directories(id) ON DELETE CASCADE";
const char* const kDirectories =
    "CREATE TABLE directories (id INTEGER PRIMARY KEY AUTOINCREMENT, alias_name TEXT UNIQUE NOT NULL, "
    "local_path TEXT UNIQUE NOT NULL, distant_path TEXT NOT NULL, trash_path TEXT NOT NULL, "
    "available BOOLEAN DEFAULT 0)";

QString createFiles(const QString& moreColumns = QString())
{
    return "CREATE TABLE file_tracking (%1%2, %3)"_s.arg(QLatin1String(kFileColumns), moreColumns,
                                                         QLatin1String(kFileConstraints));
}

// A file of the first generation without rows.
QStringList firstGeneration()
{
    return {QLatin1String(kDirectories),
            "CREATE TABLE file_tracking (file_name TEXT NOT NULL, directories_id INTEGER NOT NULL, size "
            "INTEGER, last_sync TEXT, status INTEGER, deletion_date TEXT, PRIMARY KEY (file_name, "
            "directories_id))"_s};
}

QStringList secondGeneration()
{
    return {QLatin1String(kDirectories), createFiles(),
            "CREATE TABLE schema_version (version INTEGER PRIMARY KEY)"_s,
            "INSERT INTO schema_version VALUES (2)"_s};
}

QStringList thirdGeneration()
{
    return {QLatin1String(kDirectories), createFiles(", error_code INTEGER NOT NULL DEFAULT 0"_s),
            "CREATE TABLE schema_version (version INTEGER PRIMARY KEY)"_s,
            "INSERT INTO schema_version VALUES (3)"_s};
}

QString line(const QString& text)
{
    return "initialize - "_s + text;
}

} // namespace

class TestSyncDatabaseSchema : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void newFile();
    void newFileHasTheExactSchema();
    void initializeTwiceChangesNothing_data();
    void initializeTwiceChangesNothing();
    void firstGenerationTraces();
    void firstGenerationRows();
    void firstGenerationLocalTimes();
    void firstGenerationDistantTimes_data();
    void firstGenerationDistantTimes();
    void firstGenerationOddRows();
    void firstGenerationRowsThatCannotBeKept();
    void firstGenerationWithUnreadableTable();
    void firstGenerationOddNames();
    void secondGeneration_data();
    void secondGeneration();
    void secondGenerationWithErrorCode();
    void thirdGenerationWithoutExtension();
    void laterVersionIsLeft();
    void emptyVersionTableGetsARow();
    void failedColumnIsReported();
    void failedExtensionIsFalse();
    void lockedFileStaysAsItWas();
    void reset();
    void resetOfGarbage();
    void resetThatFails();
    void resetThatCannotRecreate();
    void unusableFile();
    void errorsCarryTheGivenName();

private:
    QString path() const { return m_directory->filePath("state.db"_s); }
    bool migrate(const QStringList& statements);

    std::unique_ptr<QTemporaryDir> m_directory;
    QStringList m_lines;  // of the last migration
    QStringList m_errors; // of the last migration
};

void TestSyncDatabaseSchema::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
    m_lines.clear();
    m_errors.clear();
}

// Writes an old file from outside, then runs initialize on it.
bool TestSyncDatabaseSchema::migrate(const QStringList& statements)
{
    RawDatabase raw(path());
    if (!raw.execAll(statements)) {
        qWarning() << raw.lastError();
        return false;
    }
    TraceCapture capture;
    VornSyncDatabase database(path());
    QSignalSpy errors(&database, &VornSyncDatabase::errorOccurred);
    const bool done = database.initialize();
    m_lines = capture.linesOf("DB: "_s);
    m_errors.clear();
    for (const QVariantList& error : qAsConst(errors))
        m_errors << error.first().toString();
    return done;
}

// --- New files and repeated runs ------------------------------------------------------------------------

void TestSyncDatabaseSchema::newFile()
{
    QVERIFY(migrate({}));
    QCOMPARE(m_errors, QStringList());
    if (traceLinesBuiltIn())
        QCOMPARE(m_lines, (QStringList{line("Old database schema detected, performing migration..."_s),
                                       line("Found 0 files and 0 directories to migrate"_s),
                                       line("Old tables dropped, creating new schema..."_s)}));
    RawDatabase raw(path());
    QCOMPARE(raw.value("SELECT COUNT(*) FROM directories"_s).toInt(), 0);
    QCOMPARE(raw.value("SELECT COUNT(*) FROM file_tracking"_s).toInt(), 0);
    QCOMPARE(raw.rows("SELECT version FROM schema_version"_s), (QList<QVariantMap>{{{"version"_s, 3LL}}}));
    QCOMPARE(raw.integrityProblems(), QString());
}

void TestSyncDatabaseSchema::newFileHasTheExactSchema()
{
    QVERIFY(migrate({}));
    RawDatabase raw(path());
    const auto sqlOf = [&](const QString& table) {
        return raw.value("SELECT sql FROM sqlite_master WHERE type = 'table' AND name = ?"_s, {table})
            .toString();
    };
    QCOMPARE(sqlOf("directories"_s), QLatin1String(kDirectories));
    QCOMPARE(sqlOf("schema_version"_s), "CREATE TABLE schema_version (version INTEGER PRIMARY KEY)"_s);
    QCOMPARE(sqlOf("file_tracking"_s),
             createFiles(", error_code INTEGER NOT NULL DEFAULT 0, status_changed_at TEXT"_s));
}

void TestSyncDatabaseSchema::initializeTwiceChangesNothing_data()
{
    QTest::addColumn<QStringList>("statements");
    const QStringList rows = {
        "INSERT INTO directories VALUES (4, 'a', '/l', '/d', '/t', 1)"_s,
        "INSERT INTO file_tracking (file_name, directories_id, size, status) VALUES ('x', 4, 5, 18)"_s};
    QTest::newRow("new") << QStringList();
    QTest::newRow("first") << firstGeneration() + rows;
    QTest::newRow("second") << ::secondGeneration() + rows;
    QTest::newRow("third") << thirdGeneration() + rows;
}

void TestSyncDatabaseSchema::initializeTwiceChangesNothing()
{
    QFETCH(QStringList, statements);
    QVERIFY(migrate(statements));
    RawDatabase raw(path());
    const auto dump = [&raw] {
        QList<QList<QVariantMap>> tables = {raw.rows("SELECT type, name, sql FROM sqlite_master"_s)};
        const auto names = raw.rows("SELECT name FROM sqlite_master WHERE type = 'table'"_s);
        for (const QVariantMap& name : names)
            tables << raw.rows("SELECT * FROM "_s + name.value("name"_s).toString());
        return tables;
    };
    const auto before = dump();
    QVERIFY(migrate({}));
    QCOMPARE(m_lines, QStringList());
    QCOMPARE(m_errors, QStringList());
    QVERIFY(dump() == before);
    QCOMPARE(raw.integrityProblems(), QString());
}

// --- The first generation -------------------------------------------------------------------------------

void TestSyncDatabaseSchema::firstGenerationTraces()
{
    QVERIFY(migrate(
        firstGeneration() +
        QStringList{"INSERT INTO directories VALUES (7, 'a', '/l', '/d', '/t', 1)"_s,
                    "INSERT INTO directories VALUES (9, 'b', '/l2', '/d2', '/t2', 0)"_s,
                    "INSERT INTO file_tracking VALUES ('x', 7, 5, '2020-01-02T03:04:05', 0, NULL)"_s}));
    QCOMPARE(m_errors, QStringList());
    if (!traceLinesBuiltIn())
        QSKIP("Built without trace lines");
    QCOMPARE(m_lines,
             (QStringList{line("Old database schema detected, performing migration..."_s),
                          line("Found 1 files and 2 directories to migrate"_s),
                          line("Old tables dropped, creating new schema..."_s),
                          line("Restoring 2 directories after migration..."_s),
                          line("Restored 2/2 directories"_s), line("Restoring 1 files after migration..."_s),
                          line("Migration complete: 1/1 files restored"_s)}));
}

void TestSyncDatabaseSchema::firstGenerationRows()
{
    QVERIFY(migrate(
        firstGeneration() +
        QStringList{"INSERT INTO directories VALUES (7, 'a', '/no/l', '/no/d', '/no/t', 1)"_s,
                    "INSERT INTO directories VALUES (9, 'b', '/no/l2', '/no/d2', '/no/t2', 0)"_s,
                    "INSERT INTO file_tracking VALUES ('pending', 7, 5, '2020-01-02T03:04:05', 18, NULL)"_s,
                    "INSERT INTO file_tracking VALUES ('trashed', 9, 6000000000, '2020-01-02T03:04:06', 33, "
                    "'2020-02-03T04:05:06Z')"_s,
                    "INSERT INTO file_tracking VALUES ('bare', 7, NULL, NULL, 128, NULL)"_s}));
    RawDatabase raw(path());
    QCOMPARE(raw.directoryRow(7), (QVariantMap{{"id"_s, 7LL},
                                               {"alias_name"_s, "a"_s},
                                               {"local_path"_s, "/no/l"_s},
                                               {"distant_path"_s, "/no/d"_s},
                                               {"trash_path"_s, "/no/t"_s},
                                               {"available"_s, 1LL}}));
    QCOMPARE(raw.directoryRow(9).value("available"_s).toInt(), 0);

    const QVariantMap pending = raw.fileRow(7, "pending"_s);
    QCOMPARE(pending.value("size"_s).toLongLong(), 5);
    QCOMPARE(pending.value("local_lmd"_s).toString(), "2020-01-02T03:04:05"_s);
    QCOMPARE(pending.value("distant_lmd"_s).toString(), "2020-01-02T03:04:05"_s);
    QCOMPARE(pending.value("status"_s).toInt(), 18);
    QCOMPARE(pending.value("error_code"_s).toInt(), 0);
    QVERIFY(pending.value("trashed_date"_s).isNull());
    QVERIFY(pending.value("status_changed_at"_s).isNull());

    const QVariantMap trashed = raw.fileRow(9, "trashed"_s);
    QCOMPARE(trashed.value("size"_s).toLongLong(), 6000000000LL);
    QCOMPARE(trashed.value("distant_lmd"_s).toString(), "2020-01-02T03:04:06"_s);
    QCOMPARE(trashed.value("status"_s).toInt(), 33);
    QCOMPARE(trashed.value("trashed_date"_s).toString(), "2020-02-03T04:05:06Z"_s);

    const QVariantMap bare = raw.fileRow(7, "bare"_s);
    QVERIFY(bare.value("size"_s).isNull());
    QVERIFY(bare.value("local_lmd"_s).isNull());
    QVERIFY(bare.value("distant_lmd"_s).isNull());
    QCOMPARE(bare.value("status"_s).toInt(), 128);
    QCOMPARE(raw.integrityProblems(), QString());

    // Ids go on behind the ones that were kept.
    VornSyncDatabase database(path());
    QVERIFY(database.addDirectory("c"_s, "/l3"_s, "/d3"_s, "/t3"_s) > 9);
}

void TestSyncDatabaseSchema::firstGenerationLocalTimes()
{
    Pair pair;
    QVERIFY(pair.isValid());
    const QDateTime lmd(QDate(2021, 6, 7), QTime(8, 9, 10), Qt::UTC);
    QVERIFY(pair.local().write("here"_s, "12345"));
    QVERIFY(pair.local().setLmd("here"_s, lmd));
    QVERIFY(migrate(
        firstGeneration() +
        QStringList{"INSERT INTO directories VALUES (1, 'a', '%1', '%2', '/t', 1)"_s.arg(pair.localPath(),
                                                                                         pair.distantPath()),
                    "INSERT INTO file_tracking VALUES ('here', 1, 5, '2020-01-02T03:04:05', 18, NULL)"_s,
                    "INSERT INTO file_tracking VALUES ('gone', 1, 5, '2020-01-02T03:04:05', 18, NULL)"_s,
                    "INSERT INTO file_tracking VALUES ('../a', 1, 5, '2020-01-02T03:04:05', 17, NULL)"_s}));
    RawDatabase raw(path());
    QCOMPARE(raw.fileRow(1, "here"_s).value("local_lmd"_s).toString(), "2021-06-07T08:09:10Z"_s);
    QCOMPARE(raw.fileRow(1, "gone"_s).value("local_lmd"_s).toString(), "2020-01-02T03:04:05"_s);
    QCOMPARE(raw.fileRow(1, "../a"_s).value("distant_lmd"_s).toString(), "UNDEFINED"_s);
}

void TestSyncDatabaseSchema::firstGenerationDistantTimes_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("distantDirectory");
    QTest::addColumn<int>("directoryId");
    QTest::addColumn<QString>("expected");
    QTest::newRow("copy there") << 17 << "there"_s
                                << "distant"_s << 1 << "2022-03-04T05:06:07Z"_s;
    QTest::newRow("copy missing") << 17 << "missing"_s
                                  << "distant"_s << 1 << ""_s;
    QTest::newRow("a directory in its place") << 17 << "directory"_s
                                              << "distant"_s << 1 << "UNDEFINED"_s;
    QTest::newRow("distant away") << 17 << "there"_s
                                  << "away"_s << 1 << "UNDEFINED"_s;
    QTest::newRow("directory unknown") << 17 << "there"_s
                                       << "distant"_s << 2 << "UNDEFINED"_s;
    QTest::newRow("other status") << 20 << "there"_s
                                  << "distant"_s << 1 << "2020-01-02T03:04:05"_s;
    QTest::newRow("tombstone") << 40 << "missing"_s
                               << "distant"_s << 1 << "2020-01-02T03:04:05"_s;
}

void TestSyncDatabaseSchema::firstGenerationDistantTimes()
{
    QFETCH(int, status);
    QFETCH(QString, fileName);
    QFETCH(QString, distantDirectory);
    QFETCH(int, directoryId);
    Pair pair;
    QVERIFY(pair.isValid());
    QVERIFY(pair.distant().write("there"_s, "12345"));
    QVERIFY(pair.distant().setLmd("there"_s, QDateTime(QDate(2022, 3, 4), QTime(5, 6, 7), Qt::UTC)));
    QVERIFY(pair.distant().makeDirectory("directory"_s));
    const QString distant =
        distantDirectory == "distant"_s ? pair.distantPath() : pair.distantPath() + "/away"_s;
    QVERIFY(migrate(
        firstGeneration() +
        QStringList{"INSERT INTO directories VALUES (1, 'a', '/no/l', '%1', '/t', 1)"_s.arg(distant),
                    "INSERT INTO file_tracking VALUES ('%1', %2, 5, '2020-01-02T03:04:05', %3, NULL)"_s.arg(
                        fileName, QString::number(directoryId), QString::number(status))}));
    const QVariant stored = RawDatabase(path()).fileRow(directoryId, fileName).value("distant_lmd"_s);
    QVERIFY(!stored.isNull());
    QTEST(stored.toString(), "expected");
}

void TestSyncDatabaseSchema::firstGenerationOddRows()
{
    // Rows whose directory is gone, and a table of files alone.
    QVERIFY(migrate({firstGeneration().last(),
                     "INSERT INTO file_tracking VALUES ('lost', 99, 5, '2020-01-02T03:04:05', 17, NULL)"_s}));
    QCOMPARE(m_errors, QStringList());
    RawDatabase raw(path());
    QCOMPARE(raw.fileRow(99, "lost"_s).value("distant_lmd"_s).toString(), "UNDEFINED"_s);
    QCOMPARE(raw.fileRow(99, "lost"_s).value("size"_s).toInt(), 5);
}

void TestSyncDatabaseSchema::firstGenerationRowsThatCannotBeKept()
{
    QVERIFY(migrate(
        {"CREATE TABLE directories (id INTEGER, alias_name TEXT, local_path TEXT, distant_path TEXT, "
         "trash_path TEXT, available INTEGER)"_s,
         "INSERT INTO directories VALUES (1, 'a', '/l', '/d', '/t', 1), (2, 'a', '/m', '/d', '/t', 1), "
         "(3, 'b', '/n', '/d', '/t', 1)"_s,
         "CREATE TABLE file_tracking (file_name TEXT, directories_id INTEGER, size INTEGER, last_sync "
         "TEXT, status INTEGER, deletion_date TEXT)"_s,
         "INSERT INTO file_tracking VALUES ('x', 1, 5, NULL, 18, NULL), ('x', 1, 6, NULL, 18, NULL), "
         "('y', 1, 7, NULL, NULL, NULL), ('z', 3, 8, NULL, 0, NULL)"_s}));
    RawDatabase raw(path());
    QCOMPARE(raw.value("SELECT group_concat(id) FROM directories"_s).toString(), "1,3"_s);
    QCOMPARE(raw.value("SELECT group_concat(file_name || size) FROM file_tracking"_s).toString(), "x5,z8"_s);
    QCOMPARE(m_errors.size(), 3);
    if (!traceLinesBuiltIn())
        QSKIP("Built without trace lines");
    QVERIFY(m_lines.contains(line("Restored 2/3 directories"_s)));
    QVERIFY(m_lines.contains(line("Migration complete: 2/4 files restored"_s)));
}

void TestSyncDatabaseSchema::firstGenerationWithUnreadableTable()
{
    QVERIFY(migrate({"CREATE TABLE file_tracking (something TEXT)"_s, QLatin1String(kDirectories),
                     "INSERT INTO directories VALUES (5, 'a', '/l', '/d', '/t', 1)"_s}));
    QCOMPARE(m_errors.size(), 1);
    QVERIFY(m_errors.first().contains("no such column"_s));
    QCOMPARE(RawDatabase(path()).value("SELECT id FROM directories"_s).toInt(), 5);
    if (traceLinesBuiltIn())
        QVERIFY(m_lines.contains(line("Found 0 files and 1 directories to migrate"_s)));
}

void TestSyncDatabaseSchema::firstGenerationOddNames()
{
    const QStringList names = {"%1 %2"_s,        "it's"_s, "a\nb"_s,
                               "Ünïcödé 文件"_s, "-rf"_s,  QString(255, QLatin1Char('x'))};
    RawDatabase raw(path());
    QVERIFY(raw.execAll(firstGeneration()));
    QVERIFY(raw.exec("INSERT INTO directories VALUES (1, ?, ?, '/no/d', '/t', 1)"_s,
                     {"al'i%1as"_s, "/no/l%2"_s}));
    for (const QString& name : names)
        QVERIFY(raw.exec("INSERT INTO file_tracking VALUES (?, 1, 5, '2020-01-02T03:04:05', 18, NULL)"_s,
                         {name}));
    QVERIFY(migrate({}));
    for (const QString& name : names)
        QCOMPARE(raw.fileRow(1, name).value("size"_s).toInt(), 5);
    QCOMPARE(raw.directoryRow(1).value("alias_name"_s).toString(), "al'i%1as"_s);
}

// --- Later generations ----------------------------------------------------------------------------------

void TestSyncDatabaseSchema::secondGeneration_data()
{
    QTest::addColumn<int>("version");
    QTest::newRow("2") << 2;
    QTest::newRow("1") << 1;
    QTest::newRow("0") << 0;
}

void TestSyncDatabaseSchema::secondGeneration()
{
    QFETCH(int, version);
    QVERIFY(migrate(
        ::secondGeneration() +
        QStringList{"UPDATE schema_version SET version = %1"_s.arg(version),
                    "INSERT INTO directories VALUES (4, 'a', '/l', '/d', '/t', 1)"_s,
                    "INSERT INTO file_tracking VALUES ('error', 4, 5, 'l', 'd', 128, NULL), "
                    "('fine', 4, 6, 'l', 'd', 17, NULL), ('failed copy', 4, 7, 'l', 'd', 148, NULL)"_s}));
    QCOMPARE(m_errors, QStringList());
    RawDatabase raw(path());
    QCOMPARE(raw.fileRow(4, "error"_s).value("error_code"_s).toInt(), 1);
    QCOMPARE(raw.fileRow(4, "fine"_s).value("error_code"_s).toInt(), 0);
    QCOMPARE(raw.fileRow(4, "failed copy"_s).value("error_code"_s).toInt(), 0);
    QCOMPARE(raw.value("SELECT COUNT(*) FROM file_tracking WHERE status_changed_at IS NULL"_s).toInt(), 3);
    QCOMPARE(raw.rows("SELECT version FROM schema_version"_s), (QList<QVariantMap>{{{"version"_s, 3LL}}}));
    if (!traceLinesBuiltIn())
        QSKIP("Built without trace lines");
    QCOMPARE(
        m_lines,
        (QStringList{
            line("Schema v%1 found, upgrading file_tracking to v3 (adding error_code column)"_s.arg(version)),
            line("v2→v3 migration: OK (column added and historical Error rows tagged)"_s),
            line("v3 extension: status_changed_at column added (OK)"_s)}));
}

void TestSyncDatabaseSchema::secondGenerationWithErrorCode()
{
    QStringList statements = thirdGeneration();
    statements.last() = "INSERT INTO schema_version VALUES (2)"_s;
    QVERIFY(migrate(statements +
                    QStringList{"INSERT INTO file_tracking VALUES ('x', 1, 5, '', '', 128, NULL, 9)"_s}));
    QCOMPARE(RawDatabase(path()).fileRow(1, "x"_s).value("error_code"_s).toInt(), 9);
    QCOMPARE(RawDatabase(path()).value("SELECT version FROM schema_version"_s).toInt(), 3);
}

void TestSyncDatabaseSchema::thirdGenerationWithoutExtension()
{
    QVERIFY(migrate(thirdGeneration() +
                    QStringList{"INSERT INTO directories VALUES (4, 'a', '/l', '/d', '/t', 1)"_s,
                                "INSERT INTO file_tracking VALUES ('x', 4, 5, 'l', 'd', 145, 't', 6)"_s}));
    QCOMPARE(m_errors, QStringList());
    const QVariantMap row = RawDatabase(path()).fileRow(4, "x"_s);
    QVERIFY(row.contains("status_changed_at"_s));
    QVERIFY(row.value("status_changed_at"_s).isNull());
    QCOMPARE(row.value("status"_s).toInt(), 145);
    QCOMPARE(row.value("error_code"_s).toInt(), 6);
    QCOMPARE(row.value("trashed_date"_s).toString(), "t"_s);
    if (traceLinesBuiltIn())
        QCOMPARE(m_lines, QStringList{line("v3 extension: status_changed_at column added (OK)"_s)});
}

void TestSyncDatabaseSchema::laterVersionIsLeft()
{
    QVERIFY(migrate({}));
    QVERIFY(migrate({"UPDATE schema_version SET version = 4"_s}));
    QCOMPARE(m_lines, QStringList());
    QCOMPARE(RawDatabase(path()).value("SELECT version FROM schema_version"_s).toInt(), 4);
}

void TestSyncDatabaseSchema::emptyVersionTableGetsARow()
{
    QVERIFY(migrate(thirdGeneration() + QStringList{"DELETE FROM schema_version"_s}));
    QCOMPARE(RawDatabase(path()).value("SELECT version FROM schema_version"_s).toInt(), 3);
    if (traceLinesBuiltIn())
        QCOMPARE(m_lines, QStringList{line("v3 extension: status_changed_at column added (OK)"_s)});
}

void TestSyncDatabaseSchema::failedColumnIsReported()
{
    // A view can't be given a column.
    QVERIFY(
        migrate({QLatin1String(kDirectories), "CREATE TABLE schema_version (version INTEGER PRIMARY KEY)"_s,
                 "INSERT INTO schema_version VALUES (2)"_s, "CREATE TABLE t (file_name, status_changed_at)"_s,
                 "CREATE VIEW file_tracking AS SELECT * FROM t"_s}));
    QCOMPARE(m_errors.size(), 1);
    QVERIFY(m_errors.first().contains("view"_s));
    if (traceLinesBuiltIn())
        QVERIFY(m_lines.contains(
            line("v2→v3 migration: FAILED (column added and historical Error rows tagged)"_s)));
    // Not lowered again, so that it is not tried again.
    QCOMPARE(RawDatabase(path()).value("SELECT version FROM schema_version"_s).toInt(), 3);
}

void TestSyncDatabaseSchema::failedExtensionIsFalse()
{
    QVERIFY(
        !migrate({QLatin1String(kDirectories), "CREATE TABLE schema_version (version INTEGER PRIMARY KEY)"_s,
                  "INSERT INTO schema_version VALUES (3)"_s, "CREATE TABLE t (file_name)"_s,
                  "CREATE VIEW file_tracking AS SELECT * FROM t"_s}));
    QCOMPARE(m_errors.size(), 1);
    if (traceLinesBuiltIn())
        QCOMPARE(m_lines, QStringList{line("v3 extension: status_changed_at column added (FAILED)"_s)});
}

void TestSyncDatabaseSchema::lockedFileStaysAsItWas()
{
    RawDatabase raw(path());
    QVERIFY(raw.execAll(firstGeneration() +
                        QStringList{"INSERT INTO directories VALUES (7, 'a', '/l', '/d', '/t', 1)"_s,
                                    "INSERT INTO file_tracking VALUES ('x', 7, 5, 'then', 17, NULL)"_s}));
    {
        QSqlDatabase holder = QSqlDatabase::addDatabase("QSQLITE"_s, "holder"_s);
        holder.setDatabaseName(path());
        QVERIFY(holder.open());
        QVERIFY(QSqlQuery(holder).exec("BEGIN IMMEDIATE"_s));
        QVERIFY(!migrate({}));
        QCOMPARE(m_errors.size(), 1);
        QVERIFY2(m_errors.first().contains("database is locked"_s), qPrintable(m_errors.first()));
        QVERIFY(QSqlQuery(holder).exec("ROLLBACK"_s));
        holder.close();
    }
    QSqlDatabase::removeDatabase("holder"_s);
    QCOMPARE(raw.value("SELECT last_sync FROM file_tracking"_s).toString(), "then"_s);
    QVERIFY(migrate({}));
    QCOMPARE(raw.fileRow(7, "x"_s).value("size"_s).toInt(), 5);
}

// --- Reset and unusable files ---------------------------------------------------------------------------

void TestSyncDatabaseSchema::reset()
{
    VornSyncDatabase database(path());
    QVERIFY(database.initialize());
    const int id = database.addDirectory("a"_s, "/l"_s, "/d"_s, "/t"_s);
    QVERIFY(database.setFileStatus(id, "x"_s, ceSfsPendingSync, 0));
    TraceCapture capture;
    QSignalSpy errors(&database, &VornSyncDatabase::errorOccurred);
    QVERIFY(database.reset());
    QCOMPARE(errors.size(), 0);
    RawDatabase raw(path());
    QCOMPARE(raw.value("SELECT COUNT(*) FROM directories"_s).toInt(), 0);
    QCOMPARE(raw.value("SELECT COUNT(*) FROM file_tracking"_s).toInt(), 0);
    QCOMPARE(raw.value("SELECT version FROM schema_version"_s).toInt(), 3);
    QCOMPARE(database.countFilesByStatuses({ceSfsPendingSync}), 0);
    QCOMPARE(database.addDirectory("a"_s, "/l"_s, "/d"_s, "/t"_s), 1);
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf("DB: "_s).at(3), "reset - Sync database file deleted and recreated empty"_s);
}

void TestSyncDatabaseSchema::resetOfGarbage()
{
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(QByteArray(5000, 'g')), 5000);
    file.close();
    VornSyncDatabase database(path());
    QVERIFY(!database.initialize());
    QVERIFY(database.reset());
    QCOMPARE(database.addDirectory("a"_s, "/l"_s, "/d"_s, "/t"_s), 1);
    QCOMPARE(RawDatabase(path()).integrityProblems(), QString());
}

void TestSyncDatabaseSchema::resetThatFails()
{
    QVERIFY(QDir().mkpath(path() + "/in the way"_s));
    VornSyncDatabase database(path());
    TraceCapture capture;
    QVERIFY(!database.reset());
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf("DB: "_s), QStringList{"reset - Failed to remove the sync database file"_s});
}

void TestSyncDatabaseSchema::resetThatCannotRecreate()
{
    TmpfsMount mount(m_directory->path(), "size=256k"_s);
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(QByteArray(4096, 'g')), 4096);
    file.close();
    // Nothing is free but what the file gives back.
    QFile filler(m_directory->filePath("filler"_s));
    QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    while (filler.write(QByteArray(4096, 'f')) > 0) {
    }
    VornSyncDatabase database(path());
    TraceCapture capture;
    QSignalSpy errors(&database, &VornSyncDatabase::errorOccurred);
    QVERIFY(!database.reset());
    QVERIFY(!errors.isEmpty());
    QVERIFY2(errors.last().first().toString().contains("full"_s),
             qPrintable(errors.last().first().toString()));
    if (traceLinesBuiltIn())
        QCOMPARE(capture.linesOf("DB: "_s).last(), "reset - Failed to recreate empty sync database schema"_s);

    QVERIFY(filler.remove());
    QVERIFY(database.reset());
    QCOMPARE(database.addDirectory("a"_s, "/l"_s, "/d"_s, "/t"_s), 1);
}

void TestSyncDatabaseSchema::unusableFile()
{
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(QByteArray(5000, 'g')), 5000);
    file.close();
    VornSyncDatabase database(path());
    QSignalSpy errors(&database, &VornSyncDatabase::errorOccurred);
    QVERIFY(!database.initialize());
    QVERIFY(errors.size() >= 1);
    QVERIFY(errors.first().first().toString().startsWith("ERROR: Database VornSyncDB_Connection: "_s));
    QVERIFY(errors.first().first().toString().contains("file is not a database"_s));

    // Nothing crashes, everything says no.
    const QDateTime now = QDateTime::currentDateTimeUtc();
    bool found = true;
    QVariantMap info;
    QVector<VornSyncFileRow> rows;
    QCOMPARE(database.addDirectory("a"_s, "/l"_s, "/d"_s, "/t"_s), -1);
    QCOMPARE(database.getDirectoryIdByAlias("a"_s), -1);
    QCOMPARE(database.getDirectoryAlias(1), QString());
    QCOMPARE(database.getDirectoryIds(false), QList<int>());
    QCOMPARE(database.getFileStatus(1, "x"_s, &found), int(ceSfsUnknown));
    QVERIFY(!found);
    QVERIFY(!database.setFileStatus(1, "x"_s, ceSfsPendingSync, 0));
    QVERIFY(!database.updateStatusToProcess(1, "x"_s));
    QVERIFY(!database.setFileDeleted(1, "x"_s));
    QVERIFY(!database.recordFileSync(1, "x"_s, 1, now, now));
    QVERIFY(!database.renameFile(1, "x"_s, "y"_s));
    QVERIFY(!database.removeFileSync(1, "x"_s));
    QVERIFY(!database.getFileInfo(info, "x"_s, "/l"_s, VornSyncDatabase::LocalPath));
    QVERIFY(!database.readDirectoryRows(1, into(rows)));
    QVERIFY(!database.setFileErrorIf(1, "x"_s, 0, ceSecCopyFailed));
    QCOMPARE(database.cleanupOrphanedProcessingStates(), 0);
    QCOMPARE(database.cleanupStaleProcessingStates(nullptr), 0);
    QCOMPARE(database.cleanupInconsistentTrashedDates(), 0);
    QCOMPARE(database.countFilesByStatuses({17}), 0);
    QCOMPARE(database.countFilesInError(), 0);
    QVERIFY(database.getErrorFiles().isEmpty());
    QCOMPARE(QFile(path()).size(), 5000);
}

void TestSyncDatabaseSchema::errorsCarryTheGivenName()
{
    VornSyncDatabase database(path());
    QCOMPARE(database.connectionName(), "VornSyncDB_Connection"_s);
    QVERIFY(!database.parent());
    QSignalSpy errors(&database, &VornSyncDatabase::errorOccurred);
    database.sltDatabaseErrorOccurred("Name %1"_s, "text %1 %2"_s);
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors.first().first().toString(), "ERROR: Database Name %1: text %1 %2"_s);
    QVERIFY(!database.executeQuery("SELECT missing"_s));
    QCOMPARE(errors.size(), 2);
    QVERIFY(errors.last().first().toString().startsWith("ERROR: Database VornSyncDB_Connection: "_s));
    QVERIFY(errors.last().first().toString().contains("no such column: missing"_s));
}

QTEST_GUILESS_MAIN(TestSyncDatabaseSchema)

#include "test_sync_database_schema.moc"

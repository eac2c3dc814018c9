#include "file_calls.h"
#include "literals.h"
#include "mounts.h"
#include "raw_database.h"
#include "vorn_sqlite_database.h"
#include "vorn_sqlite_transaction.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <utility>

using namespace VornSyncTest;

namespace {

QStringList connectionsOf(const QString& name)
{
    return QSqlDatabase::connectionNames().filter(name);
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

class TestVornSqliteDatabase : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void createsTheFile();
    void configuresItsConnection();
    void recognisesOldSqlite_data();
    void recognisesOldSqlite();
    void createTableJoinsItsParts();
    void createTableLeavesAnExistingTable();
    void rowsAreKeyedByColumnNameOrAlias();
    void resultsAreAppended();
    void emptyResultsAreSuccess();
    void bindsInOrderAndKeepsTypes();
    void oddTextsAreData_data();
    void oddTextsAreData();
    void keptStatementsTakeNoOldValues();
    void keptStatementsSurviveSchemaChanges();
    void rowsAreHandedOutOneByOne();
    void failuresAreReported_data();
    void failuresAreReported();
    void errorsLeaveTheConnectionUsable();

    void transactionsWriteTogether();
    void transactionsAreUndoneWithoutCommit();
    void nestedTransactionsJoin();
    void nestedRollbackUndoesTheWhole();
    void transactionsBeginAsWriters();
    void errorsWaitForTheTransaction();
    void constraintsFailAlone();
    void aTransactionThatTheFileUndoesStaysUndone_data();
    void aTransactionThatTheFileUndoesStaysUndone();
    void foreignKeysCanBeOffForATransaction();

    void resetGivesAnEmptyFile();
    void resetRemovesWhatLiesBeside();
    void resetFollowsALink();
    void resetInsideATransactionIsRefused();
    void resetFromAnErrorSlot();
    void resetThatCannotRemoveGoesOn();

    void severalDatabasesOfOneName();
    void unusableFileFailsCleanly_data();
    void unusableFileFailsCleanly();
    void unusableFileRecovers();
    void fileThatCouldNotBeOpenedForWriting_isOpenedAgain();
    void unwritableDirectoryFailsCleanly();

private:
    QString path() const { return m_directory->filePath("state.db"_s); }

    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestVornSqliteDatabase::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
}

// --- Statements -----------------------------------------------------------------------------------------

void TestVornSqliteDatabase::createsTheFile()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(QFile::exists(path()));
    QCOMPARE(database.filePath(), path());
    QCOMPARE(database.connectionName(), "Plain"_s);
    QVERIFY(!database.parent());
}

void TestVornSqliteDatabase::configuresItsConnection()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    const QList<QPair<QString, QVariant>> expected = {
        {"foreign_keys"_s, 1}, {"journal_mode"_s, "wal"_s}, {"synchronous"_s, 1}, {"busy_timeout"_s, 5000}};
    for (const auto& [pragma, value] : expected) {
        QVariantList values;
        QVERIFY(database.executeQuery(values, "PRAGMA "_s + pragma));
        QCOMPARE(values.size(), 1);
        QCOMPARE(values.first().toString(), value.toString());
    }
}

void TestVornSqliteDatabase::recognisesOldSqlite_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<bool>("isSupported");
    QTest::newRow("oldest") << "3.24.0"_s << true;
    QTest::newRow("short") << "3.24"_s << true;
    QTest::newRow("newer") << "3.40.1"_s << true;
    QTest::newRow("next major") << "4.0"_s << true;
    QTest::newRow("too old") << "3.23.1"_s << false;
    QTest::newRow("compared as numbers") << "3.9.0"_s << false;
    QTest::newRow("unreadable") << QString() << false;
}

void TestVornSqliteDatabase::recognisesOldSqlite()
{
    QFETCH(QString, version);
    QTEST(VornSqliteDatabase::isSupportedSqliteVersion(version), "isSupported");
}

void TestVornSqliteDatabase::createTableJoinsItsParts()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a TEXT NOT NULL"_s, "b INTEGER"_s}, {"PRIMARY KEY (a)"_s}));
    QCOMPARE(RawDatabase(path()).value("SELECT sql FROM sqlite_master WHERE name = 't'"_s).toString(),
             "CREATE TABLE t (a TEXT NOT NULL, b INTEGER, PRIMARY KEY (a))"_s);
}

void TestVornSqliteDatabase::createTableLeavesAnExistingTable()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a TEXT"_s}, {}));
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (?)"_s, {"kept"_s}));
    QVERIFY(database.createTable("t"_s, {"a TEXT"_s, "b TEXT"_s}, {}));
    VornSqliteDatabase::Rows rows;
    QVERIFY(database.executeQuery(rows, "SELECT * FROM t"_s));
    QCOMPARE(rows, (VornSqliteDatabase::Rows{{{"a"_s, "kept"_s}}}));
}

void TestVornSqliteDatabase::rowsAreKeyedByColumnNameOrAlias()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("file_tracking"_s, {"file_name TEXT"_s, "size INTEGER"_s}, {}));
    QVERIFY(database.executeQuery("INSERT INTO file_tracking VALUES (?, ?)"_s, {"a"_s, QVariant()}));
    VornSqliteDatabase::Rows rows;
    QVERIFY(
        database.executeQuery(rows, "SELECT ft.file_name, ft.size, COUNT(*) AS n FROM file_tracking ft"_s));
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.first().keys(), (QStringList{"file_name"_s, "n"_s, "size"_s}));
    QCOMPARE(rows.first().value("file_name"_s), QVariant("a"_s));
    QCOMPARE(rows.first().value("n"_s).toInt(), 1);
    QVERIFY(!rows.first().value("size"_s).isValid());
}

void TestVornSqliteDatabase::resultsAreAppended()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    VornSqliteDatabase::Rows rows = {{{"old"_s, 1}}};
    QVariantList values = {"old"_s};
    QVERIFY(database.executeQuery(rows, "SELECT 7 AS n"_s));
    QVERIFY(database.executeQuery(values, "SELECT 8, 'second column' UNION ALL SELECT 9, ''"_s));
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows.last().value("n"_s).toInt(), 7);
    QCOMPARE(values, (QVariantList{"old"_s, 8LL, 9LL}));
}

void TestVornSqliteDatabase::emptyResultsAreSuccess()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QSignalSpy errors(&database, &VornSqliteDatabase::databaseErrorOccurred);
    VornSqliteDatabase::Rows rows;
    QVariantList values;
    QVERIFY(database.executeQuery(rows, "SELECT name FROM sqlite_master"_s));
    QVERIFY(database.executeQuery(values, "SELECT name FROM sqlite_master"_s));
    QVERIFY(rows.isEmpty());
    QVERIFY(values.isEmpty());
    QCOMPARE(errors.size(), 0);
}

void TestVornSqliteDatabase::bindsInOrderAndKeepsTypes()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s, "b"_s, "c"_s, "d"_s}, {}));
    const qint64 big = 5000000000000000000LL;
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (?, ?, ?, ?)"_s, {big, "text"_s, QVariant(), ""_s}));
    const auto rows = RawDatabase(path()).rows(
        "SELECT a, b, c IS NULL AS c, d IS NULL AS d, typeof(a) AS ta, typeof(d) AS td FROM t"_s);
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.first().value("a"_s).toLongLong(), big);
    QCOMPARE(rows.first().value("b"_s).toString(), "text"_s);
    QCOMPARE(rows.first().value("c"_s).toInt(), 1);
    QCOMPARE(rows.first().value("d"_s).toInt(), 0);
    QCOMPARE(rows.first().value("ta"_s).toString(), "integer"_s);
    QCOMPARE(rows.first().value("td"_s).toString(), "text"_s);
}

void TestVornSqliteDatabase::oddTextsAreData_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("place markers") << "%1 %2 %s 100%"_s;
    QTest::newRow("quotes") << "it's \"quoted\" `so`; DROP TABLE t; --"_s;
    QTest::newRow("newlines") << "a\nb\r\nc\t"_s;
    QTest::newRow("question marks") << "? ?1 :name @name $name"_s;
    QTest::newRow("non-ASCII") << "Ünïcödé 文件 \U0001F4C4 e\u0301"_s;
    QTest::newRow("empty") << ""_s;
    QTest::newRow("long") << QString(255, QLatin1Char('x'));
}

void TestVornSqliteDatabase::oddTextsAreData()
{
    QFETCH(QString, text);
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a TEXT"_s}, {}));
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (?)"_s, {text}));
    QVariantList values;
    QVERIFY(database.executeQuery(values, "SELECT a FROM t WHERE a = ?"_s, {text}));
    QCOMPARE(values, QVariantList{text});
    QCOMPARE(RawDatabase(path()).value("SELECT a FROM t"_s).toString(), text);
}

void TestVornSqliteDatabase::keptStatementsTakeNoOldValues()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QSignalSpy errors(&database, &VornSqliteDatabase::databaseErrorOccurred);
    QVariantList values;
    for (int i = 0; i < 3; ++i)
        QVERIFY(database.executeQuery(values, "SELECT ? + ?"_s, {i, 10}));
    QCOMPARE(values, (QVariantList{10LL, 11LL, 12LL}));

    values.clear();
    QVERIFY(!database.executeQuery(values, "SELECT ? + ?"_s, {1}));
    QVERIFY(values.isEmpty());
    QCOMPARE(errors.size(), 1);
    QVERIFY(database.executeQuery(values, "SELECT ? + ?"_s, {1, 2}));
    QCOMPARE(values, QVariantList{3LL});
}

void TestVornSqliteDatabase::keptStatementsSurviveSchemaChanges()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (1)"_s));
    VornSqliteDatabase::Rows rows;
    QVERIFY(database.executeQuery(rows, "SELECT * FROM t"_s));
    QVERIFY(database.executeQuery("ALTER TABLE t ADD COLUMN b INTEGER DEFAULT 5"_s));
    rows.clear();
    QVERIFY(database.executeQuery(rows, "SELECT * FROM t"_s));
    QCOMPARE(rows, (VornSqliteDatabase::Rows{{{"a"_s, 1LL}, {"b"_s, 5LL}}}));
}

void TestVornSqliteDatabase::rowsAreHandedOutOneByOne()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QStringList seen;
    const auto read = [&](const QSqlQuery& row) {
        seen << row.value(0).toString() + row.value(1).toString();
    };
    QVERIFY(database.forEachRow("SELECT ?, 'x' UNION ALL SELECT 'b', 'y'"_s, {"a"_s}, read));
    QCOMPARE(seen, (QStringList{"ax"_s, "by"_s}));
    QVERIFY(!database.forEachRow("SELECT nothing"_s, {}, read));
    QCOMPARE(seen.size(), 2);
}

void TestVornSqliteDatabase::failuresAreReported_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("text");
    QTest::newRow("preparation") << "SELECT a FROM missing"_s
                                 << "no such table: missing"_s;
    QTest::newRow("syntax") << "SELEC 1"_s
                            << "syntax error"_s;
    QTest::newRow("execution") << "INSERT INTO t VALUES ('a')"_s
                               << "UNIQUE constraint failed: t.a"_s;
    QTest::newRow("unkept") << "DROP TABLE missing"_s
                            << "no such table: missing"_s;
}

void TestVornSqliteDatabase::failuresAreReported()
{
    QFETCH(QString, sql);
    QFETCH(QString, text);
    VornSqliteDatabase database(path(), "Name given"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a TEXT PRIMARY KEY"_s}, {}));
    QVERIFY(database.executeQuery("INSERT INTO t VALUES ('a')"_s));

    QSignalSpy errors(&database, &VornSqliteDatabase::databaseErrorOccurred);
    VornSqliteDatabase::Rows rows;
    QVariantList values;
    QVERIFY(!database.executeQuery(sql));
    QVERIFY(!database.executeQuery(rows, sql));
    QVERIFY(!database.executeQuery(values, sql));
    QCOMPARE(errors.size(), 3);
    for (const QVariantList& error : qAsConst(errors)) {
        QCOMPARE(error.at(0).toString(), "Name given"_s);
        QVERIFY2(error.at(1).toString().contains(text), qPrintable(error.at(1).toString()));
    }
    QVERIFY(rows.isEmpty());
    QVERIFY(values.isEmpty());
}

void TestVornSqliteDatabase::errorsLeaveTheConnectionUsable()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a TEXT PRIMARY KEY"_s}, {}));
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (?)"_s, {"a"_s}));
    QVERIFY(!database.executeQuery("INSERT INTO t VALUES (?)"_s, {"a"_s}));
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (?)"_s, {"b"_s}));
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(), 2);
}

// --- Transactions ---------------------------------------------------------------------------------------

void TestVornSqliteDatabase::transactionsWriteTogether()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    VornSqliteTransaction transaction(database);
    QVERIFY(transaction.isActive());
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (1)"_s));
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(), 0);
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (2)"_s));
    QVERIFY(transaction.commit());
    QVERIFY(!transaction.isActive());
    QVERIFY(!transaction.commit());
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(), 2);
}

void TestVornSqliteDatabase::transactionsAreUndoneWithoutCommit()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    {
        VornSqliteTransaction transaction(database);
        QVERIFY(database.executeQuery("INSERT INTO t VALUES (1)"_s));
    }
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(), 0);
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (2)"_s));
    QCOMPARE(RawDatabase(path()).value("SELECT a FROM t"_s).toInt(), 2);
}

void TestVornSqliteDatabase::nestedTransactionsJoin()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    VornSqliteTransaction outer(database);
    {
        VornSqliteTransaction inner(database);
        QVERIFY(inner.isActive());
        QVERIFY(database.executeQuery("INSERT INTO t VALUES (1)"_s));
        QVERIFY(inner.commit());
    }
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(), 0);
    QVERIFY(outer.commit());
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(), 1);
}

void TestVornSqliteDatabase::nestedRollbackUndoesTheWhole()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    {
        VornSqliteTransaction outer(database);
        QVERIFY(database.executeQuery("INSERT INTO t VALUES (1)"_s));
        {
            VornSqliteTransaction inner(database);
            QVERIFY(database.executeQuery("INSERT INTO t VALUES (2)"_s));
        }
        QVERIFY(!outer.commit());
    }
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(), 0);
}

void TestVornSqliteDatabase::transactionsBeginAsWriters()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    VornSqliteTransaction transaction(database);
    // Another writer is locked out from the first moment, before anything is written here.
    QSqlDatabase other = QSqlDatabase::addDatabase("QSQLITE"_s, "other"_s);
    other.setDatabaseName(path());
    other.setConnectOptions("QSQLITE_BUSY_TIMEOUT=0"_s);
    QVERIFY(other.open());
    QVERIFY(!QSqlQuery(other).exec("BEGIN IMMEDIATE"_s));
    QVERIFY(transaction.commit());
    QVERIFY(QSqlQuery(other).exec("BEGIN IMMEDIATE"_s));
    other.close();
    other = QSqlDatabase();
    QSqlDatabase::removeDatabase("other"_s);
}

void TestVornSqliteDatabase::errorsWaitForTheTransaction()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    QSignalSpy errors(&database, &VornSqliteDatabase::databaseErrorOccurred);
    int rowsSeenByTheSlot = -1;
    connect(&database, &VornSqliteDatabase::databaseErrorOccurred, this,
            [&] { rowsSeenByTheSlot = RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(); });
    VornSqliteTransaction outer(database);
    {
        VornSqliteTransaction inner(database);
        QVERIFY(database.executeQuery("INSERT INTO t VALUES (1)"_s));
        QVERIFY(!database.executeQuery("SELECT missing"_s));
        QVERIFY(!database.executeQuery("SELECT gone"_s));
        QVERIFY(inner.commit());
    }
    QCOMPARE(errors.size(), 0);
    QVERIFY(outer.commit());
    QCOMPARE(errors.size(), 2);
    QVERIFY(errors.at(0).at(1).toString().contains("missing"_s));
    QVERIFY(errors.at(1).at(1).toString().contains("gone"_s));
    QCOMPARE(rowsSeenByTheSlot, 1);
}

void TestVornSqliteDatabase::constraintsFailAlone()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a PRIMARY KEY"_s}, {}));
    VornSqliteTransaction transaction(database);
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (?)"_s, {1}));
    QVERIFY(!database.executeQuery("INSERT INTO t VALUES (?)"_s, {1}));
    QVERIFY(transaction.isActive());
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (?)"_s, {2}));
    QVERIFY(transaction.commit());
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(), 2);
}

void TestVornSqliteDatabase::aTransactionThatTheFileUndoesStaysUndone_data()
{
    QTest::addColumn<QStringList>("rules");
    QTest::newRow("conflict clause") << QStringList{"CREATE TABLE strict (a UNIQUE ON CONFLICT ROLLBACK)"_s,
                                                    "INSERT INTO strict VALUES (1)"_s};
    QTest::newRow("trigger") << QStringList{
        "CREATE TABLE strict (a)"_s,
        "CREATE TRIGGER refusing BEFORE INSERT ON strict BEGIN SELECT RAISE(ROLLBACK, 'no'); END"_s};
}

// Otherwise what comes after would be written by itself.
void TestVornSqliteDatabase::aTransactionThatTheFileUndoesStaysUndone()
{
    QFETCH(QStringList, rules);
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    for (const QString& rule : rules)
        QVERIFY(database.executeQuery(rule));
    {
        VornSqliteTransaction transaction(database);
        QVERIFY(database.executeQuery("INSERT INTO t VALUES (1)"_s));
        QVERIFY(!database.executeQuery("INSERT INTO strict VALUES (1)"_s));
        QVERIFY(!transaction.isActive());
        QVERIFY(!database.executeQuery("INSERT INTO t VALUES (2)"_s));
        QVERIFY(!transaction.commit());
    }
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(), 0);
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (3)"_s));
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(), 1);
}

void TestVornSqliteDatabase::foreignKeysCanBeOffForATransaction()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("p"_s, {"id INTEGER PRIMARY KEY"_s}, {}));
    QVERIFY(database.createTable("c"_s, {"id INTEGER REFERENCES p(id)"_s}, {}));
    QVERIFY(!database.executeQuery("INSERT INTO c VALUES (1)"_s));
    {
        VornSqliteTransaction transaction(database, VornSqliteTransaction::ForeignKeys::Unchecked);
        QVERIFY(database.executeQuery("INSERT INTO c VALUES (1)"_s));
        QVERIFY(transaction.commit());
    }
    QVERIFY(!database.executeQuery("INSERT INTO c VALUES (2)"_s));
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM c"_s).toInt(), 1);
}

// --- Reset ----------------------------------------------------------------------------------------------

void TestVornSqliteDatabase::resetGivesAnEmptyFile()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (1)"_s));
    QVERIFY(database.resetFile());
    QVERIFY(QFile::exists(path()));
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM sqlite_master"_s).toInt(), 0);
    QVERIFY(database.createTable("t"_s, {"b"_s}, {}));
    QVERIFY(database.executeQuery("INSERT INTO t (b) VALUES (2)"_s));
    QCOMPARE(RawDatabase(path()).value("SELECT b FROM t"_s).toInt(), 2);
    QCOMPARE(RawDatabase(path()).integrityProblems(), QString());
}

void TestVornSqliteDatabase::resetRemovesWhatLiesBeside()
{
    // What a killed process leaves: a "-wal" without the process, and a "-journal" of the other mode.
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    QVERIFY(QFile::exists(path() + "-wal"_s));
    QVERIFY(writeFile(path() + "-journal"_s, "left over"));
    QVERIFY(database.resetFile());
    QVERIFY(!QFile::exists(path() + "-journal"_s));
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM sqlite_master"_s).toInt(), 0);
}

void TestVornSqliteDatabase::resetFollowsALink()
{
    const QString target = m_directory->filePath("real.db"_s);
    QVERIFY(writeFile(target, QByteArray()));
    QVERIFY(QFile::link(target, path()));
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    QVERIFY(database.resetFile());
    QVERIFY(QFileInfo(path()).isSymLink());
    QCOMPARE(RawDatabase(target).value("SELECT COUNT(*) FROM sqlite_master"_s).toInt(), 0);
}

void TestVornSqliteDatabase::resetInsideATransactionIsRefused()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QSignalSpy errors(&database, &VornSqliteDatabase::databaseErrorOccurred);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    {
        VornSqliteTransaction transaction(database);
        QVERIFY(!database.resetFile());
        QVERIFY(database.executeQuery("INSERT INTO t VALUES (1)"_s));
        QVERIFY(transaction.commit());
    }
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors.first().at(1).toString(), "The file can't be reset inside a transaction"_s);
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM t"_s).toInt(), 1);
}

void TestVornSqliteDatabase::resetFromAnErrorSlot()
{
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    int resets = 0;
    connect(&database, &VornSqliteDatabase::databaseErrorOccurred, this, [&] {
        if (database.resetFile())
            ++resets;
    });
    {
        VornSqliteTransaction transaction(database);
        QVERIFY(!database.executeQuery("SELECT missing"_s));
        QVERIFY(transaction.commit());
    }
    QVERIFY(!database.executeQuery("SELECT missing"_s));
    QCOMPARE(resets, 2);
    QCOMPARE(RawDatabase(path()).value("SELECT COUNT(*) FROM sqlite_master"_s).toInt(), 0);
}

void TestVornSqliteDatabase::resetThatCannotRemoveGoesOn()
{
    TmpfsMount mount(m_directory->path(), "size=4m"_s);
    if (!mount.isMounted())
        QSKIP(qPrintable(mount.reason()));
    {
        VornSqliteDatabase database(path(), "Plain"_s, nullptr);
        QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
        QVERIFY(database.executeQuery("INSERT INTO t VALUES (1)"_s));
        UnprivilegedScope user;
        if (!user.isActive())
            QSKIP("Needs root, to give its rights away");
        QVERIFY(!database.resetFile());
    }
    QCOMPARE(RawDatabase(path()).value("SELECT a FROM t"_s).toInt(), 1);
}

// --- Names and unusable files ---------------------------------------------------------------------------

void TestVornSqliteDatabase::severalDatabasesOfOneName()
{
    const QString otherPath = m_directory->filePath("other.db"_s);
    {
        VornSqliteDatabase first(path(), "Shared name"_s, nullptr);
        VornSqliteDatabase second(otherPath, "Shared name"_s, nullptr);
        QCOMPARE(connectionsOf("Shared name"_s).size(), 2);
        QVERIFY(first.createTable("t"_s, {"a"_s}, {}));
        QVERIFY(second.createTable("u"_s, {"a"_s}, {}));
        QVERIFY(!first.executeQuery("INSERT INTO u VALUES (1)"_s));
        QVERIFY(first.executeQuery("INSERT INTO t VALUES (1)"_s));
    }
    QCOMPARE(connectionsOf("Shared name"_s), QStringList());
    QCOMPARE(RawDatabase(path()).value("SELECT name FROM sqlite_master"_s).toString(), "t"_s);
    QCOMPARE(RawDatabase(otherPath).value("SELECT name FROM sqlite_master"_s).toString(), "u"_s);
}

void TestVornSqliteDatabase::unusableFileFailsCleanly_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isReset");
    QTest::newRow("no database") << "garbage"_s
                                 << "file is not a database"_s << true;
    QTest::newRow("a directory") << "directory"_s
                                 << "unable to open database file"_s << false;
    QTest::newRow("below a file") << "below a file"_s
                                  << "unable to open database file"_s << false;
    QTest::newRow("below nothing") << "below nothing"_s
                                   << "unable to open database file"_s << false;
}

void TestVornSqliteDatabase::unusableFileFailsCleanly()
{
    QFETCH(QString, kind);
    QFETCH(QString, text);
    QFETCH(bool, isReset);
    const QByteArray garbage(8192, 'g');
    QString file = path();
    if (kind == "garbage"_s)
        QVERIFY(writeFile(file, garbage));
    else if (kind == "directory"_s)
        QVERIFY(QDir().mkpath(file + "/in it"_s));
    else
        file = path() + "/x.db"_s;
    if (kind == "below a file"_s)
        QVERIFY(writeFile(path(), garbage));

    VornSqliteDatabase database(file, "Plain"_s, nullptr);
    QSignalSpy errors(&database, &VornSqliteDatabase::databaseErrorOccurred);
    VornSqliteDatabase::Rows rows;
    QVariantList values;
    QVERIFY(!database.createTable("t"_s, {"a"_s}, {}));
    QVERIFY(!database.executeQuery("INSERT INTO t VALUES (1)"_s));
    QVERIFY(!database.executeQuery(rows, "SELECT name FROM sqlite_master"_s));
    QVERIFY(!database.executeQuery(values, "SELECT name FROM sqlite_master"_s));
    {
        VornSqliteTransaction transaction(database);
        QVERIFY(!transaction.isActive());
        QVERIFY(!database.executeQuery("INSERT INTO t VALUES (1)"_s));
        QVERIFY(!transaction.commit());
    }
    QCOMPARE(errors.size(), 5);
    for (const QVariantList& error : qAsConst(errors))
        QVERIFY2(error.at(1).toString().contains(text), qPrintable(error.at(1).toString()));
    if (kind == "garbage"_s) {
        QFile left(file);
        QVERIFY(left.open(QIODevice::ReadOnly));
        QCOMPARE(left.readAll(), garbage);
    }

    QCOMPARE(database.resetFile(), isReset);
    QCOMPARE(database.createTable("t"_s, {"a"_s}, {}), isReset);
}

void TestVornSqliteDatabase::unusableFileRecovers()
{
    const QString file = m_directory->filePath("later/state.db"_s);
    VornSqliteDatabase database(file, "Plain"_s, nullptr);
    QVERIFY(!database.createTable("t"_s, {"a"_s}, {}));
    QVERIFY(QDir().mkpath(m_directory->filePath("later"_s)));
    QVERIFY(database.createTable("t"_s, {"a"_s}, {}));
    QCOMPARE(RawDatabase(file).value("SELECT name FROM sqlite_master"_s).toString(), "t"_s);
}

void TestVornSqliteDatabase::fileThatCouldNotBeOpenedForWriting_isOpenedAgain()
{
    const QString file = m_directory->filePath("moment.db"_s);
    QVERIFY(RawDatabase(file).exec("CREATE TABLE t (a)"_s));
    FileCalls::watch(QFile::encodeName(file));
    bool isFirst = true;
    FileCalls::setHooks({[&isFirst](const FileCalls::Call& call) {
                             const bool isOpening = qstrcmp(call.function, "open64") == 0;
                             return isOpening && std::exchange(isFirst, false) ? EIO : 0;
                         },
                         nullptr});
    VornSqliteDatabase database(file, "moment"_s, nullptr);
    FileCalls::setHooks({});
    QVERIFY(!isFirst);
    // SQLite was content with reading.
    QVERIFY(!database.executeQuery("INSERT INTO t VALUES (1)"_s));
    QVERIFY(database.executeQuery("INSERT INTO t VALUES (2)"_s));
    QVariantList values;
    QVERIFY(database.executeQuery(values, "SELECT a FROM t"_s));
    QCOMPARE(values, QVariantList{2});
}

void TestVornSqliteDatabase::unwritableDirectoryFailsCleanly()
{
    UnprivilegedScope user;
    if (!user.isActive())
        QSKIP("Needs root, to give its rights away");
    VornSqliteDatabase database(path(), "Plain"_s, nullptr);
    QSignalSpy errors(&database, &VornSqliteDatabase::databaseErrorOccurred);
    QVERIFY(!database.createTable("t"_s, {"a"_s}, {}));
    QCOMPARE(errors.size(), 1);
    QVERIFY(errors.first().at(1).toString().contains("unable to open database file"_s));
    QVERIFY(!QFile::exists(path()));
}

QTEST_GUILESS_MAIN(TestVornSqliteDatabase)

#include "test_vorn_sqlite_database.moc"

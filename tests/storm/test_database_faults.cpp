#include "file_calls.h"
#include "literals.h"
#include "mounts.h"
#include "raw_database.h"
#include "vorn_sync_database.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <unistd.h>

using namespace VornSyncTest;

// --- Faults ---------------------------------------------------------------------------------------------

namespace {

// A child process: migrates the file, and is killed at the call of that number.
constexpr char kChildFile[] = "VORN_TEST_MIGRATE";
constexpr char kChildKillAt[] = "VORN_TEST_KILL_AT";

constexpr int kSmallRows = 200;
constexpr int kLargeRows = 20000; // more than SQLite keeps in memory: written before the commit, too
constexpr int kEndlessLoop = 5000;

struct Faults
{
    QByteArray root;     // calls on files below count
    int calls = 0;       // so far
    int failAt = -1;     // negative: never
    int error = 0;       // 0: the process is killed
    bool goesOn = false; // every later call fails too, as on a full disk
    bool hasFired = false;
};

Faults* armed = nullptr;

bool isChange(const FileCalls::Call& call)
{
    static const QList<QByteArray> functions{"pwrite", "pwrite64", "ftruncate64", "fdatasync", "unlink"};
    return call.path.startsWith(armed->root) && functions.contains(call.function);
}

// The error that this call is to fail with; 0 when it goes to the system.
int fault(const FileCalls::Call& call)
{
    if (!armed || !isChange(call))
        return 0;
    const int number = armed->calls++;
    if (armed->failAt < 0 || number < armed->failAt || (number > armed->failAt && !armed->goesOn))
        return 0;
    armed->hasFired = true;
    if (armed->error == 0)
        ::kill(::getpid(), SIGKILL);
    return armed->error;
}

// Before the first file is opened.
void meetCalls(const QByteArray& root)
{
    FileCalls::watch(root);
    FileCalls::setHooks({fault, nullptr});
}

} // namespace

// --- The old file ---------------------------------------------------------------------------------------

namespace {

// A first-generation file of `rows` files, written with plain SQLite.
bool writeOldFile(const QString& path, int rows)
{
    bool done = RawDatabase(path).execAll(
        {"CREATE TABLE directories (id INTEGER PRIMARY KEY AUTOINCREMENT, alias_name TEXT UNIQUE NOT NULL, "
         "local_path TEXT UNIQUE NOT NULL, distant_path TEXT NOT NULL, trash_path TEXT NOT NULL, available "
         "BOOLEAN "
         "DEFAULT 0)"_s,
         "INSERT INTO directories VALUES (3, 'a', '/no/l', '/no/d', '/no/t', 1), (8, 'b', '/no/l2', "
         "'/no/d2', "
         "'/no/t2', 0)"_s,
         "CREATE TABLE file_tracking (file_name TEXT NOT NULL, directories_id INTEGER NOT NULL, size "
         "INTEGER, "
         "last_sync TEXT, status INTEGER, deletion_date TEXT, PRIMARY KEY (file_name, directories_id))"_s});
    done = done && RawDatabase(path).exec(
                       "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) INSERT "
                       "INTO file_tracking "
                       "SELECT printf('document number %08d.pdf', i), 3 + 5 * (i % 2), i * 100000, "
                       "'2020-01-02T03:04:05', 17 + i % 2, NULL FROM n"_s,
                       {rows});
    return done;
}

QString dump(const QString& path, const QString& select)
{
    RawDatabase raw(path);
    const QString text = raw.value("SELECT group_concat(line, char(10)) FROM (%1)"_s.arg(select)).toString();
    return raw.lastError().isEmpty() ? text : raw.lastError();
}

QString oldRows(const QString& path)
{
    return dump(path,
                "SELECT quote(file_name) || quote(directories_id) || quote(size) || quote(last_sync) || "
                "quote(status) || quote(deletion_date) AS line FROM file_tracking ORDER BY file_name"_s) +
           dump(path, "SELECT quote(id) || quote(alias_name) || quote(local_path) || quote(distant_path) || "
                      "quote(trash_path) || quote(available) AS line FROM directories ORDER BY id"_s);
}

// The same rows, as they read in the current schema.
QString newRows(const QString& path)
{
    return dump(path,
                "SELECT quote(file_name) || quote(directories_id) || quote(size) || quote(local_lmd) || "
                "quote(status) || quote(trashed_date) AS line FROM file_tracking ORDER BY file_name"_s) +
           dump(path, "SELECT quote(id) || quote(alias_name) || quote(local_path) || quote(distant_path) || "
                      "quote(trash_path) || quote(available) AS line FROM directories ORDER BY id"_s);
}

bool isMigrated(const QString& path)
{
    return RawDatabase(path)
               .value("SELECT COUNT(*) FROM sqlite_master WHERE name = 'schema_version'"_s)
               .toInt() == 1;
}

int runChild()
{
    Faults faults;
    faults.root = QFileInfo(QString::fromLocal8Bit(qgetenv(kChildFile))).path().toLocal8Bit() + '/';
    faults.failAt = qEnvironmentVariableIntValue(kChildKillAt);
    meetCalls(faults.root.chopped(1));
    armed = &faults;
    VornSyncDatabase database(QString::fromLocal8Bit(qgetenv(kChildFile)));
    const bool done = database.initialize();
    armed = nullptr;
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

class TestDatabaseFaults : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void killedWhileMigrating_data();
    void killedWhileMigrating();
    void killedWhileWorking();
    void failedWritesWhileMigrating_data();
    void failedWritesWhileMigrating();
    void fullDiskWhileMigrating();
    void readOnlyFileSystem();
    void errorsInsideATransactionUndoTheWhole();

private:
    QString path() const { return m_directory->filePath("state.db"_s); }
    bool startAfresh(const QString& oldFile);
    QProcess::ExitStatus migrateInChild(int killAt, int& exitCode);

    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestDatabaseFaults::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
    meetCalls(QFile::encodeName(m_directory->path()));
}

bool TestDatabaseFaults::startAfresh(const QString& oldFile)
{
    for (const QString& suffix : {""_s, "-wal"_s, "-shm"_s, "-journal"_s})
        QFile::remove(path() + suffix);
    return QFile::copy(oldFile, path());
}

QProcess::ExitStatus TestDatabaseFaults::migrateInChild(int killAt, int& exitCode)
{
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QLatin1String(kChildFile), path());
    environment.insert(QLatin1String(kChildKillAt), QString::number(killAt));
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), QStringList());
    if (!child.waitForFinished(120000))
        qFatal("the child does not end");
    exitCode = child.exitCode();
    return child.exitStatus();
}

// --- Killed processes -----------------------------------------------------------------------------------

void TestDatabaseFaults::killedWhileMigrating_data()
{
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("step"); // every so many calls
    QTest::newRow("small file, at every call") << kSmallRows << 1;
    QTest::newRow("large file, here and there") << kLargeRows << 97;
}

void TestDatabaseFaults::killedWhileMigrating()
{
    QFETCH(int, rows);
    QFETCH(int, step);
    QTemporaryDir elsewhere;
    const QString oldFile = elsewhere.filePath("old.db"_s);
    QVERIFY(writeOldFile(oldFile, rows));
    const QString before = oldRows(oldFile);

    int killed = 0;
    for (int killAt = 0; killAt < kEndlessLoop; killAt += step) {
        QVERIFY(startAfresh(oldFile));
        int exitCode = -1;
        if (migrateInChild(killAt, exitCode) == QProcess::NormalExit) {
            QCOMPARE(exitCode, EXIT_SUCCESS);
            break;
        }
        ++killed;
        // All or nothing, and in either case the next start brings everything.
        QCOMPARE(RawDatabase(path()).integrityProblems(), QString());
        QCOMPARE(isMigrated(path()) ? newRows(path()) : oldRows(path()), before);
        VornSyncDatabase database(path());
        QVERIFY(database.initialize());
        QCOMPARE(newRows(path()), before);
        QCOMPARE(database.countFilesByStatuses({17, 18}), rows);
    }
    QVERIFY2(killed >= 5, qPrintable(QString::number(killed)));
    QCOMPARE(newRows(path()), before);
}

void TestDatabaseFaults::killedWhileWorking()
{
    // A plain migrated file with work done on it survives, too: nothing that was acknowledged is lost.
    QVERIFY(writeOldFile(path(), kSmallRows));
    int exitCode = -1;
    QCOMPARE(migrateInChild(kEndlessLoop, exitCode), QProcess::NormalExit);
    {
        VornSyncDatabase database(path());
        QVERIFY(database.initialize());
        QVERIFY(database.setFileStatus(3, "x"_s, ceSfsPendingSync, 0));
        QVERIFY(database.updateStatusToProcess(3, "x"_s));
        // The file as a killed process leaves it: copied while it is open.
        for (const QString& suffix : {""_s, "-wal"_s, "-shm"_s})
            QVERIFY(QFile::copy(path() + suffix, path() + "2"_s + suffix));
    }
    VornSyncDatabase copy(path() + "2"_s);
    QVERIFY(copy.initialize());
    QCOMPARE(copy.getFileStatus(3, "x"_s), int(ceSfsSyncing));
    QCOMPARE(copy.cleanupOrphanedProcessingStates(), 1);
    QCOMPARE(copy.getFileStatus(3, "x"_s), int(ceSfsUnknown));
}

// --- Writes that fail -----------------------------------------------------------------------------------

void TestDatabaseFaults::failedWritesWhileMigrating_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("goesOn");
    QTest::newRow("one I/O error") << EIO << false;
    QTest::newRow("I/O errors from then on") << EIO << true;
    QTest::newRow("one refusal for want of space") << ENOSPC << false;
    QTest::newRow("no space from then on") << ENOSPC << true;
}

void TestDatabaseFaults::failedWritesWhileMigrating()
{
    QFETCH(int, error);
    QFETCH(bool, goesOn);
    QTemporaryDir elsewhere;
    const QString oldFile = elsewhere.filePath("old.db"_s);
    QVERIFY(writeOldFile(oldFile, kSmallRows));
    const QString before = oldRows(oldFile);

    int refused = 0;
    bool hasFired = true;
    for (int failAt = 0; hasFired && failAt < kEndlessLoop; ++failAt) {
        QVERIFY(startAfresh(oldFile));
        Faults faults;
        faults.root = m_directory->path().toLocal8Bit() + '/';
        faults.failAt = failAt;
        faults.error = error;
        faults.goesOn = goesOn;
        bool done = false;
        {
            armed = &faults;
            VornSyncDatabase database(path());
            QSignalSpy errors(&database, &VornSyncDatabase::errorOccurred);
            done = database.initialize();
            armed = nullptr;
            QVERIFY(done || !errors.isEmpty());
        }
        hasFired = faults.hasFired;
        refused += done ? 0 : 1;
        QCOMPARE(RawDatabase(path()).integrityProblems(), QString());
        QCOMPARE(isMigrated(path()), done);
        QCOMPARE(done ? newRows(path()) : oldRows(path()), before);
        VornSyncDatabase database(path());
        QVERIFY(database.initialize());
        QCOMPARE(newRows(path()), before);
    }
    QVERIFY(!hasFired);
    QVERIFY2(refused >= 2, qPrintable(QString::number(refused)));
}

void TestDatabaseFaults::fullDiskWhileMigrating()
{
    const QString oldFile = m_directory->filePath("old.db"_s);
    const QString mountPoint = m_directory->filePath("disk"_s);
    QVERIFY(writeOldFile(oldFile, 5000));
    QVERIFY(QDir().mkpath(mountPoint));
    const QString before = oldRows(oldFile);
    const QString file = mountPoint + "/state.db"_s;
    const qint64 size = QFileInfo(oldFile).size();

    int refused = 0;
    bool done = false;
    // From no space at all to enough.
    for (qint64 spare = 0; !done && spare < 20 * size; spare += 96 * 1024) {
        TmpfsMount disk(mountPoint, "size=%1k"_s.arg((size + spare) / 1024 + 8));
        if (!disk.isMounted())
            QSKIP(qPrintable(disk.reason()));
        QVERIFY(QFile::copy(oldFile, file));
        {
            VornSyncDatabase database(file);
            QSignalSpy errors(&database, &VornSyncDatabase::errorOccurred);
            done = database.initialize();
            QVERIFY(done || !errors.isEmpty());
        }
        refused += done ? 0 : 1;
        // Looked at where there is space.
        const QString moved = m_directory->filePath("moved.db"_s);
        for (const QString& suffix : {""_s, "-wal"_s, "-journal"_s}) {
            QFile::remove(moved + suffix);
            QVERIFY(!QFile::exists(file + suffix) || QFile::copy(file + suffix, moved + suffix));
        }
        QCOMPARE(RawDatabase(moved).integrityProblems(), QString());
        QCOMPARE(isMigrated(moved), done);
        QCOMPARE(done ? newRows(moved) : oldRows(moved), before);
    }
    QVERIFY(done);
    QVERIFY2(refused >= 2, qPrintable(QString::number(refused)));
}

void TestDatabaseFaults::readOnlyFileSystem()
{
    const QString mountPoint = m_directory->filePath("disk"_s);
    QVERIFY(QDir().mkpath(mountPoint));
    TmpfsMount disk(mountPoint, "size=4m"_s);
    if (!disk.isMounted())
        QSKIP(qPrintable(disk.reason()));
    const QString file = mountPoint + "/state.db"_s;
    QVERIFY(writeOldFile(file, kSmallRows));
    const QString before = oldRows(file);
    QVERIFY(disk.remount(true));
    {
        VornSyncDatabase database(file);
        QSignalSpy errors(&database, &VornSyncDatabase::errorOccurred);
        QVERIFY(!database.initialize());
        QVERIFY(!errors.isEmpty());
        QVERIFY(!database.reset());
    }
    QVERIFY(disk.remount(false));
    QCOMPARE(oldRows(file), before);
    VornSyncDatabase database(file);
    QVERIFY(database.initialize());
    QCOMPARE(newRows(file), before);
}

void TestDatabaseFaults::errorsInsideATransactionUndoTheWhole()
{
    VornSyncDatabase database(path());
    QVERIFY(database.initialize());
    QCOMPARE(database.addDirectory("a"_s, "/l"_s, "/d"_s, "/t"_s), 1);
    const QDateTime time = QDateTime::currentDateTimeUtc();
    QVERIFY(database.recordFileSync(1, "x"_s, 1, time, time));
    const QVariantMap before = RawDatabase(path()).fileRow(1, "x"_s);

    bool hasFired = true;
    int refused = 0;
    for (int failAt = 0; hasFired && failAt < kEndlessLoop; ++failAt) {
        Faults faults;
        faults.root = m_directory->path().toLocal8Bit() + '/';
        faults.failAt = failAt;
        faults.error = ENOSPC;
        faults.goesOn = true;
        armed = &faults;
        const bool done = database.setFileTrashed(1, "x"_s);
        armed = nullptr;
        hasFired = faults.hasFired;
        const QVariantMap after = RawDatabase(path()).fileRow(1, "x"_s);
        if (!done) {
            ++refused;
            QCOMPARE(after, before);
        }
    }
    QVERIFY2(refused >= 1, qPrintable(QString::number(refused)));
    QCOMPARE(database.getFileStatus(1, "x"_s), int(ceSfsTrashed));
    QCOMPARE(database.countFilesByStatuses({33}), 1);
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (qEnvironmentVariableIsSet(kChildFile))
        return runChild();
    TestDatabaseFaults test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_database_faults.moc"

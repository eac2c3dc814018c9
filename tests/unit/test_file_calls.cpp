#include "file_calls.h"
#include "literals.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

using namespace VornSyncTest;
using FileCalls::Call;
using FileCalls::Effect;

namespace fs = std::filesystem;

namespace {

constexpr int kBytes = 100000;

// The hooks' side of a test: notes what is seen, fails what it is told.
struct Recorder
{
    std::vector<Call> calls;
    QList<QByteArray> functions;
    QList<int> answers; // what `after` was told
    QByteArray failing; // function
    int passing = 0;    // calls of it that succeed before one fails
    int error = 0;

    int before(const Call& call)
    {
        calls.push_back(call);
        functions.append(call.function);
        return call.function == failing && passing-- == 0 ? error : 0;
    }
    void after(int answer) { answers.append(answer); }

    void failAt(const QByteArray& function, int number, int with)
    {
        failing = function;
        passing = number;
        error = with;
    }
    const Call* first(const QByteArray& function) const
    {
        const auto it = std::find_if(calls.begin(), calls.end(),
                                     [&](const Call& call) { return call.function == function; });
        return it == calls.end() ? nullptr : &*it;
    }
};

bool write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

QByteArray content(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestFileCalls : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void pathsOutside_areNotSeen();
    void unseenCalls_areNotSeen();
    void otherThreads_areSeen();
    void descriptors_haveTheirPath();
    void closedDescriptors_areForgotten();
    void failedClose_closes();
    void qtCopy();
    void qtRename();
    void qtListing();
    void listingFailsAfterSomeEntries();
    void standardCopy();
    void standardRemoval();
    void sqlite_data();
    void sqlite();
    void memoryOfTheLog();

private:
    QString path(const QString& name) const { return m_directory->filePath(name); }
    QByteArray native(const QString& name) const { return QFile::encodeName(path(name)); }

    std::unique_ptr<QTemporaryDir> m_directory;
    Recorder m_recorder;
};

void TestFileCalls::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
    m_recorder = Recorder();
    QVERIFY(write(path("a"_s), QByteArray(kBytes, 'a')));
    FileCalls::watch(QFile::encodeName(m_directory->path()));
    FileCalls::setHooks({[this](const Call& call) { return m_recorder.before(call); },
                         [this](const Call&, int error) { m_recorder.after(error); }});
}

void TestFileCalls::cleanup()
{
    FileCalls::setHooks({});
    m_directory.reset();
}

// --- What is seen ---------------------------------------------------------------------------------------

void TestFileCalls::pathsOutside_areNotSeen()
{
    QTemporaryDir other;
    QVERIFY(write(other.filePath("a"_s), "x"));
    QVERIFY(write(m_directory->path() + "x"_s, "x")); // begins as the root does
    QVERIFY(QFile::remove(m_directory->path() + "x"_s));
    QVERIFY(m_recorder.calls.empty());
    QVERIFY(QFile::exists(path("a"_s)));
    QCOMPARE(m_recorder.calls.size(), std::size_t(1));
    QVERIFY(QFile::rename(other.filePath("a"_s), path("b"_s)));
    QCOMPARE(m_recorder.calls.back().target, native("b"_s));
}

void TestFileCalls::unseenCalls_areNotSeen()
{
    m_recorder.failAt("open64", 0, EIO);
    {
        const FileCalls::Unseen unseen;
        QCOMPARE(content(path("a"_s)).size(), kBytes);
    }
    QVERIFY(m_recorder.calls.empty());
    QVERIFY(m_recorder.answers.isEmpty());
    QCOMPARE(content(path("a"_s)).size(), 0);
    QVERIFY(!m_recorder.calls.empty());
    // Nor what the hooks do.
    m_recorder = Recorder();
    int hookBytes = 0;
    FileCalls::setHooks({[&](const Call& call) {
                             hookBytes = int(content(path("a"_s)).size());
                             return m_recorder.before(call);
                         },
                         nullptr});
    QVERIFY(fs::exists(path("a"_s).toStdString()));
    QCOMPARE(hookBytes, kBytes);
    QCOMPARE(m_recorder.functions, QList<QByteArray>{"stat"});
}

void TestFileCalls::otherThreads_areSeen()
{
    m_recorder.failAt("open64", 0, ESTALE);
    int first = -1;
    int second = -1;
    std::thread([&] {
        first = int(content(path("a"_s)).size());
        second = int(content(path("a"_s)).size());
    }).join();
    QCOMPARE(first, 0);
    QCOMPARE(second, kBytes);
    QVERIFY(m_recorder.first("open64"));
}

void TestFileCalls::descriptors_haveTheirPath()
{
    const int directory = ::open(QFile::encodeName(m_directory->path()).constData(), O_RDONLY | O_DIRECTORY);
    QVERIFY(directory >= 0);
    const int file = ::openat(directory, "b", O_WRONLY | O_CREAT, 0600);
    QVERIFY(file >= 0);
    QCOMPARE(::write(file, "abc", 3), ssize_t(3));
    QCOMPARE(m_recorder.calls.back().path, native("b"_s));
    QCOMPARE(m_recorder.calls.back().descriptor, file);
    QVERIFY(m_recorder.calls.back().effect == Effect::Writes);
    m_recorder.failAt("ftruncate", 0, ENOSPC);
    QCOMPARE(::ftruncate(file, 1), -1);
    QCOMPARE(errno, ENOSPC);
    m_recorder.failAt("unlinkat", 0, EACCES);
    QCOMPARE(::unlinkat(directory, "b", 0), -1);
    QCOMPARE(errno, EACCES);
    QCOMPARE(m_recorder.calls.back().path, native("b"_s));
    QCOMPARE(::close(file), 0);
    QVERIFY(m_recorder.calls.back().effect == Effect::Flushes);
    QCOMPARE(::close(directory), 0);
    QCOMPARE(content(path("b"_s)), QByteArray("abc"));
}

void TestFileCalls::closedDescriptors_areForgotten()
{
    const int file = ::open(native("a"_s).constData(), O_RDONLY);
    QCOMPARE(::close(file), 0);
    const std::size_t seen = m_recorder.calls.size();
    // The system gives the lowest free number.
    const int other = ::open("/dev/null", O_WRONLY);
    QCOMPARE(other, file);
    QCOMPARE(::write(other, "a", 1), ssize_t(1));
    QCOMPARE(::close(other), 0);
    QCOMPARE(m_recorder.calls.size(), seen);
}

void TestFileCalls::failedClose_closes()
{
    m_recorder.failAt("close", 0, EIO);
    const int file = ::open(native("a"_s).constData(), O_RDONLY);
    QCOMPARE(::close(file), -1);
    QCOMPARE(errno, EIO);
    QCOMPARE(::fcntl(file, F_GETFD), -1);
    QCOMPARE(errno, EBADF);
}

// --- Qt -------------------------------------------------------------------------------------------------

void TestFileCalls::qtCopy()
{
    QVERIFY(QFile::copy(path("a"_s), path("b"_s)));
    QCOMPARE(content(path("b"_s)).size(), kBytes);
    const Call* opening = m_recorder.first("open64");
    QVERIFY(opening);
    QVERIFY(m_recorder.first("sendfile"));
    QVERIFY(m_recorder.answers.contains(0));
    const QList<QByteArray> used = m_recorder.functions;
    QVERIFY2(used.contains("linkat") || used.contains("renameat2") || used.contains("rename"),
             used.join(' ').constData());

    m_recorder = Recorder();
    m_recorder.failAt("open64", 0, EACCES);
    QVERIFY(!QFile::copy(path("a"_s), path("c"_s)));
    QVERIFY(!QFile::exists(path("c"_s)));
}

void TestFileCalls::qtRename()
{
    m_recorder.failAt("renameat2", 0, EIO);
    const bool isDone = QFile::rename(path("a"_s), path("b"_s));
    const Call* call = m_recorder.first("renameat2");
    QVERIFY(call);
    QCOMPARE(call->path, native("a"_s));
    QCOMPARE(call->target, native("b"_s));
    QVERIFY(call->effect == Effect::Changes);
    // Qt falls back on a copy.
    QCOMPARE(QFile::exists(path("b"_s)), isDone);
    QCOMPARE(QFile::exists(path("a"_s)), !isDone);
}

void TestFileCalls::qtListing()
{
    QCOMPARE(QDir(m_directory->path()).entryList(QDir::Files), QStringList{"a"_s});
    QCOMPARE(m_recorder.functions.count("readdir64"), 4); // ".", "..", "a" and the end
    QVERIFY(!m_recorder.answers.contains(ENOENT));
    m_recorder.failAt("opendir", 0, ESTALE);
    QCOMPARE(QDir(m_directory->path()).entryList(QDir::Files), QStringList());
}

// --- The C++ library ------------------------------------------------------------------------------------

void TestFileCalls::listingFailsAfterSomeEntries()
{
    for (int entries = 0; entries < 3; ++entries) {
        m_recorder.failAt("readdir", entries, EIO);
        std::error_code error;
        fs::directory_iterator it(m_directory->path().toStdString(), error);
        while (!error && it != fs::directory_iterator())
            it.increment(error);
        QCOMPARE(error.value(), EIO);
    }
    int count = 0;
    for (const auto& entry : fs::directory_iterator(m_directory->path().toStdString())) {
        QVERIFY(entry.is_regular_file());
        ++count;
    }
    QCOMPARE(count, 1);
}

void TestFileCalls::standardCopy()
{
    std::error_code error;
    m_recorder.failAt("sendfile", 0, ENOSPC);
    QVERIFY(!fs::copy_file(path("a"_s).toStdString(), path("b"_s).toStdString(), error));
    QCOMPARE(error.value(), ENOSPC);
    const Call* call = m_recorder.first("sendfile");
    QCOMPARE(call->path, native("b"_s));
    QCOMPARE(call->target, native("a"_s));
    m_recorder.failAt("rename", 0, EACCES);
    fs::rename(path("a"_s).toStdString(), path("c"_s).toStdString(), error);
    QCOMPARE(error.value(), EACCES);
    QVERIFY(fs::exists(path("a"_s).toStdString()));
    m_recorder.failAt("lstat", 0, EIO);
    const fs::file_status status = fs::symlink_status(path("a"_s).toStdString(), error);
    QCOMPARE(error.value(), EIO);
    QVERIFY(status.type() == fs::file_type::none);
}

void TestFileCalls::standardRemoval()
{
    QVERIFY(QDir().mkpath(path("d/e"_s)));
    QVERIFY(write(path("d/e/f"_s), "x"));
    std::error_code error;
    m_recorder.failAt("unlinkat", 0, EACCES);
    fs::remove_all(path("d"_s).toStdString(), error);
    QCOMPARE(error.value(), EACCES);
    QCOMPARE(m_recorder.first("unlinkat")->path, native("d/e/f"_s));
    QVERIFY(QFile::exists(path("d/e/f"_s)));
    m_recorder.failAt("remove", 0, EROFS);
    QVERIFY(!fs::remove(path("a"_s).toStdString(), error));
    QCOMPARE(error.value(), EROFS);
    QCOMPARE(m_recorder.first("remove")->path, native("a"_s));
}

// --- SQLite ---------------------------------------------------------------------------------------------

void TestFileCalls::sqlite_data()
{
    QTest::addColumn<QString>("journal");
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<QString>("file");
    QTest::newRow("rollback") << "DELETE"_s << QByteArray("fdatasync") << "state.db-journal"_s;
    QTest::newRow("rollback, lock") << "DELETE"_s << QByteArray("fcntl64") << "state.db"_s;
    QTest::newRow("rollback, end") << "DELETE"_s << QByteArray("unlink") << "state.db-journal"_s;
    QTest::newRow("log") << "WAL"_s << QByteArray("pwrite64") << "state.db-wal"_s;
}

void TestFileCalls::sqlite()
{
    QFETCH(QString, journal);
    QFETCH(QByteArray, function);
    QFETCH(QString, file);
    {
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE"_s, "calls"_s);
        database.setDatabaseName(path("state.db"_s));
        QVERIFY(database.open());
        QSqlQuery query(database);
        QVERIFY(query.exec("PRAGMA journal_mode = %1"_s.arg(journal)));
        QVERIFY(query.exec("PRAGMA synchronous = FULL"_s));
        QVERIFY(query.exec("CREATE TABLE t (a INTEGER)"_s));
        query.finish();
        m_recorder = Recorder();
        m_recorder.failAt(function, 0, EIO);
        QVERIFY(!query.exec("INSERT INTO t VALUES (1)"_s));
        const Call* call = m_recorder.first(function);
        QVERIFY2(call, m_recorder.functions.join(' ').constData());
        QCOMPARE(call->path, native(file));
        query.finish();
        QVERIFY2(query.exec("INSERT INTO t VALUES (2)"_s), qPrintable(query.lastError().text()));
        QVERIFY(query.exec("SELECT group_concat(a) FROM t"_s) && query.next());
        QCOMPARE(query.value(0).toString(), "2"_s);
    }
    QSqlDatabase::removeDatabase("calls"_s);
}

void TestFileCalls::memoryOfTheLog()
{
    m_recorder.failAt("mmap64", 0, ENOMEM);
    {
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE"_s, "memory"_s);
        database.setDatabaseName(path("state.db"_s));
        QVERIFY(database.open());
        QSqlQuery query(database);
        QVERIFY(query.exec("PRAGMA journal_mode = WAL"_s));
        QVERIFY(!query.exec("CREATE TABLE t (a INTEGER)"_s));
        QCOMPARE(m_recorder.first("mmap64")->path, native("state.db-shm"_s));
        QVERIFY(query.exec("CREATE TABLE t (a INTEGER)"_s));
    }
    QSqlDatabase::removeDatabase("memory"_s);
}

QTEST_GUILESS_MAIN(TestFileCalls)
#include "test_file_calls.moc"

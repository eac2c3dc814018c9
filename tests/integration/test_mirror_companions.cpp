#include "host.h"
#include "literals.h"

#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTest>

#include <sys/stat.h>

using namespace VornSyncTest;

namespace {

// An application of its own that keeps a database in the local directory.
class Application
{
    Q_DISABLE_COPY_MOVE(Application)

public:
    explicit Application(const QString& path)
        : m_database(QSqlDatabase::addDatabase("QSQLITE"_s, path))
    {
        m_database.setDatabaseName(path);
        m_isOpen = m_database.open() && exec("PRAGMA journal_mode = WAL"_s);
    }

    ~Application()
    {
        const QString name = m_database.connectionName();
        m_database.close();
        m_database = QSqlDatabase();
        QSqlDatabase::removeDatabase(name);
    }

    bool isOpen() const { return m_isOpen; }
    bool exec(const QString& sql) { return QSqlQuery(m_database).exec(sql); }

private:
    QSqlDatabase m_database;
    bool m_isOpen = false;
};

HostOptions withSideCars()
{
    HostOptions options;
    options.patterns = QStringList{"*-wal"_s, "*-shm"_s, "*-journal"_s};
    return options;
}

} // namespace

// What travels with a file, or holds it back.
class TestMirrorCompanions : public QObject
{
    Q_OBJECT

private slots:
    void aDatabaseIsSentWhenItIsQuiet();
    void aBusyDatabaseHoldsBackNoOther();
    void withoutAPatternNothingIsHeldBack();
    void aDirectoryTravelsWithItsFile();
    void aDirectoryIsSentAgainWithItsFile();
    void aFileWithoutACompleteBaseNameDragsNothingAlong();
    void aCompanionThatCannotBeSentIsReported();
};

void TestMirrorCompanions::aDatabaseIsSentWhenItIsQuiet()
{
    Host host(withSideCars());
    {
        Application application(host.local().filePath("data.db"_s));
        QVERIFY(application.isOpen());
        QVERIFY(application.exec("CREATE TABLE t (n INTEGER)"_s));
        QVERIFY(application.exec("INSERT INTO t VALUES (1)"_s));
        QVERIFY(host.local().exists("data.db-wal"_s));
        QVERIFY(host.start());
        QVERIFY(host.awaitCycles(10));
        QCOMPARE(host.distant().names(), QStringList());
        QVERIFY(host.row("data.db"_s).isEmpty());
        QVERIFY(application.exec("INSERT INTO t VALUES (2)"_s));
    }
    QVERIFY(!host.local().exists("data.db-wal"_s));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), QStringList{"data.db"_s});
    QCOMPARE(RawDatabase(host.distant().filePath("data.db"_s)).value("SELECT SUM(n) FROM t"_s).toInt(), 3);
    if (traceLinesBuiltIn())
        QVERIFY(host.trace().contains(
            "Sync: copyToDistant - 'data.db' (dirId=1) has an active SQLite side-car; deferring retry 1/10 in 500 ms"_s));
}

void TestMirrorCompanions::aBusyDatabaseHoldsBackNoOther()
{
    Host host(withSideCars());
    Application application(host.local().filePath("data.db"_s));
    QVERIFY(application.isOpen());
    QVERIFY(application.exec("CREATE TABLE t (n INTEGER)"_s));
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.local().write("data.db.txt"_s, "no database"));
    host.leaveOut("data.db"_s);
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    // Eleven looks at 500 ms, then the next pass begins anew: the file is never given up.
    if (traceLinesBuiltIn()) {
        const QString givenUp =
            "'data.db' (dirId=1) still busy after 10 retries; yielding to the next periodic cycle"_s;
        QVERIFY(waitFor([&] { return host.trace().contains(givenUp); }));
        QVERIFY(waitFor([&] {
            return host.trace().count("'data.db' (dirId=1) has an active SQLite side-car; "
                                      "deferring retry 1/10 in 500 ms"_s) == 2;
        }));
    }
    QCOMPARE(host.distant().names(), (QStringList{"data.db.txt"_s, "text.txt"_s}));
    QVERIFY(host.row("data.db"_s).isEmpty());
    QCOMPARE(host.errors(), QStringList());
}

void TestMirrorCompanions::withoutAPatternNothingIsHeldBack()
{
    Host host;
    Application application(host.local().filePath("data.db"_s));
    QVERIFY(application.isOpen());
    QVERIFY(application.exec("CREATE TABLE t (n INTEGER)"_s));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().names(), (QStringList{"data.db"_s, "data.db-shm"_s, "data.db-wal"_s}));
}

void TestMirrorCompanions::aDirectoryTravelsWithItsFile()
{
    Host host;
    const Side& local = host.local();
    QVERIFY(local.write("report.doc"_s, "the report"));
    QVERIFY(local.write("report/picture 1.png"_s, "p1"));
    QVERIFY(local.write("report/empty"_s, QByteArray()));
    QVERIFY(local.write("report/sub/picture 2.png"_s, QByteArray(100000, '2')));
    QVERIFY(local.write("report/sub/too deep/picture 3.png"_s, "p3"));
    QVERIFY(local.write("report/.hidden"_s, "h"));
    QVERIFY(local.write("archive.tar.gz"_s, "gz"));
    QVERIFY(local.write("archive.tar/inner"_s, "i"));
    QVERIFY(local.write("archive/not its own"_s, "n"));
    QVERIFY(local.write("nobody's/file"_s, "n"));
    QVERIFY(local.write("no suffix"_s, "n"));
    QVERIFY(::mkfifo(QFile::encodeName(local.filePath("report/a fifo"_s)).constData(), 0644) == 0);
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().allFiles(),
             (QStringList{"archive.tar.gz"_s, "archive.tar/inner"_s, "no suffix"_s, "report.doc"_s,
                          "report/empty"_s, "report/picture 1.png"_s, "report/sub/picture 2.png"_s}));
    QCOMPARE(host.distant().read("report/sub/picture 2.png"_s), QByteArray(100000, '2'));
    // Companions have no rows of their own.
    QCOMPARE(host.manager()->doneCount(), 3);
}

void TestMirrorCompanions::aDirectoryIsSentAgainWithItsFile()
{
    Host host;
    QVERIFY(host.local().write("report.doc"_s, "1"));
    QVERIFY(host.local().write("report/picture.png"_s, "version 1"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.local().write("report/picture.png"_s, "version 2"));
    QVERIFY(host.local().write("report/new.png"_s, "new"));
    QVERIFY(host.awaitCycles(7));
    QCOMPARE(host.distant().read("report/picture.png"_s), QByteArray("version 1"));
    QVERIFY(host.local().append("report.doc"_s, " and 2"));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("report/picture.png"_s), QByteArray("version 2"));
    QCOMPARE(host.distant().read("report/new.png"_s), QByteArray("new"));
}

void TestMirrorCompanions::aFileWithoutACompleteBaseNameDragsNothingAlong()
{
    Host host;
    QVERIFY(host.local().write(".bashrc"_s, "b"));
    QVERIFY(host.local().write("..text"_s, "t"));
    QVERIFY(host.local().write("plain"_s, "p"));
    QVERIFY(host.local().write("directory/inner"_s, "i"));
    QVERIFY(host.start());
    // Hidden files are found by no pass; one that the host names is sent.
    host.manager()->notifyLocalFileChanged("docs"_s, ".bashrc"_s);
    host.manager()->notifyLocalFileChanged("docs"_s, "..text"_s);
    host.leaveOut(".bashrc"_s);
    host.leaveOut("..text"_s);
    QVERIFY(waitFor([&] { return host.status(".bashrc"_s) == 17 && host.status("..text"_s) == 17; }));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().allFiles(), (QStringList{"..text"_s, ".bashrc"_s, "plain"_s}));
}

void TestMirrorCompanions::aCompanionThatCannotBeSentIsReported()
{
    Host host;
    QVERIFY(host.local().write("report.doc"_s, "the report"));
    QVERIFY(host.local().write("report/blocked"_s, "a file"));
    QVERIFY(host.local().write("report/free"_s, "another"));
    QVERIFY(host.distant().write("report/blocked/theirs"_s, "theirs"));
    QVERIFY(host.local().write("other.txt"_s, "o"));
    const QString target = host.distant().filePath("report/blocked"_s);
    host.expectErrors(target);
    QVERIFY(host.start());
    QVERIFY(waitFor([&] { return !host.errors().isEmpty() && host.status("other.txt"_s) == 17; }));
    QCOMPARE(host.distant().read("report/free"_s), QByteArray("another"));
    QCOMPARE(host.distant().read("report/blocked/theirs"_s), QByteArray("theirs"));

    // Still within its retries.
    QVERIFY(host.distant().remove("report/blocked"_s));
    VERIFY_AT_REST(host);
    QCOMPARE(host.distant().read("report/blocked"_s), QByteArray("a file"));
    QCOMPARE(host.seenErrorFiles(), QStringList());
}

QTEST_GUILESS_MAIN(TestMirrorCompanions)
#include "test_mirror_companions.moc"

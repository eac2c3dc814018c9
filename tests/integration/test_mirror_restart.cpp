#include "host.h"
#include "literals.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace VornSyncTest;

namespace {

QDateTime longAgo()
{
    return QDateTime(QDate(2022, 5, 6), QTime(7, 8, 9), Qt::UTC);
}

QString iso(const QDateTime& time)
{
    return time.toUTC().toString(Qt::ISODate);
}

// As the first generation of the program created it.
QStringList firstGeneration()
{
    return {
        "CREATE TABLE directories (id INTEGER PRIMARY KEY AUTOINCREMENT, alias_name TEXT UNIQUE NOT NULL, "
        "local_path TEXT UNIQUE NOT NULL, distant_path TEXT NOT NULL, trash_path TEXT NOT NULL, "
        "available BOOLEAN DEFAULT 0)"_s,
        "CREATE TABLE file_tracking (file_name TEXT NOT NULL, directories_id INTEGER NOT NULL, size INTEGER, "
        "last_sync TEXT, status INTEGER NOT NULL DEFAULT 0, deletion_date TEXT, "
        "PRIMARY KEY (file_name, directories_id), "
        "FOREIGN KEY (directories_id) REFERENCES directories(id) ON DELETE CASCADE)"_s,
    };
}

QStringList secondGeneration()
{
    return {
        firstGeneration().first(),
        "CREATE TABLE schema_version (version INTEGER PRIMARY KEY)"_s,
        "INSERT INTO schema_version (version) VALUES (2)"_s,
        "CREATE TABLE file_tracking (file_name TEXT NOT NULL, directories_id INTEGER NOT NULL, size INTEGER, "
        "local_lmd TEXT, distant_lmd TEXT, status INTEGER NOT NULL DEFAULT 0, trashed_date TEXT, "
        "PRIMARY KEY (file_name, directories_id), "
        "FOREIGN KEY (directories_id) REFERENCES directories(id) ON DELETE CASCADE)"_s,
    };
}

QStringList thirdGeneration()
{
    QStringList result = secondGeneration();
    result[2] = "INSERT INTO schema_version (version) VALUES (3)"_s;
    result << "ALTER TABLE file_tracking ADD COLUMN error_code INTEGER NOT NULL DEFAULT 0"_s;
    return result;
}

} // namespace

class TestMirrorRestart : public QObject
{
    Q_OBJECT

private slots:
    void nothingIsSentAgain();
    void theCountersAreRightAtOnce();
    void changesMadeMeanwhileAreSent();
    void whatACrashLeftIsTakenUp();
    void pairsGoOnBeforeTheyAreRegisteredAgain();
    void manyStartsAndStopsLeaveNothing();
    void oldStateFilesAreTakenOver_data();
    void oldStateFilesAreTakenOver();
    void unusableDatabasesAreReportedFromTheEventLoop_data();
    void unusableDatabasesAreReportedFromTheEventLoop();
    void anUnusableDatabaseMayBecomeUsable();
    void aForeignDatabaseKeepsItsTables();
};

void TestMirrorRestart::nothingIsSentAgain()
{
    Host host;
    for (int i = 0; i < 4; ++i)
        QVERIFY(host.local().write("file %1"_s.arg(i), QByteArray(i * 1000, 'x')));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.started().size(), 4);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(host.restart());
        VERIFY_AT_REST(host);
    }
    QCOMPARE(host.started().size(), 4);
}

void TestMirrorRestart::theCountersAreRightAtOnce()
{
    Host host;
    QVERIFY(host.local().write("done.txt"_s, "d"));
    QVERIFY(host.local().write("gone.txt"_s, "g"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QVERIFY(host.local().remove("gone.txt"_s));
    QVERIFY(waitFor([&] { return host.manager()->errorCount() == 1; }));
    host.stop();

    host.create();
    QCOMPARE(host.manager()->doneCount(), 1);
    QCOMPARE(host.manager()->errorCount(), 1);
    QCOMPARE(host.manager()->pendingCount(), 0);
    QCOMPARE(host.manager()->inProgressCount(), 0);
    QCOMPARE(host.manager()->errorFiles().size(), 1);
    QCOMPARE(host.manager()->recentEvents().size(), 0);
    QVERIFY(host.manager()->isIdle());
    host.leaveOut("gone.txt"_s);
    QVERIFY(host.registerPairs());
    VERIFY_AT_REST(host);
}

void TestMirrorRestart::changesMadeMeanwhileAreSent()
{
    Host host;
    QVERIFY(host.local().write("changed.txt"_s, "version 1"));
    QVERIFY(host.local().write("same.txt"_s, "same"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    host.stop();
    QVERIFY(host.local().append("changed.txt"_s, " and 2"));
    QVERIFY(host.local().write("new.txt"_s, "new"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.started().count(host.local().filePath("same.txt"_s)), 1);
    QCOMPARE(host.distant().read("changed.txt"_s), QByteArray("version 1 and 2"));
}

// Every status that a kill may leave, on files that are and are not on the distant side.
void TestMirrorRestart::whatACrashLeftIsTakenUp()
{
    Host host;
    const QList<int> statuses = {0, 18, 20, 34, 36, 66, 68};
    for (int status : statuses) {
        QVERIFY(host.local().write("sent %1"_s.arg(status), "sent"));
        QVERIFY(host.local().write("unsent %1"_s.arg(status), "not sent"));
    }
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    host.stop();
    for (int status : statuses) {
        const QStringList names = {"sent %1"_s.arg(status), "unsent %1"_s.arg(status)};
        for (const QString& name : names) {
            QVERIFY(
                host.raw().exec("UPDATE file_tracking SET status = ? WHERE file_name = ?"_s, {status, name}));
            // What waits, and does not run, is taken up when it has waited for long enough.
            QVERIFY(host.age(name));
        }
        QVERIFY(host.distant().remove(names.last()));
    }
    QVERIFY(host.raw().exec("UPDATE file_tracking SET size = NULL, local_lmd = NULL, distant_lmd = NULL "
                            "WHERE file_name LIKE 'unsent%'"_s));
    const int sent = int(host.started().size());
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.started().size(), sent + statuses.size());
    QCOMPARE(host.manager()->errorCount(), 0);
}

void TestMirrorRestart::pairsGoOnBeforeTheyAreRegisteredAgain()
{
    Host host;
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    host.stop();
    QVERIFY(host.local().write("text.txt"_s, "t"));
    host.create();
    QVERIFY(host.manager()->isAliasDirectorySynchronised("docs"_s));
    QVERIFY(waitFor([&] { return host.distant().read("text.txt"_s) == "t"; }));
    QVERIFY(host.registerPairs());
    VERIFY_AT_REST(host);
}

void TestMirrorRestart::manyStartsAndStopsLeaveNothing()
{
    Host host;
    for (int i = 0; i < 5; ++i)
        QVERIFY(host.local().write("file %1"_s.arg(i), QByteArray(100000, char('a' + i))));
    for (int i = 0; i < 15; ++i) {
        QVERIFY(host.start());
        host.stop();
    }
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.errors(), QStringList());
}

void TestMirrorRestart::oldStateFilesAreTakenOver_data()
{
    QTest::addColumn<QStringList>("schema");
    QTest::addColumn<bool>("isFirst");
    QTest::newRow("first generation") << firstGeneration() << true;
    QTest::newRow("version 2") << secondGeneration() << false;
    QTest::newRow("version 3 without the extension") << thirdGeneration() << false;
}

void TestMirrorRestart::oldStateFilesAreTakenOver()
{
    QFETCH(QStringList, schema);
    QFETCH(bool, isFirst);
    Host host;
    // With and without an offset: both were written.
    const QString time = isFirst ? iso(longAgo()) : longAgo().toLocalTime().toString(Qt::ISODate);
    const auto insert = [&](const QString& name, int size, int status) {
        return isFirst
                   ? host.raw().exec("INSERT INTO file_tracking VALUES (?, 7, ?, ?, ?, NULL)"_s,
                                     {name, size, time, status})
                   : host.raw().exec("INSERT INTO file_tracking (file_name, directories_id, size, local_lmd, "
                                     "distant_lmd, status) VALUES (?, 7, ?, ?, ?, ?)"_s,
                                     {name, size, time, time, status});
    };
    QVERIFY(host.raw().execAll(schema));
    QVERIFY(host.raw().exec("INSERT INTO directories VALUES (7, 'docs', ?, ?, ?, 1)"_s,
                            {host.pair().localPath(), host.pair().distantPath(), host.trash().path()}));
    const QStringList names = {"done"_s,   "changed"_s, "interrupted"_s,
                               "failed"_s, "unknown"_s, "it's %1 \"odd\"\n"_s};
    for (const QString& name : names) {
        for (const Side& side : {host.local(), host.distant()}) {
            QVERIFY(side.write(name, "content"));
            QVERIFY(side.setLmd(name, longAgo()));
        }
    }
    QVERIFY(insert("done"_s, 7, 17));
    QVERIFY(insert("changed"_s, 7, 17));
    QVERIFY(insert("interrupted"_s, 7, 20));
    QVERIFY(insert("failed"_s, 7, 128));
    QVERIFY(insert("unknown"_s, 7, 0));
    QVERIFY(insert("it's %1 \"odd\"\n"_s, 7, 17));
    QVERIFY(insert("trashed"_s, 7, 33));
    QVERIFY(insert("deleted"_s, 7, 40));
    QVERIFY(host.local().append("changed"_s, " and more"));
    QVERIFY(host.local().write("new"_s, "new"));

    QVERIFY(host.start());
    QCOMPARE(host.directoryId(), 7);
    VERIFY_AT_REST(host);
    QCOMPARE(host.raw().value("SELECT version FROM schema_version"_s).toInt(), 3);
    QCOMPARE(host.status("trashed"_s), 33);
    QCOMPARE(host.status("deleted"_s), 40);
    // What was on record as agreeing is not sent again.
    QStringList sent = host.started();
    sent.sort();
    QCOMPARE(sent, (QStringList{host.local().filePath("changed"_s), host.local().filePath("new"_s)}));
    QCOMPARE(host.distant().lmd("done"_s), longAgo());

    QVERIFY(host.restart());
    VERIFY_AT_REST(host);
    QCOMPARE(host.started().size(), 2);
}

void TestMirrorRestart::unusableDatabasesAreReportedFromTheEventLoop_data()
{
    QTest::addColumn<QString>("path"); // below the pair's root
    QTest::newRow("garbage") << "garbage.sqlite"_s;
    QTest::newRow("a directory in its place") << "a directory"_s;
    QTest::newRow("missing parent") << "missing/parent/state.sqlite"_s;
    QTest::newRow("parent is a file") << "garbage.sqlite/state.sqlite"_s;
}

void TestMirrorRestart::unusableDatabasesAreReportedFromTheEventLoop()
{
    QFETCH(QString, path);
    const Pair place;
    const Side root(place.rootPath());
    const QByteArray garbage = QByteArray("This is no database. ").repeated(500);
    QVERIFY(root.write("garbage.sqlite"_s, garbage));
    QVERIFY(root.write("a directory/kept"_s, "kept"));
    HostOptions options;
    options.databasePath = root.filePath(path);
    Host host(options);
    QVERIFY(host.local().write("text.txt"_s, "t"));
    host.create(); // the signals are connected after the constructor has returned
    QCOMPARE(host.errors(), QStringList());
    QCOMPARE(host.trace().criticals().size(), 1);
    QVERIFY(host.trace().criticals().first().contains(options.databasePath));
    QVERIFY(waitFor([&] {
        return host.hasError("ERROR: State database is not usable: '%1'."_s.arg(options.databasePath));
    }));

    // Every operation fails cleanly.
    VornSyncManager& manager = *host.manager();
    QVERIFY(!manager.addDirectory("docs"_s, host.pair().localPath(), host.pair().distantPath()));
    QVERIFY(host.hasError("ERROR: Failure to add directory in database for alias: 'docs'."_s));
    QVERIFY(!manager.delDirectory("docs"_s));
    QVERIFY(!manager.isAliasDirectorySynchronised("docs"_s));
    QVERIFY(manager.getLocalDirSynchronizedAlias(host.pair().localPath()).isNull());
    manager.setDirectoryAvailability("docs"_s, true);
    manager.notifyLocalFileChanged("docs"_s, "text.txt"_s);
    manager.pauseAll();
    manager.resumeAll();
    manager.requestSync();
    QVERIFY(manager.isIdle());
    QCOMPARE(manager.doneCount() + manager.pendingCount() + manager.errorCount() + manager.inProgressCount(),
             0);
    // The synchronizer has met it too.
    const int errorsBefore = int(host.errors().size());
    QVERIFY(waitFor([&] { return host.errors().size() > errorsBefore; }));
    host.stop();

    QCOMPARE(root.read("garbage.sqlite"_s), garbage);
    QCOMPARE(root.read("a directory/kept"_s), QByteArray("kept"));
    QVERIFY(!root.exists("missing"_s));
    QCOMPARE(host.distant().names(), QStringList());
    QVERIFY2(host.trace().warnings().isEmpty(), qPrintable(host.trace().warnings().join("; "_s)));
}

void TestMirrorRestart::anUnusableDatabaseMayBecomeUsable()
{
    const Pair place;
    HostOptions options;
    options.databasePath = place.rootPath() + "/later/state.sqlite"_s;
    Host host(options);
    host.expectErrors(QString());
    host.expectCriticals();
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(!host.start());
    QVERIFY(waitFor([&] { return !host.errors().isEmpty(); }));
    QVERIFY(Side(place.rootPath()).makeDirectory("later"_s));
    QVERIFY(host.restart());
    VERIFY_AT_REST(host);
}

void TestMirrorRestart::aForeignDatabaseKeepsItsTables()
{
    Host host;
    QVERIFY(host.raw().execAll({"CREATE TABLE theirs (n INTEGER)"_s, "INSERT INTO theirs VALUES (42)"_s}));
    QVERIFY(host.local().write("text.txt"_s, "t"));
    QVERIFY(host.start());
    VERIFY_AT_REST(host);
    QCOMPARE(host.raw().value("SELECT n FROM theirs"_s).toInt(), 42);
}

QTEST_GUILESS_MAIN(TestMirrorRestart)
#include "test_mirror_restart.moc"

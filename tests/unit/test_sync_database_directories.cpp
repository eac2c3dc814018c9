#include "sync_database_fixture.h"

#include <algorithm>

using namespace VornSyncTest;

namespace {

QStringList oddTexts()
{
    return {"%1 %2"_s, "it's \"quoted\""_s, "a\nb"_s, "Ünïcödé 文件"_s, "-rf; DROP TABLE directories; --"_s,
            " "_s};
}

} // namespace

class TestSyncDatabaseDirectories : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void newDirectoryRow();
    void sameAgain();
    void sameWithOtherPaths();
    void knownAliasWithAnotherLocalPath();
    void newAliasOnAKnownLocalPath();
    void aliasOfOneRowAndPathOfAnother();
    void nullTextsAreEmpty();
    void trace_data();
    void trace();
    void lookUps();
    void lookUpsOfNothing();
    void ambiguousLookUp();
    void fieldNumbers();
    void idsAndAvailability();
    void localPaths();
    void deletionTakesTheRowsAlong();
    void deletionTakesTheMarksAlong();
    void oddTexts();
    void failedUpdateStillGivesTheId();

private:
    QVariantMap stored(int id) { return m_fixture->raw.directoryRow(id); }

    std::unique_ptr<SyncDatabaseFixture> m_fixture;
};

void TestSyncDatabaseDirectories::init()
{
    m_fixture = std::make_unique<SyncDatabaseFixture>();
    QVERIFY(m_fixture->isReady);
    QVERIFY(m_fixture->directoryId > 0);
}

// --- Adding ---------------------------------------------------------------------------------------------

void TestSyncDatabaseDirectories::newDirectoryRow()
{
    const int id = m_fixture->database.addDirectory("b"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    QVERIFY(id > m_fixture->directoryId);
    QCOMPARE(stored(id), (QVariantMap{{"id"_s, qlonglong(id)},
                                      {"alias_name"_s, "b"_s},
                                      {"local_path"_s, "/l2"_s},
                                      {"distant_path"_s, "/d2"_s},
                                      {"trash_path"_s, "/t2"_s},
                                      {"available"_s, 0LL}}));
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseDirectories::sameAgain()
{
    VornSyncDatabase& database = m_fixture->database;
    QVERIFY(database.setDirectoryAvailable(m_fixture->directoryId));
    const QVariantMap before = stored(m_fixture->directoryId);
    QCOMPARE(database.addDirectory("alias"_s, "/local"_s, "/distant"_s, "/trash"_s), m_fixture->directoryId);
    QCOMPARE(stored(m_fixture->directoryId), before);
}

void TestSyncDatabaseDirectories::sameWithOtherPaths()
{
    VornSyncDatabase& database = m_fixture->database;
    QCOMPARE(database.addDirectory("alias"_s, "/local"_s, "/elsewhere"_s, "/trash"_s),
             m_fixture->directoryId);
    QCOMPARE(stored(m_fixture->directoryId).value("distant_path"_s).toString(), "/elsewhere"_s);
    QCOMPARE(database.addDirectory("alias"_s, "/local"_s, "/elsewhere"_s, "/bin"_s), m_fixture->directoryId);
    QCOMPARE(stored(m_fixture->directoryId).value("trash_path"_s).toString(), "/bin"_s);
    QCOMPARE(stored(m_fixture->directoryId).value("distant_path"_s).toString(), "/elsewhere"_s);
}

void TestSyncDatabaseDirectories::knownAliasWithAnotherLocalPath()
{
    const QVariantMap before = stored(m_fixture->directoryId);
    QCOMPARE(m_fixture->database.addDirectory("alias"_s, "/other"_s, "/d"_s, "/t"_s), m_fixture->directoryId);
    QCOMPARE(stored(m_fixture->directoryId), before);
    QCOMPARE(m_fixture->raw.value("SELECT COUNT(*) FROM directories"_s).toInt(), 1);
}

void TestSyncDatabaseDirectories::newAliasOnAKnownLocalPath()
{
    const QVariantMap before = stored(m_fixture->directoryId);
    QCOMPARE(m_fixture->database.addDirectory("new"_s, "/local"_s, "/d"_s, "/t"_s), -1);
    QCOMPARE(stored(m_fixture->directoryId), before);
    QCOMPARE(m_fixture->raw.value("SELECT COUNT(*) FROM directories"_s).toInt(), 1);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseDirectories::aliasOfOneRowAndPathOfAnother()
{
    const int second = m_fixture->database.addDirectory("b"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    const auto before = m_fixture->raw.rows("SELECT * FROM directories"_s);
    QCOMPARE(m_fixture->database.addDirectory("b"_s, "/local"_s, "/x"_s, "/y"_s), second);
    QCOMPARE(m_fixture->raw.rows("SELECT * FROM directories"_s), before);
}

void TestSyncDatabaseDirectories::nullTextsAreEmpty()
{
    const int id = m_fixture->database.addDirectory("b"_s, "/l2"_s, QString(), QString());
    QVERIFY(id > 0);
    QCOMPARE(stored(id).value("distant_path"_s), QVariant(""_s));
    QCOMPARE(m_fixture->database.addDirectory("b"_s, "/l2"_s, QString(), QString()), id);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseDirectories::trace_data()
{
    QTest::addColumn<QString>("alias");
    QTest::addColumn<QString>("localPath");
    QTest::newRow("new") << "b %1"_s
                         << "/l2"_s;
    QTest::newRow("known") << "alias"_s
                           << "/local"_s;
    // A quirk that is kept: only 0 reads "FAIL".
    QTest::newRow("refused") << "new"_s
                             << "/local"_s;
}

void TestSyncDatabaseDirectories::trace()
{
    QFETCH(QString, alias);
    QFETCH(QString, localPath);
    if (!traceLinesBuiltIn())
        QSKIP("Built without trace lines");
    TraceCapture capture;
    m_fixture->database.addDirectory(alias, localPath, "/d"_s, "/t"_s);
    QCOMPARE(capture.debugLines(),
             QStringList{"[-- SYNC --]: DB: addDirectory - done Alias = '%1' "_s.arg(alias)});

    // An id of 0 is one that only a hand gives.
    QVERIFY(m_fixture->raw.exec("INSERT INTO directories VALUES (0, 'zero', '/zero', '/d', '/t', 0)"_s));
    capture.clear();
    QCOMPARE(m_fixture->database.addDirectory("zero"_s, "/zero"_s, "/d"_s, "/t"_s), 0);
    QCOMPARE(capture.debugLines(), QStringList{"[-- SYNC --]: DB: addDirectory - FAIL Alias = 'zero' "_s});
}

// --- Looking up -----------------------------------------------------------------------------------------

void TestSyncDatabaseDirectories::lookUps()
{
    VornSyncDatabase& database = m_fixture->database;
    const int id = m_fixture->directoryId;
    QCOMPARE(database.getDirectoryIdByAlias("alias"_s), id);
    QCOMPARE(database.getDirectoryIdByLocalPath("/local"_s), id);
    QCOMPARE(database.getDirectoryIdByDistantPath("/distant"_s), id);
    QCOMPARE(database.getDirectoryIdByField(VornSyncDatabase::AliasName, "alias"_s), id);
    QCOMPARE(database.getDirectoryIdByField(VornSyncDatabase::TrashPath, "/trash"_s), id);
    QCOMPARE(database.getDirectoryAlias(id), "alias"_s);
    QCOMPARE(database.getDirectoryLocalPath(id), "/local"_s);
    QCOMPARE(database.getDirectoryDistantPath(id), "/distant"_s);
    QCOMPARE(database.getDirectoryTrashPath(id), "/trash"_s);
    QCOMPARE(database.getDirectoryField(id, VornSyncDatabase::TrashPath), "/trash"_s);
}

void TestSyncDatabaseDirectories::lookUpsOfNothing()
{
    VornSyncDatabase& database = m_fixture->database;
    QCOMPARE(database.getDirectoryIdByAlias("Alias"_s), -1);
    QCOMPARE(database.getDirectoryIdByAlias(QString()), -1);
    QCOMPARE(database.getDirectoryIdByLocalPath("/local/"_s), -1);
    QCOMPARE(database.getDirectoryField(99, VornSyncDatabase::LocalPath), QString());
    QCOMPARE(database.getDirectoryAlias(-1), QString());
    QCOMPARE(m_fixture->errorTexts(), QStringList());

    QVERIFY(m_fixture->raw.exec("ALTER TABLE directories RENAME TO gone"_s));
    QCOMPARE(database.getDirectoryIdByAlias("alias"_s), -1);
    QCOMPARE(database.getDirectoryAlias(m_fixture->directoryId), QString());
    QCOMPARE(database.getDirectoryIds(false), QList<int>());
    QCOMPARE(database.getDirectoryLocalPaths(false), QStringList());
    QVERIFY(!database.setDirectoryAvailable(m_fixture->directoryId));
    QCOMPARE(m_fixture->errors.size(), 5);
}

void TestSyncDatabaseDirectories::ambiguousLookUp()
{
    QVERIFY(m_fixture->database.addDirectory("b"_s, "/l2"_s, "/distant"_s, "/t2"_s) > 0);
    QCOMPARE(m_fixture->database.getDirectoryIdByDistantPath("/distant"_s), -1);
}

void TestSyncDatabaseDirectories::fieldNumbers()
{
    QCOMPARE(int(VornSyncDatabase::AliasName), 0);
    QCOMPARE(int(VornSyncDatabase::LocalPath), 1);
    QCOMPARE(int(VornSyncDatabase::DistantPath), 2);
    QCOMPARE(int(VornSyncDatabase::TrashPath), 3);
}

void TestSyncDatabaseDirectories::idsAndAvailability()
{
    VornSyncDatabase& database = m_fixture->database;
    const int first = m_fixture->directoryId;
    const int second = database.addDirectory("b"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    // The order is SQLite's.
    QList<int> ids = database.getDirectoryIds(false);
    std::sort(ids.begin(), ids.end());
    QCOMPARE(ids, (QList<int>{first, second}));
    QCOMPARE(database.getDirectoryIds(true), QList<int>());
    QVERIFY(database.setDirectoryAvailable(second));
    QCOMPARE(database.getDirectoryIds(true), QList<int>{second});
    QCOMPARE(stored(second).value("available"_s).toInt(), 1);
    QCOMPARE(stored(first).value("available"_s).toInt(), 0);
    QVERIFY(database.setDirectoryUnavailable(second));
    QCOMPARE(database.getDirectoryIds(true), QList<int>());
    QVERIFY(database.setDirectoryAvailable(99));
}

void TestSyncDatabaseDirectories::localPaths()
{
    VornSyncDatabase& database = m_fixture->database;
    const int second = database.addDirectory("b"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    QVERIFY(database.setDirectoryAvailable(second));
    QStringList paths = database.getDirectoryLocalPaths(false);
    paths.sort();
    QCOMPARE(paths, (QStringList{"/l2"_s, "/local"_s}));
    QCOMPARE(database.getDirectoryLocalPaths(true), QStringList{"/l2"_s});
}

// --- Deleting and odd texts -----------------------------------------------------------------------------

void TestSyncDatabaseDirectories::deletionTakesTheRowsAlong()
{
    VornSyncDatabase& database = m_fixture->database;
    const int second = database.addDirectory("b"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    QVERIFY(database.setFileStatus(m_fixture->directoryId, "x"_s, ceSfsPendingSync, 0));
    QVERIFY(database.setFileStatus(second, "x"_s, ceSfsPendingSync, 0));
    QVERIFY(database.deleteDirectory(m_fixture->directoryId));
    QCOMPARE(m_fixture->raw.value("SELECT group_concat(directories_id) FROM file_tracking"_s).toString(),
             QString::number(second));
    QCOMPARE(database.countFilesByStatuses({ceSfsPendingSync}), 1);
    QCOMPARE(database.getDirectoryIds(false), QList<int>{second});
    QVERIFY(database.deleteDirectory(m_fixture->directoryId));
    QCOMPARE(m_fixture->raw.integrityProblems(), QString());
}

void TestSyncDatabaseDirectories::deletionTakesTheMarksAlong()
{
    VornSyncDatabase& database = m_fixture->database;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QVERIFY(database.recordFileSync(m_fixture->directoryId, "x"_s, 1, now, now));
    QVERIFY(database.recordDistantGrown(m_fixture->directoryId, "x"_s, 2, now, now, 1));
    QVERIFY(database.deleteDirectory(m_fixture->directoryId));
    QCOMPARE(m_fixture->raw.value("SELECT COUNT(*) FROM distant_newer_marks"_s).toInt(), 0);
}

void TestSyncDatabaseDirectories::oddTexts()
{
    VornSyncDatabase& database = m_fixture->database;
    const QStringList texts = ::oddTexts();
    for (const QString& text : texts) {
        const int id = database.addDirectory(text, "/l/"_s + text, "/d/"_s + text, "/t/"_s + text);
        QVERIFY(id > 0);
        QCOMPARE(database.getDirectoryIdByAlias(text), id);
        QCOMPARE(database.getDirectoryIdByLocalPath("/l/"_s + text), id);
        QCOMPARE(database.getDirectoryAlias(id), text);
        QCOMPARE(database.getDirectoryTrashPath(id), "/t/"_s + text);
    }
    QCOMPARE(m_fixture->errorTexts(), QStringList());
}

void TestSyncDatabaseDirectories::failedUpdateStillGivesTheId()
{
    // The outcome of the update is not looked at.
    QVERIFY(m_fixture->raw.exec("CREATE TRIGGER refuse BEFORE UPDATE ON directories BEGIN "
                                "SELECT RAISE(ABORT, 'refused'); END"_s));
    QCOMPARE(m_fixture->database.addDirectory("alias"_s, "/local"_s, "/x"_s, "/y"_s), m_fixture->directoryId);
    QCOMPARE(stored(m_fixture->directoryId).value("distant_path"_s).toString(), "/distant"_s);
    QCOMPARE(m_fixture->errors.size(), 1);
    QVERIFY(m_fixture->errorTexts().first().contains("refused"_s));
}

QTEST_GUILESS_MAIN(TestSyncDatabaseDirectories)

#include "test_sync_database_directories.moc"

#include "engine_parts_fixture.h"

#include <QTest>

using namespace VornSyncTest;

class TestPathCache : public QObject
{
    Q_OBJECT

private slots:
    void beforeTheDatabase_nothingIsKnownOrKept();
    void threePaths();
    void keptUntilInvalidated();
    void changedDirectories_forgetAll();
    void unknownDirectory_isKept();
    void unreadable_isNotKept();

private:
    static bool move(EngineParts& parts, const QString& localPath)
    {
        return parts.raw.exec("UPDATE directories SET local_path = ? WHERE id = ?"_s, {localPath, parts.id});
    }
};

void TestPathCache::beforeTheDatabase_nothingIsKnownOrKept()
{
    EngineParts parts;
    QVERIFY(parts.start());
    VornSyncPathCache paths;
    QCOMPARE(paths.localDir(parts.id), QString());
    paths.setDatabase(&parts.database);
    QCOMPARE(paths.localDir(parts.id), parts.pair.localPath());
}

void TestPathCache::threePaths()
{
    EngineParts parts;
    QVERIFY(parts.start());
    QCOMPARE(parts.paths.localDir(parts.id), parts.pair.localPath());
    QCOMPARE(parts.paths.distantDir(parts.id), parts.pair.distantPath());
    QCOMPARE(parts.paths.trashDir(parts.id), parts.trash.path());
}

void TestPathCache::keptUntilInvalidated()
{
    EngineParts parts;
    QVERIFY(parts.start());
    QCOMPARE(parts.paths.localDir(parts.id), parts.pair.localPath());
    QVERIFY(move(parts, "/elsewhere"_s)); // unseen by the database object
    QCOMPARE(parts.paths.localDir(parts.id), parts.pair.localPath());
    parts.paths.invalidate(parts.id + 1);
    QCOMPARE(parts.paths.localDir(parts.id), parts.pair.localPath());
    parts.paths.invalidate(parts.id);
    QCOMPARE(parts.paths.localDir(parts.id), "/elsewhere"_s);
    QVERIFY(move(parts, "/again"_s));
    parts.paths.invalidate(VornSyncTypes::kNoDirectoryId);
    QCOMPARE(parts.paths.localDir(parts.id), "/again"_s);
}

void TestPathCache::changedDirectories_forgetAll()
{
    EngineParts parts;
    QVERIFY(parts.start());
    QCOMPARE(parts.paths.localDir(parts.id), parts.pair.localPath());
    QVERIFY(parts.database.deleteDirectory(parts.id));
    QCOMPARE(parts.paths.localDir(parts.id), QString());
}

void TestPathCache::unknownDirectory_isKept()
{
    EngineParts parts;
    QVERIFY(parts.start());
    const int unknown = parts.id + 1;
    QCOMPARE(parts.paths.localDir(unknown), QString());
    QVERIFY(parts.raw.exec("UPDATE directories SET id = ? WHERE id = ?"_s, {unknown, parts.id}));
    QCOMPARE(parts.paths.localDir(unknown), QString());
    parts.paths.invalidate(unknown);
    QCOMPARE(parts.paths.localDir(unknown), parts.pair.localPath());
}

void TestPathCache::unreadable_isNotKept()
{
    EngineParts parts;
    QVERIFY(parts.start());
    QVERIFY(parts.raw.exec("ALTER TABLE directories RENAME TO hidden"_s));
    QCOMPARE(parts.paths.localDir(parts.id), QString());
    QVERIFY(parts.raw.exec("ALTER TABLE hidden RENAME TO directories"_s));
    QCOMPARE(parts.paths.localDir(parts.id), parts.pair.localPath());
}

QTEST_GUILESS_MAIN(TestPathCache)
#include "test_path_cache.moc"

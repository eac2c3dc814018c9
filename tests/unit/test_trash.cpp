#include "engine_parts_fixture.h"
#include "vorn_sync_times.h"
#include "vorn_sync_trash.h"

#include <QSignalSpy>
#include <QTest>

using namespace VornSyncTest;

namespace {

const QString kName = "a.txt"_s;

QString daysAgo(int days)
{
    return VornSyncTimes::toText(QDateTime::currentDateTimeUtc().addDays(-days));
}

} // namespace

class TestTrash : public QObject
{
    Q_OBJECT

private slots:
    void purge_data();
    void purge();
    void purge_withoutATrash();
    void purge_whatCantBeRemoved();
    void removeSuperseded();
    void removeSuperseded_whatCantBeRemoved();
};

void TestTrash::purge_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("days");
    QTest::addColumn<bool>("hasFile");
    QTest::addColumn<bool>("isPurged");
    QTest::newRow("old enough") << int(ceSfsTrashed) << 31 << true << true;
    QTest::newRow("its file is gone already") << int(ceSfsTrashed) << 31 << false << true;
    QTest::newRow("too young") << int(ceSfsTrashed) << 29 << true << false;
    QTest::newRow("on its way back") << int(ceSfsRestoring) << 31 << true << false;
    QTest::newRow("in error") << int(ceSfsTrashed | ceSfsError) << 31 << true << false;
}

void TestTrash::purge()
{
    QFETCH(int, status);
    QFETCH(int, days);
    QFETCH(bool, hasFile);
    QFETCH(bool, isPurged);
    EngineParts parts;
    QVERIFY(parts.start());
    VornSyncTrash trash(parts.paths, nullptr);
    trash.setDatabase(&parts.database);
    QSignalSpy changes(&trash, &VornSyncTrash::errorStateChanged);
    QVERIFY(parts.trash.write("other.txt"_s, "stays"));
    if (hasFile)
        QVERIFY(parts.trash.write(kName, "x"));
    QVERIFY(parts.putRow(kName, status, ceSecNone, 1, daysAgo(days)));
    trash.purge();
    QCOMPARE(parts.state(kName) == "none"_s, isPurged);
    QCOMPARE(parts.trash.exists(kName), hasFile && !isPurged);
    QCOMPARE(parts.trash.read("other.txt"_s), QByteArray("stays"));
    QCOMPARE(changes.count(), isPurged ? 1 : 0);
}

// Whether the file is still there can't be known: its row stays.
void TestTrash::purge_withoutATrash()
{
    EngineParts parts;
    QVERIFY(parts.start());
    VornSyncTrash trash(parts.paths, nullptr);
    trash.setDatabase(&parts.database);
    QVERIFY(parts.putRow(kName, ceSfsTrashed, ceSecNone, 1, daysAgo(31)));
    QVERIFY(parts.trash.remove("."_s));
    trash.purge();
    QCOMPARE(parts.state(kName), "33/0"_s);
}

void TestTrash::purge_whatCantBeRemoved()
{
    EngineParts parts;
    QVERIFY(parts.start());
    VornSyncTrash trash(parts.paths, nullptr);
    trash.setDatabase(&parts.database);
    QSignalSpy failures(&trash, &VornSyncTrash::failed);
    QSignalSpy changes(&trash, &VornSyncTrash::errorStateChanged);
    QVERIFY(parts.trash.makeDirectory(kName));
    QVERIFY(parts.putRow(kName, ceSfsTrashed, ceSecNone, 1, daysAgo(31)));
    trash.purge();
    QCOMPARE(parts.state(kName), "33/0"_s);
    QCOMPARE(failures.count(), 1);
    QCOMPARE(failures.first().first().toString(),
             "ERROR: Failed to permanently delete file from trash: '%1'"_s.arg(parts.trash.filePath(kName)));
    QCOMPARE(changes.count(), 0);
}

void TestTrash::removeSuperseded()
{
    EngineParts parts;
    QVERIFY(parts.start());
    VornSyncTrash trash(parts.paths, nullptr);
    trash.setDatabase(&parts.database);
    QVERIFY(parts.trash.write(kName, "x"));
    QVERIFY(parts.trash.write("other.txt"_s, "stays"));
    trash.removeSuperseded(parts.id + 1, kName);
    QVERIFY(parts.trash.exists(kName));
    trash.removeSuperseded(parts.id, kName);
    QVERIFY(!parts.trash.exists(kName));
    QVERIFY(parts.trash.exists("other.txt"_s));
}

void TestTrash::removeSuperseded_whatCantBeRemoved()
{
    EngineParts parts;
    QVERIFY(parts.start());
    VornSyncTrash trash(parts.paths, nullptr);
    trash.setDatabase(&parts.database);
    QSignalSpy failures(&trash, &VornSyncTrash::failed);
    QVERIFY(parts.trash.makeDirectory(kName));
    trash.removeSuperseded(parts.id, kName);
    QVERIFY(parts.trash.exists(kName));
    QCOMPARE(failures.count(), 0);
}

QTEST_GUILESS_MAIN(TestTrash)
#include "test_trash.moc"

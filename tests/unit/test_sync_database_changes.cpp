#include "collect.h"
#include "sync_database_fixture.h"
#include "vorn_sync_file_comparison.h"
#include "vorn_sync_row_changes.h"

#include <QFile>

#include <thread>

using namespace VornSyncTest;

namespace {

// What the files are written with: 2020-09-13T12:26:40Z.
constexpr qint64 kSecs = 1600000000;

QDateTime utc(qint64 secs)
{
    return QDateTime::fromSecsSinceEpoch(secs, Qt::UTC);
}

} // namespace

class TestSyncDatabaseChanges : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void compareWithRow_data();
    void compareWithRow();
    void compareWithoutRow_data();
    void compareWithoutRow();
    void localDifference_data();
    void localDifference();

    void needNoDistantFile();
    void needWithRow_data();
    void needWithRow();
    void needTraceWithRow();
    void needWithoutRow();
    void needResolvesUndefined();
    void needUndefinedWithOtherSizes();
    void needWithUnreadableTimes();
    void needWithTwoRows();
    void needWithoutTable();
    void localChanged();

    void directoryRows();
    void directoryRowsOfTimesWithOffset();
    void fileRow();
    void trackingOfRows();
    void trackingByOtherThreads();
    void trackingOfEveryWrite_data();
    void trackingOfEveryWrite();
    void trackingOfBulkWrites();
    void trackingAlone();

private:
    VornSyncDatabase& db() { return m_fixture->database; }
    int id() const { return m_fixture->directoryId; }
    QFileInfo file(const QString& side, int size, qint64 secs);

    std::unique_ptr<SyncDatabaseFixture> m_fixture;
};

void TestSyncDatabaseChanges::init()
{
    m_fixture = std::make_unique<SyncDatabaseFixture>();
    QVERIFY(m_fixture->isReady);
    QVERIFY(m_fixture->directoryId > 0);
}

// A real file of that size and time.
QFileInfo TestSyncDatabaseChanges::file(const QString& side, int size, qint64 secs)
{
    const QString path = m_fixture->directory.filePath(side);
    QFile written(path);
    if (!written.open(QIODevice::WriteOnly) || written.write(QByteArray(size, 'x')) != size ||
        !written.flush() || !written.setFileTime(utc(secs), QFileDevice::FileModificationTime))
        qFatal("cannot make a test file");
    written.close();
    return QFileInfo(path);
}

// --- The comparison -------------------------------------------------------------------------------------

void TestSyncDatabaseChanges::compareWithRow_data()
{
    QTest::addColumn<int>("localSize");
    QTest::addColumn<int>("localOffset");
    QTest::addColumn<int>("distantSize");
    QTest::addColumn<int>("distantOffset");
    QTest::addColumn<QString>("reason"); // empty: nothing to do
    QTest::newRow("all equal") << 100 << 0 << 100 << 0 << ""_s;
    QTest::newRow("distant 3 s later") << 100 << 0 << 100 << 3 << ""_s;
    QTest::newRow("distant 3 s earlier") << 100 << 0 << 100 << -3 << ""_s;
    QTest::newRow("distant 4 s later") << 100 << 0 << 100 << 4 << "db distant LMD != dist LMD"_s;
    QTest::newRow("distant 4 s earlier") << 100 << 0 << 100 << -4 << "db distant LMD != dist LMD"_s;
    QTest::newRow("distant time before sizes") << 99 << 0 << 101 << 4 << "db distant LMD != dist LMD"_s;
    QTest::newRow("distant size") << 100 << 0 << 101 << 0 << "db size != dist size"_s;
    QTest::newRow("both sizes") << 101 << 0 << 101 << 0 << "db size != dist size"_s;
    QTest::newRow("local size") << 99 << 0 << 100 << 0 << "db size != loc size"_s;
    QTest::newRow("local 3 s later") << 100 << 3 << 100 << 0 << ""_s;
    QTest::newRow("local 4 s later") << 100 << 4 << 100 << 0 << "db local LMD < loc LMD"_s;
    QTest::newRow("local much earlier") << 100 << -4000 << 100 << 0 << ""_s;
}

void TestSyncDatabaseChanges::compareWithRow()
{
    QFETCH(int, localSize);
    QFETCH(int, localOffset);
    QFETCH(int, distantSize);
    QFETCH(int, distantOffset);
    QFETCH(QString, reason);
    const VornSyncComparison result = VornSyncFileComparison::withRow(
        100, kSecs, kSecs, {localSize, kSecs + localOffset}, {distantSize, kSecs + distantOffset});
    QCOMPARE(QLatin1String(result.reason), reason);
    QCOMPARE(result.isActionNeeded, !reason.isEmpty());
    QCOMPARE(result.isCopyNeeded, !reason.isEmpty());
}

void TestSyncDatabaseChanges::compareWithoutRow_data()
{
    QTest::addColumn<int>("distantSize");
    QTest::addColumn<int>("distantOffset");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<bool>("isCopyNeeded");
    QTest::newRow("sizes differ") << 101 << 50 << "dist size != loc size"_s << true;
    QTest::newRow("distant 1 s older") << 100 << -1 << "dist LMD < loc LMD"_s << true;
    QTest::newRow("same time") << 100 << 0 << ""_s << false;
    QTest::newRow("distant newer") << 100 << 50 << ""_s << false;
}

void TestSyncDatabaseChanges::compareWithoutRow()
{
    QFETCH(int, distantSize);
    QFETCH(int, distantOffset);
    const VornSyncComparison result =
        VornSyncFileComparison::withoutRow({100, kSecs}, {distantSize, kSecs + distantOffset});
    QVERIFY(result.isActionNeeded);
    QTEST(result.isCopyNeeded, "isCopyNeeded");
    QTEST(QString(QLatin1String(result.reason)), "reason");
}

void TestSyncDatabaseChanges::localDifference_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("secs");
    QTest::addColumn<bool>("isDifferent");
    QTest::newRow("same") << qint64(100) << kSecs << false;
    QTest::newRow("3 s later") << qint64(100) << kSecs + 3 << false;
    QTest::newRow("3 s earlier") << qint64(100) << kSecs - 3 << false;
    QTest::newRow("4 s later") << qint64(100) << kSecs + 4 << true;
    QTest::newRow("4 s earlier") << qint64(100) << kSecs - 4 << true;
    QTest::newRow("size") << qint64(101) << kSecs << true;
    QTest::newRow("size beyond 32 bits") << qint64(100) + (qint64(1) << 32) << kSecs << true;
}

void TestSyncDatabaseChanges::localDifference()
{
    QFETCH(qint64, size);
    QFETCH(qint64, secs);
    VornSyncFileRow row;
    row.size = 100;
    row.localLmdSecs = kSecs;
    QTEST(VornSyncDatabase::isLocalFileDifferent(row, size, secs), "isDifferent");
}

// --- isFileNeedUpdate and isLocalFileChanged ------------------------------------------------------------

void TestSyncDatabaseChanges::needNoDistantFile()
{
    // No query is made: the table is not even there.
    QVERIFY(m_fixture->raw.exec("DROP TABLE file_tracking"_s));
    TraceCapture capture;
    bool copyNeeded = false;
    bool succeeded = false;
    QVERIFY(db().isFileNeedUpdate(id(), "a %1"_s, file("local"_s, 100, kSecs),
                                  QFileInfo(m_fixture->directory.filePath("none"_s)), &copyNeeded,
                                  &succeeded));
    QVERIFY(copyNeeded);
    QVERIFY(succeeded);
    QCOMPARE(m_fixture->errorTexts(), QStringList());
    if (traceLinesBuiltIn())
        QCOMPARE(capture.debugLines(),
                 QStringList{"[-- SYNC --]: DB: isFileNeedUpdate - file 'a %1' in directory "_s +
                             QString::number(id()) + " - db + file: No dist file"_s});
}

void TestSyncDatabaseChanges::needWithRow_data()
{
    compareWithRow_data();
}

void TestSyncDatabaseChanges::needWithRow()
{
    QFETCH(int, localSize);
    QFETCH(int, localOffset);
    QFETCH(int, distantSize);
    QFETCH(int, distantOffset);
    QFETCH(QString, reason);
    QVERIFY(db().recordFileSync(id(), "x"_s, 100, utc(kSecs), utc(kSecs)));
    const QVariantMap before = m_fixture->row("x"_s);
    bool copyNeeded = !reason.isEmpty() ? false : true;
    TraceCapture capture;
    QCOMPARE(db().isFileNeedUpdate(id(), "x"_s, file("local"_s, localSize, kSecs + localOffset),
                                   file("distant"_s, distantSize, kSecs + distantOffset), &copyNeeded),
             !reason.isEmpty());
    QCOMPARE(copyNeeded, !reason.isEmpty());
    QCOMPARE(m_fixture->row("x"_s), before);
    if (traceLinesBuiltIn() && !reason.isEmpty())
        QVERIFY(capture.debugLines().first().endsWith(reason));
}

void TestSyncDatabaseChanges::needTraceWithRow()
{
    if (!traceLinesBuiltIn())
        QSKIP("Built without trace lines");
    QVERIFY(db().recordFileSync(id(), "x"_s, 100, utc(kSecs), utc(kSecs + 1)));
    TraceCapture capture;
    QVERIFY(db().isFileNeedUpdate(id(), "x"_s, file("local"_s, 99, kSecs + 2),
                                  file("distant"_s, 100, kSecs + 3)));
    QCOMPARE(capture.debugLines(),
             QStringList{
                 "[-- SYNC --]: DB: isFileNeedUpdate - file 'x' in directory %1 - db + file: Size (loc, db, "
                 "Dist) = (99, 100, 100), LMD (loc, dbLoc, dbDist, Dist) = (%2, %3, %4, %5). db size != loc "
                 "size"_s.arg(QString::number(id()), utcText(kSecs + 2), utcText(kSecs), utcText(kSecs + 1),
                              utcText(kSecs + 3))});
}

void TestSyncDatabaseChanges::needWithoutRow()
{
    bool copyNeeded = false;
    TraceCapture capture;
    QVERIFY(db().isFileNeedUpdate(id(), "x"_s, file("local"_s, 100, kSecs), file("distant"_s, 100, kSecs - 1),
                                  &copyNeeded));
    QVERIFY(copyNeeded);
    if (traceLinesBuiltIn())
        QCOMPARE(capture.debugLines(),
                 QStringList{
                     "[-- SYNC --]: DB: isFileNeedUpdate - file 'x' in directory %1 - db: No db record Size "
                     "(loc, Dist) = (100, 100), LMD (loc, Dist) = (%2, %3). dist LMD < loc LMD"_s.arg(
                         QString::number(id()), utcText(kSecs), utcText(kSecs - 1))});
    QVERIFY(db().isFileNeedUpdate(id(), "x"_s, file("local"_s, 100, kSecs), file("distant"_s, 100, kSecs + 1),
                                  &copyNeeded));
    QVERIFY(!copyNeeded);
    QVERIFY(db().isFileNeedUpdate(id(), "x"_s, file("local"_s, 100, kSecs), file("distant"_s, 99, kSecs + 1),
                                  &copyNeeded));
    QVERIFY(copyNeeded);
    QCOMPARE(m_fixture->rowCount(), 0);
}

void TestSyncDatabaseChanges::needResolvesUndefined()
{
    QVERIFY(m_fixture->insert("x"_s, 17,
                              {{"size"_s, 100}, {"local_lmd"_s, "l"_s}, {"distant_lmd"_s, "UNDEFINED"_s}}));
    QVariantMap expected = m_fixture->row("x"_s);
    expected["distant_lmd"_s] = utcText(kSecs + 500);
    bool copyNeeded = true;
    TraceCapture capture;
    QVERIFY(!db().isFileNeedUpdate(id(), "x"_s, file("local"_s, 100, kSecs),
                                   file("distant"_s, 100, kSecs + 500), &copyNeeded));
    QVERIFY(!copyNeeded);
    QCOMPARE(m_fixture->row("x"_s), expected);
    if (traceLinesBuiltIn())
        QCOMPARE(capture.debugLines(),
                 QStringList{
                     "[-- SYNC --]: DB: isFileNeedUpdate - file 'x' in directory "_s + QString::number(id()) +
                     " - Resolving UNDEFINED distant_lmd: sizes match, updating DB with real distant LMD"_s});
}

void TestSyncDatabaseChanges::needUndefinedWithOtherSizes()
{
    QVERIFY(m_fixture->insert("x"_s, 17, {{"size"_s, 100}, {"distant_lmd"_s, "UNDEFINED"_s}}));
    const QVariantMap before = m_fixture->row("x"_s);
    for (const auto& [local, distant] : {qMakePair(99, 100), qMakePair(100, 99)}) {
        TraceCapture capture;
        bool copyNeeded = false;
        QVERIFY(db().isFileNeedUpdate(id(), "x"_s, file("local"_s, local, kSecs),
                                      file("distant"_s, distant, kSecs), &copyNeeded));
        QVERIFY(copyNeeded);
        if (traceLinesBuiltIn())
            QVERIFY(capture.debugLines().first().endsWith("db distant LMD != dist LMD"_s));
    }
    QCOMPARE(m_fixture->row("x"_s), before);
}

void TestSyncDatabaseChanges::needWithUnreadableTimes()
{
    for (const QString& time : {""_s, "yesterday"_s}) {
        const QString name = "x"_s + time;
        QVERIFY(m_fixture->insert(
            name, 17, {{"size"_s, 100}, {"local_lmd"_s, utcText(kSecs)}, {"distant_lmd"_s, time}}));
        QVERIFY(
            db().isFileNeedUpdate(id(), name, file("local"_s, 100, kSecs), file("distant"_s, 100, kSecs)));
    }
}

void TestSyncDatabaseChanges::needWithTwoRows()
{
    QVERIFY(m_fixture->dropKey());
    QVERIFY(m_fixture->insert("x"_s, 17));
    QVERIFY(m_fixture->insert("x"_s, 17));
    bool copyNeeded = true;
    bool succeeded = true;
    QVERIFY(!db().isFileNeedUpdate(id(), "x"_s, file("local"_s, 100, kSecs), file("distant"_s, 1, kSecs),
                                   &copyNeeded, &succeeded));
    QVERIFY(!copyNeeded);
    QVERIFY(!succeeded);
    QCOMPARE(
        m_fixture->errorTexts(),
        QStringList{"ERROR: There are more than one record in the database for file: 'x' in directory "_s +
                    QString::number(id())});
    QVERIFY(db().isLocalFileChanged(id(), "x"_s, file("local"_s, 100, kSecs)));
}

void TestSyncDatabaseChanges::needWithoutTable()
{
    QVERIFY(m_fixture->raw.exec("DROP TABLE file_tracking"_s));
    bool copyNeeded = true;
    bool succeeded = true;
    QVERIFY(!db().isFileNeedUpdate(id(), "x"_s, file("local"_s, 100, kSecs), file("distant"_s, 1, kSecs),
                                   &copyNeeded, &succeeded));
    QVERIFY(!copyNeeded);
    QVERIFY(!succeeded);
    QVERIFY(!db().isLocalFileChanged(id(), "x"_s, file("local"_s, 100, kSecs)));
    QCOMPARE(m_fixture->errors.size(), 2);
    QVERIFY(m_fixture->errorTexts().first().contains("no such table: file_tracking"_s));
}

void TestSyncDatabaseChanges::localChanged()
{
    QVERIFY(db().isLocalFileChanged(id(), "none"_s, file("local"_s, 100, kSecs)));
    QVERIFY(db().recordFileSync(id(), "x"_s, 100, utc(kSecs), utc(1)));
    QVERIFY(!db().isLocalFileChanged(id(), "x"_s, file("local"_s, 100, kSecs + 3)));
    QVERIFY(!db().isLocalFileChanged(id(), "x"_s, file("local"_s, 100, kSecs - 3)));
    QVERIFY(db().isLocalFileChanged(id(), "x"_s, file("local"_s, 100, kSecs + 4)));
    QVERIFY(db().isLocalFileChanged(id(), "x"_s, file("local"_s, 100, kSecs - 4)));
    QVERIFY(db().isLocalFileChanged(id(), "x"_s, file("local"_s, 101, kSecs)));
    QVERIFY(db().setFileStatus(id(), "new"_s, ceSfsUnknown, 0));
    QVERIFY(db().isLocalFileChanged(id(), "new"_s, file("local"_s, 0, kSecs)));
}

// --- Rows of a directory --------------------------------------------------------------------------------

void TestSyncDatabaseChanges::directoryRows()
{
    const int other = db().addDirectory("b"_s, "/l2"_s, "/d2"_s, "/t2"_s);
    QVERIFY(db().recordFileSync(id(), "x"_s, 6000000000LL, utc(kSecs), utc(kSecs)));
    QVERIFY(m_fixture->insert("y"_s, 148, {{"distant_lmd"_s, "UNDEFINED"_s}}));
    QVERIFY(db().setFileStatus(other, "elsewhere"_s, 17, 0));
    QVector<VornSyncFileRow> rows(1);
    QVERIFY(db().readDirectoryRows(id(), into(rows)));
    QCOMPARE(rows.size(), 3);
    const VornSyncFileRow& x = rows.at(1).fileName == "x"_s ? rows.at(1) : rows.at(2);
    const VornSyncFileRow& y = rows.at(1).fileName == "x"_s ? rows.at(2) : rows.at(1);
    QCOMPARE(x.fileName, "x"_s);
    QCOMPARE(x.status, 17);
    QCOMPARE(x.size, 6000000000LL);
    QCOMPARE(x.localLmdSecs, kSecs);
    QVERIFY(!x.distantLmdUndefined);
    QVERIFY(!x.isDistantNewer);
    QCOMPARE(y.fileName, "y"_s);
    QCOMPARE(y.status, 148);
    QCOMPARE(y.size, 0);
    QCOMPARE(y.localLmdSecs, 0);
    QVERIFY(y.distantLmdUndefined);

    QVERIFY(m_fixture->raw.exec("DROP TABLE file_tracking"_s));
    QVERIFY(!db().readDirectoryRows(id(), into(rows)));
}

void TestSyncDatabaseChanges::directoryRowsOfTimesWithOffset()
{
    QVERIFY(m_fixture->insert("x"_s, 17, {{"local_lmd"_s, "2020-09-13T13:26:40+01:00"_s}}));
    QVERIFY(m_fixture->insert("y"_s, 17, {{"local_lmd"_s, utc(kSecs).toLocalTime().toString(Qt::ISODate)}}));
    QVERIFY(m_fixture->insert("z"_s, 17, {{"local_lmd"_s, "no time"_s}}));
    for (const auto& [name, secs] :
         {qMakePair("x"_s, kSecs), qMakePair("y"_s, kSecs), qMakePair("z"_s, qint64(0))}) {
        VornSyncFileRow row;
        bool found = false;
        QVERIFY(db().readFileRow(id(), name, row, found));
        QVERIFY(found);
        QCOMPARE(row.localLmdSecs, secs);
    }
}

void TestSyncDatabaseChanges::fileRow()
{
    VornSyncFileRow row;
    bool found = true;
    QVERIFY(db().readFileRow(id(), "x"_s, row, found));
    QVERIFY(!found);
    QVERIFY(m_fixture->raw.exec("DROP TABLE file_tracking"_s));
    QVERIFY(!db().readFileRow(id(), "x"_s, row, found));
}

void TestSyncDatabaseChanges::trackingOfRows()
{
    QVERIFY(m_fixture->insert("x"_s, 17));
    QVERIFY(m_fixture->insert("y"_s, 17));
    QVERIFY(db().isRowChangedSinceRead(id(), "x"_s));
    QVector<VornSyncFileRow> rows;
    QVERIFY(db().readDirectoryRows(id(), into(rows)));
    QVERIFY(!db().isRowChangedSinceRead(id(), "x"_s));
    QVERIFY(db().setFileDeleted(id(), "x"_s));
    QVERIFY(db().isRowChangedSinceRead(id(), "x"_s));
    QVERIFY(!db().isRowChangedSinceRead(id(), "y"_s));
    QVERIFY(db().isRowChangedSinceRead(id() + 1, "y"_s));
    QVERIFY(db().readDirectoryRows(id(), into(rows)));
    QVERIFY(!db().isRowChangedSinceRead(id(), "x"_s));
    db().endChangeTracking();
    QVERIFY(db().isRowChangedSinceRead(id(), "x"_s));
}

void TestSyncDatabaseChanges::trackingByOtherThreads()
{
    QVector<VornSyncFileRow> rows;
    QVERIFY(db().readDirectoryRows(id(), into(rows)));
    bool done = false;
    std::thread host([&] { done = db().setFileDeleted(id(), "x"_s); });
    host.join();
    QVERIFY(done);
    QVERIFY(db().isRowChangedSinceRead(id(), "x"_s));
}

void TestSyncDatabaseChanges::trackingOfEveryWrite_data()
{
    QTest::addColumn<int>("which");
    QTest::newRow("setFileStatus") << 0;
    QTest::newRow("clearFileError") << 1;
    QTest::newRow("updateStatusToProcess") << 2;
    QTest::newRow("setFileTrashed") << 3;
    QTest::newRow("unmarkFileTrashed") << 4;
    QTest::newRow("recordFileSync") << 5;
    QTest::newRow("recordCopy") << 6;
    QTest::newRow("recordDistantGrown") << 7;
    QTest::newRow("renameFile, old name") << 8;
    QTest::newRow("renameFile, new name") << 9;
    QTest::newRow("renameFileOverTombstone, old name") << 10;
    QTest::newRow("renameFileOverTombstone, new name") << 11;
    QTest::newRow("removeFileSync") << 12;
    QTest::newRow("removeTombstone") << 13;
    QTest::newRow("setFileStatusIf") << 14;
    QTest::newRow("setFileErrorIf") << 15;
    QTest::newRow("isFileNeedUpdate") << 16;
}

void TestSyncDatabaseChanges::trackingOfEveryWrite()
{
    QFETCH(int, which);
    QVERIFY(m_fixture->insert("x"_s, 17, {{"size"_s, 5}, {"distant_lmd"_s, "UNDEFINED"_s}}));
    QVector<VornSyncFileRow> rows;
    QVERIFY(db().readDirectoryRows(id(), into(rows)));
    const QDateTime time = utc(kSecs);
    const QString x = "x"_s;
    const QList<std::function<bool()>> writes = {
        [&] { return db().setFileStatus(id(), x, 18, 0); },
        [&] { return db().clearFileError(id(), x); },
        [&] { return !db().updateStatusToProcess(id(), x); },
        [&] { return db().setFileTrashed(id(), x); },
        [&] { return db().unmarkFileTrashed(id(), x); },
        [&] { return db().recordFileSync(id(), x, 5, time, time); },
        [&] { return db().recordCopy(id(), x, 5, time, time); },
        [&] { return db().recordDistantGrown(id(), x, 5, time, time, 5); },
        [&] { return db().renameFile(id(), x, "z"_s); },
        [&] { return db().renameFile(id(), "z"_s, x) || true; },
        [&] { return db().renameFileOverTombstone(id(), x, "z"_s); },
        [&] { return db().renameFileOverTombstone(id(), "z"_s, x) || true; },
        [&] { return db().removeFileSync(id(), x); },
        [&] { return db().removeTombstone(id(), x); },
        [&] { return db().setFileStatusIf(id(), x, 17, 18); },
        [&] { return db().setFileErrorIf(id(), x, 17, 6); },
        [&] { return !db().isFileNeedUpdate(id(), x, file("l"_s, 5, kSecs), file("d"_s, 5, kSecs)); },
    };
    QVERIFY(writes.at(which)());
    QVERIFY(db().isRowChangedSinceRead(id(), x));
    QVERIFY(!db().isRowChangedSinceRead(id(), "another"_s));
}

void TestSyncDatabaseChanges::trackingOfBulkWrites()
{
    const QList<std::function<void()>> writes = {
        [&] { db().cleanupInconsistentTrashedDates(); },
        [&] { db().cleanupOrphanedProcessingStates(); },
        [&] { db().deleteDirectory(99); },
        [&] { db().initialize(); },
        [&] { db().reset(); },
    };
    QVERIFY(m_fixture->insert("x"_s, 20));
    for (const auto& write : writes) {
        QVector<VornSyncFileRow> rows;
        QVERIFY(db().readDirectoryRows(id(), into(rows)));
        QVERIFY(!db().isRowChangedSinceRead(id(), "any"_s));
        write();
        QVERIFY(db().isRowChangedSinceRead(id(), "any"_s));
    }
}

void TestSyncDatabaseChanges::trackingAlone()
{
    VornSyncRowChanges changes;
    QVERIFY(changes.isChanged(1, "x"_s));
    changes.note(1, "x"_s);
    changes.noteAll();
    changes.begin(1);
    QVERIFY(!changes.isChanged(1, "x"_s));
    changes.note(2, "x"_s);
    QVERIFY(!changes.isChanged(1, "x"_s));
    changes.note(1, "x"_s);
    QVERIFY(changes.isChanged(1, "x"_s));
    QVERIFY(!changes.isChanged(1, "X"_s));
    changes.begin(2);
    QVERIFY(!changes.isChanged(2, "x"_s));
    QVERIFY(changes.isChanged(1, "y"_s));
    changes.noteAll();
    QVERIFY(changes.isChanged(2, "y"_s));
    changes.end();
    QVERIFY(changes.isChanged(2, "y"_s));
}

QTEST_GUILESS_MAIN(TestSyncDatabaseChanges)

#include "test_sync_database_changes.moc"

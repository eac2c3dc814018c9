#include "vorn_sync_file_ready.h"

#include <QTest>

using Verdict = VornSyncFileReadyVerdict;
Q_DECLARE_METATYPE(VornSyncFileReadyVerdict)

class TestFileReady : public QObject
{
    Q_OBJECT

private slots:
    void existence_data();
    void existence();
    void times_data();
    void times();
    void unknownTimes_data();
    void unknownTimes();
    void aFileAfterADeletedOneIsKept();
    void markedNewer_data();
    void markedNewer();
};

static QDateTime at(qint64 offsetMs)
{
    return QDateTime(QDate(2024, 2, 29), QTime(12, 0), Qt::UTC).addMSecs(offsetMs);
}

// Both files and their record; the files differ from it by so many milliseconds.
static VornSyncFileReadyFacts recorded(qint64 localOffsetMs, qint64 distantOffsetMs)
{
    VornSyncFileReadyFacts facts;
    facts.localExists = true;
    facts.distantExists = true;
    facts.hasRecord = true;
    facts.recordedLocalLmd = at(0);
    facts.recordedDistantLmd = at(500000);
    facts.localLmd = at(localOffsetMs);
    facts.distantLmd = at(500000 + distantOffsetMs);
    return facts;
}

void TestFileReady::existence_data()
{
    QTest::addColumn<bool>("local");
    QTest::addColumn<bool>("distant");
    QTest::addColumn<bool>("hasRecord");
    QTest::addColumn<Verdict>("verdict");
    for (bool hasRecord : {false, true}) {
        const QByteArray end = hasRecord ? ", recorded" : "";
        QTest::newRow(("neither" + end).constData()) << false << false << hasRecord << Verdict::NotFound;
        QTest::newRow(("distant" + end).constData())
            << false << true << hasRecord << Verdict::CopyOnlyDistant;
        QTest::newRow(("local" + end).constData()) << true << false << hasRecord << Verdict::UseOnlyLocal;
    }
    QTest::newRow("both") << true << true << false << Verdict::UseUnrecorded;
    QTest::newRow("both, recorded") << true << true << true << Verdict::UseLocal;
}

void TestFileReady::existence()
{
    QFETCH(bool, local);
    QFETCH(bool, distant);
    QFETCH(bool, hasRecord);
    QFETCH(Verdict, verdict);
    VornSyncFileReadyFacts facts = recorded(0, 0);
    facts.localExists = local;
    facts.distantExists = distant;
    facts.hasRecord = hasRecord;
    QCOMPARE(VornSyncFileReady::decide(facts), verdict);
}

void TestFileReady::times_data()
{
    QTest::addColumn<qint64>("localOffsetMs");
    QTest::addColumn<qint64>("distantOffsetMs");
    QTest::addColumn<Verdict>("verdict");
    const auto row = [](const char* name, qint64 localMs, qint64 distantMs, Verdict verdict) {
        QTest::newRow(name) << localMs << distantMs << verdict;
    };
    row("as recorded", 0, 0, Verdict::UseLocal);
    row("distant 3000 ms later", 0, 3000, Verdict::UseLocal);
    row("distant 3001 ms later", 0, 3001, Verdict::CopyNewerDistant);
    row("distant earlier", 0, -100000, Verdict::UseLocal);
    row("both, local by 3000 ms", 3000, 3001, Verdict::CopyNewerDistant);
    row("both, local by 3001 ms", 3001, 3001, Verdict::UseLocal);
    row("both by far, distant later", 5000, 3600000, Verdict::UseLocal);
    row("local alone", 5000, 0, Verdict::UseLocal);
    row("local earlier, distant later", -100000, 3001, Verdict::CopyNewerDistant);
}

void TestFileReady::times()
{
    QFETCH(qint64, localOffsetMs);
    QFETCH(qint64, distantOffsetMs);
    QFETCH(Verdict, verdict);
    QCOMPARE(VornSyncFileReady::decide(recorded(localOffsetMs, distantOffsetMs)), verdict);
}

void TestFileReady::unknownTimes_data()
{
    QTest::addColumn<bool>("isLocalKnown");
    QTest::addColumn<bool>("isDistantKnown");
    QTest::addColumn<Verdict>("verdict");
    QTest::newRow("both") << true << true << Verdict::UseLocal; // both changed by an hour
    QTest::newRow("distant alone") << false << true << Verdict::CopyNewerDistant;
    QTest::newRow("local alone") << true << false << Verdict::UseLocal;
    QTest::newRow("neither") << false << false << Verdict::UseLocal;
}

void TestFileReady::unknownTimes()
{
    QFETCH(bool, isLocalKnown);
    QFETCH(bool, isDistantKnown);
    QFETCH(Verdict, verdict);
    VornSyncFileReadyFacts facts = recorded(3600000, 3600000);
    if (!isLocalKnown)
        facts.recordedLocalLmd = QDateTime();
    if (!isDistantKnown)
        facts.recordedDistantLmd = QDateTime();
    QCOMPARE(VornSyncFileReady::decide(facts), verdict);
}

void TestFileReady::aFileAfterADeletedOneIsKept()
{
    VornSyncFileReadyFacts facts = recorded(-100000, 3001);
    facts.isTombstoned = true;
    QCOMPARE(VornSyncFileReady::decide(facts), Verdict::UseLocal);
    facts.isMarkedNewer = true;
    QCOMPARE(VornSyncFileReady::decide(facts), Verdict::UseLocal);
}

void TestFileReady::markedNewer_data()
{
    QTest::addColumn<qint64>("localOffsetMs");
    QTest::addColumn<Verdict>("verdict");
    QTest::newRow("local as recorded") << qint64(0) << Verdict::CopyNewerDistant;
    QTest::newRow("local changed") << qint64(3001) << Verdict::UseLocal;
}

void TestFileReady::markedNewer()
{
    QFETCH(qint64, localOffsetMs);
    QFETCH(Verdict, verdict);
    VornSyncFileReadyFacts facts = recorded(localOffsetMs, 0);
    facts.isMarkedNewer = true;
    QCOMPARE(VornSyncFileReady::decide(facts), verdict);
}

QTEST_APPLESS_MAIN(TestFileReady)
#include "test_file_ready.moc"

#include "fault_sweep.h"
#include "fault_table.h"

#include <QTest>

using namespace VornSyncTest;

namespace {

QVector<FaultOperation> operations()
{
    return taskOperations() + engineOperations() + databaseOperations();
}

} // namespace

// The process is killed at a file-system call of every operation, and started again.
class TestFaultSweepKill : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void kills_data();
    void kills();
    void faultsOfTheNextStart_data() { kills_data(); }
    void faultsOfTheNextStart();
};

void TestFaultSweepKill::initTestCase()
{
    if (!FaultSweep::isPossible())
        QSKIP("A sweep needs /dev/shm: on a disk it would take hours");
    if (!FaultTable::isOfThisEnvironment())
        qWarning("docs/FAULTS.md is not compared: it was made with another Qt or SQLite");
}

void TestFaultSweepKill::kills_data()
{
    QTest::addColumn<int>("index");
    const QVector<FaultOperation> all = operations();
    for (int i = 0; i < all.size(); ++i)
        QTest::newRow(qPrintable(all.at(i).title)) << i;
}

void TestFaultSweepKill::kills()
{
    QFETCH(int, index);
    FaultSweep sweep(operations().at(index));
    QCOMPARE(sweep.prepare(), QString());
    QCOMPARE(sweep.sweepKills(), QString());
    QVERIFY(!sweep.outcomes().isEmpty());
    QCOMPARE(FaultTable::compareOrKeep(sweep), QString());
}

void TestFaultSweepKill::faultsOfTheNextStart()
{
    QFETCH(int, index);
    FaultSweep sweep(operations().at(index));
    QCOMPARE(sweep.prepare(), QString());
    QCOMPARE(sweep.sweepRecoveries(), QString());
    QVERIFY(sweep.recoveryCount() > 0);
}

QTEST_GUILESS_MAIN(TestFaultSweepKill)
#include "test_fault_sweep_kill.moc"

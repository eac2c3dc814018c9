#include "fault_sweep.h"
#include "fault_table.h"

#include <QTest>

using namespace VornSyncTest;

namespace {

// One program for each kind: VORN_SYNC_FAULT_OPERATIONS is what lists its operations.
QVector<FaultOperation> operations()
{
    return VORN_SYNC_FAULT_OPERATIONS();
}

} // namespace

// Every file-system call of every operation fails, for every reason and with what follows it or alone.
class TestFaultSweep : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void errors_data();
    void errors();
};

void TestFaultSweep::initTestCase()
{
    if (!FaultSweep::isPossible())
        QSKIP("A sweep needs /dev/shm: on a disk it would take hours");
    if (!FaultTable::isOfThisEnvironment())
        qWarning("docs/FAULTS.md is not compared: it was made with another Qt or SQLite");
}

void TestFaultSweep::errors_data()
{
    QTest::addColumn<int>("index");
    const QVector<FaultOperation> all = operations();
    for (int i = 0; i < all.size(); ++i)
        QTest::newRow(qPrintable(all.at(i).title)) << i;
}

void TestFaultSweep::errors()
{
    QFETCH(int, index);
    FaultSweep sweep(operations().at(index));
    QCOMPARE(sweep.prepare(), QString());
    QCOMPARE(sweep.sweepErrors(), QString());
    QVERIFY(!sweep.outcomes().isEmpty());
    QCOMPARE(FaultTable::compareOrKeep(sweep), QString());
}

QTEST_GUILESS_MAIN(TestFaultSweep)
#include "test_fault_sweep.moc"

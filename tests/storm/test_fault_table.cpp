#include "fault_justifications.h"
#include "fault_operations.h"
#include "fault_table.h"
#include "literals.h"

#include <QCoreApplication>
#include <QFile>
#include <QTest>

#include <cstdlib>

using namespace VornSyncTest;

namespace {

constexpr char kKept[] = "VORN_SYNC_FAULT_TABLE_OF"; // a directory: the table is written from what it holds

} // namespace

class TestFaultTable : public QObject
{
    Q_OBJECT

private slots:
    void readsAsItIsWritten();
    void hasEveryOperation();
    void needsEveryReason();
};

void TestFaultTable::readsAsItIsWritten()
{
    FaultTable table;
    QVERIFY(table.read(FaultTable::filePath()));
    QFile file(FaultTable::filePath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QStringList written = table.text().split(QLatin1Char('\n'));
    const QStringList found = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (int i = 0; i < written.size(); ++i)
        QCOMPARE(found.value(i), written.at(i));
    QCOMPARE(found.size(), written.size());
}

void TestFaultTable::hasEveryOperation()
{
    FaultTable table;
    QVERIFY(table.read(FaultTable::filePath()));
    const QVector<FaultOperation> all = taskOperations() + engineOperations() + databaseOperations();
    for (const FaultOperation& operation : all)
        QVERIFY2(table.callCount(operation.title) > 0, qPrintable(operation.title));
    QCOMPARE(table.operations().size(), all.size());
}

void TestFaultTable::needsEveryReason()
{
    FaultTable table;
    QVERIFY(table.read(FaultTable::filePath()));
    const int count = int(FaultJustifications::texts().size());
    QVERIFY(count > 0);
    for (int number = 1; number <= count; ++number)
        QVERIFY2(table.isJustificationUsed(number), qPrintable("no call needs reason %1"_s.arg(number)));
    QVERIFY2(!table.isJustificationUsed(0), "a call is done although it failed, for no reason");
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (qEnvironmentVariableIsSet(kKept))
        return FaultTable::write(QFile::decodeName(qgetenv(kKept))) ? EXIT_SUCCESS : EXIT_FAILURE;
    TestFaultTable test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_fault_table.moc"

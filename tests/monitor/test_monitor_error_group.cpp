#include "literals.h"

#include "vorn_monitor_error_group.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>

using namespace VornSyncTest;
using Kind = VornMonitorErrorGroup::Kind;

// The model of a group: what its views are told when the manager's list changes.
class TestMonitorErrorGroup : public QObject
{
    Q_OBJECT

private slots:
    void everyCodeHasOneGroupWithItsAnswers_data();
    void everyCodeHasOneGroupWithItsAnswers();
    void aRowThatGoesIsTheOnlyChange();
    void manyChangesAreOneReset();
    void randomListsArriveAsTheyAre();

private:
    static VornCliFileError file(int number, int code = 15);
    static QVector<VornCliFileError> files(int count);
    static QStringList names(const VornMonitorErrorGroup& group);
};

VornCliFileError TestMonitorErrorGroup::file(int number, int code)
{
    VornCliFileError error;
    error.alias = "docs"_s;
    error.name = "file-%1.doc"_s.arg(number, 6, 10, QLatin1Char('0'));
    error.code = code;
    error.status = 145;
    return error;
}

QVector<VornCliFileError> TestMonitorErrorGroup::files(int count)
{
    QVector<VornCliFileError> list;
    for (int number = 0; number < count; ++number)
        list.append(file(number));
    return list;
}

QStringList TestMonitorErrorGroup::names(const VornMonitorErrorGroup& group)
{
    QStringList names;
    for (int row = 0; row < group.rowCount(); ++row)
        names << group.data(group.index(row), VornMonitorErrorGroup::FileNameRole).toString();
    return names;
}

void TestMonitorErrorGroup::everyCodeHasOneGroupWithItsAnswers_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("status");
    QTest::addColumn<QStringList>("keys");
    const QStringList retry{"retry"_s};
    for (const int code : {0, 1, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14})
        QTest::addRow("code %d of an operation", code) << code << 148 << retry;
    QTest::newRow("a shrunk copy") << 7 << 145 << retry;
    QTest::newRow("the local file is gone") << 2 << 145 << QStringList{"acknowledge"_s};
    QTest::newRow("the distant file is gone") << 15 << 145 << QStringList{"restore"_s, "trash"_s};
}

void TestMonitorErrorGroup::everyCodeHasOneGroupWithItsAnswers()
{
    QFETCH(const int, code);
    QFETCH(const int, status);
    QFETCH(const QStringList, keys);
    VornCliFileError error = file(1, code);
    error.status = status;
    const Kind kind = VornMonitorErrorGroup::kindOf(error);
    QCOMPARE(kind == Kind::Compare, code == 7 && status == 145);
    const VornMonitorErrorGroup group(kind);
    QStringList found;
    const QVariantList answers = group.answers();
    for (const QVariant& answer : answers)
        found << answer.toMap().value("key"_s).toString();
    QCOMPARE(found, keys);
}

void TestMonitorErrorGroup::aRowThatGoesIsTheOnlyChange()
{
    VornMonitorErrorGroup group(Kind::Restore);
    const QAbstractItemModelTester tester(&group, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QVector<VornCliFileError> list = files(10000);
    group.setFiles(list);
    const QSignalSpy removals(&group, &QAbstractItemModel::rowsRemoved);
    const QSignalSpy insertions(&group, &QAbstractItemModel::rowsInserted);
    const QSignalSpy changes(&group, &QAbstractItemModel::dataChanged);
    const QSignalSpy resets(&group, &QAbstractItemModel::modelReset);
    list.removeAt(5000);
    group.setFiles(list);
    QCOMPARE(removals.count(), 1);
    QCOMPARE(removals.constFirst().at(1).toInt(), 5000);
    list.insert(20, file(19));
    list[20].name += "-new"_s;
    group.setFiles(list);
    QCOMPARE(insertions.count(), 1);
    QCOMPARE(insertions.constFirst().at(1).toInt(), 20);
    list[7].status = 148;
    group.setFiles(list);
    QCOMPARE(changes.count(), 1);
    group.setFiles(list);
    QCOMPARE(removals.count() + insertions.count() + changes.count(), 3);
    QCOMPARE(resets.count(), 0);
    QCOMPARE(group.count(), 10000);
}

void TestMonitorErrorGroup::manyChangesAreOneReset()
{
    VornMonitorErrorGroup group(Kind::Restore);
    const QVector<VornCliFileError> list = files(2000);
    group.setFiles(list);
    const QSignalSpy removals(&group, &QAbstractItemModel::rowsRemoved);
    const QSignalSpy resets(&group, &QAbstractItemModel::modelReset);
    const QSignalSpy counts(&group, &VornMonitorErrorGroup::countChanged);
    QVector<VornCliFileError> half;
    for (int i = 0; i < list.size(); i += 2)
        half.append(list.at(i));
    group.setFiles(half);
    QCOMPARE(resets.count(), 1);
    QCOMPARE(removals.count(), 0);
    QCOMPARE(counts.count(), 1);
    group.setFiles({});
    QCOMPARE(removals.count(), 1);
    QCOMPARE(group.count(), 0);
}

void TestMonitorErrorGroup::randomListsArriveAsTheyAre()
{
    QRandomGenerator random(20251121);
    VornMonitorErrorGroup group(Kind::Restore);
    const QAbstractItemModelTester tester(&group, QAbstractItemModelTester::FailureReportingMode::QtTest);
    for (int round = 0; round < 300; ++round) {
        QVector<VornCliFileError> list;
        QStringList expected;
        const int share = random.bounded(1, 10);
        for (int number = 0; number < 100; ++number) {
            if (random.bounded(10) >= share)
                continue;
            list.append(file(number, 1 + random.bounded(3)));
            expected << list.constLast().name;
        }
        if (round % 7 == 0) { // an order that is not ours
            std::reverse(list.begin(), list.end());
            std::reverse(expected.begin(), expected.end());
        }
        group.setFiles(list);
        QCOMPARE(names(group), expected);
        for (int row = 0; row < group.count(); ++row)
            QCOMPARE(group.data(group.index(row), VornMonitorErrorGroup::ErrorCodeRole).toInt(),
                     list.at(row).code);
    }
}

QTEST_GUILESS_MAIN(TestMonitorErrorGroup)
#include "test_monitor_error_group.moc"

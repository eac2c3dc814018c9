#include "literals.h"
#include "vorn_sync_name_table.h"

#include <QTest>

#include <algorithm>
#include <numeric>
#include <random>

using namespace VornSyncTest;

namespace {

constexpr int kManyNames = 5000; // the index grows several times

// Names that differ little, none, or where the text that holds them all has no seam.
const QStringList& awkwardNames()
{
    static const QStringList names = {"a"_s,
                                      "aa"_s,
                                      "aaa"_s,
                                      "b"_s,
                                      "ba"_s,
                                      ""_s,
                                      "ab"_s,
                                      "A"_s,
                                      "ä"_s,
                                      "a\u0308"_s,
                                      "\U0001F600"_s,
                                      "x\U0001F600y"_s,
                                      " "_s,
                                      "a\nb"_s,
                                      QString(255, QLatin1Char('n')),
                                      QString(254, QLatin1Char('n')),
                                      "last"_s};
    return names;
}

VornSyncNameTable tableOf(const QStringList& names)
{
    VornSyncNameTable table;
    for (const QString& name : names)
        table.append(name);
    table.freeze();
    return table;
}

QStringList manyNames()
{
    QStringList names;
    for (int i = 0; i < kManyNames; ++i)
        names << "file %1.txt"_s.arg(i);
    return names;
}

} // namespace

class TestSyncNameTable : public QObject
{
    Q_OBJECT

private slots:
    void namesByNumber();
    void emptyTable();
    void inOrder();
    void outOfOrder_data();
    void outOfOrder();
    void halfInOrder();
    void absentNames();
    void absentNamesOfTheSameHash();
    void absentNameKeepsTheOrder();
    void startOver();
    void sameNameTwice();
    void namesAfterFreezeAreNotFound();
    void copyIsAValue();
};

void TestSyncNameTable::namesByNumber()
{
    const VornSyncNameTable table = tableOf(awkwardNames());
    QCOMPARE(table.count(), awkwardNames().size());
    for (int i = 0; i < table.count(); ++i)
        QCOMPARE(table.at(i).toString(), awkwardNames().at(i));
}

void TestSyncNameTable::emptyTable()
{
    VornSyncNameTable table;
    QCOMPARE(table.count(), 0);
    table.freeze();
    QCOMPARE(table.find("a"_s), -1);
    QCOMPARE(table.find(QString()), -1);

    VornSyncNameTable onlyEmpty = tableOf({QString()});
    QCOMPARE(onlyEmpty.count(), 1);
    QCOMPARE(onlyEmpty.at(0).toString(), QString(""_s));
    QCOMPARE(onlyEmpty.find("a"_s), -1);
    QCOMPARE(onlyEmpty.find(QString()), 0);
}

void TestSyncNameTable::inOrder()
{
    VornSyncNameTable table = tableOf(awkwardNames());
    for (int i = 0; i < table.count(); ++i)
        QCOMPARE(table.find(awkwardNames().at(i)), i);
}

void TestSyncNameTable::outOfOrder_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::newRow("awkward") << awkwardNames();
    QTest::newRow("many") << manyNames();
    for (const int count : {1, 7, 8, 9, 15, 16, 17, 31, 32, 33})
        QTest::addRow("%d", count) << QStringList(manyNames().mid(0, count));
}

void TestSyncNameTable::outOfOrder()
{
    QFETCH(QStringList, names);
    VornSyncNameTable backwards = tableOf(names);
    for (int i = int(names.size()) - 1; i >= 0; --i)
        QCOMPARE(backwards.find(names.at(i)), i);

    VornSyncNameTable shuffled = tableOf(names);
    std::vector<int> numbers(std::size_t(names.size()));
    std::iota(numbers.begin(), numbers.end(), 0);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
    for (const int number : numbers)
        QCOMPARE(shuffled.find(names.at(number)), number);
    QCOMPARE(shuffled.find("none of them"_s), -1);
}

// Who leaves the order and comes back to it further on.
void TestSyncNameTable::halfInOrder()
{
    const QStringList names = manyNames();
    VornSyncNameTable table = tableOf(names);
    for (int i = 0; i < 100; ++i)
        QCOMPARE(table.find(names.at(i)), i);
    for (int i = 4000; i < kManyNames; ++i)
        QCOMPARE(table.find(names.at(i)), i);
    QCOMPARE(table.find(names.at(0)), 0); // after the last
    QCOMPARE(table.find(names.at(0)), 0);
    for (int i = 100; i < 4000; ++i)
        QCOMPARE(table.find(names.at(i)), i);
}

void TestSyncNameTable::absentNames()
{
    VornSyncNameTable table = tableOf(awkwardNames());
    for (const QString& name : {"aaaa"_s, "bb"_s, "aab"_s, "n"_s, "lasta"_s, "las"_s, "B"_s, "\U0001F601"_s,
                                QString(253, QLatin1Char('n')), QString(256, QLatin1Char('n'))})
        QCOMPARE(table.find(name), -1);
}

// Among so many pairs of random names some twenty have one hash of 32 bits.
void TestSyncNameTable::absentNamesOfTheSameHash()
{
    constexpr int kPresent = 200000;
    constexpr int kAbsent = 400000;
    std::mt19937_64 random(1);
    VornSyncNameTable table;
    for (int i = 0; i < kPresent; ++i)
        table.append(QLatin1Char('p') + QString::number(random(), 36));
    table.freeze();
    for (int i = 0; i < kAbsent; ++i)
        QCOMPARE(table.find(QLatin1Char('a') + QString::number(random(), 36)), -1);
}

void TestSyncNameTable::absentNameKeepsTheOrder()
{
    VornSyncNameTable table = tableOf({"a"_s, "b"_s, "c"_s});
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(table.find("none"_s), -1);
        QCOMPARE(table.find(QStringLiteral("abc").mid(i, 1)), i);
    }
    QCOMPARE(table.find("none"_s), -1);
}

void TestSyncNameTable::startOver()
{
    VornSyncNameTable table = tableOf({"a"_s, "b"_s, "a"_s, "c"_s});
    for (int round = 0; round < 3; ++round) {
        QCOMPARE(table.find("a"_s), 0);
        QCOMPARE(table.find("b"_s), 1);
        QCOMPARE(table.find("a"_s), 2);
        QCOMPARE(table.find("c"_s), 3);
        table.startOver();
    }
}

// A name that stands there twice is each of them in its turn, and the first to who asks out of turn.
void TestSyncNameTable::sameNameTwice()
{
    VornSyncNameTable table = tableOf({"a"_s, "b"_s, "a"_s});
    QCOMPARE(table.find("b"_s), 1);
    QCOMPARE(table.find("a"_s), 2);
    QCOMPARE(table.find("a"_s), 0);
    QCOMPARE(table.find("a"_s), 0);
}

void TestSyncNameTable::namesAfterFreezeAreNotFound()
{
    VornSyncNameTable table = tableOf({"a"_s, "b"_s});
    table.append("c"_s);
    QCOMPARE(table.count(), 3);
    QCOMPARE(table.at(1).toString(), "b"_s);
    QCOMPARE(table.at(2).toString(), "c"_s);
    QCOMPARE(table.find("a"_s), 0);
    QCOMPARE(table.find("b"_s), 1);
    QCOMPARE(table.find("c"_s), -1);
    table.append("d"_s); // when the index is there already
    QCOMPARE(table.at(3).toString(), "d"_s);
    QCOMPARE(table.find("d"_s), -1);
    QCOMPARE(table.find("b"_s), 1);
}

void TestSyncNameTable::copyIsAValue()
{
    VornSyncNameTable table = tableOf({"a"_s, "b"_s});
    QCOMPARE(table.find("b"_s), 1);
    VornSyncNameTable copy = table;
    table = tableOf({"b"_s, "x"_s});
    QCOMPARE(copy.find("b"_s), 1);
    QCOMPARE(copy.find("x"_s), -1);
    QCOMPARE(table.find("x"_s), 1);
    QCOMPARE(table.find("a"_s), -1);
}

QTEST_APPLESS_MAIN(TestSyncNameTable)
#include "test_sync_name_table.moc"

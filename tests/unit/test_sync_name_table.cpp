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

void append(VornSyncNameTable& table, const QString& name)
{
    table.append(name.toStdString());
}

int find(VornSyncNameTable& table, const QString& name)
{
    return table.find(name.toStdString());
}

QString nameAt(const VornSyncNameTable& table, int number)
{
    const std::string_view name = table.at(number);
    return QString::fromUtf8(name.data(), int(name.size()));
}

VornSyncNameTable tableOf(const QStringList& names)
{
    VornSyncNameTable table;
    for (const QString& name : names)
        append(table, name);
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
    void namesOfEveryLength();
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
        QCOMPARE(nameAt(table, i), awkwardNames().at(i));
    // As the system's calls take them.
    for (int i = 0; i < table.count(); ++i)
        QCOMPARE(QByteArray(table.at(i).data()), awkwardNames().at(i).toUtf8());
}

// Short ones fill a block to its end and go on in the next; one alone may be longer than a block.
void TestSyncNameTable::namesOfEveryLength()
{
    VornSyncNameTable table;
    QStringList names;
    for (const int length : {65535, 65536, 65534, 0, 0, 70000, 200000, 1, 65537})
        names << QString(length, QLatin1Char(char('a' + names.size())));
    for (int i = 0; i < 3000; ++i)
        names << QString::number(i).repeated(1 + i % 60);
    for (const QString& name : qAsConst(names))
        append(table, name);
    table.freeze();
    QCOMPARE(table.count(), names.size());
    for (int i = 0; i < names.size(); ++i) {
        QCOMPARE(nameAt(table, i), names.at(i));
        QCOMPARE(table.at(i).data()[table.at(i).size()], '\0');
    }
}

void TestSyncNameTable::emptyTable()
{
    VornSyncNameTable table;
    QCOMPARE(table.count(), 0);
    table.freeze();
    QCOMPARE(find(table, "a"_s), -1);
    QCOMPARE(find(table, QString()), -1);

    VornSyncNameTable onlyEmpty = tableOf({QString()});
    QCOMPARE(onlyEmpty.count(), 1);
    QCOMPARE(nameAt(onlyEmpty, 0), QString(""_s));
    QCOMPARE(find(onlyEmpty, "a"_s), -1);
    QCOMPARE(find(onlyEmpty, QString()), 0);
}

void TestSyncNameTable::inOrder()
{
    VornSyncNameTable table = tableOf(awkwardNames());
    for (int i = 0; i < table.count(); ++i)
        QCOMPARE(find(table, awkwardNames().at(i)), i);
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
        QCOMPARE(find(backwards, names.at(i)), i);

    VornSyncNameTable shuffled = tableOf(names);
    std::vector<int> numbers(std::size_t(names.size()));
    std::iota(numbers.begin(), numbers.end(), 0);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
    for (const int number : numbers)
        QCOMPARE(find(shuffled, names.at(number)), number);
    QCOMPARE(find(shuffled, "none of them"_s), -1);
}

// Who leaves the order and comes back to it further on.
void TestSyncNameTable::halfInOrder()
{
    const QStringList names = manyNames();
    VornSyncNameTable table = tableOf(names);
    for (int i = 0; i < 100; ++i)
        QCOMPARE(find(table, names.at(i)), i);
    for (int i = 4000; i < kManyNames; ++i)
        QCOMPARE(find(table, names.at(i)), i);
    QCOMPARE(find(table, names.at(0)), 0); // after the last
    QCOMPARE(find(table, names.at(0)), 0);
    for (int i = 100; i < 4000; ++i)
        QCOMPARE(find(table, names.at(i)), i);
}

void TestSyncNameTable::absentNames()
{
    VornSyncNameTable table = tableOf(awkwardNames());
    for (const QString& name : {"aaaa"_s, "bb"_s, "aab"_s, "n"_s, "lasta"_s, "las"_s, "B"_s, "\U0001F601"_s,
                                QString(253, QLatin1Char('n')), QString(256, QLatin1Char('n'))})
        QCOMPARE(find(table, name), -1);
}

// Among so many pairs of random names some twenty have one hash of 32 bits.
void TestSyncNameTable::absentNamesOfTheSameHash()
{
    constexpr int kPresent = 200000;
    constexpr int kAbsent = 400000;
    std::mt19937_64 random(1);
    VornSyncNameTable table;
    for (int i = 0; i < kPresent; ++i)
        append(table, QLatin1Char('p') + QString::number(random(), 36));
    table.freeze();
    for (int i = 0; i < kAbsent; ++i)
        QCOMPARE(find(table, QLatin1Char('a') + QString::number(random(), 36)), -1);
}

void TestSyncNameTable::absentNameKeepsTheOrder()
{
    VornSyncNameTable table = tableOf({"a"_s, "b"_s, "c"_s});
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(find(table, "none"_s), -1);
        QCOMPARE(find(table, QStringLiteral("abc").mid(i, 1)), i);
    }
    QCOMPARE(find(table, "none"_s), -1);
}

void TestSyncNameTable::startOver()
{
    VornSyncNameTable table = tableOf({"a"_s, "b"_s, "a"_s, "c"_s});
    for (int round = 0; round < 3; ++round) {
        QCOMPARE(find(table, "a"_s), 0);
        QCOMPARE(find(table, "b"_s), 1);
        QCOMPARE(find(table, "a"_s), 2);
        QCOMPARE(find(table, "c"_s), 3);
        table.startOver();
    }
}

// A name that stands there twice is each of them in its turn, and the first to who asks out of turn.
void TestSyncNameTable::sameNameTwice()
{
    VornSyncNameTable table = tableOf({"a"_s, "b"_s, "a"_s});
    QCOMPARE(find(table, "b"_s), 1);
    QCOMPARE(find(table, "a"_s), 2);
    QCOMPARE(find(table, "a"_s), 0);
    QCOMPARE(find(table, "a"_s), 0);
}

void TestSyncNameTable::namesAfterFreezeAreNotFound()
{
    VornSyncNameTable table = tableOf({"a"_s, "b"_s});
    append(table, "c"_s);
    QCOMPARE(table.count(), 3);
    QCOMPARE(nameAt(table, 1), "b"_s);
    QCOMPARE(nameAt(table, 2), "c"_s);
    QCOMPARE(find(table, "a"_s), 0);
    QCOMPARE(find(table, "b"_s), 1);
    QCOMPARE(find(table, "c"_s), -1);
    append(table, "d"_s); // when the index is there already
    QCOMPARE(nameAt(table, 3), "d"_s);
    QCOMPARE(find(table, "d"_s), -1);
    QCOMPARE(find(table, "b"_s), 1);
}

void TestSyncNameTable::copyIsAValue()
{
    VornSyncNameTable table = tableOf({"a"_s, "b"_s});
    QCOMPARE(find(table, "b"_s), 1);
    VornSyncNameTable copy = table;
    table = tableOf({"b"_s, "x"_s});
    QCOMPARE(find(copy, "b"_s), 1);
    QCOMPARE(find(copy, "x"_s), -1);
    QCOMPARE(find(table, "x"_s), 1);
    QCOMPARE(find(table, "a"_s), -1);
}

QTEST_APPLESS_MAIN(TestSyncNameTable)
#include "test_sync_name_table.moc"

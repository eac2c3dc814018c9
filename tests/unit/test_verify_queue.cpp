#include "literals.h"
#include "vorn_sync_verify_queue.h"

#include <QTest>
#include <QVector>

#include <algorithm>
#include <random>

using namespace VornSyncTest;

namespace {

constexpr quint32 kSeed = 20260101;
constexpr int kRandomSteps = 20000;

using Names = QVector<QPair<int, QString>>;

Names takeAll(VornSyncVerifyQueue& queue)
{
    Names taken;
    while (!queue.isEmpty()) {
        const int size = queue.size();
        const VornSyncVerifyQueue::Entry entry = queue.takeFirst();
        taken.append({entry.directoryId, entry.fileName});
        if (queue.size() != size - 1)
            return {};
    }
    return taken;
}

void fill(VornSyncVerifyQueue& queue, const Names& names)
{
    for (const auto& [directoryId, fileName] : names)
        queue.append(directoryId, fileName);
}

} // namespace

class TestVerifyQueue : public QObject
{
    Q_OBJECT

private slots:
    void emptyQueue();
    void inOrderOverDirectories();
    void sameDirectoryAgain();
    void anyName_data();
    void anyName();
    void emptyNameIsLeftOut();
    void appendedWhileTaken();
    void squeezeLosesNothing();
    void clearOne();
    void clearOneHalfTaken();
    void clearAll();
    void asAPlainList();
};

void TestVerifyQueue::emptyQueue()
{
    VornSyncVerifyQueue queue;
    QVERIFY(queue.isEmpty());
    QCOMPARE(queue.size(), 0);
    queue.squeeze();
    queue.clear(1);
    queue.clear(-1);
    QVERIFY(queue.isEmpty());
    QCOMPARE(queue.size(), 0);
}

void TestVerifyQueue::inOrderOverDirectories()
{
    const Names names = {{3, "b"_s}, {3, "a"_s}, {3, "b"_s}, {1, "b"_s}, {2, "c"_s}, {2, "cc"_s}};
    VornSyncVerifyQueue queue;
    fill(queue, names);
    QCOMPARE(queue.size(), 6);
    QVERIFY(!queue.isEmpty());
    QCOMPARE(takeAll(queue), names);
    QCOMPARE(queue.size(), 0);
}

// Not a part of the batch before: what stands between comes first.
void TestVerifyQueue::sameDirectoryAgain()
{
    const Names names = {{1, "a"_s}, {2, "b"_s}, {1, "c"_s}};
    VornSyncVerifyQueue queue;
    fill(queue, names);
    QCOMPARE(takeAll(queue), names);
}

void TestVerifyQueue::anyName_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << "a.txt"_s;
    QTest::newRow("accents") << "Ünïcødé.txt"_s;
    QTest::newRow("outside the plane") << "\U0001F600.txt"_s;
    QTest::newRow("newline") << "a\nb"_s;
    QTest::newRow("quotes and percent") << "a'b\"c%1"_s;
    QTest::newRow("NUL") << "a\0b"_s;
    QTest::newRow("byte order mark") << "\uFEFFa"_s;
    QTest::newRow("control characters") << "\u0001\u0002\u007f"_s;
    QTest::newRow("255 bytes") << QString(255, QLatin1Char('n'));
    QTest::newRow("255 characters, 765 bytes") << QString(255, QChar(0x20ac));
    QTest::newRow("very long") << QString(70000, QLatin1Char('n'));
}

void TestVerifyQueue::anyName()
{
    QFETCH(QString, name);
    const Names names = {{1, "before"_s}, {1, name}, {1, name}, {1, "after"_s}};
    VornSyncVerifyQueue queue;
    fill(queue, names);
    QCOMPARE(takeAll(queue), names);
}

void TestVerifyQueue::emptyNameIsLeftOut()
{
    VornSyncVerifyQueue queue;
    queue.append(1, QString());
    queue.append(1, ""_s);
    QVERIFY(queue.isEmpty());
    fill(queue, {{1, "a"_s}, {1, ""_s}, {2, ""_s}, {1, "b"_s}});
    QCOMPARE(queue.size(), 2);
    QCOMPARE(takeAll(queue), Names({{1, "a"_s}, {1, "b"_s}}));
}

void TestVerifyQueue::appendedWhileTaken()
{
    VornSyncVerifyQueue queue;
    fill(queue, {{1, "a"_s}, {1, "b"_s}});
    QCOMPARE(queue.takeFirst().fileName, "a"_s);
    fill(queue, {{1, "c"_s}, {2, "d"_s}});
    QCOMPARE(queue.size(), 3);
    QCOMPARE(takeAll(queue), Names({{1, "b"_s}, {1, "c"_s}, {2, "d"_s}}));
    fill(queue, {{2, "e"_s}});
    QCOMPARE(takeAll(queue), Names({{2, "e"_s}}));
}

void TestVerifyQueue::squeezeLosesNothing()
{
    const Names names = {{1, "a"_s}, {1, "b"_s}, {2, "c"_s}, {2, "Ü"_s}};
    VornSyncVerifyQueue queue;
    fill(queue, names);
    queue.squeeze();
    QCOMPARE(queue.size(), 4);
    QCOMPARE(queue.takeFirst().fileName, "a"_s);
    queue.squeeze();
    fill(queue, {{2, "d"_s}});
    QCOMPARE(takeAll(queue), names.mid(1) + Names({{2, "d"_s}}));
}

void TestVerifyQueue::clearOne()
{
    VornSyncVerifyQueue queue;
    fill(queue, {{1, "a"_s}, {2, "b"_s}, {2, "c"_s}, {1, "d"_s}, {3, "e"_s}});
    queue.clear(7);
    QCOMPARE(queue.size(), 5);
    queue.clear(1);
    QCOMPARE(queue.size(), 3);
    queue.append(3, "f"_s);
    queue.append(1, "g"_s); // an id may be used again
    QCOMPARE(takeAll(queue), Names({{2, "b"_s}, {2, "c"_s}, {3, "e"_s}, {3, "f"_s}, {1, "g"_s}}));
}

void TestVerifyQueue::clearOneHalfTaken()
{
    VornSyncVerifyQueue queue;
    fill(queue, {{1, "a"_s}, {1, "b"_s}, {1, "c"_s}, {2, "d"_s}, {2, "e"_s}});
    queue.takeFirst();
    queue.clear(2);
    QCOMPARE(queue.size(), 2);
    QCOMPARE(queue.takeFirst().fileName, "b"_s);
    fill(queue, {{2, "f"_s}});
    queue.clear(1);
    QCOMPARE(queue.size(), 1);
    QCOMPARE(takeAll(queue), Names({{2, "f"_s}}));
}

void TestVerifyQueue::clearAll()
{
    VornSyncVerifyQueue queue;
    fill(queue, {{0, "a"_s}, {2, "b"_s}, {2, "c"_s}});
    queue.takeFirst();
    queue.clear(-1);
    QVERIFY(queue.isEmpty());
    QCOMPARE(queue.size(), 0);
    fill(queue, {{0, "d"_s}});
    QCOMPARE(takeAll(queue), Names({{0, "d"_s}}));
}

void TestVerifyQueue::asAPlainList()
{
    std::mt19937 random(kSeed);
    const auto below = [&random](int bound) { return int(random() % quint32(bound)); };
    VornSyncVerifyQueue queue;
    Names model;
    for (int step = 0; step < kRandomSteps; ++step) {
        const int what = below(100);
        if (what < 55) {
            const int directoryId = below(3);
            const QString name = QString(1 + below(20), QChar(0x61 + below(0x200)));
            queue.append(directoryId, name);
            model.append({directoryId, name});
        } else if (what < 97) {
            if (model.isEmpty())
                continue;
            const VornSyncVerifyQueue::Entry entry = queue.takeFirst();
            QCOMPARE(qMakePair(entry.directoryId, entry.fileName), model.takeFirst());
        } else if (what < 99) {
            queue.squeeze();
        } else {
            const int directoryId = below(4) - (below(10) == 0 ? 4 : 0);
            queue.clear(directoryId);
            model.erase(std::remove_if(model.begin(), model.end(),
                                       [directoryId](const QPair<int, QString>& file) {
                                           return directoryId < 0 || file.first == directoryId;
                                       }),
                        model.end());
        }
        QCOMPARE(queue.size(), model.size());
        QCOMPARE(queue.isEmpty(), model.isEmpty());
    }
    QCOMPARE(takeAll(queue), model);
}

QTEST_APPLESS_MAIN(TestVerifyQueue)
#include "test_verify_queue.moc"

#include "vorn_sync_pages.h"

#include <QTest>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>
#include <numeric>
#include <vector>

namespace {

bool isMapped(void* memory)
{
    unsigned char residence = 0;
    const bool isKnown = ::mincore(memory, std::size_t(::sysconf(_SC_PAGESIZE)), &residence) == 0;
    return isKnown || errno != ENOMEM;
}

} // namespace

class TestSyncPages : public QObject
{
    Q_OBJECT

private slots:
    void largeBlocksGoBackToTheSystem();
    void blocksOfEverySizeHoldTheirBytes_data();
    void blocksOfEverySizeHoldTheirBytes();
    void whatCanNotBeHadIsRefused();
    void vectorKeepsItsValuesWhileItGrows();
};

void TestSyncPages::largeBlocksGoBackToTheSystem()
{
    void* const memory = VornSyncPages::take(VornSyncPages::kSmallestBytes);
    QVERIFY(isMapped(memory));
    VornSyncPages::giveBack(memory, VornSyncPages::kSmallestBytes);
    QVERIFY(!isMapped(memory));
}

void TestSyncPages::blocksOfEverySizeHoldTheirBytes_data()
{
    QTest::addColumn<qulonglong>("bytes");
    QTest::newRow("one byte") << 1ULL;
    QTest::newRow("the largest of the C library's") << qulonglong(VornSyncPages::kSmallestBytes - 1);
    QTest::newRow("the smallest of the system's") << qulonglong(VornSyncPages::kSmallestBytes);
    QTest::newRow("no whole number of pages") << qulonglong(VornSyncPages::kSmallestBytes + 1);
}

void TestSyncPages::blocksOfEverySizeHoldTheirBytes()
{
    QFETCH(qulonglong, bytes);
    auto* const memory = static_cast<unsigned char*>(VornSyncPages::take(std::size_t(bytes)));
    for (std::size_t i = 0; i < bytes; ++i)
        memory[i] = static_cast<unsigned char>(i);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < bytes; ++i)
        wrong += memory[i] == static_cast<unsigned char>(i) ? 0 : 1;
    VornSyncPages::giveBack(memory, std::size_t(bytes));
    QCOMPARE(wrong, std::size_t(0));
}

void TestSyncPages::whatCanNotBeHadIsRefused()
{
    QVERIFY_EXCEPTION_THROWN(VornSyncPages::take(std::numeric_limits<std::size_t>::max() / 2),
                             std::bad_alloc);
}

void TestSyncPages::vectorKeepsItsValuesWhileItGrows()
{
    constexpr int kCount = 1000000;
    std::vector<int, VornSyncPageAllocator<int>> numbers;
    for (int i = 0; i < kCount; ++i)
        numbers.push_back(i);
    std::vector<int> expected(kCount);
    std::iota(expected.begin(), expected.end(), 0);
    QVERIFY(std::equal(numbers.cbegin(), numbers.cend(), expected.cbegin(), expected.cend()));

    const std::vector<int, VornSyncPageAllocator<int>> copy = numbers;
    numbers = {};
    QVERIFY(std::equal(copy.cbegin(), copy.cend(), expected.cbegin(), expected.cend()));
}

QTEST_APPLESS_MAIN(TestSyncPages)
#include "test_sync_pages.moc"

#include "vorn_sync_large_vector.h"

#include <QTest>

using namespace VornSyncLargeVector;

class TestSyncLargeVector : public QObject
{
    Q_OBJECT

private slots:
    void keepsItsValuesWhileItGrows();
    void isSmallOrGivenBack();
    void reservesWhatIsAsked();
};

void TestSyncLargeVector::keepsItsValuesWhileItGrows()
{
    constexpr int kCount = 300000;
    std::vector<int> numbers;
    for (int i = 0; i < kCount; ++i)
        append(numbers, i);
    QCOMPARE(int(numbers.size()), kCount);
    for (int i = 0; i < kCount; ++i)
        QCOMPARE(numbers[std::size_t(i)], i);
}

// Whatever it holds, its block is none of those that the C library would keep.
void TestSyncLargeVector::isSmallOrGivenBack()
{
    constexpr std::size_t kCount = 3 * kGivenBackBytes / sizeof(qint64);
    std::vector<qint64> numbers;
    std::size_t growths = 0;
    for (std::size_t i = 0; i < kCount; ++i) {
        const std::size_t before = numbers.capacity();
        append(numbers, qint64(i));
        growths += numbers.capacity() == before ? 0 : 1;
        const std::size_t bytes = numbers.capacity() * sizeof(qint64);
        QVERIFY2(bytes < kLargeBytes || bytes >= kGivenBackBytes, qPrintable(QString::number(bytes)));
    }
    QVERIFY2(growths < 30, qPrintable(QString::number(growths)));
}

void TestSyncLargeVector::reservesWhatIsAsked()
{
    for (const std::size_t size :
         {std::size_t(1), kLargeBytes - 1, kLargeBytes, kGivenBackBytes, 2 * kGivenBackBytes}) {
        std::vector<char> bytes;
        reserve(bytes, size);
        QVERIFY2(bytes.capacity() >= size, qPrintable(QString::number(size)));
    }
}

QTEST_APPLESS_MAIN(TestSyncLargeVector)
#include "test_sync_large_vector.moc"

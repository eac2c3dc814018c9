#include "vorn_sync_times.h"

#include <QTest>

#include <limits>

#include <time.h>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

} // namespace

class TestSyncTimes : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void utcTextEndsInZ();
    void textIsFormattedAsGiven();
    void readsTexts_data();
    void readsTexts();
    void readsItsOwnTexts();
    void fastRoadAgreesWithQt();
    void readerAgreesWhateverCameBefore();
    void comparesWithTolerance_data();
    void comparesWithTolerance();
};

// A zone with an offset, or texts without one would read the same as those in UTC.
void TestSyncTimes::initTestCase()
{
    qputenv("TZ", "<+05>-5");
    ::tzset();
    QCOMPARE(QDateTime(QDate(2026, 1, 1), QTime(0, 0)).offsetFromUtc(), 5 * 3600);
}

void TestSyncTimes::utcTextEndsInZ()
{
    const QDateTime time(QDate(2026, 11, 21), QTime(10, 39, 2, 999), Qt::UTC);
    QCOMPARE(VornSyncTimes::toText(time), text("2026-11-21T10:39:02Z"));
    QCOMPARE(VornSyncTimes::toText(VornSyncTimes::fromSecs(time.toSecsSinceEpoch())),
             text("2026-11-21T10:39:02Z"));
    QCOMPARE(VornSyncTimes::fromSecs(0).timeSpec(), Qt::UTC);
}

void TestSyncTimes::textIsFormattedAsGiven()
{
    QCOMPARE(VornSyncTimes::toText(QDateTime(QDate(2026, 11, 21), QTime(10, 39, 2))),
             text("2026-11-21T10:39:02"));
    QCOMPARE(
        VornSyncTimes::toText(QDateTime(QDate(2026, 11, 21), QTime(10, 39, 2), Qt::OffsetFromUTC, -7200)),
        text("2026-11-21T10:39:02-02:00"));
    QCOMPARE(VornSyncTimes::toText(QDateTime()), QString());
}

void TestSyncTimes::readsTexts_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<qint64>("expected");
    const qint64 secs = QDateTime(QDate(2026, 11, 21), QTime(10, 39, 2), Qt::UTC).toSecsSinceEpoch();
    QTest::newRow("utc") << "2026-11-21T10:39:02Z" << secs;
    QTest::newRow("offset") << "2026-11-21T12:39:02+02:00" << secs;
    QTest::newRow("without offset: local time") << "2026-11-21T15:39:02" << secs;
    QTest::newRow("milliseconds") << "2026-11-21T10:39:02.750Z" << secs;
    QTest::newRow("before the epoch") << "1969-12-31T23:59:58Z" << qint64(-2);
    QTest::newRow("epoch") << "1970-01-01T00:00:00Z" << qint64(0);
    QTest::newRow("leap day") << "2024-02-29T00:00:00Z"
                              << QDateTime(QDate(2024, 2, 29), QTime(0, 0), Qt::UTC).toSecsSinceEpoch();
    QTest::newRow("no leap day") << "2023-02-29T00:00:00Z" << qint64(0);
    QTest::newRow("far away") << "9999-12-31T23:59:59Z" << Q_INT64_C(253402300799);
    QTest::newRow("empty") << "" << qint64(0);
    QTest::newRow("undefined") << "UNDEFINED" << qint64(0);
    QTest::newRow("month 13") << "2026-13-21T10:39:02Z" << qint64(0);
    QTest::newRow("second 60") << "2026-11-21T10:39:60Z" << qint64(0);
    QTest::newRow("letters") << "2026-11-21T1a:39:02Z" << qint64(0);
    QTest::newRow("20 other signs") << "aaaaaaaaaaaaaaaaaaaa" << qint64(0);
}

void TestSyncTimes::readsTexts()
{
    QFETCH(QString, input);
    QFETCH(qint64, expected);
    QCOMPARE(VornSyncTimes::secsFromText(input), expected);
}

void TestSyncTimes::readsItsOwnTexts()
{
    for (qint64 secs = -4000000000; secs < 20000000000; secs += 86399 * 31 + 3601)
        QCOMPARE(VornSyncTimes::secsFromText(VornSyncTimes::toText(VornSyncTimes::fromSecs(secs))), secs);
}

void TestSyncTimes::fastRoadAgreesWithQt()
{
    for (int month = 0; month <= 13; ++month) {
        for (int day = 0; day <= 32; ++day) {
            const QString input = text("2028-%1-%2T24:00:00Z")
                                      .arg(month, 2, 10, QLatin1Char('0'))
                                      .arg(day, 2, 10, QLatin1Char('0'));
            const QString plain = QString(input).replace(text("T24"), text("T23"));
            const QDateTime time = QDateTime::fromString(plain, Qt::ISODate);
            QCOMPARE(VornSyncTimes::secsFromText(plain), time.isValid() ? time.toSecsSinceEpoch() : 0);
            const QDateTime nextDay = QDateTime::fromString(input, Qt::ISODate);
            QCOMPARE(VornSyncTimes::secsFromText(input), nextDay.isValid() ? nextDay.toSecsSinceEpoch() : 0);
        }
    }
}

void TestSyncTimes::readerAgreesWhateverCameBefore()
{
    const QStringList texts = {text("2026-11-21T10:39:02Z"),
                               text("2026-11-21T10:39:03Z"),
                               text("2026-11-22T10:39:02Z"),
                               text("2026-13-22T10:39:02Z"),
                               text("2026-11-22T24:00:00Z"),
                               text("2026-11-22T1a:39:02Z"),
                               text("2026-11-22T12:39:02"),
                               text("2026-11-22X10:39:02Z"),
                               text("UNDEFINED"),
                               QString()};
    for (const QString& first : texts) {
        for (const QString& second : texts) {
            VornSyncTimes::Reader reader;
            for (const QString& input : {first, second, first}) {
                const QByteArray utf8 = input.toUtf8();
                const qint64 secs = reader.secsFromText({utf8.constData(), std::size_t(utf8.size())});
                QVERIFY2(secs == VornSyncTimes::secsFromText(input), utf8.constData());
            }
        }
    }
}

void TestSyncTimes::comparesWithTolerance_data()
{
    QTest::addColumn<qint64>("left");
    QTest::addColumn<qint64>("right");
    QTest::addColumn<bool>("isDifferent");
    QTest::newRow("same") << qint64(100) << qint64(100) << false;
    QTest::newRow("3 later") << qint64(100) << qint64(103) << false;
    QTest::newRow("4 later") << qint64(100) << qint64(104) << true;
    QTest::newRow("3 earlier") << qint64(100) << qint64(97) << false;
    QTest::newRow("4 earlier") << qint64(100) << qint64(96) << true;
    QTest::newRow("around the epoch") << qint64(-2) << qint64(2) << true;
    QTest::newRow("beyond 32 bits") << qint64(0) << (qint64(1) << 32) << true;
}

void TestSyncTimes::comparesWithTolerance()
{
    QFETCH(qint64, left);
    QFETCH(qint64, right);
    QFETCH(bool, isDifferent);
    QCOMPARE(VornSyncTimes::differ(left, right), isDifferent);
    QCOMPARE(VornSyncTimes::kToleranceSecs, qint64(3));
}

QTEST_GUILESS_MAIN(TestSyncTimes)
#include "test_sync_times.moc"

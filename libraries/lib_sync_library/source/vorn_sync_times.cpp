#include "vorn_sync_times.h"

namespace {

constexpr int kUtcTextLength = 20; // "2026-11-21T10:39:02Z"
constexpr qint64 kSecsPerDay = 86400;

// The number at `position` of `count` digits, -1 when one of them is no digit.
int digits(const QChar* text, int position, int count)
{
    int value = 0;
    for (int i = position; i < position + count; ++i) {
        const int digit = text[i].unicode() - '0';
        if (digit < 0 || digit > 9)
            return -1;
        value = value * 10 + digit;
    }
    return value;
}

// The library's own form, read without QDateTime: a pass reads one such text a file.
bool secsFromUtcText(const QString& text, qint64& secs)
{
    if (text.size() != kUtcTextLength)
        return false;
    const QChar* chars = text.constData();
    if (chars[4] != QLatin1Char('-') || chars[7] != QLatin1Char('-') || chars[10] != QLatin1Char('T') ||
        chars[13] != QLatin1Char(':') || chars[16] != QLatin1Char(':') || chars[19] != QLatin1Char('Z'))
        return false;
    const int year = digits(chars, 0, 4);
    const int month = digits(chars, 5, 2);
    const int day = digits(chars, 8, 2);
    const int hour = digits(chars, 11, 2);
    const int minute = digits(chars, 14, 2);
    const int second = digits(chars, 17, 2);
    if (!QDate::isValid(year, month, day) || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
        second < 0 || second > 59)
        return false;
    const qint64 days = QDate(year, month, day).toJulianDay() - QDate(1970, 1, 1).toJulianDay();
    secs = days * kSecsPerDay + qint64{hour} * 3600 + qint64{minute} * 60 + second;
    return true;
}

} // namespace

namespace VornSyncTimes {

QString toText(const QDateTime& time)
{
    return time.toString(Qt::ISODate);
}

qint64 secsFromText(const QString& text)
{
    qint64 secs = 0;
    if (secsFromUtcText(text, secs))
        return secs;
    const QDateTime time = QDateTime::fromString(text, Qt::ISODate);
    return time.isValid() ? time.toSecsSinceEpoch() : 0;
}

QDateTime fromSecs(qint64 secsSinceEpoch)
{
    return QDateTime::fromSecsSinceEpoch(secsSinceEpoch, Qt::UTC);
}

bool differ(qint64 leftSecs, qint64 rightSecs)
{
    return qAbs(leftSecs - rightSecs) > kToleranceSecs;
}

} // namespace VornSyncTimes

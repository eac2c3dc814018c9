#include "vorn_sync_times.h"

#include <cstring>

namespace {

constexpr int kUtcTextLength = 20; // "2026-11-21T10:39:02Z"
constexpr qint64 kSecsPerDay = 86400;

// The number at `position` of `count` digits, -1 when one of them is no digit.
template<typename Unit> int digits(const Unit* text, int position, int count)
{
    int value = 0;
    for (int i = position; i < position + count; ++i) {
        const int digit = text[i] - '0';
        if (digit < 0 || digit > 9)
            return -1;
        value = value * 10 + digit;
    }
    return value;
}

// Days from 1970-01-01 in the Gregorian calendar. Counting years from March puts the leap day at their end.
qint64 daysSinceEpoch(int year, int month, int day)
{
    constexpr qint64 kDaysPerEra = 146097; // 400 years
    constexpr qint64 kEpochDay = 719468;   // 1970-01-01, counted from 0000-03-01
    const qint64 shiftedYear = month > 2 ? year : year - 1;
    const qint64 yearOfEra = shiftedYear % 400;
    const qint64 dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const qint64 dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return shiftedYear / 400 * kDaysPerEra + dayOfEra - kEpochDay;
}

// The library's own form, read without QDateTime: a pass reads one such text a file. Its units are of UTF-8 or UTF-16.
template<typename Unit> bool isUtcForm(const Unit* text)
{
    return text[4] == '-' && text[7] == '-' && text[10] == 'T' && text[13] == ':' && text[16] == ':' &&
           text[19] == 'Z';
}

template<typename Unit> bool daySecsFromText(const Unit* text, qint64& secs)
{
    const int year = digits(text, 0, 4);
    const int month = digits(text, 5, 2);
    const int day = digits(text, 8, 2);
    if (!QDate::isValid(year, month, day))
        return false;
    secs = daysSinceEpoch(year, month, day) * kSecsPerDay;
    return true;
}

template<typename Unit> bool addTimeOfDay(const Unit* text, qint64& secs)
{
    const int hour = digits(text, 11, 2);
    const int minute = digits(text, 14, 2);
    const int second = digits(text, 17, 2);
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59)
        return false;
    secs += qint64{hour} * 3600 + qint64{minute} * 60 + second;
    return true;
}

} // namespace

namespace VornSyncTimes {

QString toText(const QDateTime& time)
{
    return time.toString(Qt::ISODate);
}

QString nowText()
{
    return toText(QDateTime::currentDateTimeUtc());
}

qint64 secsFromText(const QString& text)
{
    qint64 secs = 0;
    const ushort* units = text.utf16();
    if (text.size() == kUtcTextLength && isUtcForm(units) && daySecsFromText(units, secs) &&
        addTimeOfDay(units, secs))
        return secs;
    const QDateTime time = QDateTime::fromString(text, Qt::ISODate);
    return time.isValid() ? time.toSecsSinceEpoch() : 0;
}

qint64 Reader::secsFromText(std::string_view text)
{
    if (text.size() == std::size_t(kUtcTextLength) && isUtcForm(text.data()) && readDay(text.data())) {
        qint64 secs = m_daySecs;
        if (addTimeOfDay(text.data(), secs))
            return secs;
    }
    return text.empty() ? 0 : VornSyncTimes::secsFromText(QString::fromUtf8(text.data(), int(text.size())));
}

bool Reader::readDay(const char* text)
{
    if (std::memcmp(text, m_day, sizeof(m_day)) == 0)
        return true;
    if (!daySecsFromText(text, m_daySecs))
        return false;
    std::memcpy(m_day, text, sizeof(m_day));
    return true;
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

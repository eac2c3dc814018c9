#pragma once

#include <QDateTime>
#include <QString>

#include <string_view>

// Times as the database holds them (ISO 8601 text) and as decisions compare them (whole seconds since the
// epoch). Pure functions, callable from any thread.

namespace VornSyncTimes {

// A stored time and a file's time may differ by this much and still be the same: file systems round.
constexpr qint64 kToleranceSecs = 3;

// The text of `time`, as it is given: a time in UTC ends in "Z".
QString toText(const QDateTime& time);

// This moment, in UTC.
QString nowText();

// Seconds since the epoch; 0 for a text that is no ISO 8601 time. A text without an offset is local time.
qint64 secsFromText(const QString& text);

// Reads many texts, of which those of one day often follow each other.
class Reader
{
public:
    // As secsFromText(), of UTF-8.
    qint64 secsFromText(std::string_view text);

private:
    bool readDay(const char* text);

    char m_day[10] = {}; // as it stood in the last text, "2026-11-21"
    qint64 m_daySecs = 0;
};

// A file's modification time in the form the database functions expect.
QDateTime fromSecs(qint64 secsSinceEpoch);

// True when the two times differ by more than the tolerance, either way.
bool differ(qint64 leftSecs, qint64 rightSecs);

} // namespace VornSyncTimes

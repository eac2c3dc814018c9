#include "heartbeat.h"

namespace {

constexpr int kIntervalMs = 1;
constexpr qint64 kBucketNs = 10 * 1000;
constexpr int kBucketCount = 100 * 1000; // a second; what is longer goes to the last one
constexpr double kNsPerMs = 1e6;
// One frame at 250 Hz, and one at 60 Hz.
constexpr qint64 kLateNs = 4 * 1000 * 1000;
constexpr qint64 kLongNs = 16 * 1000 * 1000;

} // namespace

Heartbeat::Heartbeat()
{
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setInterval(kIntervalMs);
    QObject::connect(&m_timer, &QTimer::timeout, [this] { beat(); });
    reset();
}

void Heartbeat::start()
{
    m_sinceBeat.start();
    m_timer.start();
}

void Heartbeat::stop()
{
    m_timer.stop();
}

void Heartbeat::reset()
{
    m_gaps.fill(0, kBucketCount);
    m_count = 0;
    m_late = 0;
    m_longCount = 0;
    m_longestNs = 0;
    m_sinceBeat.start();
}

void Heartbeat::beat()
{
    const qint64 gapNs = m_sinceBeat.nsecsElapsed();
    m_sinceBeat.start();
    ++m_gaps[int(qMin(gapNs / kBucketNs, qint64(kBucketCount - 1)))];
    ++m_count;
    m_late += gapNs >= kLateNs ? 1 : 0;
    m_longCount += gapNs >= kLongNs ? 1 : 0;
    m_longestNs = qMax(m_longestNs, gapNs);
}

double Heartbeat::percentileMs(double share) const
{
    const double wanted = share * m_count;
    int seen = 0;
    for (int bucket = 0; bucket < m_gaps.size(); ++bucket) {
        seen += m_gaps.at(bucket);
        if (seen >= wanted)
            return double((bucket + 1) * kBucketNs) / kNsPerMs;
    }
    return double(m_longestNs) / kNsPerMs;
}

QJsonObject Heartbeat::figures() const
{
    return {{QStringLiteral("beats"), m_count},
            {QStringLiteral("median_ms"), percentileMs(0.5)},
            {QStringLiteral("p999_ms"), percentileMs(0.999)},
            {QStringLiteral("longest_ms"), double(m_longestNs) / kNsPerMs},
            {QStringLiteral("over_4_ms"), m_late},
            {QStringLiteral("over_16_ms"), m_longCount}};
}

#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace VornSyncTest {

// Measures how long the event loop of its thread was ever kept from turning.
class LoopWatch : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LoopWatch)

public:
    LoopWatch()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(kTickMs);
        connect(&m_timer, &QTimer::timeout, this, &LoopWatch::tick);
        m_sinceTick.start();
        m_timer.start();
    }

    int ticks() const { return m_ticks; }
    qint64 largestGapMs() const { return qMax(m_largestGapMs, m_sinceTick.elapsed()); }

private:
    static constexpr int kTickMs = 10;

    void tick()
    {
        ++m_ticks;
        m_largestGapMs = qMax(m_largestGapMs, m_sinceTick.restart());
    }

    QTimer m_timer;
    QElapsedTimer m_sinceTick;
    qint64 m_largestGapMs = 0;
    int m_ticks = 0;
};

} // namespace VornSyncTest

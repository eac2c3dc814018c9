#pragma once

#include <QElapsedTimer>
#include <QJsonObject>
#include <QTimer>
#include <QVector>

// A timer of 1 ms on the thread that starts it, and how far apart its beats really were: what a window that
// animates, or an instrument that is drawn, would see of a busy thread.
class Heartbeat
{
public:
    Heartbeat();

    void start();
    void stop();
    void reset(); // forgets the gaps so far
    QJsonObject figures() const;

private:
    void beat();
    double percentileMs(double share) const;

    QTimer m_timer;
    QElapsedTimer m_sinceBeat;
    QVector<int> m_gaps; // how many, by length
    int m_count = 0;
    int m_late = 0;
    int m_longCount = 0;
    qint64 m_longestNs = 0;
};

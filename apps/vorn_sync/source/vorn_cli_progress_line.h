#pragma once

#include "vorn_cli_types.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

// The single line on a terminal that is written over and over. Lives on the host's thread; wipes itself when
// it is destroyed.
class VornCliProgressLine : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliProgressLine)

public:
    explicit VornCliProgressLine(QObject* parent = nullptr);
    ~VornCliProgressLine() override;

    void setCounters(const VornCliCounters& counters) { m_counters = counters; }
    void fileStarted(const VornCliFile& file);
    void fileCompleted(const VornCliFile& file);

    void wipe(); // the line comes back by itself; meanwhile another one can be written

private:
    void draw();
    QString text(int columns) const;

    VornCliCounters m_counters;
    QVector<VornCliFile> m_running; // handed out and not ended, oldest first: the first one is being copied
    QElapsedTimer m_clock;
    QTimer m_timer;
};

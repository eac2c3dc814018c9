#pragma once

#include <QObject>
#include <QString>

class VornCliSession;
class VornMonitorPairs;

// How the whole mirror stands. Lives on the window's thread.
class VornMonitorStatus : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornMonitorStatus)
    Q_PROPERTY(State state READ state NOTIFY changed)
    Q_PROPERTY(QString text READ text NOTIFY changed)
    // How much of the work is done that has come up since the mirror was at rest, from 0 to 1.
    Q_PROPERTY(double progress READ progress NOTIFY changed)
    Q_PROPERTY(bool isWorking READ isWorking NOTIFY changed)
    Q_PROPERTY(bool isPaused READ isPaused NOTIFY changed)

public:
    enum class State { UpToDate, Working, Paused, Away, Attention };
    Q_ENUM(State)

    // Both must outlive it.
    VornMonitorStatus(VornCliSession& session, const VornMonitorPairs& pairs, QObject* parent = nullptr);

    State state() const { return m_state; }
    QString text() const;
    double progress() const;
    bool isWorking() const { return m_remaining > 0; }
    bool isPaused() const;

    void refresh();

signals:
    void changed();

private:
    State currentState() const;

    VornCliSession& m_session;
    const VornMonitorPairs& m_pairs;
    State m_state = State::UpToDate;
    int m_errors = 0;
    int m_remaining = 0;
    int m_most = 0; // that remained since the mirror was at rest
};

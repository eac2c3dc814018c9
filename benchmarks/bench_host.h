#pragma once

#include "heartbeat.h"

#include <QByteArray>
#include <QJsonObject>
#include <QSocketNotifier>
#include <QStringList>

#include <memory>

class VornSyncManager;

// A host of the exported class alone, led by lines on standard input; each is answered by one JSON object. The
// words of a line are parted by tabs:
//
//   pair ALIAS LOCAL DISTANT   registers a pair
//   sync                       asks for a cycle
//   heartbeat on | off         a timer of 1 ms on the host's thread
//   reset                      forgets counts, gaps and the peak of memory
//   counts                     operations started and ended, files in error
//   figures                    everything there is to tell
//   quit                       destroys the manager, tells how long that took, and ends
class BenchHost : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BenchHost)

public:
    // Tells how long the construction of the manager took.
    BenchHost(const QString& databasePath, const QString& trashPath, int intervalMs,
              const QStringList& patterns);
    ~BenchHost() override;

private:
    void countSignals();
    void onReadable();
    void obey(const QStringList& words);
    void reset();
    void quit();
    QJsonObject counts() const;
    QJsonObject figures() const;

    std::unique_ptr<VornSyncManager> m_manager;
    QSocketNotifier m_input;
    QByteArray m_pendingInput;
    Heartbeat m_heartbeat;
    int m_started = 0;
    int m_completed = 0;
    int m_failed = 0;
    int m_refreshes = 0;
    // When the last operation was handed out, and when the last one ended.
    double m_startedAt = 0;
    double m_startedProcessCpu = 0;
    double m_startedThreadCpu = 0;
    double m_completedAt = 0;
};

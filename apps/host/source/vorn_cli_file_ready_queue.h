#pragma once

#include <QQueue>
#include <QString>

#include <functional>

class VornSyncManager;

// Who asked for which file to be ready. The manager's answers carry no mark of the request, but it serves the
// requests that need a copy one after the other, and answers all others before the call returns. Lives on the
// host's thread.
class VornCliFileReadyQueue
{
    Q_DISABLE_COPY_MOVE(VornCliFileReadyQueue)

public:
    using Answer = std::function<void(const QString& path, bool found)>;

    VornCliFileReadyQueue() = default;

    void ask(VornSyncManager* manager, const QString& distantPath, const Answer& answer);
    void onFileReady(const QString& path, bool found); // the manager's signal
    void abandon(); // the manager is about to go: who still waits gets an empty path

private:
    QQueue<Answer> m_waiting;
    Answer m_asking; // whose call has not returned yet
    bool m_isAsking = false;
};

#pragma once

#include <QMutex>
#include <QThread>

#include <memory>

// A thread that can be let go: one that does not end in time becomes nobody's child, deletes itself when it
// has ended, and until then keeps alive what it still uses. Lives on the thread that created it.
class VornSyncThread : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncThread)

public:
    VornSyncThread(const QString& name, QObject* parent);
    ~VornSyncThread() override; // waits for the thread's end

    // Asks the thread to end and waits. False when it still runs after that time.
    bool stop(int timeoutMs);

    // To be called once, after stop() has failed. `needed` is released on the thread that this object lives
    // on, after the other thread has ended.
    void letGo(std::shared_ptr<QObject> needed);

private:
    void onFinished();

    std::shared_ptr<QObject> m_needed;

    // Taken by letGo() and, on the thread that ends, by onFinished(): whichever comes second deletes this.
    QMutex m_mutex;
    bool m_hasFinished = false;
    bool m_isLetGo = false;
};

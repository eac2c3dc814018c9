#pragma once

#include "vorn_sqlite_writer_line.h"

#include <QDeadlineTimer>
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QWaitCondition>

#include <functional>
#include <map>
#include <memory>

class QThread;
class VornSqliteConnection;

// The connections to one file, one a thread, and the gate in front of them: statements and transactions of
// all threads pass side by side, a reset waits for them and runs alone. May be used from any thread.
class VornSqliteConnections : public std::enable_shared_from_this<VornSqliteConnections>
{
    Q_DISABLE_COPY_MOVE(VornSqliteConnections)

public:
    VornSqliteConnections(const QString& filePath, const QString& connectionName);
    ~VornSqliteConnections();

    // Passes the gate, waiting while a reset runs, and gives the calling thread's connection. Nests.
    VornSqliteConnection& enter();
    // Leaves the gate. Of the outermost: gives the errors to be reported, now that nothing is held.
    QStringList leave(VornSqliteConnection& connection);

    // Runs `remove` while no thread has the file open, opens it again on the calling thread, and runs `prepare`
    // before any other thread may use it.
    bool reset(VornSqliteConnection& own, const std::function<bool()>& remove,
               const std::function<void()>& prepare);

    // Closes all connections, those of other threads on their threads where these answer.
    void closeAll();

private:
    VornSqliteConnection& connectionOf(QThread* thread);
    void onThreadFinished(QThread* thread);
    void askOthers(QThread* self, void (VornSqliteConnections::*request)(QThread*));
    void waitForOthersToClose(QThread* self);
    void closeOnRequest(QThread* thread);
    void closeIfIdle(QThread* thread);

    const QString m_filePath;
    const QString m_registeredPrefix;
    QThread* const m_owner; // created this; compared, never used
    VornSqliteWriterLine m_writers;

    // Guards all below. Every thread takes it for a moment when it enters and when it leaves, and holds it
    // while a handle is closed; never while a statement runs.
    QMutex m_mutex;
    QWaitCondition m_changed;
    std::map<QThread*, std::unique_ptr<VornSqliteConnection>> m_connections;
    QThread* m_resetter = nullptr; // the thread a reset runs on
    int m_activeThreads = 0;       // inside the gate
    int m_threadCounter = 0;
    bool m_isClosing = false;
};

#include "vorn_sqlite_connections.h"

#include "vorn_sqlite_connection.h"

#include <QAtomicInteger>
#include <QThread>

namespace {

// Four times what SQLite does by itself on the other threads; 16 MiB.
constexpr int kOwnerCheckpointPages = 4000;

// How long a thread may take to close its handle. Long for an event loop that turns, short for the host's
// thread, which waits here.
constexpr int kCloseTimeoutMs = 1000;

// Objects may share one name; Qt's list of connections is the process's.
QString uniquePrefix(const QString& connectionName)
{
    static QAtomicInteger<quint64> objectCounter;
    return QStringLiteral("%1_%2_").arg(connectionName, QString::number(++objectCounter));
}

} // namespace

VornSqliteConnections::VornSqliteConnections(const QString& filePath, const QString& connectionName)
    : m_filePath(filePath)
    , m_registeredPrefix(uniquePrefix(connectionName))
    , m_owner(QThread::currentThread())
{
}

VornSqliteConnections::~VornSqliteConnections() = default;

// --- The gate -------------------------------------------------------------------------------------------

VornSqliteConnection& VornSqliteConnections::enter()
{
    QMutexLocker lock(&m_mutex);
    VornSqliteConnection& connection = connectionOf(QThread::currentThread());
    if (++connection.useDepth > 1)
        return connection;
    // Not holding the old file open is what the reset waits for.
    while (m_resetter) {
        connection.close();
        m_changed.wakeAll();
        m_changed.wait(&m_mutex);
    }
    ++m_activeThreads;
    return connection;
}

QStringList VornSqliteConnections::leave(VornSqliteConnection& connection)
{
    QMutexLocker lock(&m_mutex);
    if (--connection.useDepth > 0)
        return QStringList();
    const QStringList errors = connection.takeErrors();
    if (--m_activeThreads == 0)
        m_changed.wakeAll();
    QThread* thread = QThread::currentThread();
    if (connection.mustBeReopened()) {
        connection.close();
        // The handles of one process share what they know of the file's side files: as long as one of them is open, the
        // others inherit what it could not open. An idle one opens again with its next statement.
        askOthers(thread, &VornSqliteConnections::closeIfIdle);
    }
    // A thread that is already ending never says again that it has ended.
    if (thread->isFinished())
        m_connections.erase(thread);
    return errors;
}

VornSqliteConnection& VornSqliteConnections::connectionOf(QThread* thread)
{
    std::unique_ptr<VornSqliteConnection>& connection = m_connections[thread];
    if (connection)
        return *connection;
    const QString name = m_registeredPrefix + QString::number(++m_threadCounter);
    connection = std::make_unique<VornSqliteConnection>(m_filePath, name, m_writers);
    // Mostly the user interface's: moving the log into the file, with its waiting for the disk, is left to others.
    if (thread == m_owner)
        connection->setCheckpointPages(kOwnerCheckpointPages);
    // Direct: the signal comes from the ending thread itself, the last moment it can close its handle.
    QObject::connect(
        thread, &QThread::finished, connection.get(),
        [weak = weak_from_this(), thread] {
            if (const auto self = weak.lock())
                self->onThreadFinished(thread);
        },
        Qt::DirectConnection);
    return *connection;
}

void VornSqliteConnections::onThreadFinished(QThread* thread)
{
    QMutexLocker lock(&m_mutex);
    m_connections.erase(thread);
    m_changed.wakeAll();
}

void VornSqliteConnections::closeIfIdle(QThread* thread)
{
    QMutexLocker lock(&m_mutex);
    const auto found = m_connections.find(thread);
    if (found != m_connections.end() && found->second->useDepth == 0)
        found->second->close();
}

// --- Closing on all threads -----------------------------------------------------------------------------

bool VornSqliteConnections::reset(VornSqliteConnection& own, const std::function<bool()>& remove,
                                  const std::function<void()>& prepare)
{
    QThread* self = QThread::currentThread();
    QMutexLocker lock(&m_mutex);
    // The caller is inside the gate. Two threads that reset at once take turns; the one that waits counts as
    // outside, and without a handle.
    --m_activeThreads;
    while (m_resetter) {
        own.close();
        m_changed.wakeAll();
        m_changed.wait(&m_mutex);
    }
    m_resetter = self;
    while (m_activeThreads > 0)
        m_changed.wait(&m_mutex);

    askOthers(self, &VornSqliteConnections::closeOnRequest);
    waitForOthersToClose(self);
    own.close();
    lock.unlock();
    const bool isRemoved = remove();
    const bool isOpen = own.open();
    // Its statements nest in the caller's stay inside the gate.
    if (isRemoved && isOpen && prepare)
        prepare();
    lock.relock();

    m_resetter = nullptr;
    ++m_activeThreads;
    m_changed.wakeAll();
    return isRemoved && isOpen;
}

// Queues the request on every other thread that has the file open.
void VornSqliteConnections::askOthers(QThread* self, void (VornSqliteConnections::*request)(QThread*))
{
    for (const auto& [thread, connection] : m_connections) {
        if (thread == self || !connection->isOpen())
            continue;
        QMetaObject::invokeMethod(
            connection.get(),
            [weak = weak_from_this(), request, closing = thread] {
                if (const auto shared = weak.lock())
                    ((*shared).*request)(closing);
            },
            Qt::QueuedConnection);
    }
}

void VornSqliteConnections::closeOnRequest(QThread* thread)
{
    QMutexLocker lock(&m_mutex);
    const auto found = m_connections.find(thread);
    // A late request: the reset went on without this thread.
    if ((!m_resetter && !m_isClosing) || found == m_connections.end() || found->second->useDepth > 0)
        return;
    found->second->close();
    m_changed.wakeAll();
}

void VornSqliteConnections::waitForOthersToClose(QThread* self)
{
    const auto isOthersOpen = [&] {
        for (const auto& [thread, connection] : m_connections) {
            if (thread != self && connection->isOpen())
                return true;
        }
        return false;
    };
    const QDeadlineTimer deadline(kCloseTimeoutMs);
    while (isOthersOpen() && m_changed.wait(&m_mutex, deadline)) {
    }
    // What is still open belongs to threads that hang elsewhere (on a share), outside the gate. Their handles
    // are closed from here: one left on the deleted file would, closed later, delete the "-wal" file of the
    // new one, which has its name.
    for (const auto& [thread, connection] : m_connections) {
        if (thread != self)
            connection->close();
    }
}

void VornSqliteConnections::closeAll()
{
    QThread* self = QThread::currentThread();
    QMutexLocker lock(&m_mutex);
    m_isClosing = true;
    while (m_activeThreads > 0)
        m_changed.wait(&m_mutex);
    askOthers(self, &VornSqliteConnections::closeOnRequest);
    waitForOthersToClose(self);
    for (auto& [thread, connection] : m_connections) {
        connection->unregister();
        // The object of another thread may be about to receive the request to close, or the thread's end.
        if (thread != self)
            connection.release()->deleteLater();
    }
    m_connections.clear();
}

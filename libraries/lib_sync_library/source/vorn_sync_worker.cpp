#include "vorn_sync_worker.h"

#include "vorn_planted_bugs.h"
#include "vorn_sync_log.h"

#include <QThread>
#include <QTimer>

namespace {

constexpr auto kTag = "Wrkr: ";

// Required: the pause before every task, which also lets a burst of arrivals settle first.
constexpr int kDispatchIntervalMs = 200;

// Nothing that escapes from a task may end the worker's thread.
bool runGuarded(VornSyncTask& task)
{
    try {
        return task.runtask();
    } catch (...) {
        return false;
    }
}

} // namespace

VornSyncWorker::VornSyncWorker(QObject* parent)
    : QObject(parent)
    , m_dispatchTimer(new QTimer(this))
{
    VornSyncTask::registerMetaType();
    m_dispatchTimer->setSingleShot(true);
    m_dispatchTimer->setInterval(kDispatchIntervalMs);
    connect(m_dispatchTimer, &QTimer::timeout, this, &VornSyncWorker::processNextCommand,
            Qt::QueuedConnection);
    VORN_SYNC_TRACE(kTag, "VornSyncWorker", QStringLiteral("created"));
}

void VornSyncWorker::onAddTask(pVornSyncTask task)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_queue.append(task);
    VORN_SYNC_TRACE(kTag, "onAddTask", QStringLiteral("queue size = %1").arg(m_queue.size()));
    runNext();
}

void VornSyncWorker::runNext()
{
    VORN_SYNC_TRACE(kTag, "runNext",
                    QStringLiteral("queue size = %1, processing = %2")
                        .arg(QString::number(m_queue.size()),
                             m_processing ? QStringLiteral("TRUE") : QStringLiteral("FALSE")));
    // Required: starting a running timer restarts its countdown, so arrivals close together delay the first.
    if (!m_processing)
        m_dispatchTimer->start();
}

void VornSyncWorker::processNextCommand()
{
    Q_ASSERT(QThread::currentThread() == thread());
    VORN_SYNC_TRACE(kTag, "processNextCommand", QStringLiteral("queue size = %1").arg(m_queue.size()));
    if (m_queue.isEmpty())
        return;

    m_processing = true;
    const pVornSyncTask task = m_queue.takeFirst();
    if (task) {
        const bool result = runGuarded(*task);
        emit taskDone(task, result);
    }
    m_processing = false;
    if (!VORN_PLANTED(workerForgetsTheRest))
        runNext();
}

#include "vorn_sync_thread.h"

#include <QMutexLocker>

VornSyncThread::VornSyncThread(const QString& name, QObject* parent)
    : QThread(parent)
{
    setObjectName(name);
    connect(this, &QThread::finished, this, &VornSyncThread::onFinished, Qt::DirectConnection);
}

VornSyncThread::~VornSyncThread()
{
    // The base waits too, but only after m_needed is gone; objects of the ending thread may still use it.
    wait();
}

bool VornSyncThread::stop(int timeoutMs)
{
    requestInterruption();
    quit();
    return wait(static_cast<unsigned long>(timeoutMs));
}

void VornSyncThread::letGo(std::shared_ptr<QObject> needed)
{
    m_needed = std::move(needed);
    setParent(nullptr);
    QMutexLocker lock(&m_mutex);
    m_isLetGo = true;
    if (m_hasFinished)
        deleteLater();
}

void VornSyncThread::onFinished()
{
    QMutexLocker lock(&m_mutex);
    m_hasFinished = true;
    if (m_isLetGo)
        deleteLater();
}

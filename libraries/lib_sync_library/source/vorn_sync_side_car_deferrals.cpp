#include "vorn_sync_side_car_deferrals.h"

#include <QTimer>

VornSyncSideCarDeferrals::VornSyncSideCarDeferrals(QObject* parent)
    : QObject(parent)
{
}

int VornSyncSideCarDeferrals::defer(const VornSyncFileKey& key)
{
    const int count = ++sideCarRetries[key];
    if (count > kMaximum) {
        sideCarRetries.remove(key);
        return 0;
    }
    auto* timer = new QTimer(this);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, this, [this, key] {
        stopTimer(key);
        emit due(key.first, key.second);
    });
    m_timers.insert(key, timer);
    timer->start(kDelayMs);
    return count;
}

void VornSyncSideCarDeferrals::forget(const VornSyncFileKey& key)
{
    sideCarRetries.remove(key);
    stopTimer(key);
}

void VornSyncSideCarDeferrals::clear(int directoryId)
{
    VornSyncTypes::eraseOfDirectory(sideCarRetries, directoryId);
    const QList<VornSyncFileKey> keys = m_timers.keys();
    for (const VornSyncFileKey& key : keys) {
        if (VornSyncTypes::isOfDirectory(key, directoryId))
            stopTimer(key);
    }
}

void VornSyncSideCarDeferrals::stopTimer(const VornSyncFileKey& key)
{
    QTimer* timer = m_timers.take(key);
    if (!timer)
        return;
    timer->stop();
    timer->deleteLater();
}

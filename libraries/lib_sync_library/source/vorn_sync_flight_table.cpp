#include "vorn_sync_flight_table.h"

#include "vorn_planted_bugs.h"

void VornSyncFlightTable::setStarting(const VornSyncFileKey& key, bool isStarting)
{
    QMutexLocker locker(&inFlightMutex);
    if (isStarting)
        m_starting.insert(key);
    else
        m_starting.remove(key);
}

void VornSyncFlightTable::begin(const VornSyncFileKey& key)
{
    QMutexLocker locker(&inFlightMutex);
    ++inFlightFiles[key];
    deferredDistantRemoves.remove(key);
}

bool VornSyncFlightTable::end(const VornSyncFileKey& key)
{
    QMutexLocker locker(&inFlightMutex);
    if (--inFlightFiles[key] > 0)
        return false;
    inFlightFiles.remove(key);
    return deferredDistantRemoves.remove(key);
}

bool VornSyncFlightTable::contains(const VornSyncFileKey& key) const
{
    QMutexLocker locker(&inFlightMutex);
    return inFlightFiles.contains(key) || m_starting.contains(key);
}

bool VornSyncFlightTable::deferDistantRemove(const VornSyncFileKey& key)
{
    QMutexLocker locker(&inFlightMutex);
    if (!inFlightFiles.contains(key))
        return false;
    if (!VORN_PLANTED(loseDeferredRemove))
        deferredDistantRemoves.insert(key);
    return true;
}

void VornSyncFlightTable::clearDeferred(int directoryId)
{
    QMutexLocker locker(&inFlightMutex);
    VornSyncTypes::eraseOfDirectory(deferredDistantRemoves, directoryId);
}

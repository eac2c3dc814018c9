#include "vorn_sync_observations.h"

void VornSyncObservations::beginCycle()
{
    m_isInCycle = true;
    m_observedThisCycle.clear();
}

void VornSyncObservations::endCycle()
{
    m_isInCycle = false;
    m_observedThisCycle.clear();
}

int VornSyncObservations::add(const VornSyncFileKey& key)
{
    if (m_isInCycle && m_observedThisCycle.contains(key))
        return distantMissingObservations.value(key);
    if (m_isInCycle)
        m_observedThisCycle.insert(key);
    return ++distantMissingObservations[key];
}

void VornSyncObservations::prune(int directoryId,
                                 const std::function<bool(const QString& fileName)>& isWanted)
{
    for (auto it = distantMissingObservations.begin(); it != distantMissingObservations.end();) {
        if (it.key().first == directoryId && !isWanted(it.key().second))
            it = distantMissingObservations.erase(it);
        else
            ++it;
    }
}

void VornSyncObservations::clear(int directoryId)
{
    VornSyncTypes::eraseOfDirectory(distantMissingObservations, directoryId);
    VornSyncTypes::eraseOfDirectory(m_observedThisCycle, directoryId);
}

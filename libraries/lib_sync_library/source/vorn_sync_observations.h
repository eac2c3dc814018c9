#pragma once

#include "vorn_sync_types.h"

#include <QHash>
#include <QSet>

#include <functional>

// How often in a row an up-to-date file was seen missing on the distant side. A first time may be a share
// that is only half there; the second is believed. Used on the synchronizer's thread only.
class VornSyncObservations
{
    Q_DISABLE_COPY_MOVE(VornSyncObservations)

public:
    static constexpr int kBelievedCount = 2;

    VornSyncObservations() = default;

    // Within a cycle, the pass and the verification see the same moment: together they count once.
    void beginCycle();
    void endCycle();

    // Counts one more observation and gives the number so far.
    int add(const VornSyncFileKey& key);
    bool isEmpty() const { return distantMissingObservations.isEmpty(); }
    bool contains(const VornSyncFileKey& key) const { return distantMissingObservations.contains(key); }
    void remove(const VornSyncFileKey& key) { distantMissingObservations.remove(key); }

    // Drops what was observed of files of the directory that are not worth observing any more.
    void prune(int directoryId, const std::function<bool(const QString& fileName)>& isWanted);
    // Everything of a directory that is gone; of all of them for a negative id.
    void clear(int directoryId);

private:
    QHash<VornSyncFileKey, int> distantMissingObservations;
    QSet<VornSyncFileKey> m_observedThisCycle;
    bool m_isInCycle = false;
};

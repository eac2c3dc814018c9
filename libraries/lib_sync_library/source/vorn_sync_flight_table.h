#pragma once

#include "vorn_sync_types.h"

#include <QHash>
#include <QMutex>
#include <QSet>

// The files whose tasks are under way, and what has to happen when they end. May be used from any thread: the
// host's thread asks while the synchronizer's thread dispatches and completes.
class VornSyncFlightTable
{
    Q_DISABLE_COPY_MOVE(VornSyncFlightTable)

public:
    VornSyncFlightTable() = default;

    // The file is about to get a task. It is said before the last look at the rename locks, so that of a start and a
    // rename that meet one sees the other.
    void setStarting(const VornSyncFileKey& key, bool isStarting);

    // A task of the file is dispatched. The file is wanted on the distant side again: an older wish to remove
    // it there is void.
    void begin(const VornSyncFileKey& key);
    // A task of the file has ended; true when its distant copy is to be removed now: another one that is still under way
    // would bring it back.
    bool end(const VornSyncFileKey& key);
    // A task of the file is under way, or about to be.
    bool contains(const VornSyncFileKey& key) const;

    // Remembers, while a task of the file is under way, that the distant copy is to be removed when it ends;
    // false when none is.
    bool deferDistantRemove(const VornSyncFileKey& key);
    // Forgets the deferred removes of a directory that is gone; of all of them for a negative id. The tasks
    // themselves are still under way.
    void clearDeferred(int directoryId);

private:
    QHash<VornSyncFileKey, int> inFlightFiles; // how many tasks of each file
    QSet<VornSyncFileKey> m_starting;
    QSet<VornSyncFileKey> deferredDistantRemoves;
    mutable QMutex inFlightMutex; // guards all three; taken by every method, never for longer
};

#pragma once

#include "vorn_sync_types.h"

#include <QQueue>
#include <QSet>

// The files that wait to be verified, each once. Used on the synchronizer's thread only.
class VornSyncVerifyQueue
{
    Q_DISABLE_COPY_MOVE(VornSyncVerifyQueue)

public:
    struct Entry
    {
        int directoryId = VornSyncTypes::kNoDirectoryId;
        QString fileName;
        qint64 size = 0; // bytes, as recorded when the file was queued
    };

    VornSyncVerifyQueue() = default;

    bool isEmpty() const { return verifyQueue.isEmpty(); }
    int size() const { return verifyQueue.size(); }

    // Appends the file unless it is queued already.
    void append(const Entry& entry);
    Entry takeFirst();
    // Everything of a directory that is gone; of all of them for a negative id.
    void clear(int directoryId);

private:
    QQueue<Entry> verifyQueue;
    QSet<VornSyncFileKey> verifyQueueIndex; // what is in the queue
};

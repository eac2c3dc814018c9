#include "vorn_sync_verify_queue.h"

#include <algorithm>

void VornSyncVerifyQueue::append(const Entry& entry)
{
    const VornSyncFileKey key(entry.directoryId, entry.fileName);
    if (entry.fileName.isEmpty() || verifyQueueIndex.contains(key))
        return;
    verifyQueueIndex.insert(key);
    verifyQueue.enqueue(entry);
}

VornSyncVerifyQueue::Entry VornSyncVerifyQueue::takeFirst()
{
    const Entry entry = verifyQueue.dequeue();
    verifyQueueIndex.remove({entry.directoryId, entry.fileName});
    return entry;
}

void VornSyncVerifyQueue::clear(int directoryId)
{
    const auto isGone = [directoryId](const Entry& entry) {
        return VornSyncTypes::isOfDirectory({entry.directoryId, entry.fileName}, directoryId);
    };
    verifyQueue.erase(std::remove_if(verifyQueue.begin(), verifyQueue.end(), isGone), verifyQueue.end());
    VornSyncTypes::eraseOfDirectory(verifyQueueIndex, directoryId);
}

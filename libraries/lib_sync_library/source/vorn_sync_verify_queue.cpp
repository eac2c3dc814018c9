#include "vorn_sync_verify_queue.h"

#include <algorithm>
#include <cstring>

namespace {

using Length = quint32;

} // namespace

void VornSyncVerifyQueue::append(int directoryId, const QString& fileName)
{
    if (fileName.isEmpty())
        return;
    if (verifyQueue.isEmpty() || verifyQueue.constLast().directoryId != directoryId) {
        verifyQueue.enqueue(Batch());
        verifyQueue.last().directoryId = directoryId;
    }
    Batch& batch = verifyQueue.last();
    const QByteArray bytes = fileName.toUtf8();
    const auto length = Length(bytes.size());
    batch.names.append(reinterpret_cast<const char*>(&length), sizeof(length));
    batch.names.append(bytes);
    ++batch.count;
    ++m_size;
}

void VornSyncVerifyQueue::squeeze()
{
    for (Batch& batch : verifyQueue)
        batch.names.squeeze();
}

VornSyncVerifyQueue::Entry VornSyncVerifyQueue::takeFirst()
{
    Batch& batch = verifyQueue.first();
    Length length = 0;
    std::memcpy(&length, batch.names.constData() + batch.position, sizeof(length));
    batch.position += int(sizeof(length));
    const Entry entry{batch.directoryId,
                      QString::fromUtf8(batch.names.constData() + batch.position, int(length))};
    batch.position += int(length);
    --m_size;
    if (--batch.count == 0)
        verifyQueue.dequeue();
    return entry;
}

void VornSyncVerifyQueue::clear(int directoryId)
{
    const auto isGone = [directoryId](const Batch& batch) {
        return directoryId < 0 || batch.directoryId == directoryId;
    };
    verifyQueue.erase(std::remove_if(verifyQueue.begin(), verifyQueue.end(), isGone), verifyQueue.end());
    m_size = 0;
    for (const Batch& batch : qAsConst(verifyQueue))
        m_size += batch.count;
}

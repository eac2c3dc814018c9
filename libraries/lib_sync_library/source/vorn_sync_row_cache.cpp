#include "vorn_sync_row_cache.h"

#include <numeric>

bool VornSyncRowCache::find(int directoryId, const VornSyncRowsStamp& stamp, VornSyncPackedParts& rows) const
{
    QMutexLocker lock(&m_mutex);
    const auto found = m_rows.constFind(directoryId);
    if (found == m_rows.cend() || !(stamp == m_stamp))
        return false;
    rows = found.value();
    return true;
}

void VornSyncRowCache::keep(int directoryId, const VornSyncRowsStamp& stamp, const VornSyncPackedParts& rows)
{
    QMutexLocker lock(&m_mutex);
    if (!(stamp == m_stamp)) {
        m_rows.clear();
        m_bytes = 0;
        m_stamp = stamp;
    }
    const qint64 bytes =
        std::accumulate(rows.cbegin(), rows.cend(), qint64(0),
                        [](qint64 sum, const VornSyncPackedRows& part) { return sum + part.byteCount(); });
    if (m_rows.contains(directoryId) || m_bytes + bytes > kMaximumBytes)
        return;
    m_rows.insert(directoryId, rows);
    m_bytes += bytes;
}

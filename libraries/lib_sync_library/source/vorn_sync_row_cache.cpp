#include "vorn_sync_row_cache.h"

bool VornSyncRowCache::find(int directoryId, const VornSyncRowsStamp& stamp, VornSyncPackedRows& rows) const
{
    QMutexLocker lock(&m_mutex);
    const auto found = m_rows.constFind(directoryId);
    if (found == m_rows.cend() || !(stamp == m_stamp))
        return false;
    rows = found.value();
    return true;
}

void VornSyncRowCache::keep(int directoryId, const VornSyncRowsStamp& stamp, const VornSyncPackedRows& rows)
{
    QMutexLocker lock(&m_mutex);
    if (!(stamp == m_stamp)) {
        m_rows.clear();
        m_bytes = 0;
        m_stamp = stamp;
    }
    if (m_rows.contains(directoryId) || m_bytes + rows.byteCount() > kMaximumBytes)
        return;
    m_rows.insert(directoryId, rows);
    m_bytes += rows.byteCount();
}

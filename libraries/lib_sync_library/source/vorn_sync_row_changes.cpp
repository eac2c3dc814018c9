#include "vorn_sync_row_changes.h"

#include "vorn_sync_types.h"

void VornSyncRowChanges::begin(int directoryId)
{
    QMutexLocker lock(&m_mutex);
    m_fileNames.clear();
    m_areAllChanged = false;
    m_isAnyChanged = false;
    m_directoryId = directoryId;
}

void VornSyncRowChanges::end()
{
    begin(VornSyncTypes::kNoDirectoryId);
}

void VornSyncRowChanges::note(int directoryId, const QString& fileName)
{
    ++m_writeCount;
    QMutexLocker lock(&m_mutex);
    if (directoryId != m_directoryId || directoryId == VornSyncTypes::kNoDirectoryId)
        return;
    m_fileNames.insert(fileName);
    m_isAnyChanged = true;
}

void VornSyncRowChanges::noteAll()
{
    ++m_writeCount;
    QMutexLocker lock(&m_mutex);
    if (m_directoryId == VornSyncTypes::kNoDirectoryId)
        return;
    m_fileNames.clear();
    m_areAllChanged = true;
    m_isAnyChanged = true;
}

bool VornSyncRowChanges::isChanged(int directoryId, const QString& fileName) const
{
    if (directoryId != m_directoryId)
        return true;
    if (!m_isAnyChanged)
        return false;
    QMutexLocker lock(&m_mutex);
    return m_areAllChanged || m_fileNames.contains(fileName);
}

#include "vorn_sync_rename_locks.h"

#include "vorn_planted_bugs.h"

bool VornSyncRenameLocks::lock(int directoryId, const QString& oldName, const QString& newName)
{
    QMutexLocker locker(&renameMutex);
    if (renameLocks.contains({directoryId, oldName}) || renameLocks.contains({directoryId, newName}))
        return false;
    renameLocks.insert({directoryId, oldName});
    renameLocks.insert({directoryId, newName});
    return true;
}

bool VornSyncRenameLocks::isLocked(int directoryId, const QString& fileName) const
{
    QMutexLocker locker(&renameMutex);
    return renameLocks.contains({directoryId, fileName}) && !VORN_PLANTED(ignoreRenameLock);
}

QSet<QString> VornSyncRenameLocks::lockedNames(int directoryId) const
{
    QSet<QString> names;
    QMutexLocker locker(&renameMutex);
    for (const VornSyncFileKey& key : renameLocks) {
        if (key.first == directoryId && !VORN_PLANTED(ignoreRenameLock))
            names.insert(key.second);
    }
    return names;
}

bool VornSyncRenameLocks::commit(int directoryId, const QString& oldName, const QString& newName)
{
    QMutexLocker locker(&renameMutex);
    if (!renameLocks.contains({directoryId, oldName}))
        return false;
    pendingRenames.insert({directoryId, oldName}, newName);
    return true;
}

QString VornSyncRenameLocks::committedName(int directoryId, const QString& oldName) const
{
    QMutexLocker locker(&renameMutex);
    return pendingRenames.value({directoryId, oldName});
}

bool VornSyncRenameLocks::release(int directoryId, const QString& oldName, const QString& newName)
{
    QMutexLocker locker(&renameMutex);
    pendingRenames.remove({directoryId, oldName});
    if (VORN_PLANTED(keepRenameLock))
        return true;
    const bool wasOldLocked = renameLocks.remove({directoryId, oldName});
    const bool wasNewLocked = renameLocks.remove({directoryId, newName});
    return wasOldLocked || wasNewLocked;
}

void VornSyncRenameLocks::clear(int directoryId)
{
    QMutexLocker locker(&renameMutex);
    VornSyncTypes::eraseOfDirectory(renameLocks, directoryId);
    VornSyncTypes::eraseOfDirectory(pendingRenames, directoryId);
}

void VornSyncRenameLocks::startOver(int resetCount)
{
    QMutexLocker locker(&renameMutex);
    if (resetCount == m_resetCount)
        return;
    m_resetCount = resetCount;
    renameLocks.clear();
    pendingRenames.clear();
}

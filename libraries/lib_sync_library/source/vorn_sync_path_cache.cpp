#include "vorn_sync_path_cache.h"

QString VornSyncPathCache::localDir(int directoryId)
{
    return path(localPathCache, directoryId, VornSyncDatabase::LocalPath);
}

QString VornSyncPathCache::distantDir(int directoryId)
{
    return path(distantPathCache, directoryId, VornSyncDatabase::DistantPath);
}

QString VornSyncPathCache::trashDir(int directoryId)
{
    return path(trashPathCache, directoryId, VornSyncDatabase::TrashPath);
}

QString VornSyncPathCache::path(Paths& paths, int directoryId, VornSyncDatabase::DirectoryField field)
{
    VornSyncDatabase* source = database.loadAcquire();
    if (!source)
        return QString();
    const int version = source->directoriesVersion();
    {
        QMutexLocker locker(&pathCacheMutex);
        if (version != m_version)
            clear();
        m_version = version;
        const auto it = paths.constFind(directoryId);
        if (it != paths.constEnd())
            return it.value();
    }
    bool succeeded = false;
    const QString read = source->getDirectoryField(directoryId, field, &succeeded);
    if (!succeeded)
        return QString();
    QMutexLocker locker(&pathCacheMutex);
    if (version == m_version)
        paths.insert(directoryId, read);
    return read;
}

void VornSyncPathCache::invalidate(int directoryId)
{
    QMutexLocker locker(&pathCacheMutex);
    if (directoryId < 0) {
        clear();
        return;
    }
    for (Paths* paths : {&localPathCache, &distantPathCache, &trashPathCache})
        paths->remove(directoryId);
}

void VornSyncPathCache::clear()
{
    for (Paths* paths : {&localPathCache, &distantPathCache, &trashPathCache})
        paths->clear();
}

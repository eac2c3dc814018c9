#include "vorn_sync_path_cache.h"

QString VornSyncPathCache::path(Kind kind, int directoryId, int version, const Read& read)
{
    {
        QMutexLocker locker(&pathCacheMutex);
        if (version != m_version)
            clear();
        m_version = version;
        const QHash<int, QString>& paths = cache(kind);
        const auto it = paths.constFind(directoryId);
        if (it != paths.constEnd())
            return it.value();
    }
    const std::optional<QString> path = read();
    if (!path)
        return QString();
    QMutexLocker locker(&pathCacheMutex);
    if (version == m_version)
        cache(kind).insert(directoryId, *path);
    return *path;
}

void VornSyncPathCache::invalidate(int directoryId)
{
    QMutexLocker locker(&pathCacheMutex);
    if (directoryId < 0) {
        clear();
        return;
    }
    for (Kind kind : {Kind::Local, Kind::Distant, Kind::Trash})
        cache(kind).remove(directoryId);
}

void VornSyncPathCache::clear()
{
    for (Kind kind : {Kind::Local, Kind::Distant, Kind::Trash})
        cache(kind).clear();
}

QHash<int, QString>& VornSyncPathCache::cache(Kind kind)
{
    switch (kind) {
    case Kind::Local:
        return localPathCache;
    case Kind::Distant:
        return distantPathCache;
    case Kind::Trash:
        break;
    }
    return trashPathCache;
}

#include "vorn_sync_path_cache.h"

QString VornSyncPathCache::path(Kind kind, int directoryId, const std::function<QString()>& read)
{
    {
        QMutexLocker locker(&pathCacheMutex);
        const QHash<int, QString>& paths = cache(kind);
        const auto it = paths.constFind(directoryId);
        if (it != paths.constEnd())
            return it.value();
    }
    const QString path = read();
    QMutexLocker locker(&pathCacheMutex);
    cache(kind).insert(directoryId, path);
    return path;
}

void VornSyncPathCache::invalidate(int directoryId)
{
    QMutexLocker locker(&pathCacheMutex);
    for (Kind kind : {Kind::Local, Kind::Distant, Kind::Trash}) {
        if (directoryId < 0)
            cache(kind).clear();
        else
            cache(kind).remove(directoryId);
    }
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

#pragma once

#include <QHash>
#include <QMutex>
#include <QString>

#include <functional>

// The three paths of each directory, kept so that a pass does not ask the database for them file by file. May
// be used from any thread; the lock is never held while the database is asked.
class VornSyncPathCache
{
    Q_DISABLE_COPY_MOVE(VornSyncPathCache)

public:
    enum class Kind { Local, Distant, Trash };

    VornSyncPathCache() = default;

    // The cached path, or what `read` gives, which is then kept (an empty path too).
    QString path(Kind kind, int directoryId, const std::function<QString()>& read);
    // Forgets one directory; all of them for a negative id.
    void invalidate(int directoryId);

private:
    QHash<int, QString>& cache(Kind kind);

    QHash<int, QString> localPathCache;
    QHash<int, QString> distantPathCache;
    QHash<int, QString> trashPathCache;
    QMutex pathCacheMutex; // guards the three caches
};

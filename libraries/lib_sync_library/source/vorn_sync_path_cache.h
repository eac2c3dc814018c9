#pragma once

#include <QHash>
#include <QMutex>
#include <QString>

#include <functional>
#include <optional>

// The three paths of each directory, kept so that a pass does not ask the database for them file by file. May
// be used from any thread; the lock is never held while the database is asked.
class VornSyncPathCache
{
    Q_DISABLE_COPY_MOVE(VornSyncPathCache)

public:
    enum class Kind { Local, Distant, Trash };

    VornSyncPathCache() = default;

    // What is known of a path: none when it could not be read.
    using Read = std::function<std::optional<QString>()>;

    // The cached path, or what `read` gives, which is then kept (an empty path too, but not a failure).
    // Paths that were kept under another `version` are forgotten first.
    QString path(Kind kind, int directoryId, int version, const Read& read);
    // Forgets one directory; all of them for a negative id.
    void invalidate(int directoryId);

private:
    QHash<int, QString>& cache(Kind kind);
    void clear();

    QHash<int, QString> localPathCache;
    QHash<int, QString> distantPathCache;
    QHash<int, QString> trashPathCache;
    int m_version = 0;
    QMutex pathCacheMutex; // guards all of these
};

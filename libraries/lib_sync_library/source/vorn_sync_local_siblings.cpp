#include "vorn_sync_local_siblings.h"

#include "vorn_sync_files.h"

#include <QHash>
#include <QMutex>

namespace {

struct Siblings
{
    QMutex mutex;                // guards what follows; never held while the disk is asked
    QHash<QString, bool> isDone; // of every path since the process began: they are few
};

Siblings& siblings()
{
    static Siblings result;
    return result;
}

} // namespace

VornSyncLocalSiblings::VornSyncLocalSiblings(const QString& path)
    : m_path(path)
{
    QMutexLocker locker(&siblings().mutex);
    siblings().isDone.insert(m_path, false);
}

VornSyncLocalSiblings::~VornSyncLocalSiblings()
{
    QMutexLocker locker(&siblings().mutex);
    siblings().isDone.insert(m_path, true);
}

bool VornSyncLocalSiblings::contains(const QString& path)
{
    {
        QMutexLocker locker(&siblings().mutex);
        const auto found = siblings().isDone.constFind(path);
        if (found == siblings().isDone.constEnd() || !*found)
            return found != siblings().isDone.constEnd();
    }
    return VornSyncFiles::facts(path).presence == VornSyncPresence::Absent;
}

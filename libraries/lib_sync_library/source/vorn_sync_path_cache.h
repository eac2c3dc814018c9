#pragma once

#include "vorn_sync_database.h"

#include <QAtomicPointer>
#include <QHash>
#include <QMutex>
#include <QString>

// The three paths of each directory, kept so that a pass does not ask the database for them file by file. May
// be used from any thread; the lock is never held while the database is asked.
class VornSyncPathCache
{
    Q_DISABLE_COPY_MOVE(VornSyncPathCache)

public:
    VornSyncPathCache() = default;

    // Not owned; nothing is known before it is set.
    void setDatabase(VornSyncDatabase* newDatabase) { database.storeRelease(newDatabase); }

    // Empty for a directory that is not registered, and for one that can't be read: only the first is kept.
    // Paths from before a change to any directory are forgotten first.
    QString localDir(int directoryId);
    QString distantDir(int directoryId);
    QString trashDir(int directoryId);

    // Forgets one directory; all of them for a negative id.
    void invalidate(int directoryId);

private:
    using Paths = QHash<int, QString>;

    QString path(Paths& paths, int directoryId, VornSyncDatabase::DirectoryField field);
    void clear();

    QAtomicPointer<VornSyncDatabase> database;
    Paths localPathCache;
    Paths distantPathCache;
    Paths trashPathCache;
    int m_version = 0;     // of the directories, when the paths were read
    QMutex pathCacheMutex; // guards the paths and their version
};

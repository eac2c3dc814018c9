#pragma once

#include "vorn_sync_types.h"

#include <QMap>
#include <QMutex>
#include <QSet>

// The names that renames under way have taken. May be used from any thread: the host's thread locks and
// releases while the synchronizer's thread asks.
class VornSyncRenameLocks
{
    Q_DISABLE_COPY_MOVE(VornSyncRenameLocks)

public:
    VornSyncRenameLocks() = default;

    // Locks both names; false, and nothing locked, when either is taken.
    bool lock(int directoryId, const QString& oldName, const QString& newName);
    bool isLocked(int directoryId, const QString& fileName) const;
    QSet<QString> lockedNames(int directoryId) const;

    // Remembers what a locked name is to become; false when it is not locked.
    bool commit(int directoryId, const QString& oldName, const QString& newName);
    // The committed new name; empty when there is none.
    QString committedName(int directoryId, const QString& oldName) const;

    // Frees both names and forgets the commitment; true when at least one was locked.
    bool release(int directoryId, const QString& oldName, const QString& newName);
    // Everything of a directory that is gone.
    void clear(int directoryId);
    // Everything from before the database was reset for the last time, once: what the host has locked since is
    // about the new directories, whoever learns of the reset first.
    void startOver(int resetCount);

private:
    QSet<VornSyncFileKey> renameLocks;
    QMap<VornSyncFileKey, QString> pendingRenames; // committed: old name to new name
    int m_resetCount = 0;                          // of the database, when all was forgotten
    mutable QMutex renameMutex; // guards all of them; taken by every method, never for longer
};

#pragma once

#include "vorn_sync_types.h"

class VornSyncDatabase;
class VornSyncFlightTable;
class VornSyncPathCache;
class VornSyncRenameLocks;

// A file on its way from a status at rest into a pending one: whether it may go, and its row's step. Used on the
// synchronizer's thread; lives for one start.
class VornSyncFileStart
{
    Q_DISABLE_COPY_MOVE(VornSyncFileStart)

public:
    VornSyncFileStart(VornSyncDatabase& database, VornSyncPathCache& paths,
                      const VornSyncRenameLocks& renames, VornSyncFlightTable& flights,
                      const VornSyncFileKey& key, SyncFileStatus targetStatus);

    // Looks at the row and at the local file, and changes nothing. False when the file can't be started now.
    bool isPossible();
    // After isPossible(): gives the row its status, which must still be the one that was seen. True when the file may
    // get its task; it counts as starting until that is dispatched.
    bool mark();

    // Why it is not possible, where the user is to be told.
    const QString& error() const { return m_error; }
    // The local file is surely gone.
    bool isLocalGone() const { return m_isLocalGone; }
    // ... and nobody has said so: its row is to be put in error.
    bool isLossNew() const { return m_isLocalGone && !m_error.isEmpty(); }
    // The row's status as isPossible() saw it.
    int status() const { return m_status; }

private:
    bool isLocalReady();
    void refuseAbsent();
    void restoreRow(int errorCode);
    bool isRenameLocked() const;
    void traceSkip(const QString& reason) const;

    VornSyncDatabase& m_database;
    VornSyncPathCache& m_paths;
    const VornSyncRenameLocks& m_renames;
    VornSyncFlightTable& m_flights;
    const int m_directoryId;
    const QString m_fileName;
    const SyncFileStatus m_targetStatus;
    int m_status = ceSfsUnknown;
    bool m_hadRow = false;
    bool m_isLocalGone = false;
    QString m_error;
};

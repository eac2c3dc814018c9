#pragma once

#include "vorn_sync_files.h"
#include "vorn_sync_task.h"

#include <QString>

class VornSyncDatabase;
class VornSyncRenameLocks;

// What a finished task means for the database. Used on the synchronizer's thread; lives for one completion.
class VornSyncTaskResults
{
    Q_DISABLE_COPY_MOVE(VornSyncTaskResults)

public:
    VornSyncTaskResults(VornSyncDatabase& database, VornSyncRenameLocks& renames, const VornSyncTask& task);

    // The directory the task worked in, or -1.
    int directoryId() const { return m_directoryId; }

    // Records what the operation has done; false when the database did not take it.
    bool recordSuccess();
    // Puts the file in error for what the last run said; a rename gives its names back.
    void recordFailure();

    // A rename gives its names back, also where its directory is not found any more.
    void releaseRename();

    // Gives the file's row its new name.
    static bool renameRow(VornSyncDatabase& database, int directoryId, const QString& oldName,
                          const QString& newName, const VornSyncFileFacts& newLocal);

    // Runs of the task, or messages it has added, whichever are more: a run that fails without a message
    // counts too, or it would be run for ever.
    static int attempts(const VornSyncTask& task);
    // The local file is not the one that the task has sent.
    static bool isLocalDifferentFromSent(const VornSyncTask& task);

private:
    int findDirectory() const;
    bool recordCopy();
    bool recordRename();

    VornSyncDatabase& m_database;
    VornSyncRenameLocks& m_renames;
    const VornSyncTask& m_task;
    const QString m_fileName;
    const int m_directoryId;
};

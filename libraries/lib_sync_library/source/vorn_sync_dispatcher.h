#pragma once

#include "vorn_sync_flight_table.h"
#include "vorn_sync_task.h"
#include "vorn_sync_types.h"

#include <QList>
#include <QObject>
#include <QSet>

class VornSyncDatabase;
class VornSyncFileStart;
class VornSyncObservations;
class VornSyncPathCache;
class VornSyncRenameLocks;

// Brings files into tasks, and the tasks to their end: begun, tried again, recorded, and followed by what was asked for
// while they were under way. Lives on the synchronizer's thread; isFileInFlight may be called from any thread.
class VornSyncDispatcher : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncDispatcher)

public:
    VornSyncDispatcher(VornSyncPathCache& paths, VornSyncRenameLocks& renames,
                       VornSyncObservations& observations, QObject* parent);
    ~VornSyncDispatcher() override;

    // Not owned; to be set before anything is started.
    void setDatabase(VornSyncDatabase* database) { m_database = database; }

    // --- Begin ---

    // True when the row has its pending status, and doTask() is to follow.
    bool startProcessing(int directoryId, const QString& fileName, SyncFileStatus targetStatus,
                         bool& localPresent);
    // Both at once, for a copy to the distant side.
    bool startCopy(int directoryId, const QString& fileName);
    bool doTask(const QString& sourceDir, const QString& destinationDir, const QString& fileName,
                int directoryId, SyncOperation operation);
    // Hands over a task whose row needs no step of its own (a rename).
    void dispatch(const pVornSyncTask& task, int directoryId, const QString& fileName);

    // --- Under way ---

    bool isFileInFlight(int directoryId, const QString& fileName) const;
    int tasksInFlight() const { return inFlightCount; }
    // Whether a task has ended since this was asked last.
    bool takeHasTaskEnded();
    // A change that the host has told of: the file is sent again when what has it now is over.
    void announce(const VornSyncFileKey& key) { changedInFlight.insert(key); }
    // False when no task has the file: then the distant copy can be removed now.
    bool deferDistantRemove(const VornSyncFileKey& key) { return flights.deferDistantRemove(key); }

    // --- End ---

    void endTask(const pVornSyncTask& task, bool doneOk);
    // Sends what the host announced, or what was seen to change, while a task or a rename had the file.
    void resendAnnounced(const QList<VornSyncFileKey>& keys);

    // Everything but the tasks themselves of a directory that is gone; of all of them for a negative id.
    void clear(int directoryId);

signals:
    void sigRunTask(pVornSyncTask task);
    void syncStarted(const QString& filePath);
    void syncCompleted(const QString& filePath, bool succeeded);
    void taskErrorOccurred(const QString& message); // said by a task
    void failed(const QString& message);            // said here
    void errorStateChanged();
    void copyWanted(int directoryId, const QString& fileName);

private:
    bool isPossible(VornSyncFileStart& start, const VornSyncFileKey& key);
    bool createTask(const QString& sourceDir, const QString& destinationDir, const QString& fileName,
                    int directoryId, SyncOperation operation);
    void traceOperation(const QString& source, const QString& destination, SyncOperation operation);
    void putInError(const VornSyncFileKey& key, SyncErrorCode code);
    void putInErrorIf(const VornSyncFileKey& key, int status, SyncErrorCode code);

    bool isOver(const pVornSyncTask& task, bool doneOk);
    void retryTask(const pVornSyncTask& task);
    void completeTask(const VornSyncTask& task, bool outcome);
    void followUp(const VornSyncTask& task, bool outcome, bool isRemoveDeferred);
    void replayDistantRemove(const VornSyncFileKey& key);

    VornSyncDatabase* m_database = nullptr;
    VornSyncPathCache& m_paths;
    VornSyncRenameLocks& m_renames;
    VornSyncObservations& m_observations;

    QSet<pVornSyncTask> dispatchedTasks; // kept alive until they are over
    VornSyncFlightTable flights;
    QSet<VornSyncFileKey> changedInFlight; // announced while a task was under way: sent again when it ends
    int inFlightCount = 0;
    bool m_hasTaskEnded = false;
};

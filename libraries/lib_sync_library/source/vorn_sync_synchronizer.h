#pragma once

#include "vorn_sync_exclusions.h"
#include "vorn_sync_file_decision.h"
#include "vorn_sync_flight_table.h"
#include "vorn_sync_observations.h"
#include "vorn_sync_path_cache.h"
#include "vorn_sync_rename_locks.h"
#include "vorn_sync_side_car_deferrals.h"
#include "vorn_sync_task.h"
#include "vorn_sync_types.h"
#include "vorn_sync_verify_queue.h"
#include "vorn_sync_verify_rounds.h"

#include <QAtomicPointer>
#include <QObject>
#include <QSet>
#include <QStringList>

class VornSyncPass;

// The engine: compares what the database tracks with both directories, decides, dispatches tasks and records
// how they end. Lives on the thread "SyncSynchronizerThread"; it knows neither the worker nor the manager.
// isFileInFlight, lockRename, commitRename, abortRename and invalidateDirPathCache may be called from any
// thread.
class VornSyncSynchronizer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncSynchronizer)

public:
    VornSyncSynchronizer(const QString& trashPath, int syncIntervalMs, const QStringList& exclusionPatterns,
                         QObject* parent = nullptr);
    ~VornSyncSynchronizer() override;

    bool isRenameLocked(int directoryId, const QString& fileName) const;

    // The directory's paths through the caches; empty for an unknown directory.
    QString localDirPath(int directoryId);
    QString distantDirPath(int directoryId);
    QString trashDirPath(int directoryId);

    bool matchesExclusionPattern(const QString& fileName) const;
    // True while a sibling whose name begins with the file's and matches a pattern exists ("data.db-wal").
    bool hasActiveSideCar(const QString& localFilePath) const;

    void sweepExcludedRowsFromDatabase();
    bool startProcessing(int directoryId, const QString& fileName, SyncFileStatus targetStatus,
                         bool& localPresent);
    bool copyToDistant(int directoryId, const QString& fileName);
    bool doTask(const QString& sourceDir, const QString& destinationDir, const QString& fileName,
                int directoryId, SyncOperation operation);

    void verifyUpToDateFilesBudgeted();
    void verifyOneUpToDateFile(int directoryId, const QString& fileName, qint64 dbSize);
    void purgeExpiredTrash();

    bool moveFileToTrash(int directoryId, const QString& fileName);
    bool restoreFromTrash(int directoryId, const QString& fileName);
    // True when the trash surely holds no such file any more.
    bool removeFromTrash(int directoryId, const QString& fileName);
    void removeFromLocalTrashIfExists(int directoryId, const QString& fileName);

    void emitError(const QString& message);

signals:
    void sigRunTask(pVornSyncTask task);
    void syncStarted(const QString& filePath);
    void syncCompleted(const QString& filePath, bool succeeded);
    void errorOccurred(const QString& message);
    void errorStateChanged();

public slots:
    void initialize(VornSyncDatabase* database);
    void synchronizeDirectory(int directoryId);
    void periodicSynchronization();
    void resolveFilesError(int directoryId);
    void resolveFileError(int directoryId, const QString& fileName, int rawStatus);
    void confirmFileDeletion(int directoryId, const QString& fileName);
    void onTaskDone(pVornSyncTask task, bool doneOk);
    bool lockRename(int directoryId, const QString& oldFileName, const QString& newFileName);
    bool commitRename(int directoryId, const QString& oldFileName, const QString& newFileName);
    void abortRename(int directoryId, const QString& oldFileName, const QString& newFileName);
    bool notifyLocalFileChanged(int directoryId, const QString& fileName);
    bool notifyLocalFileDeleted(int directoryId, const QString& fileName);
    bool moveToTrashFile(int directoryId, const QString& fileName);
    // Required: a slot, although it only answers.
    bool isFileInFlight(int directoryId, const QString& fileName) const; // clazy:exclude=const-signal-or-slot
    void invalidateDirPathCache(int directoryId = VornSyncTypes::kNoDirectoryId);

private:
    friend struct VornSyncSynchronizerTestAccess;

    VornSyncDatabase* db() const;
    bool hasDatabase();
    bool isUsableFileName(int directoryId, const QString& fileName);
    QString cachedPath(VornSyncPathCache::Kind kind, int directoryId, VornSyncDatabase::DirectoryField field);
    void clearTables(int directoryId);

    void runPass(VornSyncPass& pass);
    bool passTracked(VornSyncPass& pass); // false: given up before the last file; so is passLocal
    void actOnTracked(int id, const VornSyncPassFile& file, VornSyncVerdict verdict);
    void observeInPass(int directoryId, const QString& fileName);
    void examine(int directoryId, const QString& fileName);
    bool passLocal(VornSyncPass& pass);
    void actOnLocal(int directoryId, const VornSyncPassFile& file, VornSyncVerdict verdict);

    void resurrect(int directoryId, const VornSyncPassFile& file);

    void runCycle();
    void refillVerifyQueue(const QList<int>& directoryIds, qint64 budgetMs);
    void verifyNext(const QSet<int>& availableIds, int& verified, int& diverged);
    // True when the file need not be looked at again: it was verified, or it is none to be verified any more.
    bool verifyEntry(const VornSyncVerifyQueue::Entry& entry, int& verified, int& diverged);
    bool verifyFile(int directoryId, const QString& fileName, qint64 dbSize);
    void noteRound(const VornSyncVerifyRounds::Ended& ended);

    // A file on its way into a task: the row as the decision saw it, and the status it is to have.
    struct Start
    {
        int directoryId;
        QString fileName;
        SyncFileStatus targetStatus;
        int status = ceSfsUnknown;
        bool hadRow = false;
    };
    bool isStartable(Start& start, bool& localPresent);
    bool markStarted(const Start& start);
    bool startCopy(int directoryId, const QString& fileName);
    void traceOperation(const QString& source, const QString& destination, SyncOperation operation);
    bool isLocalReady(int directoryId, const QString& fileName, int status, SyncFileStatus targetStatus,
                      bool& localPresent);
    bool createTask(const QString& sourceDir, const QString& destinationDir, const QString& fileName,
                    int directoryId, SyncOperation operation);
    void restoreStatus(int directoryId, const QString& fileName, bool hadRow, int status, int errorCode);
    bool deferForSideCar(const VornSyncFileKey& key);
    void onSideCarDue(int directoryId, const QString& fileName);
    void dispatch(const pVornSyncTask& task, int directoryId, const QString& fileName);
    bool putInError(int directoryId, const QString& fileName, SyncErrorCode code);
    bool putInErrorIf(int directoryId, const QString& fileName, int status, SyncErrorCode code);

    bool endTask(const pVornSyncTask& task, bool doneOk);
    void retryTask(const pVornSyncTask& task);
    void completeTask(const VornSyncTask& task, bool outcome);
    void resendAnnounced(const QList<VornSyncFileKey>& keys);
    void replayDistantRemove(const VornSyncFileKey& key);

    bool removeDistantCopy(int directoryId, const QString& fileName);

    const QString trashPath;
    QAtomicPointer<VornSyncDatabase> database; // not owned; set once, read by the host's thread too
    const int syncIntervalMs;
    bool cycleRunning = false;
    int inFlightCount = 0;
    bool hasTaskEnded = false; // since a cycle was left out last

    QSet<pVornSyncTask> dispatchedTasks; // kept alive until they are over
    VornSyncFlightTable flights;
    QSet<VornSyncFileKey> changedInFlight; // notified while a copy was under way: sent again when it ends
    VornSyncRenameLocks renames;

    qint64 cycleNumber = 0;
    VornSyncVerifyQueue verifyQueue;
    VornSyncVerifyRounds verifyRounds;
    VornSyncObservations observations;
    const VornSyncExclusions exclusions;
    VornSyncSideCarDeferrals sideCars;
    VornSyncPass* currentPass = nullptr; // set while synchronizeDirectory runs
    VornSyncPathCache pathCache;
};

#pragma once

#include "vorn_sync_dispatcher.h"
#include "vorn_sync_exclusions.h"
#include "vorn_sync_file_decision.h"
#include "vorn_sync_observations.h"
#include "vorn_sync_path_cache.h"
#include "vorn_sync_rename_locks.h"
#include "vorn_sync_side_car_deferrals.h"
#include "vorn_sync_task.h"
#include "vorn_sync_trash.h"
#include "vorn_sync_types.h"
#include "vorn_sync_verifier.h"

#include <QAtomicPointer>
#include <QObject>
#include <QStringList>

class VornSyncPass;

// The engine: compares what the database tracks with both directories, decides, and has done what was decided: by the
// dispatcher, the verifier and the trash, whose signals are its own. Lives on the thread "SyncSynchronizerThread"; it
// knows neither the worker nor the manager. isFileInFlight, lockRename, abortRename and invalidateDirPathCache may be
// called from any thread.
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
    bool isSurelyGone(int directoryId);
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

    bool deferForSideCar(const VornSyncFileKey& key);
    void onSideCarDue(int directoryId, const QString& fileName);
    void putInErrorIf(int directoryId, const QString& fileName, int status, SyncErrorCode code);
    bool removeDistantCopy(int directoryId, const QString& fileName);

    const QString trashPath;
    QAtomicPointer<VornSyncDatabase> database; // not owned; set once, read by the host's thread too
    const int syncIntervalMs;
    bool cycleRunning = false;
    qint64 cycleNumber = 0;
    VornSyncPass* currentPass = nullptr; // set while synchronizeDirectory runs
    int m_resetCount = 0;                // of the database, when the tables were cleared for the last time

    VornSyncPathCache pathCache;
    VornSyncRenameLocks renames;
    VornSyncObservations observations;
    const VornSyncExclusions exclusions;
    VornSyncSideCarDeferrals sideCars;
    // They use the ones above, and go before them.
    VornSyncTrash trash;
    VornSyncVerifier verifier;
    VornSyncDispatcher dispatcher;
};

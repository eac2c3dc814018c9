#pragma once

#include "vorn_sync_database.h"
#include "vorn_sync_error_list.h"
#include "vorn_sync_file_ready.h"
#include "vorn_sync_mailbox.h"
#include "vorn_sync_observer.h"
#include "vorn_sync_synchronizer.h"
#include "vorn_sync_task.h"
#include "vorn_sync_thread.h"
#include "vorn_sync_types.h"
#include "vorn_sync_worker.h"

#include <QElapsedTimer>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QVariantList>

#include <memory>

class QTimer;
class VornSyncManager;

// The orchestrator behind VornSyncManager: owns the database and the three threads, wires what lives on them,
// turns the host's calls into database steps and queued requests. Lives on the host's thread; every member is
// called there.
class VornSyncManagerPrivate : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncManagerPrivate)

public:
    VornSyncManagerPrivate(const QString& databasePath, const QString& trashRootPath, int syncIntervalMs,
                           const QStringList& exclusionPatterns, VornSyncManager* publicObject);
    ~VornSyncManagerPrivate() override;

    bool addDirectory(const QString& aliasName, const QString& localPath, const QString& distantPath);
    bool removeDirectory(const QString& aliasName);
    void resumeDirectorySync(const QString& aliasName);
    void suspendDirectorySync(const QString& aliasName);
    void pauseAll();
    void resumeAll();
    bool isPausedAll() const { return m_isPausedAll; }
    bool isAliasDirectorySynchronised(const QString& aliasName) const;
    bool isLocalDirectorySynchronised(const QString& localPath) const;
    QString getLocalDirSynchronizedAlias(const QString& localPath) const;

    bool isIdle() const;
    int inProgressCount() const { return m_activeSyncCount; }
    int pendingCount() const { return m_pendingCount; }
    int errorCount() const { return m_errorCount; }
    int doneCount() const { return m_doneCount; }
    QVariantList recentEvents() const { return m_recentEvents; }
    QVariantList errorFiles() const { return m_errorList.files(); }

    void requestFileReady(const QString& filePath);

    void retrySync(const QString& aliasName, const QString& fileName);
    void retryAllErrors();
    void acknowledgeAllMissing();
    void deleteAllDistantMissing();
    void moveToTrashFile(const QString& aliasName, const QString& fileName);
    bool lockForRename(const QString& aliasName, const QString& oldFileName, const QString& newFileName);
    void commitRename(const QString& aliasName, const QString& oldFileName, const QString& newFileName);
    void abortRename(const QString& aliasName, const QString& oldFileName, const QString& newFileName);
    void notifyLocalFileChanged(const QString& aliasName, const QString& fileName);
    void notifyLocalFileDeleted(const QString& aliasName, const QString& fileName);
    void tombstoneLocalFile(const QString& aliasName, const QString& fileName);
    void requestSync();
    bool resetSyncDatabase(int timeoutMs);
    bool wipeSyncDatabaseFile();

    void emitError(const QString& message);

signals:
    void sigAddTask(pVornSyncTask task);

private slots:
    void onDbError(const QString& message);
    void startDirectorySync();
    void onObserverErrorOccurred(const QString& message);
    void onSynchronizerSyncStarted(const QString& filePath);
    void onSynchronizerSyncCompleted(const QString& filePath, bool succeeded);
    void onSynchronizerErrorOccurred(const QString& message);
    void refreshDatabaseCounters();
    void onFileReadyTaskDone(pVornSyncTask task, bool success);
    void onFileReadyTimeout();

private:
    friend struct VornSyncManagerTestAccess;

    struct FileReadyRequest
    {
        QString filePath; // as the host gave it
        QElapsedTimer age;
    };
    using FileAction = void (VornSyncManagerPrivate::*)(const QString& aliasName, const QString& fileName);

    void createTimers();
    void openDatabase(const QString& databasePath);
    void createWorker();
    void createSynchronizer(int syncIntervalMs, const QStringList& exclusionPatterns);
    void connectSynchronizer();
    void onSynchronizerErrorStateChanged(int times);
    void createObserver(int syncIntervalMs);
    void cleanUpPreviousRun();
    void startThreads();
    void stopThread(VornSyncThread* thread, const QString& failure);

    QString trashDirectory(const QString& aliasName) const;
    bool checkDirectories(const QString& aliasName, const QString& localPath, const QString& distantPath);
    bool makeTrashDirectory(const QString& aliasName);
    void takeOffPendingStarts(const QString& aliasName);
    void makeAvailable(const QString& aliasName);

    void recordRecentEvent(const QString& filePath, const QString& action, bool succeeded);

    void startFileReadyCopy(const FileReadyRequest& request, const VornSyncFileReadyPlan& plan);
    void recordFileReady(const VornSyncTask& task, const QString& path, int directoryId);
    void reportFileReadyTimeout(const QString& path);
    void endFileReadyCopy();
    void answerFileReady(const QString& path, bool found);
    void serveNextFileReady();

    bool hasSynchronizer(const char* method) const;
    int knownDirectoryId(const char* method, const QString& aliasName, const char* outcome);
    bool isUsableFileName(const QString& aliasName, const QString& fileName);
    void forErrorFiles(const char* method, bool (*isMeant)(int code), FileAction action,
                       const QString& closingLine);
    bool drain(int timeoutMs);

    VornSyncManager* const m_public;
    bool m_isConstructed = false; // until then errors wait for the event loop: no host is connected yet
    bool m_isPausedAll = false;
    QStringList m_pausedAliases;
    int m_activeSyncCount = 0;
    QTimer* m_directoryStartTimer = nullptr;
    QStringList m_pendingStarts;
    QMutex m_pendingStartMutex; // guards m_pendingStarts; taken by the registration and the timer's slot
    const QString m_trashRootPath;
    const std::shared_ptr<VornSyncMailbox> m_mailbox; // shared with the synchronizer, which posts
    std::shared_ptr<VornSyncDatabase> m_database;     // shared with a synchronizer thread that did not stop
    QPointer<VornSyncSynchronizer> m_synchronizer;
    QPointer<VornSyncObserver> m_observer;
    QPointer<VornSyncWorker> m_worker;
    QPointer<VornSyncThread> m_synchronizerThread;
    QPointer<VornSyncThread> m_observerThread;
    QPointer<VornSyncThread> m_workerThread;
    QString m_fileReadyPath;
    int m_fileReadyDirectoryId = VornSyncTypes::kNoDirectoryId;
    QTimer* m_fileReadyTimeoutTimer = nullptr;
    pVornSyncTask m_fileReadyTask; // the copy that the request being served waits for; null: none is served
    bool m_wasFileReadyTombstoned = false; // the row of the file being copied, when the copy was asked for
    QList<FileReadyRequest> m_fileReadyWaiting; // those that need a copy, in the order they were made
    int m_pendingCount = 0;
    int m_errorCount = 0;
    int m_doneCount = 0;
    QVariantList m_recentEvents;
    VornSyncErrorList m_errorList;
};

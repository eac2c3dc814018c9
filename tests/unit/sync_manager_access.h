#pragma once

#include "vorn_sync_manager.h"
#include "vorn_sync_manager_p.h"

#include <utility>

// The tests' way behind the facade.
struct VornSyncManagerTestAccess
{
    static VornSyncManagerPrivate* inside(const VornSyncManager& manager) { return manager.d; }

    // Leaves the facade without a private object; the caller gives it back before the facade is destroyed.
    static VornSyncManagerPrivate* take(VornSyncManager& manager)
    {
        return std::exchange(manager.d, nullptr);
    }
    static void giveBack(VornSyncManager& manager, VornSyncManagerPrivate* inside) { manager.d = inside; }

    static VornSyncDatabase& database(const VornSyncManager& manager) { return *inside(manager)->m_database; }
    static std::weak_ptr<VornSyncDatabase> weakDatabase(const VornSyncManager& manager)
    {
        return inside(manager)->m_database;
    }
    static VornSyncWorker* worker(const VornSyncManager& manager) { return inside(manager)->m_worker; }
    static VornSyncSynchronizer* synchronizer(const VornSyncManager& manager)
    {
        return inside(manager)->m_synchronizer;
    }
    static VornSyncObserver* observer(const VornSyncManager& manager) { return inside(manager)->m_observer; }

    // What the manager sees when its synchronizer is gone; the object itself stays.
    static void forgetSynchronizer(VornSyncManager& manager) { inside(manager)->m_synchronizer.clear(); }
    static QStringList pendingStarts(const VornSyncManager& manager)
    {
        return inside(manager)->m_pendingStarts;
    }
    static QTimer* startTimer(const VornSyncManager& manager)
    {
        return inside(manager)->m_directoryStartTimer;
    }
    static QStringList pausedAliases(const VornSyncManager& manager)
    {
        return inside(manager)->m_pausedAliases;
    }
    static void setFileReadyDirectoryId(VornSyncManager& manager, int directoryId)
    {
        inside(manager)->m_fileReadyDirectoryId = directoryId;
    }

    static QTimer* fileReadyTimer(const VornSyncManager& manager)
    {
        return inside(manager)->m_fileReadyTimeoutTimer;
    }
    static pVornSyncTask fileReadyTask(const VornSyncManager& manager)
    {
        return inside(manager)->m_fileReadyTask;
    }
    static int fileReadyDirectoryId(const VornSyncManager& manager)
    {
        return inside(manager)->m_fileReadyDirectoryId;
    }
    static int waitingFileReadyRequests(const VornSyncManager& manager)
    {
        return int(inside(manager)->m_fileReadyWaiting.size());
    }
    static void ageWaitingFileReadyRequests(VornSyncManager& manager)
    {
        for (auto& request : inside(manager)->m_fileReadyWaiting)
            request.age.invalidate();
    }
    static void fileReadyTaskDone(VornSyncManager& manager, const pVornSyncTask& task, bool success)
    {
        inside(manager)->onFileReadyTaskDone(task, success);
    }
    static void forgetWorker(VornSyncManager& manager) { inside(manager)->m_worker.clear(); }

    static void syncStarted(VornSyncManager& manager, const QString& filePath)
    {
        inside(manager)->onSynchronizerSyncStarted(filePath);
    }
    static void syncCompleted(VornSyncManager& manager, const QString& filePath, bool succeeded)
    {
        inside(manager)->onSynchronizerSyncCompleted(filePath, succeeded);
    }
    // False when no call from the engine waited for the host.
    static bool deliver(const VornSyncManager& manager) { return inside(manager)->m_mailbox->deliver(); }
    static void refresh(VornSyncManager& manager) { inside(manager)->refreshDatabaseCounters(); }
};

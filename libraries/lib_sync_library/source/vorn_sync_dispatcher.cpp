#include "vorn_sync_dispatcher.h"

#include "vorn_planted_bugs.h"
#include "vorn_sqlite_transaction.h"
#include "vorn_sync_database.h"
#include "vorn_sync_file_start.h"
#include "vorn_sync_files.h"
#include "vorn_sync_log.h"
#include "vorn_sync_observations.h"
#include "vorn_sync_path_cache.h"
#include "vorn_sync_progress_notes.h"
#include "vorn_sync_rename_locks.h"
#include "vorn_sync_task_results.h"

#include <QFileInfo>
#include <QTimer>

#include <utility>

using VornSyncFiles::joined;
using VornSyncLog::named;
using VornSyncTypes::isTombstoned;

namespace {

constexpr auto kTag = "Sync: ";

constexpr int kTaskAttempts = 5;
constexpr int kRetryDelayStepMs = 1000;

// The name that a rename gives its file, in the directory it was dispatched for.
VornSyncFileKey targetOf(const VornSyncTask& task)
{
    return {task.directoryId(), QFileInfo(task.destinationPath()).fileName()};
}

} // namespace

VornSyncDispatcher::VornSyncDispatcher(VornSyncPathCache& paths, VornSyncRenameLocks& renames,
                                       VornSyncObservations& observations, QObject* parent)
    : QObject(parent)
    , m_paths(paths)
    , m_renames(renames)
    , m_observations(observations)
{
}

VornSyncDispatcher::~VornSyncDispatcher()
{
    // A worker that was let go may drop a task at this moment, and Qt 5 lets the destructors of a sender and its receiver
    // meet: no task may still be connected, nor end, when this one's begins.
    for (const pVornSyncTask& task : qAsConst(dispatchedTasks))
        QObject::disconnect(task.data(), nullptr, this, nullptr);
}

void VornSyncDispatcher::clear(int directoryId)
{
    flights.clearDeferred(directoryId);
    VornSyncTypes::eraseOfDirectory(changedInFlight, directoryId);
}

// --- Begin ----------------------------------------------------------------------------------------------

bool VornSyncDispatcher::startProcessing(int directoryId, const QString& fileName,
                                         SyncFileStatus targetStatus, bool& localPresent)
{
    const VornSyncFileKey key(directoryId, fileName);
    VornSyncFileStart start(*m_database, m_paths, m_renames, flights, key, targetStatus);
    const bool isStarted = isPossible(start, key) && start.mark();
    localPresent = !start.isLocalGone();
    return isStarted;
}

bool VornSyncDispatcher::isPossible(VornSyncFileStart& start, const VornSyncFileKey& key)
{
    if (start.isPossible())
        return true;
    if (!start.error().isEmpty())
        emit failed(start.error());
    if (start.isLossNew())
        putInErrorIf(key, start.status(), ceSecLocalFileMissing);
    return false;
}

// The file's road from its status at rest into the task is one transaction: with thousands of files to start, the
// commits cost more than all the rest. The disk is not asked while it lasts, since the host's thread may wait for it.
bool VornSyncDispatcher::startCopy(int directoryId, const QString& fileName)
{
    const VornSyncFileKey key(directoryId, fileName);
    VornSyncFileStart start(*m_database, m_paths, m_renames, flights, key, ceSfsPendingSync);
    if (!isPossible(start, key))
        return false;
    const QString localDir = m_paths.localDir(directoryId);
    const QString distantDir = m_paths.distantDir(directoryId);
    const QString source = joined(localDir, fileName);
    const QString destination = joined(distantDir, fileName);
    pVornSyncTask task;
    if (!localDir.isEmpty() && !distantDir.isEmpty())
        task = VornSyncTask::create(source, destination, ceStoCopy);
    if (!task) // doTask says why
        return start.mark() && doTask(localDir, distantDir, fileName, directoryId, ceStoCopy);

    bool isMarked = false;
    bool isRunning = false;
    {
        VornSqliteTransaction transaction(*m_database);
        isMarked = start.mark();
        if (isMarked)
            traceOperation(source, destination, ceStoCopy);
        isRunning = isMarked && m_database->updateStatusToProcess(directoryId, fileName);
        isRunning = transaction.commit() && isRunning;
    }
    if (isRunning)
        dispatch(task, directoryId, fileName);
    else if (isMarked)
        putInError(key, ceSecTaskCreationFailed);
    flights.setStarting(key, false);
    return isRunning;
}

bool VornSyncDispatcher::doTask(const QString& sourceDir, const QString& destinationDir,
                                const QString& fileName, int directoryId, SyncOperation operation)
{
    const bool isDispatched = createTask(sourceDir, destinationDir, fileName, directoryId, operation);
    flights.setStarting({directoryId, fileName}, false);
    return isDispatched;
}

bool VornSyncDispatcher::createTask(const QString& sourceDir, const QString& destinationDir,
                                    const QString& fileName, int directoryId, SyncOperation operation)
{
    const VornSyncFileKey key(directoryId, fileName);
    if (sourceDir.isEmpty() || destinationDir.isEmpty()) {
        emit failed(QStringLiteral("ERROR: Failure to get folder for file: '%1' in directoryId: %2")
                        .arg(fileName, QString::number(directoryId)));
        putInError(key, ceSecTaskCreationFailed);
        return false;
    }
    const QString source = joined(sourceDir, fileName);
    const QString destination = joined(destinationDir, fileName);
    traceOperation(source, destination, operation);

    const pVornSyncTask task = VornSyncTask::create(source, destination, operation);
    if (!task) {
        emit failed(QStringLiteral("ERROR: Failure to create task for operation '%1'.")
                        .arg(VornSyncTypes::operationName(operation)));
        putInError(key, ceSecTaskCreationFailed);
        return false;
    }
    if (!m_database->updateStatusToProcess(directoryId, fileName)) {
        putInError(key, ceSecTaskCreationFailed);
        return false;
    }
    dispatch(task, directoryId, fileName);
    return true;
}

void VornSyncDispatcher::traceOperation(const QString& source, const QString& destination,
                                        SyncOperation operation)
{
    VORN_SYNC_TRACE(kTag, "doTask",
                    QStringLiteral("Operation: %1 between source: '%2' and destination: '%3'.")
                        .arg(VornSyncTypes::operationName(operation), source, destination));
}

void VornSyncDispatcher::dispatch(const pVornSyncTask& task, int directoryId, const QString& fileName)
{
    const VornSyncFileKey key(directoryId, fileName);
    task->setDispatch(directoryId, fileName);
    connect(task.data(), &VornSyncTask::errorOccurred, this, &VornSyncDispatcher::taskErrorOccurred);
    dispatchedTasks.insert(task);
    ++inFlightCount;
    m_observations.remove(key); // the row is not up to date any more
    flights.begin(key);
    // A rename sends no content: an announced change still has to follow it.
    if (task->operation() == ceStoRename)
        flights.begin(targetOf(*task));
    else
        changedInFlight.remove(key);
    emit sigRunTask(task);
    emit syncStarted(task->sourcePath());
}

// A tombstone or a trashed row is the user's word: a failure of ours never replaces it.
void VornSyncDispatcher::putInError(const VornSyncFileKey& key, SyncErrorCode code)
{
    const int status = m_database->getFileStatus(key.first, key.second);
    if (!isTombstoned(status))
        putInErrorIf(key, status, code);
}

void VornSyncDispatcher::putInErrorIf(const VornSyncFileKey& key, int status, SyncErrorCode code)
{
    m_database->setFileErrorIf(key.first, key.second, status, code);
    emit errorStateChanged();
}

// --- Under way ------------------------------------------------------------------------------------------

bool VornSyncDispatcher::isFileInFlight(int directoryId, const QString& fileName) const
{
    return flights.contains({directoryId, fileName});
}

bool VornSyncDispatcher::takeHasTaskEnded()
{
    return std::exchange(m_hasTaskEnded, false);
}

// --- End ------------------------------------------------------------------------------------------------

void VornSyncDispatcher::endTask(const pVornSyncTask& task, bool doneOk)
{
    if (isOver(task, doneOk))
        dispatchedTasks.remove(task);
}

// False when it will run again.
bool VornSyncDispatcher::isOver(const pVornSyncTask& task, bool doneOk)
{
    VornSyncTaskResults results(*m_database, m_renames, *task);
    if (results.directoryId() < 0) {
        const QFileInfo source(task->sourcePath());
        VORN_SYNC_TRACE(kTag, "onTaskDone",
                        QStringLiteral("Ignoring task for unknown directory: %1 (file: %2)")
                            .arg(source.path(), source.fileName()));
        results.releaseRename();
        completeTask(*task, false);
        return true;
    }
    doneOk = doneOk || VORN_PLANTED(failureIsSuccess);
    if (!doneOk && VornSyncTaskResults::attempts(*task) < kTaskAttempts) {
        retryTask(task);
        return false;
    }
    const bool outcome = doneOk && results.recordSuccess();
    if (!doneOk)
        results.recordFailure();
    if (!doneOk || task->operation() == ceStoRename)
        emit errorStateChanged();
    completeTask(*task, outcome);
    return true;
}

void VornSyncDispatcher::retryTask(const pVornSyncTask& task)
{
    const int attempts = VornSyncTaskResults::attempts(*task);
    VORN_SYNC_TRACE(kTag, "onTaskDone",
                    QStringLiteral("Task on file '%1' FAILED => Retry to do it (%2 / %3). Error: %4")
                        .arg(QFileInfo(task->sourcePath()).fileName(), QString::number(attempts),
                             QString::number(kTaskAttempts), task->lastErrorMessage()));
    VornSyncProgressNotes(*m_database).noteRetry(task->directoryId(), task->fileName());
    QTimer::singleShot(attempts * kRetryDelayStepMs, this, [this, task] { emit sigRunTask(task); });
}

void VornSyncDispatcher::completeTask(const VornSyncTask& task, bool outcome)
{
    const bool isOurs = task.directoryId() >= 0;
    bool isRemoveDeferred = false;
    if (!isOurs && VORN_PLANTED(countFileReady))
        ++inFlightCount;
    if (isOurs) {
        const VornSyncFileKey key(task.directoryId(), task.fileName());
        inFlightCount = qMax(0, inFlightCount - 1);
        m_hasTaskEnded = true;
        isRemoveDeferred = flights.end(key);
        if (isRemoveDeferred)
            replayDistantRemove(key);
        if (task.operation() == ceStoRename && flights.end(targetOf(task)))
            replayDistantRemove(targetOf(task));
    }
    VORN_SYNC_TRACE(kTag, "onTaskDone",
                    QStringLiteral("Task on file '%1' %2 (in-flight=%3).")
                        .arg(task.sourcePath(), outcome ? QStringLiteral("done") : QStringLiteral("FAIL"),
                             QString::number(inFlightCount)));
    emit syncCompleted(task.sourcePath(), outcome);
    if (isOurs)
        followUp(task, outcome, isRemoveDeferred);
}

// What the host announced while the task was under way follows it, where it can.
void VornSyncDispatcher::followUp(const VornSyncTask& task, bool outcome, bool isRemoveDeferred)
{
    const VornSyncFileKey key(task.directoryId(), task.fileName());
    const bool isCopySent = outcome && task.operation() == ceStoCopy;
    if (isCopySent && !isRemoveDeferred && !VORN_PLANTED(recordPresent) &&
        VornSyncTaskResults::isLocalDifferentFromSent(task))
        changedInFlight.insert(key);
    if (task.operation() == ceStoRename)
        resendAnnounced({key, targetOf(task)});
    else if (isCopySent)
        resendAnnounced({key});
    else
        changedInFlight.remove(key);
}

void VornSyncDispatcher::replayDistantRemove(const VornSyncFileKey& key)
{
    const QString distantDir = m_paths.distantDir(key.first);
    const bool isRemoved = !distantDir.isEmpty() && VornSyncFiles::remove(joined(distantDir, key.second));
    VORN_SYNC_TRACE(kTag, "onTaskDone",
                    QStringLiteral("Replayed deferred distant remove for %1: %2")
                        .arg(named(key.second, key.first),
                             isRemoved ? QStringLiteral("done") : QStringLiteral("FAILED")));
}

// Of the two names of a rename, the announcement may have come under the one that is gone.
void VornSyncDispatcher::resendAnnounced(const QList<VornSyncFileKey>& keys)
{
    bool isAnnounced = false;
    for (const VornSyncFileKey& key : keys)
        isAnnounced = changedInFlight.remove(key) || isAnnounced;
    if (!isAnnounced)
        return;
    for (const VornSyncFileKey& key : keys) {
        const QString path = joined(m_paths.localDir(key.first), key.second);
        if (!isTombstoned(m_database->getFileStatus(key.first, key.second)) &&
            VornSyncFiles::facts(path).isPlainFile)
            emit copyWanted(key.first, key.second);
    }
}

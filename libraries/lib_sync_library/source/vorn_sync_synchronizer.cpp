#include "vorn_sync_synchronizer.h"

#include "vorn_planted_bugs.h"
#include "vorn_sync_database.h"
#include "vorn_sync_error_resolution.h"
#include "vorn_sync_local_siblings.h"
#include "vorn_sync_log.h"
#include "vorn_sync_pass.h"
#include "vorn_sync_progress_notes.h"
#include "vorn_sync_task_results.h"
#include "vorn_sync_times.h"

#include <QDateTime>
#include <QFileInfo>
#include <QThread>

using VornSyncFiles::joined;
using VornSyncLog::named;
using VornSyncTypes::isInProgress;
using VornSyncTypes::statusName;

namespace {

constexpr auto kTag = "Sync: ";

constexpr int kSaturationThreshold = 10;     // tasks in flight from which on a cycle is skipped
constexpr int kVerificationPeriodCycles = 6; // every sixth cycle verifies

bool isStopping()
{
    return QThread::currentThread()->isInterruptionRequested();
}

bool isPlainFile(const VornSyncFileFacts& facts)
{
    return facts.presence == VornSyncPresence::Present && facts.isPlainFile;
}

QDateTime timeOf(const VornSyncFileFacts& facts)
{
    return isPlainFile(facts) ? VornSyncTimes::fromSecs(facts.lmdSecs) : QDateTime();
}

// The text that a pass traces for a file it passes over.
QString skipText(const char* kind, const QString& fileName, int directoryId, const QString& reason)
{
    return QStringLiteral("Skip %1 '%2' (dirId=%3): %4")
        .arg(QLatin1String(kind), fileName, QString::number(directoryId), reason);
}

} // namespace

// --- Life cycle -----------------------------------------------------------------------------------------

VornSyncSynchronizer::VornSyncSynchronizer(const QString& trashPath_, int syncIntervalMs_,
                                           const QStringList& patterns, QObject* parent)
    : QObject(parent)
    , trashPath(trashPath_)
    , syncIntervalMs(syncIntervalMs_)
    , exclusions(patterns)
    , sideCars(this)
    , trash(pathCache, this)
    , verifier(pathCache, renames, observations, this)
    , dispatcher(pathCache, renames, observations, this)
{
    connect(&sideCars, &VornSyncSideCarDeferrals::due, this, &VornSyncSynchronizer::onSideCarDue);
    connect(&trash, &VornSyncTrash::failed, this, &VornSyncSynchronizer::emitError);
    connect(&trash, &VornSyncTrash::errorStateChanged, this, &VornSyncSynchronizer::errorStateChanged);
    connect(&verifier, &VornSyncVerifier::errorStateChanged, this, &VornSyncSynchronizer::errorStateChanged);
    connect(&dispatcher, &VornSyncDispatcher::sigRunTask, this, &VornSyncSynchronizer::sigRunTask);
    connect(&dispatcher, &VornSyncDispatcher::syncStarted, this, &VornSyncSynchronizer::syncStarted);
    connect(&dispatcher, &VornSyncDispatcher::syncCompleted, this, &VornSyncSynchronizer::syncCompleted);
    connect(&dispatcher, &VornSyncDispatcher::taskErrorOccurred, this, &VornSyncSynchronizer::errorOccurred);
    connect(&dispatcher, &VornSyncDispatcher::failed, this, &VornSyncSynchronizer::emitError);
    connect(&dispatcher, &VornSyncDispatcher::errorStateChanged, this,
            &VornSyncSynchronizer::errorStateChanged);
    connect(&dispatcher, &VornSyncDispatcher::copyWanted, this, &VornSyncSynchronizer::copyToDistant);
    VORN_SYNC_TRACE(
        kTag, "VornSyncSynchronizer",
        QStringLiteral("Created with trash path: %1, sync interval: %2 ms, exclusion patterns: %3")
            .arg(trashPath, QString::number(syncIntervalMs), patterns.join(QStringLiteral(", "))));
}

VornSyncSynchronizer::~VornSyncSynchronizer()
{
    VORN_SYNC_TRACE(kTag, "~VornSyncSynchronizer", QStringLiteral("Destroyed"));
}

void VornSyncSynchronizer::initialize(VornSyncDatabase* newDatabase)
{
    database.storeRelease(newDatabase);
    m_resetCount = newDatabase ? newDatabase->resetCount() : 0;
    pathCache.setDatabase(newDatabase);
    trash.setDatabase(newDatabase);
    verifier.setDatabase(newDatabase);
    dispatcher.setDatabase(newDatabase);
    VORN_SYNC_TRACE(kTag, "initialize", QStringLiteral("Initialized with database"));
    sweepExcludedRowsFromDatabase();
    if (db())
        db()->cleanupInconsistentTrashedDates();
}

void VornSyncSynchronizer::sweepExcludedRowsFromDatabase()
{
    if (!db() || exclusions.isEmpty())
        return;
    int purged = 0;
    const QList<int> directoryIds = db()->getDirectoryIds(false);
    for (int directoryId : directoryIds) {
        QStringList excluded;
        db()->readActiveFileNames(directoryId, [&](const QString& fileName) {
            if (matchesExclusionPattern(fileName))
                excluded.append(fileName);
        });
        for (const QString& fileName : qAsConst(excluded))
            purged += db()->removeFileSync(directoryId, fileName) ? 1 : 0;
    }
    if (purged == 0)
        return;
    VORN_SYNC_TRACE(kTag, "sweepExcludedRowsFromDatabase",
                    QStringLiteral("Purged %1 legacy rows matching exclusion patterns").arg(purged));
    emit errorStateChanged();
}

void VornSyncSynchronizer::emitError(const QString& message)
{
    VORN_SYNC_TRACE(kTag, "emitError", message);
    emit errorOccurred(message);
}

VornSyncDatabase* VornSyncSynchronizer::db() const
{
    return database.loadAcquire();
}

bool VornSyncSynchronizer::hasDatabase()
{
    if (db())
        return true;
    emitError(QStringLiteral("ERROR: Database not initialized in synchronizer"));
    return false;
}

bool VornSyncSynchronizer::isUsableFileName(int directoryId, const QString& fileName)
{
    if (VornSyncTypes::isValidFileName(fileName))
        return true;
    emitError(QStringLiteral("ERROR: Invalid file name: '%1' in directoryId: %2")
                  .arg(fileName, QString::number(directoryId)));
    return false;
}

// --- Paths and names ------------------------------------------------------------------------------------

QString VornSyncSynchronizer::localDirPath(int directoryId)
{
    return pathCache.localDir(directoryId);
}

QString VornSyncSynchronizer::distantDirPath(int directoryId)
{
    return pathCache.distantDir(directoryId);
}

QString VornSyncSynchronizer::trashDirPath(int directoryId)
{
    return pathCache.trashDir(directoryId);
}

void VornSyncSynchronizer::invalidateDirPathCache(int directoryId)
{
    pathCache.invalidate(directoryId);
    const bool isOwnThread = QThread::currentThread() == thread();
    QMetaObject::invokeMethod(
        this, [this, directoryId] { clearTables(directoryId); },
        isOwnThread ? Qt::DirectConnection : Qt::QueuedConnection);
}

// One that can't be read is not gone: a rename of it may be under way.
bool VornSyncSynchronizer::isSurelyGone(int directoryId)
{
    bool isRead = false;
    const QString alias = db()->getDirectoryField(directoryId, VornSyncDatabase::AliasName, &isRead);
    return isRead && alias.isEmpty();
}

// A directory id may be used again after a wipe: what was remembered about the old one must not meet the new
// one. An id that is still registered only had its paths changed, and a wipe may have failed.
void VornSyncSynchronizer::clearTables(int directoryId)
{
    if (!db() || (directoryId >= 0 ? !isSurelyGone(directoryId) : m_resetCount == db()->resetCount()))
        return;
    observations.clear(directoryId);
    verifier.clear(directoryId);
    dispatcher.clear(directoryId);
    sideCars.clear(directoryId);
    if (directoryId >= 0)
        return renames.clear(directoryId);
    m_resetCount = db()->resetCount();
    renames.startOver(m_resetCount);
}

bool VornSyncSynchronizer::matchesExclusionPattern(const QString& fileName) const
{
    return exclusions.matches(fileName) && !VORN_PLANTED(sendExcluded);
}

bool VornSyncSynchronizer::hasActiveSideCar(const QString& localFilePath) const
{
    if (exclusions.isEmpty() || localFilePath.isEmpty() || VORN_PLANTED(ignoreSideCar))
        return false;
    if (currentPass && currentPass->isInDirectory(localFilePath))
        return currentPass->hasActiveSideCar(QFileInfo(localFilePath).fileName(), exclusions);
    return exclusions.hasSideCarBeside(localFilePath);
}

// --- Directory pass -------------------------------------------------------------------------------------

void VornSyncSynchronizer::synchronizeDirectory(int directoryId)
{
    Q_ASSERT(QThread::currentThread() == thread());
    VORN_SYNC_TRACE(kTag, "synchronizeDirectory",
                    QStringLiteral("Start directory synchronization for directoryId: %1").arg(directoryId));
    if (!hasDatabase())
        return;

    const int directoriesVersion = db()->directoriesVersion();
    // Asked once: below a path that could not be read, but can be a moment later, every file would be missing.
    const QString localPath = localDirPath(directoryId);
    VornSyncPass pass(*db(), directoriesVersion, directoryId, localPath, distantDirPath(directoryId),
                      renames.lockedNames(directoryId));
    // A directory that is not registered, or whose path can't be read, has no files to decide on.
    QString error;
    const bool isRegistered = !localPath.isEmpty();
    if (isRegistered && pass.gather(error))
        runPass(pass);
    else if (!error.isEmpty())
        emitError(error);
    if (isRegistered && !isStopping() && pass.isStillMeant())
        pass.report().write(*db(), pass, syncIntervalMs);
    VORN_SYNC_TRACE(kTag, "synchronizeDirectory",
                    QStringLiteral("End directory synchronization for directoryId: %1").arg(directoryId));
}

void VornSyncSynchronizer::runPass(VornSyncPass& pass)
{
    VORN_SYNC_TRACE(
        kTag, "synchronizeDirectory",
        QStringLiteral("Directory %1: %2").arg(QString::number(pass.directoryId()), pass.summary()));
    observations.prune(pass.directoryId(),
                       [&pass](const QString& fileName) { return pass.wasUpToDate(fileName); });
    currentPass = &pass;
    const bool isTrackedDone = passTracked(pass);
    if (pass.isDistantAccessible() && passLocal(pass) && isTrackedDone)
        pass.report().setWhole();
    if (!pass.isDistantAccessible())
        VORN_SYNC_TRACE(kTag, "synchronizeDirectory",
                        QStringLiteral("Skip local files scan (dirId=%1): distant directory not accessible")
                            .arg(pass.directoryId()));
    currentPass = nullptr;
}

bool VornSyncSynchronizer::passTracked(VornSyncPass& pass)
{
    for (int i = 0; i < pass.trackedCount(); ++i) {
        if (isStopping() || !pass.isStillMeant())
            return false;
        if (!pass.isTracked(i) || !VornSyncTypes::isValidFileName(pass.name(i)))
            continue;
        VornSyncPassFile file = pass.file(i);
        if (!file.hasRow)
            continue;
        VornSyncVerdict verdict = VornSyncFileDecision::forTracked(file);
        // The host may have taken the name, and then the file away from under it, since the pass began.
        if (verdict == VornSyncVerdict::ReportLocalMissing &&
            isRenameLocked(pass.directoryId(), pass.fileName(i)))
            verdict = VornSyncVerdict::SkipRenaming;
        const bool isSettled =
            verdict == VornSyncVerdict::Skip && VornSyncFileDecision::forLocal(file) == verdict;
        // Of a million files nearly all are settled, and nothing more is to be done for them.
        if (!isSettled || !observations.isEmpty()) {
            file.row.fileName = pass.fileName(i);
            actOnTracked(pass.directoryId(), file, verdict);
        }
        if (isSettled)
            pass.setSettled(i);
        else if (pass.isDistantAccessible()) // the local files are walked, too
            pass.keepAnswer(i, file.local);
    }
    return true;
}

void VornSyncSynchronizer::actOnTracked(int id, const VornSyncPassFile& file, VornSyncVerdict verdict)
{
    const QString& fileName = file.row.fileName;
    const auto trace = [&](const QString& reason) {
        VORN_SYNC_TRACE(kTag, "synchronizeDirectory", skipText("tracked", fileName, id, reason));
    };
    const bool isOnBothSides = file.distant == VornSyncPresence::Present && isPlainFile(file.local);
    if (isOnBothSides && !file.isRenaming && !isInProgress(file.row.status))
        observations.remove({id, fileName});

    switch (verdict) {
    case VornSyncVerdict::SkipRenaming:
        trace(QStringLiteral("rename in progress"));
        return;
    case VornSyncVerdict::SkipInProgress:
        trace(QStringLiteral("already %1").arg(statusName(file.row.status)));
        return;
    case VornSyncVerdict::SkipTombstoned:
        trace(QStringLiteral("tombstoned (%1)").arg(statusName(file.row.status)));
        return;
    case VornSyncVerdict::LeaveAlone:
        trace(QStringLiteral("no certain answer from the disk"));
        currentPass->report().addUnexamined(fileName);
        return;
    case VornSyncVerdict::ReportLocalMissing:
        VORN_SYNC_TRACE(
            kTag, "synchronizeDirectory",
            QStringLiteral("Local file missing for tracked %1 -> Error").arg(named(fileName, id)));
        putInErrorIf(id, fileName, file.row.status, ceSecLocalFileMissing);
        return;
    case VornSyncVerdict::ForgetObservation:
        observations.remove({id, fileName});
        return;
    case VornSyncVerdict::ObserveDistantMissing:
        observeInPass(id, fileName);
        return;
    case VornSyncVerdict::Examine:
        examine(id, fileName);
        return;
    case VornSyncVerdict::Copy:
        copyToDistant(id, fileName);
        return;
    case VornSyncVerdict::Skip:
    case VornSyncVerdict::SkipObserved:
    case VornSyncVerdict::SkipInError:
    case VornSyncVerdict::Resurrect:
        return;
    }
}

void VornSyncSynchronizer::observeInPass(int directoryId, const QString& fileName)
{
    const int count = observations.add({directoryId, fileName});
    if (count < VornSyncObservations::kBelievedCount)
        return;
    VORN_SYNC_TRACE(kTag, "synchronizeDirectory",
                    QStringLiteral("Distant file missing for tracked %1 after %2 consecutive cycles -> "
                                   "Error/DistantFileMissing")
                        .arg(named(fileName, directoryId), QString::number(count)));
    putInErrorIf(directoryId, fileName, ceSfsUpToDate, ceSecDistantFileMissing);
    observations.remove({directoryId, fileName});
}

// Both copies are there, and the row does not say whether they agree.
void VornSyncSynchronizer::examine(int directoryId, const QString& fileName)
{
    // What is recorded is what was looked at: an edit that comes after these facts is found by the next pass.
    const QFileInfo local(joined(localDirPath(directoryId), fileName));
    const QFileInfo distant(joined(distantDirPath(directoryId), fileName));
    const VornSyncFileFacts localFacts = VornSyncFiles::facts(local.filePath());
    const VornSyncFileFacts distantFacts = VornSyncFiles::facts(distant.filePath());
    bool succeeded = false;
    if (db()->isFileNeedUpdate(directoryId, fileName, local, distant, nullptr, &succeeded)) {
        copyToDistant(directoryId, fileName);
        return;
    }
    if (!succeeded || !isPlainFile(localFacts) || !isPlainFile(distantFacts) ||
        localFacts.size != distantFacts.size)
        return;
    db()->recordCopy(directoryId, fileName, localFacts.size, timeOf(localFacts), timeOf(distantFacts));
    emit errorStateChanged();
}

bool VornSyncSynchronizer::passLocal(VornSyncPass& pass)
{
    for (int i = 0; i < pass.count(); ++i) {
        if (!pass.isListed(i) || pass.isSettled(i))
            continue;
        const QString fileName = pass.fileName(i);
        if (isStopping() || !pass.isStillMeant())
            return false;
        if (VornSyncFiles::isQtTemporaryName(fileName))
            continue;
        VornSyncPassFile file = pass.file(i);
        file.row.fileName = fileName;
        file.isDistantObserved = observations.contains({pass.directoryId(), fileName});
        const VornSyncVerdict verdict = VornSyncFileDecision::forLocal(file);
        // Most files need nothing: only the others are worth matching against every pattern.
        if (verdict != VornSyncVerdict::Skip && !matchesExclusionPattern(fileName))
            actOnLocal(pass.directoryId(), file, verdict);
    }
    return true;
}

void VornSyncSynchronizer::actOnLocal(int directoryId, const VornSyncPassFile& file, VornSyncVerdict verdict)
{
    const QString& fileName = file.row.fileName;
    const auto trace = [&](const QString& reason) {
        VORN_SYNC_TRACE(kTag, "synchronizeDirectory", skipText("local", fileName, directoryId, reason));
    };
    switch (verdict) {
    case VornSyncVerdict::SkipRenaming:
        trace(QStringLiteral("rename in progress"));
        return;
    case VornSyncVerdict::SkipObserved:
        trace(QStringLiteral("distant-missing observation in progress"));
        return;
    case VornSyncVerdict::SkipInError:
        trace(QStringLiteral("file in error, waiting for user action"));
        return;
    case VornSyncVerdict::SkipInProgress:
        trace(QStringLiteral("already %1").arg(statusName(file.row.status)));
        return;
    case VornSyncVerdict::LeaveAlone:
        trace(QStringLiteral("no certain answer from the disk"));
        if (file.local.presence != VornSyncPresence::Absent) // it went since it was listed
            currentPass->report().addUnexamined(fileName);
        return;
    case VornSyncVerdict::Resurrect:
        resurrect(directoryId, file);
        return;
    case VornSyncVerdict::Copy:
        copyToDistant(directoryId, fileName);
        return;
    case VornSyncVerdict::Skip:
    case VornSyncVerdict::SkipTombstoned:
    case VornSyncVerdict::ReportLocalMissing:
    case VornSyncVerdict::ForgetObservation:
    case VornSyncVerdict::ObserveDistantMissing:
    case VornSyncVerdict::Examine:
        return;
    }
}

// The tombstone may be younger than the listing: only a file that is there now has come back, and only then its
// trashed copy is superseded.
void VornSyncSynchronizer::resurrect(int directoryId, const VornSyncPassFile& file)
{
    const QString& fileName = file.row.fileName;
    if (!isPlainFile(VornSyncFiles::facts(joined(localDirPath(directoryId), fileName))))
        return;
    VORN_SYNC_TRACE(kTag, "synchronizeDirectory",
                    QStringLiteral("Resurrecting tombstoned %1: row was %2")
                        .arg(named(fileName, directoryId), statusName(file.row.status)));
    removeFromLocalTrashIfExists(directoryId, fileName);
    copyToDistant(directoryId, fileName);
}

// --- Periodic cycle -------------------------------------------------------------------------------------

void VornSyncSynchronizer::periodicSynchronization()
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (cycleRunning) {
        VORN_SYNC_TRACE(kTag, "periodicSynchronization",
                        QStringLiteral("Skipped: previous synchronization still running"));
        return;
    }
    if (dispatcher.tasksInFlight() >= kSaturationThreshold) {
        VORN_SYNC_TRACE(kTag, "periodicSynchronization",
                        QStringLiteral("Skipped: worker saturated (%1 tasks in flight, threshold %2)")
                            .arg(dispatcher.tasksInFlight())
                            .arg(kSaturationThreshold));
        // A worker that hangs has no excuse.
        if (dispatcher.takeHasTaskEnded() && db())
            VornSyncProgressNotes(*db()).noteSaturation();
        return;
    }
    ++cycleNumber;
    cycleRunning = true;
    observations.beginCycle();
    VORN_SYNC_TRACE(kTag, "periodicSynchronization",
                    QStringLiteral("Start synchronisation (cycle #%1, in-flight=%2)")
                        .arg(cycleNumber)
                        .arg(dispatcher.tasksInFlight()));
    if (hasDatabase())
        runCycle();
    observations.endCycle();
    cycleRunning = false;
}

void VornSyncSynchronizer::runCycle()
{
    const int rescued = db()->cleanupStaleProcessingStates(
        [this](int directoryId, const QString& fileName) { return isFileInFlight(directoryId, fileName); });
    if (rescued > 0) {
        VORN_SYNC_TRACE(kTag, "periodicSynchronization",
                        QStringLiteral("Watchdog rescued %1 stale files").arg(rescued));
        emit errorStateChanged();
    }
    if (cycleNumber % kVerificationPeriodCycles == 0)
        verifyUpToDateFilesBudgeted();

    const QList<int> directoryIds = db()->getDirectoryIds(true);
    for (int directoryId : directoryIds) {
        if (isStopping())
            return;
        resolveFilesError(directoryId);
        synchronizeDirectory(directoryId);
    }
    purgeExpiredTrash();
}

void VornSyncSynchronizer::verifyUpToDateFilesBudgeted()
{
    if (db())
        verifier.run(VornSyncVerifier::budgetMs(syncIntervalMs));
}

void VornSyncSynchronizer::verifyOneUpToDateFile(int directoryId, const QString& fileName, qint64 dbSize)
{
    verifier.verify(directoryId, fileName, dbSize);
}

void VornSyncSynchronizer::purgeExpiredTrash()
{
    if (db())
        trash.purge();
}

// --- Tasks ----------------------------------------------------------------------------------------------

bool VornSyncSynchronizer::startProcessing(int directoryId, const QString& fileName,
                                           SyncFileStatus targetStatus, bool& localPresent)
{
    return dispatcher.startProcessing(directoryId, fileName, targetStatus, localPresent);
}

bool VornSyncSynchronizer::copyToDistant(int directoryId, const QString& fileName)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (VornSyncFiles::isQtTemporaryName(fileName)) {
        VORN_SYNC_TRACE(
            kTag, "copyToDistant",
            QStringLiteral("%1 is a temporary file of a copy; not sent").arg(named(fileName, directoryId)));
        return false;
    }
    const QString localDir = localDirPath(directoryId);
    if (VornSyncLocalSiblings::contains(joined(localDir, fileName))) {
        VORN_SYNC_TRACE(kTag, "copyToDistant",
                        QStringLiteral("%1 is a temporary sibling of a copy; not sent")
                            .arg(named(fileName, directoryId)));
        return false;
    }
    const VornSyncFileKey key(directoryId, fileName);
    if (hasActiveSideCar(joined(localDir, fileName)))
        return deferForSideCar(key);

    sideCars.forget(key);
    return dispatcher.startCopy(directoryId, fileName);
}

// A database that is being written is copied when it is quiet. One timer a file at a time: the passes that
// come by meanwhile neither count nor start another.
bool VornSyncSynchronizer::deferForSideCar(const VornSyncFileKey& key)
{
    if (currentPass && currentPass->directoryId() == key.first)
        currentPass->report().addDeferred(key.second);
    if (sideCars.isWaiting(key))
        return true;
    const QString name = named(key.second, key.first);
    const QString maximum = QString::number(VornSyncSideCarDeferrals::kMaximum);
    const int count = sideCars.defer(key);
    if (count == 1)
        VornSyncProgressNotes(*db()).noteDeferral(key.first, key.second);
    if (count == 0) {
        VORN_SYNC_TRACE(kTag, "copyToDistant",
                        QStringLiteral("%1 still busy after %2 retries; yielding to the next periodic cycle")
                            .arg(name, maximum));
        return false;
    }
    VORN_SYNC_TRACE(
        kTag, "copyToDistant",
        QStringLiteral("%1 has an active SQLite side-car; deferring retry %2/%3 in %4 ms")
            .arg(name, QString::number(count), maximum, QString::number(VornSyncSideCarDeferrals::kDelayMs)));
    return true;
}

void VornSyncSynchronizer::onSideCarDue(int directoryId, const QString& fileName)
{
    if (localDirPath(directoryId).isEmpty())
        sideCars.forget({directoryId, fileName});
    else
        copyToDistant(directoryId, fileName);
}

bool VornSyncSynchronizer::doTask(const QString& sourceDir, const QString& destinationDir,
                                  const QString& fileName, int directoryId, SyncOperation operation)
{
    return dispatcher.doTask(sourceDir, destinationDir, fileName, directoryId, operation);
}

void VornSyncSynchronizer::onTaskDone(pVornSyncTask task, bool doneOk)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (!task || !hasDatabase())
        return;
    // It may be here before the engine hears of a wipe: what is remembered under its id would meet another pair.
    clearTables(VornSyncTypes::kNoDirectoryId);
    dispatcher.endTask(task, doneOk);
}

bool VornSyncSynchronizer::isFileInFlight(int directoryId, const QString& fileName) const
{
    return dispatcher.isFileInFlight(directoryId, fileName);
}

void VornSyncSynchronizer::putInErrorIf(int directoryId, const QString& fileName, int status,
                                        SyncErrorCode code)
{
    db()->setFileErrorIf(directoryId, fileName, status, code);
    emit errorStateChanged();
}

// --- Rename protocol ------------------------------------------------------------------------------------

bool VornSyncSynchronizer::isRenameLocked(int directoryId, const QString& fileName) const
{
    return renames.isLocked(directoryId, fileName);
}

bool VornSyncSynchronizer::lockRename(int directoryId, const QString& oldFileName, const QString& newFileName)
{
    const auto trace = [](const QString& text) { VORN_SYNC_TRACE(kTag, "lockRename", text); };
    if (!hasDatabase())
        return false;
    if (oldFileName.isEmpty() || newFileName.isEmpty() || oldFileName == newFileName) {
        trace(QStringLiteral("Invalid argument(s) for rename lock: old='%1' new='%2' (dirId=%3)")
                  .arg(oldFileName, newFileName, QString::number(directoryId)));
        return false;
    }
    if (!isUsableFileName(directoryId, oldFileName) || !isUsableFileName(directoryId, newFileName))
        return false;
    const auto isBusy = [&] {
        const int status = db()->getFileStatus(directoryId, oldFileName);
        if (!isInProgress(status))
            return false;
        trace(QStringLiteral("REFUSED: %1 currently %2")
                  .arg(named(oldFileName, directoryId), statusName(status)));
        return true;
    };
    if (isBusy())
        return false;
    // After a wipe the host may be here before the engine has heard of it.
    renames.startOver(db()->resetCount());
    if (!renames.lock(directoryId, oldFileName, newFileName)) {
        trace(QStringLiteral("REFUSED: another rename already in progress on '%1' or '%2' (dirId=%3)")
                  .arg(oldFileName, newFileName, QString::number(directoryId)));
        return false;
    }
    // A task may have been dispatched, or be about to, since the first look.
    const bool isTaken = isBusy();
    if (isTaken || isFileInFlight(directoryId, oldFileName) || isFileInFlight(directoryId, newFileName)) {
        renames.release(directoryId, oldFileName, newFileName);
        if (!isTaken)
            trace(QStringLiteral("REFUSED: a task is in flight on '%1' or '%2' (dirId=%3)")
                      .arg(oldFileName, newFileName, QString::number(directoryId)));
        return false;
    }
    trace(QStringLiteral("Locked '%1' -> '%2' (dirId=%3)")
              .arg(oldFileName, newFileName, QString::number(directoryId)));
    return true;
}

bool VornSyncSynchronizer::commitRename(int directoryId, const QString& oldFileName,
                                        const QString& newFileName)
{
    const auto trace = [](const QString& text) { VORN_SYNC_TRACE(kTag, "commitRename", text); };
    if (!hasDatabase() || !isUsableFileName(directoryId, newFileName))
        return false;
    if (!renames.commit(directoryId, oldFileName, newFileName)) {
        trace(QStringLiteral("REFUSED: no lock held for %1").arg(named(oldFileName, directoryId)));
        return false;
    }
    const QString distantDir = distantDirPath(directoryId);
    if (distantDir.isEmpty()) {
        renames.release(directoryId, oldFileName, newFileName);
        emitError(QStringLiteral("ERROR: Cannot commit rename, distant path unknown for dirId %1")
                      .arg(directoryId));
        return false;
    }
    const QString source = joined(distantDir, oldFileName);
    const QString destination = joined(distantDir, newFileName);
    trace(QStringLiteral("Enqueue ceStoRename '%1' -> '%2'").arg(source, destination));
    // Only a distant file that is surely absent is a matter of the database alone.
    const bool isSurelyAbsent = VornSyncFiles::facts(source).presence == VornSyncPresence::Absent;
    const pVornSyncTask task =
        isSurelyAbsent ? pVornSyncTask() : VornSyncTask::create(source, destination, ceStoRename);
    if (task) {
        dispatcher.dispatch(task, directoryId, oldFileName);
        return true;
    }
    const bool isRenamed =
        isSurelyAbsent &&
        VornSyncTaskResults::renameRow(*db(), directoryId, oldFileName, newFileName,
                                       VornSyncFiles::facts(joined(localDirPath(directoryId), newFileName)));
    trace(QStringLiteral("Distant source absent, BD-only rename %1")
              .arg(isRenamed ? QStringLiteral("applied") : QStringLiteral("FAILED")));
    renames.release(directoryId, oldFileName, newFileName);
    emit errorStateChanged();
    dispatcher.resendAnnounced({{directoryId, oldFileName}, {directoryId, newFileName}});
    return isRenamed;
}

void VornSyncSynchronizer::abortRename(int directoryId, const QString& oldFileName,
                                       const QString& newFileName)
{
    if (!renames.release(directoryId, oldFileName, newFileName))
        return;
    VORN_SYNC_TRACE(kTag, "abortRename",
                    QStringLiteral("Released lock for '%1' -> '%2' (dirId=%3)")
                        .arg(oldFileName, newFileName, QString::number(directoryId)));
    // This may be the host's thread; sending is for the engine's.
    const QList<VornSyncFileKey> keys = {{directoryId, oldFileName}, {directoryId, newFileName}};
    QMetaObject::invokeMethod(
        this, [this, keys] { dispatcher.resendAnnounced(keys); }, Qt::QueuedConnection);
}

// --- Requests for one file ------------------------------------------------------------------------------

bool VornSyncSynchronizer::notifyLocalFileChanged(int directoryId, const QString& fileName)
{
    if (!hasDatabase() || fileName.isEmpty() || !isUsableFileName(directoryId, fileName))
        return false;
    VORN_SYNC_TRACE(kTag, "notifyLocalFileChanged",
                    QStringLiteral("Immediate copyToDistant for %1").arg(named(fileName, directoryId)));
    if (copyToDistant(directoryId, fileName))
        return true;
    if (isFileInFlight(directoryId, fileName) || isRenameLocked(directoryId, fileName))
        dispatcher.announce({directoryId, fileName});
    return false;
}

bool VornSyncSynchronizer::notifyLocalFileDeleted(int directoryId, const QString& fileName)
{
    if (!hasDatabase() || !isUsableFileName(directoryId, fileName))
        return false;
    const QString name = named(fileName, directoryId);
    VORN_SYNC_TRACE(kTag, "notifyLocalFileDeleted",
                    QStringLiteral("Program-initiated distant cleanup of %1").arg(name));
    sideCars.forget({directoryId, fileName});
    const bool isDeferred = dispatcher.deferDistantRemove({directoryId, fileName});
    bool isDone = true;
    if (isDeferred) {
        VORN_SYNC_TRACE(
            kTag, "notifyLocalFileDeleted",
            QStringLiteral("Deferring distant remove for %1: copy still in flight, will replay on "
                           "task completion")
                .arg(name));
    } else {
        isDone = removeDistantCopy(directoryId, fileName);
        if (!isDone)
            VORN_SYNC_TRACE(kTag, "notifyLocalFileDeleted",
                            QStringLiteral("Warning: distant file remove FAILED for '%1'")
                                .arg(joined(distantDirPath(directoryId), fileName)));
    }
    emit errorStateChanged();
    return isDone;
}

// True when the distant copy is surely gone.
bool VornSyncSynchronizer::removeDistantCopy(int directoryId, const QString& fileName)
{
    const QString distantDir = distantDirPath(directoryId);
    return !distantDir.isEmpty() && VornSyncFiles::remove(joined(distantDir, fileName));
}

bool VornSyncSynchronizer::moveToTrashFile(int directoryId, const QString& fileName)
{
    if (!hasDatabase() || !isUsableFileName(directoryId, fileName))
        return false;
    VORN_SYNC_TRACE(kTag, "moveToTrashFile",
                    QStringLiteral("User-driven moveToTrash for %1").arg(named(fileName, directoryId)));
    return moveFileToTrash(directoryId, fileName);
}

bool VornSyncSynchronizer::moveFileToTrash(int directoryId, const QString& fileName)
{
    bool localPresent = false;
    if (!startProcessing(directoryId, fileName, ceSfsPendingDelete, localPresent))
        return localPresent;
    return doTask(localDirPath(directoryId), trashDirPath(directoryId), fileName, directoryId, ceStoMove);
}

bool VornSyncSynchronizer::restoreFromTrash(int directoryId, const QString& fileName)
{
    bool localPresent = false;
    if (!startProcessing(directoryId, fileName, ceSfsPendingRestore, localPresent))
        return localPresent;
    return doTask(trashDirPath(directoryId), localDirPath(directoryId), fileName, directoryId, ceStoMoveBack);
}

void VornSyncSynchronizer::confirmFileDeletion(int directoryId, const QString& fileName)
{
    if (!hasDatabase() || !isUsableFileName(directoryId, fileName))
        return;
    VORN_SYNC_TRACE(kTag, "confirmFileDeletion",
                    QStringLiteral("User confirmed deletion of %1").arg(named(fileName, directoryId)));
    db()->setFileDeleted(directoryId, fileName);
    emit errorStateChanged();
}

bool VornSyncSynchronizer::removeFromTrash(int directoryId, const QString& fileName)
{
    return trash.remove(directoryId, fileName);
}

void VornSyncSynchronizer::removeFromLocalTrashIfExists(int directoryId, const QString& fileName)
{
    if (db() && VornSyncTypes::isValidFileName(fileName))
        trash.removeSuperseded(directoryId, fileName);
}

// --- Error resolution -----------------------------------------------------------------------------------

void VornSyncSynchronizer::resolveFilesError(int directoryId)
{
    if (!hasDatabase())
        return;
    VORN_SYNC_TRACE(kTag, "resolveFilesError",
                    QStringLiteral("Start Files error resolving for directoryId: %1").arg(directoryId));
    const auto files = db()->getFilesByStatusMask(directoryId, VornSyncTypes::kErrorBit);
    for (const QVariantMap& file : files) {
        if (isStopping())
            break;
        const QString fileName = file.value(QStringLiteral("fileName")).toString();
        const int status = file.value(QStringLiteral("status")).toInt();
        if (VornSyncTypes::isValidFileName(fileName) &&
            !VornSyncErrorResolution(*db(), directoryId, fileName, status).isShrunkDistant())
            resolveFileError(directoryId, fileName, status);
    }
    VORN_SYNC_TRACE(kTag, "resolveFilesError",
                    QStringLiteral("End Files error resolving for directoryId: %1").arg(directoryId));
}

void VornSyncSynchronizer::resolveFileError(int directoryId, const QString& fileName, int rawStatus)
{
    if (!hasDatabase() || !isUsableFileName(directoryId, fileName))
        return;
    VornSyncErrorResolution resolution(*db(), directoryId, fileName, rawStatus);
    if (!resolution.examine(localDirPath(directoryId), trashDirPath(directoryId)))
        return;
    if (isRenameLocked(directoryId, fileName)) {
        VORN_SYNC_TRACE(kTag, "resolveFileError",
                        QStringLiteral("Skip %1: rename in progress").arg(named(fileName, directoryId)));
        return;
    }
    const bool isCleared = resolution.clear();
    emit errorStateChanged();
    if (!isCleared)
        return;
    if (resolution.isRowObsolete())
        emit errorStateChanged();
    switch (resolution.retry()) {
    case VornSyncErrorResolution::Retry::None:
        return;
    case VornSyncErrorResolution::Retry::Copy:
        copyToDistant(directoryId, fileName);
        return;
    case VornSyncErrorResolution::Retry::MoveToTrash:
        moveFileToTrash(directoryId, fileName);
        return;
    case VornSyncErrorResolution::Retry::RestoreFromTrash:
        restoreFromTrash(directoryId, fileName);
        return;
    }
}

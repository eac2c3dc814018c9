#include "vorn_sync_synchronizer.h"

#include "vorn_planted_bugs.h"
#include "vorn_sqlite_transaction.h"
#include "vorn_sync_database.h"
#include "vorn_sync_error_resolution.h"
#include "vorn_sync_local_siblings.h"
#include "vorn_sync_log.h"
#include "vorn_sync_pass.h"
#include "vorn_sync_progress_notes.h"
#include "vorn_sync_task_results.h"
#include "vorn_sync_times.h"
#include "vorn_sync_verification.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <utility>

using VornSyncTypes::isInError;
using VornSyncTypes::isInProgress;
using VornSyncTypes::isPending;
using VornSyncTypes::isTombstoned;
using VornSyncTypes::statusName;

namespace {

constexpr auto kTag = "Sync: ";

constexpr int kSaturationThreshold = 10;       // tasks in flight from which on a cycle is skipped
constexpr int kVerificationPeriodCycles = 6;   // every sixth cycle verifies
constexpr int kVerificationBudgetPercent = 20; // of the sync interval
constexpr qint64 kVerificationBudgetMinimumMs = 100;
constexpr int kTrashRetentionDays = 30;
constexpr int kTaskAttempts = 5;
constexpr int kRetryDelayStepMs = 1000;

bool isStopping()
{
    return QThread::currentThread()->isInterruptionRequested();
}

QString joined(const QString& directory, const QString& fileName)
{
    if (VORN_PLANTED(chainedArg))
        return directory + QLatin1Char('/') + QString(fileName).replace(QLatin1String("%1"), directory);
    return directory + QLatin1Char('/') + fileName;
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

// The name that a rename gives its file, in the directory it was dispatched for.
VornSyncFileKey targetOf(const VornSyncTask& task)
{
    return {task.directoryId(), QFileInfo(task.destinationPath()).fileName()};
}

// "'<f>' (dirId=<d>)", the way most trace lines name a file.
QString named(const QString& fileName, int directoryId)
{
    return QStringLiteral("'%1' (dirId=%2)").arg(fileName, QString::number(directoryId));
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
{
    connect(&sideCars, &VornSyncSideCarDeferrals::due, this, &VornSyncSynchronizer::onSideCarDue);
    VORN_SYNC_TRACE(
        kTag, "VornSyncSynchronizer",
        QStringLiteral("Created with trash path: %1, sync interval: %2 ms, exclusion patterns: %3")
            .arg(trashPath, QString::number(syncIntervalMs), patterns.join(QStringLiteral(", "))));
}

VornSyncSynchronizer::~VornSyncSynchronizer()
{
    // A worker that was let go may drop a task at this moment, and Qt 5 lets the destructors of a sender and its receiver
    // meet: no task may still be connected, nor end, when this one's begins.
    for (const pVornSyncTask& task : qAsConst(dispatchedTasks))
        QObject::disconnect(task.data(), nullptr, this, nullptr);
    VORN_SYNC_TRACE(kTag, "~VornSyncSynchronizer", QStringLiteral("Destroyed"));
}

void VornSyncSynchronizer::initialize(VornSyncDatabase* newDatabase)
{
    database.storeRelease(newDatabase);
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

QString VornSyncSynchronizer::cachedPath(VornSyncPathCache::Kind kind, int directoryId,
                                         VornSyncDatabase::DirectoryField field)
{
    if (!db())
        return QString();
    return pathCache.path(kind, directoryId, db()->directoriesVersion(), [&]() -> std::optional<QString> {
        bool succeeded = false;
        const QString path = db()->getDirectoryField(directoryId, field, &succeeded);
        return succeeded ? std::optional<QString>(path) : std::nullopt;
    });
}

QString VornSyncSynchronizer::localDirPath(int directoryId)
{
    return cachedPath(VornSyncPathCache::Kind::Local, directoryId, VornSyncDatabase::LocalPath);
}

QString VornSyncSynchronizer::distantDirPath(int directoryId)
{
    return cachedPath(VornSyncPathCache::Kind::Distant, directoryId, VornSyncDatabase::DistantPath);
}

QString VornSyncSynchronizer::trashDirPath(int directoryId)
{
    return cachedPath(VornSyncPathCache::Kind::Trash, directoryId, VornSyncDatabase::TrashPath);
}

void VornSyncSynchronizer::invalidateDirPathCache(int directoryId)
{
    pathCache.invalidate(directoryId);
    const bool isOwnThread = QThread::currentThread() == thread();
    QMetaObject::invokeMethod(
        this, [this, directoryId] { clearTables(directoryId); },
        isOwnThread ? Qt::DirectConnection : Qt::QueuedConnection);
}

// A directory id may be used again after a wipe: what was remembered about the old one must not meet the new
// one. An id that is still registered only had its paths changed.
void VornSyncSynchronizer::clearTables(int directoryId)
{
    if (!db() || (directoryId >= 0 && !db()->getDirectoryAlias(directoryId).isEmpty()))
        return;
    observations.clear(directoryId);
    verifyQueue.clear(directoryId);
    verifyRounds.clear(directoryId);
    flights.clearDeferred(directoryId);
    if (directoryId >= 0)
        renames.clear(directoryId);
    else
        renames.startOver(db()->resetCount());
    VornSyncTypes::eraseOfDirectory(changedInFlight, directoryId);
    sideCars.clear(directoryId);
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

    // Asked once: below a path that could not be read, but can be a moment later, every file would be missing.
    const QString localPath = localDirPath(directoryId);
    VornSyncPass pass(*db(), directoryId, localPath, distantDirPath(directoryId),
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
    if (inFlightCount >= kSaturationThreshold) {
        VORN_SYNC_TRACE(kTag, "periodicSynchronization",
                        QStringLiteral("Skipped: worker saturated (%1 tasks in flight, threshold %2)")
                            .arg(inFlightCount)
                            .arg(kSaturationThreshold));
        // A worker that hangs has no excuse.
        if (std::exchange(hasTaskEnded, false) && db())
            VornSyncProgressNotes(*db()).noteSaturation();
        return;
    }
    ++cycleNumber;
    cycleRunning = true;
    observations.beginCycle();
    VORN_SYNC_TRACE(kTag, "periodicSynchronization",
                    QStringLiteral("Start synchronisation (cycle #%1, in-flight=%2)")
                        .arg(cycleNumber)
                        .arg(inFlightCount));
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
    if (!db())
        return;
    const qint64 budgetMs =
        qMax(kVerificationBudgetMinimumMs, qint64(syncIntervalMs) * kVerificationBudgetPercent / 100);
    QElapsedTimer elapsed;
    elapsed.start();

    const QList<int> idList = db()->getDirectoryIds(true);
    const QSet<int> availableIds(idList.begin(), idList.end());
    bool isRefilled = false;
    int verified = 0;
    int diverged = 0;
    while (elapsed.elapsed() < budgetMs && !isStopping()) {
        if (verifyQueue.isEmpty()) {
            if (isRefilled)
                break;
            isRefilled = true;
            refillVerifyQueue(idList, budgetMs);
            if (verifyQueue.isEmpty())
                break;
        }
        verifyNext(availableIds, verified, diverged);
    }
    if (verified > 0)
        VORN_SYNC_TRACE(kTag, "verifyUpToDateFilesBudgeted",
                        QStringLiteral("Checked %1 files in %2 ms, %3 diverged, %4 left in queue")
                            .arg(verified)
                            .arg(elapsed.elapsed())
                            .arg(diverged)
                            .arg(verifyQueue.size()));
}

void VornSyncSynchronizer::refillVerifyQueue(const QList<int>& directoryIds, qint64 budgetMs)
{
    const qint64 nowSecs = QDateTime::currentSecsSinceEpoch();
    for (int directoryId : directoryIds) {
        const int queuedBefore = verifyQueue.size();
        db()->readFileNames(directoryId, ceSfsUpToDate, [this, directoryId](const QString& fileName) {
            verifyQueue.append(directoryId, fileName);
        });
        noteRound(verifyRounds.begin(directoryId, verifyQueue.size() - queuedBefore, nowSecs));
    }
    verifyQueue.squeeze();
    VORN_SYNC_TRACE(
        kTag, "verifyUpToDateFilesBudgeted",
        QStringLiteral("Refilled queue with %1 files (budget %2 ms)").arg(verifyQueue.size()).arg(budgetMs));
}

// The queue may be hours old: the row is read again, and only what is still up to date is verified.
void VornSyncSynchronizer::verifyNext(const QSet<int>& availableIds, int& verified, int& diverged)
{
    const VornSyncVerifyQueue::Entry entry = verifyQueue.takeFirst();
    const bool isAnswered =
        availableIds.contains(entry.directoryId) && verifyEntry(entry, verified, diverged);
    noteRound(verifyRounds.end(entry.directoryId, entry.fileName, isAnswered));
}

bool VornSyncSynchronizer::verifyEntry(const VornSyncVerifyQueue::Entry& entry, int& verified, int& diverged)
{
    VornSyncFileRow row;
    bool found = false;
    if (!VornSyncTypes::isValidFileName(entry.fileName) ||
        !db()->readFileRow(entry.directoryId, entry.fileName, row, found))
        return false;
    if (!found || row.status != ceSfsUpToDate)
        return true;
    const bool isAnswered = verifyFile(entry.directoryId, entry.fileName, row.size);
    ++verified;
    if (db()->getFileStatus(entry.directoryId, entry.fileName) != ceSfsUpToDate)
        ++diverged;
    return isAnswered;
}

void VornSyncSynchronizer::noteRound(const VornSyncVerifyRounds::Ended& ended)
{
    if (ended)
        VornSyncProgressNotes(*db()).noteRound(*ended);
}

void VornSyncSynchronizer::verifyOneUpToDateFile(int directoryId, const QString& fileName, qint64 dbSize)
{
    verifyFile(directoryId, fileName, dbSize);
}

bool VornSyncSynchronizer::verifyFile(int directoryId, const QString& fileName, qint64 dbSize)
{
    if (isRenameLocked(directoryId, fileName)) {
        VORN_SYNC_TRACE(kTag, "verifyOneUpToDateFile",
                        QStringLiteral("Skip %1: rename in progress").arg(named(fileName, directoryId)));
        return false;
    }
    const QString localDir = localDirPath(directoryId);
    const QString distantDir = distantDirPath(directoryId);
    if (localDir.isEmpty() || distantDir.isEmpty())
        return false;
    VornSyncVerification verification(*db(), observations, renames, directoryId, fileName, dbSize);
    if (verification.verify(joined(localDir, fileName), joined(distantDir, fileName)))
        emit errorStateChanged();
    return verification.isAnswered();
}

void VornSyncSynchronizer::purgeExpiredTrash()
{
    if (!db())
        return;
    const QDateTime cutoff = QDateTime::currentDateTimeUtc().addDays(-kTrashRetentionDays);
    bool isRowRemoved = false;
    const QList<int> directoryIds = db()->getDirectoryIds(false);
    for (int directoryId : directoryIds) {
        const QStringList fileNames = db()->getTrashedFilesOlderThan(directoryId, cutoff);
        for (const QString& fileName : fileNames) {
            if (isStopping())
                return;
            if (!VornSyncTypes::isValidFileName(fileName) ||
                !isTombstoned(db()->getFileStatus(directoryId, fileName)))
                continue;
            // A row whose file is still in the trash must stay: it alone says that the file is there.
            if (removeFromTrash(directoryId, fileName) && db()->removeTombstone(directoryId, fileName))
                isRowRemoved = true;
        }
    }
    if (isRowRemoved)
        emit errorStateChanged();
}

// --- Dispatch -------------------------------------------------------------------------------------------

bool VornSyncSynchronizer::startProcessing(int directoryId, const QString& fileName,
                                           SyncFileStatus targetStatus, bool& localPresent)
{
    Start start{directoryId, fileName, targetStatus};
    return isStartable(start, localPresent) && markStarted(start);
}

bool VornSyncSynchronizer::isStartable(Start& start, bool& localPresent)
{
    localPresent = true;
    const int directoryId = start.directoryId;
    const QString& fileName = start.fileName;
    if (isRenameLocked(directoryId, fileName)) {
        VORN_SYNC_TRACE(kTag, "startProcessing",
                        QStringLiteral("Skip %1: rename in progress").arg(named(fileName, directoryId)));
        return false;
    }
    start.status = db()->getFileStatus(directoryId, fileName, &start.hadRow);
    if (isPending(start.status) || isInProgress(start.status)) {
        VORN_SYNC_TRACE(kTag, "startProcessing",
                        QStringLiteral("file: '%1' in directory %2 is already being processed (status =%3)")
                            .arg(fileName, QString::number(directoryId), statusName(start.status)));
        return false;
    }
    return isLocalReady(directoryId, fileName, start.status, start.targetStatus, localPresent);
}

bool VornSyncSynchronizer::markStarted(const Start& start)
{
    const VornSyncFileKey key(start.directoryId, start.fileName);
    // What a rename in the way would have to restore.
    const int errorCode = isInError(start.status) ? db()->getFileErrorCode(key.first, key.second) : ceSecNone;
    if (!db()->setFileStatusIf(key.first, key.second, start.status, start.targetStatus))
        return false;
    // A rename that took the name meanwhile looks at status and flight after it has the lock; one of both yields.
    flights.setStarting(key, true);
    if (!isRenameLocked(key.first, key.second))
        return true;
    flights.setStarting(key, false);
    VORN_SYNC_TRACE(kTag, "startProcessing",
                    QStringLiteral("Skip %1: rename in progress").arg(named(key.second, key.first)));
    // What the host set meanwhile is its word, and stays.
    VornSqliteTransaction transaction(*db());
    if (db()->getFileStatus(key.first, key.second) == start.targetStatus)
        restoreStatus(key.first, key.second, start.hadRow, start.status, errorCode);
    transaction.commit();
    return false;
}

// The file's road from its status at rest into the task is one transaction: with thousands of files to start, the
// commits cost more than all the rest. The disk is not asked while it lasts, since the host's thread may wait for it.
bool VornSyncSynchronizer::startCopy(int directoryId, const QString& fileName)
{
    Start start{directoryId, fileName, ceSfsPendingSync};
    bool localPresent = false;
    if (!isStartable(start, localPresent))
        return false;
    const QString localDir = localDirPath(directoryId);
    const QString distantDir = distantDirPath(directoryId);
    const QString source = joined(localDir, fileName);
    const QString destination = joined(distantDir, fileName);
    pVornSyncTask task;
    if (!localDir.isEmpty() && !distantDir.isEmpty())
        task = VornSyncTask::create(source, destination, ceStoCopy);
    if (!task) // doTask says why
        return markStarted(start) && doTask(localDir, distantDir, fileName, directoryId, ceStoCopy);

    bool isMarked = false;
    bool isRunning = false;
    {
        VornSqliteTransaction transaction(*db());
        isMarked = markStarted(start);
        if (isMarked)
            traceOperation(source, destination, ceStoCopy);
        isRunning = isMarked && db()->updateStatusToProcess(directoryId, fileName);
        isRunning = transaction.commit() && isRunning;
    }
    if (isRunning)
        dispatch(task, directoryId, fileName);
    else if (isMarked)
        putInError(directoryId, fileName, ceSecTaskCreationFailed);
    flights.setStarting({directoryId, fileName}, false);
    return isRunning;
}

void VornSyncSynchronizer::traceOperation(const QString& source, const QString& destination,
                                          SyncOperation operation)
{
    VORN_SYNC_TRACE(kTag, "doTask",
                    QStringLiteral("Operation: %1 between source: '%2' and destination: '%3'.")
                        .arg(VornSyncTypes::operationName(operation), source, destination));
}

bool VornSyncSynchronizer::isLocalReady(int directoryId, const QString& fileName, int status,
                                        SyncFileStatus targetStatus, bool& localPresent)
{
    const QString localDir = localDirPath(directoryId);
    VornSyncFileFacts local;
    if (!localDir.isEmpty())
        local = VornSyncFiles::facts(joined(localDir, fileName));
    const bool isRestore = targetStatus == ceSfsPendingRestore;
    if (local.presence == VornSyncPresence::Absent && isTombstoned(status) && !isRestore) {
        // That it is gone is what the row says: a request that was on its way when the host deleted it.
        VORN_SYNC_TRACE(
            kTag, "startProcessing",
            QStringLiteral("Skip %1: tombstoned (%2)").arg(named(fileName, directoryId), statusName(status)));
        localPresent = false;
        return false;
    }
    if (local.presence == VornSyncPresence::Absent && isRenameLocked(directoryId, fileName)) {
        VORN_SYNC_TRACE(kTag, "startProcessing",
                        QStringLiteral("Skip %1: rename in progress").arg(named(fileName, directoryId)));
        return false;
    }
    if (local.presence == VornSyncPresence::Absent) {
        emitError(QStringLiteral("ERROR: Impossible to process synchronization, local file does not exist: "
                                 "'%1'.")
                      .arg(fileName));
        putInErrorIf(directoryId, fileName, status, ceSecLocalFileMissing);
        localPresent = false;
        return false;
    }
    if (local.presence == VornSyncPresence::Unknown) {
        VORN_SYNC_TRACE(
            kTag, "startProcessing",
            QStringLiteral("Skip %1: no certain answer from the disk").arg(named(fileName, directoryId)));
        return false;
    }
    if (!local.isPlainFile) {
        emitError(QStringLiteral("ERROR: Impossible to process synchronization, not a plain file: '%1'.")
                      .arg(fileName));
        return false;
    }
    return true;
}

void VornSyncSynchronizer::restoreStatus(int directoryId, const QString& fileName, bool hadRow, int status,
                                         int errorCode)
{
    if (!hadRow) {
        db()->removeFileSync(directoryId, fileName);
    } else if (isTombstoned(status)) {
        db()->setFileTrashOrDeleted(directoryId, fileName, static_cast<SyncFileStatus>(status));
    } else {
        db()->setFileStatus(directoryId, fileName, VornSyncTypes::baseStatus(status), ceSecNone);
        if (isInError(status))
            db()->setFileStatus(directoryId, fileName, ceSfsError, errorCode);
    }
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
    return startCopy(directoryId, fileName);
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
    const bool isDispatched = createTask(sourceDir, destinationDir, fileName, directoryId, operation);
    flights.setStarting({directoryId, fileName}, false);
    return isDispatched;
}

bool VornSyncSynchronizer::createTask(const QString& sourceDir, const QString& destinationDir,
                                      const QString& fileName, int directoryId, SyncOperation operation)
{
    if (sourceDir.isEmpty() || destinationDir.isEmpty()) {
        emitError(QStringLiteral("ERROR: Failure to get folder for file: '%1' in directoryId: %2")
                      .arg(fileName, QString::number(directoryId)));
        putInError(directoryId, fileName, ceSecTaskCreationFailed);
        return false;
    }
    const QString source = joined(sourceDir, fileName);
    const QString destination = joined(destinationDir, fileName);
    traceOperation(source, destination, operation);

    const pVornSyncTask task = VornSyncTask::create(source, destination, operation);
    if (!task) {
        emitError(QStringLiteral("ERROR: Failure to create task for operation '%1'.")
                      .arg(VornSyncTypes::operationName(operation)));
        putInError(directoryId, fileName, ceSecTaskCreationFailed);
        return false;
    }
    if (!db()->updateStatusToProcess(directoryId, fileName)) {
        putInError(directoryId, fileName, ceSecTaskCreationFailed);
        return false;
    }
    dispatch(task, directoryId, fileName);
    return true;
}

void VornSyncSynchronizer::dispatch(const pVornSyncTask& task, int directoryId, const QString& fileName)
{
    const VornSyncFileKey key(directoryId, fileName);
    task->setDispatch(directoryId, fileName);
    connect(task.data(), &VornSyncTask::errorOccurred, this, &VornSyncSynchronizer::errorOccurred);
    dispatchedTasks.insert(task);
    ++inFlightCount;
    observations.remove(key); // the row is not up to date any more
    flights.begin(key);
    // A rename sends no content: an announced change still has to follow it.
    if (task->operation() == ceStoRename)
        flights.begin(targetOf(*task));
    else
        changedInFlight.remove(key);
    emit sigRunTask(task);
    emit syncStarted(task->sourcePath());
}

bool VornSyncSynchronizer::isFileInFlight(int directoryId, const QString& fileName) const
{
    return flights.contains({directoryId, fileName});
}

// A tombstone or a trashed row is the user's word: a failure of ours never replaces it.
bool VornSyncSynchronizer::putInError(int directoryId, const QString& fileName, SyncErrorCode code)
{
    const int status = db()->getFileStatus(directoryId, fileName);
    return !isTombstoned(status) && putInErrorIf(directoryId, fileName, status, code);
}

bool VornSyncSynchronizer::putInErrorIf(int directoryId, const QString& fileName, int status,
                                        SyncErrorCode code)
{
    const bool isSet = db()->setFileErrorIf(directoryId, fileName, status, code);
    emit errorStateChanged();
    return isSet;
}

// --- Completion -----------------------------------------------------------------------------------------

void VornSyncSynchronizer::onTaskDone(pVornSyncTask task, bool doneOk)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (!task)
        return;
    if (!hasDatabase())
        return;
    const bool isRetried = endTask(task, doneOk);
    if (!isRetried)
        dispatchedTasks.remove(task);
}

// False when the task is over, true when it will run again.
bool VornSyncSynchronizer::endTask(const pVornSyncTask& task, bool doneOk)
{
    VornSyncTaskResults results(*db(), renames, *task);
    if (results.directoryId() < 0) {
        const QFileInfo source(task->sourcePath());
        VORN_SYNC_TRACE(kTag, "onTaskDone",
                        QStringLiteral("Ignoring task for unknown directory: %1 (file: %2)")
                            .arg(source.path(), source.fileName()));
        results.releaseRename();
        completeTask(*task, false);
        return false;
    }
    doneOk = doneOk || VORN_PLANTED(failureIsSuccess);
    if (!doneOk && VornSyncTaskResults::attempts(*task) < kTaskAttempts) {
        retryTask(task);
        return true;
    }
    const bool outcome = doneOk && results.recordSuccess();
    if (!doneOk)
        results.recordFailure();
    if (!doneOk || task->operation() == ceStoRename)
        emit errorStateChanged();
    completeTask(*task, outcome);
    return false;
}

void VornSyncSynchronizer::retryTask(const pVornSyncTask& task)
{
    const int attempts = VornSyncTaskResults::attempts(*task);
    VORN_SYNC_TRACE(kTag, "onTaskDone",
                    QStringLiteral("Task on file '%1' FAILED => Retry to do it (%2 / %3). Error: %4")
                        .arg(QFileInfo(task->sourcePath()).fileName(), QString::number(attempts),
                             QString::number(kTaskAttempts), task->lastErrorMessage()));
    VornSyncProgressNotes(*db()).noteRetry(task->directoryId(), task->fileName());
    QTimer::singleShot(attempts * kRetryDelayStepMs, this, [this, task] { emit sigRunTask(task); });
}

void VornSyncSynchronizer::completeTask(const VornSyncTask& task, bool outcome)
{
    const VornSyncFileKey key(task.directoryId(), task.fileName());
    const bool isOurs = task.directoryId() >= 0;
    const bool isRename = isOurs && task.operation() == ceStoRename;
    bool isRemoveDeferred = false;
    if (!isOurs && VORN_PLANTED(countFileReady))
        ++inFlightCount;
    if (isOurs) {
        inFlightCount = qMax(0, inFlightCount - 1);
        hasTaskEnded = true;
        isRemoveDeferred = flights.end(key);
    }
    if (isRemoveDeferred)
        replayDistantRemove(key);
    if (isRename && flights.end(targetOf(task)))
        replayDistantRemove(targetOf(task));

    VORN_SYNC_TRACE(kTag, "onTaskDone",
                    QStringLiteral("Task on file '%1' %2 (in-flight=%3).")
                        .arg(task.sourcePath(), outcome ? QStringLiteral("done") : QStringLiteral("FAIL"),
                             QString::number(inFlightCount)));
    emit syncCompleted(task.sourcePath(), outcome);

    const bool isCopySent = isOurs && outcome && task.operation() == ceStoCopy;
    if (isCopySent && !isRemoveDeferred && !VORN_PLANTED(recordPresent) &&
        VornSyncTaskResults::isLocalDifferentFromSent(task))
        changedInFlight.insert(key);
    if (isRename)
        resendAnnounced({key, targetOf(task)});
    else if (isCopySent)
        resendAnnounced({key});
    else
        changedInFlight.remove(key);
}

// Sends what the host announced, or what was seen to change, while a task or a rename had the file. Of the two
// names of a rename, the announcement may have come under the one that is gone.
void VornSyncSynchronizer::resendAnnounced(const QList<VornSyncFileKey>& keys)
{
    bool isAnnounced = false;
    for (const VornSyncFileKey& key : keys)
        isAnnounced = changedInFlight.remove(key) || isAnnounced;
    if (!isAnnounced)
        return;
    for (const VornSyncFileKey& key : keys) {
        const QString path = joined(localDirPath(key.first), key.second);
        if (!isTombstoned(db()->getFileStatus(key.first, key.second)) &&
            isPlainFile(VornSyncFiles::facts(path)))
            copyToDistant(key.first, key.second);
    }
}

void VornSyncSynchronizer::replayDistantRemove(const VornSyncFileKey& key)
{
    const bool isRemoved = removeDistantCopy(key.first, key.second);
    VORN_SYNC_TRACE(kTag, "onTaskDone",
                    QStringLiteral("Replayed deferred distant remove for %1: %2")
                        .arg(named(key.second, key.first),
                             isRemoved ? QStringLiteral("done") : QStringLiteral("FAILED")));
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
        dispatch(task, directoryId, oldFileName);
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
    resendAnnounced({{directoryId, oldFileName}, {directoryId, newFileName}});
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
        this, [this, keys] { resendAnnounced(keys); }, Qt::QueuedConnection);
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
        changedInFlight.insert({directoryId, fileName});
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
    const bool isDeferred = flights.deferDistantRemove({directoryId, fileName});
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
    if (distantDir.isEmpty())
        return false;
    const QString path = joined(distantDir, fileName);
    switch (VornSyncFiles::facts(path).presence) {
    case VornSyncPresence::Absent:
        return true;
    case VornSyncPresence::Unknown:
        return false;
    case VornSyncPresence::Present:
        return QFile::remove(path);
    }
    return false;
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
    const QString trashDir = trashDirPath(directoryId);
    if (trashDir.isEmpty())
        return false;
    const QString path = joined(trashDir, fileName);
    const VornSyncPresence presence = VornSyncFiles::facts(path).presence;
    if (presence != VornSyncPresence::Present)
        return presence == VornSyncPresence::Absent;
    VORN_SYNC_TRACE(
        kTag, "removeFromTrash",
        QStringLiteral("file: '%1' in directoryId: %2").arg(fileName, QString::number(directoryId)));
    if (QFile::remove(path))
        return true;
    emitError(QStringLiteral("ERROR: Failed to permanently delete file from trash: '%1'").arg(path));
    return false;
}

void VornSyncSynchronizer::removeFromLocalTrashIfExists(int directoryId, const QString& fileName)
{
    if (!db() || !VornSyncTypes::isValidFileName(fileName))
        return;
    const QString trashDir = trashDirPath(directoryId);
    if (trashDir.isEmpty())
        return;
    const QString path = joined(trashDir, fileName);
    if (VornSyncFiles::facts(path).presence != VornSyncPresence::Present)
        return;
    if (QFile::remove(path))
        VORN_SYNC_TRACE(kTag, "removeFromLocalTrashIfExists",
                        QStringLiteral("Dropped stale trash copy '%1' (dirId=%2)")
                            .arg(path, QString::number(directoryId)));
    else
        VORN_SYNC_TRACE(kTag, "removeFromLocalTrashIfExists",
                        QStringLiteral("Warning: failed to drop stale trash copy '%1'").arg(path));
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

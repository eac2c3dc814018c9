#include "vorn_sync_verifier.h"

#include "vorn_sync_database.h"
#include "vorn_sync_files.h"
#include "vorn_sync_log.h"
#include "vorn_sync_path_cache.h"
#include "vorn_sync_progress_notes.h"
#include "vorn_sync_rename_locks.h"
#include "vorn_sync_verification.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QThread>

namespace {

constexpr auto kTag = "Sync: ";

constexpr int kBudgetPercent = 20; // of the sync interval
constexpr qint64 kBudgetMinimumMs = 100;

} // namespace

VornSyncVerifier::VornSyncVerifier(VornSyncPathCache& paths, const VornSyncRenameLocks& renames,
                                   VornSyncObservations& observations, QObject* parent)
    : QObject(parent)
    , m_paths(paths)
    , m_renames(renames)
    , m_observations(observations)
{
}

qint64 VornSyncVerifier::budgetMs(int syncIntervalMs)
{
    return qMax(kBudgetMinimumMs, qint64(syncIntervalMs) * kBudgetPercent / 100);
}

void VornSyncVerifier::run(qint64 budgetMs)
{
    QElapsedTimer elapsed;
    elapsed.start();

    const QList<int> idList = m_database->getDirectoryIds(true);
    const QSet<int> availableIds(idList.begin(), idList.end());
    bool isRefilled = false;
    m_verified = 0;
    m_diverged = 0;
    while (elapsed.elapsed() < budgetMs && !QThread::currentThread()->isInterruptionRequested()) {
        if (verifyQueue.isEmpty()) {
            if (isRefilled)
                break;
            isRefilled = true;
            refill(idList, budgetMs);
            if (verifyQueue.isEmpty())
                break;
        }
        verifyNext(availableIds);
    }
    if (m_verified > 0)
        VORN_SYNC_TRACE(kTag, "verifyUpToDateFilesBudgeted",
                        QStringLiteral("Checked %1 files in %2 ms, %3 diverged, %4 left in queue")
                            .arg(m_verified)
                            .arg(elapsed.elapsed())
                            .arg(m_diverged)
                            .arg(verifyQueue.size()));
}

void VornSyncVerifier::refill(const QList<int>& directoryIds, qint64 budgetMs)
{
    const qint64 nowSecs = QDateTime::currentSecsSinceEpoch();
    for (int directoryId : directoryIds) {
        const int queuedBefore = verifyQueue.size();
        const auto append = [this, directoryId](const QString& fileName) {
            verifyQueue.append(directoryId, fileName);
        };
        // Names that were not all read are no round: it would be told that everything was verified.
        if (m_database->readFileNames(directoryId, ceSfsUpToDate, append))
            noteRound(m_rounds.begin(directoryId, verifyQueue.size() - queuedBefore, nowSecs));
    }
    verifyQueue.squeeze();
    VORN_SYNC_TRACE(
        kTag, "verifyUpToDateFilesBudgeted",
        QStringLiteral("Refilled queue with %1 files (budget %2 ms)").arg(verifyQueue.size()).arg(budgetMs));
}

// The queue may be hours old: the row is read again, and only what is still up to date is verified.
void VornSyncVerifier::verifyNext(const QSet<int>& availableIds)
{
    const VornSyncVerifyQueue::Entry entry = verifyQueue.takeFirst();
    const bool isAnswered = availableIds.contains(entry.directoryId) && verifyEntry(entry);
    noteRound(m_rounds.end(entry.directoryId, entry.fileName, isAnswered));
}

bool VornSyncVerifier::verifyEntry(const VornSyncVerifyQueue::Entry& entry)
{
    VornSyncFileRow row;
    bool found = false;
    if (!VornSyncTypes::isValidFileName(entry.fileName) ||
        !m_database->readFileRow(entry.directoryId, entry.fileName, row, found))
        return false;
    if (!found || row.status != ceSfsUpToDate)
        return true;
    const bool isAnswered = verify(entry.directoryId, entry.fileName, row.size);
    ++m_verified;
    if (m_database->getFileStatus(entry.directoryId, entry.fileName) != ceSfsUpToDate)
        ++m_diverged;
    return isAnswered;
}

void VornSyncVerifier::noteRound(const VornSyncVerifyRounds::Ended& ended)
{
    if (ended)
        VornSyncProgressNotes(*m_database).noteRound(*ended);
}

bool VornSyncVerifier::verify(int directoryId, const QString& fileName, qint64 dbSize)
{
    if (m_renames.isLocked(directoryId, fileName)) {
        VORN_SYNC_TRACE(
            kTag, "verifyOneUpToDateFile",
            QStringLiteral("Skip %1: rename in progress").arg(VornSyncLog::named(fileName, directoryId)));
        return false;
    }
    const QString localDir = m_paths.localDir(directoryId);
    const QString distantDir = m_paths.distantDir(directoryId);
    if (localDir.isEmpty() || distantDir.isEmpty())
        return false;
    VornSyncVerification verification(*m_database, m_observations, m_renames, directoryId, fileName, dbSize);
    if (verification.verify(VornSyncFiles::joined(localDir, fileName),
                            VornSyncFiles::joined(distantDir, fileName)))
        emit errorStateChanged();
    return verification.isAnswered();
}

void VornSyncVerifier::clear(int directoryId)
{
    verifyQueue.clear(directoryId);
    m_rounds.clear(directoryId);
}

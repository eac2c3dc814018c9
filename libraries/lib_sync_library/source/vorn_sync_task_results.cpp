#include "vorn_sync_task_results.h"

#include "vorn_planted_bugs.h"
#include "vorn_sync_database.h"
#include "vorn_sync_log.h"
#include "vorn_sync_rename_locks.h"
#include "vorn_sync_times.h"

#include <QFileInfo>

namespace {

constexpr auto kTag = "Sync: ";

QDateTime timeOf(const QString& path)
{
    const VornSyncFileFacts facts = VornSyncFiles::facts(path);
    return facts.isPlainFile ? VornSyncTimes::fromSecs(facts.lmdSecs) : QDateTime();
}

} // namespace

VornSyncTaskResults::VornSyncTaskResults(VornSyncDatabase& database, VornSyncRenameLocks& renames,
                                         const VornSyncTask& task)
    : m_database(database)
    , m_renames(renames)
    , m_task(task)
    , m_fileName(QFileInfo(task.sourcePath()).fileName())
    , m_directoryId(findDirectory())
{
}

// Required: a move back, whose source lies in the trash, finds no directory here; its row stays in
// ceSfsRestoring until it is stale.
int VornSyncTaskResults::findDirectory() const
{
    if (m_task.directoryId() < 0)
        return VornSyncTypes::kNoDirectoryId;
    const bool isRename = m_task.operation() == ceStoRename;
    const QString sourceDir = QFileInfo(m_task.sourcePath()).path();
    const int found = isRename ? m_database.getDirectoryIdByDistantPath(sourceDir)
                               : m_database.getDirectoryIdByLocalPath(sourceDir);
    if (found >= 0)
        return found;
    // Two pairs on one distant directory, or a path written with a separator at its end.
    const QString remembered = isRename ? m_database.getDirectoryDistantPath(m_task.directoryId())
                                        : m_database.getDirectoryLocalPath(m_task.directoryId());
    const bool isStillThere =
        !remembered.isEmpty() && remembered + QLatin1Char('/') + m_task.fileName() == m_task.sourcePath();
    return isStillThere ? m_task.directoryId() : VornSyncTypes::kNoDirectoryId;
}

bool VornSyncTaskResults::recordSuccess()
{
    switch (m_task.operation()) {
    case ceStoCopy:
        return recordCopy();
    case ceStoMove:
        return m_database.setFileTrashed(m_directoryId, m_fileName);
    case ceStoMoveBack:
        return m_database.unmarkFileTrashed(m_directoryId, m_fileName);
    case ceStoRename:
        return recordRename();
    }
    return false;
}

// What was sent is the file as it was when the task began, not as it may be now.
bool VornSyncTaskResults::recordCopy()
{
    const VornSyncFileFacts distant = VornSyncFiles::facts(m_task.destinationPath());
    const VornSyncFileFacts sent = m_task.checkedCopy().value_or(distant);
    // A copy to a fresh name is not checked. One that ended short gets no distant time: the next pass examines such
    // a row, and sends the file again. What is shorter than a checked copy is another workstation's newer version.
    const bool isWhole =
        sent.isPlainFile && (sent.size >= m_task.sourceSizeAtStart() || VORN_PLANTED(skipSizeCheck));
    // The share may have gone since.
    const qint64 distantLmdSecs = distant.isPlainFile ? distant.lmdSecs : sent.lmdSecs;
    const QDateTime distantLmd = isWhole ? VornSyncTimes::fromSecs(distantLmdSecs) : QDateTime();
    if (m_task.sourceSizeAtStart() >= 0 && !VORN_PLANTED(recordPresent))
        return m_database.recordCopy(m_directoryId, m_fileName, m_task.sourceSizeAtStart(),
                                     VornSyncTimes::fromSecs(m_task.sourceLmdSecsAtStart()), distantLmd);
    const VornSyncFileFacts local = VornSyncFiles::facts(m_task.sourcePath());
    return m_database.recordCopy(m_directoryId, m_fileName, local.size, timeOf(m_task.sourcePath()),
                                 distantLmd);
}

bool VornSyncTaskResults::recordRename()
{
    const QString newName = m_renames.committedName(m_directoryId, m_fileName);
    if (newName.isEmpty()) {
        VORN_SYNC_TRACE(kTag, "onTaskDone",
                        QStringLiteral("Rename completion without pending entry for '%1' (dirId=%2). "
                                       "BD update skipped.")
                            .arg(m_fileName, QString::number(m_directoryId)));
        return false;
    }
    const QString localDir = m_database.getDirectoryLocalPath(m_directoryId);
    const bool isRenamed = renameRow(m_database, m_directoryId, m_fileName, newName,
                                     VornSyncFiles::facts(VornSyncFiles::joined(localDir, newName)));
    releaseRename();
    return isRenamed;
}

// A tombstone under the new name is the file's row when the host has deleted the file since it renamed it, and
// a leftover of an older file when the file is there.
bool VornSyncTaskResults::renameRow(VornSyncDatabase& database, int directoryId, const QString& oldName,
                                    const QString& newName, const VornSyncFileFacts& newLocal)
{
    const bool isDeleted = newLocal.presence == VornSyncPresence::Absent &&
                           database.getFileStatus(directoryId, newName) == ceSfsDeleted;
    return isDeleted ? database.removeFileSync(directoryId, oldName)
                     : database.renameFileOverTombstone(directoryId, oldName, newName);
}

void VornSyncTaskResults::recordFailure()
{
    VORN_SYNC_TRACE(kTag, "onTaskDone",
                    QStringLiteral("Task on file '%1' FAILED after %2 attempts. Last error: %3")
                        .arg(m_fileName, QString::number(attempts(m_task)), m_task.lastErrorMessage()));
    // A tombstone or a trashed row is the user's word: a failure of ours never replaces it.
    const int status = m_database.getFileStatus(m_directoryId, m_fileName);
    if (!VornSyncTypes::isTombstoned(status))
        m_database.setFileErrorIf(m_directoryId, m_fileName, status,
                                  m_task.errorCode() == ceSecNone ? ceSecMaxRetriesExceeded
                                                                  : m_task.errorCode());
    releaseRename();
}

void VornSyncTaskResults::releaseRename()
{
    const int id = m_task.directoryId();
    if (m_task.operation() == ceStoRename && id >= 0)
        m_renames.release(id, m_task.fileName(), m_renames.committedName(id, m_task.fileName()));
}

int VornSyncTaskResults::attempts(const VornSyncTask& task)
{
    return qMax(int(task.errorMessages().size()), task.runCount());
}

bool VornSyncTaskResults::isLocalDifferentFromSent(const VornSyncTask& task)
{
    const VornSyncFileFacts local = VornSyncFiles::facts(task.sourcePath());
    if (!local.isPlainFile || task.sourceSizeAtStart() < 0)
        return false;
    return local.size != task.sourceSizeAtStart() || local.lmdSecs != task.sourceLmdSecsAtStart() ||
           local.lmdNanosecs != task.sourceLmdNanosecsAtStart();
}

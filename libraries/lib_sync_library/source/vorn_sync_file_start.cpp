#include "vorn_sync_file_start.h"

#include "vorn_sqlite_transaction.h"
#include "vorn_sync_database.h"
#include "vorn_sync_files.h"
#include "vorn_sync_flight_table.h"
#include "vorn_sync_log.h"
#include "vorn_sync_path_cache.h"
#include "vorn_sync_rename_locks.h"

using VornSyncTypes::isInError;
using VornSyncTypes::isInProgress;
using VornSyncTypes::isPending;
using VornSyncTypes::isTombstoned;
using VornSyncTypes::statusName;

namespace {

constexpr auto kTag = "Sync: ";

} // namespace

VornSyncFileStart::VornSyncFileStart(VornSyncDatabase& database, VornSyncPathCache& paths,
                                     const VornSyncRenameLocks& renames, VornSyncFlightTable& flights,
                                     const VornSyncFileKey& key, SyncFileStatus targetStatus)
    : m_database(database)
    , m_paths(paths)
    , m_renames(renames)
    , m_flights(flights)
    , m_directoryId(key.first)
    , m_fileName(key.second)
    , m_targetStatus(targetStatus)
{
}

bool VornSyncFileStart::isPossible()
{
    if (isRenameLocked()) {
        traceSkip(QStringLiteral("rename in progress"));
        return false;
    }
    m_status = m_database.getFileStatus(m_directoryId, m_fileName, &m_hadRow);
    if (isPending(m_status) || isInProgress(m_status)) {
        VORN_SYNC_TRACE(kTag, "startProcessing",
                        QStringLiteral("file: '%1' in directory %2 is already being processed (status =%3)")
                            .arg(m_fileName, QString::number(m_directoryId), statusName(m_status)));
        return false;
    }
    return isLocalReady();
}

bool VornSyncFileStart::isLocalReady()
{
    const QString localDir = m_paths.localDir(m_directoryId);
    VornSyncFileFacts local;
    if (!localDir.isEmpty())
        local = VornSyncFiles::facts(VornSyncFiles::joined(localDir, m_fileName));
    switch (local.presence) {
    case VornSyncPresence::Absent:
        refuseAbsent();
        return false;
    case VornSyncPresence::Unknown:
        traceSkip(QStringLiteral("no certain answer from the disk"));
        return false;
    case VornSyncPresence::Present:
        break;
    }
    if (!local.isPlainFile)
        m_error = QStringLiteral("ERROR: Impossible to process synchronization, not a plain file: '%1'.")
                      .arg(m_fileName);
    return local.isPlainFile;
}

void VornSyncFileStart::refuseAbsent()
{
    if (isTombstoned(m_status) && m_targetStatus != ceSfsPendingRestore) {
        // That it is gone is what the row says: a request that was on its way when the host deleted it.
        traceSkip(QStringLiteral("tombstoned (%1)").arg(statusName(m_status)));
        m_isLocalGone = true;
    } else if (isRenameLocked()) {
        traceSkip(QStringLiteral("rename in progress"));
    } else {
        m_error =
            QStringLiteral("ERROR: Impossible to process synchronization, local file does not exist: '%1'.")
                .arg(m_fileName);
        m_isLocalGone = true;
    }
}

bool VornSyncFileStart::mark()
{
    // What a rename in the way would have to restore.
    const int errorCode =
        isInError(m_status) ? m_database.getFileErrorCode(m_directoryId, m_fileName) : ceSecNone;
    if (!m_database.setFileStatusIf(m_directoryId, m_fileName, m_status, m_targetStatus))
        return false;
    // A rename that took the name meanwhile looks at status and flight after it has the lock; one of both yields.
    m_flights.setStarting({m_directoryId, m_fileName}, true);
    if (!isRenameLocked())
        return true;
    m_flights.setStarting({m_directoryId, m_fileName}, false);
    traceSkip(QStringLiteral("rename in progress"));
    // What the host set meanwhile is its word, and stays.
    VornSqliteTransaction transaction(m_database);
    if (m_database.getFileStatus(m_directoryId, m_fileName) == m_targetStatus)
        restoreRow(errorCode);
    transaction.commit();
    return false;
}

void VornSyncFileStart::restoreRow(int errorCode)
{
    if (!m_hadRow) {
        m_database.removeFileSync(m_directoryId, m_fileName);
    } else if (isTombstoned(m_status)) {
        m_database.setFileTrashOrDeleted(m_directoryId, m_fileName, static_cast<SyncFileStatus>(m_status));
    } else {
        m_database.setFileStatus(m_directoryId, m_fileName, VornSyncTypes::baseStatus(m_status), ceSecNone);
        if (isInError(m_status))
            m_database.setFileStatus(m_directoryId, m_fileName, ceSfsError, errorCode);
    }
}

bool VornSyncFileStart::isRenameLocked() const
{
    return m_renames.isLocked(m_directoryId, m_fileName);
}

void VornSyncFileStart::traceSkip(const QString& reason) const
{
    VORN_SYNC_TRACE(kTag, "startProcessing",
                    QStringLiteral("Skip %1: %2").arg(VornSyncLog::named(m_fileName, m_directoryId), reason));
}

#include "vorn_sync_error_resolution.h"

#include "vorn_sqlite_transaction.h"
#include "vorn_sync_database.h"
#include "vorn_sync_log.h"

namespace {

constexpr auto kTag = "Sync: ";

} // namespace

VornSyncErrorResolution::VornSyncErrorResolution(VornSyncDatabase& database, int directoryId,
                                                 const QString& fileName, int rawStatus)
    : m_database(database)
    , m_directoryId(directoryId)
    , m_fileName(fileName)
    , m_base(VornSyncTypes::baseStatus(rawStatus))
{
}

bool VornSyncErrorResolution::isShrunkDistant() const
{
    if (m_base != ceSfsUpToDate)
        return false;
    bool isCodeKnown = false;
    const int code = m_database.getFileErrorCode(m_directoryId, m_fileName, &isCodeKnown);
    if (!isCodeKnown)
        return true;
    if (code != ceSecCopySizeMismatch)
        return false;
    traceSkip("resolveFilesError", "distant copy shrank, waiting for user choice");
    return true;
}

bool VornSyncErrorResolution::examine(const QString& localDir, const QString& trashDir)
{
    bool isCodeKnown = false;
    m_code = m_database.getFileErrorCode(m_directoryId, m_fileName, &isCodeKnown);
    if (!isCodeKnown)
        return false;
    if (m_code == ceSecLocalFileMissing) {
        traceSkip("resolveFileError", "local missing, waiting for user confirmation");
        return false;
    }
    if (m_code == ceSecDistantFileMissing) {
        traceSkip("resolveFileError", "distant missing, waiting for user choice (restore vs delete)");
        return false;
    }
    m_presence = presence(localDir, trashDir);
    if (m_presence == VornSyncPresence::Unknown)
        traceSkip("resolveFileError", "no certain answer from the disk");
    return m_presence != VornSyncPresence::Unknown;
}

// Where the file must be for the failed operation to make sense: the trash, or the local directory. A base
// status that leads to no operation needs no file.
VornSyncPresence VornSyncErrorResolution::presence(const QString& localDir, const QString& trashDir) const
{
    switch (static_cast<SyncFileStatus>(m_base)) {
    case ceSfsPendingSync:
    case ceSfsSyncing:
    case ceSfsPendingDelete:
    case ceSfsDeleting:
        return VornSyncFiles::facts(VornSyncFiles::joined(localDir, m_fileName)).presence;
    case ceSfsTrashed:
    case ceSfsPendingRestore:
    case ceSfsRestoring:
        return VornSyncFiles::facts(VornSyncFiles::joined(trashDir, m_fileName)).presence;
    case ceSfsUnknown:
    case ceSfsUpToDate:
    case ceSfsDeleted:
    case ceSfsError:
        break;
    }
    return VornSyncPresence::Present;
}

bool VornSyncErrorResolution::clear()
{
    VornSqliteTransaction transaction(m_database);
    const bool isCleared = m_database.clearFileError(m_directoryId, m_fileName) &&
                           m_database.getFileStatus(m_directoryId, m_fileName) == m_base;
    if (isCleared && isRowObsolete())
        m_database.removeFileSync(m_directoryId, m_fileName);
    return transaction.commit() && isCleared;
}

// Required: the row of a failed operation mostly has an in-progress base, which every start refuses; it
// waits, cleared, until it is stale.
VornSyncErrorResolution::Retry VornSyncErrorResolution::retry() const
{
    if (isRowObsolete())
        return Retry::None;
    switch (static_cast<SyncFileStatus>(m_base)) {
    case ceSfsPendingSync:
    case ceSfsSyncing:
        return Retry::Copy;
    case ceSfsPendingDelete:
    case ceSfsDeleting:
        return Retry::MoveToTrash;
    case ceSfsPendingRestore:
    case ceSfsRestoring:
        return Retry::RestoreFromTrash;
    case ceSfsUpToDate:
        return m_code == ceSecCopySizeMismatch ? Retry::Copy : Retry::None;
    case ceSfsUnknown:
    case ceSfsTrashed:
    case ceSfsDeleted:
    case ceSfsError:
        break;
    }
    return Retry::None;
}

void VornSyncErrorResolution::traceSkip(const char* method, const char* reason) const
{
    VORN_SYNC_TRACE(kTag, method,
                    QStringLiteral("Skipping auto-retry for '%1' (dirId=%2): %3")
                        .arg(m_fileName, QString::number(m_directoryId), QLatin1String(reason)));
}

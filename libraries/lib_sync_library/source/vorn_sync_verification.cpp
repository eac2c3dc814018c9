#include "vorn_sync_verification.h"

#include "vorn_sync_database.h"
#include "vorn_sync_file_decision.h"
#include "vorn_sync_log.h"
#include "vorn_sync_observations.h"
#include "vorn_sync_rename_locks.h"
#include "vorn_sync_times.h"

namespace {

constexpr auto kTag = "Sync: ";

bool isPlainFile(const VornSyncFileFacts& facts)
{
    return facts.presence == VornSyncPresence::Present && facts.isPlainFile;
}

} // namespace

VornSyncVerification::VornSyncVerification(VornSyncDatabase& database, VornSyncObservations& observations,
                                           const VornSyncRenameLocks& renames, int directoryId,
                                           const QString& fileName, qint64 dbSize)
    : m_database(database)
    , m_observations(observations)
    , m_renames(renames)
    , m_directoryId(directoryId)
    , m_fileName(fileName)
    , m_dbSize(dbSize)
{
}

bool VornSyncVerification::verify(const QString& localPath, const QString& distantPath)
{
    const VornSyncFileFacts local = VornSyncFiles::facts(localPath);
    // The host may have taken the name since.
    if (m_renames.isLocked(m_directoryId, m_fileName))
        return false;
    m_isAnswered = local.presence == VornSyncPresence::Absent;
    if (m_isAnswered) {
        trace(QStringLiteral("Local file missing: '%1' (dirId=%2) -> Error")
                  .arg(m_fileName, QString::number(m_directoryId)));
        return putInError(ceSecLocalFileMissing);
    }
    const VornSyncFileFacts distant = VornSyncFiles::facts(distantPath);
    m_isAnswered =
        isPlainFile(local) && (isPlainFile(distant) || distant.presence == VornSyncPresence::Absent);
    if (isPlainFile(local) && distant.presence == VornSyncPresence::Absent)
        return observeDistantMissing();
    if (!isPlainFile(local) || !isPlainFile(distant))
        return false;
    m_observations.remove({m_directoryId, m_fileName});
    return compareSizes(local, distant);
}

bool VornSyncVerification::observeDistantMissing()
{
    const int count = m_observations.add({m_directoryId, m_fileName});
    if (count < VornSyncObservations::kBelievedCount) {
        trace(QStringLiteral("Distant file missing for '%1' (dirId=%2), observation %3 of %4")
                  .arg(m_fileName, QString::number(m_directoryId), QString::number(count),
                       QString::number(VornSyncObservations::kBelievedCount)));
        return false;
    }
    trace(QStringLiteral("Distant file missing for '%1' (dirId=%2) after %3 consecutive observations -> "
                         "Error/DistantFileMissing")
              .arg(m_fileName, QString::number(m_directoryId), QString::number(count)));
    m_observations.remove({m_directoryId, m_fileName});
    return putInError(ceSecDistantFileMissing);
}

bool VornSyncVerification::compareSizes(const VornSyncFileFacts& local, const VornSyncFileFacts& distant)
{
    VornSyncPassFile file;
    file.local = local;
    m_isAnswered = m_database.readFileRow(m_directoryId, m_fileName, file.row, file.hasRow);
    if (!m_isAnswered)
        return false;
    if (local.size != m_dbSize && !VornSyncFileDecision::isHeldByNewerDistant(file)) {
        traceSize("Local size mismatch", "local", local.size, "Unknown");
        return m_database.setFileStatusIf(m_directoryId, m_fileName, ceSfsUpToDate, ceSfsUnknown);
    }
    if (distant.size > m_dbSize) {
        traceSize("Distant grew", "distant", distant.size, "refresh BD");
        m_database.recordDistantGrown(m_directoryId, m_fileName, distant.size,
                                      VornSyncTimes::fromSecs(local.lmdSecs),
                                      VornSyncTimes::fromSecs(distant.lmdSecs), local.size);
        return false; // it stays up to date
    }
    if (distant.size < m_dbSize) {
        traceSize("Distant shrunk", "distant", distant.size, "Error");
        return putInError(ceSecCopySizeMismatch);
    }
    return false;
}

// Whatever the row has become since it was found up to date stays.
bool VornSyncVerification::putInError(int errorCode)
{
    m_database.setFileErrorIf(m_directoryId, m_fileName, ceSfsUpToDate, errorCode);
    return true;
}

void VornSyncVerification::trace(const QString& text) const
{
    VORN_SYNC_TRACE(kTag, "verifyOneUpToDateFile", text);
}

void VornSyncVerification::traceSize(const char* what, const char* side, qint64 size,
                                     const char* outcome) const
{
    trace(QStringLiteral("%1 on '%2' (dirId=%3): db=%4 %5=%6 -> %7")
              .arg(QLatin1String(what), m_fileName, QString::number(m_directoryId), QString::number(m_dbSize),
                   QLatin1String(side), QString::number(size), QLatin1String(outcome)));
}

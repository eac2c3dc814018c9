#include "vorn_sync_row_repairs.h"

#include "vorn_planted_bugs.h"
#include "vorn_sqlite_database.h"
#include "vorn_sqlite_transaction.h"
#include "vorn_sync_file_states.h"
#include "vorn_sync_log.h"
#include "vorn_sync_row_changes.h"
#include "vorn_sync_times.h"

#include <QSqlQuery>

namespace {

constexpr char kTag[] = "DB: ";

} // namespace

struct VornSyncRowRepairs::StaleRow
{
    QString fileName;
    int directoryId = VornSyncTypes::kNoDirectoryId;
    int status = ceSfsUnknown;
    qint64 size = 0;
    QString changedAt;
};

int VornSyncRowRepairs::resetOrphaned(QString& error)
{
    const QVariantList running = {int(ceSfsSyncing), int(ceSfsDeleting), int(ceSfsRestoring)};
    QVariantList names;
    {
        VornSqliteTransaction transaction(m_database);
        if (!m_database.executeQuery(
                names,
                QStringLiteral(
                    "SELECT file_name FROM file_tracking WHERE status IN (?, ?, ?) AND status != 17"),
                running))
            error = QStringLiteral("ERROR: Failed to query orphaned processing states");
        else if (names.isEmpty())
            return 0;
        else if (!m_database.executeQuery(
                     QStringLiteral(
                         "UPDATE file_tracking SET status = ? WHERE status IN (?, ?, ?) AND status != 17"),
                     QVariantList{int(ceSfsUnknown)} + running) ||
                 !transaction.commit())
            error = QStringLiteral("ERROR: Failed to cleanup orphaned processing states");
    }
    m_changes.noteAll();
    if (!error.isEmpty())
        return 0;
    VORN_SYNC_TRACE(
        kTag, "cleanupOrphanedProcessingStates",
        QStringLiteral("Reset %1 orphaned files from processing states to Unknown").arg(names.size()));
    return int(names.size());
}

bool VornSyncRowRepairs::isStale(int status, qint64 size, const QString& statusChangedAt, qint64 nowSecs)
{
    return VornSyncTypes::staleTimeoutSecs(status, size) <=
           nowSecs - VornSyncTimes::secsFromText(statusChangedAt);
}

int VornSyncRowRepairs::resetStale(const StillActiveTest& stillActive)
{
    QVector<StaleRow> staleRows;
    if (!readStale(staleRows)) {
        VORN_SYNC_TRACE(kTag, "cleanupStaleProcessingStates",
                        QStringLiteral("ERROR: cleanupStaleProcessingStates query failed"));
        return 0;
    }
    int resetCount = 0;
    int skippedCount = 0;
    for (const StaleRow& row : qAsConst(staleRows)) {
        if (VornSyncTypes::isInProgress(row.status) && stillActive &&
            stillActive(row.directoryId, row.fileName))
            ++skippedCount;
        else if (reset(row))
            ++resetCount;
    }
    if (resetCount > 0)
        VORN_SYNC_TRACE(kTag, "cleanupStaleProcessingStates",
                        QStringLiteral("Reset %1 stale files to Unknown").arg(resetCount));
    if (skippedCount > 0)
        VORN_SYNC_TRACE(kTag, "cleanupStaleProcessingStates",
                        QStringLiteral("Skipped %1 stale in-process rows still active on the worker side")
                            .arg(skippedCount));
    return resetCount;
}

bool VornSyncRowRepairs::readStale(QVector<StaleRow>& staleRows)
{
    if (VORN_PLANTED(noStaleRescue))
        return true;
    const qint64 nowSecs = QDateTime::currentSecsSinceEpoch();
    return m_database.forEachRow(
        QStringLiteral("SELECT file_name, directories_id, status, size, status_changed_at FROM "
                       "file_tracking WHERE status IN (?, ?, ?, ?, ?, ?) AND status != 17"),
        {int(ceSfsPendingSync), int(ceSfsSyncing), int(ceSfsPendingDelete), int(ceSfsDeleting),
         int(ceSfsPendingRestore), int(ceSfsRestoring)},
        [&](const QSqlQuery& row) {
            const StaleRow read{row.value(0).toString(), row.value(1).toInt(), row.value(2).toInt(),
                                row.value(3).toLongLong(), row.value(4).toString()};
            if (isStale(read.status, read.size, read.changedAt, nowSecs))
                staleRows << read;
        });
}

bool VornSyncRowRepairs::reset(const StaleRow& row)
{
    bool done = false;
    {
        VornSqliteTransaction transaction(m_database);
        done = transaction.isActive() && writeReset(row) && transaction.commit();
    }
    m_changes.note(row.directoryId, row.fileName);
    if (done)
        VORN_SYNC_TRACE(kTag, "cleanupStaleProcessingStates",
                        QStringLiteral("File '%1' (dirId=%2) reset from %3 to Unknown after %4s timeout")
                            .arg(row.fileName, QString::number(row.directoryId),
                                 VornSyncTypes::statusName(row.status),
                                 QString::number(VornSyncTypes::staleTimeoutSecs(row.status, row.size))));
    return done;
}

// Whoever moved the row on meanwhile knows better.
bool VornSyncRowRepairs::writeReset(const StaleRow& row)
{
    QVariantList unchanged;
    return m_database.executeQuery(unchanged,
                                   QStringLiteral("SELECT 1 FROM file_tracking WHERE file_name = ? AND "
                                                  "directories_id = ? AND status = ? AND "
                                                  "COALESCE(status_changed_at, '') = ?"),
                                   {VornSqliteDatabase::boundText(row.fileName), row.directoryId, row.status,
                                    VornSqliteDatabase::boundText(row.changedAt)}) &&
           !unchanged.isEmpty() &&
           VornSyncFileStates(m_database).write(row.directoryId, row.fileName, ceSfsUnknown, ceSecNone);
}

int VornSyncRowRepairs::clearTrashedDates()
{
    QVariantList changed;
    bool done = false;
    {
        VornSqliteTransaction transaction(m_database);
        done = m_database.executeQuery(
                   QStringLiteral("UPDATE file_tracking SET trashed_date = NULL WHERE trashed_date IS "
                                  "NOT NULL AND status != ? AND status != ?"),
                   {int(ceSfsTrashed), int(ceSfsDeleted)}) &&
               m_database.executeQuery(changed, QStringLiteral("SELECT changes() AS n")) &&
               transaction.commit();
    }
    m_changes.noteAll();
    if (!done) {
        VORN_SYNC_TRACE(kTag, "cleanupInconsistentTrashedDates",
                        QStringLiteral("ERROR: cleanupInconsistentTrashedDates query failed"));
        return 0;
    }
    const int count = changed.value(0).toInt();
    if (count != 0)
        VORN_SYNC_TRACE(kTag, "cleanupInconsistentTrashedDates",
                        QStringLiteral("Cleared trashed_date on %1 inconsistent rows").arg(count));
    return count;
}

#include "vorn_sync_counters.h"

#include "vorn_sqlite_database.h"
#include "vorn_sync_error_revision.h"
#include "vorn_sync_log.h"
#include "vorn_sync_status_counts.h"

#include <QSqlQuery>
#include <QVariantList>

namespace {

constexpr char kTag[] = "DB: ";

} // namespace

int VornSyncCounters::countByStatuses(const QList<int>& statuses)
{
    if (statuses.isEmpty())
        return 0;
    int files = 0;
    if (areTriggersInPlace() && VornSyncStatusCounts(m_database).count(statuses, files))
        return files;
    QVariantList values;
    const QString condition = VornSyncStatusCounts::isOneOf(statuses, values);
    QVariantList counts;
    if (!m_database.executeQuery(
            counts, QStringLiteral("SELECT COUNT(*) AS n FROM file_tracking WHERE ") + condition, values)) {
        VORN_SYNC_TRACE(kTag, "countFilesByStatuses",
                        QStringLiteral("ERROR: countFilesByStatuses query failed"));
        return 0;
    }
    return counts.value(0).toInt();
}

int VornSyncCounters::countInError(bool* succeeded)
{
    QVariantList counts;
    const bool done = m_database.executeQuery(
        counts,
        QStringLiteral("SELECT COUNT(*) AS n FROM file_tracking WHERE (status & ?) != 0 AND "
                       "error_code != 0"),
        {VornSyncTypes::kErrorBit});
    if (succeeded)
        *succeeded = done;
    if (!done)
        VORN_SYNC_TRACE(kTag, "countFilesInError", QStringLiteral("ERROR: countFilesInError query failed"));
    return done ? counts.value(0).toInt() : 0;
}

bool VornSyncCounters::readErrorFiles(const ErrorFileVisitor& visit)
{
    VornSyncErrorFile file;
    return m_database.forEachRow(
        QStringLiteral("SELECT ft.file_name, ft.status, ft.error_code,        ft.directories_id, "
                       "d.alias_name FROM file_tracking ft INNER JOIN directories d ON d.id = "
                       "ft.directories_id WHERE (ft.status & ?) != 0 AND ft.error_code != 0 ORDER BY "
                       "d.alias_name, ft.file_name"),
        {VornSyncTypes::kErrorBit}, [&](const QSqlQuery& row) {
            file.fileName = row.value(0).toString();
            file.status = row.value(1).toInt();
            file.errorCode = row.value(2).toInt();
            file.directoryId = row.value(3).toInt();
            file.aliasName = row.value(4).toString();
            visit(file);
        });
}

// Without one of its triggers a table says nothing. They are looked for when the schema is not the one in which they
// were found; they may have gone with a table that was moved aside.
std::optional<VornSyncKeptCounters> VornSyncCounters::kept()
{
    if (m_triggersSchema == kNoSchema && !areTriggersInPlace())
        return std::nullopt;
    int schema = kNoSchema;
    const std::optional<VornSyncKeptCounters> kept = readKept(schema);
    if (kept && schema == m_triggersSchema)
        return kept;
    const bool areKept = kept && areTriggersInPlace();
    m_triggersSchema = areKept ? schema : kNoSchema;
    return areKept ? kept : std::nullopt;
}

bool VornSyncCounters::areTriggersInPlace()
{
    static const int triggerCount =
        VornSyncStatusCounts::triggerCount() + VornSyncErrorRevision::triggerCount();
    QVariantList triggers;
    return m_database.executeQuery(
               triggers,
               QStringLiteral("SELECT COUNT(*) FROM sqlite_master WHERE type = 'trigger' AND tbl_name IN "
                              "('file_tracking', 'directories') AND (name GLOB ? OR name GLOB ?)"),
               {VornSyncStatusCounts::triggerPattern(), VornSyncErrorRevision::triggerPattern()}) &&
           triggers.value(0).toInt() == triggerCount;
}

std::optional<VornSyncKeptCounters> VornSyncCounters::readKept(int& schema)
{
    std::optional<VornSyncKeptCounters> kept;
    m_database.forEachRow(
        QStringLiteral("SELECT revision, (SELECT COALESCE(SUM(files), 0) FROM file_tracking_counts WHERE "
                       "status IN (?, ?, ?, ?)), (SELECT COALESCE(SUM(files), 0) FROM "
                       "file_tracking_counts WHERE status = ?), (SELECT schema_version FROM "
                       "pragma_schema_version) FROM file_tracking_errors"),
        {int(ceSfsUnknown), int(ceSfsPendingSync), int(ceSfsPendingDelete), int(ceSfsPendingRestore),
         int(ceSfsUpToDate)},
        [&](const QSqlQuery& row) {
            kept =
                VornSyncKeptCounters{row.value(1).toInt(), row.value(2).toInt(), row.value(0).toLongLong()};
            schema = row.value(3).toInt();
        });
    return kept;
}

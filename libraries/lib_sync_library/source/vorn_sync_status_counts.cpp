#include "vorn_sync_status_counts.h"

#include "vorn_sqlite_database.h"
#include "vorn_sync_schema_objects.h"
#include "vorn_sync_types.h"

#include <QSqlQuery>
#include <QStringList>

#include <algorithm>
#include <numeric>

using VornSyncSchemaObjects::table;
using VornSyncSchemaObjects::trigger;

namespace {

constexpr int kTriggerCount = 8;

// The fixed queries run over these: a directory's rows, the few that are not up to date, the rows in error, the trash. None
// holds what changes whenever a file is sent: a file under way would touch two pages of each index with every step.
QStringList indexStatements()
{
    return {
        QStringLiteral(
            "CREATE INDEX IF NOT EXISTS file_tracking_of_directory ON file_tracking (directories_id)"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS file_tracking_not_up_to_date ON file_tracking (status) "
                       "WHERE status != 17"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS file_tracking_in_error ON file_tracking (directories_id, "
                       "file_name, status, error_code) WHERE error_code != 0"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS file_tracking_with_trashed_date ON file_tracking "
                       "(trashed_date) WHERE trashed_date IS NOT NULL"),
        // Their predecessors.
        QStringLiteral("DROP INDEX IF EXISTS file_tracking_by_directory"),
        QStringLiteral("DROP INDEX IF EXISTS file_tracking_by_status"),
        QStringLiteral("DROP INDEX IF EXISTS file_tracking_with_error"),
    };
}

QVector<VornSyncSchemaObject> tables()
{
    return {
        table("file_tracking_counts",
              QStringLiteral("(status INTEGER NOT NULL, files INTEGER NOT NULL, PRIMARY KEY "
                             "(status)) WITHOUT ROWID")),
        table("file_tracking_in_the_way", QStringLiteral("(row_id INTEGER PRIMARY KEY, status INTEGER)")),
    };
}

// Rows that an INSERT OR REPLACE or UPDATE OR REPLACE takes away fire no DELETE trigger: the rows that stand
// in its way are written down before, and those that are gone are discounted after. Usually there are none,
// and the conditions keep that case cheap.
QVector<VornSyncSchemaObject> replaceTriggers()
{
    const QString isInTheWay =
        QStringLiteral("SELECT 1 FROM file_tracking WHERE file_name = NEW.file_name AND "
                       "directories_id = NEW.directories_id");
    // Of an insertion that does not name its row id, which is nearly every one, it is -1 before.
    const QString isRowInTheWay =
        QStringLiteral("NEW.rowid != -1 AND EXISTS (SELECT 1 FROM file_tracking WHERE rowid = NEW.rowid)");
    const QString noteInTheWay = QStringLiteral(
        "DELETE FROM file_tracking_in_the_way; INSERT INTO file_tracking_in_the_way (row_id, status) "
        "SELECT rowid, status FROM file_tracking "
        "WHERE (rowid = NEW.rowid OR (file_name = NEW.file_name AND directories_id = NEW.directories_id))");
    const QString discountReplaced = QStringLiteral(
        "UPDATE file_tracking_counts SET files = files - (SELECT COUNT(*) FROM file_tracking_in_the_way w "
        "WHERE w.status = file_tracking_counts.status AND (w.row_id = NEW.rowid OR NOT EXISTS "
        "(SELECT 1 FROM file_tracking WHERE rowid = w.row_id))); "
        "DELETE FROM file_tracking_in_the_way;");
    const QString someNoted = QStringLiteral("EXISTS (SELECT 1 FROM file_tracking_in_the_way)");

    return {
        trigger("file_tracking_counts_before_insert",
                QStringLiteral("BEFORE INSERT ON file_tracking WHEN %1 OR EXISTS (%2) OR (%3)")
                    .arg(someNoted, isInTheWay, isRowInTheWay),
                noteInTheWay + QLatin1Char(';')),
        trigger("file_tracking_counts_after_insert",
                QStringLiteral("AFTER INSERT ON file_tracking WHEN %1").arg(someNoted), discountReplaced),
        trigger("file_tracking_counts_before_key",
                QStringLiteral("BEFORE UPDATE OF file_name, directories_id, rowid ON file_tracking"),
                noteInTheWay + QLatin1String(" AND rowid != OLD.rowid;")),
        trigger("file_tracking_counts_after_key",
                QStringLiteral("AFTER UPDATE OF file_name, directories_id, rowid ON file_tracking WHEN %1")
                    .arg(someNoted),
                discountReplaced),
        trigger("file_tracking_counts_after_delete",
                QStringLiteral("AFTER DELETE ON file_tracking WHEN %1").arg(someNoted),
                QStringLiteral("DELETE FROM file_tracking_in_the_way WHERE row_id = OLD.rowid;")),
    };
}

QVector<VornSyncSchemaObject> countTriggers()
{
    const QString countNew =
        QStringLiteral("INSERT INTO file_tracking_counts (status, files) SELECT NEW.status, 0 "
                       "WHERE NEW.status IS NOT NULL AND NOT EXISTS "
                       "(SELECT 1 FROM file_tracking_counts WHERE status = NEW.status); "
                       "UPDATE file_tracking_counts SET files = files + 1 WHERE status = NEW.status;");
    const QString discountOld =
        QStringLiteral("UPDATE file_tracking_counts SET files = files - 1 WHERE status = OLD.status; ");

    return {
        trigger("file_tracking_counts_insert", QStringLiteral("AFTER INSERT ON file_tracking"), countNew),
        trigger("file_tracking_counts_delete", QStringLiteral("AFTER DELETE ON file_tracking"), discountOld),
        trigger("file_tracking_counts_status",
                QStringLiteral("AFTER UPDATE OF status ON file_tracking WHEN OLD.status IS NOT NEW.status"),
                discountOld + countNew),
    };
}

} // namespace

bool VornSyncStatusCounts::install()
{
    // A view of that name is counted row by row.
    if (!VornSyncSchemaObjects::isTable(m_database, "file_tracking"))
        return true;
    bool wasAnyMade = false;
    if (!VornSyncSchemaObjects::put(m_database, tables() + replaceTriggers() + countTriggers(), wasAnyMade))
        return false;
    const QStringList statements = indexStatements();
    for (const QString& statement : statements) {
        if (!m_database.executeQuery(statement))
            return false;
    }
    bool areRight = false;
    if (!wasAnyMade && (!areCountsRight(areRight) || areRight))
        return areRight;
    return recount();
}

int VornSyncStatusCounts::triggerCount()
{
    return kTriggerCount;
}

// Among a million rows nearly all are up to date, which is what the others leave of the whole: no row is looked at but
// those others.
bool VornSyncStatusCounts::areCountsRight(bool& right)
{
    Counts counted;
    Counts kept;
    qint64 files = 0;
    if (!readCounts(
            QStringLiteral("SELECT status, COUNT(*) FROM file_tracking WHERE status != 17 GROUP BY status"),
            counted) ||
        !readCounts(QStringLiteral("SELECT status, files FROM file_tracking_counts WHERE files != 0"),
                    kept) ||
        !m_database.forEachRow(QStringLiteral("SELECT COUNT(*) FROM file_tracking"), {},
                               [&files](const QSqlQuery& row) { files = row.value(0).toLongLong(); }))
        return false;
    const qint64 others = std::accumulate(counted.cbegin(), counted.cend(), qint64{0});
    if (files != others)
        counted.insert(QString::number(ceSfsUpToDate), files - others);
    right = counted == kept;
    return true;
}

bool VornSyncStatusCounts::readCounts(const QString& sql, Counts& counts)
{
    return m_database.forEachRow(sql, {}, [&counts](const QSqlQuery& row) {
        counts.insert(row.value(0).toString(), row.value(1).toLongLong());
    });
}

bool VornSyncStatusCounts::recount()
{
    return m_database.executeQuery(QStringLiteral("DELETE FROM file_tracking_counts")) &&
           m_database.executeQuery(
               QStringLiteral("INSERT INTO file_tracking_counts (status, files) SELECT status, COUNT(*) FROM "
                              "file_tracking WHERE status IS NOT NULL GROUP BY status"));
}

QString VornSyncStatusCounts::isOneOf(const QList<int>& statuses, QVariantList& values)
{
    QStringList placeholders;
    for (int status : statuses) {
        placeholders << QStringLiteral("?");
        values << status;
    }
    return QStringLiteral("status IN (%1)").arg(placeholders.join(QLatin1String(", ")));
}

bool VornSyncStatusCounts::count(const QList<int>& statuses, int& files)
{
    QVariantList values;
    const QString condition = isOneOf(statuses, values);
    QVariantList sum;
    if (!m_database.executeQuery(
            sum,
            QStringLiteral("SELECT COALESCE(SUM(files), 0) FROM file_tracking_counts WHERE ") + condition,
            values))
        return false;
    files = sum.value(0).toInt();
    return true;
}

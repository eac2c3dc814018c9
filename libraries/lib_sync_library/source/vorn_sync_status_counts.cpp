#include "vorn_sync_status_counts.h"

#include "vorn_sqlite_database.h"

#include <QSqlQuery>
#include <QStringList>

namespace {

constexpr int kTriggerCount = 8;

// The fixed queries run over these: a directory's rows, the rows of a status, the rows in error, the trash.
QStringList indexStatements()
{
    return {
        QStringLiteral("CREATE INDEX IF NOT EXISTS file_tracking_by_directory "
                       "ON file_tracking (directories_id, status)"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS file_tracking_by_status ON file_tracking (status)"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS file_tracking_in_error ON file_tracking (directories_id, "
                       "file_name, status, error_code) WHERE error_code != 0"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS file_tracking_with_trashed_date ON file_tracking "
                       "(trashed_date) WHERE trashed_date IS NOT NULL"),
        // The predecessor of file_tracking_in_error, which led to each row on a page of its own.
        QStringLiteral("DROP INDEX IF EXISTS file_tracking_with_error"),
    };
}

QStringList tableStatements()
{
    return {
        QStringLiteral("CREATE TABLE IF NOT EXISTS file_tracking_counts (status INTEGER NOT NULL, "
                       "files INTEGER NOT NULL, PRIMARY KEY (status)) WITHOUT ROWID"),
        QStringLiteral("CREATE TABLE IF NOT EXISTS file_tracking_in_the_way "
                       "(row_id INTEGER PRIMARY KEY, status INTEGER)"),
    };
}

QString trigger(const char* name, const QString& event, const QString& body)
{
    return QStringLiteral("CREATE TRIGGER IF NOT EXISTS file_tracking_counts_%1 %2 BEGIN %3 END")
        .arg(QLatin1String(name), event, body);
}

// Rows that an INSERT OR REPLACE or UPDATE OR REPLACE takes away fire no DELETE trigger: the rows that stand
// in its way are written down before, and those that are gone are discounted after. Usually there are none,
// and the conditions keep that case cheap.
QStringList replaceTriggerStatements()
{
    const QString isInTheWay =
        QStringLiteral("SELECT 1 FROM file_tracking WHERE file_name = NEW.file_name AND "
                       "directories_id = NEW.directories_id");
    const QString noteInTheWay = QStringLiteral(
        "DELETE FROM file_tracking_in_the_way; INSERT INTO file_tracking_in_the_way (row_id, status) "
        "SELECT rowid, status FROM file_tracking "
        "WHERE file_name = NEW.file_name AND directories_id = NEW.directories_id");
    const QString discountReplaced = QStringLiteral(
        "UPDATE file_tracking_counts SET files = files - (SELECT COUNT(*) FROM file_tracking_in_the_way w "
        "WHERE w.status = file_tracking_counts.status AND (w.row_id = NEW.rowid OR NOT EXISTS "
        "(SELECT 1 FROM file_tracking WHERE rowid = w.row_id))); "
        "DELETE FROM file_tracking_in_the_way;");
    const QString someNoted = QStringLiteral("EXISTS (SELECT 1 FROM file_tracking_in_the_way)");

    return {
        trigger("before_insert",
                QStringLiteral("BEFORE INSERT ON file_tracking WHEN %1 OR EXISTS (%2)")
                    .arg(someNoted, isInTheWay),
                noteInTheWay + QLatin1Char(';')),
        trigger("after_insert", QStringLiteral("AFTER INSERT ON file_tracking WHEN %1").arg(someNoted),
                discountReplaced),
        trigger("before_key", QStringLiteral("BEFORE UPDATE OF file_name, directories_id ON file_tracking"),
                noteInTheWay + QLatin1String(" AND rowid != OLD.rowid;")),
        trigger("after_key",
                QStringLiteral("AFTER UPDATE OF file_name, directories_id ON file_tracking WHEN %1")
                    .arg(someNoted),
                discountReplaced),
        trigger("after_delete", QStringLiteral("AFTER DELETE ON file_tracking WHEN %1").arg(someNoted),
                QStringLiteral("DELETE FROM file_tracking_in_the_way WHERE row_id = OLD.rowid;")),
    };
}

QStringList countTriggerStatements()
{
    const QString countNew =
        QStringLiteral("INSERT INTO file_tracking_counts (status, files) SELECT NEW.status, 0 "
                       "WHERE NEW.status IS NOT NULL AND NOT EXISTS "
                       "(SELECT 1 FROM file_tracking_counts WHERE status = NEW.status); "
                       "UPDATE file_tracking_counts SET files = files + 1 WHERE status = NEW.status;");
    const QString discountOld =
        QStringLiteral("UPDATE file_tracking_counts SET files = files - 1 WHERE status = OLD.status; ");

    return {
        trigger("insert", QStringLiteral("AFTER INSERT ON file_tracking"), countNew),
        trigger("delete", QStringLiteral("AFTER DELETE ON file_tracking"), discountOld),
        trigger("status",
                QStringLiteral("AFTER UPDATE OF status ON file_tracking WHEN OLD.status IS NOT NEW.status"),
                discountOld + countNew),
    };
}

} // namespace

bool VornSyncStatusCounts::install()
{
    // A view of that name has no triggers of this kind; it is counted row by row.
    QVariantList tables;
    if (!m_database.executeQuery(tables,
                                 QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table' AND "
                                                "name = 'file_tracking'")))
        return false;
    if (tables.isEmpty())
        return true;

    const bool wereInPlace = areTriggersInPlace();
    const QStringList statements =
        indexStatements() + tableStatements() + replaceTriggerStatements() + countTriggerStatements();
    for (const QString& statement : statements) {
        if (!m_database.executeQuery(statement))
            return false;
    }
    bool areRight = false;
    if (wereInPlace && (!areCountsRight(areRight) || areRight))
        return areRight;
    return recount();
}

int VornSyncStatusCounts::triggerCount()
{
    return kTriggerCount;
}

bool VornSyncStatusCounts::areTriggersInPlace()
{
    QVariantList names;
    return m_database.executeQuery(names,
                                   QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'trigger' AND "
                                                  "tbl_name = 'file_tracking' AND name GLOB ?"),
                                   {triggerPattern()}) &&
           names.size() == kTriggerCount;
}

// One walk over the index of the statuses, which is what takes time with a million rows.
bool VornSyncStatusCounts::areCountsRight(bool& right)
{
    Counts counted;
    Counts kept;
    if (!readCounts(
            QStringLiteral("SELECT status, COUNT(*) FROM file_tracking WHERE status IS NOT NULL GROUP "
                           "BY status"),
            counted) ||
        !readCounts(QStringLiteral("SELECT status, files FROM file_tracking_counts WHERE files != 0"), kept))
        return false;
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

bool VornSyncStatusCounts::count(const QList<int>& statuses, int& files)
{
    if (!areTriggersInPlace())
        return false;
    QStringList placeholders;
    QVariantList values;
    for (int status : statuses) {
        placeholders << QStringLiteral("?");
        values << status;
    }
    QVariantList sum;
    if (!m_database.executeQuery(
            sum,
            QStringLiteral("SELECT COALESCE(SUM(files), 0) FROM file_tracking_counts WHERE status IN (%1)")
                .arg(placeholders.join(QLatin1String(", "))),
            values))
        return false;
    files = sum.value(0).toInt();
    return true;
}

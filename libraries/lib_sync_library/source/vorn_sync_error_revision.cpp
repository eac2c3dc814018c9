#include "vorn_sync_error_revision.h"

#include "vorn_sqlite_database.h"
#include "vorn_sync_schema_objects.h"

using VornSyncSchemaObjects::table;
using VornSyncSchemaObjects::trigger;

namespace {

QVector<VornSyncSchemaObject> objects()
{
    const QString next = QStringLiteral("UPDATE file_tracking_errors SET revision = revision + 1;");
    // A row that a REPLACE takes away fires no DELETE trigger.
    const QString isErrorInTheWay =
        QStringLiteral("EXISTS (SELECT 1 FROM file_tracking WHERE error_code != 0 AND (rowid = NEW.rowid OR "
                       "(file_name = NEW.file_name AND directories_id = NEW.directories_id)))");
    return {
        table("file_tracking_errors",
              QStringLiteral("(id INTEGER PRIMARY KEY CHECK (id = 1), revision INTEGER NOT NULL)")),
        trigger("file_tracking_errors_insert",
                QStringLiteral("BEFORE INSERT ON file_tracking WHEN NEW.error_code != 0 OR ") +
                    isErrorInTheWay,
                next),
        trigger("file_tracking_errors_update",
                QStringLiteral("AFTER UPDATE OF status, error_code ON file_tracking WHEN "
                               "(NEW.error_code != 0 OR OLD.error_code != 0) AND (NEW.status IS NOT "
                               "OLD.status OR NEW.error_code IS NOT OLD.error_code)"),
                next),
        trigger("file_tracking_errors_key",
                QStringLiteral("BEFORE UPDATE OF file_name, directories_id, rowid ON file_tracking WHEN "
                               "OLD.error_code != 0 OR ") +
                    isErrorInTheWay,
                next),
        trigger("file_tracking_errors_delete",
                QStringLiteral("AFTER DELETE ON file_tracking WHEN OLD.error_code != 0"), next),
        trigger("file_tracking_errors_pair", QStringLiteral("AFTER INSERT ON directories"), next),
        // A local path, too, may take another pair away.
        trigger("file_tracking_errors_alias",
                QStringLiteral("AFTER UPDATE OF id, alias_name, local_path ON directories"), next),
        trigger("file_tracking_errors_no_pair", QStringLiteral("AFTER DELETE ON directories"), next),
    };
}

} // namespace

// The first number is a random one: that of another file, or of this one before it was made anew, is no other's.
bool VornSyncErrorRevision::install()
{
    if (!VornSyncSchemaObjects::isTable(m_database, "file_tracking") ||
        !VornSyncSchemaObjects::isTable(m_database, "directories"))
        return true;
    bool wasAnyMade = false;
    return VornSyncSchemaObjects::put(m_database, objects(), wasAnyMade) &&
           m_database.executeQuery(QStringLiteral("INSERT INTO file_tracking_errors (id, revision) SELECT 1, "
                                                  "random() / 2 WHERE NOT EXISTS (SELECT 1 FROM "
                                                  "file_tracking_errors)")) &&
           (!wasAnyMade || m_database.executeQuery(
                               QStringLiteral("UPDATE file_tracking_errors SET revision = random() / 2")));
}

int VornSyncErrorRevision::triggerCount()
{
    static const int count = int(objects().size()) - 1; // one is the table
    return count;
}

#include "vorn_sync_file_rows.h"

#include "vorn_sqlite_database.h"
#include "vorn_sync_distant_marks.h"
#include "vorn_sync_times.h"
#include "vorn_sync_types.h"

#include <QSqlQuery>

#include <limits>

namespace {

constexpr qint64 kLastRowId = std::numeric_limits<qint64>::max();

QString marksOfRows()
{
    return QStringLiteral("LEFT JOIN distant_newer_marks m ON m.file_name = f.file_name AND "
                          "m.directories_id = f.directories_id");
}

// No other directory has a row: the smallest and the largest are found at the ends of an index.
QString isOnlyDirectory()
{
    return QStringLiteral("(SELECT MIN(directories_id) FROM file_tracking) IS ? AND "
                          "(SELECT MAX(directories_id) FROM file_tracking) IS ?");
}

} // namespace

// As bytes: SQLite would make UTF-16 of each text for Qt. The bytes are UTF-8 only in a file of that encoding, as the
// library makes it.
bool VornSyncFileRows::readPart(int directoryId, const Plan& plan, Part& part)
{
    // Whether there can be rows for more than one part is asked of the counts: finding its end goes through its rows.
    const QString end = QStringLiteral(
        "WITH part(last) AS (SELECT IFNULL(CASE WHEN (SELECT SUM(files) FROM file_tracking_counts) <= ? THEN "
        "NULL ELSE (SELECT rowid FROM file_tracking WHERE directories_id = ? AND rowid >= ? ORDER BY rowid "
        "LIMIT 1 OFFSET ?) - 1 END, ?))");
    const QString columns = QStringLiteral(
        "COUNT(*), CAST('a' AS BLOB) = x'61', (SELECT last FROM part), "
        "CAST(group_concat(f.file_name, '/') AS BLOB), CAST(group_concat(IFNULL(f.size, 0)) AS BLOB), "
        "CAST(group_concat(IFNULL(f.local_lmd, '')) AS BLOB), "
        "CAST(group_concat(IFNULL(f.status, '') || ',' || (f.distant_lmd IS ?) || ',' || f.file_name, '/') "
        "FILTER (WHERE f.status IS NOT ? OR f.distant_lmd IS ?) AS BLOB)");
    const QString markColumns = QStringLiteral(", CAST(group_concat(IFNULL(m.local_size, '')) AS BLOB), "
                                               "CAST(group_concat(IFNULL(m.local_lmd, '')) AS BLOB)");
    const QString sql =
        QStringLiteral("%1 SELECT %2%3 FROM part CROSS JOIN file_tracking f %4 %5 WHERE "
                       "%6 AND f.rowid BETWEEN ? AND part.last")
            .arg(end, columns, plan.areMarks ? markColumns : QString(),
                 plan.isWholeTable ? QStringLiteral("NOT INDEXED") : QString(),
                 plan.areMarks ? marksOfRows() : QString(),
                 plan.isWholeTable ? isOnlyDirectory() : QStringLiteral("f.directories_id = ?"));
    bool isUtf8 = false;
    VornSyncPackedRows rows;
    const QString undefined = VornSyncTypes::undefinedTimeText();
    QVariantList values = {part.mostRows, directoryId, part.firstRowId,    part.mostRows,
                           kLastRowId,    undefined,   int(ceSfsUpToDate), undefined};
    // Asked once more, by the statement that reads: then it need not ask each row for its directory.
    values << QVariantList(plan.isWholeTable ? QVariantList{directoryId, directoryId}
                                             : QVariantList{directoryId});
    values << part.firstRowId;
    const bool done = m_database.forEachRow(sql, values, [&](const QSqlQuery& read) {
        rows.count = read.value(0).toInt();
        isUtf8 = read.value(1).toBool();
        part.lastRowId = read.value(2).toLongLong();
        rows.names = read.value(3).toByteArray();
        rows.sizes = read.value(4).toByteArray();
        rows.localLmds = read.value(5).toByteArray();
        rows.others = read.value(6).toByteArray();
        if (plan.areMarks) {
            rows.markedSizes = read.value(7).toByteArray();
            rows.markedLmds = read.value(8).toByteArray();
        }
    });
    part.rows = rows;
    return done && isUtf8 && rows.count > 0 && rows.isSound();
}

bool VornSyncFileRows::readPacked(int directoryId, int mostRowsAPart, const PartVisitor& visit)
{
    Plan plan;
    if (!VornSyncDistantMarks(m_database).hasAny(plan.areMarks) || !readWholeTable(directoryId, plan))
        return false;
    Part part;
    part.mostRows = mostRowsAPart;
    while (readPart(directoryId, plan, part)) {
        visit(part.rows);
        if (part.lastRowId == kLastRowId)
            return true;
        part.firstRowId = part.lastRowId + 1;
    }
    return false;
}

bool VornSyncFileRows::readWholeTable(int directoryId, Plan& plan)
{
    QVariantList ids;
    if (!m_database.executeQuery(ids, QStringLiteral("SELECT %1").arg(isOnlyDirectory()),
                                 {directoryId, directoryId}))
        return false;
    plan.isWholeTable = ids.value(0).toBool();
    return true;
}

bool VornSyncFileRows::readOneByOne(int directoryId, const Visitor& visit)
{
    return readRows(QStringLiteral("f.directories_id = ?"), {directoryId},
                    [&visit](const VornSyncFileRow& row) {
                        const QByteArray name = row.fileName.toUtf8();
                        VornSyncFileRow nameless = row;
                        nameless.fileName.clear();
                        visit(std::string_view(name.constData(), std::size_t(name.size())), nameless);
                    });
}

bool VornSyncFileRows::readFile(int directoryId, const QString& fileName, VornSyncFileRow& row, bool& found)
{
    int count = 0;
    VornSyncFileRow read;
    const bool done =
        readRows(QStringLiteral("f.file_name = ? AND f.directories_id = ?"),
                 {VornSqliteDatabase::boundText(fileName), directoryId}, [&](const VornSyncFileRow& visited) {
                     ++count;
                     read = visited;
                 });
    found = count == 1;
    if (found)
        row = read;
    return done;
}

bool VornSyncFileRows::readRows(const QString& condition, const QVariantList& values,
                                const std::function<void(const VornSyncFileRow& row)>& visit)
{
    const QString columns = QStringLiteral("f.file_name, f.status, f.size, f.local_lmd, f.distant_lmd = ?");
    bool areMarks = false;
    if (!VornSyncDistantMarks(m_database).hasAny(areMarks))
        return false;
    const QString sql =
        areMarks ? QStringLiteral("SELECT %1, m.local_size, m.local_lmd FROM file_tracking f %2 WHERE %3")
                       .arg(columns, marksOfRows(), condition)
                 : QStringLiteral("SELECT %1 FROM file_tracking f WHERE %2").arg(columns, condition);
    return m_database.forEachRow(
        sql, QVariantList{VornSyncTypes::undefinedTimeText()} + values, [&](const QSqlQuery& read) {
            VornSyncFileRow row;
            row.fileName = read.value(0).toString();
            row.status = read.value(1).toInt();
            row.size = read.value(2).toLongLong();
            row.localLmdSecs = VornSyncTimes::secsFromText(read.value(3).toString());
            row.distantLmdUndefined = read.value(4).toBool();
            row.isDistantNewer = areMarks && !read.isNull(5);
            if (row.isDistantNewer) {
                row.markedLocalSize = read.value(5).toLongLong();
                row.markedLocalLmdSecs = VornSyncTimes::secsFromText(read.value(6).toString());
            }
            visit(row);
        });
}

#pragma once

#include "vorn_sync_packed_rows.h"

#include <QVariantList>

#include <functional>
#include <limits>

class QSqlQuery;
class VornSqliteDatabase;

// What passes and decisions read of file_tracking, and of the marks. Holds no state; used by the thread that runs the
// operation.
class VornSyncFileRows
{
public:
    using Visitor = VornSyncPackedRows::Visitor;
    using PartVisitor = std::function<void(const VornSyncPackedRows& part)>;

    // The values of a part stay at some 3 MiB each: an allocator that has met larger ones may keep as much for ever.
    static constexpr int kMostRowsAPart = 131072;
    static constexpr int kOnePart = std::numeric_limits<int>::max();

    explicit VornSyncFileRows(VornSqliteDatabase& database)
        : m_database(database)
    {
    }

    // All rows of a directory: packed, or one by one where the rows are of a kind that can't be packed. Whatever goes wrong
    // with the packed ones, the plain statement decides, and says, what it is. Parts are each of one moment.
    bool readPacked(int directoryId, int mostRowsAPart, const PartVisitor& visit);
    bool readOneByOne(int directoryId, const Visitor& visit);
    // `found` is false when there is none of that name, or more than one.
    bool readFile(int directoryId, const QString& fileName, VornSyncFileRow& row, bool& found);

private:
    struct Part
    {
        int mostRows = 0;
        qint64 firstRowId = std::numeric_limits<qint64>::min();
        qint64 lastRowId = 0; // the largest number of all when there is no part behind it
        VornSyncPackedRows rows;
    };

    struct Plan
    {
        bool areMarks = false;
        bool isWholeTable = false; // where no row belongs to another directory, an index is but a detour
    };

    bool readWholeTable(int directoryId, Plan& plan);
    // False also when there are no rows: those of a view have no row ids.
    bool readPart(int directoryId, const Plan& plan, Part& part);
    bool readRows(const QString& condition, const QVariantList& values,
                  const std::function<void(const VornSyncFileRow& row)>& visit);

    VornSqliteDatabase& m_database;
};

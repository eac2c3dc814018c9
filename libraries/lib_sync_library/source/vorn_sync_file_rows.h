#pragma once

#include "vorn_sync_packed_rows.h"

#include <QVariantList>

#include <functional>

class QSqlQuery;
class VornSqliteDatabase;

// What passes and decisions read of file_tracking, and of the marks. Holds no state; used by the thread that runs the
// operation.
class VornSyncFileRows
{
public:
    using Visitor = VornSyncPackedRows::Visitor;

    explicit VornSyncFileRows(VornSqliteDatabase& database)
        : m_database(database)
    {
    }

    // All rows of a directory, of one moment: packed, or one by one where the rows are of a kind that can't be packed, or
    // are too many for one value. Whatever goes wrong with the packed ones, the plain statement decides, and says, what it is.
    bool readPacked(int directoryId, VornSyncPackedRows& rows);
    bool readOneByOne(int directoryId, const Visitor& visit);
    // `found` is false when there is none of that name, or more than one.
    bool readFile(int directoryId, const QString& fileName, VornSyncFileRow& row, bool& found);

private:
    bool readRows(const QString& condition, const QVariantList& values,
                  const std::function<void(const VornSyncFileRow& row)>& visit);

    VornSqliteDatabase& m_database;
};

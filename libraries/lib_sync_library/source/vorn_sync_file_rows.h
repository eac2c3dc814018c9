#pragma once

#include "vorn_sync_packed_rows.h"

#include <QVariantList>

#include <functional>

class QSqlQuery;
class VornSqliteDatabase;

// What passes and decisions read of file_tracking, and of the marks. Holds no state; used by the thread that runs the
// operation, outside a transaction.
class VornSyncFileRows
{
public:
    using Visitor = VornSyncPackedRows::Visitor;

    explicit VornSyncFileRows(VornSqliteDatabase& database)
        : m_database(database)
    {
    }

    // All rows of a directory, of one moment. False when they can't be read; some may have been visited then.
    bool readDirectory(int directoryId, const Visitor& visit);
    // `found` is false when there is none of that name, or more than one.
    bool readFile(int directoryId, const QString& fileName, VornSyncFileRow& row, bool& found);

private:
    bool readPacked(int directoryId, VornSyncPackedRows& rows);
    bool readOneByOne(const QString& condition, const QVariantList& values,
                      const std::function<void(const VornSyncFileRow& row)>& visit);

    VornSqliteDatabase& m_database;
};

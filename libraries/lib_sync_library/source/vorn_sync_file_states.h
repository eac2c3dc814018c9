#pragma once

#include "vorn_sync_types.h"

#include <QString>

class VornSqliteDatabase;

// The status of one tracked file, and the columns that have to stay in step with it. Holds no state; used by the
// thread that runs the operation, inside its transaction.
class VornSyncFileStates
{
public:
    // A file without a row has the status ceSfsUnknown.
    struct Row
    {
        bool isFound = false;
        int status = ceSfsUnknown;
    };

    explicit VornSyncFileStates(VornSqliteDatabase& database)
        : m_database(database)
    {
    }

    Row read(int directoryId, const QString& fileName);
    // ceSfsError is added to the status that the row has; any other status is stored as it is, without an error code. A
    // missing row is created.
    bool write(int directoryId, const QString& fileName, int status, int errorCode);
    bool write(int directoryId, const QString& fileName, const Row& current, int status, int errorCode);

private:
    VornSqliteDatabase& m_database;
};

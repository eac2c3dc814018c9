#pragma once

#include <QString>

class VornSqliteDatabase;

// The column `revision` of file_tracking_errors: a number that changes with everything the list of files in error is made
// of, kept by triggers of the file itself: whoever writes the table, with whatever program. As long as it is the same, a
// list that was read need not be read again. Holds no state; used by the thread that runs the operation.
class VornSyncErrorRevision
{
public:
    explicit VornSyncErrorRevision(VornSqliteDatabase& database)
        : m_database(database)
    {
    }

    // Creates table and triggers as far as they are missing. Inside the transaction that brings the schema up to date.
    bool install();

    // The triggers have these names, and are so many.
    static QString triggerPattern() { return QStringLiteral("file_tracking_errors_*"); }
    static int triggerCount();

private:
    VornSqliteDatabase& m_database;
};

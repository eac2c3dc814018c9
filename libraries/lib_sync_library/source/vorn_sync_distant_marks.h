#pragma once

#include <QString>
#include <QtGlobal>

class VornSqliteDatabase;

// The files whose distant copy is known to be newer, each with the local file as it was then. A table of its
// own, created when the first mark is set. Holds no state; used by the thread that runs the operation, inside
// its transaction.
class VornSyncDistantMarks
{
public:
    explicit VornSyncDistantMarks(VornSqliteDatabase& database)
        : m_database(database)
    {
    }

    // False when it can't be found out: a row is then not to be taken for one without a mark.
    bool hasAny(bool& areAny);
    // `localLmd` is ISO 8601 text.
    bool set(int directoryId, const QString& fileName, qint64 localSize, const QString& localLmd);
    bool remove(int directoryId, const QString& fileName);
    bool rename(int directoryId, const QString& oldName, const QString& newName);

private:
    bool exists();

    VornSqliteDatabase& m_database;
};

#pragma once

#include "vorn_sync_types.h"

#include <QString>
#include <QVector>

#include <functional>

class VornSqliteDatabase;
class VornSyncRowChanges;

// What an interrupted host, an operation that never ended and older versions leave in the rows. Each writes in
// transactions of its own and notes what it changed. May be used from any thread.
class VornSyncRowRepairs
{
public:
    using StillActiveTest = std::function<bool(int directoryId, const QString& fileName)>;

    VornSyncRowRepairs(VornSqliteDatabase& database, VornSyncRowChanges& changes)
        : m_database(database)
        , m_changes(changes)
    {
    }

    // Each gives the number of rows that were put right.

    // Rows in progress become unknown; in one of them nothing can be under way when the host starts. `error` is what the
    // host is to be told, empty when all went well.
    int resetOrphaned(QString& error);
    // Rows that waited or ran too long become unknown. `stillActive` is asked for every such row in progress, while no
    // lock and no transaction is held.
    int resetStale(const StillActiveTest& stillActive);
    // Rows that are neither trashed nor deleted lose their trashed_date.
    int clearTrashedDates();

    // True when a row of `status` and `size`, changed at `statusChangedAt` (ISO 8601), has waited or run too
    // long at `nowSecs` since the epoch. A time that can't be read is too long ago.
    static bool isStale(int status, qint64 size, const QString& statusChangedAt, qint64 nowSecs);

private:
    struct StaleRow;

    bool readStale(QVector<StaleRow>& staleRows);
    bool reset(const StaleRow& row);
    bool writeReset(const StaleRow& row);

    VornSqliteDatabase& m_database;
    VornSyncRowChanges& m_changes;
};

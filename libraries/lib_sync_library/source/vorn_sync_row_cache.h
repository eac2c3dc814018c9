#pragma once

#include "vorn_sqlite_database.h"
#include "vorn_sync_packed_rows.h"

#include <QHash>
#include <QMutex>

// What rows were read under. As long as it is the same, nobody has written any row of the file since.
struct VornSyncRowsStamp
{
    VornSqliteVersion file;
    quint64 ownWrites = 0; // of this process, which the handle that reads does not count as somebody else's

    bool operator==(const VornSyncRowsStamp& other) const
    {
        return file == other.file && ownWrites == other.ownWrites;
    }
};

// The rows of the last passes, for as long as nobody writes one. In a mirror at rest that is every pass but the first.
// May be used from any thread.
class VornSyncRowCache
{
    Q_DISABLE_COPY_MOVE(VornSyncRowCache)

public:
    // A file takes some 50 bytes. What does not fit is read each time.
    static constexpr qint64 kMaximumBytes = qint64(8) * 1024 * 1024;

    VornSyncRowCache() = default;
    ~VornSyncRowCache() = default;

    // False when there are none of that directory, or the stamp is another one.
    bool find(int directoryId, const VornSyncRowsStamp& stamp, VornSyncPackedParts& rows) const;
    // `stamp` was taken before the rows were read. Those of other stamps go.
    void keep(int directoryId, const VornSyncRowsStamp& stamp, const VornSyncPackedParts& rows);

private:
    mutable QMutex m_mutex; // guards all below, for as long as a few pointers take
    VornSyncRowsStamp m_stamp;
    QHash<int, VornSyncPackedParts> m_rows; // by directory
    qint64 m_bytes = 0;
};

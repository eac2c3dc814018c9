#pragma once

#include "vorn_sync_packed_rows.h"

#include <QVector>

namespace VornSyncTest {

// A visitor that appends what it is shown, with its name: `readDirectoryRows(id, into(rows))`.
inline auto into(QVector<VornSyncFileRow>& rows)
{
    return [&rows](std::string_view name, const VornSyncFileRow& row) {
        rows.append(row);
        rows.last().fileName = QString::fromUtf8(name.data(), int(name.size()));
    };
}

} // namespace VornSyncTest

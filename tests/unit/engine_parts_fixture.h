#pragma once

#include "literals.h"
#include "pair.h"
#include "raw_database.h"
#include "vorn_sync_database.h"
#include "vorn_sync_observations.h"
#include "vorn_sync_path_cache.h"
#include "vorn_sync_rename_locks.h"

#include <QVariantMap>

namespace VornSyncTest {

// What the engine's parts have in common, over a pair with a real database, in which it is registered as "docs".
class EngineParts
{
    Q_DISABLE_COPY_MOVE(EngineParts)

public:
    EngineParts()
        : trash(pair.trashRoot())
        , database(pair.databasePath())
        , raw(pair.databasePath())
    {
    }

    [[nodiscard]] bool start()
    {
        if (!pair.isValid() || !database.initialize())
            return false;
        id = database.addDirectory("docs"_s, pair.localPath(), pair.distantPath(), trash.path());
        paths.setDatabase(&database);
        return id > 0 && database.setDirectoryAvailable(id);
    }

    [[nodiscard]] bool putRow(const QString& fileName, int status, int errorCode = ceSecNone, int size = 0,
                              const QVariant& trashedDate = QVariant())
    {
        return raw.exec("INSERT INTO file_tracking (file_name, directories_id, status, error_code, size, "
                        "trashed_date) VALUES (?, ?, ?, ?, ?, ?)"_s,
                        {fileName, id, status, errorCode, size, trashedDate});
    }

    // Status and error code in one text, "17/0"; "none" without a row.
    QString state(const QString& fileName)
    {
        const QVariantMap row = raw.fileRow(id, fileName);
        if (row.isEmpty())
            return "none"_s;
        return "%1/%2"_s.arg(row.value("status"_s).toString(), row.value("error_code"_s).toString());
    }

    Pair pair;
    Side trash;
    VornSyncDatabase database;
    RawDatabase raw;
    VornSyncPathCache paths;
    VornSyncRenameLocks renames;
    VornSyncObservations observations;
    int id = VornSyncTypes::kNoDirectoryId;
};

} // namespace VornSyncTest

#pragma once

#include "vorn_sync_types.h"

#include <QList>
#include <QString>

#include <atomic>
#include <functional>
#include <optional>

class VornSqliteDatabase;

// A file in error, as the host is told of it.
struct VornSyncErrorFile
{
    QString aliasName;
    QString fileName;
    int status = ceSfsUnknown;
    int errorCode = ceSecNone;
    int directoryId = VornSyncTypes::kNoDirectoryId;
};

// What triggers of the state database keep of its files, whoever writes them.
struct VornSyncKeptCounters
{
    int pending = 0; // files of the statuses 0, 18, 34 and 66
    int done = 0;    // files of status 17
    // As long as it is the same, getErrorFiles and countFilesInError give what they gave.
    qint64 errorRevision = 0;
};

// How many files are in which state, and which are in error: from what triggers keep where that can be relied on, from
// the rows otherwise. May be used from any thread.
class VornSyncCounters
{
    Q_DISABLE_COPY_MOVE(VornSyncCounters)

public:
    using ErrorFileVisitor = std::function<void(const VornSyncErrorFile& file)>;

    explicit VornSyncCounters(VornSqliteDatabase& database)
        : m_database(database)
    {
    }
    ~VornSyncCounters() = default;

    int countByStatuses(const QList<int>& statuses);
    int countInError(bool* succeeded);
    bool readErrorFiles(const ErrorFileVisitor& visit);
    std::optional<VornSyncKeptCounters> kept();

    // What was found out of the file is true no more.
    void forgetFile() { m_triggersSchema = kNoSchema; }

private:
    static constexpr int kNoSchema = -1;

    bool areTriggersInPlace();
    std::optional<VornSyncKeptCounters> readKept(int& schema);

    VornSqliteDatabase& m_database;
    std::atomic<int> m_triggersSchema{
        kNoSchema}; // SQLite's number of the schema in which all triggers were found
};

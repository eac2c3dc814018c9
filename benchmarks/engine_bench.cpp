#include "engine_bench.h"

#include "bench_figures.h"
#include "mirrored_directory.h"

#include "vorn_sync_database.h"
#include "vorn_sync_manager.h"
#include "vorn_sync_manager_p.h"
#include "vorn_sync_synchronizer.h"
#include "vorn_sync_task.h"

#include <QFileInfo>
#include <QJsonArray>

// The way behind the facade.
struct VornSyncManagerTestAccess
{
    static VornSyncDatabase& database(const VornSyncManager& manager) { return *manager.d->m_database; }
    static void refresh(const VornSyncManager& manager) { manager.d->refreshDatabaseCounters(); }
    // Until the synchronizer has done what it begins with.
    static void waitForStart(const VornSyncManager& manager)
    {
        QMetaObject::invokeMethod(
            manager.d->m_synchronizer.data(), [] {}, Qt::BlockingQueuedConnection);
    }
};

namespace {

constexpr int kNoCycleMs = 24 * 3600 * 1000;

QString trashRootOf(const QString& databasePath)
{
    return QFileInfo(databasePath).path() + QStringLiteral("/trash");
}

// The rows whose code changes in turn, and the code that each has at last.
class ChangingErrors
{
public:
    ChangingErrors(VornSyncDatabase& database, const QVariantList& entries)
        : m_database(database)
        , m_directoryId(database.getDirectoryIdByAlias(MirroredDirectory::alias()))
        , m_entries(entries)
    {
    }

    bool changeOne()
    {
        if (m_entries.isEmpty())
            return false;
        const QVariantMap entry = m_entries.at(m_next++ % m_entries.size()).toMap();
        m_name = entry.value(QStringLiteral("fileName")).toString();
        const bool isMissing = m_database.getFileErrorCode(m_directoryId, m_name) == ceSecDistantDirMissing;
        m_code = isMissing ? ceSecDistantDirNotWritable : ceSecDistantDirMissing;
        return m_database.setFileStatus(m_directoryId, m_name, ceSfsError, m_code);
    }

    // Whether the list tells of the last change.
    bool isIn(const QVariantList& entries) const
    {
        for (const QVariant& entry : entries) {
            const QVariantMap map = entry.toMap();
            if (map.value(QStringLiteral("fileName")).toString() == m_name)
                return map.value(QStringLiteral("errorCode")).toInt() == m_code;
        }
        return false;
    }

private:
    VornSyncDatabase& m_database;
    const int m_directoryId;
    const QVariantList m_entries;
    int m_next = 0;
    QString m_name;
    int m_code = ceSecNone;
};

} // namespace

QJsonObject EngineBench::pass(const QString& databasePath, int passesBefore)
{
    VornSyncDatabase database(databasePath);
    if (!database.initialize())
        return {{QStringLiteral("ok"), false}};
    const int id = database.getDirectoryIdByAlias(MirroredDirectory::alias());
    VornSyncSynchronizer synchronizer(trashRootOf(databasePath), kNoCycleMs, {});
    synchronizer.initialize(&database);
    int tasks = 0;
    QObject::connect(&synchronizer, &VornSyncSynchronizer::sigRunTask, [&tasks] { ++tasks; });
    for (int i = 0; i < passesBefore; ++i)
        synchronizer.synchronizeDirectory(id);
    return BenchFigures::measured([&] {
        synchronizer.synchronizeDirectory(id);
        return tasks == 0 && database.countFilesInError() == 0;
    });
}

QJsonObject EngineBench::copy(const QString& source, const QString& destination)
{
    const pVornSyncTask task = VornSyncTask::create(source, destination, ceStoCopy);
    return BenchFigures::measured([&task] { return task && task->runtask(); });
}

QJsonObject EngineBench::open(const QString& databasePath)
{
    VornSyncDatabase database(databasePath);
    QJsonObject figures = BenchFigures::measured([&database] { return database.initialize(); });
    figures.insert(QStringLiteral("up_to_date"), database.countFilesByStatuses({ceSfsUpToDate}));
    return figures;
}

QJsonObject EngineBench::refresh(const QString& databasePath, Writer writer, int rounds)
{
    const VornSyncManager manager(databasePath, trashRootOf(databasePath), kNoCycleMs, {});
    VornSyncManagerTestAccess::waitForStart(manager);
    VornSyncDatabase otherProcess(databasePath);
    VornSyncDatabase& own = VornSyncManagerTestAccess::database(manager);
    ChangingErrors errors(writer == Writer::OtherProcess ? otherProcess : own, manager.errorFiles());
    bool isOk = true;
    QJsonArray walls;
    QJsonArray cpus;
    for (int i = 0; i < rounds; ++i) {
        isOk = (writer == Writer::Nobody || errors.changeOne()) && isOk;
        const double cpu = BenchFigures::processCpuSecs();
        const double wall = BenchFigures::monotonicSecs();
        VornSyncManagerTestAccess::refresh(manager);
        walls.append(BenchFigures::monotonicSecs() - wall);
        cpus.append(BenchFigures::processCpuSecs() - cpu);
        isOk = (writer == Writer::Nobody || errors.isIn(manager.errorFiles())) && isOk;
    }
    return {{QStringLiteral("wall"), walls},
            {QStringLiteral("cpu"), cpus},
            {QStringLiteral("errors"), manager.errorFiles().size()},
            {QStringLiteral("ok"), isOk}};
}

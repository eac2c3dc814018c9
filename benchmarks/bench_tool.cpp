// What the comparison scripts run beside a peer's program. Prints one JSON object.
//   vorn_sync_bench prepare ROOT N      makes a mirrored directory of N files
//   vorn_sync_bench pass ROOT N         one pass over it that finds nothing to do: CPU and wall time
//   vorn_sync_bench copy SOURCE DEST    one file, as a copy task of the library sends it: CPU and wall time

#include "mirrored_directory.h"

#include "vorn_sync_database.h"
#include "vorn_sync_synchronizer.h"
#include "vorn_sync_task.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <functional>
#include <sys/resource.h>

namespace {

double cpuSeconds()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void print(const QJsonObject& object)
{
    QTextStream(stdout) << QJsonDocument(object).toJson(QJsonDocument::Compact) << "\n";
}

int measure(const std::function<bool()>& run)
{
    QElapsedTimer wall;
    wall.start();
    const double cpu = cpuSeconds();
    const bool succeeded = run();
    print({{QStringLiteral("cpu"), cpuSeconds() - cpu},
           {QStringLiteral("wall"), double(wall.nsecsElapsed()) / 1e9},
           {QStringLiteral("ok"), succeeded}});
    return succeeded ? 0 : 1;
}

int measurePass(const QString& root, int count)
{
    const MirroredDirectory directory(root, count);
    VornSyncDatabase database(directory.databasePath());
    if (!database.initialize())
        return 1;
    const int id = database.getDirectoryIdByAlias(MirroredDirectory::alias());
    VornSyncSynchronizer synchronizer(directory.trashRoot(), 60000, {});
    synchronizer.initialize(&database);
    int tasks = 0;
    QObject::connect(&synchronizer, &VornSyncSynchronizer::sigRunTask, [&tasks] { ++tasks; });
    return measure([&] {
        synchronizer.synchronizeDirectory(id);
        return tasks == 0;
    });
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 4) {
        const QString what = arguments.at(1);
        const int count = arguments.at(3).toInt();
        if (what == QLatin1String("prepare")) {
            const MirroredDirectory directory(arguments.at(2), count);
            print({{QStringLiteral("local"), directory.localPath()},
                   {QStringLiteral("distant"), directory.distantPath()},
                   {QStringLiteral("database"), directory.databasePath()}});
            return 0;
        }
        if (what == QLatin1String("pass"))
            return measurePass(arguments.at(2), count);
        if (what == QLatin1String("copy")) {
            const pVornSyncTask task = VornSyncTask::create(arguments.at(2), arguments.at(3), ceStoCopy);
            return measure([&task] { return task && task->runtask(); });
        }
    }
    QTextStream(stderr) << "usage: vorn_sync_bench prepare ROOT N | pass ROOT N | copy SOURCE DEST\n";
    return 2;
}

#include "engine_fixture.h"

#include "vorn_sync_worker.h"

#include <QCoreApplication>
#include <QFile>
#include <QMetaObject>

namespace VornSyncTest {

namespace {

constexpr int kCompanions = 5; // as many messages as a task has attempts

QString companion(const QString& baseName, int number)
{
    return QStringLiteral("%1/%2").arg(baseName, QString::number(number));
}

} // namespace

Engine::Engine(const QStringList& patterns, int syncIntervalMs)
    : m_trash(m_pair.trashRoot())
    , m_database(m_pair.databasePath())
    , m_sync(std::make_unique<VornSyncSynchronizer>(m_pair.trashRoot(), syncIntervalMs, patterns))
    , m_raw(m_pair.databasePath())
{
    VornSyncTask::registerMetaType();
    connectSignals();
}

Engine::~Engine() = default;

bool Engine::start()
{
    if (!m_pair.isValid() || !m_database.initialize())
        return false;
    m_id = addDirectory(QStringLiteral("docs"), m_pair.localPath(), m_pair.distantPath(), m_trash.path());
    m_sync->initialize(&m_database);
    forget();
    return m_id > 0;
}

int Engine::addDirectory(const QString& alias, const QString& localPath, const QString& distantPath,
                         const QString& trashPath)
{
    const int id = m_database.addDirectory(alias, localPath, distantPath, trashPath);
    return m_database.setDirectoryAvailable(id) ? id : VornSyncTypes::kNoDirectoryId;
}

void Engine::connectSignals()
{
    const auto note = [this](const QString& event) { m_events << shortened(event); };
    QObject::connect(m_sync.get(), &VornSyncSynchronizer::sigRunTask, m_sync.get(),
                     [this, note](const pVornSyncTask& task) {
                         note(QStringLiteral("task %1 %2 -> %3")
                                  .arg(VornSyncTypes::operationName(task->operation()), task->sourcePath(),
                                       task->destinationPath()));
                         if (m_isRunningAtOnce)
                             QMetaObject::invokeMethod(
                                 m_sync.get(), [this, task] { run(task); }, Qt::QueuedConnection);
                         else if (!m_worker)
                             m_tasks << task;
                     });
    QObject::connect(m_sync.get(), &VornSyncSynchronizer::syncStarted, m_sync.get(),
                     [note](const QString& path) { note(QStringLiteral("started %1").arg(path)); });
    QObject::connect(m_sync.get(), &VornSyncSynchronizer::syncCompleted, m_sync.get(),
                     [note](const QString& path, bool succeeded) {
                         note(QStringLiteral("%1 %2").arg(
                             succeeded ? QStringLiteral("completed") : QStringLiteral("failed"), path));
                     });
    QObject::connect(m_sync.get(), &VornSyncSynchronizer::errorOccurred, m_sync.get(),
                     [note](const QString& message) { note(QStringLiteral("error %1").arg(message)); });
    QObject::connect(m_sync.get(), &VornSyncSynchronizer::errorStateChanged, m_sync.get(),
                     [note] { note(QStringLiteral("errorStateChanged")); });
    QObject::connect(&m_database, &VornSyncDatabase::errorOccurred, m_sync.get(),
                     [note](const QString& message) { note(QStringLiteral("database %1").arg(message)); });
}

pVornSyncTask Engine::takeTask()
{
    return m_tasks.isEmpty() ? pVornSyncTask() : m_tasks.takeFirst();
}

bool Engine::run(const pVornSyncTask& task)
{
    const bool ok = task->runtask();
    m_sync->onTaskDone(task, ok);
    return ok;
}

bool Engine::runNext()
{
    const pVornSyncTask task = takeTask();
    return task && run(task);
}

void Engine::runAll()
{
    while (!m_tasks.isEmpty())
        run(takeTask());
}

void Engine::runAtOnce()
{
    m_isRunningAtOnce = true;
}

void Engine::useWorker()
{
    m_worker = std::make_unique<VornSyncWorker>();
    QObject::connect(m_sync.get(), &VornSyncSynchronizer::sigRunTask, m_worker.get(),
                     &VornSyncWorker::onAddTask, Qt::QueuedConnection);
    QObject::connect(m_worker.get(), &VornSyncWorker::taskDone, m_sync.get(),
                     &VornSyncSynchronizer::onTaskDone, Qt::QueuedConnection);
}

void Engine::pass()
{
    m_sync->synchronizeDirectory(m_id);
}

void Engine::passAndRun()
{
    pass();
    runAll();
}

void Engine::cycleAndRun()
{
    m_sync->periodicSynchronization();
    runAll();
}

bool Engine::send(const QString& name, const QByteArray& content)
{
    if (!local().write(name, content) || !local().setLmd(name, longAgo()))
        return false;
    const bool isSent = m_sync->copyToDistant(m_id, name) && runNext();
    forget();
    return isSent && state(name) == QLatin1String("17/0");
}

bool Engine::makeHopeless(const QString& baseName)
{
    bool ok = local().write(baseName + QStringLiteral(".txt"), "hopeless");
    for (int i = 0; i < kCompanions; ++i) {
        // A directory that is not empty gives way to nothing.
        ok = ok && local().write(companion(baseName, i), "companion") &&
             distant().write(companion(baseName, i) + QStringLiteral("/x"), "in the way");
    }
    return ok;
}

bool Engine::makeHopeful(const QString& baseName)
{
    return distant().remove(baseName);
}

bool Engine::putRow(const QString& name, const RowSpec& spec)
{
    return putRow(m_id, name, spec);
}

bool Engine::putRow(int directoryId, const QString& name, const RowSpec& spec)
{
    return m_raw.exec(QStringLiteral("DELETE FROM file_tracking WHERE directories_id = ? AND file_name = ?"),
                      {directoryId, name}) &&
           m_raw.exec(
               QStringLiteral("INSERT INTO file_tracking (file_name, directories_id, status, error_code, "
                              "size, local_lmd, distant_lmd, trashed_date, status_changed_at) "
                              "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"),
               {name, directoryId, spec.status, spec.errorCode, spec.size, spec.localLmd, spec.distantLmd,
                spec.trashedDate, spec.statusChangedAt});
}

QVariantMap Engine::row(const QString& name)
{
    return m_raw.fileRow(m_id, name);
}

bool Engine::hasRow(const QString& name)
{
    return !row(name).isEmpty();
}

int Engine::status(const QString& name)
{
    return row(name).value(QStringLiteral("status"), -1).toInt();
}

int Engine::errorCode(const QString& name)
{
    return row(name).value(QStringLiteral("error_code"), -1).toInt();
}

QString Engine::state(const QString& name)
{
    const QVariantMap found = row(name);
    if (found.isEmpty())
        return QStringLiteral("none");
    return QStringLiteral("%1/%2")
        .arg(found.value(QStringLiteral("status")).toInt())
        .arg(found.value(QStringLiteral("error_code")).toInt());
}

QStringList Engine::takeLines()
{
    const QStringList all = m_trace.linesOf(QStringLiteral("Sync: "));
    QStringList taken;
    for (int i = m_linesTaken; i < all.size(); ++i)
        taken << shortened(all.at(i));
    m_linesTaken = int(all.size());
    return taken;
}

QStringList Engine::takeLines(const QString& method)
{
    QStringList taken;
    const QString head = method + QStringLiteral(" - ");
    for (const QString& line : takeLines()) {
        if (line.startsWith(head))
            taken << line.mid(head.size());
    }
    return taken;
}

QStringList Engine::takeEvents()
{
    QStringList taken;
    taken.swap(m_events);
    return taken;
}

QString Engine::shortened(QString text) const
{
    return text.replace(m_pair.rootPath(), QStringLiteral("~"));
}

void Engine::forget()
{
    m_linesTaken = int(m_trace.linesOf(QStringLiteral("Sync: ")).size());
    m_events.clear();
}

QString Engine::restProblems() const
{
    if (!m_tasks.isEmpty())
        return QStringLiteral("%1 tasks wait").arg(m_tasks.size());
    const QStringList messages = m_trace.criticals() + m_trace.warnings();
    if (!messages.isEmpty())
        return messages.join(QLatin1Char('\n'));
    const QStringList temporary = m_pair.temporaryFiles();
    if (!temporary.isEmpty())
        return temporary.join(QLatin1Char('\n'));
    return m_raw.integrityProblems();
}

QStringList Engine::secondPass()
{
    forget();
    pass();
    return takeEvents();
}

QString passStart(int directoryId)
{
    return QStringLiteral("synchronizeDirectory - Start directory synchronization for directoryId: %1")
        .arg(directoryId);
}

QString passEnd(int directoryId)
{
    return QStringLiteral("synchronizeDirectory - End directory synchronization for directoryId: %1")
        .arg(directoryId);
}

QString passCounts(int directoryId, int tracked, int distant, int local, bool isDistantAccessible)
{
    return QStringLiteral("synchronizeDirectory - Directory %1: trackedFiles=%2, distantFiles=%3, "
                          "localFiles=%4, distantAccessible=%5")
        .arg(QString::number(directoryId), QString::number(tracked), QString::number(distant),
             QString::number(local), isDistantAccessible ? QStringLiteral("YES") : QStringLiteral("NO"));
}

} // namespace VornSyncTest

#include "vorn_sync_manager_p.h"

#include "vorn_sync_files.h"
#include "vorn_sync_log.h"
#include "vorn_sync_manager.h"
#include "vorn_sync_queued_calls.h"
#include "vorn_sync_times.h"
#include "vorn_utilities.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QMutexLocker>
#include <QTimer>

namespace {

const char* const kTag = "Mngr: ";
const char* const kSourcePath = "libraries/lib_sync_library/source/vorn_sync_manager_p";

// Pairs that become available together start one after the other, so that their first passes do not all
// reach the share at once.
constexpr int kDirectoryStartDelayMs = 100;
// A user waits for the file to open: an answer after this is of no use.
constexpr int kFileReadyTimeoutMs = 15000;
// Long enough for an ordinary file operation to end, short enough for a host that closes.
constexpr int kThreadStopTimeoutMs = 2000;
constexpr int kFileReadyTimeoutLine = 1206;
// One turn of the event loop while a reset waits for running operations, and the pause after it: the host's
// window stays alive and the processor free.
constexpr int kDrainTurnMs = 50;
constexpr unsigned long kDrainPauseMs = 20;
// What a status line can show.
constexpr int kMaxRecentEvents = 5;

bool isDirectory(const QString& path)
{
    return VornSyncFiles::directoryPresence(path) == VornSyncPresence::Present;
}

QString appliedText(bool isApplied)
{
    return isApplied ? QStringLiteral("applied") : QStringLiteral("FAILED");
}

void separate(QObject* sender, QObject* receiver)
{
    if (sender && receiver)
        QObject::disconnect(sender, nullptr, receiver, nullptr);
}

} // namespace

// ---- Life cycle ---------------------------------------------------------------------------------------

VornSyncManagerPrivate::VornSyncManagerPrivate(const QString& databasePath, const QString& trashRootPath,
                                               int syncIntervalMs, const QStringList& exclusionPatterns,
                                               VornSyncManager* publicObject)
    : QObject(publicObject)
    , m_public(publicObject)
    , m_trashRootPath(trashRootPath)
    , m_mailbox(std::make_shared<VornSyncMailbox>(this))
{
    // Required: exactly these names travel through queued connections and invocations.
    qRegisterMetaType<pVornSyncTask>("pVornSyncTask");
    qRegisterMetaType<VornSyncDatabase*>("VornSyncDatabase*");

    createTimers();
    openDatabase(databasePath);
    createWorker();
    createSynchronizer(syncIntervalMs, exclusionPatterns);
    connectSynchronizer();
    createObserver(syncIntervalMs);
    queueCall(m_synchronizer, "initialize", Q_ARG(VornSyncDatabase*, m_database.get()));
    cleanUpPreviousRun();
    startThreads();
    queueCall(m_observer, "startObserving");
    refreshDatabaseCounters();
    VORN_SYNC_TRACE(kTag, "VornSyncManagerPrivate",
                    QStringLiteral("Started with sync interval: %1ms").arg(syncIntervalMs));
    m_isConstructed = true;
}

VornSyncManagerPrivate::~VornSyncManagerPrivate()
{
    m_mailbox->close();
    // A pass ends at its next file while the worker is still being waited for.
    for (VornSyncThread* thread :
         {m_workerThread.data(), m_synchronizerThread.data(), m_observerThread.data()}) {
        if (thread)
            thread->requestInterruption();
    }
    // Qt 5 reads a queued connection without its lock while the receiver's destructor writes it: nobody may emit to
    // an object whose thread ends before the sender's.
    separate(m_synchronizer, m_worker);
    stopThread(m_workerThread, QStringLiteral("ERROR: Failed to stop worker thread"));
    separate(m_observer, m_synchronizer);
    stopThread(m_synchronizerThread, QStringLiteral("ERROR: Failed to stop synchronizer thread"));
    stopThread(m_observerThread, QStringLiteral("ERROR: Failed to stop observer thread"));
    VORN_SYNC_TRACE(kTag, "~VornSyncManagerPrivate", QStringLiteral("Destroyed"));
}

void VornSyncManagerPrivate::createTimers()
{
    m_directoryStartTimer = new QTimer(this);
    m_directoryStartTimer->setSingleShot(true);
    m_directoryStartTimer->setInterval(kDirectoryStartDelayMs);
    // Queued, so that the slot never runs inside the call that started the timer.
    connect(m_directoryStartTimer, &QTimer::timeout, this, &VornSyncManagerPrivate::startDirectorySync,
            Qt::QueuedConnection);

    m_fileReadyTimeoutTimer = new QTimer(this);
    m_fileReadyTimeoutTimer->setSingleShot(true);
    m_fileReadyTimeoutTimer->setInterval(kFileReadyTimeoutMs);
    connect(m_fileReadyTimeoutTimer, &QTimer::timeout, this, &VornSyncManagerPrivate::onFileReadyTimeout);
}

void VornSyncManagerPrivate::openDatabase(const QString& databasePath)
{
    m_database = std::make_shared<VornSyncDatabase>(databasePath);
    connect(m_database.get(), &VornSyncDatabase::errorOccurred, this, &VornSyncManagerPrivate::onDbError);
    if (m_database->initialize())
        return;
    VornSyncLog::critical(this, kSourcePath, __LINE__)
        << "VornSyncManagerPrivate::VornSyncManagerPrivate: state database is not usable:" << databasePath;
    emitError(QStringLiteral("ERROR: State database is not usable: '%1'.").arg(databasePath));
}

void VornSyncManagerPrivate::createWorker()
{
    m_workerThread = new VornSyncThread(QStringLiteral("SyncWorkerThread"), this);
    m_worker = new VornSyncWorker;
    m_worker->moveToThread(m_workerThread);
    connect(m_workerThread, &QThread::finished, m_worker, &QObject::deleteLater);
}

void VornSyncManagerPrivate::createSynchronizer(int syncIntervalMs, const QStringList& exclusionPatterns)
{
    m_synchronizerThread = new VornSyncThread(QStringLiteral("SyncSynchronizerThread"), this);
    m_synchronizer = new VornSyncSynchronizer(m_trashRootPath, syncIntervalMs, exclusionPatterns);
    m_synchronizer->moveToThread(m_synchronizerThread);
}

void VornSyncManagerPrivate::connectSynchronizer()
{
    const VornSyncSynchronizer* synchronizer = m_synchronizer;
    // Delivered to this thread by the mailbox, in the order of their signals: a pass may start thousands of files.
    connect(
        synchronizer, &VornSyncSynchronizer::syncStarted, synchronizer,
        [this, mailbox = m_mailbox](const QString& filePath) {
            mailbox->post([this, filePath] { onSynchronizerSyncStarted(filePath); });
        },
        Qt::DirectConnection);
    connect(
        synchronizer, &VornSyncSynchronizer::syncCompleted, synchronizer,
        [this, mailbox = m_mailbox](const QString& filePath, bool succeeded) {
            mailbox->post([this, filePath, succeeded] { onSynchronizerSyncCompleted(filePath, succeeded); });
        },
        Qt::DirectConnection);
    connect(
        synchronizer, &VornSyncSynchronizer::errorOccurred, synchronizer,
        [this, mailbox = m_mailbox](const QString& message) {
            mailbox->post([this, message] { onSynchronizerErrorOccurred(message); });
        },
        Qt::DirectConnection);
    connect(
        synchronizer, &VornSyncSynchronizer::errorStateChanged, synchronizer,
        [this, mailbox = m_mailbox] {
            mailbox->postMerged([this](int times) { onSynchronizerErrorStateChanged(times); });
        },
        Qt::DirectConnection);
    connect(synchronizer, &VornSyncSynchronizer::sigRunTask, m_worker, &VornSyncWorker::onAddTask,
            Qt::QueuedConnection);
    connect(this, &VornSyncManagerPrivate::sigAddTask, m_worker, &VornSyncWorker::onAddTask,
            Qt::QueuedConnection);
    connect(m_worker, &VornSyncWorker::taskDone, synchronizer, &VornSyncSynchronizer::onTaskDone,
            Qt::QueuedConnection);
    connect(m_synchronizerThread, &QThread::finished, synchronizer, &QObject::deleteLater);
}

void VornSyncManagerPrivate::createObserver(int syncIntervalMs)
{
    m_observerThread = new VornSyncThread(QStringLiteral("SyncObserverThread"), this);
    m_observer = new VornSyncObserver(syncIntervalMs, nullptr);
    m_observer->moveToThread(m_observerThread);
    // Required: directoryChanged, which the observer never emits, is connected, and syncDirectoryNeeded is
    // not. A change that the watcher sees starts no pass by itself.
    connect(m_observer, &VornSyncObserver::directoryChanged, m_synchronizer,
            &VornSyncSynchronizer::synchronizeDirectory, Qt::QueuedConnection);
    connect(m_observer, &VornSyncObserver::periodicSyncNeeded, m_synchronizer,
            &VornSyncSynchronizer::periodicSynchronization, Qt::QueuedConnection);
    connect(m_observer, &VornSyncObserver::errorOccurred, this,
            &VornSyncManagerPrivate::onObserverErrorOccurred, Qt::QueuedConnection);
    connect(m_observerThread, &QThread::finished, m_observer, &QObject::deleteLater);
}

void VornSyncManagerPrivate::cleanUpPreviousRun()
{
    const int orphaned = m_database->cleanupOrphanedProcessingStates();
    if (orphaned > 0)
        VORN_SYNC_TRACE(kTag, "VornSyncManagerPrivate",
                        QStringLiteral("Cleaned up %1 orphaned files from previous session").arg(orphaned));
    const int stale = m_database->cleanupStaleProcessingStates(VornSyncDatabase::StillActiveTest());
    if (stale > 0)
        VORN_SYNC_TRACE(kTag, "VornSyncManagerPrivate",
                        QStringLiteral("Cleaned up %1 stale processing files at startup").arg(stale));
}

void VornSyncManagerPrivate::startThreads()
{
    m_workerThread->start();
    m_synchronizerThread->start();
    m_observerThread->start();
}

void VornSyncManagerPrivate::stopThread(VornSyncThread* thread, const QString& failure)
{
    if (!thread || thread->stop(kThreadStopTimeoutMs))
        return;
    emitError(failure);
    thread->letGo(m_database);
}

// ---- Errors -------------------------------------------------------------------------------------------

void VornSyncManagerPrivate::emitError(const QString& message)
{
    VORN_SYNC_TRACE(kTag, "emitError", message);
    if (m_isConstructed) {
        emit m_public->errorOccurred(message);
        return;
    }
    QMetaObject::invokeMethod(
        this, [this, message] { emit m_public->errorOccurred(message); }, Qt::QueuedConnection);
}

void VornSyncManagerPrivate::onDbError(const QString& message)
{
    emitError(message);
}

void VornSyncManagerPrivate::onObserverErrorOccurred(const QString& message)
{
    emitError(QStringLiteral("Observer error: ") + message);
}

void VornSyncManagerPrivate::onSynchronizerErrorOccurred(const QString& message)
{
    emitError(QStringLiteral("Synchronizer error: ") + message);
}

// ---- Directory pairs ----------------------------------------------------------------------------------

bool VornSyncManagerPrivate::addDirectory(const QString& aliasName, const QString& localPath,
                                          const QString& distantPath)
{
    if (!checkDirectories(aliasName, localPath, distantPath) || !makeTrashDirectory(aliasName))
        return false;
    const int directoryId =
        m_database->addDirectory(aliasName, localPath, distantPath, trashDirectory(aliasName));
    if (directoryId < 0) {
        emitError(
            QStringLiteral("ERROR: Failure to add directory in database for alias: '%1'.").arg(aliasName));
        return false;
    }
    queueCall(m_synchronizer, "invalidateDirPathCache", Q_ARG(int, directoryId));
    if (isDirectory(distantPath)) {
        resumeDirectorySync(aliasName);
        return true;
    }
    const QPointer<VornSyncManagerPrivate> self(this);
    emitError(
        QStringLiteral("Warning: Given distant path for alias: '%1' does not exist or is not a directory")
            .arg(aliasName));
    if (self)
        suspendDirectorySync(aliasName);
    return true;
}

QString VornSyncManagerPrivate::trashDirectory(const QString& aliasName) const
{
    return addLastPathSepIfNeeded(m_trashRootPath) + aliasName;
}

bool VornSyncManagerPrivate::checkDirectories(const QString& aliasName, const QString& localPath,
                                              const QString& distantPath)
{
    if (!isDirectory(localPath)) {
        emitError(
            QStringLiteral("ERROR: Given local path for alias: '%1' does not exist or is not a directory")
                .arg(aliasName));
        return false;
    }
    const QString trashPath = trashDirectory(aliasName);
    const QString root = addLastPathSepIfNeeded(QDir::cleanPath(QDir(m_trashRootPath).absolutePath()));
    const QString place = QDir::cleanPath(QDir(trashPath).absolutePath());
    const bool isBelowRoot = place.startsWith(root) && place.size() > root.size();
    if (aliasName.isEmpty() || aliasName.contains(QChar(QChar::Null)) || !isBelowRoot) {
        emitError(QStringLiteral("ERROR: Alias: '%1' cannot name a trash directory.").arg(aliasName));
        return false;
    }
    const bool hasDistantPath = !distantPath.isEmpty();
    if (VornSyncFiles::isSamePlace(localPath, trashPath) ||
        (hasDistantPath && (VornSyncFiles::isSamePlace(localPath, distantPath) ||
                            VornSyncFiles::isSamePlace(distantPath, trashPath)))) {
        emitError(
            QStringLiteral("ERROR: Local, distant and trash directories of alias: '%1' must be different.")
                .arg(aliasName));
        return false;
    }
    return true;
}

bool VornSyncManagerPrivate::makeTrashDirectory(const QString& aliasName)
{
    const QString path = trashDirectory(aliasName);
    if (QFileInfo(path).isDir())
        return true;
    if (!QDir().mkpath(path)) {
        emitError(QStringLiteral("ERROR: Failure to create trash directory for alias: '%1'.").arg(aliasName));
        return false;
    }
    VORN_SYNC_TRACE(kTag, "addDirectory", QStringLiteral("Create trash directory: '%1'.").arg(path));
    return true;
}

bool VornSyncManagerPrivate::removeDirectory(const QString& aliasName)
{
    const int directoryId = m_database->getDirectoryIdByAlias(aliasName);
    if (directoryId < 0) {
        emitError(QStringLiteral("Warning: Directory not found in database for alias: '%1'.").arg(aliasName));
        return false;
    }
    const QString localPath = m_database->getDirectoryLocalPath(directoryId);
    if (localPath.isEmpty()) {
        emitError(QStringLiteral("Warning: Directory local path not found in database for alias: '%1'.")
                      .arg(aliasName));
        return false;
    }
    queueCall(m_observer, "removeDirectoryFromWatch", Q_ARG(int, directoryId), Q_ARG(QString, localPath));
    if (!m_database->deleteDirectory(directoryId)) {
        emitError(QStringLiteral("ERROR: Failure to remove directory from database for alias: '%1'.")
                      .arg(aliasName));
        return false;
    }
    VORN_SYNC_TRACE(kTag, "removeDirectory",
                    QStringLiteral("Directory removed successfully for alias: '%1'.").arg(aliasName));
    queueCall(m_synchronizer, "invalidateDirPathCache", Q_ARG(int, directoryId));
    takeOffPendingStarts(aliasName);
    m_pausedAliases.removeAll(aliasName);
    refreshDatabaseCounters();
    return true;
}

void VornSyncManagerPrivate::resumeDirectorySync(const QString& aliasName)
{
    QMutexLocker lock(&m_pendingStartMutex);
    VORN_SYNC_TRACE(kTag, "resumeDirectorySync", QStringLiteral("Alias = ") + aliasName);
    if (!m_pendingStarts.contains(aliasName))
        m_pendingStarts.append(aliasName);
    m_directoryStartTimer->start();
}

void VornSyncManagerPrivate::suspendDirectorySync(const QString& aliasName)
{
    VORN_SYNC_TRACE(kTag, "suspendDirectorySync", QStringLiteral("Alias = ") + aliasName);
    takeOffPendingStarts(aliasName);
    const int directoryId = m_database->getDirectoryIdByAlias(aliasName);
    if (directoryId < 0)
        return;
    const QString localPath = m_database->getDirectoryLocalPath(directoryId);
    queueCall(m_observer, "removeDirectoryFromWatch", Q_ARG(int, directoryId), Q_ARG(QString, localPath));
    m_database->setDirectoryUnavailable(directoryId);
}

void VornSyncManagerPrivate::takeOffPendingStarts(const QString& aliasName)
{
    QMutexLocker lock(&m_pendingStartMutex);
    if (m_pendingStarts.removeAll(aliasName) > 0 && m_pendingStarts.isEmpty())
        m_directoryStartTimer->stop();
}

void VornSyncManagerPrivate::startDirectorySync()
{
    QString aliasName;
    {
        QMutexLocker lock(&m_pendingStartMutex);
        if (m_pendingStarts.isEmpty())
            return;
        aliasName = m_pendingStarts.takeFirst();
    }
    makeAvailable(aliasName);
    QMutexLocker lock(&m_pendingStartMutex);
    if (!m_pendingStarts.isEmpty())
        m_directoryStartTimer->start();
}

void VornSyncManagerPrivate::makeAvailable(const QString& aliasName)
{
    const int directoryId = m_database->getDirectoryIdByAlias(aliasName);
    if (directoryId < 0)
        return;
    m_database->setDirectoryAvailable(directoryId);
    const QString localPath = m_database->getDirectoryLocalPath(directoryId);
    queueCall(m_observer, "addDirectoryToWatch", Q_ARG(int, directoryId), Q_ARG(QString, localPath));
    queueCall(m_synchronizer, "synchronizeDirectory", Q_ARG(int, directoryId));
}

void VornSyncManagerPrivate::pauseAll()
{
    VORN_SYNC_TRACE(kTag, "pauseAll", QStringLiteral("Pausing all directory synchronizations"));
    if (m_isPausedAll) {
        VORN_SYNC_TRACE(kTag, "pauseAll", QStringLiteral("Already paused, ignoring"));
        return;
    }
    m_isPausedAll = true;
    m_pausedAliases.clear();
    const QList<int> directoryIds = m_database->getDirectoryIds(false);
    for (int directoryId : directoryIds) {
        const QString aliasName = m_database->getDirectoryAlias(directoryId);
        if (aliasName.isEmpty())
            continue;
        suspendDirectorySync(aliasName);
        m_pausedAliases.append(aliasName);
        VORN_SYNC_TRACE(kTag, "pauseAll", QStringLiteral("Suspended alias: ") + aliasName);
    }
    queueCall(m_observer, "stopPeriodicSync");
    VORN_SYNC_TRACE(kTag, "pauseAll", QStringLiteral("Stopped periodic sync timer"));
    VORN_SYNC_TRACE(kTag, "pauseAll", QStringLiteral("Paused %1 directories").arg(m_pausedAliases.size()));
}

void VornSyncManagerPrivate::resumeAll()
{
    VORN_SYNC_TRACE(kTag, "resumeAll",
                    QStringLiteral("Resuming all previously paused directory synchronizations"));
    if (!m_isPausedAll) {
        VORN_SYNC_TRACE(kTag, "resumeAll", QStringLiteral("Not in paused state, ignoring"));
        return;
    }
    queueCall(m_observer, "startObserving");
    VORN_SYNC_TRACE(kTag, "resumeAll", QStringLiteral("Restarted periodic sync timer"));
    for (const QString& aliasName : qAsConst(m_pausedAliases)) {
        resumeDirectorySync(aliasName);
        VORN_SYNC_TRACE(kTag, "resumeAll", QStringLiteral("Resumed alias: ") + aliasName);
    }
    VORN_SYNC_TRACE(kTag, "resumeAll", QStringLiteral("Resumed %1 directories").arg(m_pausedAliases.size()));
    m_pausedAliases.clear();
    m_isPausedAll = false;
}

bool VornSyncManagerPrivate::isAliasDirectorySynchronised(const QString& aliasName) const
{
    return m_database->getDirectoryIdByAlias(aliasName) >= 0;
}

bool VornSyncManagerPrivate::isLocalDirectorySynchronised(const QString& localPath) const
{
    return m_database->getDirectoryIdByLocalPath(localPath) >= 0;
}

QString VornSyncManagerPrivate::getLocalDirSynchronizedAlias(const QString& localPath) const
{
    const int directoryId = m_database->getDirectoryIdByLocalPath(localPath);
    return directoryId < 0 ? QString() : m_database->getDirectoryAlias(directoryId);
}

// ---- Counters, recent events and error list -----------------------------------------------------------

bool VornSyncManagerPrivate::isIdle() const
{
    return m_activeSyncCount == 0 && m_fileReadyDirectoryId < 0 && m_fileReadyWaiting.isEmpty();
}

void VornSyncManagerPrivate::onSynchronizerSyncStarted(const QString& filePath)
{
    const QPointer<VornSyncManagerPrivate> self(this);
    const bool wasIdle = m_activeSyncCount++ == 0;
    if (wasIdle)
        emit m_public->idleChanged(false);
    if (self)
        refreshDatabaseCounters();
    if (self)
        emit m_public->countersChanged();
    if (self)
        emit m_public->syncStarted(filePath);
}

void VornSyncManagerPrivate::onSynchronizerSyncCompleted(const QString& filePath, bool succeeded)
{
    const QPointer<VornSyncManagerPrivate> self(this);
    // Required: follows the count alone, even while a file-ready request is outstanding.
    if (m_activeSyncCount > 0 && --m_activeSyncCount == 0)
        emit m_public->idleChanged(true);
    if (self)
        refreshDatabaseCounters();
    if (self)
        emit m_public->countersChanged();
    if (self)
        recordRecentEvent(filePath, QStringLiteral("sync"), succeeded);
    if (self)
        emit m_public->syncCompleted(filePath, succeeded);
}

void VornSyncManagerPrivate::recordRecentEvent(const QString& filePath, const QString& action, bool succeeded)
{
    QVariantMap event;
    event.insert(QStringLiteral("filePath"), filePath);
    event.insert(QStringLiteral("fileName"), QFileInfo(filePath).fileName());
    event.insert(QStringLiteral("action"), action);
    event.insert(QStringLiteral("succeeded"), succeeded);
    event.insert(QStringLiteral("timestamp"), QDateTime::currentDateTime().toString(Qt::ISODate));
    m_recentEvents.prepend(event);
    while (m_recentEvents.size() > kMaxRecentEvents)
        m_recentEvents.removeLast();
    emit m_public->recentEventsChanged();
}

// Several changes with nothing in between are looked at once; each is told to the host, as it would be one by one.
void VornSyncManagerPrivate::onSynchronizerErrorStateChanged(int times)
{
    const QPointer<VornSyncManagerPrivate> guard(this);
    refreshDatabaseCounters();
    for (int told = 1; told < times && guard && m_errorCount > 0; ++told)
        emit m_public->countersChanged();
}

void VornSyncManagerPrivate::refreshDatabaseCounters()
{
    const std::optional<VornSyncKeptCounters> kept = m_database->keptCounters();
    const int pending = kept ? kept->pending
                             : m_database->countFilesByStatuses(
                                   {ceSfsUnknown, ceSfsPendingSync, ceSfsPendingDelete, ceSfsPendingRestore});
    const int errors =
        m_errorList.count(*m_database, kept ? std::optional<qint64>(kept->errorRevision) : std::nullopt);
    const int done = kept ? kept->done : m_database->countFilesByStatuses({ceSfsUpToDate});
    if (pending == m_pendingCount && errors == m_errorCount && done == m_doneCount && errors == 0)
        return;
    const bool wasListEmpty = m_errorCount == 0;
    m_pendingCount = pending;
    m_errorCount = errors;
    m_doneCount = done;
    if (errors > 0 || !wasListEmpty)
        m_errorList.update(*m_database);
    emit m_public->countersChanged();
}

// ---- File-ready requests ------------------------------------------------------------------------------

void VornSyncManagerPrivate::requestFileReady(const QString& filePath)
{
    if (!m_public) {
        VornSyncLog::critical(this, kSourcePath, __LINE__)
            << "VornSyncManagerPrivate::requestFileReady: null public pointer";
        return;
    }
    FileReadyRequest request;
    request.filePath = filePath;
    request.age.start();
    const VornSyncFileReadyPlan plan = VornSyncFileReady::examine(*m_database, filePath);
    if (plan.action != VornSyncFileReadyPlan::Copy)
        return answerFileReady(plan.path, plan.action == VornSyncFileReadyPlan::AnswerFound);
    if (m_fileReadyTask || !m_fileReadyWaiting.isEmpty()) {
        m_fileReadyWaiting.append(request);
        return;
    }
    startFileReadyCopy(request, plan);
}

void VornSyncManagerPrivate::startFileReadyCopy(const FileReadyRequest& request,
                                                const VornSyncFileReadyPlan& plan)
{
    const pVornSyncTask task = VornSyncTask::create(request.filePath, plan.path, ceStoCopy);
    if (!task || !m_worker) {
        VORN_SYNC_TRACE(kTag, "requestFileReady",
                        QStringLiteral("ERROR: Cannot create copy task or worker unavailable"));
        return answerFileReady(plan.path, false);
    }
    m_fileReadyPath = plan.path;
    m_fileReadyDirectoryId = plan.directoryId;
    m_fileReadyTask = task;
    // The copy may start late, and run on after its time is up: an edit made meanwhile must not be replaced, nor
    // a tombstone set meanwhile be taken back.
    task->setExpectedDestination(plan.local);
    m_wasFileReadyTombstoned = VornSyncTypes::isTombstoned(
        m_database->getFileStatus(plan.directoryId, QFileInfo(plan.path).fileName()));
    connect(m_worker, &VornSyncWorker::taskDone, this, &VornSyncManagerPrivate::onFileReadyTaskDone,
            Qt::QueuedConnection);
    emit sigAddTask(task);
    m_fileReadyTimeoutTimer->start(qMax(0, kFileReadyTimeoutMs - static_cast<int>(request.age.elapsed())));
}

void VornSyncManagerPrivate::onFileReadyTaskDone(pVornSyncTask task, bool success)
{
    // The worker's other tasks come here too, and so may the end of a copy that has timed out.
    if (!task || task != m_fileReadyTask)
        return;
    const QString path = m_fileReadyPath;
    const int directoryId = m_fileReadyDirectoryId;
    endFileReadyCopy();
    if (success) {
        const QPointer<VornSyncManagerPrivate> self(this);
        recordFileReady(*task, path, directoryId);
        if (self)
            answerFileReady(path, QFileInfo::exists(path));
        return;
    }
    VORN_SYNC_TRACE(kTag, "onFileReadyTaskDone", QStringLiteral("ERROR: Copy task failed for: ") + path);
    if (!task->errorMessages().isEmpty())
        VORN_SYNC_TRACE(kTag, "onFileReadyTaskDone",
                        QStringLiteral("Task errors: ") + task->errorMessages().join(QLatin1String("; ")));
    answerFileReady(path, false);
}

// Records what was copied: the distant file as it was when the copy began, the local one as the copy left it. A distant
// version that came since, if only while the copy was made, is newer, and a local file that was changed since is not up
// to date.
void VornSyncManagerPrivate::recordFileReady(const VornSyncTask& task, const QString& path, int directoryId)
{
    const QFileInfo local(path);
    const std::optional<VornSyncFileFacts>& copy = task.checkedCopy();
    if (directoryId < 0 || !local.exists() || !copy || local.size() != copy->size)
        return;
    if (m_database->getDirectoryDistantPath(directoryId).isEmpty()) // removed meanwhile
        return;
    const QDateTime localLmd = VornSyncTimes::fromSecs(copy->lmdSecs);
    const QDateTime distantLmd = VornSyncTimes::fromSecs(task.sourceLmdSecsAtStart());
    if (m_wasFileReadyTombstoned)
        m_database->recordFileSync(directoryId, local.fileName(), local.size(), localLmd, distantLmd);
    else
        m_database->recordCopy(directoryId, local.fileName(), local.size(), localLmd, distantLmd);
    VORN_SYNC_TRACE(kTag, "onFileReadyTaskDone", QStringLiteral("Sync DB updated for: ") + local.fileName());
    refreshDatabaseCounters();
}

void VornSyncManagerPrivate::onFileReadyTimeout()
{
    if (!m_fileReadyTask)
        return;
    const QString path = m_fileReadyPath;
    endFileReadyCopy();
    reportFileReadyTimeout(path);
}

void VornSyncManagerPrivate::reportFileReadyTimeout(const QString& path)
{
    // Required: this line number is part of the message; it does not follow the source.
    VornSyncLog::critical(this, kSourcePath, kFileReadyTimeoutLine)
        << "VornSyncManagerPrivate::onFileReadyTimeout: Copy operation timed out for:" << path;
    answerFileReady(path, false);
}

// The copy that the request waited for is over for this object, though it may still run.
void VornSyncManagerPrivate::endFileReadyCopy()
{
    m_fileReadyTimeoutTimer->stop();
    if (m_worker)
        disconnect(m_worker, &VornSyncWorker::taskDone, this, &VornSyncManagerPrivate::onFileReadyTaskDone);
    m_fileReadyPath.clear();
    m_fileReadyDirectoryId = VornSyncTypes::kNoDirectoryId;
    m_fileReadyTask.clear();
}

// Everything is settled before the answer is out: the host's slot may ask for the next file, run an event
// loop or delete the manager.
void VornSyncManagerPrivate::answerFileReady(const QString& path, bool found)
{
    if (!m_fileReadyWaiting.isEmpty())
        QMetaObject::invokeMethod(
            this, [this] { serveNextFileReady(); }, Qt::QueuedConnection);
    emit m_public->fileReady(path, found);
}

void VornSyncManagerPrivate::serveNextFileReady()
{
    if (m_fileReadyTask || m_fileReadyWaiting.isEmpty())
        return;
    const FileReadyRequest request = m_fileReadyWaiting.takeFirst();
    // The files may have changed while the request waited: a copy before it may have brought this one.
    const VornSyncFileReadyPlan plan = VornSyncFileReady::examine(*m_database, request.filePath);
    if (plan.action != VornSyncFileReadyPlan::Copy)
        return answerFileReady(plan.path, plan.action == VornSyncFileReadyPlan::AnswerFound);
    if (request.age.hasExpired(kFileReadyTimeoutMs))
        return reportFileReadyTimeout(plan.path);
    startFileReadyCopy(request, plan);
}

// ---- User actions on files ----------------------------------------------------------------------------

// False after a critical message when the synchronizer is gone.
bool VornSyncManagerPrivate::hasSynchronizer(const char* method) const
{
    if (m_synchronizer)
        return true;
    VornSyncLog::critical(this, kSourcePath, __LINE__)
        << (QByteArray("VornSyncManagerPrivate::") + method + ": synchronizer is null").constData();
    return false;
}

// The alias's directory id; 0 or less, after a trace line that ends in `outcome`, for an unknown one.
int VornSyncManagerPrivate::knownDirectoryId(const char* method, const QString& aliasName,
                                             const char* outcome)
{
    const int directoryId = m_database->getDirectoryIdByAlias(aliasName);
    // Required: 0 counts as unknown too.
    if (directoryId <= 0)
        VORN_SYNC_TRACE(kTag, method,
                        QStringLiteral("Unknown alias '%1', %2").arg(aliasName, QLatin1String(outcome)));
    return directoryId;
}

bool VornSyncManagerPrivate::isUsableFileName(const QString& aliasName, const QString& fileName)
{
    if (VornSyncTypes::isValidFileName(fileName))
        return true;
    emitError(QStringLiteral("ERROR: Invalid file name: '%1' for alias: '%2'.").arg(fileName, aliasName));
    return false;
}

void VornSyncManagerPrivate::notifyLocalFileChanged(const QString& aliasName, const QString& fileName)
{
    if (!hasSynchronizer("notifyLocalFileChanged"))
        return;
    const int directoryId = knownDirectoryId("notifyLocalFileChanged", aliasName, "ignored");
    if (directoryId <= 0 || !isUsableFileName(aliasName, fileName))
        return;
    VORN_SYNC_TRACE(kTag, "notifyLocalFileChanged",
                    QStringLiteral("Dispatching '%1' of alias '%2'").arg(fileName, aliasName));
    queueRequest(m_synchronizer, m_database, &VornSyncSynchronizer::notifyLocalFileChanged, directoryId,
                 fileName);
}

void VornSyncManagerPrivate::requestSync()
{
    if (m_isPausedAll) {
        VORN_SYNC_TRACE(kTag, "requestSync", QStringLiteral("Sync is paused, ignoring request"));
        return;
    }
    if (!hasSynchronizer("requestSync"))
        return;
    VORN_SYNC_TRACE(kTag, "requestSync", QStringLiteral("Triggering immediate synchronization cycle"));
    queueCall(m_synchronizer, "periodicSynchronization");
}

void VornSyncManagerPrivate::retrySync(const QString& aliasName, const QString& fileName)
{
    if (!hasSynchronizer("retrySync"))
        return;
    const int directoryId = knownDirectoryId("retrySync", aliasName, "ignoring");
    if (directoryId <= 0 || !isUsableFileName(aliasName, fileName))
        return;
    const auto trace = [](const QString& text) { VORN_SYNC_TRACE(kTag, "retrySync", text); };
    bool isFound = false;
    const int status = m_database->getFileStatus(directoryId, fileName, &isFound);
    if (!isFound)
        return trace(
            QStringLiteral("File '%1' not tracked under alias '%2', ignoring").arg(fileName, aliasName));
    if (!VornSyncTypes::isInError(status))
        return trace(QStringLiteral("File '%1' under alias '%2' no longer in Error, ignoring")
                         .arg(fileName, aliasName));

    const int code = m_database->getFileErrorCode(directoryId, fileName);
    const QString of = QStringLiteral("'%1' of alias '%2'").arg(fileName, aliasName);
    if (VornSyncTypes::isAcknowledgeOnly(code)) {
        trace(QStringLiteral("Confirming deletion for ") + of);
        queueRequest(m_synchronizer, m_database, &VornSyncSynchronizer::confirmFileDeletion, directoryId,
                     fileName);
    } else if (VornSyncTypes::isRestoreOrDelete(code)) {
        trace(QStringLiteral("Restoring distant from local for ") + of);
        queueRequest(m_synchronizer, m_database, &VornSyncSynchronizer::notifyLocalFileChanged, directoryId,
                     fileName);
    } else {
        trace(QStringLiteral("Dispatching retry for ") + of);
        queueRequest(m_synchronizer, m_database, &VornSyncSynchronizer::resolveFileError, directoryId,
                     fileName, status);
    }
}

bool VornSyncManagerPrivate::lockForRename(const QString& aliasName, const QString& oldFileName,
                                           const QString& newFileName)
{
    if (!hasSynchronizer("lockForRename"))
        return false;
    const int directoryId = knownDirectoryId("lockForRename", aliasName, "refused");
    if (directoryId <= 0)
        return false;
    // Required: empty and equal names get the lock's own line.
    const bool hasOwnLine = oldFileName.isEmpty() || newFileName.isEmpty() || oldFileName == newFileName;
    if (!hasOwnLine &&
        (!isUsableFileName(aliasName, oldFileName) || !isUsableFileName(aliasName, newFileName)))
        return false;
    // Direct, so that the host has the answer at once.
    return m_synchronizer->lockRename(directoryId, oldFileName, newFileName);
}

void VornSyncManagerPrivate::commitRename(const QString& aliasName, const QString& oldFileName,
                                          const QString& newFileName)
{
    if (!hasSynchronizer("commitRename"))
        return;
    const int directoryId = knownDirectoryId("commitRename", aliasName, "ignored");
    if (directoryId <= 0 || !isUsableFileName(aliasName, oldFileName) ||
        !isUsableFileName(aliasName, newFileName))
        return;
    VORN_SYNC_TRACE(
        kTag, "commitRename",
        QStringLiteral("Dispatching '%1': '%2' -> '%3'").arg(aliasName, oldFileName, newFileName));
    queueRequest(m_synchronizer, m_database, &VornSyncSynchronizer::commitRename, directoryId, oldFileName,
                 newFileName);
}

void VornSyncManagerPrivate::abortRename(const QString& aliasName, const QString& oldFileName,
                                         const QString& newFileName)
{
    if (!hasSynchronizer("abortRename"))
        return;
    const int directoryId = knownDirectoryId("abortRename", aliasName, "ignored");
    if (directoryId <= 0 || !isUsableFileName(aliasName, oldFileName) ||
        !isUsableFileName(aliasName, newFileName))
        return;
    m_synchronizer->abortRename(directoryId, oldFileName, newFileName);
}

void VornSyncManagerPrivate::moveToTrashFile(const QString& aliasName, const QString& fileName)
{
    if (!hasSynchronizer("moveToTrashFile"))
        return;
    const int directoryId = knownDirectoryId("moveToTrashFile", aliasName, "ignored");
    if (directoryId <= 0 || !isUsableFileName(aliasName, fileName))
        return;
    VORN_SYNC_TRACE(kTag, "moveToTrashFile",
                    QStringLiteral("Dispatching trash for '%1' of alias '%2'").arg(fileName, aliasName));
    queueRequest(m_synchronizer, m_database, &VornSyncSynchronizer::moveToTrashFile, directoryId, fileName);
}

void VornSyncManagerPrivate::notifyLocalFileDeleted(const QString& aliasName, const QString& fileName)
{
    if (!hasSynchronizer("notifyLocalFileDeleted"))
        return;
    const int directoryId = knownDirectoryId("notifyLocalFileDeleted", aliasName, "ignored");
    if (directoryId <= 0 || !isUsableFileName(aliasName, fileName))
        return;
    // At once: a pass that runs now must not take the file for one that was lost.
    const int resetCount = m_database->resetCount();
    const bool isApplied = m_database->setFileDeleted(directoryId, fileName);
    VORN_SYNC_TRACE(kTag, "notifyLocalFileDeleted",
                    QStringLiteral("Tombstone for '%1/%2' %3, dispatching distant cleanup")
                        .arg(aliasName, fileName, appliedText(isApplied)));
    // The host may have answered a failure with a wipe.
    if (m_database->resetCount() == resetCount)
        queueRequest(m_synchronizer, m_database, &VornSyncSynchronizer::notifyLocalFileDeleted, directoryId,
                     fileName);
    refreshDatabaseCounters();
}

void VornSyncManagerPrivate::tombstoneLocalFile(const QString& aliasName, const QString& fileName)
{
    const int directoryId = knownDirectoryId("tombstoneLocalFile", aliasName, "ignored");
    if (directoryId <= 0 || !isUsableFileName(aliasName, fileName))
        return;
    const bool isApplied = m_database->setFileDeleted(directoryId, fileName);
    VORN_SYNC_TRACE(kTag, "tombstoneLocalFile",
                    QStringLiteral("Tombstone for '%1/%2' %3, distant copy left untouched")
                        .arg(aliasName, fileName, appliedText(isApplied)));
    refreshDatabaseCounters();
}

// ---- Actions on all files in error --------------------------------------------------------------------

void VornSyncManagerPrivate::retryAllErrors()
{
    forErrorFiles(
        "retryAllErrors", [](int code) { return !VornSyncTypes::isAcknowledgeOnly(code); },
        &VornSyncManagerPrivate::retrySync,
        QStringLiteral("Dispatched retry for %1 / %2 cached entries (acknowledge-only skipped)"));
}

void VornSyncManagerPrivate::acknowledgeAllMissing()
{
    forErrorFiles("acknowledgeAllMissing", &VornSyncTypes::isAcknowledgeOnly,
                  &VornSyncManagerPrivate::retrySync,
                  QStringLiteral("Dispatched ack for %1 / %2 cached entries"));
}

void VornSyncManagerPrivate::deleteAllDistantMissing()
{
    forErrorFiles("deleteAllDistantMissing", &VornSyncTypes::isRestoreOrDelete,
                  &VornSyncManagerPrivate::moveToTrashFile,
                  QStringLiteral("Dispatched trash for %1 / %2 cached entries"));
}

void VornSyncManagerPrivate::forErrorFiles(const char* method, bool (*isMeant)(int code), FileAction action,
                                           const QString& closingLine)
{
    const QVariantList entries = m_errorList.files(); // an action may change the list
    if (entries.isEmpty()) {
        VORN_SYNC_TRACE(kTag, method, QStringLiteral("No files in Error, nothing to do"));
        return;
    }
    const QPointer<VornSyncManagerPrivate> self(this);
    int count = 0;
    for (const QVariant& entry : entries) {
        const QVariantMap map = entry.toMap();
        if (!isMeant(map.value(QStringLiteral("errorCode")).toInt()))
            continue;
        (this->*action)(map.value(QStringLiteral("aliasName")).toString(),
                        map.value(QStringLiteral("fileName")).toString());
        if (!self)
            return;
        ++count;
    }
    VORN_SYNC_TRACE(kTag, method, closingLine.arg(QString::number(count), QString::number(entries.size())));
}

// ---- Wipe and reset -----------------------------------------------------------------------------------

bool VornSyncManagerPrivate::wipeSyncDatabaseFile()
{
    const auto trace = [](const QString& text) { VORN_SYNC_TRACE(kTag, "wipeSyncDatabaseFile", text); };
    trace(QStringLiteral("Begin"));
    const QPointer<VornSyncManagerPrivate> self(this);
    const bool isReset = m_database->reset();
    if (!isReset)
        trace(QStringLiteral("DB reset failed"));
    m_activeSyncCount = 0;
    m_fileReadyDirectoryId = VornSyncTypes::kNoDirectoryId;
    refreshDatabaseCounters();
    if (self && !m_recentEvents.isEmpty()) {
        m_recentEvents.clear();
        emit m_public->recentEventsChanged();
    }
    if (self)
        emit m_public->countersChanged();
    if (self)
        queueCall(m_synchronizer, "invalidateDirPathCache");
    trace(QStringLiteral("End, success=%1").arg(isReset));
    return isReset;
}

bool VornSyncManagerPrivate::resetSyncDatabase(int timeoutMs)
{
    const auto trace = [](const QString& text) { VORN_SYNC_TRACE(kTag, "resetSyncDatabase", text); };
    trace(QStringLiteral("Begin"));
    const QPointer<VornSyncManagerPrivate> self(this);
    const bool wasPaused = m_isPausedAll;
    if (!wasPaused)
        pauseAll();
    if (!drain(timeoutMs))
        return false;
    const bool isReset = wipeSyncDatabaseFile();
    if (self && !wasPaused)
        resumeAll();
    trace(QStringLiteral("End, success=%1").arg(isReset));
    return isReset;
}

// Turns the event loop until nothing runs or the time is over. False when a slot has deleted this object.
bool VornSyncManagerPrivate::drain(int timeoutMs)
{
    const QPointer<VornSyncManagerPrivate> self(this);
    QElapsedTimer clock;
    clock.start();
    // What the engine has said already tells whether something runs.
    const std::shared_ptr<VornSyncMailbox> mailbox = m_mailbox;
    while (mailbox->deliver() && clock.elapsed() < timeoutMs) {
        if (!self)
            return false;
    }
    if (!self)
        return false;
    while (!isIdle()) {
        if (clock.elapsed() >= timeoutMs) {
            VORN_SYNC_TRACE(kTag, "resetSyncDatabase",
                            QStringLiteral("Drain timeout (%1 ms) reached, inProgress=%2 fileReadyDirId=%3")
                                .arg(QString::number(timeoutMs), QString::number(m_activeSyncCount),
                                     QString::number(m_fileReadyDirectoryId)));
            break;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, kDrainTurnMs);
        if (!self)
            return false;
        QThread::msleep(kDrainPauseMs);
    }
    return true;
}

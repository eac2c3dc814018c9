#include "inline_host.h"

#include "sandbox.h"
#include "sync_manager_access.h"

#include <QCoreApplication>
#include <QDir>
#include <QThread>

#include <utility>

namespace VornSyncFuzz {

namespace {

constexpr int kNoCyclesMs = 600000;

// Whether anything was delivered on the application's thread.
class EventWatch : public QObject
{
public:
    EventWatch() { QCoreApplication::instance()->installEventFilter(this); }

    bool takeSeen() { return std::exchange(m_seen, false); }

protected:
    bool eventFilter(QObject* /*watched*/, QEvent* /*event*/) override
    {
        m_seen = true;
        return false;
    }

private:
    bool m_seen = false;
};

// One call hands out what is posted by then, and leaves what that posts.
void turnEventLoop()
{
    EventWatch watch;
    do {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    } while (watch.takeSeen());
}

} // namespace

InlineHost::InlineHost(const QString& root)
    : m_root(root)
{
    for (const QString& path :
         {localPath(), distantPath(), otherLocalPath(), otherDistantPath(), statePath()})
        FUZZ_REQUIRE(QDir().mkpath(path), path);
    m_manager = std::make_unique<VornSyncManager>(databasePath(), trashRoot(), kNoCyclesMs, QStringList());
    connect(m_manager.get(), &VornSyncManager::errorOccurred, this,
            [this](const QString& text) { m_errors << text; });
    connect(m_manager.get(), &VornSyncManager::fileReady, this,
            [this](const QString& path, bool found) { m_answers << qMakePair(path, found); });
    bringEngineHere();
    FUZZ_REQUIRE(m_manager->addDirectory(alias(), localPath(), distantPath()),
                 m_errors.join(QLatin1Char('\n')));
    settle();
    FUZZ_REQUIRE(m_errors.isEmpty(), m_errors.join(QLatin1Char('\n')));
}

InlineHost::~InlineHost()
{
    settle();
    // They live here now: nobody else would delete them before the database is gone.
    delete VornSyncManagerTestAccess::synchronizer(*m_manager);
    delete VornSyncManagerTestAccess::worker(*m_manager);
    delete VornSyncManagerTestAccess::observer(*m_manager);
    m_manager.reset();
    turnEventLoop();
}

void InlineHost::bringEngineHere()
{
    VornSyncSynchronizer* const synchronizer = VornSyncManagerTestAccess::synchronizer(*m_manager);
    VornSyncWorker* const worker = VornSyncManagerTestAccess::worker(*m_manager);
    VornSyncManagerPrivate* const inside = VornSyncManagerTestAccess::inside(*m_manager);
    QThread* const here = thread();
    QObject* const observer = VornSyncManagerTestAccess::observer(*m_manager);
    for (QObject* object : {static_cast<QObject*>(synchronizer), static_cast<QObject*>(worker), observer})
        QMetaObject::invokeMethod(
            object, [object, here] { object->moveToThread(here); }, Qt::BlockingQueuedConnection);
    // The worker would pause before each task.
    disconnect(synchronizer, &VornSyncSynchronizer::sigRunTask, worker, nullptr);
    disconnect(inside, &VornSyncManagerPrivate::sigAddTask, worker, nullptr);
    connect(synchronizer, &VornSyncSynchronizer::sigRunTask, this, &InlineHost::runSoon);
    connect(inside, &VornSyncManagerPrivate::sigAddTask, this, &InlineHost::runSoon);
}

void InlineHost::runSoon(const pVornSyncTask& task)
{
    ++m_taskCount;
    QMetaObject::invokeMethod(
        this,
        [this, task] { emit VornSyncManagerTestAccess::worker(*m_manager)->taskDone(task, task->runtask()); },
        Qt::QueuedConnection);
}

void InlineHost::settle()
{
    settleWhatWasStarted();
    while (!VornSyncManagerTestAccess::pendingStarts(*m_manager).isEmpty()) {
        QMetaObject::invokeMethod(VornSyncManagerTestAccess::inside(*m_manager), "startDirectorySync");
        settleWhatWasStarted();
    }
}

// Time stands still here: no timer brings what the engine has for the host.
void InlineHost::settleWhatWasStarted()
{
    do {
        turnEventLoop();
    } while (VornSyncManagerTestAccess::deliver(*m_manager));
}

QStringList InlineHost::takeErrors()
{
    return std::exchange(m_errors, QStringList());
}

QVector<QPair<QString, bool>> InlineHost::takeAnswers()
{
    return std::exchange(m_answers, QVector<QPair<QString, bool>>());
}

} // namespace VornSyncFuzz

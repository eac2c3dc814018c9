#include "vorn_sync_observer.h"

#include "vorn_sync_log.h"

#include <QFileSystemWatcher>
#include <QMutexLocker>
#include <QTimer>

namespace {

constexpr auto kTag = "Obsr: ";

// Required: one request a directory, this long after the last change of a burst.
constexpr int kDebounceIntervalMs = 1000;

} // namespace

VornSyncObserver::VornSyncObserver(int syncIntervalMs, QObject* parent)
    : QObject(parent)
    , m_watcher(new QFileSystemWatcher(this))
    , m_periodicTimer(new QTimer(this))
    , m_debounceIntervalMs(kDebounceIntervalMs)
{
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, &VornSyncObserver::onDirectoryChanged);
    m_periodicTimer->setInterval(syncIntervalMs);
    connect(m_periodicTimer, &QTimer::timeout, this, &VornSyncObserver::onPeriodicSyncTimerExpired);
    VORN_SYNC_TRACE(kTag, "VornSyncObserver",
                    QStringLiteral("created with sync interval: %1ms").arg(syncIntervalMs));
}

VornSyncObserver::~VornSyncObserver()
{
    for (QTimer* timer : qAsConst(m_debounceTimers)) {
        timer->stop();
        delete timer;
    }
    m_debounceTimers.clear();
    m_periodicTimer->stop();
    VORN_SYNC_TRACE(kTag, "~VornSyncObserver", QStringLiteral("destroyed"));
}

// ---- Watch list ----

void VornSyncObserver::addDirectoryToWatch(int directoryId, const QString& localDirPath)
{
    QMutexLocker lock(&m_mutex);
    if (m_watcher->addPath(localDirPath)) {
        m_watchedDirectories.insert(localDirPath, directoryId);
        VORN_SYNC_TRACE(kTag, "addDirectoryToWatch",
                        QStringLiteral("Added directory: '%1' with ID: %2")
                            .arg(localDirPath, QString::number(directoryId)));
        return;
    }
    const QString message = QStringLiteral("Failed to add directory to watch: '%1'").arg(localDirPath);
    VORN_SYNC_TRACE(kTag, "addDirectoryToWatch", message);
    // A slot that is connected directly may call back in.
    lock.unlock();
    emit errorOccurred(message);
}

void VornSyncObserver::removeDirectoryFromWatch(int directoryId, const QString& localDirPath)
{
    QMutexLocker lock(&m_mutex);
    if (!m_watcher->removePath(localDirPath)) {
        VORN_SYNC_TRACE(kTag, "removeDirectoryFromWatch",
                        QStringLiteral("Directory not in watch list: '%1'").arg(localDirPath));
        return;
    }
    m_watchedDirectories.remove(localDirPath);
    VORN_SYNC_TRACE(kTag, "removeDirectoryFromWatch",
                    QStringLiteral("Removed directory: '%1' with ID: %2")
                        .arg(localDirPath, QString::number(directoryId)));

    QTimer* timer = m_debounceTimers.take(localDirPath);
    if (!timer)
        return;
    timer->stop();
    delete timer;
    VORN_SYNC_TRACE(kTag, "removeDirectoryFromWatch",
                    QStringLiteral("Removed debounce timer for: '%1'").arg(localDirPath));
}

// ---- Debounce ----

void VornSyncObserver::onDirectoryChanged(const QString& dirPath)
{
    QMutexLocker lock(&m_mutex);
    if (QTimer* pending = m_debounceTimers.value(dirPath)) {
        pending->start();
        return;
    }
    auto* timer = new QTimer(this);
    timer->setSingleShot(true);
    timer->setInterval(m_debounceIntervalMs);
    connect(timer, &QTimer::timeout, this, [this, dirPath] { onDebounced(dirPath); });
    m_debounceTimers.insert(dirPath, timer);
    timer->start();
    VORN_SYNC_TRACE(kTag, "onDirectoryChanged",
                    QStringLiteral("Created and started debounce timer for: '%1'").arg(dirPath));
}

// Required: the traces of this step carry the name of the slot that began it.
void VornSyncObserver::onDebounced(const QString& dirPath)
{
    onDebounceTimerExpired();
    const auto it = m_watchedDirectories.constFind(dirPath);
    if (it == m_watchedDirectories.constEnd()) {
        const QString message = QStringLiteral("Unknown directory ID for path: '%1'").arg(dirPath);
        VORN_SYNC_TRACE(kTag, "onDirectoryChanged", message);
        emit errorOccurred(message);
        return;
    }
    const int directoryId = it.value();
    VORN_SYNC_TRACE(
        kTag, "onDirectoryChanged",
        QStringLiteral("Directory changed: '%1' with ID: %2").arg(dirPath, QString::number(directoryId)));
    emit syncDirectoryNeeded(directoryId);
}

void VornSyncObserver::onDebounceTimerExpired()
{
    auto* timer = qobject_cast<QTimer*>(sender());
    if (!timer)
        return;
    const QString path = m_debounceTimers.key(timer);
    if (m_debounceTimers.value(path) == timer) {
        m_debounceTimers.remove(path);
        VORN_SYNC_TRACE(kTag, "onDebounceTimerExpired",
                        QStringLiteral("Removed debounce timer for: '%1'").arg(path));
    }
    timer->deleteLater();
}

// ---- Periodic synchronisation ----

void VornSyncObserver::startObserving()
{
    QMutexLocker lock(&m_mutex);
    if (m_periodicTimer->isActive())
        return;
    m_periodicTimer->start();
    VORN_SYNC_TRACE(kTag, "startObserving",
                    QStringLiteral("Started observing with periodic sync interval: %1ms")
                        .arg(m_periodicTimer->interval()));
}

void VornSyncObserver::startPeriodicSync(int interval)
{
    QMutexLocker lock(&m_mutex);
    if (interval > 0)
        m_periodicTimer->setInterval(interval);
    if (m_periodicTimer->isActive()) {
        VORN_SYNC_TRACE(kTag, "startPeriodicSync",
                        QStringLiteral("Periodic sync already active with interval: %1ms")
                            .arg(m_periodicTimer->interval()));
        return;
    }
    m_periodicTimer->start();
    VORN_SYNC_TRACE(
        kTag, "startPeriodicSync",
        QStringLiteral("Started periodic sync with interval: %1ms").arg(m_periodicTimer->interval()));
}

void VornSyncObserver::stopPeriodicSync()
{
    QMutexLocker lock(&m_mutex);
    if (!m_periodicTimer->isActive())
        return;
    m_periodicTimer->stop();
    VORN_SYNC_TRACE(kTag, "stopPeriodicSync", QStringLiteral("Stopped periodic sync"));
}

void VornSyncObserver::onPeriodicSyncTimerExpired()
{
    VORN_SYNC_TRACE(kTag, "onPeriodicSyncTimerExpired", QStringLiteral("Periodic sync needed"));
    emit periodicSyncNeeded();
}

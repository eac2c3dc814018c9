#include "vorn_cli_cycle_probe.h"

#include "vorn_sync_manager.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace {

constexpr int kFirstRetryMs = 2000; // a request that is skipped is lost; most cycles are shorter than this
constexpr int kLastRetryMs = 60000; // requests queue up behind a long cycle, so they are not repeated often
constexpr int kSaturatedTasks = 10; // from here on the manager skips cycles

} // namespace

VornCliCycleProbe::VornCliCycleProbe(const QString& directory, const VornCliExclusions& exclusions,
                                     QObject* parent)
    : QObject(parent)
    , m_directory(directory)
    , m_markerName(markerName(exclusions))
{
    m_retryTimer.setSingleShot(true);
    connect(&m_retryTimer, &QTimer::timeout, this, [this] {
        m_retryTimer.setInterval(std::min(m_retryTimer.interval() * 2, kLastRetryMs));
        ask();
    });
}

QString VornCliCycleProbe::reservedAlias()
{
    return QStringLiteral("vorn_sync-cycle-probe");
}

QString VornCliCycleProbe::markerName(const VornCliExclusions& exclusions)
{
    const QStringList names = {QStringLiteral("marker"), QStringLiteral("cycle.probe"),
                               QStringLiteral("0123456789"), QStringLiteral("~#"), QStringLiteral("y")};
    const auto free = std::find_if(names.cbegin(), names.cend(), [&exclusions](const QString& name) {
        return exclusions.isMirrored(name);
    });
    return free == names.cend() ? QString() : *free;
}

bool VornCliCycleProbe::attach(VornSyncManager* manager)
{
    removeFiles();
    m_manager = manager;
    m_isReady = m_isWanted = m_isAwaited = m_askedInVain = m_markerRunning = m_markerDone = false;
    if (!QDir().mkpath(localPath()) || !QDir().mkpath(distantPath()) || !appendToMarker())
        return false;
    forget(manager); // so that its number is the highest one
    return manager->addDirectory(reservedAlias(), localPath(), distantPath());
}

void VornCliCycleProbe::detach()
{
    m_retryTimer.stop();
    if (m_manager == nullptr)
        return;
    forget(m_manager);
    m_manager = nullptr;
}

void VornCliCycleProbe::removeFiles()
{
    QDir(m_directory).removeRecursively();
}

void VornCliCycleProbe::forget(VornSyncManager* manager)
{
    if (manager->isAliasDirectorySynchronised(reservedAlias()))
        manager->delDirectory(reservedAlias());
}

// A marker in flight is left alone: changed meanwhile it would be sent again without any cycle.
void VornCliCycleProbe::requestCycle()
{
    if (m_isAwaited)
        return;
    m_isWanted = true;
    if (!m_isReady || m_markerRunning)
        return;
    if (!appendToMarker()) {
        emit failed();
        return;
    }
    m_isWanted = false;
    m_isAwaited = true;
    m_retryTimer.setInterval(kFirstRetryMs);
    ask();
}

bool VornCliCycleProbe::owns(const QString& filePath) const
{
    return filePath.startsWith(localPath() + QLatin1Char('/'));
}

void VornCliCycleProbe::onMarkerStarted()
{
    m_markerRunning = true;
    m_markerDone = false;
    if (!m_isAwaited)
        return;
    m_isAwaited = false;
    m_retryTimer.stop();
    emit cycleEnded();
}

void VornCliCycleProbe::onMarkerCompleted(bool ok)
{
    m_markerRunning = false;
    m_markerDone = ok;
    if (!ok) {
        emit failed();
        return;
    }
    if (!m_isReady) {
        m_isReady = true;
        emit ready();
    }
    if (m_isWanted)
        requestCycle();
}

void VornCliCycleProbe::onOtherCompleted()
{
    if (m_isAwaited && m_askedInVain && m_manager->inProgressCount() < kSaturatedTasks)
        ask();
}

void VornCliCycleProbe::ask()
{
    m_askedInVain = m_manager->inProgressCount() >= kSaturatedTasks;
    m_manager->requestSync();
    m_retryTimer.start();
}

bool VornCliCycleProbe::appendToMarker() const
{
    QFile marker(localPath() + QLatin1Char('/') + m_markerName);
    return marker.open(QIODevice::WriteOnly | QIODevice::Append) && marker.write(".") == 1 && marker.flush();
}

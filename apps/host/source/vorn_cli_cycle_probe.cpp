#include "vorn_cli_cycle_probe.h"

#include "vorn_sync_manager.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace {

constexpr int kFirstRetryMs = 2000; // a request that is skipped is lost; most cycles are shorter than this
constexpr int kLastRetryMs = 60000; // requests queue up behind a long cycle, so they are not repeated often
constexpr int kDotEntries = 2;      // "." and ".." are counted as well
constexpr int kSaturatedTasks = 10; // from here on the manager skips cycles

} // namespace

VornCliCycleProbe::VornCliCycleProbe(const QString& directory, const VornCliExclusions& exclusions,
                                     QObject* parent)
    : QObject(parent)
    , m_directory(directory)
    , m_exclusions(exclusions)
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

QString VornCliCycleProbe::markerName(const VornCliExclusions& exclusions, int number)
{
    for (const char filler : {'+', 'y', '0'}) {
        for (const char* base : {"marker", "cycle.probe", "~#", "0"}) {
            const QString name = QLatin1String(base) + QString(number, QLatin1Char(filler));
            if (exclusions.isMirrored(name))
                return name;
        }
    }
    return QString();
}

bool VornCliCycleProbe::attach(VornSyncManager* manager)
{
    removeFiles();
    m_manager = manager;
    m_isReady = m_isAwaited = m_askedInVain = false;
    m_markersMade = m_markersRunning = m_markersDone = 0;
    if (!QDir().mkpath(localPath()) || !QDir().mkpath(distantPath()) || !makeMarker())
        return false;
    forget(manager); // so that its number is the highest one
    return manager->addDirectory(reservedAlias(), localPath(), distantPath());
}

void VornCliCycleProbe::detach()
{
    m_retryTimer.stop();
    m_isAwaited = false;
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

void VornCliCycleProbe::requestCycle()
{
    if (m_isAwaited || !m_isReady)
        return;
    if (!makeMarker()) {
        emit failed();
        return;
    }
    m_isAwaited = true;
    m_retryTimer.setInterval(kFirstRetryMs);
    ask();
}

bool VornCliCycleProbe::owns(const QString& filePath) const
{
    return filePath.startsWith(localPath() + QLatin1Char('/'));
}

bool VornCliCycleProbe::isDoneUncertain() const
{
    if (m_markersRunning == 0)
        return false;
    const QDir distant(distantPath());
    return static_cast<int>(distant.count()) - kDotEntries > m_markersDone;
}

void VornCliCycleProbe::onMarkerStarted(const QString& filePath)
{
    ++m_markersRunning;
    if (!m_isAwaited || filePath != m_markerPath)
        return;
    m_isAwaited = false;
    m_retryTimer.stop();
    emit cycleEnded();
}

void VornCliCycleProbe::onMarkerCompleted(bool ok)
{
    if (m_markersRunning == 0)
        return; // of a state that was emptied meanwhile
    --m_markersRunning;
    if (m_manager == nullptr)
        return; // its pair is forgotten already, so it must fail
    if (!ok) {
        emit failed();
        return;
    }
    ++m_markersDone;
    if (m_isReady)
        return;
    m_isReady = true;
    emit ready();
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

bool VornCliCycleProbe::makeMarker()
{
    const QString name = markerName(m_exclusions, m_markersMade++);
    m_markerPath = localPath() + QLatin1Char('/') + name;
    QFile marker(m_markerPath);
    return !name.isEmpty() && marker.open(QIODevice::WriteOnly);
}

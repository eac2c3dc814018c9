#include "sim_actors.h"

#include "file_calls.h"

#include <QFile>

#include <algorithm>

#include <fcntl.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

constexpr int kMsPerSec = 1000;
constexpr int kStopLookMs = 500; // how long a sleeper may miss that it is to stop
constexpr int kClockPauseSecs = 900;
constexpr int kSideCarPauseSecs = 60;
constexpr int kLongestJumpSecs = 7200; // daylight saving time, and a clock that was set by hand

} // namespace

SimActors::SimActors(SimWorld& world, SimDisk& disk)
    : m_world(world)
    , m_disk(disk)
{
    const SimProfile& profile = world.profile();
    add(profile.userPauseSecs, [this] { actAsUser(); });
    add(profile.otherPauseSecs, [this] { actAsOther(); });
    add(profile.weatherPauseSecs, [this] { changeWeather(); });
    add(profile.clockJumps > 0 ? kClockPauseSecs : 0, [this] { jumpClock(); });
    add(profile.hasSideCars ? kSideCarPauseSecs : 0, [this] { openSideCar(); });
}

SimActors::~SimActors()
{
    stop();
}

void SimActors::stop()
{
    m_isStopping = true;
    for (std::thread& thread : m_threads)
        thread.join();
    m_threads.clear();
}

template<typename Act> void SimActors::add(int longestPauseSecs, Act act)
{
    if (longestPauseSecs == 0)
        return;
    m_threads.emplace_back([this, longestPauseSecs, act] {
        while (!m_isStopping) {
            qint64 restMs = qint64(m_world.random(quint64(longestPauseSecs) * kMsPerSec));
            const qint64 turnMs = std::max<qint64>(kStopLookMs, restMs / 50);
            for (; restMs > 0 && !m_isStopping; restMs -= turnMs)
                SimScheduler::sleepMs(std::min(restMs, turnMs));
            if (!m_isStopping)
                act();
        }
    });
}

void SimActors::actAsUser()
{
    ++m_world.state().actions;
    const int name = int(m_world.random(quint64(m_world.nameCount())));
    switch (m_world.random(8)) {
    case 0:
        if (m_world.remove(SimSide::Local, name))
            m_world.file(name).localAbsentNs = SimWorld::nowNs();
        return;
    case 1:
        m_world.write(SimSide::Local, name, true);
        return;
    default:
        m_world.write(SimSide::Local, name);
        return;
    }
}

void SimActors::actAsOther()
{
    if (m_world.state().weather == SimWeather::Empty)
        return; // that is our mount point, not the share
    ++m_world.state().actions;
    const int name = int(m_world.random(quint64(m_world.nameCount())));
    if (m_world.random(5) != 0)
        m_world.write(SimSide::Distant, name);
    else if (m_world.remove(SimSide::Distant, name))
        m_world.file(name).distantAbsentNs = SimWorld::nowNs();
}

void SimActors::changeWeather()
{
    if (m_world.state().weather != SimWeather::Fair) {
        m_disk.setWeather(SimWeather::Fair);
        return;
    }
    SimWeather weather = SimWeather(1 + m_world.random(6));
    if (weather == SimWeather::Empty && !m_world.profile().hasEmptyShares)
        weather = SimWeather::Away;
    m_disk.setWeather(weather);
}

void SimActors::jumpClock()
{
    if (m_world.state().clockJumpsLeft == 0)
        return;
    --m_world.state().clockJumpsLeft;
    const qint64 secs = qint64(m_world.random(2 * kLongestJumpSecs)) - kLongestJumpSecs;
    SimScheduler::jumpWall(secs * kMsPerSec);
    m_world.state().setBackSecs += std::max<qint64>(0, -secs);
    m_world.log(QStringLiteral("the clock jumps by %1 s").arg(secs));
}

// A program works on a database for a while.
void SimActors::openSideCar()
{
    const int name = int(m_world.random(quint64(m_world.nameCount())));
    const QByteArray path = m_world.path(SimSide::Local, name) + "-wal";
    SimFile& file = m_world.file(name);
    if (file.local == kSimNoVersion)
        return;
    {
        const FileCalls::Unseen unseen;
        const int descriptor = ::open(path.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        if (descriptor < 0)
            return;
        ::close(descriptor);
    }
    file.sideCarSinceNs = SimWorld::nowNs();
    m_world.log(QStringLiteral("side-car beside %1").arg(m_world.fileName(name)));
    SimScheduler::sleepMs(qint64(m_world.random(kSideCarPauseSecs * 5 * kMsPerSec)));
    m_world.write(SimSide::Local, name);
    const FileCalls::Unseen unseen;
    ::unlink(path.constData());
    file.sideCarSinceNs = -1;
    m_world.log(QStringLiteral("no side-car beside %1 any more").arg(m_world.fileName(name)));
}

void SimActors::closeSideCars()
{
    const FileCalls::Unseen unseen;
    for (int name = 0; name < m_world.nameCount(); ++name) {
        ::unlink((m_world.path(SimSide::Local, name) + "-wal").constData());
        m_world.file(name).sideCarSinceNs = -1;
    }
}

} // namespace VornSyncTest

#include "sim_disk.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

constexpr qint64 kCallNs = 20000; // what a call on a quick disk takes
constexpr qint64 kNsPerSec = 1000000000;
constexpr int kSlowCallMs = 300;
constexpr int kUnreachableCallMs = 2000; // before the error comes

bool isCalled(const FileCalls::Call& call, const char* function)
{
    return std::strncmp(call.function, function, std::strlen(function)) == 0;
}

bool needsRoom(const FileCalls::Call& call)
{
    return call.effect == FileCalls::Effect::Writes || isCalled(call, "mkdir") || isCalled(call, "link");
}

struct FileTimes
{
    FileTimes()
    {
        const qint64 ns = SimScheduler::wallNs();
        both[0] = both[1] = timespec{ns / kNsPerSec, ns % kNsPerSec};
    }

    timespec both[2];
};

} // namespace

const char* weatherName(SimWeather weather)
{
    switch (weather) {
    case SimWeather::Fair:
        return "fair";
    case SimWeather::Away:
        return "away";
    case SimWeather::Unreachable:
        return "unreachable";
    case SimWeather::Empty:
        return "an empty mount point";
    case SimWeather::ReadOnly:
        return "read-only";
    case SimWeather::Full:
        return "full";
    case SimWeather::Slow:
        return "slow";
    }
    return "";
}

SimDisk::SimDisk(SimWorld& world)
    : m_world(world)
{
    FileCalls::watch(world.root());
    FileCalls::Hooks hooks;
    hooks.before = [this](const FileCalls::Call& call) { return before(call); };
    hooks.after = [this](const FileCalls::Call& call, int error) { after(call, error); };
    FileCalls::setHooks(hooks);
}

void SimDisk::setWeather(SimWeather weather)
{
    SimState& state = m_world.state();
    if (state.weather == weather)
        return;
    const FileCalls::Unseen unseen;
    const QByteArray place = m_world.directory(SimSide::Distant);
    const QByteArray hidden = place + ".hidden";
    if (state.weather == SimWeather::Empty) {
        const QByteArray mountPoint = place + ".mountpoint";
        ::rename(place.constData(), mountPoint.constData());
        ::rename(hidden.constData(), place.constData());
    }
    if (weather == SimWeather::Empty) {
        ::rename(place.constData(), hidden.constData());
        // What is written into the mount point stays there, as on a real one.
        const QByteArray mountPoint = place + ".mountpoint";
        if (::rename(mountPoint.constData(), place.constData()) != 0)
            ::mkdir(place.constData(), 0755);
    }
    const bool hasMoved = state.weather == SimWeather::Empty || weather == SimWeather::Empty;
    state.weather = weather;
    m_world.log(QStringLiteral("the share is %1").arg(QLatin1String(weatherName(weather))));
    if (hasMoved)
        m_world.lookAgain();
    disturb();
}

// From now on a file may be sent twice, and a deletion need not arrive.
void SimDisk::disturb()
{
    m_world.state().hadDisturbance = true;
    for (int name = 0; name < m_world.nameCount(); ++name)
        m_world.file(name).isDeleteOpen = false;
}

SimDisk::Place SimDisk::placeOf(const FileCalls::Call& call) const
{
    const auto isIn = [&](const QByteArray& directory) {
        return call.path.startsWith(directory) || call.target.startsWith(directory);
    };
    if (isIn(m_world.directory(SimSide::Distant)))
        return Place::Distant;
    if (isIn(m_world.directory(SimSide::Trash)))
        return Place::Trash;
    if (isIn(m_world.directory(SimSide::Local)))
        return Place::Local;
    return isIn(m_world.root() + "/state") ? Place::Database : Place::Elsewhere;
}

int SimDisk::before(const FileCalls::Call& call)
{
    SimState& state = m_world.state();
    ++state.calls;
    SimScheduler::pass(kCallNs);
    if (!state.isHealing && state.crashAtCall >= 0 && state.calls >= state.crashAtCall) {
        m_world.log(
            QStringLiteral("CRASH at %1 %2")
                .arg(QLatin1String(call.function), QString::fromUtf8(call.path.mid(m_world.root().size()))));
        disturb();
        ::_exit(kCrashExitCode);
    }
    SimScheduler::yieldPoint();
    if (state.isHealing)
        return 0;
    const Place place = placeOf(call);
    if (place == Place::Distant) {
        if (const int error = weatherError(call))
            return error;
    }
    return chanceError(place, call);
}

int SimDisk::weatherError(const FileCalls::Call& call)
{
    const bool isLooking =
        call.effect == FileCalls::Effect::Looks || call.effect == FileCalls::Effect::Flushes;
    switch (m_world.state().weather) {
    case SimWeather::Fair:
    case SimWeather::Empty:
        return 0;
    case SimWeather::Away:
        return call.descriptor >= 0 ? ESTALE : ENOENT;
    case SimWeather::Unreachable:
        SimScheduler::sleepMs(qint64(random(kUnreachableCallMs)));
        return random(2) == 0 ? EIO : EHOSTDOWN;
    case SimWeather::ReadOnly:
        return isLooking ? 0 : EROFS;
    case SimWeather::Full:
        return needsRoom(call) ? (random(4) == 0 ? EDQUOT : ENOSPC) : 0;
    case SimWeather::Slow:
        SimScheduler::sleepMs(qint64(random(kSlowCallMs)));
        return 0;
    }
    return 0;
}

int SimDisk::chanceError(Place place, const FileCalls::Call& call)
{
    static constexpr int kErrors[] = {EIO, EACCES, ESTALE, EIO};
    const SimProfile& profile = m_world.profile();
    const int permille = place == Place::Database ? profile.databaseFaultPermille : profile.faultPermille;
    if (permille == 0 || place == Place::Elsewhere || int(random(1000)) >= permille)
        return 0;
    ++m_world.state().faults;
    disturb();
    const int error = needsRoom(call) && random(2) == 0 ? ENOSPC : kErrors[random(4)];
    m_world.log(QStringLiteral("fault %1: %2 %3")
                    .arg(QLatin1String(std::strerror(error)), QLatin1String(call.function),
                         QString::fromUtf8(call.path.mid(m_world.root().size()).left(100))));
    return error;
}

void SimDisk::after(const FileCalls::Call& call, int error)
{
    if (error != 0)
        return;
    const Place place = placeOf(call);
    if (place == Place::Database || place == Place::Elsewhere)
        return;
    if (call.effect == FileCalls::Effect::Writes && call.descriptor >= 0)
        ::futimens(call.descriptor, FileTimes().both);
    if (isCalled(call, "unlink") || isCalled(call, "remove"))
        m_world.onRemoved(call.path);
    if (!isCalled(call, "rename") && !isCalled(call, "link"))
        return;
    if (place == Place::Distant && isCalled(call, "link"))
        loseEnd(call.target);
    m_world.onRenamed(isCalled(call, "rename") ? call.path : QByteArray(), call.target);
}

// A share that says yes and keeps half of it.
void SimDisk::loseEnd(const QByteArray& path)
{
    const int permille = m_world.profile().lyingPermille;
    if (permille == 0 || m_world.state().isHealing || int(random(1000)) >= permille)
        return;
    struct stat facts;
    if (::stat(path.constData(), &facts) != 0 || ::truncate(path.constData(), facts.st_size * 3 / 4) != 0)
        return;
    ::utimensat(AT_FDCWD, path.constData(), FileTimes().both, 0);
    ++m_world.state().faults;
    disturb();
    m_world.log(QStringLiteral("the share loses the end of %1")
                    .arg(QString::fromUtf8(path.mid(m_world.root().size()).left(60))));
}

} // namespace VornSyncTest

#pragma once

#include "file_calls.h"
#include "sim_world.h"

namespace VornSyncTest {

// The disk under a simulated process: each file-system call of the engine takes time, may let other threads go
// first, fails as the weather has it, or is the last one before a crash. Tells the world what the engine changed.
class SimDisk
{
    Q_DISABLE_COPY_MOVE(SimDisk)

public:
    static constexpr int kCrashExitCode = 42;

    explicit SimDisk(SimWorld& world);

    // From another workstation's or the administrator's hand.
    void setWeather(SimWeather weather);

private:
    enum class Place { Local, Distant, Trash, Database, Elsewhere };

    int before(const FileCalls::Call& call);
    void after(const FileCalls::Call& call, int error);
    Place placeOf(const FileCalls::Call& call) const;
    int weatherError(const FileCalls::Call& call);
    int chanceError(Place place, const FileCalls::Call& call);
    void loseEnd(const QByteArray& path);
    void disturb();
    quint64 random(quint64 bound) { return m_world.state().faultRandom() % bound; }

    SimWorld& m_world;
};

const char* weatherName(SimWeather weather);

} // namespace VornSyncTest

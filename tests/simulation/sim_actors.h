#pragma once

#include "sim_disk.h"
#include "sim_world.h"

#include <thread>
#include <vector>

namespace VornSyncTest {

// Everybody but the host: users who edit, another workstation, what happens to the share and the clock. Each has a
// simulated thread of its own, and so acts in between any two file-system calls of the engine.
class SimActors
{
    Q_DISABLE_COPY_MOVE(SimActors)

public:
    SimActors(SimWorld& world, SimDisk& disk);
    ~SimActors();

    void stop(); // returns when all have ended
    // Programs that were killed with the host open their databases once more, and close them.
    void closeSideCars();

private:
    template<typename Act> void add(int longestPauseSecs, Act act);

    void actAsUser();
    void actAsOther();
    void changeWeather();
    void jumpClock();
    void openSideCar();

    SimWorld& m_world;
    SimDisk& m_disk;
    std::vector<std::thread> m_threads;
    bool m_isStopping = false;
};

} // namespace VornSyncTest

#pragma once

#include "sim_profile.h"

#include <QtGlobal>

#include <string>

namespace VornSyncTest {

// What happened in a run, or in several.
struct SimCounts
{
    double days = 0; // simulated ones
    quint64 processes = 0;
    quint64 actions = 0;
    quint64 faults = 0;
    quint64 engineChanges = 0;
    quint64 calls = 0;

    SimCounts& operator+=(const SimCounts& other);
};

struct SimResult
{
    bool hasPassed = false;
    std::string reason;
    std::string log; // its last lines
    quint64 digest = 0;
    SimCounts counts;
};

// Lives one seed's story from its first process to its last, each in a child of this process.
SimResult runSimulation(const SimProfile& profile, quint64 seed, bool isLoud);

// A simpler profile with which that seed still fails, and what was left out.
SimProfile shrink(const SimProfile& profile, quint64 seed, std::string& leftOut);

} // namespace VornSyncTest

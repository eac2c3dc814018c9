#pragma once

#include <string>
#include <vector>

namespace VornSyncTest {

// A mistake that somebody could make, and the profiles in which it matters.
struct SimPlantedBug
{
    const char* name;
    const char* what;
    std::vector<const char*> profiles;
};

const std::vector<SimPlantedBug>& simPlantedBugs();

// From now on, in this process and its children; an empty name plants none. False for a name that is not listed.
bool plantBug(const std::string& name);

} // namespace VornSyncTest

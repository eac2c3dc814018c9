#include "sim_planted_bugs.h"

#include "vorn_planted_bugs.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace VornSyncTest {

namespace {

const char* planted = nullptr;

const SimPlantedBug* find(const char* name)
{
    for (const SimPlantedBug& bug : simPlantedBugs()) {
        if (std::strcmp(bug.name, name) == 0)
            return &bug;
    }
    return nullptr;
}

} // namespace

const std::vector<SimPlantedBug>& simPlantedBugs()
{
    static const std::vector<SimPlantedBug> bugs{
        {"skipSizeCheck", "a copy is put in place without a look at its size", {"flaky", "error-desk"}},
        {"copyInPlace", "an old copy is removed before the new one is there", {"calm", "crashy"}},
        {"removeWithoutCopy", "a move removes the file although its copy failed", {"flaky", "error-desk"}},
        {"replaceChangedLocal",
         "a newer distant copy replaces a local file that was changed meanwhile",
         {"calm"}},
        {"errorIsAbsent", "a file that can't be looked at is taken for gone", {"flaky", "names"}},
        {"missingDirectoryIsEmpty",
         "a share that is away is taken for an empty one",
         {"crashy", "error-desk"}},
        {"trustHalfListing", "a listing that fails half-way is taken for complete", {"flaky", "error-desk"}},
        {"keepRenameLock", "the lock of a rename is never released", {"calm"}},
        {"ignoreRenameLock", "the names of a rename are not left alone", {"calm", "names"}},
        {"loseDeferredRemove", "a deletion during a copy is forgotten", {"calm"}},
        {"purgeByFileTime",
         "the trash is purged by the file's age, not by the time it is there",
         {"long-haul"}},
        {"noStaleRescue", "what lost its operation waits for ever", {"flaky", "error-desk"}},
        {"chainedArg", "a file name is taken for a pattern, as a second arg() does", {"names"}},
        {"countFileReady", "a copy for a file-ready request counts as in flight", {"calm", "error-desk"}},
        {"failureIsSuccess", "a copy that failed is recorded as done", {"flaky", "crashy"}},
        {"recordPresent", "what is there after a copy is recorded, not what was sent", {"crashy"}},
        {"forgetNewerDistant", "a newer version of another workstation is not held", {"calm", "long-haul"}},
        {"workerForgetsTheRest", "the queue is not looked at again after a task", {"calm"}},
        {"noForeignKeys", "the rows of a removed pair stay", {"error-desk"}},
        {"ignoreSideCar", "a database is sent while it is being written", {"side-cars"}},
        {"sendExcluded", "files that a pattern excludes are sent", {"side-cars"}},
    };
    return bugs;
}

bool plantBug(const std::string& name)
{
    const SimPlantedBug* bug = find(name.c_str());
    planted = bug ? bug->name : nullptr;
    return bug || name.empty();
}

} // namespace VornSyncTest

bool vornIsPlanted(const char* name)
{
    using namespace VornSyncTest;
    if (!planted)
        return false;
    if (!find(name)) {
        std::fprintf(stderr, "planted bug %s is not listed\n", name);
        std::abort();
    }
    return std::strcmp(planted, name) == 0;
}

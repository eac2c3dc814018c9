// Random worlds in simulated time, each from a seed that can be played again.

#include "sim_planted_bugs.h"
#include "sim_run.h"

#include <atomic>
#include <chrono>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dlfcn.h>

using namespace VornSyncTest;

namespace {

using Clock = std::chrono::steady_clock;

struct Options
{
    std::string profile = "all";
    quint64 from = 1;
    quint64 seeds = 20;
    double seconds = 0; // 0: as long as the seeds take
    bool isLoud = false;
    bool isReplayed = false; // every seed twice: the digests must agree
    bool isShrunk = true;
    std::string planted;
    bool isProof = false; // plants every bug in turn, and demands that it is found
};

struct Totals
{
    quint64 runs = 0;
    SimCounts counts;
};

constexpr char kUsage[] =
    "usage: vorn_sync_simulation [--profile NAME|all] [--from SEED] [--seeds N] [--seconds S]\n"
    "                            [--seed SEED] [--replay] [--loud] [--no-shrink] [--list]\n"
    "                            [--plant BUG] [--prove]\n"
    "  --seed SEED   that one alone, with everything that happens on standard error\n"
    "  --seconds S   goes on with further seeds until that time is over\n"
    "  --plant BUG   with that mistake in the library\n"
    "  --prove       plants one after the other (or the one of --plant); each must be found within --seeds "
    "seeds\n"
    "  --replay      plays each seed twice and demands the same story\n";

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void reportFailure(const SimProfile& profile, quint64 seed, const SimResult& result, const Options& options)
{
    std::printf("FAILED: profile %s, seed %llu: %s\n", profile.name, seed, result.reason.c_str());
    std::printf("replay: vorn_sync_simulation --profile %s --seed %llu\n", profile.name, seed);
    if (!options.isShrunk) {
        std::printf("%s", result.log.c_str());
        return;
    }
    std::string leftOut;
    const SimProfile simplest = shrink(profile, seed, leftOut);
    const SimResult again = runSimulation(simplest, seed, false);
    std::printf("fails without: %s; then: %s\nits last lines:\n%s", leftOut.empty() ? "-" : leftOut.c_str(),
                again.reason.c_str(), again.log.c_str());
}

bool run(const SimProfile& profile, quint64 seed, const Options& options, Totals& totals)
{
    const SimResult result = runSimulation(profile, seed, options.isLoud);
    ++totals.runs;
    totals.counts += result.counts;
    if (!result.hasPassed) {
        reportFailure(profile, seed, result, options);
        return false;
    }
    if (options.isReplayed && runSimulation(profile, seed, false).digest != result.digest) {
        std::printf("FAILED: profile %s, seed %llu: the second run was another story\n", profile.name, seed);
        return false;
    }
    if (options.isLoud)
        std::printf("digest %016llx\n", result.digest);
    return true;
}

// Nothing is proven by a seed that fails anyway.
bool passesWithout(const SimPlantedBug& bug, const char* profile, quint64 seed)
{
    plantBug(std::string());
    const bool hasPassed = runSimulation(*findSimProfile(profile), seed, false).hasPassed;
    plantBug(bug.name);
    return hasPassed;
}

// How many seeds it took; 0: it was not found.
quint64 seedsToFind(const SimPlantedBug& bug, quint64 seeds, std::string& how)
{
    plantBug(bug.name);
    quint64 count = 0;
    for (quint64 seed = 1; count < seeds; ++seed) {
        for (const char* profile : bug.profiles) {
            const SimResult result = runSimulation(*findSimProfile(profile), seed, false);
            ++count;
            if (!result.hasPassed && passesWithout(bug, profile, seed)) {
                how = std::string(profile) + ": " + result.reason;
                return count;
            }
        }
    }
    return 0;
}

// All of them, or the one of that name.
int prove(const std::string& name, quint64 seeds)
{
    int missed = 0;
    for (const SimPlantedBug& bug : simPlantedBugs()) {
        if (!name.empty() && name != bug.name)
            continue;
        std::string how;
        const quint64 count = seedsToFind(bug, seeds, how);
        missed += count == 0 ? 1 : 0;
        std::printf("%-24s %-6s %s\n", bug.name, count == 0 ? "MISSED" : std::to_string(count).c_str(),
                    count == 0 ? bug.what : how.c_str());
        std::fflush(stdout);
    }
    std::printf("%d missed\n", missed);
    return missed == 0 ? 0 : 1;
}

bool parse(int count, char** arguments, Options& options)
{
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        const bool hasValue = i + 1 < count;
        if (argument == "--replay") {
            options.isReplayed = true;
        } else if (argument == "--loud") {
            options.isLoud = true;
        } else if (argument == "--prove") {
            options.isProof = true;
        } else if (argument == "--plant" && hasValue) {
            options.planted = arguments[++i];
        } else if (argument == "--no-shrink") {
            options.isShrunk = false;
        } else if (argument == "--profile" && hasValue) {
            options.profile = arguments[++i];
        } else if (argument == "--from" && hasValue) {
            options.from = std::strtoull(arguments[++i], nullptr, 10);
        } else if (argument == "--seeds" && hasValue) {
            options.seeds = std::strtoull(arguments[++i], nullptr, 10);
        } else if (argument == "--seconds" && hasValue) {
            options.seconds = std::strtod(arguments[++i], nullptr);
        } else if (argument == "--seed" && hasValue) {
            options.from = std::strtoull(arguments[++i], nullptr, 10);
            options.seeds = 1;
            options.isLoud = true;
        } else {
            return false;
        }
    }
    if (!plantBug(options.planted))
        return false;
    return options.profile == "all" || findSimProfile(options.profile.c_str());
}

// Qt 6.4 reads QT_NO_CPU_FEATURE and compares no name in it rightly, so the processor's random numbers are hidden from
// it here, together with all else that not every processor has.
void hideProcessorFeatures()
{
    constexpr quint64 kDetected = quint64(1) << 63;
    void* const features = ::dlvsym(RTLD_DEFAULT, "qt_cpu_features", "Qt_6");
    if (features)
        static_cast<std::atomic<quint64>*>(features)->store(kDetected);
}

} // namespace

int main(int argc, char** argv)
{
    // What would differ from run to run: the hardware's random numbers, hash seeds, another event loop, the zone.
    ::setenv("QT_NO_CPU_FEATURE", "rdrnd rdseed", 1);
    hideProcessorFeatures();
    ::setenv("QT_HASH_SEED", "0", 1);
    ::setenv("QT_NO_GLIB", "1", 1);
    ::setenv("TZ", "Europe/Paris", 1);
    ::setenv("LC_ALL", "C.UTF-8", 1);

    Options options;
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (const SimProfile& profile : simProfiles())
            std::printf("%s\n", profile.name);
        return 0;
    }
    if (!parse(argc, argv, options)) {
        std::fputs(kUsage, stderr);
        return 2;
    }

    if (options.isProof)
        return prove(options.planted, options.seeds);
    const auto start = Clock::now();
    Totals totals;
    bool isOver = false;
    for (quint64 seed = options.from; !isOver; ++seed) {
        for (const SimProfile& profile : simProfiles()) {
            if (options.profile != "all" && options.profile != profile.name)
                continue;
            if (!run(profile, seed, options, totals))
                return 1;
            isOver = options.seconds > 0 && secondsSince(start) >= options.seconds;
            if (isOver)
                break;
        }
        isOver = isOver || (options.seconds <= 0 && seed + 1 >= options.from + options.seeds);
    }
    const double seconds = secondsSince(start);
    std::printf("%llu runs in %.1f s (%.1f a second): %.1f simulated days, %llu processes, %llu"
                " actions, %llu faults, %llu changes judged, %llu calls\n",
                totals.runs, seconds, double(totals.runs) / seconds, totals.counts.days,
                totals.counts.processes, totals.counts.actions, totals.counts.faults,
                totals.counts.engineChanges, totals.counts.calls);
    return 0;
}

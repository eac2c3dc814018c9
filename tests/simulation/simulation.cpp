// Random worlds in simulated time, each from a seed that can be played again.

#include "literals.h"
#include "sim_planted_bugs.h"
#include "sim_run.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <atomic>
#include <chrono>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <dlfcn.h>

using namespace VornSyncTest;

namespace {

using Clock = std::chrono::steady_clock;

struct Options
{
    std::string profile;
    quint64 from = 1;
    quint64 seeds = 0;
    double seconds = 0; // 0: as long as the seeds take
    bool isLoud = false;
    bool isReplayed = false; // every seed twice: the digests must agree
    bool isShrunk = true;
    bool isList = false;
    bool isBugList = false;
    std::string planted;
    bool isProof = false; // plants every bug in turn, and demands that it is found
};

struct Totals
{
    quint64 runs = 0;
    SimCounts counts;
};

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
    if (name.empty())
        std::printf("%d missed\n", missed);
    return missed == 0 ? 0 : 1;
}

struct OptionTable
{
    QCommandLineOption profile{"profile"_s, "Worlds of that profile, or of all."_s, "NAME"_s, "all"_s};
    QCommandLineOption from{"from"_s, "The first seed."_s, "SEED"_s, "1"_s};
    QCommandLineOption seeds{"seeds"_s, "So many of them."_s, "N"_s, "20"_s};
    QCommandLineOption seconds{"seconds"_s, "Goes on with further seeds until that time is over."_s, "S"_s,
                               "0"_s};
    QCommandLineOption seed{"seed"_s, "That one alone, with everything that happens on standard error."_s,
                            "SEED"_s};
    QCommandLineOption loud{"loud"_s, "Everything that happens on standard error."_s};
    QCommandLineOption replay{"replay"_s, "Plays each seed twice and demands the same story."_s};
    QCommandLineOption noShrink{"no-shrink"_s, "Does not look for the simplest world that fails."_s};
    QCommandLineOption plant{"plant"_s, "With that mistake in the library."_s, "BUG"_s};
    QCommandLineOption prove{
        "prove"_s,
        "Plants one mistake after the other (or the one of --plant); each must be found in --seeds seeds."_s};
    QCommandLineOption list{"list"_s, "Names the profiles."_s};
    QCommandLineOption listBugs{"list-bugs"_s, "Names the mistakes for --plant."_s};

    QList<QCommandLineOption> all() const
    {
        return {profile, from, seeds, seconds, seed, loud, replay, noShrink, plant, prove, list, listBugs};
    }
};

bool read(const QCommandLineParser& parser, const OptionTable& table, Options& options)
{
    const bool isOne = parser.isSet(table.seed);
    bool isFrom = false;
    bool isCount = false;
    bool isTime = false;
    options.from = parser.value(isOne ? table.seed : table.from).toULongLong(&isFrom);
    options.seeds = parser.value(table.seeds).toULongLong(&isCount);
    options.seconds = parser.value(table.seconds).toDouble(&isTime);
    if (isOne)
        options.seeds = 1;
    options.isLoud = isOne || parser.isSet(table.loud);
    options.isReplayed = parser.isSet(table.replay);
    options.isShrunk = !parser.isSet(table.noShrink);
    options.isProof = parser.isSet(table.prove);
    options.isList = parser.isSet(table.list);
    options.isBugList = parser.isSet(table.listBugs);
    options.planted = parser.value(table.plant).toStdString();
    options.profile = parser.value(table.profile).toStdString();
    return isFrom && isCount && isTime && parser.positionalArguments().isEmpty() &&
           plantBug(options.planted) && (options.profile == "all" || findSimProfile(options.profile.c_str()));
}

bool parse(int count, char** arguments, Options& options)
{
    const OptionTable table;
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Random worlds in simulated time, each from a seed that can be played again."_s);
    parser.addOptions(table.all());
    QStringList words;
    for (int i = 0; i < count; ++i)
        words.append(QString::fromLocal8Bit(arguments[i]));
    if (parser.parse(words) && read(parser, table, options))
        return true;
    const QCoreApplication application(count, arguments); // whose name stands in the text
    std::fprintf(stderr, "%s\n%s", qPrintable(parser.errorText()), qPrintable(parser.helpText()));
    return false;
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
    if (!parse(argc, argv, options))
        return 2;
    if (options.isList) {
        for (const SimProfile& profile : simProfiles())
            std::printf("%s\n", profile.name);
        return 0;
    }
    if (options.isBugList) {
        for (const SimPlantedBug& bug : simPlantedBugs())
            std::printf("%s\n", bug.name);
        return 0;
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

#include "sim_run.h"

#include "sim_disk.h"
#include "sim_host.h"
#include "sim_world.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <vector>

#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

constexpr qint64 kNsPerSec = 1000000000;
constexpr qint64 kStartWallSecs = 1774744800; // 2026-03-29 00:40 UTC: daylight saving time begins at 01:00
constexpr unsigned kHangSecs = 300;           // of real time
constexpr int kMostCallsBeforeCrash = 3000;
constexpr double kSecsPerDay = 86400;

bool isTraceLoud = false;
QByteArray rootPath;

// Part of the digest: a run that differs in what the engine thought is not the same run.
void onMessage(QtMsgType, const QMessageLogContext&, const QString& text)
{
    const QByteArray line = text.toUtf8();
    if (SimScheduler::isSimulated()) {
        // The name of the directory, addresses and process numbers differ from run to run.
        SimScheduler::note(!line.contains(';') ? QByteArray(line).replace(rootPath, "~").constData()
                                               : "critical");
    }
    if (isTraceLoud)
        std::fprintf(stderr, "             | %s\n", line.constData());
}

void live(SimState* state, const SimProfile& profile, const std::string& root, bool isLoud)
{
    ::alarm(kHangSecs);
    // Threads take turns anyway; on one processor the hand-over is quick.
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(int(::getpid()) % int(::sysconf(_SC_NPROCESSORS_ONLN)), &processors);
    ::sched_setaffinity(0, sizeof processors, &processors);
    rootPath = QByteArray::fromStdString(root);
    qInstallMessageHandler(&onMessage);
    SimScheduler::begin(&state->clock, profile.yieldPermille);
    int argumentCount = 1;
    char program[] = "vorn_sync_simulation";
    char* arguments[] = {program, nullptr};
    QCoreApplication application(argumentCount, arguments);
    SimWorld world(state, profile, QByteArray::fromStdString(root), isLoud);
    SimDisk disk(world);
    SimHost host(world, disk);
    host.live();
    ::_exit(0);
}

std::string makeRoot()
{
    char pattern[] = "/dev/shm/vorn_sync_simulation.XXXXXX";
    const char* made = ::mkdtemp(pattern);
    if (!made) {
        std::perror(pattern);
        std::exit(2);
    }
    // Paths are part of what the engine writes: the same in every run.
    const std::string root = std::string(made) + "/r";
    for (const char* directory : {"", "/local", "/distant", "/trash", "/state"})
        ::mkdir((root + directory).c_str(), 0755);
    return root;
}

void removeRoot(const std::string& root)
{
    const std::string whole = root.substr(0, root.size() - 2);
    const std::string command = "rm -rf '" + whole + "'";
    if (std::system(command.c_str()) != 0)
        std::perror(whole.c_str());
}

std::string lastLines(const SimState& state)
{
    std::string text;
    const quint64 count = std::min<quint64>(state.logCount, kSimLogLines);
    for (quint64 i = state.logCount - count; i < state.logCount; ++i)
        text += std::string(state.log[i % kSimLogLines]) + '\n';
    return text;
}

// What one process after the other comes to; empty when the story has ended well.
std::string liveAll(SimState* state, const SimProfile& profile, const std::string& root, bool isLoud)
{
    while (!state->isDone) {
        ++state->incarnation;
        state->crashAtCall = -1;
        if (state->crashesLeft > 0 && state->clock.monotonicNs < state->endNs)
            state->crashAtCall = state->calls + 1 + qint64(state->worldRandom() % kMostCallsBeforeCrash);
        std::fflush(nullptr);
        const pid_t child = ::fork();
        if (child == 0)
            live(state, profile, root, isLoud);
        int status = 0;
        ::waitpid(child, &status, 0);
        if (WIFSIGNALED(status))
            return "ended by signal " + std::to_string(WTERMSIG(status)) +
                   (WTERMSIG(status) == SIGALRM ? " (hangs)" : "");
        const int code = WEXITSTATUS(status);
        if (code == SimDisk::kCrashExitCode)
            --state->crashesLeft;
        else if (code != 0)
            return state->failure[0] ? state->failure : "exit code " + std::to_string(code);
    }
    return std::string();
}

} // namespace

SimCounts& SimCounts::operator+=(const SimCounts& other)
{
    days += other.days;
    processes += other.processes;
    actions += other.actions;
    faults += other.faults;
    engineChanges += other.engineChanges;
    calls += other.calls;
    return *this;
}

SimResult runSimulation(const SimProfile& profile, quint64 seed, bool isLoud)
{
    isTraceLoud = isLoud && std::getenv("VORN_SYNC_SIMULATION_TRACE");
    void* memory =
        ::mmap(nullptr, sizeof(SimState), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        std::perror("mmap");
        std::exit(2);
    }
    auto* state = new (memory) SimState;
    state->clock.random.seed(seed);
    state->worldRandom.seed(seed ^ 0x9e3779b97f4a7c15ULL);
    state->faultRandom.seed(seed ^ 0xc2b2ae3d27d4eb4fULL);
    state->clock.monotonicNs = 1000 * kNsPerSec;
    state->clock.wallOffsetNs = kStartWallSecs * kNsPerSec;
    state->endNs = state->clock.monotonicNs + profile.durationSecs * kNsPerSec;
    state->crashesLeft = profile.crashes;
    state->clockJumpsLeft = profile.clockJumps;

    const std::string root = makeRoot();
    SimResult result;
    result.reason = liveAll(state, profile, root, isLoud);
    result.hasPassed = result.reason.empty();
    if (!result.hasPassed)
        result.log = lastLines(*state);
    result.digest = state->clock.digest;
    result.counts.days =
        double(state->clock.monotonicNs - 1000 * kNsPerSec) / double(kNsPerSec) / kSecsPerDay;
    result.counts.processes = quint64(state->incarnation);
    result.counts.actions = state->actions;
    result.counts.faults = state->faults;
    result.counts.engineChanges = state->engineChanges;
    result.counts.calls = quint64(state->calls);
    removeRoot(root);
    ::munmap(memory, sizeof(SimState));
    return result;
}

SimProfile shrink(const SimProfile& profile, quint64 seed, std::string& leftOut)
{
    struct Step
    {
        const char* name;
        std::function<void(SimProfile&)> apply;
    };
    const std::vector<Step> steps{
        {"crashes", [](SimProfile& p) { p.crashes = 0; }},
        {"clock jumps", [](SimProfile& p) { p.clockJumps = 0; }},
        {"faults", [](SimProfile& p) { p.faultPermille = 0; }},
        {"database faults", [](SimProfile& p) { p.databaseFaultPermille = 0; }},
        {"lies", [](SimProfile& p) { p.lyingPermille = 0; }},
        {"weather", [](SimProfile& p) { p.weatherPauseSecs = 0; }},
        {"other workstation", [](SimProfile& p) { p.otherPauseSecs = 0; }},
        {"user", [](SimProfile& p) { p.userPauseSecs = 0; }},
        {"resets", [](SimProfile& p) { p.hasResets = false; }},
        {"a third of the time", [](SimProfile& p) { p.durationSecs = p.durationSecs * 2 / 3; }},
        {"a third of the time", [](SimProfile& p) { p.durationSecs = p.durationSecs * 2 / 3; }},
        {"a third of the time", [](SimProfile& p) { p.durationSecs = p.durationSecs * 2 / 3; }},
        {"half of the names",
         [](SimProfile& p) { p.fileNames = p.fileNames.mid(0, (p.fileNames.size() + 1) / 2); }},
        {"half of the names",
         [](SimProfile& p) { p.fileNames = p.fileNames.mid(0, (p.fileNames.size() + 1) / 2); }},
        {"preemption", [](SimProfile& p) { p.yieldPermille = 0; }},
    };
    SimProfile simplest = profile;
    for (const Step& step : steps) {
        SimProfile simpler = simplest;
        step.apply(simpler);
        if (runSimulation(simpler, seed, false).hasPassed)
            continue;
        simplest = simpler;
        leftOut += std::string(leftOut.empty() ? "" : ", ") + step.name;
    }
    return simplest;
}

} // namespace VornSyncTest

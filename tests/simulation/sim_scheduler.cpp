#include "sim_scheduler.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

constexpr qint64 kNsPerMs = 1000000;
constexpr int kDestructorRounds = 4; // PTHREAD_DESTRUCTOR_ITERATIONS: the last one is the thread's very end

struct Thread
{
    int number = 0;
    unsigned long handle = 0;
    sem_t turn;
    bool isRunnable = true;
    bool hasTimedOut = false;
    bool hasEnded = false;
    SimScheduler::Wait wait;
    void* (*run)(void*) = nullptr;
    void* argument = nullptr;
    int destructorRounds = 0;
};

SimClock* simulated = nullptr;
int yieldPermille = 0;
std::vector<std::unique_ptr<Thread>> threads; // touched by the running thread only
int waitersOf[int(SimScheduler::WaitKind::Join) + 1] = {};
pthread_key_t endKey;
thread_local Thread* self = nullptr;

template<typename Function> Function systemFunction(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

int systemPoll(pollfd* descriptors, unsigned long count)
{
    using Poll = int (*)(pollfd*, nfds_t, const timespec*, const sigset_t*);
    static const Poll next = systemFunction<Poll>("ppoll");
    const timespec atOnce{0, 0};
    return next(descriptors, count, &atOnce, nullptr);
}

void setRunnable(Thread& thread, bool hasTimedOut)
{
    --waitersOf[int(thread.wait.kind)];
    thread.wait = {};
    thread.isRunnable = true;
    thread.hasTimedOut = hasTimedOut;
}

void findRunnable(std::vector<Thread*>& runnable)
{
    runnable.clear();
    for (const auto& thread : threads) {
        if (thread->hasEnded)
            continue;
        const SimScheduler::Wait& wait = thread->wait;
        if (!thread->isRunnable) {
            if (wait.kind == SimScheduler::WaitKind::Poll &&
                systemPoll(wait.descriptors, wait.descriptorCount) > 0)
                setRunnable(*thread, false);
            else if (wait.deadlineNs >= 0 && wait.deadlineNs <= simulated->monotonicNs)
                setRunnable(*thread, true);
        }
        if (thread->isRunnable)
            runnable.push_back(thread.get());
    }
}

[[noreturn]] void reportStall()
{
    std::fprintf(stderr, "simulation: every thread waits for ever\n");
    for (const auto& thread : threads)
        std::fprintf(stderr, "  thread %d: %s, wait kind %d\n", thread->number,
                     thread->hasEnded ? "ended" : "waits", int(thread->wait.kind));
    std::fflush(stderr);
    ::_exit(70);
}

void advance()
{
    qint64 next = -1;
    for (const auto& thread : threads) {
        const qint64 deadline = thread->hasEnded ? -1 : thread->wait.deadlineNs;
        if (deadline >= 0 && (next < 0 || deadline < next))
            next = deadline;
    }
    if (next < 0)
        reportStall();
    simulated->monotonicNs = std::max(simulated->monotonicNs, next);
    ++simulated->advances;
}

// Gives the turn to a thread that can go on; returns when it is the caller's again, at once when it has ended.
void handOver()
{
    Thread* const me = self;
    std::vector<Thread*> runnable;
    for (findRunnable(runnable); runnable.empty(); findRunnable(runnable))
        advance();
    Thread* next = runnable.at(simulated->random() % runnable.size());
    SimScheduler::note(quint64(next->number) + 1);
    if (next == me)
        return;
    ++simulated->switches;
    const bool hasEnded = me->hasEnded;
    ::sem_post(&next->turn);
    if (hasEnded)
        return;
    while (::sem_wait(&me->turn) != 0) {
    }
}

void endThread()
{
    self->hasEnded = true;
    SimScheduler::wake(SimScheduler::WaitKind::Join, self, 1);
    handOver();
}

// The key's destructor is called again as long as it sets the value again: other keys' destructors of the same
// thread come before the last call.
void onThreadEnd(void* value)
{
    Thread* thread = static_cast<Thread*>(value);
    if (++thread->destructorRounds < kDestructorRounds)
        ::pthread_setspecific(endKey, value);
    else
        endThread();
}

void* runThread(void* value)
{
    self = static_cast<Thread*>(value);
    while (::sem_wait(&self->turn) != 0) {
    }
    ::pthread_setspecific(endKey, value);
    return self->run(self->argument);
}

void mix(quint64 byte)
{
    constexpr quint64 kPrime = 1099511628211ULL; // FNV-1a
    simulated->digest = (simulated->digest ^ byte) * kPrime;
}

Thread* addThread()
{
    threads.push_back(std::make_unique<Thread>());
    Thread* thread = threads.back().get();
    thread->number = int(threads.size()) - 1;
    ::sem_init(&thread->turn, 0, 0);
    return thread;
}

} // namespace

namespace SimScheduler {

void begin(SimClock* clock, int permille)
{
    ::pthread_key_create(&endKey, &onThreadEnd);
    yieldPermille = permille;
    self = addThread();
    self->handle = ::pthread_self();
    simulated = clock;
}

bool isSimulated()
{
    return simulated && self && !self->hasEnded;
}

void yieldPoint()
{
    if (isSimulated() && int(simulated->random() % 1000) < yieldPermille)
        handOver();
}

void pass(qint64 ns)
{
    if (simulated)
        simulated->monotonicNs += ns;
}

void sleepMs(qint64 ms)
{
    Wait wait;
    wait.kind = WaitKind::Sleep;
    wait.deadlineNs = monotonicNs() + ms * kNsPerMs;
    block(wait);
}

bool block(const Wait& wait)
{
    self->wait = wait;
    self->isRunnable = false;
    self->hasTimedOut = false;
    ++waitersOf[int(wait.kind)];
    handOver();
    return !self->hasTimedOut;
}

int wake(WaitKind kind, const void* object, int count)
{
    int woken = 0;
    if (waitersOf[int(kind)] == 0)
        return woken;
    for (const auto& thread : threads) {
        if (woken == count)
            break;
        if (thread->isRunnable || thread->wait.kind != kind || thread->wait.object != object)
            continue;
        setRunnable(*thread, false);
        ++woken;
    }
    return woken;
}

bool hasWaiters(WaitKind kind)
{
    return waitersOf[int(kind)] > 0;
}

qint64 monotonicNs()
{
    return simulated->monotonicNs;
}

qint64 wallNs()
{
    return simulated->monotonicNs + simulated->wallOffsetNs;
}

qint64 wallMs()
{
    return wallNs() / kNsPerMs;
}

void jumpWall(qint64 ms)
{
    simulated->wallOffsetNs += ms * kNsPerMs;
}

void note(quint64 value)
{
    for (int shift = 0; shift < 64; shift += 8)
        mix((value >> shift) & 0xff);
}

void note(const char* text)
{
    for (; *text; ++text)
        mix(static_cast<unsigned char>(*text));
}

int createThread(unsigned long* handle, const void* attributes, void* (*run)(void*), void* argument)
{
    using Create = int (*)(unsigned long*, const void*, void* (*)(void*), void*);
    static const Create next = systemFunction<Create>("pthread_create");
    if (!isSimulated())
        return next(handle, attributes, run, argument);
    Thread* thread = addThread();
    thread->run = run;
    thread->argument = argument;
    const int error = next(handle, attributes, &runThread, thread);
    if (error != 0)
        thread->hasEnded = true;
    else
        thread->handle = *handle;
    return error;
}

int joinThread(unsigned long handle, void** result)
{
    using Join = int (*)(unsigned long, void**);
    static const Join next = systemFunction<Join>("pthread_join");
    const auto found = std::find_if(threads.begin(), threads.end(),
                                    [&](const auto& thread) { return thread->handle == handle; });
    if (isSimulated() && found != threads.end()) {
        Thread* thread = found->get();
        while (!thread->hasEnded) {
            Wait wait;
            wait.kind = WaitKind::Join;
            wait.object = thread;
            block(wait);
        }
        thread->handle = 0; // may be given to another thread now
    }
    return next(handle, result);
}

} // namespace SimScheduler

} // namespace VornSyncTest

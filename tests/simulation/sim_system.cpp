// The C library's functions that wait, wake or tell the time, for simulated threads. They stand in the executable
// and so come before the C library's, for Qt, the C++ library and SQLite too.

#include "sim_scheduler.h"

#include <QtGlobal>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>

#include <dlfcn.h>
#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

using namespace VornSyncTest;

#define VORN_TEST_HOOK extern "C" __attribute__((visibility("default")))

namespace {

constexpr qint64 kNsPerSec = 1000000000;
constexpr qint64 kNsPerMs = 1000000;
constexpr qint64 kNsPerUs = 1000;

template<typename Function> Function systemFunction(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

qint64 toNs(const timespec& time)
{
    return time.tv_sec * kNsPerSec + time.tv_nsec;
}

timespec fromNs(qint64 ns)
{
    return timespec{ns / kNsPerSec, ns % kNsPerSec};
}

bool isWallClock(clockid_t clock)
{
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
}

void sleepNs(qint64 ns)
{
    SimScheduler::Wait wait;
    wait.kind = SimScheduler::WaitKind::Sleep;
    wait.deadlineNs = SimScheduler::monotonicNs() + ns;
    SimScheduler::block(wait);
}

int systemPoll(pollfd* descriptors, nfds_t count)
{
    static const auto next =
        systemFunction<int (*)(pollfd*, nfds_t, const timespec*, const sigset_t*)>("ppoll");
    const timespec atOnce{0, 0};
    return next(descriptors, count, &atOnce, nullptr);
}

// A negative time-out waits for ever.
int pollFor(pollfd* descriptors, nfds_t count, qint64 timeoutNs)
{
    SimScheduler::yieldPoint();
    const int ready = systemPoll(descriptors, count);
    if (ready != 0 || timeoutNs == 0)
        return ready;
    SimScheduler::Wait wait;
    wait.kind = SimScheduler::WaitKind::Poll;
    wait.descriptors = descriptors;
    wait.descriptorCount = count;
    wait.deadlineNs = timeoutNs < 0 ? -1 : SimScheduler::monotonicNs() + timeoutNs;
    SimScheduler::block(wait);
    return systemPoll(descriptors, count);
}

int lockMutex(pthread_mutex_t* mutex)
{
    static const auto next = systemFunction<int (*)(pthread_mutex_t*)>("pthread_mutex_trylock");
    int error = next(mutex);
    while (error == EBUSY) {
        SimScheduler::Wait wait;
        wait.kind = SimScheduler::WaitKind::Mutex;
        wait.object = mutex;
        SimScheduler::block(wait);
        error = next(mutex);
    }
    return error;
}

int unlockMutex(pthread_mutex_t* mutex)
{
    static const auto next = systemFunction<int (*)(pthread_mutex_t*)>("pthread_mutex_unlock");
    const int error = next(mutex);
    if (SimScheduler::isSimulated() && SimScheduler::hasWaiters(SimScheduler::WaitKind::Mutex))
        SimScheduler::wake(SimScheduler::WaitKind::Mutex, mutex, INT_MAX);
    return error;
}

int waitForCondition(pthread_cond_t* condition, pthread_mutex_t* mutex, qint64 deadlineNs)
{
    SimScheduler::Wait wait;
    wait.kind = SimScheduler::WaitKind::Condition;
    wait.object = condition;
    wait.deadlineNs = deadlineNs;
    unlockMutex(mutex);
    const bool isWoken = SimScheduler::block(wait);
    lockMutex(mutex);
    return isWoken ? 0 : ETIMEDOUT;
}

int waitForFutex(int* address, int expected, qint64 deadlineNs)
{
    if (reinterpret_cast<std::atomic<int>*>(address)->load() != expected) {
        errno = EAGAIN;
        return -1;
    }
    SimScheduler::Wait wait;
    wait.kind = SimScheduler::WaitKind::Futex;
    wait.object = address;
    wait.deadlineNs = deadlineNs;
    if (SimScheduler::block(wait))
        return 0;
    errno = ETIMEDOUT;
    return -1;
}

[[noreturn]] void reportUnknown(const char* what, long number)
{
    std::fprintf(stderr, "simulation: %s %ld is not simulated\n", what, number);
    std::abort();
}

} // namespace

// ---- Threads ----

VORN_TEST_HOOK int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                                  void* argument) noexcept
{
    return SimScheduler::createThread(thread, attributes, run, argument);
}

VORN_TEST_HOOK int pthread_join(pthread_t thread, void** result)
{
    return SimScheduler::joinThread(thread, result);
}

VORN_TEST_HOOK int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    static const auto next = systemFunction<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
    return SimScheduler::isSimulated() ? lockMutex(mutex) : next(mutex);
}

VORN_TEST_HOOK int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
{
    return unlockMutex(mutex);
}

VORN_TEST_HOOK int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    static const auto next = systemFunction<int (*)(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
    return SimScheduler::isSimulated() ? waitForCondition(condition, mutex, -1) : next(condition, mutex);
}

// Qt's conditions count on the monotonic clock, the C++ library's on the one it names.
VORN_TEST_HOOK int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                          const timespec* deadline)
{
    static const auto next =
        systemFunction<int (*)(pthread_cond_t*, pthread_mutex_t*, const timespec*)>("pthread_cond_timedwait");
    return SimScheduler::isSimulated() ? waitForCondition(condition, mutex, toNs(*deadline))
                                       : next(condition, mutex, deadline);
}

VORN_TEST_HOOK int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                          const timespec* deadline)
{
    static const auto next =
        systemFunction<int (*)(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)>(
            "pthread_cond_clockwait");
    if (!SimScheduler::isSimulated())
        return next(condition, mutex, clock, deadline);
    const qint64 shift = isWallClock(clock) ? SimScheduler::wallNs() - SimScheduler::monotonicNs() : 0;
    return waitForCondition(condition, mutex, toNs(*deadline) - shift);
}

VORN_TEST_HOOK int pthread_cond_signal(pthread_cond_t* condition) noexcept
{
    static const auto next = systemFunction<int (*)(pthread_cond_t*)>("pthread_cond_signal");
    if (!SimScheduler::isSimulated())
        return next(condition);
    SimScheduler::wake(SimScheduler::WaitKind::Condition, condition, 1);
    return 0;
}

VORN_TEST_HOOK int pthread_cond_broadcast(pthread_cond_t* condition) noexcept
{
    static const auto next = systemFunction<int (*)(pthread_cond_t*)>("pthread_cond_broadcast");
    if (!SimScheduler::isSimulated())
        return next(condition);
    SimScheduler::wake(SimScheduler::WaitKind::Condition, condition, INT_MAX);
    return 0;
}

// Qt's mutexes and semaphores wait here.
VORN_TEST_HOOK long syscall(long number, ...) noexcept
{
    static const auto next = systemFunction<long (*)(long, long, long, long, long, long, long)>("syscall");
    long arguments[6];
    va_list list;
    va_start(list, number);
    for (long& argument : arguments)
        argument = va_arg(list, long);
    va_end(list);
    if (number != SYS_futex || !SimScheduler::isSimulated())
        return next(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                    arguments[5]);

    int* const address = reinterpret_cast<int*>(arguments[0]);
    const int operation = int(arguments[1]) & FUTEX_CMD_MASK;
    const int value = int(arguments[2]);
    const timespec* const timeout = reinterpret_cast<const timespec*>(arguments[3]);
    switch (operation) {
    case FUTEX_WAIT:
        return waitForFutex(address, value, timeout ? SimScheduler::monotonicNs() + toNs(*timeout) : -1);
    case FUTEX_WAKE:
        return SimScheduler::wake(SimScheduler::WaitKind::Futex, address, value);
    default:
        reportUnknown("futex operation", operation);
    }
}

// ---- Waiting ----

VORN_TEST_HOOK int ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* signals)
{
    static const auto next =
        systemFunction<int (*)(pollfd*, nfds_t, const timespec*, const sigset_t*)>("ppoll");
    return SimScheduler::isSimulated() ? pollFor(descriptors, count, timeout ? toNs(*timeout) : -1)
                                       : next(descriptors, count, timeout, signals);
}

VORN_TEST_HOOK int poll(pollfd* descriptors, nfds_t count, int timeoutMs)
{
    static const auto next = systemFunction<int (*)(pollfd*, nfds_t, int)>("poll");
    return SimScheduler::isSimulated() ? pollFor(descriptors, count, timeoutMs * kNsPerMs)
                                       : next(descriptors, count, timeoutMs);
}

VORN_TEST_HOOK int nanosleep(const timespec* time, timespec* rest)
{
    static const auto next = systemFunction<int (*)(const timespec*, timespec*)>("nanosleep");
    if (!SimScheduler::isSimulated())
        return next(time, rest);
    sleepNs(toNs(*time));
    return 0;
}

VORN_TEST_HOOK int clock_nanosleep(clockid_t clock, int flags, const timespec* time, timespec* rest)
{
    static const auto next =
        systemFunction<int (*)(clockid_t, int, const timespec*, timespec*)>("clock_nanosleep");
    if (!SimScheduler::isSimulated())
        return next(clock, flags, time, rest);
    const qint64 now = isWallClock(clock) ? SimScheduler::wallNs() : SimScheduler::monotonicNs();
    sleepNs(flags & TIMER_ABSTIME ? toNs(*time) - now : toNs(*time));
    return 0;
}

// SQLite's wait for a lock, in simulated time.
VORN_TEST_HOOK int usleep(useconds_t us)
{
    static const auto next = systemFunction<int (*)(useconds_t)>("usleep");
    if (!SimScheduler::isSimulated())
        return next(us);
    sleepNs(us * kNsPerUs);
    return 0;
}

// ---- Time ----

VORN_TEST_HOOK int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    static const auto next = systemFunction<int (*)(clockid_t, timespec*)>("clock_gettime");
    const bool isProcessorTime = clock == CLOCK_PROCESS_CPUTIME_ID || clock == CLOCK_THREAD_CPUTIME_ID;
    if (!SimScheduler::isSimulated() || isProcessorTime)
        return next(clock, time);
    *time = fromNs(isWallClock(clock) ? SimScheduler::wallNs() : SimScheduler::monotonicNs());
    return 0;
}

VORN_TEST_HOOK int gettimeofday(timeval* time, void* zone) noexcept
{
    static const auto next = systemFunction<int (*)(timeval*, void*)>("gettimeofday");
    if (!SimScheduler::isSimulated())
        return next(time, zone);
    const qint64 ns = SimScheduler::wallNs();
    *time = timeval{ns / kNsPerSec, ns % kNsPerSec / kNsPerUs};
    return 0;
}

VORN_TEST_HOOK time_t time(time_t* result) noexcept
{
    static const auto next = systemFunction<time_t (*)(time_t*)>("time");
    if (!SimScheduler::isSimulated())
        return next(result);
    const time_t now = SimScheduler::wallNs() / kNsPerSec;
    if (result)
        *result = now;
    return now;
}

// ---- Chance ----

// Names of temporary files come from here.
VORN_TEST_HOOK int getentropy(void* buffer, size_t length)
{
    static const auto next = systemFunction<int (*)(void*, size_t)>("getentropy");
    if (!SimScheduler::isSimulated())
        return next(buffer, length);
    static std::mt19937_64 numbers{std::uint64_t(SimScheduler::wallNs())};
    for (size_t i = 0; i < length; ++i)
        static_cast<unsigned char*>(buffer)[i] = static_cast<unsigned char>(numbers());
    return 0;
}

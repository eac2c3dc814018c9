#pragma once

#include <QtGlobal>

#include <random>

struct pollfd;

namespace VornSyncTest {

// What is left when a simulated process ends: in memory that parent and children share.
struct SimClock
{
    qint64 monotonicNs = 0;
    qint64 wallOffsetNs = 0; // wall clock minus monotonic clock
    quint64 digest = 0;      // of every decision so far: the same seed gives the same one
    quint64 switches = 0;
    quint64 advances = 0;
    std::mt19937_64 random; // which thread goes on
};

// Runs the threads of this process one at a time and lets time pass only when all of them wait. The C library's
// functions that wait, wake, create a thread or tell the time are defined in the executable and end up here, so
// that Qt, SQLite and the engine need not know. Switches happen where a thread waits, and at the yield points that
// the simulated disk adds.
namespace SimScheduler {

enum class WaitKind { None, Sleep, Poll, Condition, Futex, Mutex, Join };

struct Wait
{
    WaitKind kind = WaitKind::None;
    const void* object = nullptr;
    pollfd* descriptors = nullptr;
    unsigned long descriptorCount = 0;
    qint64 deadlineNs = -1; // monotonic; negative: none
};

// The calling thread becomes the first one; from now on threads that it creates are simulated. A yield point is
// taken `yieldPermille` times out of a thousand.
void begin(SimClock* clock, int yieldPermille);
bool isSimulated(); // is the calling thread a simulated one

void yieldPoint();
void pass(qint64 ns); // time that the running thread needs
void sleepMs(qint64 ms);
// False when the deadline came first.
bool block(const Wait& wait);
int wake(WaitKind kind, const void* object, int count);
bool hasWaiters(WaitKind kind);

qint64 monotonicNs();
qint64 wallNs();
qint64 wallMs();
void jumpWall(qint64 ms);

// Becomes part of the digest.
void note(quint64 value);
void note(const char* text);

// Called from the system's functions.
int createThread(unsigned long* thread, const void* attributes, void* (*run)(void*), void* argument);
int joinThread(unsigned long thread, void** result);

} // namespace SimScheduler

} // namespace VornSyncTest

#pragma once

#include <QByteArray>

#include <functional>

namespace VornSyncTest {

// Meets every file-system call below the watched roots, whoever makes it in this process: Qt, the C++ library,
// SQLite or the engine. Its functions stand in the executable itself and so come before the C library's. What
// the C library does inside its own functions (fread, remove's unlink) is not seen, and a file only if it was
// opened after the first watch().
namespace FileCalls {

// How a call may change what is on the disk.
enum class Effect {
    Looks,   // stat, access, listing, read
    Writes,  // data or size of an open file
    Changes, // names and attributes: create, rename, link, unlink, chmod
    Flushes, // fsync and close
};

struct Call
{
    const char* function = nullptr; // of the C library: "open64", "sendfile", ...
    QByteArray path;                // what it is done to; of a descriptor, the path it was opened with
    QByteArray target;              // the second path of rename and link; of sendfile, what is read
    Effect effect = Effect::Looks;
    int descriptor = -1; // of calls on an open file
};

struct Hooks
{
    // Before the system is asked, on the calling thread. Another result than 0 is the error that the call fails
    // with; the system is then not asked (close does close), nor is `after`.
    std::function<int(const Call&)> before;
    // When the system has answered; `error` is 0 for success, and for the end of a listing.
    std::function<void(const Call&, int error)> after;
};

// The root and the paths below count from now on, as they are written: no link is followed. To be called before
// other threads run.
void watch(const QByteArray& root);
// Those of all threads; empty functions meet nothing.
void setHooks(const Hooks& hooks);

// What this thread does while one of these lives goes to the system unseen; hooks themselves are unseen too.
class Unseen
{
public:
    Unseen();
    ~Unseen();
    Unseen(const Unseen&) = delete;
    Unseen& operator=(const Unseen&) = delete;
};

} // namespace FileCalls

} // namespace VornSyncTest

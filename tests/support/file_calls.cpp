// The fortified inline versions of these functions would stand in the way of their definitions.
#undef _FORTIFY_SOURCE

#include "file_calls.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utime.h>

using VornSyncTest::FileCalls::Call;
using VornSyncTest::FileCalls::Effect;
using VornSyncTest::FileCalls::Hooks;
using VornSyncTest::FileCalls::Unseen;

namespace {

// --- What is known --------------------------------------------------------------------------------------

constexpr int kMostDescriptors = 4096; // files with higher numbers are not seen

// No heap: files are closed in children between fork and exec, too. A descriptor is not used while another
// thread closes or opens it, so the text needs no lock of its own.
struct OpenFile
{
    std::atomic<bool> isKnown;
    std::array<char, PATH_MAX> path;
};

std::array<OpenFile, kMostDescriptors> openFiles;

struct Watched
{
    std::vector<QByteArray> roots;
    std::shared_ptr<const Hooks> hooks;
};

// Zero until something is watched; never deleted: calls are made while static objects are destroyed, too.
std::atomic<Watched*> watched;
thread_local int unseen = 0;

bool isBelow(const char* path, const QByteArray& root)
{
    if (qstrncmp(path, root.constData(), uint(root.size())) != 0)
        return false;
    const char next = path[root.size()];
    return next == '\0' || next == '/' || root.endsWith('/');
}

bool isBelowRoots(const char* path)
{
    const std::vector<QByteArray>& roots = watched.load(std::memory_order_acquire)->roots;
    return std::any_of(roots.begin(), roots.end(),
                       [path](const QByteArray& root) { return isBelow(path, root); });
}

const char* pathOf(int descriptor)
{
    if (descriptor < 0 || descriptor >= kMostDescriptors)
        return nullptr;
    const OpenFile& file = openFiles[std::size_t(descriptor)];
    return file.isKnown.load(std::memory_order_acquire) ? file.path.data() : nullptr;
}

// What `path` means for the system, beginning at `directory`; empty when it can't be below a root.
QByteArray absolutePath(int directory, const char* path)
{
    if (path && *path == '/')
        return isBelowRoots(path) ? QByteArray(path) : QByteArray();
    const bool isNamed = path && *path;
    QByteArray start;
    std::array<char, PATH_MAX> current;
    if (directory != AT_FDCWD)
        start = pathOf(directory);
    else if (isNamed && ::getcwd(current.data(), current.size()))
        start = current.data();
    if (start.isEmpty() || !isNamed)
        return start;
    start += '/';
    start += path;
    return isBelowRoots(start.constData()) ? start : QByteArray();
}

void forget(int descriptor)
{
    if (watched.load(std::memory_order_acquire) && pathOf(descriptor))
        openFiles[std::size_t(descriptor)].isKnown.store(false, std::memory_order_release);
}

// Kept for unseen calls as well: others may use the descriptor later.
void remember(int descriptor, int directory, const char* path)
{
    if (descriptor < 0 || descriptor >= kMostDescriptors || !watched.load(std::memory_order_acquire))
        return;
    OpenFile& file = openFiles[std::size_t(descriptor)];
    const QByteArray whole = absolutePath(directory, path);
    const bool isKept = !whole.isEmpty() && whole.size() < int(file.path.size());
    if (isKept)
        std::memcpy(file.path.data(), whole.constData(), std::size_t(whole.size()) + 1);
    file.isKnown.store(isKept, std::memory_order_release);
}

// --- The way of every call ------------------------------------------------------------------------------

Call onPath(const char* function, Effect effect, const char* path, int directory = AT_FDCWD)
{
    Call call;
    call.function = function;
    call.effect = effect;
    call.path = absolutePath(directory, path);
    return call;
}

Call onPaths(const char* function, const char* path, const char* target, int directory = AT_FDCWD,
             int targetDirectory = AT_FDCWD)
{
    Call call = onPath(function, Effect::Changes, path, directory);
    call.target = absolutePath(targetDirectory, target);
    // One of them may lie elsewhere.
    if (call.path.isEmpty() && !call.target.isEmpty())
        call.path = path;
    else if (call.target.isEmpty() && !call.path.isEmpty())
        call.target = target;
    return call;
}

Call onFile(const char* function, Effect effect, int descriptor)
{
    Call call;
    call.function = function;
    call.effect = effect;
    call.path = pathOf(descriptor);
    call.descriptor = descriptor;
    return call;
}

Call betweenFiles(const char* function, int to, int from)
{
    Call call = onFile(function, Effect::Writes, to);
    call.target = pathOf(from);
    if (!call.path.isEmpty())
        return call;
    return onFile(function, Effect::Looks, from);
}

template<typename Result> bool isFailure(Result result)
{
    if constexpr (std::is_pointer_v<Result>)
        return !result;
    else
        return result < 0;
}

template<typename Result> Result failureWith(int error)
{
    errno = error;
    if constexpr (std::is_pointer_v<Result>)
        return nullptr;
    else
        return -1;
}

// `describe` says what the call is about, `ask` asks the system.
template<typename Describe, typename Ask> auto meet(Describe describe, Ask ask)
{
    Watched* all = watched.load(std::memory_order_acquire);
    if (!all || unseen > 0)
        return ask();
    const std::shared_ptr<const Hooks> hooks = std::atomic_load(&all->hooks);
    if (!hooks)
        return ask();
    const int errnoBefore = errno;
    const Call call = describe();
    errno = errnoBefore;
    if (call.path.isEmpty())
        return ask();
    if (hooks->before) {
        const Unseen hidden;
        if (const int error = hooks->before(call))
            return failureWith<decltype(ask())>(error);
        errno = errnoBefore;
    }
    const auto result = ask();
    if (hooks->after) {
        const Unseen hidden;
        const int error = errno;
        hooks->after(call, isFailure(result) ? error : 0);
        errno = error;
    }
    return result;
}

// A descriptor is given back in any case, with or without an error.
template<typename Ask> auto meetClose(const char* function, int descriptor, Ask ask)
{
    bool isClosed = false;
    const auto end = [&] {
        isClosed = true;
        forget(descriptor);
        return ask();
    };
    const auto result = meet([&] { return onFile(function, Effect::Flushes, descriptor); }, end);
    if (isClosed)
        return result;
    const int error = errno;
    end();
    errno = error;
    return result;
}

} // namespace

namespace VornSyncTest::FileCalls {

void watch(const QByteArray& root)
{
    Watched* all = watched.load(std::memory_order_acquire);
    if (!all)
        all = new Watched;
    if (std::find(all->roots.begin(), all->roots.end(), root) == all->roots.end())
        all->roots.push_back(root);
    watched.store(all, std::memory_order_release);
}

void setHooks(const Hooks& hooks)
{
    Watched* all = watched.load(std::memory_order_acquire);
    if (!all)
        all = new Watched;
    const bool isSet = hooks.before || hooks.after;
    std::atomic_store(&all->hooks, isSet ? std::make_shared<const Hooks>(hooks) : nullptr);
    watched.store(all, std::memory_order_release);
}

Unseen::Unseen()
{
    ++unseen;
}

Unseen::~Unseen()
{
    --unseen;
}

} // namespace VornSyncTest::FileCalls

// --- The C library's functions --------------------------------------------------------------------------

// The executable's functions come before the C library's, for Qt, the C++ library and SQLite too.
#define VORN_TEST_HOOK extern "C" __attribute__((visibility("default")))

// Found anew rather than guarded: the guard of a static object is a function that a sanitizer defines, and some of these
// are called before it is ready.
#define VORN_TEST_SYSTEM(name)                                                                               \
    static std::atomic<void*> found{nullptr};                                                                \
    void* systemAddress = found.load(std::memory_order_relaxed);                                             \
    if (!systemAddress) {                                                                                    \
        systemAddress = ::dlsym(RTLD_NEXT, #name);                                                           \
        found.store(systemAddress, std::memory_order_relaxed);                                               \
    }                                                                                                        \
    const auto system = reinterpret_cast<decltype(&::name)>(systemAddress)

// A call that needs no more than that; `system` is asked with the same arguments.
#define VORN_TEST_MEET(name, description, ...)                                                               \
    VORN_TEST_SYSTEM(name);                                                                                  \
    return meet([&] { return description; }, [&] { return system(__VA_ARGS__); })

// - Opening and closing

namespace {

Effect effectOfOpening(int flags)
{
    return (flags & (O_CREAT | O_TRUNC)) ? Effect::Changes : Effect::Looks;
}

mode_t modeOf(int flags, va_list arguments)
{
    return (flags & (O_CREAT | __O_TMPFILE)) ? mode_t(va_arg(arguments, unsigned)) : 0;
}

} // namespace

#define VORN_TEST_OPEN(name)                                                                                 \
    VORN_TEST_HOOK int name(const char* path, int flags, ...)                                                \
    {                                                                                                        \
        VORN_TEST_SYSTEM(name);                                                                              \
        va_list arguments;                                                                                   \
        va_start(arguments, flags);                                                                          \
        const mode_t mode = modeOf(flags, arguments);                                                        \
        va_end(arguments);                                                                                   \
        const int descriptor = meet([&] { return onPath(#name, effectOfOpening(flags), path); },             \
                                    [&] { return system(path, flags, mode); });                              \
        remember(descriptor, AT_FDCWD, path);                                                                \
        return descriptor;                                                                                   \
    }

VORN_TEST_OPEN(open)
VORN_TEST_OPEN(open64)

#define VORN_TEST_OPENAT(name)                                                                               \
    VORN_TEST_HOOK int name(int directory, const char* path, int flags, ...)                                 \
    {                                                                                                        \
        VORN_TEST_SYSTEM(name);                                                                              \
        va_list arguments;                                                                                   \
        va_start(arguments, flags);                                                                          \
        const mode_t mode = modeOf(flags, arguments);                                                        \
        va_end(arguments);                                                                                   \
        const int descriptor = meet([&] { return onPath(#name, effectOfOpening(flags), path, directory); },  \
                                    [&] { return system(directory, path, flags, mode); });                   \
        remember(descriptor, directory, path);                                                               \
        return descriptor;                                                                                   \
    }

VORN_TEST_OPENAT(openat)
VORN_TEST_OPENAT(openat64)

#define VORN_TEST_FOPEN(name)                                                                                \
    VORN_TEST_HOOK FILE* name(const char* path, const char* mode)                                            \
    {                                                                                                        \
        VORN_TEST_SYSTEM(name);                                                                              \
        const Effect effect = *mode == 'w' || *mode == 'a' ? Effect::Changes : Effect::Looks;                \
        FILE* file = meet([&] { return onPath(#name, effect, path); }, [&] { return system(path, mode); });  \
        if (file)                                                                                            \
            remember(::fileno(file), AT_FDCWD, path);                                                        \
        return file;                                                                                         \
    }

VORN_TEST_FOPEN(fopen)
VORN_TEST_FOPEN(fopen64)

VORN_TEST_HOOK int fclose(FILE* file)
{
    VORN_TEST_SYSTEM(fclose);
    const int descriptor = ::fileno(file);
    return meetClose("fclose", descriptor, [&] { return system(file); });
}

VORN_TEST_HOOK int close(int descriptor)
{
    VORN_TEST_SYSTEM(close);
    return meetClose("close", descriptor, [&] { return system(descriptor); });
}

// - Listing

VORN_TEST_HOOK DIR* opendir(const char* path)
{
    VORN_TEST_SYSTEM(opendir);
    DIR* directory =
        meet([&] { return onPath("opendir", Effect::Looks, path); }, [&] { return system(path); });
    if (directory)
        remember(::dirfd(directory), AT_FDCWD, path);
    return directory;
}

VORN_TEST_HOOK DIR* fdopendir(int descriptor)
{
    VORN_TEST_MEET(fdopendir, onFile("fdopendir", Effect::Looks, descriptor), descriptor);
}

#define VORN_TEST_READDIR(name, entry)                                                                       \
    VORN_TEST_HOOK struct entry* name(DIR* directory)                                                        \
    {                                                                                                        \
        VORN_TEST_SYSTEM(name);                                                                              \
        const int errnoBefore = errno;                                                                       \
        errno = 0; /* an end is none */                                                                      \
        struct entry* result = meet([&] { return onFile(#name, Effect::Looks, ::dirfd(directory)); },        \
                                    [&] { return system(directory); });                                      \
        if (errno == 0)                                                                                      \
            errno = errnoBefore;                                                                             \
        return result;                                                                                       \
    }

VORN_TEST_READDIR(readdir, dirent)
VORN_TEST_READDIR(readdir64, dirent64)

VORN_TEST_HOOK int closedir(DIR* directory)
{
    VORN_TEST_SYSTEM(closedir);
    const int descriptor = ::dirfd(directory);
    return meetClose("closedir", descriptor, [&] { return system(directory); });
}

// - Looking

#define VORN_TEST_STAT(name, buffer)                                                                         \
    VORN_TEST_HOOK int name(const char* path, struct buffer* result) noexcept                                \
    {                                                                                                        \
        VORN_TEST_MEET(name, onPath(#name, Effect::Looks, path), path, result);                              \
    }

VORN_TEST_STAT(stat, stat)
VORN_TEST_STAT(stat64, stat64)
VORN_TEST_STAT(lstat, stat)
VORN_TEST_STAT(lstat64, stat64)
VORN_TEST_STAT(statvfs, statvfs)
VORN_TEST_STAT(statvfs64, statvfs64)

#define VORN_TEST_FSTAT(name, buffer)                                                                        \
    VORN_TEST_HOOK int name(int descriptor, struct buffer* result) noexcept                                  \
    {                                                                                                        \
        VORN_TEST_MEET(name, onFile(#name, Effect::Looks, descriptor), descriptor, result);                  \
    }

VORN_TEST_FSTAT(fstat, stat)
VORN_TEST_FSTAT(fstat64, stat64)

#define VORN_TEST_FSTATAT(name, buffer)                                                                      \
    VORN_TEST_HOOK int name(int directory, const char* path, struct buffer* result, int flags) noexcept      \
    {                                                                                                        \
        VORN_TEST_MEET(name, onPath(#name, Effect::Looks, path, directory), directory, path, result, flags); \
    }

VORN_TEST_FSTATAT(fstatat, stat)
VORN_TEST_FSTATAT(fstatat64, stat64)

VORN_TEST_HOOK int statx(int directory, const char* path, int flags, unsigned mask,
                         struct statx* result) noexcept
{
    VORN_TEST_MEET(statx, onPath("statx", Effect::Looks, path, directory), directory, path, flags, mask,
                   result);
}

VORN_TEST_HOOK int access(const char* path, int mode) noexcept
{
    VORN_TEST_MEET(access, onPath("access", Effect::Looks, path), path, mode);
}

VORN_TEST_HOOK int faccessat(int directory, const char* path, int mode, int flags) noexcept
{
    VORN_TEST_MEET(faccessat, onPath("faccessat", Effect::Looks, path, directory), directory, path, mode,
                   flags);
}

VORN_TEST_HOOK ssize_t readlink(const char* path, char* buffer, size_t size) noexcept
{
    VORN_TEST_MEET(readlink, onPath("readlink", Effect::Looks, path), path, buffer, size);
}

VORN_TEST_HOOK char* realpath(const char* path, char* buffer) noexcept
{
    VORN_TEST_MEET(realpath, onPath("realpath", Effect::Looks, path), path, buffer);
}

VORN_TEST_HOOK int inotify_add_watch(int descriptor, const char* path, uint32_t mask) noexcept
{
    VORN_TEST_MEET(inotify_add_watch, onPath("inotify_add_watch", Effect::Looks, path), descriptor, path,
                   mask);
}

// - Names and attributes

VORN_TEST_HOOK int rename(const char* path, const char* target) noexcept
{
    VORN_TEST_MEET(rename, onPaths("rename", path, target), path, target);
}

VORN_TEST_HOOK int renameat(int directory, const char* path, int targetDirectory, const char* target) noexcept
{
    VORN_TEST_MEET(renameat, onPaths("renameat", path, target, directory, targetDirectory), directory, path,
                   targetDirectory, target);
}

VORN_TEST_HOOK int renameat2(int directory, const char* path, int targetDirectory, const char* target,
                             unsigned flags) noexcept
{
    VORN_TEST_MEET(renameat2, onPaths("renameat2", path, target, directory, targetDirectory), directory, path,
                   targetDirectory, target, flags);
}

VORN_TEST_HOOK int link(const char* path, const char* target) noexcept
{
    VORN_TEST_MEET(link, onPaths("link", path, target), path, target);
}

VORN_TEST_HOOK int linkat(int directory, const char* path, int targetDirectory, const char* target,
                          int flags) noexcept
{
    VORN_TEST_MEET(linkat, onPaths("linkat", path, target, directory, targetDirectory), directory, path,
                   targetDirectory, target, flags);
}

VORN_TEST_HOOK int symlink(const char* content, const char* path) noexcept
{
    VORN_TEST_MEET(symlink, onPath("symlink", Effect::Changes, path), content, path);
}

#define VORN_TEST_CHANGE(name)                                                                               \
    VORN_TEST_HOOK int name(const char* path) noexcept                                                       \
    {                                                                                                        \
        VORN_TEST_MEET(name, onPath(#name, Effect::Changes, path), path);                                    \
    }

VORN_TEST_CHANGE(unlink)
VORN_TEST_CHANGE(remove)
VORN_TEST_CHANGE(rmdir)

VORN_TEST_HOOK int unlinkat(int directory, const char* path, int flags) noexcept
{
    VORN_TEST_MEET(unlinkat, onPath("unlinkat", Effect::Changes, path, directory), directory, path, flags);
}

VORN_TEST_HOOK int mkdir(const char* path, mode_t mode) noexcept
{
    VORN_TEST_MEET(mkdir, onPath("mkdir", Effect::Changes, path), path, mode);
}

VORN_TEST_HOOK int chmod(const char* path, mode_t mode) noexcept
{
    VORN_TEST_MEET(chmod, onPath("chmod", Effect::Changes, path), path, mode);
}

VORN_TEST_HOOK int fchmod(int descriptor, mode_t mode) noexcept
{
    VORN_TEST_MEET(fchmod, onFile("fchmod", Effect::Changes, descriptor), descriptor, mode);
}

VORN_TEST_HOOK int fchmodat(int directory, const char* path, mode_t mode, int flags) noexcept
{
    VORN_TEST_MEET(fchmodat, onPath("fchmodat", Effect::Changes, path, directory), directory, path, mode,
                   flags);
}

VORN_TEST_HOOK int fchown(int descriptor, uid_t user, gid_t group) noexcept
{
    VORN_TEST_MEET(fchown, onFile("fchown", Effect::Changes, descriptor), descriptor, user, group);
}

VORN_TEST_HOOK int utimensat(int directory, const char* path, const struct timespec* times,
                             int flags) noexcept
{
    VORN_TEST_MEET(utimensat, onPath("utimensat", Effect::Changes, path, directory), directory, path, times,
                   flags);
}

VORN_TEST_HOOK int futimens(int descriptor, const struct timespec* times) noexcept
{
    VORN_TEST_MEET(futimens, onFile("futimens", Effect::Changes, descriptor), descriptor, times);
}

VORN_TEST_HOOK int utime(const char* path, const struct utimbuf* times) noexcept
{
    VORN_TEST_MEET(utime, onPath("utime", Effect::Changes, path), path, times);
}

VORN_TEST_HOOK int utimes(const char* path, const struct timeval* times) noexcept
{
    VORN_TEST_MEET(utimes, onPath("utimes", Effect::Changes, path), path, times);
}

// - Data

VORN_TEST_HOOK ssize_t read(int descriptor, void* buffer, size_t size)
{
    VORN_TEST_MEET(read, onFile("read", Effect::Looks, descriptor), descriptor, buffer, size);
}

VORN_TEST_HOOK ssize_t write(int descriptor, const void* data, size_t size)
{
    VORN_TEST_MEET(write, onFile("write", Effect::Writes, descriptor), descriptor, data, size);
}

VORN_TEST_HOOK ssize_t writev(int descriptor, const struct iovec* pieces, int count)
{
    VORN_TEST_MEET(writev, onFile("writev", Effect::Writes, descriptor), descriptor, pieces, count);
}

#define VORN_TEST_PREAD(name, type)                                                                          \
    VORN_TEST_HOOK ssize_t name(int descriptor, void* buffer, size_t size, type offset)                      \
    {                                                                                                        \
        VORN_TEST_MEET(name, onFile(#name, Effect::Looks, descriptor), descriptor, buffer, size, offset);    \
    }

VORN_TEST_PREAD(pread, off_t)
VORN_TEST_PREAD(pread64, off64_t)

#define VORN_TEST_PWRITE(name, type)                                                                         \
    VORN_TEST_HOOK ssize_t name(int descriptor, const void* data, size_t size, type offset)                  \
    {                                                                                                        \
        VORN_TEST_MEET(name, onFile(#name, Effect::Writes, descriptor), descriptor, data, size, offset);     \
    }

VORN_TEST_PWRITE(pwrite, off_t)
VORN_TEST_PWRITE(pwrite64, off64_t)

#define VORN_TEST_FTRUNCATE(name, type)                                                                      \
    VORN_TEST_HOOK int name(int descriptor, type size) noexcept                                              \
    {                                                                                                        \
        VORN_TEST_MEET(name, onFile(#name, Effect::Writes, descriptor), descriptor, size);                   \
    }

VORN_TEST_FTRUNCATE(ftruncate, off_t)
VORN_TEST_FTRUNCATE(ftruncate64, off64_t)

#define VORN_TEST_TRUNCATE(name, type)                                                                       \
    VORN_TEST_HOOK int name(const char* path, type size) noexcept                                            \
    {                                                                                                        \
        VORN_TEST_MEET(name, onPath(#name, Effect::Writes, path), path, size);                               \
    }

VORN_TEST_TRUNCATE(truncate, off_t)
VORN_TEST_TRUNCATE(truncate64, off64_t)

#define VORN_TEST_SENDFILE(name, type)                                                                       \
    VORN_TEST_HOOK ssize_t name(int to, int from, type* offset, size_t size) noexcept                        \
    {                                                                                                        \
        VORN_TEST_MEET(name, betweenFiles(#name, to, from), to, from, offset, size);                         \
    }

VORN_TEST_SENDFILE(sendfile, off_t)
VORN_TEST_SENDFILE(sendfile64, off64_t)

VORN_TEST_HOOK ssize_t copy_file_range(int from, off64_t* fromOffset, int to, off64_t* toOffset, size_t size,
                                       unsigned flags)
{
    VORN_TEST_MEET(copy_file_range, betweenFiles("copy_file_range", to, from), from, fromOffset, to, toOffset,
                   size, flags);
}

VORN_TEST_HOOK int fsync(int descriptor)
{
    VORN_TEST_MEET(fsync, onFile("fsync", Effect::Flushes, descriptor), descriptor);
}

VORN_TEST_HOOK int fdatasync(int descriptor)
{
    VORN_TEST_MEET(fdatasync, onFile("fdatasync", Effect::Flushes, descriptor), descriptor);
}

#define VORN_TEST_MMAP(name, type)                                                                           \
    VORN_TEST_HOOK void* name(void* address, size_t size, int protection, int flags, int descriptor,         \
                              type offset) noexcept                                                          \
    {                                                                                                        \
        VORN_TEST_SYSTEM(name);                                                                              \
        const bool isWritten = (protection & PROT_WRITE) && (flags & MAP_SHARED);                            \
        void* mapped =                                                                                       \
            meet([&] { return onFile(#name, isWritten ? Effect::Writes : Effect::Looks, descriptor); },      \
                 [&] {                                                                                       \
                     void* result = system(address, size, protection, flags, descriptor, offset);            \
                     return result == MAP_FAILED ? nullptr : result;                                         \
                 });                                                                                         \
        return mapped ? mapped : MAP_FAILED;                                                                 \
    }

VORN_TEST_MMAP(mmap, off_t)
VORN_TEST_MMAP(mmap64, off64_t)

// - Requests with an argument of their own: all of them fit a register

namespace {

// Giving a lock back is no call that may fail: the system does it in any case, and SQLite counts on that.
bool isLocking(int command, const void* argument)
{
    const bool isAboutLocks = command == F_SETLK || command == F_SETLKW || command == F_GETLK ||
                              command == F_OFD_SETLK || command == F_OFD_SETLKW || command == F_OFD_GETLK;
    return isAboutLocks && static_cast<const struct flock*>(argument)->l_type != F_UNLCK;
}

} // namespace

#define VORN_TEST_FCNTL(name)                                                                                \
    VORN_TEST_HOOK int name(int descriptor, int command, ...)                                                \
    {                                                                                                        \
        VORN_TEST_SYSTEM(name);                                                                              \
        va_list arguments;                                                                                   \
        va_start(arguments, command);                                                                        \
        void* argument = va_arg(arguments, void*);                                                           \
        va_end(arguments);                                                                                   \
        if (!isLocking(command, argument))                                                                   \
            return system(descriptor, command, argument);                                                    \
        return meet([&] { return onFile(#name, Effect::Looks, descriptor); },                                \
                    [&] { return system(descriptor, command, argument); });                                  \
    }

VORN_TEST_FCNTL(fcntl)
VORN_TEST_FCNTL(fcntl64)

VORN_TEST_HOOK int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    VORN_TEST_SYSTEM(ioctl);
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request != FICLONE)
        return system(descriptor, request, argument);
    const int from = int(reinterpret_cast<quintptr>(argument));
    return meet([&] { return betweenFiles("ioctl", descriptor, from); },
                [&] { return system(descriptor, request, argument); });
}

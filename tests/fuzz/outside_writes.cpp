#include "outside_writes.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Directories = std::vector<std::string>;

std::atomic<const Directories*> allowed{nullptr};

template<typename Function> Function systemFunction(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

std::string place(int directory, const char* path)
{
    std::error_code error;
    std::filesystem::path result(path ? path : "");
    if (result.is_relative() && directory != AT_FDCWD)
        result = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(directory), error) / result;
    return std::filesystem::absolute(result, error).lexically_normal().string();
}

bool isBelow(const std::string& path, const std::string& directory)
{
    return path.compare(0, directory.size(), directory) == 0 &&
           (path.size() == directory.size() || path[directory.size()] == '/');
}

void check(const char* function, int directory, const char* path)
{
    const Directories* const directories = allowed;
    if (!directories)
        return;
    const std::string changed = place(directory, path);
    for (const std::string& candidate : *directories) {
        if (isBelow(changed, candidate))
            return;
    }
    std::fprintf(stderr, "%s is about to change what is outside: '%s'\n", function, changed.c_str());
    std::abort();
}

void checkOpen(const char* function, int directory, const char* path, int flags)
{
    if ((flags & O_ACCMODE) != O_RDONLY || (flags & (O_CREAT | O_TRUNC)) != 0)
        check(function, directory, path);
}

} // namespace

namespace VornSyncFuzz {

OutsideWrites::OutsideWrites(const QStringList& allowedDirectories)
{
    auto* directories = new Directories;
    for (const QString& path : allowedDirectories)
        directories->push_back(place(AT_FDCWD, path.toUtf8().constData()));
    allowed = directories;
}

OutsideWrites::~OutsideWrites()
{
    delete allowed.exchange(nullptr);
}

} // namespace VornSyncFuzz

#define VORN_VISIBLE extern "C" __attribute__((visibility("default")))

#define VORN_OPEN(name)                                                                                      \
    VORN_VISIBLE int name(const char* path, int flags, ...)                                                  \
    {                                                                                                        \
        static const auto next = systemFunction<int (*)(const char*, int, mode_t)>(#name);                   \
        va_list rest;                                                                                        \
        va_start(rest, flags);                                                                               \
        const mode_t mode = va_arg(rest, mode_t);                                                            \
        va_end(rest);                                                                                        \
        checkOpen(#name, AT_FDCWD, path, flags);                                                             \
        return next(path, flags, mode);                                                                      \
    }

#define VORN_OPEN_AT(name)                                                                                   \
    VORN_VISIBLE int name(int directory, const char* path, int flags, ...)                                   \
    {                                                                                                        \
        static const auto next = systemFunction<int (*)(int, const char*, int, mode_t)>(#name);              \
        va_list rest;                                                                                        \
        va_start(rest, flags);                                                                               \
        const mode_t mode = va_arg(rest, mode_t);                                                            \
        va_end(rest);                                                                                        \
        checkOpen(#name, directory, path, flags);                                                            \
        return next(directory, path, flags, mode);                                                           \
    }

VORN_OPEN(open)
VORN_OPEN(open64)
VORN_OPEN_AT(openat)
VORN_OPEN_AT(openat64)

VORN_VISIBLE int creat(const char* path, mode_t mode)
{
    static const auto next = systemFunction<int (*)(const char*, mode_t)>("creat");
    check("creat", AT_FDCWD, path);
    return next(path, mode);
}

VORN_VISIBLE int mkdir(const char* path, mode_t mode) noexcept
{
    static const auto next = systemFunction<int (*)(const char*, mode_t)>("mkdir");
    check("mkdir", AT_FDCWD, path);
    return next(path, mode);
}

VORN_VISIBLE int unlink(const char* path) noexcept
{
    static const auto next = systemFunction<int (*)(const char*)>("unlink");
    check("unlink", AT_FDCWD, path);
    return next(path);
}

VORN_VISIBLE int unlinkat(int directory, const char* path, int flags) noexcept
{
    static const auto next = systemFunction<int (*)(int, const char*, int)>("unlinkat");
    check("unlinkat", directory, path);
    return next(directory, path, flags);
}

VORN_VISIBLE int rmdir(const char* path) noexcept
{
    static const auto next = systemFunction<int (*)(const char*)>("rmdir");
    check("rmdir", AT_FDCWD, path);
    return next(path);
}

VORN_VISIBLE int remove(const char* path) noexcept
{
    static const auto next = systemFunction<int (*)(const char*)>("remove");
    check("remove", AT_FDCWD, path);
    return next(path);
}

VORN_VISIBLE int rename(const char* from, const char* to) noexcept
{
    static const auto next = systemFunction<int (*)(const char*, const char*)>("rename");
    check("rename", AT_FDCWD, from);
    check("rename", AT_FDCWD, to);
    return next(from, to);
}

VORN_VISIBLE int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to,
                           unsigned flags) noexcept
{
    static const auto next =
        systemFunction<int (*)(int, const char*, int, const char*, unsigned)>("renameat2");
    check("renameat2", fromDirectory, from);
    check("renameat2", toDirectory, to);
    return next(fromDirectory, from, toDirectory, to, flags);
}

VORN_VISIBLE int link(const char* from, const char* to) noexcept
{
    static const auto next = systemFunction<int (*)(const char*, const char*)>("link");
    check("link", AT_FDCWD, to);
    return next(from, to);
}

VORN_VISIBLE int linkat(int fromDirectory, const char* from, int toDirectory, const char* to,
                        int flags) noexcept
{
    static const auto next = systemFunction<int (*)(int, const char*, int, const char*, int)>("linkat");
    check("linkat", toDirectory, to);
    return next(fromDirectory, from, toDirectory, to, flags);
}

VORN_VISIBLE int symlink(const char* target, const char* path) noexcept
{
    static const auto next = systemFunction<int (*)(const char*, const char*)>("symlink");
    check("symlink", AT_FDCWD, path);
    return next(target, path);
}

VORN_VISIBLE int truncate64(const char* path, off64_t length) noexcept
{
    static const auto next = systemFunction<int (*)(const char*, off64_t)>("truncate64");
    check("truncate64", AT_FDCWD, path);
    return next(path, length);
}

VORN_VISIBLE int chmod(const char* path, mode_t mode) noexcept
{
    static const auto next = systemFunction<int (*)(const char*, mode_t)>("chmod");
    check("chmod", AT_FDCWD, path);
    return next(path, mode);
}

#include "disk_hooks.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <string>

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Listing
{
    std::string path;
    int entriesBefore = -1; // negative: never fails
    int error = 0;
    int entries = 0;
    int beginnings = 0;
    DIR* current = nullptr;
};

struct Look
{
    QRegularExpression paths;
    std::function<int(const QString&)> action;
};

thread_local Listing* listing = nullptr;
thread_local Look* look = nullptr;

std::string canonical(const QString& path)
{
    return QFile::encodeName(QFileInfo(path).canonicalFilePath()).toStdString();
}

bool isListed(DIR* directory)
{
    const std::string link = "/proc/self/fd/" + std::to_string(::dirfd(directory));
    std::string target(4096, '\0');
    const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
    return length > 0 && target.compare(0, std::size_t(length), listing->path) == 0;
}

template<typename Function> Function systemFunction(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

// The error that the look at `path` is to fail with; 0 when the system is to be asked.
int lookAt(const char* path)
{
    if (!look)
        return 0;
    // The action may look at the path itself.
    Look* armed = look;
    look = nullptr;
    const QString name = QFile::decodeName(path);
    const int error = armed->paths.match(name).hasMatch() ? armed->action(name) : 0;
    look = armed;
    return error;
}

} // namespace

// The executable's functions come before the C library's, for Qt and the C++ library too.

extern "C" __attribute__((visibility("default"))) dirent* readdir(DIR* directory)
{
    static const auto next = systemFunction<dirent* (*)(DIR*)>("readdir");
    if (!listing || !isListed(directory))
        return next(directory);
    if (listing->entries == 0)
        ++listing->beginnings;
    if (listing->entries == listing->entriesBefore) {
        errno = listing->error;
        return nullptr;
    }
    dirent* entry = next(directory);
    listing->entries = entry ? listing->entries + 1 : 0;
    return entry;
}

extern "C" __attribute__((visibility("default"))) int stat(const char* path, struct stat* buffer)
{
    static const auto next = systemFunction<int (*)(const char*, struct stat*)>("stat");
    if (const int error = lookAt(path)) {
        errno = error;
        return -1;
    }
    return next(path, buffer);
}

extern "C" __attribute__((visibility("default"))) int stat64(const char* path, struct stat64* buffer)
{
    static const auto next = systemFunction<int (*)(const char*, struct stat64*)>("stat64");
    if (const int error = lookAt(path)) {
        errno = error;
        return -1;
    }
    return next(path, buffer);
}

namespace VornSyncTest {

FailingListing::FailingListing(const QString& directoryPath, int entriesBefore, int error)
{
    listing = new Listing;
    listing->path = canonical(directoryPath);
    listing->entriesBefore = entriesBefore;
    listing->error = error;
}

FailingListing::~FailingListing()
{
    delete listing;
    listing = nullptr;
}

ListingCounter::ListingCounter(const QString& directoryPath)
{
    listing = new Listing;
    listing->path = canonical(directoryPath);
}

ListingCounter::~ListingCounter()
{
    delete listing;
    listing = nullptr;
}

int ListingCounter::count() const
{
    return listing->beginnings;
}

StatHook::StatHook(const QString& path, const std::function<int()>& action)
    : StatHook(QRegularExpression(QRegularExpression::anchoredPattern(QRegularExpression::escape(path))),
               [action](const QString&) { return action(); })
{
}

StatHook::StatHook(const QRegularExpression& paths, const std::function<int(const QString&)>& action)
{
    look = new Look{paths, action};
}

StatHook::~StatHook()
{
    delete look;
    look = nullptr;
}

} // namespace VornSyncTest

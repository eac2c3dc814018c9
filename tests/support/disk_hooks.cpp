#include "disk_hooks.h"

#include "file_calls.h"

#include <QFile>

#include <cstring>

using VornSyncTest::FileCalls::Call;

namespace {

struct Listing
{
    QByteArray path;
    int entriesBefore = -1; // negative: never fails
    int error = 0;
    int entries = 0;
    int beginnings = 0;
};

struct Look
{
    QRegularExpression paths;
    std::function<int(const QString&)> action;
};

thread_local Listing* listing = nullptr;
thread_local Look* look = nullptr;

bool startsWith(const Call& call, const char* function)
{
    return std::strncmp(call.function, function, std::strlen(function)) == 0;
}

int beforeListing(const Call& call)
{
    if (startsWith(call, "readdir"))
        return listing->entries++ == listing->entriesBefore ? listing->error : 0;
    if (startsWith(call, "opendir") || startsWith(call, "fdopendir")) {
        listing->entries = 0;
        ++listing->beginnings;
    }
    return 0;
}

int beforeCall(const Call& call)
{
    if (listing && call.path == listing->path)
        return beforeListing(call);
    const bool isLook =
        (startsWith(call, "stat") && !startsWith(call, "statx")) || startsWith(call, "fstatat");
    if (!look || !isLook)
        return 0;
    const QString name = QFile::decodeName(call.path);
    return look->paths.match(name).hasMatch() ? look->action(name) : 0;
}

void meetCalls()
{
    VornSyncTest::FileCalls::watch("/");
    VornSyncTest::FileCalls::setHooks({beforeCall, nullptr});
}

} // namespace

namespace VornSyncTest {

FailingListing::FailingListing(const QString& directoryPath, int entriesBefore, int error)
{
    listing = new Listing;
    listing->path = QFile::encodeName(directoryPath);
    listing->entriesBefore = entriesBefore;
    listing->error = error;
    meetCalls();
}

FailingListing::~FailingListing()
{
    delete listing;
    listing = nullptr;
}

ListingCounter::ListingCounter(const QString& directoryPath)
{
    listing = new Listing;
    listing->path = QFile::encodeName(directoryPath);
    meetCalls();
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
    meetCalls();
}

StatHook::~StatHook()
{
    delete look;
    look = nullptr;
}

} // namespace VornSyncTest

#pragma once

#include <QRegularExpression>
#include <QString>

#include <functional>

namespace VornSyncTest {

// Meets the file-system calls (see file_calls.h, whose hooks it sets) of the thread that makes it, for one path
// each. One of a kind at a time.

// Reading the directory fails after some entries ("." and ".." count), as a share that goes away does.
class FailingListing
{
    Q_DISABLE_COPY_MOVE(FailingListing)

public:
    FailingListing(const QString& directoryPath, int entriesBefore, int error);
    ~FailingListing();
};

// How often a directory was read from its beginning while this lives.
class ListingCounter
{
    Q_DISABLE_COPY_MOVE(ListingCounter)

public:
    explicit ListingCounter(const QString& directoryPath);
    ~ListingCounter();

    int count() const;
};

// Calls `action` whenever the path is looked at, before the system is asked; a result other than 0 is the
// error that the look then fails with.
class StatHook
{
    Q_DISABLE_COPY_MOVE(StatHook)

public:
    StatHook(const QString& path, const std::function<int()>& action);
    // The same for every path that matches; the action is told which.
    StatHook(const QRegularExpression& paths, const std::function<int(const QString&)>& action);
    ~StatHook();
};

} // namespace VornSyncTest

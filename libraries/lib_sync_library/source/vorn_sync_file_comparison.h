#pragma once

#include <QtGlobal>

// What the comparison of a local file, its distant copy and its row says. Pure functions, callable from any
// thread. Sizes are in bytes, times in seconds since the epoch; 0 stands for a stored time that is no time.

// Example: the row says 100 bytes, both files have 100, and the distant file is 4 s newer than the row says:
// {true, true, "db distant LMD != dist LMD"}.
struct VornSyncComparison
{
    bool isActionNeeded = false;
    bool isCopyNeeded = false; // false beside a needed action: only the row has to be recorded
    const char* reason = "";
};

struct VornSyncSizeAndTime
{
    qint64 size = 0;
    qint64 lmdSecs = 0;
};

namespace VornSyncFileComparison {

VornSyncComparison withoutRow(const VornSyncSizeAndTime& local, const VornSyncSizeAndTime& distant);

// `rowSize` and the two stored times against the two files. The first difference found is the reason.
VornSyncComparison withRow(qint64 rowSize, qint64 rowLocalSecs, qint64 rowDistantSecs,
                           const VornSyncSizeAndTime& local, const VornSyncSizeAndTime& distant);

} // namespace VornSyncFileComparison

#include "vorn_sync_file_comparison.h"

#include "vorn_sync_times.h"

namespace VornSyncFileComparison {

VornSyncComparison withoutRow(const VornSyncSizeAndTime& local, const VornSyncSizeAndTime& distant)
{
    if (distant.size != local.size)
        return {true, true, "dist size != loc size"};
    // Required: no tolerance without a row.
    if (distant.lmdSecs < local.lmdSecs)
        return {true, true, "dist LMD < loc LMD"};
    return {true, false, ""};
}

VornSyncComparison withRow(qint64 rowSize, qint64 rowLocalSecs, qint64 rowDistantSecs,
                           const VornSyncSizeAndTime& local, const VornSyncSizeAndTime& distant)
{
    if (VornSyncTimes::differ(rowDistantSecs, distant.lmdSecs))
        return {true, true, "db distant LMD != dist LMD"};
    if (distant.size != rowSize)
        return {true, true, "db size != dist size"};
    if (local.size != distant.size)
        return {true, true, "db size != loc size"};
    // Required: only a newer local file is a reason, an older one is not.
    if (rowLocalSecs < local.lmdSecs && VornSyncTimes::differ(rowLocalSecs, local.lmdSecs))
        return {true, true, "db local LMD < loc LMD"};
    return {};
}

} // namespace VornSyncFileComparison

#include "vorn_sync_file_decision.h"

namespace {

bool isLocalPlainFile(const VornSyncPassFile& file)
{
    return file.local.presence == VornSyncPresence::Present && file.local.isPlainFile;
}

// Rows whose agreement is not on record: reset by a repair, or migrated without a distant time.
bool isAgreementUnknown(const VornSyncFileRow& row)
{
    return row.status == ceSfsUnknown || (row.status == ceSfsUpToDate && row.distantLmdUndefined);
}

VornSyncVerdict forMissingDistant(const VornSyncPassFile& file)
{
    if (VornSyncTypes::isInError(file.row.status))
        return VornSyncVerdict::Skip;
    return file.row.status == ceSfsUpToDate ? VornSyncVerdict::ObserveDistantMissing : VornSyncVerdict::Copy;
}

} // namespace

namespace VornSyncFileDecision {

bool isHeldByNewerDistant(const VornSyncPassFile& file)
{
    return file.row.isDistantNewer && file.local.size == file.row.markedLocalSize &&
           file.local.lmdSecs == file.row.markedLocalLmdSecs;
}

bool isLocalChanged(const VornSyncPassFile& file)
{
    if (!file.hasRow || VornSyncTypes::isTombstoned(file.row.status))
        return true;
    if (isHeldByNewerDistant(file))
        return false;
    return VornSyncDatabase::isLocalFileDifferent(file.row, file.local.size, file.local.lmdSecs);
}

VornSyncVerdict forTracked(const VornSyncPassFile& file)
{
    if (file.isRenaming)
        return VornSyncVerdict::SkipRenaming;
    if (VornSyncTypes::isInProgress(file.row.status))
        return VornSyncVerdict::SkipInProgress;
    if (VornSyncTypes::isTombstoned(file.row.status))
        return VornSyncVerdict::SkipTombstoned;
    if (file.local.presence == VornSyncPresence::Absent)
        return VornSyncTypes::isInError(file.row.status) ? VornSyncVerdict::Skip
                                                         : VornSyncVerdict::ReportLocalMissing;
    if (!isLocalPlainFile(file))
        return VornSyncVerdict::LeaveAlone;
    if (!file.isDistantAccessible)
        return VornSyncVerdict::ForgetObservation;
    if (file.distant == VornSyncPresence::Absent)
        return forMissingDistant(file);
    if (isLocalChanged(file))
        return VornSyncVerdict::Copy;
    return isAgreementUnknown(file.row) ? VornSyncVerdict::Examine : VornSyncVerdict::Skip;
}

VornSyncVerdict forLocal(const VornSyncPassFile& file)
{
    if (file.isRenaming)
        return VornSyncVerdict::SkipRenaming;
    if (file.isDistantObserved)
        return VornSyncVerdict::SkipObserved;
    if (VornSyncTypes::isInError(file.row.status))
        return VornSyncVerdict::SkipInError;
    if (VornSyncTypes::isInProgress(file.row.status))
        return VornSyncVerdict::SkipInProgress;
    if (!isLocalPlainFile(file))
        return VornSyncVerdict::LeaveAlone;
    if (VornSyncTypes::isTombstoned(file.row.status))
        return VornSyncVerdict::Resurrect;
    return isLocalChanged(file) ? VornSyncVerdict::Copy : VornSyncVerdict::Skip;
}

} // namespace VornSyncFileDecision

#pragma once

#include "vorn_sync_database.h"
#include "vorn_sync_files.h"

// What a pass decides for one file, as pure functions of what is known about it. The synchronizer walks,
// asks, acts and records; it does not decide.

// Example: "a.txt" was sent yesterday and has been edited since. hasRow, row.status is ceSfsUpToDate, local
// is present with a later time than row.localLmdSecs, distant is Present: the verdict is Copy.
struct VornSyncPassFile
{
    bool hasRow = false;
    VornSyncFileRow row; // status ceSfsUnknown without a row
    VornSyncFileFacts local;
    VornSyncPresence distant = VornSyncPresence::Unknown; // of a listing that is complete
    bool isDistantAccessible = false;
    bool isRenaming = false;        // locked by a rename when the pass began
    bool isDistantObserved = false; // a missing distant copy has been seen, and not yet believed
};

enum class VornSyncVerdict {
    Skip,                  // nothing to do
    SkipRenaming,          // a rename has the name
    SkipObserved,          // its missing distant copy is being observed
    SkipInProgress,        // a task has it
    SkipTombstoned,        // deleted or trashed, and not back
    SkipInError,           // waits for the user
    LeaveAlone,            // the disk gives no certain answer: ask again in the next pass
    ReportLocalMissing,    // the local file is surely gone
    ForgetObservation,     // the distant side can't be asked: no evidence of anything
    ObserveDistantMissing, // up to date, and the distant copy is surely not there
    Examine,               // both copies are there and the row does not say whether they agree
    Copy,                  // send it
    Resurrect              // a tombstoned file is back: drop its trashed copy and send it
};

namespace VornSyncFileDecision {

// True when the local file is not what the row recorded.
bool isLocalChanged(const VornSyncPassFile& file);

// True while a newer distant copy was found and the local file is still as it was then: sending it would
// undo somebody's work, and its size is no news.
bool isHeldByNewerDistant(const VornSyncPassFile& file);

// For a file that has a row.
VornSyncVerdict forTracked(const VornSyncPassFile& file);

// For a file found in the local directory, whose name no pattern excludes.
VornSyncVerdict forLocal(const VornSyncPassFile& file);

} // namespace VornSyncFileDecision

#pragma once

#include "vorn_sync_files.h"
#include "vorn_sync_types.h"

#include <QDateTime>
#include <QString>

class VornSyncDatabase;

// What a request for a file of a distant directory comes to. Holds no state.

struct VornSyncFileReadyFacts
{
    bool localExists = false;
    bool distantExists = false;
    QDateTime localLmd; // of the files as they are now
    QDateTime distantLmd;
    bool hasRecord = false;
    bool isTombstoned = false;  // recorded as deleted or trashed: a local file of that name is another one
    QDateTime recordedLocalLmd; // of the files as they were last recorded; invalid where not known
    QDateTime recordedDistantLmd;
    bool isMarkedNewer =
        false; // verification found a newer distant copy, and the local one has stayed as it was
};

enum class VornSyncFileReadyVerdict {
    NotFound,         // no copy anywhere
    CopyOnlyDistant,  // there is only a distant copy
    UseOnlyLocal,     // there is only a local copy
    UseUnrecorded,    // both are there and nothing is known about them
    CopyNewerDistant, // another workstation has written a newer one, and the local one was not touched
    UseLocal          // the local copy is current, or was changed here
};

// What is to be done for a request, and the path that the host gets.
struct VornSyncFileReadyPlan
{
    enum Action { AnswerFound, AnswerMissing, Copy };

    Action action = AnswerMissing;
    QString path;
    VornSyncFileFacts local;                         // what the decision saw in the place of the local copy
    int directoryId = VornSyncTypes::kNoDirectoryId; // -1: the file is in no registered distant directory
};

namespace VornSyncFileReady {

// A copy counts as changed when it is more than this later than recorded; times are recorded in seconds, and
// file systems round.
constexpr qint64 kToleranceMs = 3000;

// The decision alone: pure, callable from any thread.
VornSyncFileReadyVerdict decide(const VornSyncFileReadyFacts& facts);

// Looks at both files and at the database, and traces what it finds. On the host's thread.
VornSyncFileReadyPlan examine(VornSyncDatabase& database, const QString& filePath);

} // namespace VornSyncFileReady

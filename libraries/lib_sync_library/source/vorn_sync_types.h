#pragma once

#include <QHash>
#include <QPair>
#include <QSet>
#include <QString>
#include <QStringView>

#include <string_view>

// The vocabulary of the library. The numbers are part of the database file and never change.
// Everything here is pure and may be called from any thread.

enum SyncFileStatus : qint32 {
    ceSfsUnknown = 0,         // nothing known; the file is examined from scratch
    ceSfsUpToDate = 17,       // local and distant copies agree
    ceSfsPendingSync = 18,    // a copy to the distant side is wanted
    ceSfsSyncing = 20,        // a copy task is running
    ceSfsTrashed = 33,        // the file lies in the trash directory
    ceSfsPendingDelete = 34,  // a move to the trash is wanted
    ceSfsDeleting = 36,       // a move to the trash is running
    ceSfsDeleted = 40,        // the file is gone for good
    ceSfsPendingRestore = 66, // a restore from the trash is wanted
    ceSfsRestoring = 68,      // a restore is running
    ceSfsError = 128          // bit added to the base status; error_code says why
};

enum SyncErrorCode : qint32 {
    ceSecNone = 0,
    ceSecUnknown = 1,
    ceSecLocalFileMissing = 2,
    ceSecLocalFileNotReadable = 3,
    ceSecDistantDirMissing = 4,
    ceSecDistantDirNotWritable = 5,
    ceSecCopyFailed = 6,
    ceSecCopySizeMismatch = 7,
    ceSecRenameFailed = 8,
    ceSecAssocDirCopyFailed = 9,
    ceSecLocalDirRemoveFailed = 10,
    ceSecTrashDeleteFailed = 11,
    ceSecTaskCreationFailed = 12,
    ceSecMaxRetriesExceeded = 13,
    ceSecDistantRenameFailed = 14,
    ceSecDistantFileMissing = 15
};

enum SyncOperation : qint32 { ceStoCopy = 0, ceStoMove = 1, ceStoMoveBack = 2, ceStoRename = 3 };

// A tracked file: directory id and bare file name, compared exactly.
using VornSyncFileKey = QPair<int, QString>;

namespace VornSyncTypes {

constexpr int kNoDirectoryId = -1;
constexpr int kErrorBit = 0x80;
constexpr int kPendingBit = 0x02;
constexpr int kInProgressBit = 0x04;

// Stored in distant_lmd while the distant time is not known yet.
inline QString undefinedTimeText()
{
    return QStringLiteral("UNDEFINED");
}

inline bool isInError(int status)
{
    return (status & kErrorBit) != 0;
}
inline bool isInProgress(int status)
{
    return (status & kInProgressBit) != 0;
}
inline bool isPending(int status)
{
    return (status & kPendingBit) != 0;
}
inline bool isTombstoned(int status)
{
    return status == ceSfsTrashed || status == ceSfsDeleted;
}
inline int baseStatus(int status)
{
    return status & ~kErrorBit;
}

// The running state behind a pending one; the state itself for any other.
int runningStatus(int status);

// Whether a file belongs to the directory; a negative id means all directories.
inline bool isOfDirectory(const VornSyncFileKey& key, int directoryId)
{
    return directoryId < 0 || key.first == directoryId;
}

inline const VornSyncFileKey& keyOf(QSet<VornSyncFileKey>::iterator it)
{
    return *it;
}
template<typename Iterator> const VornSyncFileKey& keyOf(Iterator it)
{
    return it.key();
}

// Removes what `table` (a set of keys, or a hash or map with such keys) holds of a directory; everything for
// a negative id.
template<typename Table> void eraseOfDirectory(Table& table, int directoryId)
{
    for (auto it = table.begin(); it != table.end();) {
        if (isOfDirectory(keyOf(it), directoryId))
            it = table.erase(it);
        else
            ++it;
    }
}

// The value's own name; empty for a value outside the enumeration.
QString statusName(int status);
QString errorCodeName(int code);
QString operationName(int operation);

// The code's text in the host's language, looked up by translation id; the id itself where the host has
// no catalogue, empty for an unknown code.
QString errorMessage(int code);

bool isAcknowledgeOnly(int code);
bool isRestoreOrDelete(int code);

// Seconds a file of `size` bytes may stay in `status` before it counts as stale; 0: never stale.
int staleTimeoutSecs(int status, qint64 size);

// A bare file name: not empty, not "." or "..", no directory separator, no NUL.
bool isValidFileName(QStringView fileName);
bool isValidFileName(std::string_view utf8Name);

} // namespace VornSyncTypes

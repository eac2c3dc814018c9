#include "vorn_sync_types.h"

#include <QCoreApplication>

#include <array>

namespace {

struct ErrorText
{
    const char* name;
    const char* translationId;
};

// Indexed by SyncErrorCode.
constexpr std::array<ErrorText, 16> kErrorTexts = {{
    {"ceSecNone", "VornSyncDatabase_error_none"},
    {"ceSecUnknown", "VornSyncDatabase_error_unknown"},
    {"ceSecLocalFileMissing", "VornSyncDatabase_error_local_file_missing"},
    {"ceSecLocalFileNotReadable", "VornSyncDatabase_error_local_file_not_readable"},
    {"ceSecDistantDirMissing", "VornSyncDatabase_error_distant_dir_missing"},
    {"ceSecDistantDirNotWritable", "VornSyncDatabase_error_distant_dir_not_writable"},
    {"ceSecCopyFailed", "VornSyncDatabase_error_copy_failed"},
    {"ceSecCopySizeMismatch", "VornSyncDatabase_error_copy_size_mismatch"},
    {"ceSecRenameFailed", "VornSyncDatabase_error_rename_failed"},
    {"ceSecAssocDirCopyFailed", "VornSyncDatabase_error_assoc_dir_copy_failed"},
    {"ceSecLocalDirRemoveFailed", "VornSyncDatabase_error_local_dir_remove_failed"},
    {"ceSecTrashDeleteFailed", "VornSyncDatabase_error_trash_delete_failed"},
    {"ceSecTaskCreationFailed", "VornSyncDatabase_error_task_creation_failed"},
    {"ceSecMaxRetriesExceeded", "VornSyncDatabase_error_max_retries_exceeded"},
    {"ceSecDistantRenameFailed", "VornSyncDatabase_error_distant_rename_failed"},
    {"ceSecDistantFileMissing", "VornSyncDatabase_error_distant_file_missing"},
}};

constexpr int kFirstTimedStatus = 18;
constexpr int kLastTimedStatus = 68;
constexpr int kStaleCopyMinimumSecs = 120;
constexpr int kStaleCopyMaximumSecs = 600;
constexpr int kStaleCopySlackSecs = 30;
constexpr int kStaleDeleteSecs = 30;
// The slowest share a copy is still expected to get through: 100 KiB a second.
constexpr qint64 kStaleCopyBytesPerSec = 102400;

bool isKnownErrorCode(int code)
{
    return code >= 0 && code < int(kErrorTexts.size());
}

int staleCopyTimeoutSecs(qint64 size)
{
    if (size <= 0)
        return kStaleCopyMinimumSecs;
    const qint64 needed = size / kStaleCopyBytesPerSec + kStaleCopySlackSecs;
    return int(qBound(qint64(kStaleCopyMinimumSecs), needed, qint64(kStaleCopyMaximumSecs)));
}

} // namespace

namespace VornSyncTypes {

QString statusName(int status)
{
    switch (static_cast<SyncFileStatus>(status)) {
    case ceSfsUnknown:
        return QStringLiteral("ceSfsUnknown");
    case ceSfsUpToDate:
        return QStringLiteral("ceSfsUpToDate");
    case ceSfsPendingSync:
        return QStringLiteral("ceSfsPendingSync");
    case ceSfsSyncing:
        return QStringLiteral("ceSfsSyncing");
    case ceSfsTrashed:
        return QStringLiteral("ceSfsTrashed");
    case ceSfsPendingDelete:
        return QStringLiteral("ceSfsPendingDelete");
    case ceSfsDeleting:
        return QStringLiteral("ceSfsDeleting");
    case ceSfsDeleted:
        return QStringLiteral("ceSfsDeleted");
    case ceSfsPendingRestore:
        return QStringLiteral("ceSfsPendingRestore");
    case ceSfsRestoring:
        return QStringLiteral("ceSfsRestoring");
    case ceSfsError:
        return QStringLiteral("ceSfsError");
    }
    return QString();
}

QString errorCodeName(int code)
{
    return isKnownErrorCode(code) ? QString::fromLatin1(kErrorTexts[std::size_t(code)].name) : QString();
}

QString operationName(int operation)
{
    switch (static_cast<SyncOperation>(operation)) {
    case ceStoCopy:
        return QStringLiteral("ceStoCopy");
    case ceStoMove:
        return QStringLiteral("ceStoMove");
    case ceStoMoveBack:
        return QStringLiteral("ceStoMoveBack");
    case ceStoRename:
        return QStringLiteral("ceStoRename");
    }
    return QString();
}

QString errorMessage(int code)
{
    return isKnownErrorCode(code) ? qtTrId(kErrorTexts[std::size_t(code)].translationId) : QString();
}

bool isAcknowledgeOnly(int code)
{
    return code == ceSecLocalFileMissing;
}

bool isRestoreOrDelete(int code)
{
    return code == ceSecDistantFileMissing;
}

int runningStatus(int status)
{
    switch (static_cast<SyncFileStatus>(status)) {
    case ceSfsPendingSync:
        return ceSfsSyncing;
    case ceSfsPendingDelete:
        return ceSfsDeleting;
    case ceSfsPendingRestore:
        return ceSfsRestoring;
    case ceSfsUnknown:
    case ceSfsUpToDate:
    case ceSfsSyncing:
    case ceSfsTrashed:
    case ceSfsDeleting:
    case ceSfsDeleted:
    case ceSfsRestoring:
    case ceSfsError:
        break;
    }
    return status;
}

int staleTimeoutSecs(int status, qint64 size)
{
    if (status < kFirstTimedStatus || status > kLastTimedStatus)
        return 0;
    switch (static_cast<SyncFileStatus>(status)) {
    case ceSfsPendingSync:
    case ceSfsSyncing:
    case ceSfsPendingRestore:
    case ceSfsRestoring:
        return staleCopyTimeoutSecs(size);
    case ceSfsPendingDelete:
    case ceSfsDeleting:
        return kStaleDeleteSecs;
    case ceSfsUnknown:
    case ceSfsUpToDate:
    case ceSfsTrashed:
    case ceSfsDeleted:
    case ceSfsError:
        return 0;
    }
    return 0;
}

bool isValidFileName(QStringView fileName)
{
    if (fileName.isEmpty() || fileName == QLatin1String(".") || fileName == QLatin1String(".."))
        return false;
#ifdef Q_OS_WIN
    if (fileName.contains(QLatin1Char('\\')))
        return false;
#endif
    return !fileName.contains(QLatin1Char('/')) && !fileName.contains(QChar(0));
}

bool isValidFileName(std::string_view utf8Name)
{
    if (utf8Name.empty() || utf8Name == "." || utf8Name == "..")
        return false;
#ifdef Q_OS_WIN
    if (utf8Name.find('\\') != std::string_view::npos)
        return false;
#endif
    return utf8Name.find('/') == std::string_view::npos && utf8Name.find('\0') == std::string_view::npos;
}

} // namespace VornSyncTypes

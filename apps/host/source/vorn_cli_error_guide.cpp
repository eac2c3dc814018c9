#include "vorn_cli_error_guide.h"

#include <QCoreApplication>

#include <iterator>

namespace {

// The manager's sentences by code; the ids are those that its errorCodeMessage() looks up.
const char* const kSentenceIds[] = {
    "VornSyncDatabase_error_none",
    "VornSyncDatabase_error_unknown",
    "VornSyncDatabase_error_local_file_missing",
    "VornSyncDatabase_error_local_file_not_readable",
    "VornSyncDatabase_error_distant_dir_missing",
    "VornSyncDatabase_error_distant_dir_not_writable",
    "VornSyncDatabase_error_copy_failed",
    "VornSyncDatabase_error_copy_size_mismatch",
    "VornSyncDatabase_error_rename_failed",
    "VornSyncDatabase_error_assoc_dir_copy_failed",
    "VornSyncDatabase_error_local_dir_remove_failed",
    "VornSyncDatabase_error_trash_delete_failed",
    "VornSyncDatabase_error_task_creation_failed",
    "VornSyncDatabase_error_max_retries_exceeded",
    "VornSyncDatabase_error_distant_rename_failed",
    "VornSyncDatabase_error_distant_file_missing",
};

constexpr int kUpToDateInError = 145;

enum Code {
    kLocalFileMissing = 2,
    kLocalFileNotReadable = 3,
    kDistantDirMissing = 4,
    kDistantDirNotWritable = 5,
    kCopyFailed = 6,
    kSizeMismatch = 7,
    kRenameFailed = 8,
    kAssociatedDirectory = 9,
    kLocalDirNotRemoved = 10,
    kTaskNotCreated = 12,
    kGivenUp = 13,
    kDistantRenameFailed = 14,
    kDistantFileMissing = 15
};

struct WayOut
{
    const char* sentenceId;
    VornCliAnswer answer = VornCliAnswer::ByHand;
    bool mayReplaceNewer = false;
};

QVector<WayOut> waysOut(const VornCliFileError& error)
{
    const WayOut retry{"vorn_sync_may_retry", VornCliAnswer::Retry};
    switch (error.code) {
    case kLocalFileMissing:
        return {{"vorn_sync_may_acknowledge", VornCliAnswer::Acknowledge}, {"vorn_sync_may_put_back"}};
    case kDistantFileMissing:
        return {{"vorn_sync_may_restore", VornCliAnswer::Restore},
                {"vorn_sync_may_trash", VornCliAnswer::Trash}};
    case kLocalFileNotReadable:
        return {{"vorn_sync_may_make_readable"}, retry};
    case kDistantDirMissing:
        return {{"vorn_sync_may_bring_back"}, retry};
    case kDistantDirNotWritable:
        return {{"vorn_sync_may_make_writable"}, retry};
    case kCopyFailed:
        return {{"vorn_sync_may_make_room"}, retry};
    case kSizeMismatch:
        if (error.status == kUpToDateInError)
            return {{"vorn_sync_may_compare"}, {"vorn_sync_may_send_over", VornCliAnswer::Retry, true}};
        return {retry};
    case kRenameFailed:
    case kDistantRenameFailed:
        return {{"vorn_sync_may_close_distant"}, retry};
    case kAssociatedDirectory:
    case kLocalDirNotRemoved:
        return {{"vorn_sync_may_check_directory"}, retry};
    case kGivenUp:
        return {{"vorn_sync_may_clear_the_way"}, retry};
    case kTaskNotCreated:
    default:
        return {retry};
    }
}

QString commandName(VornCliAnswer answer)
{
    switch (answer) {
    case VornCliAnswer::ByHand:
        break;
    case VornCliAnswer::Retry:
        return QStringLiteral("retry");
    case VornCliAnswer::Acknowledge:
        return QStringLiteral("acknowledge");
    case VornCliAnswer::Restore:
        return QStringLiteral("restore");
    case VornCliAnswer::Trash:
        return QStringLiteral("trash");
    }
    return QString();
}

} // namespace

namespace VornCliErrorGuide {

QString sentence(int code)
{
    return code < 0 || code >= static_cast<int>(std::size(kSentenceIds)) ? QString()
                                                                         : qtTrId(kSentenceIds[code]);
}

QVector<VornCliAdvice> advice(const VornCliFileError& error)
{
    QVector<VornCliAdvice> advices;
    const QVector<WayOut> ways = waysOut(error);
    for (const WayOut& way : ways)
        advices.append({qtTrId(way.sentenceId), way.answer, way.mayReplaceNewer});
    return advices;
}

QStringList command(const VornCliFileError& error, VornCliAnswer answer, const QString& program,
                    const QString& statePath)
{
    if (answer == VornCliAnswer::ByHand)
        return QStringList();
    return {program,     commandName(answer), QStringLiteral("--state"), statePath, QStringLiteral("--"),
            error.alias, error.name};
}

} // namespace VornCliErrorGuide

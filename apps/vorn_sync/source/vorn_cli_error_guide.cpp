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

// One way out: the sentence that explains it, and the command that takes it.
struct WayOut
{
    const char* sentenceId;
    const char* action; // null: something to be done by hand
};

QVector<WayOut> waysOut(const VornCliFileError& error)
{
    const WayOut retry{"vorn_sync_may_retry", "retry"};
    switch (error.code) {
    case kLocalFileMissing:
        return {{"vorn_sync_may_acknowledge", "acknowledge"}, {"vorn_sync_may_put_back", nullptr}};
    case kDistantFileMissing:
        return {{"vorn_sync_may_restore", "restore"}, {"vorn_sync_may_trash", "trash"}};
    case kLocalFileNotReadable:
        return {{"vorn_sync_may_make_readable", nullptr}, retry};
    case kDistantDirMissing:
        return {{"vorn_sync_may_bring_back", nullptr}, retry};
    case kDistantDirNotWritable:
        return {{"vorn_sync_may_make_writable", nullptr}, retry};
    case kCopyFailed:
        return {{"vorn_sync_may_make_room", nullptr}, retry};
    case kSizeMismatch:
        if (error.status == kUpToDateInError)
            return {{"vorn_sync_may_compare", nullptr}, {"vorn_sync_may_send_over", "retry"}};
        return {retry};
    case kRenameFailed:
    case kDistantRenameFailed:
        return {{"vorn_sync_may_close_distant", nullptr}, retry};
    case kAssociatedDirectory:
    case kLocalDirNotRemoved:
        return {{"vorn_sync_may_check_directory", nullptr}, retry};
    case kGivenUp:
        return {{"vorn_sync_may_clear_the_way", nullptr}, retry};
    case kTaskNotCreated:
    default:
        return {retry};
    }
}

} // namespace

namespace VornCliErrorGuide {

QString sentence(int code)
{
    return code < 0 || code >= static_cast<int>(std::size(kSentenceIds)) ? QString()
                                                                         : qtTrId(kSentenceIds[code]);
}

QVector<VornCliAdvice> advice(const VornCliFileError& error, const QString& program, const QString& statePath)
{
    QVector<VornCliAdvice> advices;
    const QVector<WayOut> ways = waysOut(error);
    for (const WayOut& way : ways) {
        VornCliAdvice advice;
        advice.sentence = qtTrId(way.sentenceId);
        if (way.action != nullptr) {
            advice.action = QLatin1String(way.action);
            advice.command = QStringList{program,   advice.action,        QStringLiteral("--state"),
                                         statePath, QStringLiteral("--"), error.alias,
                                         error.name};
        }
        advices.append(advice);
    }
    return advices;
}

} // namespace VornCliErrorGuide

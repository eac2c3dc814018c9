#include "vorn_sync_manager.h"

#include "vorn_sync_log.h"
#include "vorn_sync_manager_p.h"
#include "vorn_sync_types.h"

#include <QFileInfo>

namespace {

const char* const kSourcePath = "libraries/lib_sync_library/source/vorn_sync_manager";

// Required: the line that a member's message carries is fixed; it does not follow the source.
enum GuardLine {
    RetrySyncLine = 151,
    RetryAllErrorsLine = 161,
    AcknowledgeAllMissingLine = 171,
    DeleteAllDistantMissingLine = 181,
    MoveToTrashFileLine = 207,
    LockForRenameLine = 219,
    CommitRenameLine = 231,
    AbortRenameLine = 243,
    NotifyLocalFileChangedLine = 254,
    NotifyLocalFileDeletedLine = 265,
    TombstoneLocalFileLine = 276,
    ResetSyncDatabaseLine = 286,
    WipeSyncDatabaseFileLine = 296,
    RequestFileReadyLine = 306,
    RequestSyncLine = 317
};

void reportNull(const VornSyncManager* manager, const char* member, GuardLine line)
{
    VornSyncLog::critical(manager, kSourcePath, line)
        << (QByteArray("VornSyncManager::") + member + ": private implementation is null").constData();
}

} // namespace

VornSyncManager::VornSyncManager(const QString& databasePath, const QString& trashRootPath,
                                 int syncIntervalMs, const QStringList& exclusionPatterns, QObject* parent)
    : QObject(parent)
    , d(new VornSyncManagerPrivate(databasePath, trashRootPath, syncIntervalMs, exclusionPatterns, this))
{
}

VornSyncManager::~VornSyncManager()
{
    // Not left to the base class: the private object's destructor still emits errorOccurred().
    delete d;
}

// ---- Directory pairs ----------------------------------------------------------------------------------

bool VornSyncManager::addDirectory(const QString& aliasName, const QString& localPath,
                                   const QString& distantPath)
{
    return d->addDirectory(aliasName, localPath, distantPath);
}

bool VornSyncManager::delDirectory(const QString& aliasName)
{
    return d->removeDirectory(aliasName);
}

void VornSyncManager::setDirectoryAvailability(const QString& aliasName, bool available)
{
    if (available)
        d->resumeDirectorySync(aliasName);
    else
        d->suspendDirectorySync(aliasName);
}

bool VornSyncManager::isAliasDirectorySynchronised(const QString& aliasName) const
{
    return d->isAliasDirectorySynchronised(aliasName);
}

bool VornSyncManager::isLocalDirectorySynchronised(const QString& localPath) const
{
    return d->isLocalDirectorySynchronised(localPath);
}

QString VornSyncManager::getLocalDirSynchronizedAlias(const QString& localPath) const
{
    return d->getLocalDirSynchronizedAlias(localPath);
}

void VornSyncManager::pauseAll()
{
    d->pauseAll();
}

void VornSyncManager::resumeAll()
{
    d->resumeAll();
}

bool VornSyncManager::isPausedAll() const
{
    return d->isPausedAll();
}

// ---- State --------------------------------------------------------------------------------------------

bool VornSyncManager::isIdle() const
{
    return d->isIdle();
}

int VornSyncManager::inProgressCount() const
{
    return d->inProgressCount();
}

int VornSyncManager::pendingCount() const
{
    return d->pendingCount();
}

int VornSyncManager::errorCount() const
{
    return d->errorCount();
}

int VornSyncManager::doneCount() const
{
    return d->doneCount();
}

QVariantList VornSyncManager::recentEvents() const
{
    return d->recentEvents();
}

QVariantList VornSyncManager::errorFiles() const
{
    return d->errorFiles();
}

QString VornSyncManager::errorCodeMessage(int code) const
{
    return VornSyncTypes::errorMessage(code);
}

bool VornSyncManager::isAcknowledgeOnly(int code) const
{
    return VornSyncTypes::isAcknowledgeOnly(code);
}

bool VornSyncManager::isRestoreOrDelete(int code) const
{
    return VornSyncTypes::isRestoreOrDelete(code);
}

// ---- User actions and requests ------------------------------------------------------------------------

void VornSyncManager::retrySync(const QString& aliasName, const QString& fileName)
{
    if (!d)
        return reportNull(this, "retrySync", RetrySyncLine);
    d->retrySync(aliasName, fileName);
}

void VornSyncManager::retryAllErrors()
{
    if (!d)
        return reportNull(this, "retryAllErrors", RetryAllErrorsLine);
    d->retryAllErrors();
}

void VornSyncManager::acknowledgeAllMissing()
{
    if (!d)
        return reportNull(this, "acknowledgeAllMissing", AcknowledgeAllMissingLine);
    d->acknowledgeAllMissing();
}

void VornSyncManager::deleteAllDistantMissing()
{
    if (!d)
        return reportNull(this, "deleteAllDistantMissing", DeleteAllDistantMissingLine);
    d->deleteAllDistantMissing();
}

void VornSyncManager::moveToTrashFile(const QString& aliasName, const QString& fileName)
{
    if (!d)
        return reportNull(this, "moveToTrashFile", MoveToTrashFileLine);
    d->moveToTrashFile(aliasName, fileName);
}

bool VornSyncManager::lockForRename(const QString& aliasName, const QString& oldFileName,
                                    const QString& newFileName)
{
    if (!d) {
        reportNull(this, "lockForRename", LockForRenameLine);
        return false;
    }
    return d->lockForRename(aliasName, oldFileName, newFileName);
}

void VornSyncManager::commitRename(const QString& aliasName, const QString& oldFileName,
                                   const QString& newFileName)
{
    if (!d)
        return reportNull(this, "commitRename", CommitRenameLine);
    d->commitRename(aliasName, oldFileName, newFileName);
}

void VornSyncManager::abortRename(const QString& aliasName, const QString& oldFileName,
                                  const QString& newFileName)
{
    if (!d)
        return reportNull(this, "abortRename", AbortRenameLine);
    d->abortRename(aliasName, oldFileName, newFileName);
}

void VornSyncManager::notifyLocalFileChanged(const QString& aliasName, const QString& fileName)
{
    if (!d)
        return reportNull(this, "notifyLocalFileChanged", NotifyLocalFileChangedLine);
    d->notifyLocalFileChanged(aliasName, fileName);
}

void VornSyncManager::notifyLocalFileDeleted(const QString& aliasName, const QString& fileName)
{
    if (!d)
        return reportNull(this, "notifyLocalFileDeleted", NotifyLocalFileDeletedLine);
    d->notifyLocalFileDeleted(aliasName, fileName);
}

void VornSyncManager::tombstoneLocalFile(const QString& aliasName, const QString& fileName)
{
    if (!d)
        return reportNull(this, "tombstoneLocalFile", TombstoneLocalFileLine);
    d->tombstoneLocalFile(aliasName, fileName);
}

bool VornSyncManager::resetSyncDatabase(int timeoutMs)
{
    if (!d) {
        reportNull(this, "resetSyncDatabase", ResetSyncDatabaseLine);
        return false;
    }
    return d->resetSyncDatabase(timeoutMs);
}

bool VornSyncManager::wipeSyncDatabaseFile()
{
    if (!d) {
        reportNull(this, "wipeSyncDatabaseFile", WipeSyncDatabaseFileLine);
        return false;
    }
    return d->wipeSyncDatabaseFile();
}

void VornSyncManager::requestFileReady(const QString& filePath)
{
    if (!d) {
        reportNull(this, "requestFileReady", RequestFileReadyLine);
        emit fileReady(filePath, QFileInfo::exists(filePath));
        return;
    }
    d->requestFileReady(filePath);
}

void VornSyncManager::requestSync()
{
    if (!d)
        return reportNull(this, "requestSync", RequestSyncLine);
    d->requestSync();
}

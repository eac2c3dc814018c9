#include "vorn_sync_trash.h"

#include "vorn_sync_database.h"
#include "vorn_sync_files.h"
#include "vorn_sync_log.h"
#include "vorn_sync_path_cache.h"

#include <QDateTime>
#include <QFile>
#include <QThread>

namespace {

constexpr auto kTag = "Sync: ";

constexpr int kRetentionDays = 30;

} // namespace

VornSyncTrash::VornSyncTrash(VornSyncPathCache& paths, QObject* parent)
    : QObject(parent)
    , m_paths(paths)
{
}

void VornSyncTrash::purge()
{
    const QDateTime cutoff = QDateTime::currentDateTimeUtc().addDays(-kRetentionDays);
    bool isRowRemoved = false;
    const QList<int> directoryIds = m_database->getDirectoryIds(false);
    for (int directoryId : directoryIds) {
        const QStringList fileNames = m_database->getTrashedFilesOlderThan(directoryId, cutoff);
        for (const QString& fileName : fileNames) {
            if (QThread::currentThread()->isInterruptionRequested())
                return;
            if (!VornSyncTypes::isValidFileName(fileName) ||
                !VornSyncTypes::isTombstoned(m_database->getFileStatus(directoryId, fileName)))
                continue;
            // A row whose file is still in the trash must stay: it alone says that the file is there.
            if (remove(directoryId, fileName) && m_database->removeTombstone(directoryId, fileName))
                isRowRemoved = true;
        }
    }
    if (isRowRemoved)
        emit errorStateChanged();
}

bool VornSyncTrash::remove(int directoryId, const QString& fileName)
{
    const QString trashDir = m_paths.trashDir(directoryId);
    if (trashDir.isEmpty())
        return false;
    const QString path = VornSyncFiles::joined(trashDir, fileName);
    const VornSyncPresence presence = VornSyncFiles::facts(path).presence;
    if (presence != VornSyncPresence::Present)
        return presence == VornSyncPresence::Absent;
    VORN_SYNC_TRACE(
        kTag, "removeFromTrash",
        QStringLiteral("file: '%1' in directoryId: %2").arg(fileName, QString::number(directoryId)));
    if (QFile::remove(path))
        return true;
    emit failed(QStringLiteral("ERROR: Failed to permanently delete file from trash: '%1'").arg(path));
    return false;
}

void VornSyncTrash::removeSuperseded(int directoryId, const QString& fileName)
{
    const QString trashDir = m_paths.trashDir(directoryId);
    if (trashDir.isEmpty())
        return;
    const QString path = VornSyncFiles::joined(trashDir, fileName);
    if (VornSyncFiles::facts(path).presence != VornSyncPresence::Present)
        return;
    if (QFile::remove(path))
        VORN_SYNC_TRACE(kTag, "removeFromLocalTrashIfExists",
                        QStringLiteral("Dropped stale trash copy '%1' (dirId=%2)")
                            .arg(path, QString::number(directoryId)));
    else
        VORN_SYNC_TRACE(kTag, "removeFromLocalTrashIfExists",
                        QStringLiteral("Warning: failed to drop stale trash copy '%1'").arg(path));
}

#include "vorn_sync_database.h"

#include "vorn_planted_bugs.h"
#include "vorn_sqlite_silence.h"
#include "vorn_sqlite_transaction.h"
#include "vorn_sync_directories.h"
#include "vorn_sync_distant_marks.h"
#include "vorn_sync_file_comparison.h"
#include "vorn_sync_file_rows.h"
#include "vorn_sync_file_states.h"
#include "vorn_sync_log.h"
#include "vorn_sync_migration.h"
#include "vorn_sync_row_repairs.h"
#include "vorn_sync_times.h"

#include <QSqlQuery>

namespace {

constexpr char kTag[] = "DB: ";

QString bound(const QString& text)
{
    return VornSqliteDatabase::boundText(text);
}

QVariantList fileKey(const QString& fileName, int directoryId)
{
    return {bound(fileName), directoryId};
}

QString lmdText(const QFileInfo& file)
{
    return VornSyncTimes::toText(file.lastModified().toUTC());
}

QString doneText(bool done)
{
    return done ? QStringLiteral("done") : QStringLiteral("FAIL");
}

QString duplicateText(int directoryId, const QString& fileName)
{
    return QStringLiteral(
               "ERROR: There are more than one record in the database for file: '%1' in directory %2")
        .arg(fileName, QString::number(directoryId));
}

void set(bool* flag, bool value)
{
    if (flag)
        *flag = value;
}

} // namespace

struct VornSyncDatabase::TrackedFile
{
    int count = 0; // rows of the key
    qint64 size = 0;
    QString localLmd;
    QString distantLmd;
};

VornSyncDatabase::VornSyncDatabase(const QString& databasePath)
    : VornSqliteDatabase(databasePath, QStringLiteral("VornSyncDB_Connection"), nullptr)
{
    connect(this, &VornSqliteDatabase::databaseErrorOccurred, this,
            &VornSyncDatabase::sltDatabaseErrorOccurred);
}

VornSyncDatabase::~VornSyncDatabase() = default;

void VornSyncDatabase::sltDatabaseErrorOccurred(const QString& connectionName, const QString& message)
{
    emit errorOccurred(QStringLiteral("ERROR: Database %1: %2").arg(connectionName, message));
}

// --- Schema ---------------------------------------------------------------------------------------------

bool VornSyncDatabase::initialize()
{
    const bool done = VornSyncMigration(*this).run();
    m_changes.noteAll();
    return done;
}

bool VornSyncDatabase::reset()
{
    // The other threads' statements wait until the tables are there again. A file that could not be removed has its
    // pairs as before.
    bool isInitialized = false;
    const bool isReset = resetFile([&] {
        ++m_resetCount;
        isInitialized = initialize();
    });
    m_counters.forgetFile();
    m_changes.noteAll();
    ++m_directoriesVersion;
    if (!isReset) {
        VORN_SYNC_TRACE(kTag, "reset", QStringLiteral("Failed to remove the sync database file"));
        return false;
    }
    VORN_SYNC_TRACE(kTag, "reset",
                    isInitialized ? QStringLiteral("Sync database file deleted and recreated empty")
                                  : QStringLiteral("Failed to recreate empty sync database schema"));
    return isInitialized;
}

// --- Directories ----------------------------------------------------------------------------------------

int VornSyncDatabase::addDirectory(const QString& aliasName, const QString& localPath,
                                   const QString& distantPath, const QString& trashPath)
{
    int result = VornSyncTypes::kNoDirectoryId;
    {
        VornSqliteTransaction transaction(*this);
        if (transaction.isActive())
            result = VornSyncDirectories(*this).add(aliasName, localPath, distantPath, trashPath);
        if (!transaction.commit())
            result = VornSyncTypes::kNoDirectoryId;
    }
    // Required: -1 reads "done".
    VORN_SYNC_TRACE(kTag, "addDirectory",
                    QStringLiteral("%1 Alias = '%2' ").arg(doneText(result != 0), aliasName));
    return result;
}

int VornSyncDatabase::getDirectoryIdByAlias(const QString& aliasName)
{
    return getDirectoryIdByField(AliasName, aliasName);
}

int VornSyncDatabase::getDirectoryIdByField(DirectoryField field, const QString& value)
{
    return VornSyncDirectories(*this).idOf(field, value);
}

int VornSyncDatabase::getDirectoryIdByLocalPath(const QString& localPath)
{
    return getDirectoryIdByField(LocalPath, localPath);
}

int VornSyncDatabase::getDirectoryIdByDistantPath(const QString& distantPath)
{
    return getDirectoryIdByField(DistantPath, distantPath);
}

QString VornSyncDatabase::getDirectoryField(int directoryId, DirectoryField field, bool* succeeded)
{
    QString text;
    set(succeeded, VornSyncDirectories(*this).readField(directoryId, field, text));
    return text;
}

QString VornSyncDatabase::getDirectoryAlias(int directoryId)
{
    return getDirectoryField(directoryId, AliasName);
}

QString VornSyncDatabase::getDirectoryLocalPath(int directoryId)
{
    return getDirectoryField(directoryId, LocalPath);
}

QString VornSyncDatabase::getDirectoryDistantPath(int directoryId)
{
    return getDirectoryField(directoryId, DistantPath);
}

QString VornSyncDatabase::getDirectoryTrashPath(int directoryId)
{
    return getDirectoryField(directoryId, TrashPath);
}

QList<int> VornSyncDatabase::getDirectoryIds(bool availableOnly)
{
    return VornSyncDirectories(*this).ids(availableOnly);
}

QStringList VornSyncDatabase::getDirectoryLocalPaths(bool availableOnly)
{
    return VornSyncDirectories(*this).localPaths(availableOnly);
}

bool VornSyncDatabase::deleteDirectory(int directoryId)
{
    const bool done = VornSyncDirectories(*this).remove(directoryId);
    m_changes.noteAll();
    ++m_directoriesVersion;
    return done;
}

bool VornSyncDatabase::setDirectoryUnavailable(int directoryId)
{
    return VornSyncDirectories(*this).setAvailable(directoryId, false);
}

bool VornSyncDatabase::setDirectoryAvailable(int directoryId)
{
    return VornSyncDirectories(*this).setAvailable(directoryId, true);
}

// --- One file: status -----------------------------------------------------------------------------------

bool VornSyncDatabase::change(int directoryId, const QString& fileName, const std::function<bool()>& write)
{
    bool done = false;
    {
        VornSqliteTransaction transaction(*this);
        done = transaction.isActive() && write() && transaction.commit();
    }
    m_changes.note(directoryId, fileName);
    return done;
}

int VornSyncDatabase::getFileStatus(int directoryId, const QString& fileName, bool* found)
{
    const VornSyncFileStates::Row row = VornSyncFileStates(*this).read(directoryId, fileName);
    set(found, row.isFound);
    return row.status;
}

int VornSyncDatabase::getFileErrorCode(int directoryId, const QString& fileName, bool* succeeded)
{
    QVariantList values;
    const bool done =
        executeQuery(values,
                     QStringLiteral("SELECT error_code FROM file_tracking WHERE file_name = ? AND "
                                    "directories_id = ?"),
                     fileKey(fileName, directoryId));
    set(succeeded, done);
    return done && values.size() == 1 ? values.first().toInt() : int(ceSecNone);
}

bool VornSyncDatabase::setFileStatus(int directoryId, const QString& fileName, int status, int errorCode)
{
    const bool done = change(directoryId, fileName, [&] {
        return VornSyncFileStates(*this).write(directoryId, fileName, status, errorCode);
    });
    traceStatus("setFileStatus", directoryId, fileName, status, done);
    return done;
}

bool VornSyncDatabase::setFileStatusIf(int directoryId, const QString& fileName, int expectedStatus,
                                       int status)
{
    return writeStatusIf("setFileStatusIf", directoryId, fileName, expectedStatus, status, ceSecNone);
}

bool VornSyncDatabase::setFileErrorIf(int directoryId, const QString& fileName, int expectedStatus,
                                      int errorCode)
{
    return writeStatusIf("setFileErrorIf", directoryId, fileName, expectedStatus, ceSfsError, errorCode);
}

bool VornSyncDatabase::writeStatusIf(const char* method, int directoryId, const QString& fileName,
                                     int expectedStatus, int status, int errorCode)
{
    const bool done = change(directoryId, fileName, [&] {
        VornSyncFileStates states(*this);
        const VornSyncFileStates::Row current = states.read(directoryId, fileName);
        return current.status == expectedStatus &&
               states.write(directoryId, fileName, current, status, errorCode);
    });
    traceStatus(method, directoryId, fileName, status, done);
    return done;
}

bool VornSyncDatabase::clearFileError(int directoryId, const QString& fileName)
{
    const bool done = change(directoryId, fileName, [&] {
        const int status = getFileStatus(directoryId, fileName);
        return !VornSyncTypes::isInError(status) ||
               VornSyncFileStates(*this).write(directoryId, fileName, VornSyncTypes::baseStatus(status),
                                               ceSecNone);
    });
    traceFile("clearFileError", directoryId, fileName, done);
    return done;
}

bool VornSyncDatabase::updateStatusToProcess(int directoryId, const QString& fileName)
{
    int from = ceSfsUnknown;
    int to = ceSfsUnknown;
    const bool done = change(directoryId, fileName, [&] {
        VornSyncFileStates states(*this);
        const VornSyncFileStates::Row current = states.read(directoryId, fileName);
        from = current.status;
        to = VornSyncTypes::runningStatus(from);
        return to != from && states.write(directoryId, fileName, current, to, ceSecNone);
    });
    if (to == from)
        VORN_SYNC_TRACE(kTag, "updateStatusToProcess",
                        QStringLiteral("FAIL because current status is not pending = ") +
                            VornSyncTypes::statusName(from));
    else
        VORN_SYNC_TRACE(kTag, "updateStatusToProcess",
                        QStringLiteral("Updated status from %1 to %2%3")
                            .arg(VornSyncTypes::statusName(from), VornSyncTypes::statusName(to),
                                 done ? QString() : QStringLiteral(" FAIL")));
    return done;
}

// --- One file: trash ------------------------------------------------------------------------------------

bool VornSyncDatabase::setFileTrashed(int directoryId, const QString& fileName)
{
    return setFileTrashOrDeleted(directoryId, fileName, ceSfsTrashed);
}

bool VornSyncDatabase::setFileDeleted(int directoryId, const QString& fileName)
{
    return setFileTrashOrDeleted(directoryId, fileName, ceSfsDeleted);
}

bool VornSyncDatabase::setFileTrashOrDeleted(int directoryId, const QString& fileName, int status)
{
    const bool done = change(directoryId, fileName, [&] {
        return VornSyncFileStates(*this).write(directoryId, fileName, status, ceSecNone) &&
               executeQuery(QStringLiteral("UPDATE file_tracking SET trashed_date = ? WHERE file_name = ? "
                                           "AND directories_id = ?"),
                            {VornSyncTimes::nowText(), bound(fileName), directoryId});
    });
    traceStatus("setFileTrashOrDeleted", directoryId, fileName, status, done);
    return done;
}

bool VornSyncDatabase::unmarkFileTrashed(int directoryId, const QString& fileName)
{
    const bool done = change(directoryId, fileName, [&] {
        return VornSyncFileStates(*this).write(directoryId, fileName, ceSfsUpToDate, ceSecNone) &&
               executeQuery(QStringLiteral("UPDATE file_tracking SET trashed_date = NULL WHERE file_name = ? "
                                           "AND directories_id = ?"),
                            fileKey(fileName, directoryId));
    });
    traceFile("unmarkFileTrashed", directoryId, fileName, done);
    return done;
}

// --- One file: recording a synchronisation --------------------------------------------------------------

bool VornSyncDatabase::recordFileSync(int directoryId, const QString& fileName, qint64 size,
                                      const QDateTime& localLmd, const QDateTime& distantLmd, bool* existed)
{
    const TrackedFile recorded{1, size, VornSyncTimes::toText(localLmd), VornSyncTimes::toText(distantLmd)};
    return record(directoryId, fileName, recorded, existed, nullptr, nullptr) == Recorded::Yes;
}

bool VornSyncDatabase::recordCopy(int directoryId, const QString& fileName, qint64 size,
                                  const QDateTime& localLmd, const QDateTime& distantLmd)
{
    // An empty text would be read as a time long ago: every distant file is newer than that.
    const QString distantText =
        distantLmd.isValid() ? VornSyncTimes::toText(distantLmd) : VornSyncTypes::undefinedTimeText();
    const TrackedFile recorded{1, size, VornSyncTimes::toText(localLmd), distantText};
    const auto isWanted = [](int status) { return !VornSyncTypes::isTombstoned(status); };
    return record(directoryId, fileName, recorded, nullptr, isWanted, nullptr) != Recorded::No;
}

bool VornSyncDatabase::recordDistantGrown(int directoryId, const QString& fileName, qint64 distantSize,
                                          const QDateTime& localLmd, const QDateTime& distantLmd,
                                          qint64 localSize)
{
    const TrackedFile recorded{1, distantSize, VornSyncTimes::toText(localLmd),
                               VornSyncTimes::toText(distantLmd)};
    const auto isWanted = [](int status) { return status == ceSfsUpToDate; };
    const auto mark = [&] {
        return VornSyncDistantMarks(*this).set(directoryId, fileName, localSize, bound(recorded.localLmd));
    };
    return record(directoryId, fileName, recorded, nullptr, isWanted, mark) == Recorded::Yes;
}

VornSyncDatabase::Recorded VornSyncDatabase::record(int directoryId, const QString& fileName,
                                                    const TrackedFile& recorded, bool* existed,
                                                    const std::function<bool(int)>& isWanted,
                                                    const std::function<bool()>& mark)
{
    bool wasThere = false;
    bool isRecorded = false;
    bool isCommitted = false;
    {
        VornSqliteTransaction transaction(*this);
        if (transaction.isActive() && isWanted && !isWanted(getFileStatus(directoryId, fileName)) &&
            transaction.isActive())
            return Recorded::Unwanted;
        if (transaction.isActive()) {
            isRecorded = writeSync(directoryId, fileName, recorded, wasThere) &&
                         VornSyncDistantMarks(*this).remove(directoryId, fileName) && (!mark || mark());
            if (isRecorded)
                VornSyncFileStates(*this).write(directoryId, fileName, ceSfsUpToDate, ceSecNone);
            else if (transaction.isActive())
                VornSyncFileStates(*this).write(directoryId, fileName, ceSfsError, ceSecUnknown);
            isCommitted = transaction.commit();
        }
    }
    set(existed, wasThere);
    VORN_SYNC_TRACE(kTag, "recordFileSync",
                    QStringLiteral("%1 file: '%2' in directory %3 %4")
                        .arg(wasThere ? QStringLiteral("Updated") : QStringLiteral("Added"), fileName,
                             QString::number(directoryId), doneText(isRecorded && isCommitted)));
    m_changes.note(directoryId, fileName);
    // What undid the transaction undid the error in it too.
    if (!isCommitted && !isWanted) {
        setFileStatus(directoryId, fileName, ceSfsError, ceSecUnknown);
    } else if (!isCommitted) {
        const int status = getFileStatus(directoryId, fileName);
        if (isWanted(status))
            setFileErrorIf(directoryId, fileName, status, ceSecUnknown);
    }
    return isRecorded && isCommitted ? Recorded::Yes : Recorded::No;
}

bool VornSyncDatabase::writeSync(int directoryId, const QString& fileName, const TrackedFile& recorded,
                                 bool& existed)
{
    TrackedFile tracked;
    if (directoryId < 0 || !readTracked(directoryId, fileName, tracked))
        return false;
    if (tracked.count > 1) {
        VORN_SYNC_TRACE(kTag, "recordFileSync", duplicateText(directoryId, fileName));
        return false;
    }
    existed = tracked.count == 1;
    if (existed)
        return executeQuery(
            QStringLiteral("UPDATE file_tracking SET size = ?, local_lmd = ?, distant_lmd = ? "
                           "WHERE file_name = ? AND directories_id = ?"),
            {recorded.size, bound(recorded.localLmd), bound(recorded.distantLmd), bound(fileName),
             directoryId});
    return executeQuery(
        QStringLiteral("INSERT INTO file_tracking (file_name, directories_id, size, local_lmd, distant_lmd, "
                       "status) VALUES (?, ?, ?, ?, ?, ?)"),
        {bound(fileName), directoryId, recorded.size, bound(recorded.localLmd), bound(recorded.distantLmd),
         int(ceSfsUpToDate)});
}

bool VornSyncDatabase::readTracked(int directoryId, const QString& fileName, TrackedFile& tracked)
{
    return forEachRow(QStringLiteral("SELECT size, local_lmd, distant_lmd FROM file_tracking WHERE "
                                     "file_name = ? AND directories_id = ?"),
                      fileKey(fileName, directoryId), [&](const QSqlQuery& row) {
                          tracked = {tracked.count + 1, row.value(0).toLongLong(), row.value(1).toString(),
                                     row.value(2).toString()};
                      });
}

// --- One file: names and rows ---------------------------------------------------------------------------

bool VornSyncDatabase::renameFile(int directoryId, const QString& oldName, const QString& newName)
{
    const bool done =
        change(directoryId, oldName, [&] { return writeRename(directoryId, oldName, newName); });
    m_changes.note(directoryId, newName);
    return done;
}

bool VornSyncDatabase::renameFileOverTombstone(int directoryId, const QString& oldName,
                                               const QString& newName)
{
    const bool done = change(directoryId, oldName, [&] {
        return writeTombstoneRemoval(directoryId, newName) && writeRename(directoryId, oldName, newName);
    });
    m_changes.note(directoryId, newName);
    return done;
}

bool VornSyncDatabase::writeRename(int directoryId, const QString& oldName, const QString& newName)
{
    QVariantList targets;
    if (executeQuery(targets,
                     QStringLiteral("SELECT 1 FROM file_tracking WHERE file_name = ? AND directories_id = ?"),
                     fileKey(newName, directoryId)) &&
        !targets.isEmpty()) {
        VORN_SYNC_TRACE(kTag, "renameFile",
                        QStringLiteral("FAIL: target name already exists in BD: '%1' (dirId=%2)")
                            .arg(newName, QString::number(directoryId)));
        return false;
    }
    const bool done =
        executeQuery(QStringLiteral("UPDATE file_tracking SET file_name = ? WHERE file_name = ? AND "
                                    "directories_id = ?"),
                     {bound(newName), bound(oldName), directoryId}) &&
        VornSyncDistantMarks(*this).rename(directoryId, oldName, newName);
    VORN_SYNC_TRACE(kTag, "renameFile",
                    QStringLiteral("from '%1' to '%2' in directory %3 %4")
                        .arg(oldName, newName, QString::number(directoryId), doneText(done)));
    return done;
}

bool VornSyncDatabase::removeFileSync(int directoryId, const QString& fileName)
{
    const bool done = change(directoryId, fileName, [&] {
        return executeQuery(
                   QStringLiteral("DELETE FROM file_tracking WHERE file_name = ? AND directories_id = ?"),
                   fileKey(fileName, directoryId)) &&
               VornSyncDistantMarks(*this).remove(directoryId, fileName);
    });
    traceFile("removeFileSync", directoryId, fileName, done);
    return done;
}

bool VornSyncDatabase::removeTombstone(int directoryId, const QString& fileName)
{
    const bool done =
        change(directoryId, fileName, [&] { return writeTombstoneRemoval(directoryId, fileName); });
    traceFile("removeTombstone", directoryId, fileName, done);
    return done;
}

bool VornSyncDatabase::writeTombstoneRemoval(int directoryId, const QString& fileName)
{
    bool isFound = false;
    const int status = getFileStatus(directoryId, fileName, &isFound);
    if (!isFound || !VornSyncTypes::isTombstoned(status))
        return true;
    return executeQuery(
               QStringLiteral("DELETE FROM file_tracking WHERE file_name = ? AND directories_id = ?"),
               fileKey(fileName, directoryId)) &&
           VornSyncDistantMarks(*this).remove(directoryId, fileName);
}

bool VornSyncDatabase::getFileInfo(QVariantMap& info, const QString& fileName, const QString& directoryValue,
                                   DirectoryField field)
{
    const int directoryId = getDirectoryIdByField(field, directoryValue);
    if (directoryId < 0)
        return false;
    Rows rows;
    if (!executeQuery(rows,
                      QStringLiteral("SELECT size, local_lmd, distant_lmd, status, trashed_date FROM "
                                     "file_tracking WHERE file_name = ? AND directories_id = ?"),
                      fileKey(fileName, directoryId)) ||
        rows.size() != 1)
        return false;
    const QVariantMap& row = rows.first();
    info.insert(QStringLiteral("directoryId"), directoryId);
    info.insert(QStringLiteral("fileName"), fileName);
    info.insert(QStringLiteral("fileSize"), row.value(QStringLiteral("size")));
    info.insert(QStringLiteral("localLmd"), row.value(QStringLiteral("local_lmd")));
    info.insert(QStringLiteral("distantLmd"), row.value(QStringLiteral("distant_lmd")));
    info.insert(QStringLiteral("status"), row.value(QStringLiteral("status")));
    info.insert(QStringLiteral("deletionDate"), row.value(QStringLiteral("trashed_date")));
    return true;
}

// --- The files of one directory -------------------------------------------------------------------------

// A "+" keeps SQLite from walking all rows of the directory, of which few are in the trash or in error.

QStringList VornSyncDatabase::getTrashedFilesOlderThan(int directoryId, const QDateTime& cutoff)
{
    QVariantList values;
    executeQuery(
        values,
        VORN_PLANTED(purgeByFileTime)
            ? QStringLiteral("SELECT file_name FROM file_tracking WHERE directories_id = ? AND (status = ? "
                             "OR status = ?) AND local_lmd < ?")
            : QStringLiteral("SELECT file_name FROM file_tracking WHERE +directories_id = ? AND (status = ? "
                             "OR status = ?) AND trashed_date < ?"),
        {directoryId, int(ceSfsTrashed), int(ceSfsDeleted), bound(VornSyncTimes::toText(cutoff))});
    QStringList names;
    for (const QVariant& value : qAsConst(values))
        names << value.toString();
    return names;
}

QSet<QString> VornSyncDatabase::getActiveFileNames(int directoryId)
{
    QSet<QString> names;
    readActiveFileNames(directoryId, [&names](const QString& name) { names.insert(name); });
    return names;
}

bool VornSyncDatabase::readActiveFileNames(int directoryId, const NameVisitor& visit)
{
    return forEachRow(
        QStringLiteral("SELECT file_name FROM file_tracking WHERE directories_id = ? AND status "
                       "!= ? AND status != ?"),
        {directoryId, int(ceSfsTrashed), int(ceSfsDeleted)},
        [&visit](const QSqlQuery& row) { visit(row.value(0).toString()); });
}

QSet<QString> VornSyncDatabase::getFileNamesByStatus(int directoryId, int status)
{
    QSet<QString> names;
    readFileNames(directoryId, status, [&names](const QString& name) { names.insert(name); });
    return names;
}

bool VornSyncDatabase::readFileNames(int directoryId, int status, const NameVisitor& visit)
{
    return forEachRow(
        QStringLiteral("SELECT file_name FROM file_tracking WHERE directories_id = ? AND status = ?"),
        {directoryId, status}, [&visit](const QSqlQuery& row) { visit(row.value(0).toString()); });
}

QList<QVariantMap> VornSyncDatabase::getFilesByStatusMask(int directoryId, int mask)
{
    QList<QVariantMap> files;
    // Where no up-to-date file is meant, the index of the others leads to the few rows that may be.
    const bool areOthersMeant = (ceSfsUpToDate & mask) == 0;
    forEachRow(areOthersMeant ? QStringLiteral("SELECT file_name, status FROM file_tracking WHERE "
                                               "+directories_id = ? AND (status & ?) != 0 AND status != 17")
                              : QStringLiteral("SELECT file_name, status FROM file_tracking WHERE "
                                               "directories_id = ? AND (status & ?) != 0"),
               {directoryId, mask}, [&](const QSqlQuery& row) {
                   files << QVariantMap{{QStringLiteral("fileName"), row.value(0)},
                                        {QStringLiteral("status"), row.value(1)}};
               });
    return files;
}

QList<QVariantMap> VornSyncDatabase::getFilesByStatus(int directoryId, int status)
{
    QList<QVariantMap> files;
    forEachRow(QStringLiteral("SELECT file_name, size, distant_lmd FROM file_tracking WHERE "
                              "directories_id = ? AND status = ?"),
               {directoryId, status}, [&](const QSqlQuery& row) {
                   files << QVariantMap{{QStringLiteral("fileName"), row.value(0)},
                                        {QStringLiteral("fileSize"), row.value(1)},
                                        {QStringLiteral("distantLmd"), row.value(2)}};
               });
    return files;
}

bool VornSyncDatabase::readDirectoryRows(int directoryId, const RowVisitor& visit,
                                         const std::function<void()>& forget)
{
    m_changes.begin(directoryId);
    const int mostRows = forget ? VornSyncFileRows::kMostRowsAPart : VornSyncFileRows::kOnePart;
    if (readPackedRows(directoryId, mostRows, visit))
        return true;
    if (forget)
        forget();
    return VornSyncFileRows(*this).readOneByOne(directoryId, visit);
}

// In silence: what goes wrong here the other way of reading meets, too. Parts between which somebody wrote are not of one
// moment, and a row could be in two of them.
bool VornSyncDatabase::readPackedRows(int directoryId, int mostRowsAPart, const RowVisitor& visit)
{
    const VornSqliteSilence silence(*this);
    const std::optional<VornSyncRowsStamp> stamp = rowsStamp();
    if (!stamp)
        return false;
    VornSyncPackedParts kept;
    if (m_rowCache.find(directoryId, *stamp, kept)) {
        for (const VornSyncPackedRows& part : qAsConst(kept))
            part.forEach(visit);
        return true;
    }
    int count = 0;
    qint64 bytes = 0;
    const auto visitPart = [&](const VornSyncPackedRows& part) {
        part.forEach(visit);
        ++count;
        bytes += part.byteCount();
        if (bytes <= VornSyncRowCache::kMaximumBytes)
            kept.append(part);
        else
            kept.clear();
    };
    if (!VornSyncFileRows(*this).readPacked(directoryId, mostRowsAPart, visitPart))
        return false;
    if (count > 1 && !(rowsStamp() == stamp))
        return false;
    if (!kept.isEmpty())
        m_rowCache.keep(directoryId, *stamp, kept);
    return true;
}

std::optional<VornSyncRowsStamp> VornSyncDatabase::rowsStamp()
{
    const std::optional<VornSqliteVersion> file = version();
    return file ? std::optional<VornSyncRowsStamp>({*file, m_changes.writeCount()}) : std::nullopt;
}

bool VornSyncDatabase::readFileRow(int directoryId, const QString& fileName, VornSyncFileRow& row,
                                   bool& found)
{
    return VornSyncFileRows(*this).readFile(directoryId, fileName, row, found);
}

bool VornSyncDatabase::isAnyRowChangedSinceRead(int directoryId) const
{
    return m_changes.isAnyChanged(directoryId);
}

bool VornSyncDatabase::isRowChangedSinceRead(int directoryId, const QString& fileName) const
{
    return m_changes.isChanged(directoryId, fileName);
}

void VornSyncDatabase::endChangeTracking()
{
    m_changes.end();
}

// --- Change detection -----------------------------------------------------------------------------------

bool VornSyncDatabase::isLocalFileDifferent(const VornSyncFileRow& row, qint64 size, qint64 lmdSecs)
{
    return row.size != size || VornSyncTimes::differ(row.localLmdSecs, lmdSecs);
}

bool VornSyncDatabase::isLocalFileChanged(int directoryId, const QString& fileName,
                                          const QFileInfo& localFile)
{
    int count = 0;
    VornSyncFileRow tracked;
    if (!forEachRow(QStringLiteral("SELECT size, local_lmd FROM file_tracking WHERE file_name = ? AND "
                                   "directories_id = ?"),
                    fileKey(fileName, directoryId), [&](const QSqlQuery& row) {
                        ++count;
                        tracked.size = row.value(0).toLongLong();
                        tracked.localLmdSecs = VornSyncTimes::secsFromText(row.value(1).toString());
                    }))
        return false;
    return count != 1 ||
           isLocalFileDifferent(tracked, localFile.size(), localFile.lastModified().toSecsSinceEpoch());
}

bool VornSyncDatabase::isFileNeedUpdate(int directoryId, const QString& fileName, const QFileInfo& localFile,
                                        const QFileInfo& distantFile, bool* copyNeeded, bool* succeeded)
{
    set(copyNeeded, false);
    set(succeeded, true);
    const QString subject =
        QStringLiteral("file '%1' in directory %2").arg(fileName, QString::number(directoryId));
    if (!distantFile.exists()) {
        VORN_SYNC_TRACE(kTag, "isFileNeedUpdate", subject + QStringLiteral(" - db + file: No dist file"));
        set(copyNeeded, true);
        return true;
    }
    TrackedFile tracked;
    if (!readTracked(directoryId, fileName, tracked)) {
        set(succeeded, false);
        return false;
    }
    if (tracked.count > 1) {
        emit errorOccurred(duplicateText(directoryId, fileName));
        set(succeeded, false);
        return false;
    }
    if (tracked.count == 1 && tracked.distantLmd == VornSyncTypes::undefinedTimeText() &&
        distantFile.size() == tracked.size && localFile.size() == tracked.size) {
        VORN_SYNC_TRACE(kTag, "isFileNeedUpdate",
                        subject +
                            QStringLiteral(" - Resolving UNDEFINED distant_lmd: sizes match, updating DB "
                                           "with real distant LMD"));
        resolveUndefined(directoryId, fileName, distantFile);
        return false;
    }
    const VornSyncComparison comparison = compare(subject, tracked, localFile, distantFile);
    set(copyNeeded, comparison.isCopyNeeded);
    return comparison.isActionNeeded;
}

VornSyncComparison VornSyncDatabase::compare(const QString& subject, const TrackedFile& tracked,
                                             const QFileInfo& localFile, const QFileInfo& distantFile)
{
    const VornSyncSizeAndTime local{localFile.size(), localFile.lastModified().toSecsSinceEpoch()};
    const VornSyncSizeAndTime distant{distantFile.size(), distantFile.lastModified().toSecsSinceEpoch()};
    if (tracked.count == 0) {
        const VornSyncComparison comparison = VornSyncFileComparison::withoutRow(local, distant);
        VORN_SYNC_TRACE(kTag, "isFileNeedUpdate",
                        QStringLiteral("%1 - db: No db record Size (loc, Dist) = (%2, %3), "
                                       "LMD (loc, Dist) = (%4, %5). %6")
                            .arg(subject, QString::number(local.size), QString::number(distant.size),
                                 lmdText(localFile), lmdText(distantFile), QLatin1String(comparison.reason)));
        return comparison;
    }
    const VornSyncComparison comparison =
        VornSyncFileComparison::withRow(tracked.size, VornSyncTimes::secsFromText(tracked.localLmd),
                                        VornSyncTimes::secsFromText(tracked.distantLmd), local, distant);
    if (comparison.isActionNeeded)
        VORN_SYNC_TRACE(kTag, "isFileNeedUpdate",
                        QStringLiteral("%1 - db + file: Size (loc, db, Dist) = (%2, %3, %4), "
                                       "LMD (loc, dbLoc, dbDist, Dist) = (%5, %6, %7, %8). %9")
                            .arg(subject, QString::number(local.size), QString::number(tracked.size),
                                 QString::number(distant.size), lmdText(localFile), tracked.localLmd,
                                 tracked.distantLmd, lmdText(distantFile), QLatin1String(comparison.reason)));
    return comparison;
}

// The row is read again as part of the change: another thread may have recorded the file since.
void VornSyncDatabase::resolveUndefined(int directoryId, const QString& fileName,
                                        const QFileInfo& distantFile)
{
    change(directoryId, fileName, [&] {
        TrackedFile tracked;
        return readTracked(directoryId, fileName, tracked) && tracked.count == 1 &&
               tracked.distantLmd == VornSyncTypes::undefinedTimeText() &&
               tracked.size == distantFile.size() &&
               executeQuery(QStringLiteral("UPDATE file_tracking SET distant_lmd = ? WHERE file_name = ? AND "
                                           "directories_id = ?"),
                            {bound(lmdText(distantFile)), bound(fileName), directoryId});
    });
}

// --- Repairs --------------------------------------------------------------------------------------------

int VornSyncDatabase::cleanupOrphanedProcessingStates()
{
    QString error;
    const int count = VornSyncRowRepairs(*this, m_changes).resetOrphaned(error);
    if (!error.isEmpty())
        emit errorOccurred(error);
    return count;
}

int VornSyncDatabase::cleanupStaleProcessingStates(const StillActiveTest& stillActive)
{
    return VornSyncRowRepairs(*this, m_changes).resetStale(stillActive);
}

int VornSyncDatabase::cleanupInconsistentTrashedDates()
{
    return VornSyncRowRepairs(*this, m_changes).clearTrashedDates();
}

// --- Counts and the error list --------------------------------------------------------------------------

int VornSyncDatabase::countFilesByStatuses(const QList<int>& statuses)
{
    return m_counters.countByStatuses(statuses);
}

int VornSyncDatabase::countFilesInError(bool* succeeded)
{
    return m_counters.countInError(succeeded);
}

QList<QVariantMap> VornSyncDatabase::getErrorFiles()
{
    QList<QVariantMap> files;
    readErrorFiles([&files](const VornSyncErrorFile& file) {
        files << QVariantMap{{QStringLiteral("fileName"), file.fileName},
                             {QStringLiteral("status"), file.status},
                             {QStringLiteral("errorCode"), file.errorCode},
                             {QStringLiteral("directoryId"), file.directoryId},
                             {QStringLiteral("aliasName"), file.aliasName}};
    });
    return files;
}

bool VornSyncDatabase::readErrorFiles(const ErrorFileVisitor& visit)
{
    return m_counters.readErrorFiles(visit);
}

std::optional<VornSyncKeptCounters> VornSyncDatabase::keptCounters()
{
    return m_counters.kept();
}

// --- Traces ---------------------------------------------------------------------------------------------

void VornSyncDatabase::traceStatus(const char* method, int directoryId, const QString& fileName, int status,
                                   bool done)
{
    VORN_SYNC_TRACE(
        kTag, method,
        QStringLiteral("file: '%1' in directory %2 -> %3 %4")
            .arg(fileName, QString::number(directoryId), VornSyncTypes::statusName(status), doneText(done)));
}

void VornSyncDatabase::traceFile(const char* method, int directoryId, const QString& fileName, bool done)
{
    VORN_SYNC_TRACE(kTag, method,
                    QStringLiteral("file: '%1' in directory %2 %3")
                        .arg(fileName, QString::number(directoryId), doneText(done)));
}

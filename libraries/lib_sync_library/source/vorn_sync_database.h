#pragma once

#include "vorn_sqlite_database.h"
#include "vorn_sync_counters.h"
#include "vorn_sync_row_cache.h"
#include "vorn_sync_row_changes.h"
#include "vorn_sync_row_repairs.h"
#include "vorn_sync_types.h"

#include <QDateTime>
#include <QFileInfo>
#include <QList>
#include <QSet>

#include <atomic>
#include <functional>
#include <optional>

struct VornSyncComparison;

// The state database: directories, tracked files and their states, and all SQL of the library. Lives on the
// host's thread; every method may be called from any thread. errorOccurred is emitted after the statement, its
// locks and its transaction are over, for a driver's error on the host's thread. A method that reads and then
// writes, or writes twice, is one transaction.
//
// Failures come back as false, -1, 0, an empty text or an empty list; the reason goes through errorOccurred.
class VornSyncDatabase : public VornSqliteDatabase
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncDatabase)

public:
    // A text column of the table directories.
    enum DirectoryField { AliasName = 0, LocalPath = 1, DistantPath = 2, TrashPath = 3 };

    using RowVisitor = VornSyncPackedRows::Visitor;
    using NameVisitor = std::function<void(const QString& fileName)>;
    using ErrorFileVisitor = VornSyncCounters::ErrorFileVisitor;
    using StillActiveTest = VornSyncRowRepairs::StillActiveTest;

    explicit VornSyncDatabase(const QString& databasePath);
    ~VornSyncDatabase() override;

    // --- Schema ---

    // Brings any file to the current schema, keeping its rows, in one transaction. False leaves the file as
    // it was.
    bool initialize();
    // An empty file with the full schema.
    bool reset();

    // --- Directories ---

    int addDirectory(const QString& aliasName, const QString& localPath, const QString& distantPath,
                     const QString& trashPath);
    int getDirectoryIdByAlias(const QString& aliasName);
    int getDirectoryIdByField(DirectoryField field, const QString& value);
    int getDirectoryIdByLocalPath(const QString& localPath);
    int getDirectoryIdByDistantPath(const QString& distantPath);
    // `succeeded` is false when the statement failed: an empty text then says nothing.
    QString getDirectoryField(int directoryId, DirectoryField field, bool* succeeded = nullptr);
    QString getDirectoryAlias(int directoryId);
    QString getDirectoryLocalPath(int directoryId);
    QString getDirectoryDistantPath(int directoryId);
    QString getDirectoryTrashPath(int directoryId);
    QList<int> getDirectoryIds(bool availableOnly);
    QStringList getDirectoryLocalPaths(bool availableOnly);
    bool deleteDirectory(int directoryId);
    // Another number after every removal of a directory and every reset: ids and paths that were read before
    // may mean nothing any more, or something else.
    int directoriesVersion() const { return m_directoriesVersion; }
    // How often the file was replaced by an empty one. May be asked from any thread.
    int resetCount() const { return m_resetCount; }
    bool setDirectoryUnavailable(int directoryId);
    bool setDirectoryAvailable(int directoryId);

    // --- One file ---

    int getFileStatus(int directoryId, const QString& fileName, bool* found = nullptr);
    int getFileErrorCode(int directoryId, const QString& fileName, bool* succeeded = nullptr);
    // ceSfsError is added to the status that the row has; any other status is stored as it is, without an
    // error code. A missing row is created.
    bool setFileStatus(int directoryId, const QString& fileName, int status, int errorCode);
    bool clearFileError(int directoryId, const QString& fileName);
    // From a pending status to the one in progress; false, and nothing written, from any other.
    bool updateStatusToProcess(int directoryId, const QString& fileName);
    bool setFileTrashOrDeleted(int directoryId, const QString& fileName, int status);
    bool setFileTrashed(int directoryId, const QString& fileName);
    bool setFileDeleted(int directoryId, const QString& fileName);
    bool unmarkFileTrashed(int directoryId, const QString& fileName);
    bool recordFileSync(int directoryId, const QString& fileName, qint64 size, const QDateTime& localLmd,
                        const QDateTime& distantLmd, bool* existed = nullptr);
    bool renameFile(int directoryId, const QString& oldName, const QString& newName);
    bool removeFileSync(int directoryId, const QString& fileName);
    bool getFileInfo(QVariantMap& info, const QString& fileName, const QString& directoryValue,
                     DirectoryField field);

    // --- One file, if it still is as a decision saw it ---

    // setFileStatus while the row's status is `expectedStatus` (a missing row reads as ceSfsUnknown). False,
    // and nothing written, when it is another.
    bool setFileStatusIf(int directoryId, const QString& fileName, int expectedStatus, int status);
    bool setFileErrorIf(int directoryId, const QString& fileName, int expectedStatus, int errorCode);

    // recordFileSync for a finished copy: a row that was trashed or tombstoned meanwhile stays as it is, and
    // the result is true. Without a valid distant time the row has it UNDEFINED, and the next pass finds it out.
    bool recordCopy(int directoryId, const QString& fileName, qint64 size, const QDateTime& localLmd,
                    const QDateTime& distantLmd);

    // A distant copy that another workstation replaced by a larger one: recordFileSync with the distant size,
    // and a mark that holds the local file as it is. False, and nothing written, when the row is not up to
    // date any more. Any other recording of the file removes the mark, a rename carries it along.
    bool recordDistantGrown(int directoryId, const QString& fileName, qint64 distantSize,
                            const QDateTime& localLmd, const QDateTime& distantLmd, qint64 localSize);

    // renameFile to a name that may hold a tombstone or a trashed row: such a row goes, in the same
    // transaction. Any other row of that name is refused.
    bool renameFileOverTombstone(int directoryId, const QString& oldName, const QString& newName);
    // Removes the row if it is still trashed or tombstoned. False only when the statement failed.
    bool removeTombstone(int directoryId, const QString& fileName);

    // --- The files of one directory ---

    QStringList getTrashedFilesOlderThan(int directoryId, const QDateTime& cutoff);
    QSet<QString> getActiveFileNames(int directoryId);
    // The same, and the names of one status, one by one: a million of them are not held at a time. False when the
    // statement failed.
    bool readActiveFileNames(int directoryId, const NameVisitor& visit);
    bool readFileNames(int directoryId, int status, const NameVisitor& visit);
    QSet<QString> getFileNamesByStatus(int directoryId, int status);
    QList<QVariantMap> getFilesByStatusMask(int directoryId, int mask);
    QList<QVariantMap> getFilesByStatus(int directoryId, int status);

    // All rows of a directory, as they are at one moment. From then on isRowChangedSinceRead tells which of them have
    // been written, by any thread through this object. Not inside a transaction. Many rows are read in parts, which takes
    // less memory: `forget` is called when somebody wrote meanwhile, and all are visited anew. Without it they come as one.
    bool readDirectoryRows(int directoryId, const RowVisitor& visit,
                           const std::function<void()>& forget = nullptr);
    bool readFileRow(int directoryId, const QString& fileName, VornSyncFileRow& row, bool& found);
    // True also for every row of a directory other than the one read last; so is the cheaper question for any row.
    bool isAnyRowChangedSinceRead(int directoryId) const;
    bool isRowChangedSinceRead(int directoryId, const QString& fileName) const;
    // The rows that were read are done with: nothing is kept about changes until the next reading.
    void endChangeTracking();

    // --- Change detection ---

    // True when something must be done for the file; `copyNeeded`: when it must be copied. `succeeded` is
    // false when the row could not be read or is not the only one of its key: the result is then false too.
    bool isFileNeedUpdate(int directoryId, const QString& fileName, const QFileInfo& localFile,
                          const QFileInfo& distantFile, bool* copyNeeded = nullptr,
                          bool* succeeded = nullptr);
    bool isLocalFileChanged(int directoryId, const QString& fileName, const QFileInfo& localFile);
    // The comparison behind isLocalFileChanged: another size, or another time beyond the tolerance.
    static bool isLocalFileDifferent(const VornSyncFileRow& row, qint64 size, qint64 lmdSecs);

    // --- Repairs, counts, error list ---

    int cleanupOrphanedProcessingStates();
    // `stillActive` is asked for every stale row in progress, while no lock and no transaction is held.
    int cleanupStaleProcessingStates(const StillActiveTest& stillActive);
    int cleanupInconsistentTrashedDates();
    int countFilesByStatuses(const QList<int>& statuses);
    int countFilesInError(bool* succeeded = nullptr);
    QList<QVariantMap> getErrorFiles();
    // The same, row by row. False when the statement failed.
    bool readErrorFiles(const ErrorFileVisitor& visit);
    // What the file itself keeps of all this, read in microseconds whatever the number of rows; nothing when it does
    // not, or can't be asked.
    std::optional<VornSyncKeptCounters> keptCounters();

public slots:
    void sltDatabaseErrorOccurred(const QString& connectionName, const QString& message);

signals:
    void errorOccurred(const QString& message);

private:
    struct TrackedFile; // what recordFileSync and isFileNeedUpdate read of a row
    enum class Recorded { Yes, No, Unwanted };

    // Runs `write` as one transaction, which is undone when it gives false, and notes the row as changed.
    bool change(int directoryId, const QString& fileName, const std::function<bool()>& write);
    bool readTracked(int directoryId, const QString& fileName, TrackedFile& tracked);
    bool readPackedRows(int directoryId, int mostRowsAPart, const RowVisitor& visit);
    std::optional<VornSyncRowsStamp> rowsStamp();

    // What is inside a transaction.
    bool writeSync(int directoryId, const QString& fileName, const TrackedFile& recorded, bool& existed);
    bool writeRename(int directoryId, const QString& oldName, const QString& newName);
    bool writeTombstoneRemoval(int directoryId, const QString& fileName);

    bool writeStatusIf(const char* method, int directoryId, const QString& fileName, int expectedStatus,
                       int status, int errorCode);
    // `isWanted` may refuse the status that the row has; `mark` is part of the recording.
    Recorded record(int directoryId, const QString& fileName, const TrackedFile& recorded, bool* existed,
                    const std::function<bool(int status)>& isWanted, const std::function<bool()>& mark);
    VornSyncComparison compare(const QString& subject, const TrackedFile& tracked, const QFileInfo& localFile,
                               const QFileInfo& distantFile);
    void resolveUndefined(int directoryId, const QString& fileName, const QFileInfo& distantFile);

    void traceStatus(const char* method, int directoryId, const QString& fileName, int status, bool done);
    void traceFile(const char* method, int directoryId, const QString& fileName, bool done);

    VornSyncRowChanges m_changes;
    VornSyncRowCache m_rowCache;
    VornSyncCounters m_counters{*this};
    std::atomic<int> m_directoriesVersion{0};
    std::atomic<int> m_resetCount{0};
};

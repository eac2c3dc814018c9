#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#if defined(VORN_SYNC_LIBRARY)
#define VORN_SYNC_EXPORT Q_DECL_EXPORT
#else
#define VORN_SYNC_EXPORT Q_DECL_IMPORT
#endif

class VornSyncManagerPrivate;

/*!
 * Keeps local directories mirrored to "distant" ones, typically on a network share.
 *
 * A host application creates one manager per state database, registers directory pairs under alias names
 * with addDirectory(), and from then on listens to the signals. Work is found by a periodic cycle, when a
 * pair becomes available, and through the host's own notifications (notifyLocalFileChanged() and its
 * siblings). Only the plain files directly in a local directory are mirrored; hidden files, deeper levels
 * and names that match an exclusion pattern are not, except for the directory that travels with a file
 * ("report" beside "report.doc").
 *
 * Thread: every member must be called on the thread that owns the manager, which needs a running event
 * loop (QCoreApplication::exec()). All signals are emitted on that thread. The file operations themselves
 * run on three threads of the manager's own; no member waits for them except the destructor (6 s at most)
 * and resetSyncDatabase() (as long as its argument says). addDirectory() and requestFileReady() look at the
 * distant side themselves: a share that is slow to answer holds them up. A member that changes the state
 * waits for its turn to write, some seconds at worst; a wipe waits for every statement under way.
 *
 * Errors: nothing throws. A member reports failure by its result and, where this page says so, by
 * errorOccurred() with a text that begins with "ERROR: " or "Warning: ". A slot may call back into the
 * manager from any signal, and may deleteLater() it.
 *
 * Ownership: the manager belongs to its parent or to whoever created it. Destroying it stops the threads;
 * operations that were still waiting are found again at the next start. No signal follows destruction.
 *
 * Names: an alias names a pair, a file name is the bare name of a file in the pair's directories (never a
 * path). Members that take a file name refuse one that is empty, "." or "..", or holds a "/" or a NUL, with
 * errorOccurred("ERROR: Invalid file name: '<name>' for alias: '<alias>'."); an unknown alias is only
 * traced and otherwise ignored.
 */
class VORN_SYNC_EXPORT VornSyncManager : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncManager)

    //! File operations (copies, moves, renames) that have started and not yet ended; 0 or more. Fewer than
    //! really run after a wipe, which sets it to 0, and after the copy of a file-ready request (see
    //! syncCompleted()).
    Q_PROPERTY(int inProgressCount READ inProgressCount NOTIFY countersChanged)
    //! Files that wait for an operation.
    Q_PROPERTY(int pendingCount READ pendingCount NOTIFY countersChanged)
    //! Files in error; each has an entry in errorFiles.
    Q_PROPERTY(int errorCount READ errorCount NOTIFY countersChanged)
    //! Files whose local and distant copies agree.
    Q_PROPERTY(int doneCount READ doneCount NOTIFY countersChanged)
    //! The last five operations, newest first. Each entry is a map: "filePath" (full path), "fileName" (its
    //! last component), "action" ("sync"), "succeeded" (bool), "timestamp" (local time, ISO 8601 text).
    Q_PROPERTY(QVariantList recentEvents READ recentEvents NOTIFY recentEventsChanged)
    //! The files in error, by alias name and then file name. Each entry is a map: "aliasName", "fileName",
    //! "errorCode" (see errorCodeMessage()), "status" (the raw status number).
    Q_PROPERTY(QVariantList errorFiles READ errorFiles NOTIFY countersChanged)

public:
    /*!
     * Opens (or creates) the state database, repairs what a crashed run left, starts the three threads.
     *
     * \param databasePath       SQLite file that holds the state; its directory must exist and be writable.
     *                           One manager per file at a time.
     * \param trashRootPath      directory below which each alias gets its trash directory (created by
     *                           addDirectory()).
     * \param syncIntervalMs     period of the cycle, in milliseconds; above 0. Every sixth cycle spends a
     *                           fifth of it (100 ms at least) on verifying files that are up to date.
     * \param exclusionPatterns  wildcards ("*", "?", "[...]") that a whole file name is compared with,
     *                           without regard to case; a matching file is not mirrored, unless
     *                           notifyLocalFileChanged() names it. While a file whose name begins with
     *                           another one's matches ("data.db-wal"), that other one is not sent. An
     *                           invalid pattern is dropped with a warning.
     * \param parent             owner, on the same thread; may be null.
     *
     * Never fails. A database that can't be used is reported: the manager then exists, every operation on it
     * fails cleanly, and wipeSyncDatabaseFile() brings a working empty one. Errors raised during construction
     * arrive as errorOccurred() from the event loop, so that a host that connects right after construction
     * misses none. The counters are right when the constructor returns.
     */
    VornSyncManager(const QString& databasePath, const QString& trashRootPath, int syncIntervalMs,
                    const QStringList& exclusionPatterns, QObject* parent = nullptr);

    /*!
     * Stops the worker, the synchronizer and the observer thread, in that order, and waits 2000 ms at most
     * for each. One that does not stop in time (a copy of many gigabytes, a share that hangs) is reported
     * through errorOccurred() ("ERROR: Failed to stop worker thread", "... synchronizer thread",
     * "... observer thread") and ends by itself later, without touching the manager again. A process that
     * is about to end should give it the time.
     */
    ~VornSyncManager() override;

    /*!
     * Registers a pair under an alias, or gives a registered one new distant and trash paths, and starts to
     * mirror it 100 ms later if its distant directory is there. Its trash directory is created.
     *
     * \param aliasName    the pair's name; it also names its trash directory, so it must be a name that stays
     *                     below the trash root.
     * \param localPath    absolute path of an existing directory. One local path belongs to one alias.
     * \param distantPath  absolute path of the mirror; it may be missing now.
     * \return true when the pair is registered; also when the distant directory is missing: then
     *         errorOccurred("Warning: Given distant path ...") is emitted and the pair stays suspended until
     *         setDirectoryAvailability(). False, with an errorOccurred() text that names the reason, when the
     *         local directory is missing, the alias can't name a trash directory, two of the three
     *         directories are the same place, the trash directory can't be created or the database refuses
     *         the pair. An alias that is known with another local path keeps its record unchanged: true.
     */
    bool addDirectory(const QString& aliasName, const QString& localPath, const QString& distantPath);

    /*!
     * Forgets a pair and the state of all its files; no file is touched on either side.
     * \return false for an unknown alias ("Warning: Directory not found in database ...") or a database
     *         failure, both through errorOccurred().
     */
    bool delDirectory(const QString& aliasName);

    /*!
     * Tells the manager that a pair's distant side has come (true: watched and mirrored, from 100 ms after
     * the last such call on) or gone (false: suspended at once). Several pairs start 100 ms apart, in the
     * order of the calls. An unknown alias is ignored.
     */
    void setDirectoryAvailability(const QString& aliasName, bool available);

    //! True when a pair is registered under that alias, available or not.
    bool isAliasDirectorySynchronised(const QString& aliasName) const;
    //! True when that path, written as it was registered, is the local side of a pair, available or not.
    bool isLocalDirectorySynchronised(const QString& localPath) const;
    //! The alias of the pair with that local path; a null string when there is none.
    QString getLocalDirSynchronizedAlias(const QString& localPath) const;

    //! Suspends every registered pair and stops the periodic cycle; operations already handed out end
    //! normally. What the host asks for file by file is done nevertheless, and addDirectory() and
    //! setDirectoryAvailability() start their pair. Ignored while paused.
    void pauseAll();
    //! Undoes pauseAll(): restarts the cycle and every pair that was registered then, also those that were
    //! suspended before. Ignored while not paused.
    void resumeAll();
    //! True between pauseAll() and resumeAll().
    bool isPausedAll() const;

    //! True when no file operation runs and no file-ready request is outstanding.
    bool isIdle() const;

    //! \name Property getters; they never touch the database.
    //! \{

    int inProgressCount() const;       //!< The value of the property of the same name.
    int pendingCount() const;          //!< The value of the property of the same name.
    int errorCount() const;            //!< The value of the property of the same name.
    int doneCount() const;             //!< The value of the property of the same name.
    QVariantList recentEvents() const; //!< The value of the property of the same name.
    QVariantList errorFiles() const;   //!< The value of the property of the same name.
    //! \}

    /*!
     * Empties the state like wipeSyncDatabaseFile(), but in order: pauses all, lets running operations end,
     * wipes, and resumes unless all was paused before. The calling thread's events are processed meanwhile,
     * so slots run inside this call, and one of them may delete the manager: the result is then false.
     *
     * \param timeoutMs  how long to wait for running operations, in milliseconds; 0 or less: not at all. The
     *                   wipe follows in any case.
     * \return true when the new empty database is usable.
     */
    bool resetSyncDatabase(int timeoutMs);

    /*!
     * Deletes the state database file and creates it again, empty: no pair is registered afterwards, the
     * counters are 0, the recent events are gone. No mirrored file is touched. Registering the same pairs
     * again makes them known from what is on the disk. A request for a file that has not begun yet is void.
     * \return true when the new database is usable; the state in memory is cleared in any case.
     */
    bool wipeSyncDatabaseFile();

    /*!
     * Asks for the path under which to open a file of a distant directory: the answer is one fileReady().
     * The local copy is used where it is current; when only the distant copy exists, or another workstation
     * has written a newer one, it is copied to the local directory first. Answered before this call returns
     * unless a copy is needed, otherwise when the copy ends, 15 s after the call at most. Requests that need
     * a copy are served one after the other.
     *
     * \param filePath  the file's path on the distant side. A path in no registered distant directory is
     *                  answered with itself and whether a file exists there.
     */
    void requestFileReady(const QString& filePath);

    //! \name User decisions on files in error and notifications (invokable by name)
    //! \{

    //! Takes up a file in error again. What happens depends on its error code: an acknowledge-only one is
    //! confirmed as deleted, a restore-or-delete one is sent again from the local copy, any other is retried.
    //! A file that is not in error is left alone.
    Q_INVOKABLE void retrySync(const QString& aliasName, const QString& fileName);
    //! retrySync() for every entry of errorFiles that is not acknowledge-only.
    Q_INVOKABLE void retryAllErrors();
    //! Confirms the deletion of every entry of errorFiles that is acknowledge-only.
    Q_INVOKABLE void acknowledgeAllMissing();
    //! Moves the local copy of every restore-or-delete entry of errorFiles to the trash.
    Q_INVOKABLE void deleteAllDistantMissing();

    //! The sentence for an error code (0 to 15) from the host's translation catalogue: translation ids
    //! "VornSyncDatabase_error_none" to "VornSyncDatabase_error_distant_file_missing". Without a catalogue
    //! the id itself; empty for any other number.
    Q_INVOKABLE QString errorCodeMessage(int code) const;
    //! True for code 2 alone: the local file is gone, the user can only take note.
    Q_INVOKABLE bool isAcknowledgeOnly(int code) const;
    //! True for code 15 alone: the distant file is gone, the user restores it or deletes the local one.
    Q_INVOKABLE bool isRestoreOrDelete(int code) const;

    //! Moves a file and its associated directory to the pair's trash directory; the distant copy stays. Left
    //! alone while an operation or a rename has the file.
    Q_INVOKABLE void moveToTrashFile(const QString& aliasName, const QString& fileName);

    //! Locks both names for a rename that the host is about to do in the local directory; while locked no
    //! pass touches either. True: rename the local file, then call commitRename(), or abortRename() if it
    //! failed. False: an operation on the file runs, another rename has one of the names, the names are
    //! unusable, the alias is unknown, or the manager was created this very moment and its synchronizer has
    //! not begun yet; try again later.
    Q_INVOKABLE bool lockForRename(const QString& aliasName, const QString& oldFileName,
                                   const QString& newFileName);
    //! The locked rename was done locally: carries it to the distant side, over a file of the new name, and
    //! releases the lock when that has ended. It is an operation like any other, with syncStarted() and
    //! syncCompleted(); where there is no distant file, nothing tells of it.
    Q_INVOKABLE void commitRename(const QString& aliasName, const QString& oldFileName,
                                  const QString& newFileName);
    //! The locked rename was not done: releases the lock.
    Q_INVOKABLE void abortRename(const QString& aliasName, const QString& oldFileName,
                                 const QString& newFileName);

    //! The host has written or created a local file: it is sent at once, also that of a suspended pair. One
    //! that an operation or a rename has is sent afterwards. Call it once a file has been closed, and in
    //! batches: arrivals less than 200 ms apart hold back the start of the first copy.
    Q_INVOKABLE void notifyLocalFileChanged(const QString& aliasName, const QString& fileName);
    //! The host has deleted a local file: the distant copy goes too.
    Q_INVOKABLE void notifyLocalFileDeleted(const QString& aliasName, const QString& fileName);
    //! The host has deleted a local file and the distant copy shall stay: the file is no longer mirrored
    //! until it appears locally again.
    Q_INVOKABLE void tombstoneLocalFile(const QString& aliasName, const QString& fileName);
    //! \}

public slots:
    //! Asks for a cycle over all available pairs now. Ignored while paused, and left out, as every cycle,
    //! while ten or more operations are under way.
    void requestSync();

signals:
    //! Answer to requestFileReady(): the path to open, and whether there is a file to open.
    void fileReady(const QString& resolvedPath, bool found);
    //! An operation on a file was handed out; `filePath` is the full path of its source.
    void syncStarted(const QString& filePath);
    //! That operation has ended. This is sent once: a run that fails is tried again up to four times first,
    //! which takes some ten seconds. After a failure the file is in errorFiles, unless it was deleted or its
    //! pair removed meanwhile.
    //! The copy of a file-ready request, which has no syncStarted(), ends with its distant path and false,
    //! whatever became of it; fileReady() tells.
    void syncCompleted(const QString& filePath, bool succeeded);
    //! Anything that went wrong, in a text for a log or a status line.
    void errorOccurred(const QString& message);
    //! inProgressCount has left 0 (false) or returned to 0 (true). It follows the operations alone; isIdle()
    //! also looks at file-ready requests.
    void idleChanged(bool idle);
    //! The four counters or errorFiles were refreshed; also sent when all values are as before.
    void countersChanged();
    //! recentEvents has changed.
    void recentEventsChanged();

private:
    friend struct VornSyncManagerTestAccess;

    VornSyncManagerPrivate* d = nullptr; // owned
};

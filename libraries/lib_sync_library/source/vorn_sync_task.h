#pragma once

#include "vorn_sync_files.h"
#include "vorn_sync_types.h"

#include <QElapsedTimer>
#include <QMetaType>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

#include <optional>

class VornSyncTask;

// The only form in which tasks travel between threads. The last holder's release deletes the task.
using pVornSyncTask = QSharedPointer<VornSyncTask>;

// One file operation: a copy, a move, a move back or a rename, with the associated directory where there is
// one. It touches the file system only. Created on the thread that wants the operation, run on the worker
// thread; nobody else touches it between the hand-over and the worker's taskDone.
class VornSyncTask : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornSyncTask)

public:
    explicit VornSyncTask(QObject* parent);

    // Null when `source` does not exist, for every operation; the caller decides how to report that.
    static pVornSyncTask create(const QString& source, const QString& destination, SyncOperation operation);

    // Makes pVornSyncTask known to queued connections under that name. May be called any number of times.
    static void registerMetaType();

    // Runs the operation once. A further run keeps the messages of the earlier ones.
    virtual bool runtask();

    QString sourcePath() const { return m_sourcePath; }
    QString destinationPath() const { return m_destinationPath; }
    SyncOperation operation() const { return m_operation; }
    SyncErrorCode errorCode() const { return m_errorCode; }       // of the most recent failure
    QStringList errorMessages() const { return m_errorMessages; } // of every run, in order of occurrence
    QString lastErrorMessage() const;

    // The file the synchronizer dispatched the task for; the id is -1 on a task that it did not dispatch.
    void setDispatch(int directoryId, const QString& fileName);
    int directoryId() const { return m_directoryId; }
    QString fileName() const { return m_fileName; }

    // For a copy into a local directory: the destination as the creator saw it when it decided to replace it. A
    // run that finds it changed leaves it alone and fails: whoever changed it did not know.
    void setExpectedDestination(const VornSyncFileFacts& facts) { m_expectedDestination = facts; }

    int runCount() const { return m_runCount; } // runs begun

    // The source as it was when the last run began; the size is -1 when it could not be read.
    qint64 sourceSizeAtStart() const { return m_sourceSizeAtStart; }
    qint64 sourceLmdSecsAtStart() const { return m_sourceLmdSecsAtStart; }
    qint64 sourceLmdNanosecsAtStart() const { return m_sourceLmdNanosecsAtStart; }

    // What the last run has put in its place: the copy as it was when its size was checked. Nothing for a copy to a fresh
    // name, which is not checked.
    const std::optional<VornSyncFileFacts>& checkedCopy() const { return m_checkedCopy; }

signals:
    void errorOccurred(const QString& message);

protected:
    void setOperation(const QString& source, const QString& destination, SyncOperation operation);

    // What every run begins with: counts it and remembers the source as it is now.
    void beginRun();

    // The clock behind every phase time, in milliseconds. Read at the start and at the end of each phase,
    // nowhere else: a test that overrides it says how long each phase took.
    virtual qint64 nowMs() const;

private:
    bool runOperation();
    bool runCopy();
    bool isDestinationAsExpected(const QString& destination);
    bool runMove();
    bool runMoveBack();
    bool doRename();

    bool checkFilePath(const QString& path);
    bool runSecuredCopy(const QString& source, const QString& destination, SyncErrorCode overrideCode);
    bool isDestinationUsable(const QString& destination, VornSyncPresence presence,
                             SyncErrorCode overrideCode);
    bool copyFile(const QString& source, const QString& workingPath, SyncErrorCode overrideCode);
    bool isCopyComplete(const QString& source, const QString& workingPath, SyncErrorCode overrideCode,
                        VornSyncFileFacts& copy);
    bool mayRemove(const QString& original, const QString& copy, SyncErrorCode code);
    void recordSizeMismatch(const QString& source, const QString& sourceSize, const QString& copySize,
                            SyncErrorCode code);
    bool putInPlace(const QString& workingPath, const QString& destination, SyncErrorCode overrideCode);
    bool removeExisting(const QString& destination, SyncErrorCode overrideCode);

    bool handleAssociatedDirectory(const QString& source, const QString& destination);
    bool carryEntries(const QString& sourceDirectory, const QString& destinationDirectory, int& entryCount);
    bool carryFile(const QString& source, const QString& destination);
    bool copyCompanion(const QString& source, const QString& destination);
    bool carrySubdirectory(const QString& source, const QString& destination);
    bool removeCarried(const QString& sourceDirectory);

    bool isRenameTargetInTheWay() const;
    bool removeRenameTarget();

    void recordError(const QString& message, SyncErrorCode code);

    QString m_sourcePath;
    QString m_destinationPath;
    SyncOperation m_operation = ceStoCopy;
    QStringList m_errorMessages;
    SyncErrorCode m_errorCode = ceSecNone;

    int m_directoryId = VornSyncTypes::kNoDirectoryId;
    QString m_fileName;
    int m_runCount = 0;
    qint64 m_sourceSizeAtStart = -1;
    qint64 m_sourceLmdSecsAtStart = 0;
    qint64 m_sourceLmdNanosecsAtStart = 0;
    QElapsedTimer m_clock;
    // What this run has copied of the source's associated directory: a move removes that and no more.
    QStringList m_carriedFiles;
    QStringList m_carriedDirectories;
    std::optional<VornSyncFileFacts> m_expectedDestination;
    std::optional<VornSyncFileFacts> m_checkedCopy;
};

Q_DECLARE_METATYPE(pVornSyncTask)

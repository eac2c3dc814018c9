#pragma once

#include "vorn_sync_files.h"
#include "vorn_sync_types.h"

#include <QString>

class VornSyncDatabase;

// What a cycle, or the user's wish to try again, makes of one file in error. Used on the synchronizer's thread;
// lives for one file.
class VornSyncErrorResolution
{
    Q_DISABLE_COPY_MOVE(VornSyncErrorResolution)

public:
    enum class Retry { None, Copy, MoveToTrash, RestoreFromTrash };

    VornSyncErrorResolution(VornSyncDatabase& database, int directoryId, const QString& fileName,
                            int rawStatus);

    // A distant copy that shrank may be all that is left of somebody's work: only the user sends over it. True
    // too for a reason that can't be read, which may be this one.
    bool isShrunkDistant() const;

    // False when the error is the user's to decide on, or no disk gives a certain answer.
    bool examine(const QString& localDir, const QString& trashDir);
    // After examine(). Takes the error off the row, and the row away where its file is gone. False when it was
    // not as the decision saw it: the host may have settled the file meanwhile, and its word holds.
    bool clear();
    // The file of the failed operation is gone, and its row with it.
    bool isRowObsolete() const { return m_presence == VornSyncPresence::Absent; }
    // What to begin again once the error is cleared.
    Retry retry() const;

private:
    VornSyncPresence presence(const QString& localDir, const QString& trashDir) const;
    void traceSkip(const char* method, const char* reason) const;

    VornSyncDatabase& m_database;
    const int m_directoryId;
    const QString m_fileName;
    const int m_base;
    int m_code = ceSecNone;
    VornSyncPresence m_presence = VornSyncPresence::Unknown;
};

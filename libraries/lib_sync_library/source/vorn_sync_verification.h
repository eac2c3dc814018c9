#pragma once

#include "vorn_sync_files.h"

#include <QString>

class VornSyncDatabase;
class VornSyncObservations;
class VornSyncRenameLocks;

// Compares one up-to-date file with both sides, and puts on record what it finds. Used on the synchronizer's
// thread; lives for one file.
class VornSyncVerification
{
    Q_DISABLE_COPY_MOVE(VornSyncVerification)

public:
    VornSyncVerification(VornSyncDatabase& database, VornSyncObservations& observations,
                         const VornSyncRenameLocks& renames, int directoryId, const QString& fileName,
                         qint64 dbSize);

    // True when the row's status may have changed.
    bool verify(const QString& localPath, const QString& distantPath);
    // False when the disk or the database did not say enough to tell how the file stands.
    bool isAnswered() const { return m_isAnswered; }

private:
    bool observeDistantMissing();
    bool compareSizes(const VornSyncFileFacts& local, const VornSyncFileFacts& distant);
    bool putInError(int errorCode);
    void trace(const QString& text) const;
    void traceSize(const char* what, const char* side, qint64 size, const char* outcome) const;

    VornSyncDatabase& m_database;
    VornSyncObservations& m_observations;
    const VornSyncRenameLocks& m_renames;
    const int m_directoryId;
    const QString m_fileName;
    const qint64 m_dbSize;
    bool m_isAnswered = false;
};

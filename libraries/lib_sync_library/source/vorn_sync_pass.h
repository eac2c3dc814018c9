#pragma once

#include "vorn_sync_database.h"
#include "vorn_sync_directory_listing.h"
#include "vorn_sync_file_decision.h"

#include <QHash>
#include <QSet>
#include <QStringList>
#include <QVector>

class VornSyncExclusions;

// What one pass over a directory knows: its rows, read in one statement, and one listing of each side. A row
// that is written while the pass runs is read again before it is decided on. Lives for one pass, on the
// synchronizer's thread.
class VornSyncPass
{
    Q_DISABLE_COPY_MOVE(VornSyncPass)

public:
    VornSyncPass(VornSyncDatabase& database, int directoryId, const QString& localPath,
                 const QString& distantPath, const QSet<QString>& renaming);
    ~VornSyncPass();

    // False when nothing may be decided: the rows can't be read, the local listing was cut short, or the
    // thread is to stop. `error`: what to tell the user, if anything.
    bool gather(QString& error);

    int directoryId() const { return m_directoryId; }
    const VornSyncDirectoryListing& local() const { return m_local; }
    bool isDistantAccessible() const { return m_distant.isComplete(); }
    const QVector<VornSyncFileRow>& rows() const { return m_rows; }
    // "trackedFiles=%1, distantFiles=%2, localFiles=%3, distantAccessible=%4", filled in.
    QString summary() const;
    // As the row was when the pass began.
    bool wasUpToDate(const QString& fileName) const;

    // Everything about one file that a decision asks for, as it is now.
    VornSyncPassFile file(const QString& fileName);

    // Whether a sibling says that the file is being written; one listing serves all files of the pass.
    bool isInDirectory(const QString& localFilePath) const;
    bool hasActiveSideCar(const QString& fileName, const VornSyncExclusions& exclusions);

private:
    void readRow(VornSyncPassFile& file) const;
    VornSyncFileFacts localFacts(const VornSyncPassFile& file);

    VornSyncDatabase& m_database;
    const int m_directoryId;
    const QString m_localPath;
    const QString m_distantPath;
    const QSet<QString> m_renaming; // locked when the pass began

    VornSyncDirectoryListing m_local;
    VornSyncDirectoryListing m_distant;
    QVector<VornSyncFileRow> m_rows;
    QHash<QString, int> m_rowIndexes;
    QHash<QString, VornSyncFileFacts> m_localFacts; // each local file is asked for once
    QStringList m_excludedNames;
    bool m_hasExcludedNames = false; // they are looked for when the first side-car test asks
};

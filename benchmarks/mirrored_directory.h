#pragma once

#include <QString>

class VornSyncDatabase;

// A flat directory of N small files that is already mirrored: local and distant side, and a state database that
// knows all of it. What the benchmarks measure on.
class MirroredDirectory
{
public:
    // Below `root`: "local", "distant", "trash" and "state.db". Made when it is not there yet.
    MirroredDirectory(const QString& root, int fileCount);

    QString localPath() const { return m_root + QStringLiteral("/local"); }
    QString distantPath() const { return m_root + QStringLiteral("/distant"); }
    QString trashRoot() const { return m_root + QStringLiteral("/trash"); }
    QString databasePath() const { return m_root + QStringLiteral("/state.db"); }
    static QString alias() { return QStringLiteral("bench"); }

    // Puts one in `oneIn` of the rows into another status, so that counts have something to count.
    static bool scatterStatuses(VornSyncDatabase& database, int directoryId, int fileCount, int oneIn);
    static QString fileName(int index);

private:
    void makeFiles(int fileCount) const;
    void recordFiles(int fileCount) const;

    const QString m_root;
};

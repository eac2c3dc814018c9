#pragma once

#include <QString>
#include <QVariant>
#include <QVector>

class VornSqliteDatabase;
class VornSqliteTransaction;

// Brings a state database of any generation to the current schema, in one transaction. Made for one run, on
// the thread that calls it.
class VornSyncMigration
{
public:
    explicit VornSyncMigration(VornSqliteDatabase& database)
        : m_database(database)
    {
    }

    // False leaves the file as it was.
    bool run();

private:
    struct SavedDirectory
    {
        QVariant id, aliasName, localPath, distantPath, trashPath, available;
    };
    struct SavedFile
    {
        QVariant fileName, directoryId, size, lastSync, status, deletionDate;
    };

    void recogniseGeneration();
    void takeOldTables();
    void readOldFiles();
    void readOldDirectories();
    bool hasTable(const char* name);

    bool createTables();
    void writeVersion();
    bool hasColumn(const char* name);
    void addErrorCode();
    bool addStatusChangedAt();

    void restoreDirectories(const VornSqliteTransaction& transaction);
    void restoreFiles(const VornSqliteTransaction& transaction);
    bool restoreFile(const SavedFile& file);
    const SavedDirectory* directoryOf(const SavedFile& file) const;

    VornSqliteDatabase& m_database;
    bool m_isUpgradePending = false; // of a file before version 3
    QVector<SavedDirectory> m_directories;
    QVector<SavedFile> m_files;
};

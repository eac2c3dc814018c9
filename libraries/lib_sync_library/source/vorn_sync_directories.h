#pragma once

#include "vorn_sync_database.h"

// The rows of the table directories. Holds no state; used by the thread that runs the operation.
class VornSyncDirectories
{
public:
    using Field = VornSyncDatabase::DirectoryField;

    explicit VornSyncDirectories(VornSqliteDatabase& database)
        : m_database(database)
    {
    }

    // To be called inside a transaction. The id of the directory of that alias and local path, which gets the other
    // two; of the alias alone when the two belong to different directories; kNoDirectoryId when nothing could be written.
    int add(const QString& aliasName, const QString& localPath, const QString& distantPath,
            const QString& trashPath);
    // kNoDirectoryId unless exactly one directory has it.
    int idOf(Field field, const QString& value);
    // False when the statement failed: an empty text then says nothing.
    bool readField(int directoryId, Field field, QString& text);
    QList<int> ids(bool availableOnly);
    QStringList localPaths(bool availableOnly);
    // With the rows of its files.
    bool remove(int directoryId);
    bool setAvailable(int directoryId, bool isAvailable);

private:
    void writePaths(int directoryId, const QString& distantPath, const QString& trashPath);

    VornSqliteDatabase& m_database;
};

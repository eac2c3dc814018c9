#pragma once

#include <QFile>
#include <QStorageInfo>
#include <QString>

namespace VornSyncTest {

// A file of zeros that takes no room, and whose copy does.
inline bool makeSparse(const QString& path, qint64 bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.resize(bytes);
}

// What a mounted file system holds. An unfinished copy has no name where the file system knows such files, so
// this alone tells that one runs.
inline qint64 bytesIn(const QString& mountPoint)
{
    const QStorageInfo storage(mountPoint);
    return storage.bytesTotal() - storage.bytesAvailable();
}

} // namespace VornSyncTest

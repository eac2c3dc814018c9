#include "mirrored_directory.h"

#include "vorn_sqlite_transaction.h"
#include "vorn_sync_database.h"
#include "vorn_sync_directory_listing.h"
#include "vorn_sync_files.h"
#include "vorn_sync_times.h"

#include <QDir>
#include <QFile>

namespace {

constexpr int kFileBytes = 1024;
constexpr int kRowsPerTransaction = 10000;

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("can't write %s", qPrintable(path));
}

} // namespace

MirroredDirectory::MirroredDirectory(const QString& root, int fileCount)
    : m_root(root)
{
    const QString done = m_root + QStringLiteral("/complete");
    if (QFile::exists(done))
        return;
    makeFiles(fileCount);
    recordFiles(fileCount);
    writeFile(done, QByteArray());
}

QString MirroredDirectory::fileName(int index)
{
    return QStringLiteral("file_%1.dat").arg(index, 7, 10, QLatin1Char('0'));
}

void MirroredDirectory::makeFiles(int fileCount) const
{
    QDir().mkpath(localPath());
    QDir().mkpath(distantPath());
    QDir().mkpath(trashRoot());
    const QByteArray content(kFileBytes, 'x');
    for (int i = 0; i < fileCount; ++i) {
        writeFile(localPath() + QLatin1Char('/') + fileName(i), content);
        writeFile(distantPath() + QLatin1Char('/') + fileName(i), content);
    }
}

void MirroredDirectory::recordFiles(int fileCount) const
{
    VornSyncDatabase database(databasePath());
    if (!database.initialize())
        qFatal("can't create %s", qPrintable(databasePath()));
    const int id =
        database.addDirectory(alias(), localPath(), distantPath(), trashRoot() + QLatin1Char('/') + alias());
    database.setDirectoryAvailable(id);
    // In the order in which a first pass meets the files, which is the order its rows would have.
    QStringList names;
    VornSyncDirectoryListing::read(localPath(), [&names](const auto& entry) {
        names.append(QString::fromUtf8(entry.name.data(), int(entry.name.size())));
    });
    for (int begin = 0; begin < fileCount; begin += kRowsPerTransaction) {
        VornSqliteTransaction transaction(database);
        for (int i = begin; i < qMin(fileCount, begin + kRowsPerTransaction); ++i) {
            const QString& name = names.at(i);
            const auto local = VornSyncFiles::facts(localPath() + QLatin1Char('/') + name);
            const auto distant = VornSyncFiles::facts(distantPath() + QLatin1Char('/') + name);
            database.recordFileSync(id, name, local.size, VornSyncTimes::fromSecs(local.lmdSecs),
                                    VornSyncTimes::fromSecs(distant.lmdSecs));
        }
        if (!transaction.commit())
            qFatal("can't record the files");
    }
}

bool MirroredDirectory::scatterStatuses(VornSyncDatabase& database, int directoryId, int fileCount, int oneIn)
{
    VornSqliteTransaction transaction(database);
    for (int i = 0; i < fileCount; i += oneIn)
        database.setFileStatus(directoryId, fileName(i), ceSfsPendingSync, ceSecNone);
    return transaction.commit();
}

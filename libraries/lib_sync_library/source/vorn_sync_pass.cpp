#include "vorn_sync_pass.h"

#include "vorn_sync_exclusions.h"

#include <QThread>

VornSyncPass::VornSyncPass(VornSyncDatabase& database, int directoryId, const QString& localPath,
                           const QString& distantPath, const QSet<QString>& renaming)
    : m_database(database)
    , m_directoryId(directoryId)
    , m_localPath(localPath)
    , m_distantPath(distantPath)
    , m_renaming(renaming)
{
}

VornSyncPass::~VornSyncPass()
{
    m_database.endChangeTracking();
}

bool VornSyncPass::gather(QString& error)
{
    // Without its rows every local file would look new.
    if (!m_database.readDirectoryRows(m_directoryId, m_rows))
        return false;
    m_distant = VornSyncDirectoryListing::read(m_distantPath);
    m_local = VornSyncDirectoryListing::read(m_localPath);
    if (QThread::currentThread()->isInterruptionRequested())
        return false;
    if (m_local.outcome() == VornSyncDirectoryListing::Outcome::Failed) {
        error = QStringLiteral("ERROR: Local directory can't be listed: '%1'. Error: %2")
                    .arg(m_localPath, m_local.errorText());
        return false;
    }
    m_rowIndexes.reserve(m_rows.size());
    for (int i = 0; i < m_rows.size(); ++i)
        m_rowIndexes.insert(m_rows.at(i).fileName, i);
    m_localFacts.reserve(m_local.entries().size());
    return true;
}

QString VornSyncPass::summary() const
{
    int trackedCount = 0;
    for (const VornSyncFileRow& row : m_rows)
        trackedCount += VornSyncTypes::isTombstoned(row.status) ? 0 : 1;
    const int distantCount = isDistantAccessible() ? m_distant.plainFileCount() : 0;
    return QStringLiteral("trackedFiles=%1, distantFiles=%2, localFiles=%3, distantAccessible=%4")
        .arg(QString::number(trackedCount), QString::number(distantCount),
             QString::number(m_local.plainFileCount()),
             isDistantAccessible() ? QStringLiteral("YES") : QStringLiteral("NO"));
}

bool VornSyncPass::wasUpToDate(const QString& fileName) const
{
    const int index = m_rowIndexes.value(fileName, -1);
    return index >= 0 && m_rows.at(index).status == ceSfsUpToDate;
}

VornSyncPassFile VornSyncPass::file(const QString& fileName)
{
    VornSyncPassFile file;
    file.row.fileName = fileName;
    readRow(file);
    file.isRenaming = m_renaming.contains(fileName);
    file.isDistantAccessible = isDistantAccessible();
    if (file.isDistantAccessible)
        file.distant = m_distant.presence(fileName);
    file.local = localFacts(file);
    return file;
}

void VornSyncPass::readRow(VornSyncPassFile& file) const
{
    const QString fileName = file.row.fileName;
    if (m_database.isRowChangedSinceRead(m_directoryId, fileName)) {
        VornSyncFileRow row;
        if (m_database.readFileRow(m_directoryId, fileName, row, file.hasRow) && file.hasRow)
            file.row = row;
        return;
    }
    const int index = m_rowIndexes.value(fileName, -1);
    file.hasRow = index >= 0;
    if (file.hasRow)
        file.row = m_rows.at(index);
}

VornSyncFileFacts VornSyncPass::localFacts(const VornSyncPassFile& file)
{
    const QString& fileName = file.row.fileName;
    const auto known = m_localFacts.constFind(fileName);
    if (known != m_localFacts.constEnd())
        return known.value();

    VornSyncFileFacts facts;
    const bool isListed = m_local.find(fileName) != nullptr;
    const QString path = m_localPath + QLatin1Char('/') + fileName;
    if (isListed)
        facts = VornSyncFiles::listedFacts(path);
    else if (VornSyncTypes::isInError(file.row.status))
        facts.presence = VornSyncPresence::Absent; // passed over whatever the disk says
    else
        facts = VornSyncFiles::facts(path); // the listing may be older than the file
    m_localFacts.insert(fileName, facts);
    return facts;
}

bool VornSyncPass::isInDirectory(const QString& localFilePath) const
{
    return localFilePath.startsWith(m_localPath + QLatin1Char('/')) &&
           localFilePath.indexOf(QLatin1Char('/'), m_localPath.size() + 1) < 0;
}

bool VornSyncPass::hasActiveSideCar(const QString& fileName, const VornSyncExclusions& exclusions)
{
    if (!m_hasExcludedNames) {
        m_excludedNames = exclusions.matchingNames(m_local);
        m_hasExcludedNames = true;
    }
    return VornSyncExclusions::hasSideCar(m_excludedNames, fileName);
}

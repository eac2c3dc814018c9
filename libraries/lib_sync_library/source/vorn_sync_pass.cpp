#include "vorn_sync_pass.h"

#include "vorn_sync_exclusions.h"
#include "vorn_sync_open_directory.h"

#include <QFile>
#include <QThread>

#include <utility>

VornSyncPass::VornSyncPass(VornSyncDatabase& database, int directoryId, const QString& localPath,
                           const QString& distantPath, const QSet<QString>& renaming)
    : m_database(database)
    , m_directoryId(directoryId)
    , m_localPath(localPath)
    , m_distantPath(distantPath)
    , m_renaming(renaming)
    , m_directoriesVersion(database.directoriesVersion())
{
}

VornSyncPass::~VornSyncPass()
{
    m_database.endChangeTracking();
}

// --- Gathering ------------------------------------------------------------------------------------------

bool VornSyncPass::gather(QString& error)
{
    // Without its rows every local file would look new.
    if (!readRows())
        return false;
    using Entry = VornSyncDirectoryListing::Entry;
    m_distantListing =
        VornSyncDirectoryListing::read(m_distantPath, [this](const Entry& entry) { addDistant(entry); });
    m_localDirectory = std::make_unique<VornSyncOpenDirectory>(QFile::encodeName(m_localPath));
    const auto localListing =
        VornSyncDirectoryListing::read(*m_localDirectory, [this](const Entry& entry) { addLocal(entry); });
    m_isLocalListed = localListing.isComplete();
    if (QThread::currentThread()->isInterruptionRequested())
        return false;
    if (localListing.outcome() == VornSyncDirectoryListing::Outcome::Failed) {
        error = QStringLiteral("ERROR: Local directory can't be listed: '%1'. Error: %2")
                    .arg(m_localPath, localListing.errorText());
        return false;
    }
    return true;
}

bool VornSyncPass::readRows()
{
    const bool done = m_database.readDirectoryRows(m_directoryId, [this](const VornSyncFileRow& row) {
        m_items.emplace_back();
        m_items.back().row = row;
    });
    if (!done)
        return false;
    m_trackedCount = count();
    m_index.reset(m_trackedCount);
    for (int i = 0; i < m_trackedCount; ++i)
        m_index.insert(at(i).row.fileName, i);
    return true;
}

int VornSyncPass::indexOf(const QString& fileName) const
{
    return m_index.find(fileName, [this](int item) -> const QString& { return at(item).row.fileName; });
}

void VornSyncPass::addLocal(const VornSyncDirectoryListing::Entry& entry)
{
    const bool isListed = entry.isPlainFile && !entry.isHidden;
    m_plainLocalCount += isListed ? 1 : 0;
    int index = indexOf(entry.name);
    if (index < 0) {
        if (!isListed)
            return;
        index = count();
        m_items.emplace_back();
        // A copy of its own, no larger than it must be: the entry's text is reused.
        m_items.back().row.fileName = QString(entry.name.constData(), entry.name.size());
    }
    at(index).isInLocalDirectory = true;
    at(index).isListed = isListed;
}

void VornSyncPass::addDistant(const VornSyncDirectoryListing::Entry& entry)
{
    m_plainDistantCount += entry.isPlainFile && !entry.isHidden ? 1 : 0;
    const int index = indexOf(entry.name);
    if (index >= 0)
        at(index).isInDistantDirectory = true;
}

QString VornSyncPass::summary() const
{
    int tracked = 0;
    for (int i = 0; i < m_trackedCount; ++i)
        tracked += isTracked(i) ? 1 : 0;
    return QStringLiteral("trackedFiles=%1, distantFiles=%2, localFiles=%3, distantAccessible=%4")
        .arg(QString::number(tracked), QString::number(isDistantAccessible() ? m_plainDistantCount : 0),
             QString::number(m_plainLocalCount),
             isDistantAccessible() ? QStringLiteral("YES") : QStringLiteral("NO"));
}

bool VornSyncPass::wasUpToDate(const QString& fileName) const
{
    const int index = indexOf(fileName);
    return index >= 0 && at(index).row.status == ceSfsUpToDate;
}

bool VornSyncPass::isTracked(int item) const
{
    return item < m_trackedCount && !VornSyncTypes::isTombstoned(at(item).row.status);
}

bool VornSyncPass::isStillMeant()
{
    const int version = m_database.directoriesVersion();
    if (version == m_directoriesVersion)
        return true;
    m_directoriesVersion = version;
    return m_database.getDirectoryLocalPath(m_directoryId) == m_localPath &&
           m_database.getDirectoryDistantPath(m_directoryId) == m_distantPath;
}

// --- One file -------------------------------------------------------------------------------------------

VornSyncPassFile VornSyncPass::file(int index)
{
    Item& item = at(index);
    VornSyncPassFile file;
    file.row = item.row;
    file.hasRow = index < m_trackedCount;
    const bool isRowKnown = readRow(item, file);
    file.isRenaming = !m_renaming.isEmpty() && m_renaming.contains(item.row.fileName);
    file.isDistantAccessible = isDistantAccessible();
    if (file.isDistantAccessible)
        file.distant = item.isInDistantDirectory ? VornSyncPresence::Present : VornSyncPresence::Absent;
    // Without its row a file is nothing that may be decided on: its facts stay unknown.
    if (isRowKnown)
        file.local = localFacts(item, VornSyncTypes::isInError(file.row.status));
    return file;
}

// False when the row was written since it was read, and can't be read again.
bool VornSyncPass::readRow(const Item& item, VornSyncPassFile& file) const
{
    if (!m_database.isRowChangedSinceRead(m_directoryId, item.row.fileName))
        return true;
    VornSyncFileRow changed;
    if (!m_database.readFileRow(m_directoryId, item.row.fileName, changed, file.hasRow))
        return false;
    file.row = file.hasRow ? changed : VornSyncFileRow();
    file.row.fileName = item.row.fileName;
    return true;
}

VornSyncFileFacts VornSyncPass::localFacts(Item& item, bool isInError)
{
    if (item.isAsked)
        return item.local;
    item.isAsked = true;
    if (item.isInLocalDirectory)
        item.local = m_localDirectory->facts(nativeName(item.row.fileName));
    else if (isInError)
        item.local.presence = VornSyncPresence::Absent; // passed over whatever the disk says
    else // hidden files are not listed, and a listing may be old
        item.local = VornSyncFiles::facts(m_localPath + QLatin1Char('/') + item.row.fileName);
    return item.local;
}

// The name as the system takes it. An ASCII name goes into the bytes that are there already, without an allocation and
// without a codec.
const char* VornSyncPass::nativeName(const QString& fileName)
{
    const int size = fileName.size();
    m_nativeName.resize(size);
    char* bytes = m_nativeName.data();
    ushort bits = 0;
    for (int i = 0; i < size; ++i) {
        const ushort unit = fileName.at(i).unicode();
        bits = ushort(bits | unit);
        bytes[i] = char(unit);
    }
    if (bits > 0x7f)
        m_nativeName = QFile::encodeName(fileName);
    return m_nativeName.constData();
}

bool VornSyncPass::isSettled(int item) const
{
    const Item& settled = at(item);
    return settled.isSettled && !m_database.isRowChangedSinceRead(m_directoryId, settled.row.fileName);
}

// --- Side-cars ------------------------------------------------------------------------------------------

bool VornSyncPass::isInDirectory(const QString& localFilePath) const
{
    return localFilePath.startsWith(m_localPath + QLatin1Char('/')) &&
           localFilePath.indexOf(QLatin1Char('/'), m_localPath.size() + 1) < 0;
}

bool VornSyncPass::hasActiveSideCar(const QString& fileName, const VornSyncExclusions& exclusions)
{
    if (!m_hasExcludedNames) {
        for (const Item& item : std::as_const(m_items)) {
            if (item.isListed && exclusions.matches(item.row.fileName))
                m_excludedNames.append(item.row.fileName);
        }
        m_excludedNames.sort();
        m_hasExcludedNames = true;
    }
    return VornSyncExclusions::hasSideCar(m_excludedNames, fileName);
}

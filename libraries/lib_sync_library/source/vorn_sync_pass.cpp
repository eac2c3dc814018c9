#include "vorn_sync_pass.h"

#include "vorn_sync_exclusions.h"
#include "vorn_sync_large_vector.h"
#include "vorn_sync_open_directory.h"
#include "vorn_utilities.h"

#include <QFile>
#include <QThread>

VornSyncPass::VornSyncPass(VornSyncDatabase& database, int directoriesVersion, int directoryId,
                           const QString& localPath, const QString& distantPath,
                           const QSet<QString>& renaming)
    : m_database(database)
    , m_directoryId(directoryId)
    , m_localPath(localPath)
    , m_distantPath(distantPath)
    , m_renaming(renaming)
    , m_directoriesVersion(directoriesVersion)
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
    m_names.startOver();
    m_distantListing =
        VornSyncDirectoryListing::read(m_distantPath, [this](const Entry& entry) { addDistant(entry); });
    m_names.startOver();
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
    const auto forget = [this] {
        m_names = VornSyncNameTable();
        m_items.clear();
        m_marked.clear();
    };
    const bool done = m_database.readDirectoryRows(
        m_directoryId, [this](std::string_view name, const VornSyncFileRow& row) { addRow(name, row); },
        forget);
    m_trackedCount = count();
    m_names.freeze();
    return done;
}

void VornSyncPass::addRow(std::string_view name, const VornSyncFileRow& row)
{
    Item item;
    item.status = row.status;
    item.size = row.size;
    item.localLmdSecs = row.localLmdSecs;
    item.distantLmdUndefined = row.distantLmdUndefined;
    item.isDistantNewer = row.isDistantNewer;
    const int number = append(name, item);
    if (row.isDistantNewer)
        m_marked.insert(number, row);
}

int VornSyncPass::append(std::string_view name, const Item& item)
{
    m_names.append(name);
    VornSyncLargeVector::append(m_items, item);
    return count() - 1;
}

void VornSyncPass::addLocal(const VornSyncDirectoryListing::Entry& entry)
{
    const bool isListed = entry.isPlainFile && !entry.isHidden;
    m_plainLocalCount += isListed ? 1 : 0;
    int item = m_names.find(entry.name);
    if (item < 0) {
        if (!isListed)
            return;
        item = append(entry.name, Item());
    }
    at(item).isInLocalDirectory = true;
    at(item).isListed = isListed;
}

void VornSyncPass::addDistant(const VornSyncDirectoryListing::Entry& entry)
{
    m_plainDistantCount += entry.isPlainFile && !entry.isHidden ? 1 : 0;
    const int item = m_names.find(entry.name);
    if (item >= 0)
        at(item).isInDistantDirectory = true;
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
    const QByteArray name = fileName.toUtf8();
    const int item = m_names.find(std::string_view(name.constData(), std::size_t(name.size())));
    return item >= 0 && at(item).status == ceSfsUpToDate;
}

bool VornSyncPass::isTracked(int item) const
{
    return item < m_trackedCount && !VornSyncTypes::isTombstoned(at(item).status);
}

bool VornSyncPass::isStillMeant()
{
    const int version = m_database.directoriesVersion();
    if (version == m_directoriesVersion || !m_isMeant)
        return m_isMeant;
    m_directoriesVersion = version;
    m_isMeant = m_database.getDirectoryLocalPath(m_directoryId) == m_localPath &&
                m_database.getDirectoryDistantPath(m_directoryId) == m_distantPath;
    return m_isMeant;
}

// --- One file -------------------------------------------------------------------------------------------

VornSyncPassFile VornSyncPass::file(int item)
{
    VornSyncPassFile file;
    file.row = readRow(item);
    file.hasRow = item < m_trackedCount;
    const bool isRowKnown = !isRowChanged(item) || readRowAgain(item, file);
    file.isRenaming = !m_renaming.isEmpty() && m_renaming.contains(fileName(item));
    file.isDistantAccessible = isDistantAccessible();
    if (file.isDistantAccessible)
        file.distant = at(item).isInDistantDirectory ? VornSyncPresence::Present : VornSyncPresence::Absent;
    // Without its row a file is nothing that may be decided on: its facts stay unknown.
    if (isRowKnown)
        file.local = localFacts(item, VornSyncTypes::isInError(file.row.status));
    return file;
}

VornSyncFileRow VornSyncPass::readRow(int item) const
{
    const Item& read = at(item);
    if (read.isDistantNewer)
        return m_marked.value(item);
    VornSyncFileRow row;
    row.status = read.status;
    row.size = read.size;
    row.localLmdSecs = read.localLmdSecs;
    row.distantLmdUndefined = read.distantLmdUndefined;
    return row;
}

bool VornSyncPass::isRowChanged(int item) const
{
    return m_database.isAnyRowChangedSinceRead(m_directoryId) &&
           m_database.isRowChangedSinceRead(m_directoryId, fileName(item));
}

// False when the row can't be read.
bool VornSyncPass::readRowAgain(int item, VornSyncPassFile& file) const
{
    VornSyncFileRow changed;
    if (!m_database.readFileRow(m_directoryId, fileName(item), changed, file.hasRow))
        return false;
    file.row = file.hasRow ? changed : VornSyncFileRow();
    file.row.fileName.clear();
    return true;
}

VornSyncFileFacts VornSyncPass::localFacts(int item, bool isInError)
{
    const auto known = m_answers.constFind(item);
    return known == m_answers.cend() ? askDisk(item, isInError) : known.value();
}

VornSyncFileFacts VornSyncPass::askDisk(int item, bool isInError)
{
    if (at(item).isInLocalDirectory)
        return m_localDirectory->facts(nativeName(item));
    // Hidden files are not listed, and a listing may be old.
    if (!isInError)
        return VornSyncFiles::facts(m_localPath + QLatin1Char('/') + fileName(item));
    VornSyncFileFacts facts; // passed over whatever the disk says
    facts.presence = VornSyncPresence::Absent;
    return facts;
}

// The name as the system takes it; valid until the next is asked for.
const char* VornSyncPass::nativeName(int item)
{
    if (isAscii(name(item)))
        return name(item).data();
    m_nativeName = QFile::encodeName(fileName(item));
    return m_nativeName.constData();
}

bool VornSyncPass::isSettled(int item) const
{
    return at(item).isSettled && !isRowChanged(item);
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
        for (int item = 0; item < count(); ++item) {
            const QString name = isListed(item) ? this->fileName(item) : QString();
            if (exclusions.matches(name))
                m_excludedNames.append(name);
        }
        m_excludedNames.sort();
        m_hasExcludedNames = true;
    }
    return VornSyncExclusions::hasSideCar(m_excludedNames, fileName);
}

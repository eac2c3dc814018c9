#include "vorn_sync_directory_listing.h"

#include "vorn_sync_log.h"

#include <QFile>
#include <QThread>

#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr auto kTag = "Sync: ";

// Asking once an entry whether the thread is to stop would cost more than reading the entry.
constexpr int kEntriesPerInterruptionCheck = 256;

bool isAscii(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

std::string lastComponent(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace

VornSyncDirectoryListing VornSyncDirectoryListing::read(const QString& directoryPath)
{
    VornSyncDirectoryListing listing;
    if (directoryPath.isEmpty())
        return listing;

    std::error_code error;
    fs::directory_iterator it(fs::path(QFile::encodeName(directoryPath).toStdString()), error);
    for (int count = 0; !error && it != fs::directory_iterator(); it.increment(error), ++count) {
        if (count % kEntriesPerInterruptionCheck == 0 &&
            QThread::currentThread()->isInterruptionRequested()) {
            listing.m_outcome = Outcome::Interrupted;
            return listing;
        }
        // The kind mostly comes with the name; only a link or an unknown kind costs a call of its own.
        std::error_code kindError;
        const bool isPlainFile = it->is_regular_file(kindError);
        const std::string name = lastComponent(it->path().native());
        listing.append(QByteArray(name.data(), int(name.size())), isPlainFile);
    }

    if (error == std::errc::no_such_file_or_directory && listing.m_entries.isEmpty()) {
        listing.m_outcome = Outcome::Missing;
    } else if (error) {
        listing.m_outcome = Outcome::Failed;
        listing.m_errorText = QString::fromLocal8Bit(error.message().c_str());
    } else {
        listing.m_outcome = Outcome::Complete;
    }
    return listing;
}

void VornSyncDirectoryListing::append(const QByteArray& nativeName, bool isPlainFile)
{
    Entry entry;
    if (isAscii(nativeName.toStdString())) {
        entry.name = QString::fromLatin1(nativeName);
    } else {
        entry.name = QFile::decodeName(nativeName);
        if (QFile::encodeName(entry.name) != nativeName) {
            VORN_SYNC_TRACE(
                kTag, "listDirectory",
                QStringLiteral("Skip a name that the locale can't represent: '%1'").arg(entry.name));
            return;
        }
    }
    entry.isPlainFile = isPlainFile;
    entry.isHidden = entry.name.startsWith(QLatin1Char('.'));
    m_indexes.insert(entry.name, m_entries.size());
    m_entries.append(entry);
}

const VornSyncDirectoryListing::Entry* VornSyncDirectoryListing::find(const QString& name) const
{
    const auto it = m_indexes.constFind(name);
    return it == m_indexes.constEnd() ? nullptr : &m_entries.at(it.value());
}

int VornSyncDirectoryListing::plainFileCount() const
{
    return int(std::count_if(m_entries.begin(), m_entries.end(),
                             [](const Entry& entry) { return entry.isPlainFile && !entry.isHidden; }));
}

VornSyncPresence VornSyncDirectoryListing::presence(const QString& name) const
{
    return m_indexes.contains(name) ? VornSyncPresence::Present : VornSyncPresence::Absent;
}

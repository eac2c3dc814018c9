#include "vorn_sync_directory_listing.h"

#include "vorn_planted_bugs.h"
#include "vorn_sync_log.h"
#include "vorn_sync_open_directory.h"
#include "vorn_utilities.h"

#include <QFile>
#include <QThread>

#include <system_error>

namespace {

constexpr auto kTag = "Sync: ";

// Asking once an entry whether the thread is to stop would cost more than reading the entry.
constexpr int kEntriesPerInterruptionCheck = 256;

} // namespace

VornSyncDirectoryListing VornSyncDirectoryListing::read(const QString& directoryPath, const Visitor& visit)
{
    if (directoryPath.isEmpty())
        return VornSyncDirectoryListing();
    VornSyncOpenDirectory directory(QFile::encodeName(directoryPath));
    return read(directory, visit);
}

VornSyncDirectoryListing VornSyncDirectoryListing::read(VornSyncOpenDirectory& directory,
                                                        const Visitor& visit)
{
    VornSyncDirectoryListing listing;
    Entry entry;
    QByteArray utf8;
    int count = 0;
    for (; directory.next(); ++count) {
        if (count % kEntriesPerInterruptionCheck == 0 &&
            QThread::currentThread()->isInterruptionRequested()) {
            listing.m_outcome = Outcome::Interrupted;
            return listing;
        }
        if (!readName(directory.name(), utf8, entry.name))
            continue;
        entry.isPlainFile = directory.isPlainFile();
        entry.isHidden = entry.name.front() == '.';
        visit(entry);
    }

    std::error_code error = directory.error();
    if (VORN_PLANTED(missingDirectoryIsEmpty) && count == 0)
        error.clear();
    if (error == std::errc::no_such_file_or_directory && count == 0) {
        listing.m_outcome = Outcome::Missing;
    } else if (error && !VORN_PLANTED(trustHalfListing)) {
        listing.m_outcome = Outcome::Failed;
        listing.m_errorText = QString::fromLocal8Bit(error.message().c_str());
    } else {
        listing.m_outcome = Outcome::Complete;
    }
    return listing;
}

bool VornSyncDirectoryListing::readName(const char* nativeName, QByteArray& utf8, std::string_view& name)
{
    name = nativeName;
    if (isAscii(name))
        return true;
    const QString decoded = QFile::decodeName(nativeName);
    if (QFile::encodeName(decoded) != nativeName) {
        VORN_SYNC_TRACE(kTag, "listDirectory",
                        QStringLiteral("Skip a name that the locale can't represent: '%1'").arg(decoded));
        return false;
    }
    utf8 = decoded.toUtf8();
    name = std::string_view(utf8.constData(), std::size_t(utf8.size()));
    return true;
}

#include "vorn_sync_directory_listing.h"

#include "vorn_planted_bugs.h"
#include "vorn_sync_log.h"
#include "vorn_sync_open_directory.h"

#include <QFile>
#include <QThread>

#include <cstring>
#include <system_error>

namespace {

constexpr auto kTag = "Sync: ";

// Asking once an entry whether the thread is to stop would cost more than reading the entry.
constexpr int kEntriesPerInterruptionCheck = 256;

// An ASCII name goes into the text that is there already, without an allocation and without a codec.
bool setAscii(const char* nativeName, QString& name)
{
    const int size = int(std::strlen(nativeName));
    name.resize(size);
    QChar* chars = name.data();
    for (int i = 0; i < size; ++i) {
        if ((nativeName[i] & 0x80) != 0)
            return false;
        chars[i] = QLatin1Char(nativeName[i]);
    }
    return true;
}

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
    int count = 0;
    for (; directory.next(); ++count) {
        if (count % kEntriesPerInterruptionCheck == 0 &&
            QThread::currentThread()->isInterruptionRequested()) {
            listing.m_outcome = Outcome::Interrupted;
            return listing;
        }
        if (!readName(directory.name(), entry))
            continue;
        entry.isPlainFile = directory.isPlainFile();
        entry.isHidden = entry.name.startsWith(QLatin1Char('.'));
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

bool VornSyncDirectoryListing::readName(const char* nativeName, Entry& entry)
{
    if (setAscii(nativeName, entry.name))
        return true;
    entry.name = QFile::decodeName(nativeName);
    if (QFile::encodeName(entry.name) == nativeName)
        return true;
    VORN_SYNC_TRACE(kTag, "listDirectory",
                    QStringLiteral("Skip a name that the locale can't represent: '%1'").arg(entry.name));
    return false;
}

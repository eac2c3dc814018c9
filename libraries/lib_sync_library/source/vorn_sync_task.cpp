#include "vorn_sync_task.h"

#include "vorn_planted_bugs.h"
#include "vorn_sync_local_siblings.h"
#include "vorn_sync_log.h"
#include "vorn_utilities.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QUuid>
#include <QVector>

#include <bitset>
#include <filesystem>
#include <optional>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr auto kTag = "Task: ";

// A phase that takes this long is worth a line: a healthy share needs a few milliseconds.
constexpr qint64 kSlowPhaseMs = 200;

// A temporary sibling is the destination's name, a dot and this much of a UUID.
constexpr int kTemporarySuffixLength = 4;
// Start positions of such a piece in the 32 digits. Required: 28, the last one is never drawn.
constexpr int kTemporarySuffixPositions = 28;
// The longest name that the usual file systems take; a longer temporary name could never be created.
constexpr int kMaxNameBytes = 255;

struct DirectoryEntry
{
    QString name;
    bool isDirectory = false;
};

SyncErrorCode effectiveCode(SyncErrorCode overrideCode, SyncErrorCode defaultCode)
{
    return overrideCode == ceSecNone ? defaultCode : overrideCode;
}

QString joined(const QString& directory, const QString& name)
{
    return directory + QLatin1Char('/') + name;
}

// The suffix must fit, so the longest names are cut at the end; the rest still tells where the file belongs.
QString temporaryBase(const QString& destination)
{
    const QFileInfo info(destination);
    QString name = info.fileName();
    if (QFile::encodeName(name).size() + 1 + kTemporarySuffixLength <= kMaxNameBytes)
        return destination;
    while (QFile::encodeName(name).size() + 1 + kTemporarySuffixLength > kMaxNameBytes) {
        name.chop(1);
        if (name.at(name.size() - 1).isHighSurrogate())
            name.chop(1);
    }
    return joined(info.path(), name);
}

QString temporarySibling(const QString& destination)
{
    const QString base = temporaryBase(destination);
    for (;;) {
        const QString digits = QUuid::createUuid().toString(QUuid::Id128);
        std::bitset<kTemporarySuffixPositions> tried;
        while (!tried.all()) {
            const quint64 random = QRandomGenerator64::global()->generate() & 0xffffffffU;
            const int position = int((random * kTemporarySuffixPositions) >> 32);
            tried.set(std::size_t(position));
            const QString path = base + QLatin1Char('.') + digits.mid(position, kTemporarySuffixLength);
            // A name that can't be tested is taken: QFile::copy refuses it if something is there.
            if (VornSyncFiles::facts(path).presence != VornSyncPresence::Present)
                return path;
        }
    }
}

// Qt calls a dangling link missing, and there is nothing in it to copy.
bool isMissing(const QString& path, const VornSyncFileFacts& facts)
{
    if (facts.presence == VornSyncPresence::Absent)
        return true;
    return facts.presence == VornSyncPresence::Present && !facts.isPlainFile && !QFileInfo::exists(path);
}

// A FIFO would block the worker for ever, a device is nobody's document. Opening a directory just fails.
bool mustNotBeOpened(const QString& path)
{
    const VornSyncFileFacts facts = VornSyncFiles::facts(path);
    return facts.presence == VornSyncPresence::Present && !facts.isPlainFile && !QFileInfo(path).isDir();
}

// The directory that travels with the file; empty when there is none, nothing when that can't be told.
std::optional<QString> associatedDirectory(const QString& file)
{
    const QString found = getAssociatedDirectoryPath(file);
    const QString name = found.isEmpty() ? getAssociatedDirectoryName(file) : QString();
    if (name.isEmpty())
        return found;
    // Qt takes a directory that can't be asked for one that is not there.
    std::error_code error;
    const fs::file_status status = fs::status(fs::path(QFile::encodeName(name).toStdString()), error);
    if (status.type() == fs::file_type::none)
        return std::nullopt;
    return status.type() == fs::file_type::directory ? name : QString();
}

// Files and directories (links followed) without hidden ones. False when the listing is not complete: what
// is not listed would be left behind without a word.
bool listDirectory(const QString& path, QVector<DirectoryEntry>& entries)
{
    std::error_code error;
    fs::directory_iterator it(fs::path(QFile::encodeName(path).toStdString()), error);
    for (; !error && it != fs::directory_iterator(); it.increment(error)) {
        const QByteArray nativeName = QByteArray::fromStdString(it->path().filename().native());
        const QString name = QFile::decodeName(nativeName);
        if (name.startsWith(QLatin1Char('.')))
            continue;
        if (QFile::encodeName(name) != nativeName) {
            VORN_SYNC_TRACE(kTag, "handleAssociatedDirectory",
                            QStringLiteral("Skip a name that the locale can't represent: '%1'").arg(name));
            continue;
        }
        std::error_code kindError;
        const fs::file_status kind = it->status(kindError);
        if (kind.type() == fs::file_type::directory)
            entries.append({name, true});
        else if (kind.type() == fs::file_type::regular || kind.type() == fs::file_type::none)
            entries.append({name, false});
    }
    return !error;
}

// Whether a directory that could not be removed was kept by what is in it, or has gone already.
bool mayStay(const QString& path)
{
    std::error_code error;
    const bool isEmpty = fs::is_empty(fs::path(QFile::encodeName(path).toStdString()), error);
    return error ? error == std::errc::no_such_file_or_directory : !isEmpty;
}

// A linked directory goes by its link: what it leads to belongs to somebody else.
bool removeDirectoryEntry(const QString& path)
{
    return QFileInfo(path).isSymLink() ? QFile::remove(path) : QDir().rmdir(path);
}

bool copiesContent(SyncOperation operation)
{
    return operation == ceStoCopy || operation == ceStoMove || operation == ceStoMoveBack;
}

QString throughputText(SyncOperation operation, qint64 size, qint64 elapsedMs)
{
    if (!copiesContent(operation) || size < 1 || elapsedMs < 1)
        return QString();
    const double megabytes = double(size) / 1024 / 1024;
    return QStringLiteral(", throughput=%1 MB/s").arg(megabytes / (double(elapsedMs) / 1000.0), 0, 'f', 2);
}

} // namespace

// ---- Life cycle ----

VornSyncTask::VornSyncTask(QObject* parent)
    : QObject(parent)
{
    m_clock.start();
}

pVornSyncTask VornSyncTask::create(const QString& source, const QString& destination, SyncOperation operation)
{
    if (!QFile::exists(source))
        return pVornSyncTask();
    registerMetaType();
    pVornSyncTask task(new VornSyncTask(nullptr));
    task->setOperation(source, destination, operation);
    return task;
}

void VornSyncTask::registerMetaType()
{
    qRegisterMetaType<pVornSyncTask>("pVornSyncTask");
}

void VornSyncTask::setOperation(const QString& source, const QString& destination, SyncOperation operation)
{
    m_sourcePath = source;
    m_destinationPath = destination;
    m_operation = operation;
}

void VornSyncTask::setDispatch(int directoryId, const QString& fileName)
{
    m_directoryId = directoryId;
    m_fileName = fileName;
}

QString VornSyncTask::lastErrorMessage() const
{
    return m_errorMessages.isEmpty() ? QString() : m_errorMessages.last();
}

qint64 VornSyncTask::nowMs() const
{
    return m_clock.elapsed();
}

void VornSyncTask::recordError(const QString& message, SyncErrorCode code)
{
    m_errorMessages.append(message);
    m_errorCode = code;
    emit errorOccurred(message);
}

// ---- Operations ----

bool VornSyncTask::runtask()
{
    const qint64 startMs = nowMs();
    beginRun();
    const qint64 size = QFileInfo(m_sourcePath).size();

    const bool result = checkFilePath(m_destinationPath) && runOperation();

    const qint64 elapsedMs = nowMs() - startMs;
    VORN_SYNC_TRACE(kTag, "runtask",
                    QStringLiteral("op=%1 src='%2' result=%3 size=%4 elapsed=%5 ms%6")
                        .arg(VornSyncTypes::operationName(m_operation), m_sourcePath,
                             result ? QStringLiteral("OK") : QStringLiteral("FAIL"), QString::number(size),
                             QString::number(elapsedMs), throughputText(m_operation, size, elapsedMs)));
    return result;
}

void VornSyncTask::beginRun()
{
    ++m_runCount;
    m_carriedFiles.clear();
    m_carriedDirectories.clear();
    m_checkedCopy.reset();
    const VornSyncFileFacts facts = VornSyncFiles::facts(m_sourcePath);
    m_sourceSizeAtStart = facts.isPlainFile ? facts.size : -1;
    m_sourceLmdSecsAtStart = facts.lmdSecs;
    m_sourceLmdNanosecsAtStart = facts.lmdNanosecs;
}

bool VornSyncTask::runOperation()
{
    switch (m_operation) {
    case ceStoCopy:
        return runCopy();
    case ceStoMove:
        return runMove();
    case ceStoMoveBack:
        return runMoveBack();
    case ceStoRename:
        return doRename();
    }
    return false;
}

bool VornSyncTask::isDestinationAsExpected(const QString& destination)
{
    if (!m_expectedDestination || destination != m_destinationPath || VORN_PLANTED(replaceChangedLocal))
        return true;
    const VornSyncFileFacts now = VornSyncFiles::facts(destination);
    const VornSyncFileFacts& expected = *m_expectedDestination;
    if (now.presence == expected.presence && now.isPlainFile == expected.isPlainFile &&
        now.size == expected.size && now.lmdSecs == expected.lmdSecs &&
        now.lmdNanosecs == expected.lmdNanosecs)
        return true;
    recordError(
        QStringLiteral("Destination has changed meanwhile and is not replaced: '%1'.").arg(destination),
        ceSecCopyFailed);
    return false;
}

bool VornSyncTask::runCopy()
{
    return isDestinationAsExpected(m_destinationPath) &&
           runSecuredCopy(m_sourcePath, m_destinationPath, ceSecNone) &&
           handleAssociatedDirectory(m_sourcePath, m_destinationPath);
}

bool VornSyncTask::runMove()
{
    if (!runCopy() && !VORN_PLANTED(removeWithoutCopy))
        return false;
    // Both names lead to the file that was just written: there is no second copy to remove.
    if (VornSyncFiles::isSameFile(m_sourcePath, m_destinationPath))
        return true;
    if (!mayRemove(m_sourcePath, m_destinationPath, ceSecCopySizeMismatch))
        return false;
    QFile::remove(m_sourcePath);

    if (m_carriedDirectories.isEmpty() || removeCarried(m_carriedDirectories.last()))
        return true;
    recordError(QStringLiteral("Failed to remove source directory: ") + m_carriedDirectories.last(),
                ceSecLocalDirRemoveFailed);
    return false;
}

bool VornSyncTask::runMoveBack()
{
    // Required: the copy runs from the destination to the source.
    if (!runSecuredCopy(m_destinationPath, m_sourcePath, ceSecNone))
        return false;
    if (VornSyncFiles::isSameFile(m_sourcePath, m_destinationPath))
        return true;
    if (!mayRemove(m_destinationPath, m_sourcePath, ceSecCopySizeMismatch))
        return false;
    QFile::remove(m_destinationPath);
    return true;
}

// A copy to a fresh name is not checked, and QFile::copy takes a source whose size it can't learn for an empty one:
// before the only other copy goes, the one that stays must be as large.
bool VornSyncTask::mayRemove(const QString& original, const QString& copy, SyncErrorCode code)
{
    const VornSyncFileFacts originalFacts = VornSyncFiles::facts(original);
    const VornSyncFileFacts copyFacts = VornSyncFiles::facts(copy);
    const bool areKnown = originalFacts.isPlainFile && copyFacts.isPlainFile;
    if ((areKnown && originalFacts.size == copyFacts.size) || VORN_PLANTED(skipSizeCheck) ||
        VORN_PLANTED(removeWithoutCopy))
        return true;
    recordSizeMismatch(original, QString::number(originalFacts.size), QString::number(copyFacts.size), code);
    return false;
}

void VornSyncTask::recordSizeMismatch(const QString& source, const QString& sourceSize,
                                      const QString& copySize, SyncErrorCode code)
{
    recordError(QStringLiteral("Failure to copy file: '%1', file sizes are different. Source: %2, Temp: %3")
                    .arg(source, sourceSize, copySize),
                code);
}

bool VornSyncTask::checkFilePath(const QString& path)
{
    if (path.isEmpty())
        return false;
    const VornSyncFileFacts facts = VornSyncFiles::facts(path);
    switch (facts.presence) {
    case VornSyncPresence::Present:
        // Required: anything but a regular file in the destination's place fails without a message.
        if (!facts.isPlainFile)
            return false;
        VORN_SYNC_TRACE(kTag, "checkFilePath",
                        QStringLiteral("Warning: File '%1' already exists, it will be replaced")
                            .arg(QFileInfo(path).fileName()));
        return true;
    case VornSyncPresence::Absent:
        return true;
    case VornSyncPresence::Unknown:
        break;
    }
    recordError(
        QStringLiteral("ERROR: Task can't run, destination path not available: '%1'.").arg(m_destinationPath),
        ceSecDistantDirMissing);
    return false;
}

// ---- Secured copy ----

bool VornSyncTask::runSecuredCopy(const QString& source, const QString& destination,
                                  SyncErrorCode overrideCode)
{
    if (isMissing(source, VornSyncFiles::facts(source))) {
        recordError(QStringLiteral("Source file does not exist: '%1'.").arg(source),
                    effectiveCode(overrideCode, ceSecLocalFileMissing));
        return false;
    }

    const VornSyncPresence presence = VornSyncFiles::facts(destination).presence;
    if (!isDestinationUsable(destination, presence, overrideCode))
        return false;

    // Required: a fresh destination is written directly, without size check or rename. Not so in a local directory:
    // a file that was cut short there would be taken for the user's and sent over the distant one.
    if (presence == VornSyncPresence::Absent && !m_expectedDestination)
        return copyFile(source, destination, overrideCode);

    if (VORN_PLANTED(copyInPlace))
        return QFile::remove(destination) && copyFile(source, destination, overrideCode);

    const QString workingPath = temporarySibling(destination);
    std::optional<VornSyncLocalSiblings> inLocalDirectory;
    if (m_expectedDestination)
        inLocalDirectory.emplace(workingPath);
    bool isOurs = VornSyncFiles::facts(workingPath).presence == VornSyncPresence::Absent;
    const bool isCopied = copyFile(source, workingPath, overrideCode);
    // QFile::copy overwrites nothing, so what it has made is ours; left in a local directory, it would be sent.
    isOurs = isOurs || (isCopied && m_expectedDestination);
    VornSyncFileFacts copy;
    if (isCopied && isCopyComplete(source, workingPath, overrideCode, copy) &&
        isDestinationAsExpected(destination) && putInPlace(workingPath, destination, overrideCode)) {
        if (destination == m_destinationPath)
            m_checkedCopy = copy;
        return true;
    }
    // A name that could not be tested may hold somebody's file, which the copy has left alone.
    if (isOurs)
        QFile::remove(workingPath);
    return false;
}

bool VornSyncTask::isDestinationUsable(const QString& destination, VornSyncPresence presence,
                                       SyncErrorCode overrideCode)
{
    const QDir directory = QFileInfo(destination).dir();
    if (!directory.exists()) {
        recordError(QStringLiteral("Destination directory does not exist: '%1'.").arg(directory.path()),
                    effectiveCode(overrideCode, ceSecDistantDirMissing));
        return false;
    }
    if (!QFileInfo(directory.path()).isWritable()) {
        recordError(QStringLiteral("Destination directory is not writable: '%1'.").arg(directory.path()),
                    effectiveCode(overrideCode, ceSecDistantDirNotWritable));
        return false;
    }
    // Taken for fresh, an existing file would be written without the care that it is due.
    if (presence == VornSyncPresence::Unknown) {
        recordError(QStringLiteral("Destination path not available: '%1'.").arg(destination),
                    effectiveCode(overrideCode, ceSecDistantDirMissing));
        return false;
    }
    return true;
}

bool VornSyncTask::copyFile(const QString& source, const QString& workingPath, SyncErrorCode overrideCode)
{
    qint64 startMs = nowMs();
    QFile file(source);
    const bool isRefused = mustNotBeOpened(source);
    if (isRefused || !file.open(QIODevice::ReadOnly)) {
        const QString reason = isRefused ? QStringLiteral("Not a regular file") : file.errorString();
        VORN_SYNC_TRACE(kTag, "runSecuredCopy",
                        QStringLiteral("phase=open FAIL src='%1' err='%2'").arg(source, reason));
        recordError(QStringLiteral("File can't be opened: '%1'. Error: %2").arg(source, reason),
                    effectiveCode(overrideCode, ceSecLocalFileNotReadable));
        return false;
    }
    const qint64 openMs = nowMs() - startMs;

    startMs = nowMs();
    const bool isCopied = QFile::copy(source, workingPath);
    const qint64 copyMs = nowMs() - startMs;
    file.close();

    if (!isCopied) {
        VORN_SYNC_TRACE(kTag, "runSecuredCopy",
                        QStringLiteral("phase=copy FAIL src='%1' dst='%2' openMs=%3 copyMs=%4")
                            .arg(source, workingPath, QString::number(openMs), QString::number(copyMs)));
        recordError(QStringLiteral("Failure to copy file: '%1' to '%2'.").arg(source, workingPath),
                    effectiveCode(overrideCode, ceSecCopyFailed));
        return false;
    }
    if (openMs + copyMs >= kSlowPhaseMs)
        VORN_SYNC_TRACE(kTag, "runSecuredCopy",
                        QStringLiteral("phase=copy SLOW src='%1' openMs=%2 copyMs=%3")
                            .arg(source, QString::number(openMs), QString::number(copyMs)));
    return true;
}

bool VornSyncTask::isCopyComplete(const QString& source, const QString& workingPath,
                                  SyncErrorCode overrideCode, VornSyncFileFacts& copy)
{
    const VornSyncFileFacts sourceFacts = VornSyncFiles::facts(source);
    copy = VornSyncFiles::facts(workingPath);
    // Required: sizes cut to their low 32 bits, in the comparison and in both texts.
    const qint32 sourceSize = qint32(sourceFacts.size);
    const qint32 workingSize = qint32(copy.size);
    // Sizes that can't be learnt are both 0.
    const bool areKnown = sourceFacts.isPlainFile && copy.isPlainFile;
    if ((areKnown && sourceSize == workingSize) || VORN_PLANTED(skipSizeCheck))
        return true;

    const QString sourceText = QString::number(sourceSize);
    const QString workingText = QString::number(workingSize);
    VORN_SYNC_TRACE(kTag, "runSecuredCopy",
                    QStringLiteral("phase=sizeCheck FAIL src='%1' srcSize=%2 tmpSize=%3")
                        .arg(source, sourceText, workingText));
    recordSizeMismatch(source, sourceText, workingText, effectiveCode(overrideCode, ceSecCopySizeMismatch));
    return false;
}

// One rename over the destination leaves no moment without it. Where the file system refuses that, the
// destination is removed first, but never unless the finished copy is there to take its place.
bool VornSyncTask::putInPlace(const QString& workingPath, const QString& destination,
                              SyncErrorCode overrideCode)
{
    qint64 startMs = nowMs();
    bool isRenamed = VornSyncFiles::rename(workingPath, destination);
    qint64 renameMs = nowMs() - startMs;

    if (!isRenamed && VornSyncFiles::facts(workingPath).presence == VornSyncPresence::Present) {
        if (VornSyncFiles::facts(destination).presence != VornSyncPresence::Absent &&
            !removeExisting(destination, overrideCode))
            return false;
        startMs = nowMs();
        isRenamed = VornSyncFiles::rename(workingPath, destination);
        renameMs = nowMs() - startMs;
    }

    const QString renameText = QString::number(renameMs);
    if (!isRenamed) {
        VORN_SYNC_TRACE(kTag, "runSecuredCopy",
                        QStringLiteral("phase=renameTempToDest FAIL temp='%1' dst='%2' renameMs=%3")
                            .arg(workingPath, destination, renameText));
        recordError(QStringLiteral("Failed to rename temporary file to destination: '%1' to '%2'.")
                        .arg(workingPath, destination),
                    effectiveCode(overrideCode, ceSecRenameFailed));
        return false;
    }
    if (renameMs >= kSlowPhaseMs)
        VORN_SYNC_TRACE(
            kTag, "runSecuredCopy",
            QStringLiteral("phase=renameTempToDest SLOW dst='%1' renameMs=%2").arg(destination, renameText));
    return true;
}

bool VornSyncTask::removeExisting(const QString& destination, SyncErrorCode overrideCode)
{
    const qint64 startMs = nowMs();
    const bool isRemoved = QFile::remove(destination);
    const qint64 removeMs = nowMs() - startMs;

    const QString removeText = QString::number(removeMs);
    if (!isRemoved) {
        VORN_SYNC_TRACE(kTag, "runSecuredCopy",
                        QStringLiteral("phase=removeExistingDest FAIL dst='%1' removeMs=%2")
                            .arg(destination, removeText));
        recordError(QStringLiteral("Failed to remove existing destination file: '%1'.").arg(destination),
                    effectiveCode(overrideCode, ceSecRenameFailed));
        return false;
    }
    if (removeMs >= kSlowPhaseMs)
        VORN_SYNC_TRACE(kTag, "runSecuredCopy",
                        QStringLiteral("phase=removeExistingDest SLOW dst='%1' removeMs=%2")
                            .arg(destination, removeText));
    return true;
}

// ---- Associated directory ----

bool VornSyncTask::handleAssociatedDirectory(const QString& source, const QString& destination)
{
    const std::optional<QString> known = associatedDirectory(source);
    if (!known) {
        recordError(QStringLiteral("Failed to list associated directory: ") +
                        getAssociatedDirectoryName(source),
                    ceSecAssocDirCopyFailed);
        return false;
    }
    const QString& sourceDirectory = *known;
    if (sourceDirectory.isEmpty())
        return true;
    const QFileInfo destinationInfo(destination);
    const QString baseName = destinationInfo.completeBaseName();
    const QString destinationDirectory = joined(destinationInfo.absolutePath(), baseName);

    const qint64 startMs = nowMs();
    // A base name such as that of ".txt" would scatter the companions over the destination's own directory.
    const bool namesDirectory = VornSyncTypes::isValidFileName(baseName);
    if (!namesDirectory || (!QDir(destinationDirectory).exists() && !QDir().mkpath(destinationDirectory))) {
        recordError(QStringLiteral("Failed to create associated directory: ") + destinationDirectory,
                    ceSecAssocDirCopyFailed);
        return false;
    }

    int entryCount = 0;
    const bool result = carryEntries(sourceDirectory, destinationDirectory, entryCount);
    const qint64 elapsedMs = nowMs() - startMs;
    if (elapsedMs >= kSlowPhaseMs || !result)
        VORN_SYNC_TRACE(kTag, "handleAssociatedDirectory",
                        QStringLiteral("srcDir='%1' result=%2 entries=%3 elapsed=%4 ms")
                            .arg(sourceDirectory, result ? QStringLiteral("OK") : QStringLiteral("FAIL"),
                                 QString::number(entryCount), QString::number(elapsedMs)));
    return result;
}

bool VornSyncTask::carryEntries(const QString& sourceDirectory, const QString& destinationDirectory,
                                int& entryCount)
{
    QVector<DirectoryEntry> entries;
    bool result = listDirectory(sourceDirectory, entries);
    if (!result)
        recordError(QStringLiteral("Failed to list associated directory: ") + sourceDirectory,
                    ceSecAssocDirCopyFailed);
    entryCount = int(entries.size());
    for (const DirectoryEntry& entry : qAsConst(entries)) {
        const QString source = joined(sourceDirectory, entry.name);
        const QString destination = joined(destinationDirectory, entry.name);
        if (!(entry.isDirectory ? carrySubdirectory(source, destination) : carryFile(source, destination)))
            result = false;
    }
    if (QFileInfo(sourceDirectory).isSymLink()) {
        m_carriedFiles.clear();
        m_carriedDirectories.clear();
    }
    m_carriedDirectories.append(sourceDirectory);
    return result;
}

bool VornSyncTask::carryFile(const QString& source, const QString& destination)
{
    if (!copyCompanion(source, destination))
        return false;
    m_carriedFiles.append(source);
    return true;
}

// No verification ever looks at companions: what is short now stays so.
bool VornSyncTask::copyCompanion(const QString& source, const QString& destination)
{
    const VornSyncFileFacts begun = VornSyncFiles::facts(source);
    if (!runSecuredCopy(source, destination, ceSecAssocDirCopyFailed))
        return false;
    if (m_operation == ceStoMove)
        return mayRemove(source, destination, ceSecAssocDirCopyFailed);
    const VornSyncFileFacts copied = VornSyncFiles::facts(destination);
    if (begun.isPlainFile && copied.isPlainFile && copied.size >= begun.size)
        return true;
    recordSizeMismatch(source, QString::number(begun.size), QString::number(copied.size),
                       ceSecAssocDirCopyFailed);
    return false;
}

// Required: one level only, directories inside a subdirectory are not carried.
bool VornSyncTask::carrySubdirectory(const QString& source, const QString& destination)
{
    if (!QDir().mkpath(destination)) {
        recordError(QStringLiteral("Failed to create subdirectory: ") + destination, ceSecAssocDirCopyFailed);
        return false;
    }
    QVector<DirectoryEntry> entries;
    bool result = listDirectory(source, entries);
    if (!result)
        recordError(QStringLiteral("Failed to list associated directory: ") + source,
                    ceSecAssocDirCopyFailed);
    const bool isLink = QFileInfo(source).isSymLink();
    for (const DirectoryEntry& entry : qAsConst(entries)) {
        if (entry.isDirectory)
            continue;
        const QString file = joined(source, entry.name);
        const QString target = joined(destination, entry.name);
        const bool isCopied = isLink ? copyCompanion(file, target) : carryFile(file, target);
        result = isCopied && result;
    }
    m_carriedDirectories.append(source);
    return result;
}

// Removes what was carried, innermost first. What was not (deeper levels, hidden entries) exists nowhere
// else: it stays where it is, with the directories that hold it.
bool VornSyncTask::removeCarried(const QString& sourceDirectory)
{
    bool result = true;
    for (const QString& path : qAsConst(m_carriedFiles)) {
        if (!QFile::remove(path) && VornSyncFiles::facts(path).presence != VornSyncPresence::Absent)
            result = false;
    }
    for (const QString& path : qAsConst(m_carriedDirectories)) {
        if (removeDirectoryEntry(path))
            continue;
        if (!mayStay(path))
            result = false;
        else if (path == sourceDirectory)
            VORN_SYNC_TRACE(kTag, "runtask",
                            QStringLiteral("Entries that were not carried stay in: '%1'").arg(path));
    }
    return result;
}

// ---- Rename ----

bool VornSyncTask::doRename()
{
    if (VornSyncFiles::facts(m_sourcePath).presence == VornSyncPresence::Absent) {
        VORN_SYNC_TRACE(kTag, "doRename",
                        QStringLiteral("Source already absent on distant, no-op: '%1'").arg(m_sourcePath));
        return true;
    }

    qint64 startMs = nowMs();
    bool isRenamed = VornSyncFiles::rename(m_sourcePath, m_destinationPath);
    qint64 renameMs = nowMs() - startMs;
    if (!isRenamed && isRenameTargetInTheWay()) {
        if (!removeRenameTarget())
            return false;
        startMs = nowMs();
        isRenamed = VornSyncFiles::rename(m_sourcePath, m_destinationPath);
        renameMs = nowMs() - startMs;
    }

    const QString renameText = QString::number(renameMs);
    if (!isRenamed) {
        VORN_SYNC_TRACE(kTag, "doRename",
                        QStringLiteral("phase=rename FAIL src='%1' dst='%2' renameMs=%3")
                            .arg(m_sourcePath, m_destinationPath, renameText));
        recordError(QStringLiteral("ERROR: Failed to rename distant file from '%1' to '%2'.")
                        .arg(m_sourcePath, m_destinationPath),
                    ceSecDistantRenameFailed);
        return false;
    }
    if (renameMs >= kSlowPhaseMs)
        VORN_SYNC_TRACE(kTag, "doRename",
                        QStringLiteral("phase=rename SLOW src='%1' dst='%2' renameMs=%3")
                            .arg(m_sourcePath, m_destinationPath, renameText));
    return true;
}

// Never true when removing the target would lose the only copy: the source is gone meanwhile, or the target
// is the source itself under another spelling.
bool VornSyncTask::isRenameTargetInTheWay() const
{
    return VornSyncFiles::facts(m_sourcePath).presence == VornSyncPresence::Present &&
           VornSyncFiles::facts(m_destinationPath).presence == VornSyncPresence::Present &&
           !VornSyncFiles::isSameFile(m_sourcePath, m_destinationPath);
}

bool VornSyncTask::removeRenameTarget()
{
    const qint64 startMs = nowMs();
    const bool isRemoved = QFile::remove(m_destinationPath);
    const qint64 removeMs = nowMs() - startMs;

    const QString removeText = QString::number(removeMs);
    if (!isRemoved) {
        VORN_SYNC_TRACE(kTag, "doRename",
                        QStringLiteral("phase=removeExistingDst FAIL dst='%1' removeMs=%2")
                            .arg(m_destinationPath, removeText));
        recordError(QStringLiteral("ERROR: Cannot remove existing destination before rename: '%1'.")
                        .arg(m_destinationPath),
                    ceSecDistantRenameFailed);
        return false;
    }
    if (removeMs >= kSlowPhaseMs)
        VORN_SYNC_TRACE(kTag, "doRename",
                        QStringLiteral("phase=removeExistingDst SLOW dst='%1' removeMs=%2")
                            .arg(m_destinationPath, removeText));
    return true;
}

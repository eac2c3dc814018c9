#include "vorn_sync_files.h"

#include "vorn_planted_bugs.h"
#include "vorn_sync_stat.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr int kQtTemporarySuffixLength = 6;

fs::path nativePath(const QString& path)
{
    return fs::path(QFile::encodeName(path).toStdString());
}

// The system would take such a path for what stands before its end: another file.
bool endsInside(const QString& path)
{
    return path.contains(QChar(QChar::Null));
}

int statErrno(const QByteArray& path, VornSyncFileFacts& facts)
{
    QT_STATBUF buffer;
    if (QT_STAT(path.constData(), &buffer) != 0)
        return errno;
    facts = factsOfStat(buffer);
    return 0;
}

bool isDanglingLink(const QByteArray& path)
{
    std::error_code error;
    return fs::symlink_status(fs::path(path.toStdString()), error).type() == fs::file_type::symlink;
}

// Opening the parent proves that it is there and readable: "not found" alone may mean an unmounted share.
bool isReadableDirectory(const QString& path)
{
    std::error_code error;
    const fs::directory_iterator entries(nativePath(path), error);
    return !error;
}

} // namespace

namespace VornSyncFiles {

QString joined(const QString& directory, const QString& fileName)
{
    if (directory.isEmpty())
        return QString();
    if (VORN_PLANTED(chainedArg))
        return directory + QLatin1Char('/') + QString(fileName).replace(QLatin1String("%1"), directory);
    return directory + QLatin1Char('/') + fileName;
}

VornSyncFileFacts listedFacts(const QString& path)
{
    return listedFacts(QFile::encodeName(path));
}

VornSyncFileFacts listedFacts(const QByteArray& nativePath)
{
    VornSyncFileFacts result;
    const int error = statErrno(nativePath, result);
    if (error == ENOENT && isDanglingLink(nativePath))
        result.presence = VornSyncPresence::Present;
    return result;
}

VornSyncFileFacts facts(const QString& path)
{
    VornSyncFileFacts result;
    if (endsInside(path))
        return result;
    const QByteArray native = QFile::encodeName(path);
    const int error = statErrno(native, result);
    if (VORN_PLANTED(errorIsAbsent) && error != 0)
        result.presence = VornSyncPresence::Absent;
    if (error != ENOENT)
        return result;
    if (isDanglingLink(native))
        result.presence = VornSyncPresence::Present;
    else if (isReadableDirectory(QFileInfo(path).path()))
        result.presence = VornSyncPresence::Absent;
    return result;
}

VornSyncPresence directoryPresence(const QString& path)
{
    if (path.isEmpty() || endsInside(path))
        return VornSyncPresence::Unknown;
    std::error_code error;
    const fs::file_status status = fs::status(nativePath(path), error);
    if (status.type() == fs::file_type::directory)
        return VornSyncPresence::Present;
    if (status.type() == fs::file_type::not_found)
        return VornSyncPresence::Absent;
    return VornSyncPresence::Unknown;
}

bool rename(const QString& from, const QString& to, QString* error)
{
    std::error_code code;
    fs::rename(nativePath(from), nativePath(to), code);
    if (code && error)
        *error = QString::fromLocal8Bit(code.message().c_str());
    return !code;
}

bool remove(const QString& path)
{
    switch (facts(path).presence) {
    case VornSyncPresence::Absent:
        return true;
    case VornSyncPresence::Unknown:
        return false;
    case VornSyncPresence::Present:
        return QFile::remove(path);
    }
    return false;
}

bool isSameFile(const QString& left, const QString& right)
{
    std::error_code error;
    return fs::equivalent(nativePath(left), nativePath(right), error) && !error;
}

bool isSamePlace(const QString& left, const QString& right)
{
    if (QDir::cleanPath(QFileInfo(left).absoluteFilePath()) ==
        QDir::cleanPath(QFileInfo(right).absoluteFilePath()))
        return true;
    std::error_code error;
    const fs::path leftPath = fs::weakly_canonical(nativePath(left), error);
    const fs::path rightPath = error ? fs::path() : fs::weakly_canonical(nativePath(right), error);
    if (!error && leftPath == rightPath)
        return true;
    return isSameFile(left, right);
}

bool isQtTemporaryName(const QString& fileName)
{
    const QLatin1String prefix("qt_temp.");
    return fileName.size() == prefix.size() + kQtTemporarySuffixLength && fileName.startsWith(prefix);
}

} // namespace VornSyncFiles

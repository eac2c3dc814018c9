#include "vorn_cli_local_rename.h"

#include <QByteArray>
#include <QFile>
#include <QtGlobal>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

bool isUnsupported(int error)
{
    return error == EINVAL || error == ENOSYS || error == ENOTSUP;
}

// For file systems without a rename that refuses a taken name: a second link does refuse it.
int linkAndUnlink(const QByteArray& oldPath, const QByteArray& newPath)
{
    if (::link(oldPath.constData(), newPath.constData()) != 0)
        return errno;
    if (::unlink(oldPath.constData()) == 0)
        return 0;
    const int error = errno;
    ::unlink(newPath.constData());
    return error;
}

} // namespace

namespace VornCliLocalRename {

Result rename(const QString& oldPath, const QString& newPath, QString* reason)
{
    const QByteArray from = QFile::encodeName(oldPath);
    const QByteArray to = QFile::encodeName(newPath);
    int error = 0;
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) != 0)
        error = errno;
    if (isUnsupported(error))
        error = linkAndUnlink(from, to);
    if (error == 0)
        return Result::Renamed;
    if (error == EEXIST)
        return Result::NewNameTaken;
    *reason = qt_error_string(error);
    return Result::Failed;
}

} // namespace VornCliLocalRename

#include "scan_floor.h"

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

int scanSide(const QString& path)
{
    DIR* directory = ::opendir(QFile::encodeName(path).constData());
    if (!directory)
        return -1;
    int count = 0;
    while (const dirent* entry = ::readdir(directory)) {
        struct statx facts;
        count += ::statx(::dirfd(directory), entry->d_name, AT_SYMLINK_NOFOLLOW,
                         STATX_TYPE | STATX_SIZE | STATX_MTIME, &facts) == 0
                     ? 1
                     : 0;
    }
    ::closedir(directory);
    return count;
}

} // namespace

int ScanFloor::scan(const QString& localPath, const QString& distantPath)
{
    const int local = scanSide(localPath);
    const int distant = scanSide(distantPath);
    return local < 0 || distant < 0 ? -1 : local + distant;
}

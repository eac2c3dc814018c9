#pragma once

#include <QString>
#include <QStringList>

namespace VornSyncTest {

// The library's threads in this process, or another, as the kernel sees them: by the first 15 characters of their
// names.
QStringList libraryThreads(qint64 processId = 0);

enum class ThreadWait {
    ForAnswer, // of a file system in user space
    ForPage,   // of a file that is being read
};

// Those that wait so at this moment.
QStringList threadsThatWait(ThreadWait kind, qint64 processId = 0);

// Until one of them has waited so for a while: the share is frozen, and it has met that.
[[nodiscard]] bool awaitHang(qint64 processId = 0);

} // namespace VornSyncTest

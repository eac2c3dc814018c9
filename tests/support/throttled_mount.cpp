#include "throttled_mount.h"

#include "mounts.h"
#include "wait.h"

#include <QFile>

#include <csignal>
#include <sys/mount.h>
#include <unistd.h>

namespace VornSyncTest {

ThrottledMount::ThrottledMount(const QString& directory, const QString& mountPoint,
                               const ThrottleRates& rates)
    : m_mountPoint(mountPoint)
{
    const QString program = ChildProcess::find(QStringLiteral("bindfs"));
    if (program.isEmpty() || ::access("/dev/fuse", R_OK | W_OK) != 0) {
        m_reason = program.isEmpty() ? QStringLiteral("bindfs is not installed")
                                     : QStringLiteral("/dev/fuse cannot be used");
        return;
    }
    // With one thread, every call would wait for the slow ones.
    QStringList arguments{QStringLiteral("-f"), QStringLiteral("--multithreaded")};
    if (rates.read > 0)
        arguments << QStringLiteral("--read-rate=%1").arg(rates.read);
    if (rates.write > 0)
        arguments << QStringLiteral("--write-rate=%1").arg(rates.write);
    arguments << directory << mountPoint;
    const bool hasCome =
        m_fileSystem.begin(program, arguments) && waitFor([this] {
            return m_fileSystem.state() == QProcess::NotRunning || isMountPoint(m_mountPoint);
        });
    if (!hasCome || !isMountPoint(mountPoint))
        m_reason = QStringLiteral("bindfs cannot mount");
}

ThrottledMount::~ThrottledMount()
{
    // The end of the file system ends what still waits for it.
    m_fileSystem.killGroup();
    if (isMountPoint(m_mountPoint))
        ::umount2(QFile::encodeName(m_mountPoint).constData(), MNT_DETACH);
}

bool ThrottledMount::freeze() const
{
    return m_fileSystem.freezeGroup();
}

void ThrottledMount::thaw() const
{
    m_fileSystem.signalGroup(SIGCONT);
}

} // namespace VornSyncTest

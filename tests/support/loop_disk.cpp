#include "loop_disk.h"

#include "child_process.h"
#include "wait.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

// xfs takes no smaller one.
constexpr qint64 kDiskBytes = 320LL * 1024 * 1024;

// The same request for ext4 and xfs; their headers are not for programs.
constexpr unsigned long kShutdownRequest = _IOR('X', 125, quint32);
constexpr quint32 kWithoutFlushingTheLog = 2;

bool run(const QString& name, const QStringList& arguments)
{
    const QString program = ChildProcess::find(name);
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    return !program.isEmpty() && process.waitForFinished() && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

} // namespace

LoopDisk::LoopDisk(const QString& fileSystem)
{
    const QString maker = QStringLiteral("mkfs.") + fileSystem;
    if (::geteuid() != 0)
        m_reason = QStringLiteral("a disk of one's own needs root");
    else if (ChildProcess::find(maker).isEmpty())
        m_reason = maker + QStringLiteral(" is not installed");
    else if (!make(fileSystem) || !mount())
        m_reason = QStringLiteral("cannot mount a file with %1 in it").arg(fileSystem);
}

LoopDisk::~LoopDisk()
{
    unmount();
}

bool LoopDisk::make(const QString& fileSystem)
{
    const QString image = m_directory.filePath(QStringLiteral("image"));
    QFile file(image);
    return m_directory.isValid() && QDir().mkpath(path()) && file.open(QIODevice::WriteOnly) &&
           file.resize(kDiskBytes) &&
           run(QStringLiteral("mkfs.") + fileSystem, {QStringLiteral("-q"), image});
}

bool LoopDisk::mount()
{
    m_isMounted = run(QStringLiteral("mount"), {QStringLiteral("-o"), QStringLiteral("loop"),
                                                m_directory.filePath(QStringLiteral("image")), path()});
    return m_isMounted;
}

bool LoopDisk::unmount()
{
    // Whatever still has a file open there is about to close it.
    return !m_isMounted || waitFor([this] {
        m_isMounted = ::umount2(QFile::encodeName(path()).constData(), 0) != 0;
        return !m_isMounted;
    });
}

bool LoopDisk::cutPower() const
{
    const int directory = ::open(QFile::encodeName(path()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    quint32 flags = kWithoutFlushingTheLog;
    const bool isCut = directory >= 0 && ::ioctl(directory, kShutdownRequest, &flags) == 0;
    if (directory >= 0)
        ::close(directory);
    return isCut;
}

bool LoopDisk::restorePower()
{
    return unmount() && mount();
}

} // namespace VornSyncTest

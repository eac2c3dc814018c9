#include "mounts.h"

#include <QFile>
#include <QLoggingCategory>
#include <QProcess>
#include <QSqlDatabase>
#include <QStandardPaths>

#include <cerrno>
#include <cstring>

#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

constexpr long kNobody = 65534;

QString errorText()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

// The system call itself: the C library's function would change every thread of the process.
bool setThreadUser(long real, long effective)
{
    return ::syscall(SYS_setresuid, real, effective, 0L) == 0;
}

// The Qt in use may lie below root's home, where a stranger finds neither plugins nor logging rules (and where
// Qt 5 looks for its prefix for ever).
void loadWhatQtLooksFor()
{
    QLoggingCategory::defaultCategory()->isDebugEnabled();
    const QString name = QStringLiteral("driver is loaded");
    QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    QSqlDatabase::removeDatabase(name);
}

} // namespace

TmpfsMount::TmpfsMount(const QString& mountPoint, const QString& options)
    : m_mountPoint(mountPoint)
    , m_options(options)
{
    m_isMounted = ::mount("tmpfs", QFile::encodeName(m_mountPoint).constData(), "tmpfs", 0,
                          m_options.toUtf8().constData()) == 0;
    if (!m_isMounted)
        m_reason = QStringLiteral("cannot mount a tmpfs: ") + errorText();
}

TmpfsMount::~TmpfsMount()
{
    unmount();
}

bool TmpfsMount::remount(bool readOnly)
{
    const unsigned long flags = unsigned(MS_REMOUNT) | (readOnly ? unsigned(MS_RDONLY) : 0U);
    return m_isMounted && ::mount("tmpfs", QFile::encodeName(m_mountPoint).constData(), "tmpfs", flags,
                                  m_options.toUtf8().constData()) == 0;
}

bool TmpfsMount::unmount()
{
    if (!m_isMounted)
        return true;
    m_isMounted = ::umount2(QFile::encodeName(m_mountPoint).constData(), MNT_DETACH) != 0;
    return !m_isMounted;
}

bool isMountPoint(const QString& path)
{
    QFile mounts(QStringLiteral("/proc/self/mounts"));
    return mounts.open(QIODevice::ReadOnly) && mounts.readAll().contains(' ' + QFile::encodeName(path) + ' ');
}

// The saved user stays root, so that the scope can end.
UnprivilegedScope::UnprivilegedScope()
{
    if (::geteuid() != 0)
        return;
    loadWhatQtLooksFor();
    m_isActive = setThreadUser(kNobody, kNobody);
}

UnprivilegedScope::~UnprivilegedScope()
{
    if (m_isActive && !setThreadUser(0, 0))
        qFatal("cannot become root again");
}

ProcessResult runAsUser(const QString& program, const QStringList& arguments, int timeoutMs)
{
    ProcessResult result;
    QProcess process;
    if (::geteuid() == 0) {
        const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
        if (setpriv.isEmpty()) {
            result.reason = QStringLiteral("setpriv is not installed");
            return result;
        }
        process.setProgram(setpriv);
        process.setArguments(QStringList{QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                                         QStringLiteral("--clear-groups"), program} +
                             arguments);
    } else {
        process.setProgram(program);
        process.setArguments(arguments);
    }
    process.start();
    if (!process.waitForFinished(timeoutMs)) {
        result.reason = process.errorString();
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.hasRun = true;
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.output = process.readAllStandardOutput();
    result.errorOutput = process.readAllStandardError();
    return result;
}

} // namespace VornSyncTest

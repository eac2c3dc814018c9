#include "child_process.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QList>
#include <QStandardPaths>

#include <csignal>
#include <thread>

#include <sys/prctl.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

constexpr int kFreezeTimeoutMs = 10000; // a loaded machine takes milliseconds

// State and process group of "/proc/.../stat": what follows the name, which may hold anything.
QList<QByteArray> statFields(const QString& directory)
{
    QFile file(directory + QStringLiteral("/stat"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray content = file.readAll();
    return content.mid(content.lastIndexOf(')') + 2).split(' ');
}

bool isGroupFrozen(qint64 group)
{
    constexpr int kState = 0;
    constexpr int kGroup = 2;
    for (const QString& process :
         QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString path = QStringLiteral("/proc/") + process;
        if (!process.at(0).isDigit() || statFields(path).value(kGroup).toLongLong() != group)
            continue;
        const QDir tasks(path + QStringLiteral("/task"));
        for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            const QByteArray state = statFields(tasks.filePath(task)).value(kState);
            if (!state.isEmpty() && state != "T" && state != "Z" && state != "X")
                return false;
        }
    }
    return true;
}

} // namespace

ChildProcess::~ChildProcess()
{
    killGroup();
}

QString ChildProcess::find(const QString& program)
{
    const QString found = QStandardPaths::findExecutable(program);
    return found.isEmpty() ? QStandardPaths::findExecutable(program, {QStringLiteral("/usr/local/sbin"),
                                                                      QStringLiteral("/usr/sbin"),
                                                                      QStringLiteral("/sbin")})
                           : found;
}

bool ChildProcess::begin(const QString& program, const QStringList& arguments)
{
    setStandardInputFile(nullDevice());
    if (qEnvironmentVariableIsSet("VORN_TEST_VERBOSE")) {
        setProcessChannelMode(ForwardedChannels);
    } else {
        setStandardOutputFile(nullDevice());
        setStandardErrorFile(nullDevice());
    }
    start(program, arguments);
    return waitForStarted();
}

void ChildProcess::signalGroup(int signal) const
{
    if (processId() > 0)
        ::kill(-pid_t(processId()), signal);
}

void ChildProcess::killGroup()
{
    if (state() == NotRunning)
        return;
    signalGroup(SIGKILL);
    waitForFinished(-1);
}

// Between fork and exec.
void ChildProcess::prepareChild()
{
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
}

bool ChildProcess::freezeGroup() const
{
    signalGroup(SIGSTOP);
    // The signal is on its way: what was asked before may still be answered. Events must not be handled meanwhile, or
    // the test would leave the state in which it wants the freeze.
    const QDeadlineTimer deadline(kFreezeTimeoutMs);
    while (!isGroupFrozen(processId())) {
        if (processId() <= 0 || deadline.hasExpired())
            return false;
        std::this_thread::yield();
    }
    return true;
}

} // namespace VornSyncTest

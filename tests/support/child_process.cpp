#include "child_process.h"

#include <QStandardPaths>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace VornSyncTest {

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
void ChildProcess::setupChildProcess()
{
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
}

} // namespace VornSyncTest

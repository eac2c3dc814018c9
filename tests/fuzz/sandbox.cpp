#include "sandbox.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <cstdlib>
#include <grp.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace VornSyncFuzz {

namespace {

constexpr uid_t kNobody = 65534;

// Memory is faster than a disk, and nothing here has to last.
QString directoryTemplate()
{
    const QString memory = QStringLiteral("/dev/shm");
    const bool isGiven = qEnvironmentVariableIsSet("TMPDIR");
    const QString base = !isGiven && QFileInfo(memory).isWritable() ? memory : QDir::tempPath();
    return base + QStringLiteral("/vorn_sync_fuzz.XXXXXX");
}

void dropPrivileges(const QString& ownDirectory)
{
    if (::geteuid() != 0)
        return;
    const QByteArray directory = QFile::encodeName(ownDirectory);
    // The leak checker attaches to its own process, which a process that has changed its user otherwise refuses.
    if (::chown(directory.constData(), kNobody, kNobody) != 0 || ::setgroups(0, nullptr) != 0 ||
        ::setresgid(kNobody, kNobody, kNobody) != 0 || ::setresuid(kNobody, kNobody, kNobody) != 0 ||
        ::prctl(PR_SET_DUMPABLE, 1) != 0) {
        std::perror("dropping privileges");
        std::abort();
    }
}

void swallowMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    Q_UNUSED(context)
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "%s\n", qPrintable(message));
        std::abort();
    }
    static const bool isVerbose = qEnvironmentVariableIsSet("VORN_TEST_VERBOSE");
    if (isVerbose)
        std::fprintf(stderr, "%s\n", qPrintable(message));
}

int applicationArgc = 1;
char applicationName[] = "fuzz";
char* applicationArgv[] = {applicationName, nullptr};

} // namespace

Sandbox& Sandbox::instance()
{
    static Sandbox* const sandbox = new Sandbox;
    return *sandbox;
}

Sandbox::Sandbox()
    : m_directory(directoryTemplate())
{
    FUZZ_REQUIRE(m_directory.isValid(), m_directory.errorString());
    // Names in any script are part of the game.
    ::setenv("LC_ALL", "C.UTF-8", 1);
    // Qt's own event dispatcher knows how much is posted.
    ::setenv("QT_NO_GLIB", "1", 1);
    dropPrivileges(m_directory.path());
    m_application = new QCoreApplication(applicationArgc, applicationArgv);
    qInstallMessageHandler(swallowMessage);
    std::atexit([] { Sandbox::instance().m_directory.remove(); });
}

QString Sandbox::freshDirectory(const QString& name) const
{
    const QString result = filePath(name);
    FUZZ_REQUIRE(QDir(result).removeRecursively() && QDir().mkpath(result), result);
    return result;
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    FUZZ_REQUIRE(file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
                     file.write(content) == content.size() && file.flush(),
                 path + QLatin1String(": ") + file.errorString());
}

void giveUp(const char* file, int line, const char* condition, const QString& explanation)
{
    std::fprintf(stderr, "%s:%d: required: %s\n%s\n", file, line, condition, qPrintable(explanation));
    std::abort();
}

} // namespace VornSyncFuzz

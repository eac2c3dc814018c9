#include "test_cli_support.h"

#include "wait.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

constexpr int kEndMs = 120000; // a run that ends has ended long before, also on a loaded machine

QString program()
{
    return QStringLiteral(VORN_SYNC_PROGRAM);
}

} // namespace

QString CliResult::words() const
{
    return QStringLiteral("ended %1, exit code %2\nout:\n%3\nerr:\n%4")
        .arg(QString::number(hasEnded), QString::number(exitCode), QString::fromUtf8(out),
             QString::fromUtf8(err));
}

CliProcess::~CliProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(kEndMs);
}

bool CliProcess::start(const QStringList& arguments, const QProcessEnvironment& environment)
{
    return start(program(), arguments, environment);
}

bool CliProcess::start(const QString& executable, const QStringList& arguments,
                       const QProcessEnvironment& environment)
{
    m_process.setProcessEnvironment(environment);
    m_process.start(executable, arguments);
    return m_process.waitForStarted(kWaitMs);
}

QByteArray CliProcess::out()
{
    m_out += m_process.readAllStandardOutput();
    return m_out;
}

QByteArray CliProcess::err()
{
    m_err += m_process.readAllStandardError();
    return m_err;
}

bool CliProcess::waitForOut(const QByteArray& text)
{
    return waitFor([&] { return out().contains(text); });
}

bool CliProcess::waitForErr(const QByteArray& text)
{
    return waitFor([&] { return err().contains(text); });
}

bool CliProcess::sendSignal(int signalNumber) const
{
    return isRunning() && ::kill(static_cast<pid_t>(m_process.processId()), signalNumber) == 0;
}

CliResult CliProcess::waitForEnd()
{
    CliResult result;
    const bool ended = waitFor([this] { return m_process.state() == QProcess::NotRunning; }, kEndMs);
    result.hasEnded = ended && m_process.exitStatus() == QProcess::NormalExit;
    result.exitCode = result.hasEnded ? m_process.exitCode() : -1;
    result.out = out();
    result.err = err();
    return result;
}

CliWorld::CliWorld()
    : m_environment(QProcessEnvironment::systemEnvironment())
{
    for (const char* variable : {"LANG", "LC_MESSAGES", "LC_CTYPE", "LANGUAGE"})
        m_environment.remove(QLatin1String(variable));
    setVariable(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    setVariable(QStringLiteral("HOME"), makeDirectory(QStringLiteral("home")));
    setVariable(QStringLiteral("XDG_STATE_HOME"), makeDirectory(QStringLiteral("xdg")));
    // As in a session of a user; Qt says so where it is missing, or open to others.
    setVariable(QStringLiteral("XDG_RUNTIME_DIR"), m_root.path());
}

QString CliWorld::makeDirectory(const QString& name) const
{
    QDir(m_root.path()).mkpath(name);
    return path(name);
}

CliResult CliWorld::run(const QStringList& arguments) const
{
    CliProcess process;
    if (!process.start(arguments, m_environment))
        return CliResult();
    return process.waitForEnd();
}

QStringList CliWorld::mirrorArguments(const QStringList& arguments) const
{
    return QStringList{QStringLiteral("mirror"), QStringLiteral("--state"), statePath()} + arguments;
}

CliResult CliWorld::mirror(const QStringList& arguments) const
{
    return run(mirrorArguments(arguments));
}

JsonLines::JsonLines(const QByteArray& out)
{
    QList<QByteArray> lines = out.split('\n');
    valid = lines.takeLast().isEmpty(); // the last line is whole
    for (const QByteArray& line : qAsConst(lines)) {
        const QJsonDocument document = QJsonDocument::fromJson(line);
        valid = valid && document.isObject();
        objects.append(document.object());
    }
}

QVector<QJsonObject> JsonLines::events(const QString& event) const
{
    QVector<QJsonObject> found;
    std::copy_if(objects.cbegin(), objects.cend(), std::back_inserter(found),
                 [&event](const QJsonObject& object) {
                     return object.value(QLatin1String("event")).toString() == event;
                 });
    return found;
}

QStringList JsonLines::filesOf(const QString& event) const
{
    QStringList files;
    const QVector<QJsonObject> found = events(event);
    for (const QJsonObject& object : found)
        files.append(object.value(QLatin1String("file")).toString());
    files.sort();
    return files;
}

bool makeFifo(const QString& path)
{
    return ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0;
}

bool makeSocket(const QString& path)
{
    const QByteArray encoded = QFile::encodeName(path);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (static_cast<size_t>(encoded.size()) >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, encoded.constData(), static_cast<size_t>(encoded.size()));
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const bool bound = ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(descriptor); // the entry stays
    return bound;
}

} // namespace VornSyncTest

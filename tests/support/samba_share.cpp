#include "samba_share.h"

#include "mounts.h"
#include "wait.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QProcessEnvironment>
#include <QTcpServer>
#include <QTcpSocket>

#include <csignal>
#include <sys/mount.h>
#include <unistd.h>

namespace VornSyncTest {

namespace {

const QString kServer = QStringLiteral("smbd");
const QString kClient = QStringLiteral("smbnetfs");

// After a failed call the client refuses all others for this long.
constexpr int kNegativeCacheMs = 10;
// A port may be taken by another program between the question and smbd's start.
constexpr int kStartAttempts = 5;
constexpr int kStopMs = 10000;

// The kernel asks the file system each time.
const QString kClientOptions =
    QStringLiteral("smb_query_browsers=false,neg_cache_timeout=%1,attr_timeout=0,entry_timeout=0,"
                   "negative_timeout=0")
        .arg(kNegativeCacheMs);

// %1 is the port, %2 the server's root directory. The client asks as "root", whom this server does not know: a guest.
const QString kServerConfiguration = QStringLiteral("[global]\n"
                                                    "server role = standalone server\n"
                                                    "workgroup = VORN\n"
                                                    "netbios name = VORNTEST\n"
                                                    "interfaces = 127.0.0.1/8\n"
                                                    "bind interfaces only = yes\n"
                                                    "smb ports = %1\n"
                                                    "disable netbios = yes\n"
                                                    "disable spoolss = yes\n"
                                                    "load printers = no\n"
                                                    "map to guest = Bad User\n"
                                                    "guest account = root\n"
                                                    "mangled names = no\n"
                                                    "private dir = %2/state\n"
                                                    "lock directory = %2/state\n"
                                                    "state directory = %2/state\n"
                                                    "cache directory = %2/state\n"
                                                    "pid directory = %2/state\n"
                                                    "ncalrpc dir = %2/state/ncalrpc\n"
                                                    "log file = %2/state/log\n"
                                                    "[share]\n"
                                                    "path = %2/server\n"
                                                    "read only = no\n"
                                                    "guest ok = yes\n"
                                                    "force user = root\n"
                                                    "store dos attributes = no\n"
                                                    "map archive = no\n");

const QString kClientConfiguration = QStringLiteral("[global]\n"
                                                    "workgroup = VORN\n"
                                                    "client min protocol = SMB2\n"
                                                    "private dir = %1/state\n"
                                                    "lock directory = %1/home\n"
                                                    "state directory = %1/home\n"
                                                    "cache directory = %1/home\n");

bool writeFile(const QString& path, const QString& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content.toUtf8()) == content.toUtf8().size() &&
           file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

// One that nobody listens on; 0 when there is none.
int freePort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

} // namespace

SambaShare::SambaShare(const QStringList& settings)
    : m_settings(settings)
{
}

SambaShare::~SambaShare()
{
    thawServer(); // or the client would not end
    unmount();
    killServer();
}

QString SambaShare::mountedPath() const
{
    return QStringLiteral("%1/127.0.0.1:%2/share").arg(mountPoint(), QString::number(m_port));
}

QString SambaShare::missingPiece() const
{
    if (::geteuid() != 0)
        return QStringLiteral("a Samba server of one's own needs root");
    for (const QString& program : {kServer, kClient}) {
        if (ChildProcess::find(program).isEmpty())
            return program + QStringLiteral(" is not installed");
    }
    if (::access("/dev/fuse", R_OK | W_OK) != 0)
        return QStringLiteral("/dev/fuse cannot be used");
    return m_root.isValid() ? QString() : QStringLiteral("there is no temporary directory");
}

bool SambaShare::start()
{
    m_reason = missingPiece();
    if (!m_reason.isEmpty())
        return false;
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        m_port = freePort();
        if (writeConfiguration() && startServer())
            return mount();
    }
    m_reason = QStringLiteral("smbd does not start");
    return false;
}

bool SambaShare::writeConfiguration()
{
    QDir root(m_root.path());
    return root.mkpath(QStringLiteral("server")) && root.mkpath(QStringLiteral("state")) &&
           root.mkpath(QStringLiteral("mount")) && root.mkpath(QStringLiteral("home/.smb")) &&
           writeFile(root.filePath(QStringLiteral("smb.conf")),
                     kServerConfiguration.arg(QString::number(m_port), root.path()) +
                         m_settings.join(QLatin1Char('\n')) + QLatin1Char('\n')) &&
           writeFile(root.filePath(QStringLiteral("home/.smb/smb.conf")),
                     kClientConfiguration.arg(root.path())) &&
           writeFile(root.filePath(QStringLiteral("home/.smb/smbnetfs.conf")), QString());
}

bool SambaShare::startServer()
{
    const QStringList arguments{QStringLiteral("--foreground"), QStringLiteral("--no-process-group"),
                                QStringLiteral("--configfile=") +
                                    m_root.filePath(QStringLiteral("smb.conf"))};
    return m_server.begin(ChildProcess::find(kServer), arguments) &&
           waitFor([this] { return m_server.state() == QProcess::NotRunning || isServing(); }) &&
           m_server.state() == QProcess::Running;
}

bool SambaShare::isServing() const
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, quint16(m_port));
    return socket.waitForConnected();
}

void SambaShare::killServer()
{
    m_server.killGroup();
}

bool SambaShare::freezeServer()
{
    return m_server.freezeGroup();
}

void SambaShare::thawServer()
{
    m_server.signalGroup(SIGCONT);
}

bool SambaShare::resumeServer()
{
    return startServer();
}

bool SambaShare::mount()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), m_root.filePath(QStringLiteral("home")));
    environment.insert(QStringLiteral("USER"), QStringLiteral("root"));
    m_client.setProcessEnvironment(environment);
    const QStringList arguments{mountPoint(), QStringLiteral("-f"), QStringLiteral("-o"), kClientOptions};
    const bool isMounted =
        m_client.begin(ChildProcess::find(kClient), arguments) &&
        waitFor([this] { return m_client.state() == QProcess::NotRunning || isMountPoint(mountPoint()); }) &&
        isMountPoint(mountPoint()) &&
        // The first call connects.
        waitFor([this] { return QFileInfo(mountedPath()).isDir() && QDir(mountedPath()).isReadable(); });
    if (!isMounted)
        m_reason = QStringLiteral("smbnetfs cannot mount the share");
    return isMounted;
}

void SambaShare::unmount()
{
    if (isMountPoint(mountPoint()))
        ::umount2(QFile::encodeName(mountPoint()).constData(), MNT_DETACH);
    if (m_client.state() == QProcess::NotRunning)
        return;
    m_client.terminate();
    if (!m_client.waitForFinished(kStopMs))
        m_client.killGroup();
}

} // namespace VornSyncTest

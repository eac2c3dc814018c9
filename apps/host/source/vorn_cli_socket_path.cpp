#include "vorn_cli_socket_path.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// A server binds the socket in a temporary directory of six characters first.
constexpr int kBindingBytes = 8;
constexpr int kLongestPathBytes = static_cast<int>(sizeof(sockaddr_un::sun_path)) - 1 - kBindingBytes;

} // namespace

VornCliSocketPath::VornCliSocketPath(const QString& stateDirectory)
    : m_path(stateDirectory + QLatin1Char('/') + fileName())
{
    if (QFile::encodeName(m_path).size() <= kLongestPathBytes)
        return;
    // The directory under a short name, without which the socket would have to lie elsewhere.
    m_directory = ::open(QFile::encodeName(stateDirectory).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    m_isPermitted = m_directory >= 0 || errno != EACCES;
    m_path = m_directory < 0
                 ? QString()
                 : QStringLiteral("/proc/self/fd/%1/%2").arg(QString::number(m_directory), fileName());
}

VornCliSocketPath::~VornCliSocketPath()
{
    if (m_directory >= 0)
        ::close(m_directory);
}

QString VornCliSocketPath::fileName()
{
    return QStringLiteral("commands");
}

#include "vorn_cli_command_client.h"

#include "vorn_cli_protocol.h"
#include "vorn_cli_socket_path.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLocalSocket>

using namespace VornCliProtocol;

namespace {

int left(const QDeadlineTimer& deadline)
{
    return static_cast<int>(deadline.remainingTime());
}

VornCliCommandClient::Result whyUnconnected(const QLocalSocket& socket, const QString& stateDirectory)
{
    switch (socket.error()) {
    case QLocalSocket::ServerNotFoundError:
    case QLocalSocket::ConnectionRefusedError: // the socket of a host that was killed
        return VornCliCommandClient::Result::NoHost;
    case QLocalSocket::SocketAccessError:
        return VornCliCommandClient::Result::NoAccess;
    default:
        // A file in the place of the directory has no error of its own.
        return QFileInfo(stateDirectory).isDir() ? VornCliCommandClient::Result::NoAnswer
                                                 : VornCliCommandClient::Result::NoHost;
    }
}

} // namespace

VornCliCommandClient::VornCliCommandClient(const QString& stateDirectory)
    : m_stateDirectory(stateDirectory)
{
}

VornCliCommandClient::Result VornCliCommandClient::ask(const QString& command, const QJsonObject& arguments,
                                                       int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    const VornCliSocketPath path(m_stateDirectory);
    if (path.path().isEmpty())
        return path.isPermitted() ? Result::NoHost : Result::NoAccess;
    QLocalSocket socket;
    socket.connectToServer(path.path());
    if (!socket.waitForConnected(left(deadline)))
        return whyUnconnected(socket, m_stateDirectory);
    const QJsonObject request{{kProtocolKey, kVersion}, {kCommandKey, command}, {kArgumentsKey, arguments}};
    socket.write(QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n');
    while (!socket.canReadLine()) {
        if (socket.bytesAvailable() > kMaxAnswerBytes)
            return Result::BadAnswer;
        if (socket.waitForReadyRead(left(deadline)) || socket.canReadLine())
            continue;
        return socket.state() == QLocalSocket::ConnectedState ? Result::NoAnswer : Result::HostEnded;
    }
    const QJsonObject object = QJsonDocument::fromJson(socket.readLine()).object();
    if (object.value(kProtocolKey).toInt() == 0 || !object.value(kOkKey).isBool())
        return Result::BadAnswer;
    m_answer = object;
    return Result::Answered;
}

#include "vorn_cli_command_server.h"

#include <QJsonObject>
#include <QLocalSocket>

namespace {

constexpr int kMostConnections = 64; // more commands at once than anybody types

} // namespace

VornCliCommandServer::VornCliCommandServer(const QString& stateDirectory, QObject* parent)
    : QObject(parent)
    , m_path(stateDirectory)
{
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, &VornCliCommandServer::onNewConnection);
}

VornCliCommandServer::~VornCliCommandServer()
{
    close();
}

bool VornCliCommandServer::listen()
{
    QLocalServer::removeServer(m_path.path()); // of a host that was killed
    return m_server.listen(m_path.path());
}

void VornCliCommandServer::close()
{
    m_server.close();
    const auto connections = m_connections.findChildren<VornCliCommandConnection*>();
    for (VornCliCommandConnection* connection : connections) {
        connection->refuse(QStringLiteral("ending"));
        delete connection;
    }
}

void VornCliCommandServer::onNewConnection()
{
    while (QLocalSocket* socket = m_server.nextPendingConnection()) {
        auto* connection = new VornCliCommandConnection(socket, &m_connections);
        connect(connection, &VornCliCommandConnection::requested, this, &VornCliCommandServer::requested);
        if (m_connections.children().size() > kMostConnections)
            connection->refuse(QStringLiteral("too_many"));
    }
}

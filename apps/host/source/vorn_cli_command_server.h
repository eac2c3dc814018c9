#pragma once

#include "vorn_cli_command_connection.h"
#include "vorn_cli_socket_path.h"

#include <QLocalServer>
#include <QObject>

// The host's door for commands: a socket in the state directory that only its owner may connect to. Lives on the
// host's thread, whose lock on the state directory it relies on: whatever has the socket's name is a leftover.
class VornCliCommandServer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliCommandServer)

public:
    explicit VornCliCommandServer(const QString& stateDirectory, QObject* parent = nullptr);
    ~VornCliCommandServer() override;

    bool listen(); // requests wait until the event loop runs
    QString error() const { return m_server.errorString(); }
    void close(); // those who still wait for an answer learn that the host ends

signals:
    void requested(VornCliCommandConnection* connection, const QJsonObject& request);

private:
    void onNewConnection();

    VornCliSocketPath m_path;
    QLocalServer m_server;
    QObject m_connections; // parent of them
};

#pragma once

#include <QJsonObject>
#include <QObject>
#include <QTimer>

class QLocalSocket;

// One command at the host's door: takes its request, gives it the answer, and deletes itself. Lives on the host's
// thread. Neither a client that sends too much, too little or nothing nor one that does not read holds
// anything up: each has its time, and then the connection is cut.
class VornCliCommandConnection : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornCliCommandConnection)

public:
    VornCliCommandConnection(QLocalSocket* socket, QObject* parent); // takes the socket over

    void answer(const QJsonObject& answer); // once; the protocol's version is added
    void refuse(const QString& reason);

signals:
    void requested(VornCliCommandConnection* connection, const QJsonObject& request);

private:
    void onReadyRead();
    void end();

    QLocalSocket* m_socket; // child
    QTimer m_timer;         // the client's time to ask, and later to read
    bool m_hasAsked = false;
    bool m_isAnswered = false;
};

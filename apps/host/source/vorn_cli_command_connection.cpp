#include "vorn_cli_command_connection.h"

#include "vorn_cli_protocol.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalSocket>

using namespace VornCliProtocol;

namespace {

constexpr int kClientTimeMs = 10000; // a command asks at once and reads at once, also on a loaded machine

} // namespace

VornCliCommandConnection::VornCliCommandConnection(QLocalSocket* socket, QObject* parent)
    : QObject(parent)
    , m_socket(socket)
{
    m_socket->setParent(this);
    m_socket->setReadBufferSize(kMaxRequestBytes + 1);
    m_timer.setSingleShot(true);
    m_timer.setInterval(kClientTimeMs);
    connect(&m_timer, &QTimer::timeout, this, &VornCliCommandConnection::end);
    connect(m_socket, &QLocalSocket::readyRead, this, &VornCliCommandConnection::onReadyRead);
    connect(m_socket, &QLocalSocket::disconnected, this, &VornCliCommandConnection::end);
    m_timer.start();
    // What came with the connection is announced by no signal.
    QMetaObject::invokeMethod(this, &VornCliCommandConnection::onReadyRead, Qt::QueuedConnection);
}

void VornCliCommandConnection::onReadyRead()
{
    if (m_hasAsked) {
        m_socket->readAll(); // one request a connection
        return;
    }
    if (!m_socket->canReadLine()) {
        if (m_socket->bytesAvailable() > kMaxRequestBytes) {
            m_hasAsked = true;
            refuse(QStringLiteral("bad_request"));
        }
        return;
    }
    m_hasAsked = true;
    m_timer.stop();
    const QJsonDocument document = QJsonDocument::fromJson(m_socket->readLine());
    if (!document.isObject())
        return refuse(QStringLiteral("bad_request"));
    const QJsonObject request = document.object();
    if (request.value(kProtocolKey).toInt() != kVersion) {
        return answer({{kOkKey, false},
                       {kRefusedKey, QStringLiteral("protocol")},
                       {kDetailsKey, QJsonArray{QString::number(kVersion)}}});
    }
    emit requested(this, request);
}

void VornCliCommandConnection::answer(const QJsonObject& answer)
{
    if (m_isAnswered)
        return;
    m_isAnswered = true;
    m_hasAsked = true; // what still comes is not looked at
    QJsonObject object = answer;
    object.insert(kProtocolKey, kVersion);
    m_socket->write(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
    m_timer.start();
    m_socket->flush();                // as much as the system takes now, the rest from the event loop
    m_socket->disconnectFromServer(); // once all is written
}

void VornCliCommandConnection::refuse(const QString& reason)
{
    answer({{kOkKey, false}, {kRefusedKey, reason}});
}

void VornCliCommandConnection::end()
{
    m_timer.stop();
    m_socket->disconnect(this);
    m_socket->abort();
    deleteLater();
}

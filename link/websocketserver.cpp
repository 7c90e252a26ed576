#include "link/websocketserver.h"

#include "link/commandtable.h"
#include "link/randomport.h"

#include <QDebug>
#include <QHostAddress>
#include <QJsonDocument>
#include <QMutexLocker>
#include <QSettings>
#include <QTcpSocket>
#include <QWebSocketProtocol>

#include <chrono>

using namespace std::chrono_literals;

namespace
{
constexpr auto pingInterval = 5000ms;
constexpr auto listenRetryDelay = 1000ms;

/// No message waits until the client has acknowledged the one before, or the first part of itself:
/// that may take 40 ms. The server's sockets stand behind its clients, one for each.
void sendWithoutDelay(const QWebSocketServer &server, const QWebSocket &client)
{
    for (QTcpSocket *socket : server.findChildren<QTcpSocket *>()) {
        if (socket->peerPort() == client.peerPort() &&
            socket->peerAddress() == client.peerAddress())
            socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    }
}
} // namespace

WebSocketServer::WebSocketServer(QObject *parent)
    : QObject(parent),
      webSocketServer(QSharedPointer<QWebSocketServer>::create(
          QStringLiteral("tavoriWebSocketServer"), QWebSocketServer::NonSecureMode)),
      pingTimer(new QTimer(this))
{
    pingTimer->setTimerType(Qt::PreciseTimer);
    pingTimer->setInterval(pingInterval);
    connect(webSocketServer.get(), &QWebSocketServer::newConnection, this,
            &WebSocketServer::handleNewConnection);
    connect(pingTimer, &QTimer::timeout, this, &WebSocketServer::ping);
}

WebSocketServer::~WebSocketServer()
{
    destroying = true;
}

bool WebSocketServer::startListen(unsigned short port)
{
    if (destroying || !webSocketServer)
        return false;
    if (webSocketServer->isListening())
        return true;
    if (webSocketServer->listen(QHostAddress::Any, port)) {
        qInfo() << "WebSocket server listening with port" << port;
        return true;
    }
    qCritical() << "Faild to listen plugin websocket server with port" << port << "because of"
                << webSocketServer->errorString();
    listenPort = randomPortOtherThan(port);
    QTimer::singleShot(listenRetryDelay, this, [this] { startListen(listenPort); });
    return false;
}

void WebSocketServer::handleNewConnection()
{
    const QMutexLocker locker(&mutex);
    QWebSocket *socket = webSocketServer->nextPendingConnection();
    if (socket == nullptr)
        return;
    // An earlier client stays connected and its commands still work; only the replies move on.
    client = socket;
    sendWithoutDelay(*webSocketServer, *socket);
    connect(this, &QObject::destroyed, socket, &QObject::deleteLater);
    connect(socket, &QWebSocket::disconnected, this, &WebSocketServer::onSocketDisconnected);
    connect(socket, &QWebSocket::textMessageReceived, this,
            &WebSocketServer::onTextMessageReceived);
    connect(socket, &QWebSocket::pong, this, [] {});
    pingTimer->start();
    // A client that sends its close together with its handshake has left before anybody listened.
    if (socket->state() == QAbstractSocket::UnconnectedState)
        QMetaObject::invokeMethod(socket, &QWebSocket::disconnected, Qt::QueuedConnection);
}

void WebSocketServer::onSocketDisconnected()
{
    // The last sockets go together with the server, when the lock is no more.
    if (destroying)
        return;
    const QMutexLocker locker(&mutex);
    auto *socket = qobject_cast<QWebSocket *>(sender());
    if (socket == nullptr)
        return;
    if (socket->closeCode() != QWebSocketProtocol::CloseCodeNormal) {
        qCritical() << "WebSocketServer::onSocketDisconnected" << socket << socket->closeCode()
                    << socket->closeReason();
    }
    // Whichever socket goes: a newer client gets no more pings once an older one has left.
    pingTimer->stop();
    if (client == socket)
        client.clear();
    socket->deleteLater();
}

void WebSocketServer::onBinaryMessageReceived(QByteArray) {}

void WebSocketServer::onTextMessageReceived(QString message)
{
    const QJsonObject document = QJsonDocument::fromJson(message.toUtf8()).object();
    const QString name = document.value(QLatin1StringView("event")).toString();
    if (const Command *command = CommandTable::find(name))
        command->run(*this, document.value(QLatin1StringView("payload")).toObject());
}

void WebSocketServer::ping()
{
    const QMutexLocker locker(&mutex);
    if (client && client->isValid())
        client->ping();
}

void WebSocketServer::replyHeartbeat()
{
    const QMutexLocker locker(&mutex);
    if (canSend())
        transmit({{QLatin1StringView("event"), QLatin1StringView("heartbeat")}});
}

void WebSocketServer::replySystemUUID()
{
    QTimer::singleShot(0, this, [this] {
        const QSettings cryptography(
            QStringLiteral("HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography"),
            QSettings::NativeFormat);
        didReceiveSystemUUID(cryptography.value("MachineGuid").toString());
    });
}

bool WebSocketServer::canSend() const
{
    return !destroying && !client.isNull();
}

void WebSocketServer::transmit(const QJsonObject &document)
{
    client->sendTextMessage(
        QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Compact)));
}

#include "moc_websocketserver.cpp" // NOLINT(bugprone-suspicious-include)

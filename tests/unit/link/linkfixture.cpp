#include "linkfixture.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QHostAddress>
#include <QJsonDocument>
#include <QTcpServer>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace
{
const QString heartbeatText = QStringLiteral(R"({"event":"heartbeat"})");

} // namespace

bool waitUntil(const std::function<bool()> &condition)
{
    // Qt Test's own wait looks every 10 ms; this one at every event.
    const QDeadlineTimer deadline(patience);
    QTimer wake;
    wake.start(100);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

quint16 freePort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::Any) ? probe.serverPort() : 0;
}

ListeningServer::ListeningServer()
{
    // Somebody else can take the port between the probe and the listen; then another is tried.
    do {
        link = std::make_unique<WebSocketServer>(nullptr);
        port = freePort();
    } while (!link->startListen(port));
}

WireClient::WireClient(quint16 port, const QString &host)
{
    QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket,
                     [this](const QString &text) { texts.append(text); });
    socket.open(QUrl(QStringLiteral("ws://%1:%2").arg(host).arg(port)));
    // The server must have taken the client, too, before anything else connects.
    if (waitUntil([this] { return isConnected(); }))
        texts = takeTexts();
}

bool WireClient::isConnected() const
{
    return socket.state() == QAbstractSocket::ConnectedState;
}

void WireClient::sendCommand(const QString &event, const QJsonObject &payload)
{
    const QJsonObject command{{"event", event}, {"payload", payload}};
    send(QString::fromUtf8(QJsonDocument(command).toJson(QJsonDocument::Compact)));
}

QStringList WireClient::takeTexts()
{
    send(heartbeatText);
    const auto isAnswered = [this] { return texts.contains(heartbeatText); };
    if (!waitUntil(isAnswered))
        texts.append(QStringLiteral("no answer to a heartbeat"));
    texts.removeOne(heartbeatText);
    return std::exchange(texts, {});
}

bool WireClient::waitForTexts(qsizetype count)
{
    return waitUntil([&] { return texts.size() >= count; });
}

QByteArray RawClient::request(const QByteArray &headers)
{
    return "GET / HTTP/1.1\r\n"
           "Host: localhost\r\n"
           "Upgrade: websocket\r\n"
           "Connection: Upgrade\r\n"
           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
           "Sec-WebSocket-Version: 13\r\n" +
           headers + "\r\n";
}

RawClient::RawClient(quint16 port, const QByteArray &headers)
{
    socket.connectToHost(QHostAddress::LocalHost, port);
    socket.write(request(headers));
    const auto hasHeader = [this] {
        handshake += socket.readAll();
        return handshake.contains("\r\n\r\n");
    };
    if (!waitUntil(hasHeader))
        return;
    const qsizetype end = handshake.indexOf("\r\n\r\n") + 4;
    received = handshake.mid(end);
    handshake.truncate(end);
}

void RawClient::send(Opcode opcode, const QByteArray &payload, bool isFinal)
{
    // A client's frames are masked; a mask of zeros leaves the payload as it is.
    Q_ASSERT(payload.size() < 126);
    QByteArray frame;
    frame.append(char((isFinal ? 0x80 : 0x00) | opcode));
    frame.append(char(0x80 | payload.size()));
    frame.append(4, '\0');
    socket.write(frame + payload);
}

QList<RawClient::Frame> RawClient::frames()
{
    received += socket.readAll();
    QList<Frame> found;
    qsizetype at = 0;
    while (at + 2 <= received.size()) {
        qsizetype header = 2;
        qsizetype length = received.at(at + 1) & 0x7F;
        if (length == 126) {
            if (at + 4 > received.size())
                break;
            header = 4;
            length = uchar(received.at(at + 2)) << 8 | uchar(received.at(at + 3));
        }
        if (at + header + length > received.size())
            break;
        found.append({received.at(at) & 0x0F, received.mid(at + header, length)});
        at += header + length;
    }
    return found;
}

int RawClient::count(Opcode opcode)
{
    const QList<Frame> all = frames();
    return int(std::count_if(all.begin(), all.end(),
                             [=](const Frame &frame) { return frame.opcode == opcode; }));
}

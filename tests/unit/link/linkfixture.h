// What the control link's tests share: a server on a free port, clients of two kinds, the log.
#pragma once

#include "link/websocketserver.h"

#include <QStringList>
#include <QTcpSocket>
#include <QWebSocket>

#include <functional>
#include <memory>

/// How long a test waits for what must come; it never waits for what must not.
inline constexpr int patience = 60000;

/// Runs the event loop until the condition holds; false if it does not within `patience`.
[[nodiscard]] bool waitUntil(const std::function<bool()> &condition);

/// A port that nobody listens on at the moment of asking.
[[nodiscard]] quint16 freePort();

/// A WebSocketServer that listens on a free port.
struct ListeningServer
{
    ListeningServer();

    std::unique_ptr<WebSocketServer> link;
    quint16 port = 0;
};

/// A client that keeps every text it receives.
class WireClient
{
public:
    explicit WireClient(quint16 port, const QString &host = QStringLiteral("127.0.0.1"));

    [[nodiscard]] bool isConnected() const;
    void send(const QString &text) { socket.sendTextMessage(text); }
    void sendCommand(const QString &event, const QJsonObject &payload);
    /// Waits until the server has taken everything sent so far; the texts received since the last
    /// call, without the answer to the barrier itself. Only for the newest client.
    QStringList takeTexts();
    /// Waits until so many texts are here; false if they do not come.
    bool waitForTexts(qsizetype count);

    QWebSocket socket;
    QStringList texts;
};

/// Speaks the protocol byte by byte, for what a well-behaved client never sends or shows.
class RawClient
{
public:
    enum Opcode
    {
        Continuation = 0x0,
        Text = 0x1,
        Binary = 0x2,
        Close = 0x8,
        Ping = 0x9,
        Pong = 0xA,
    };
    struct Frame
    {
        int opcode;
        QByteArray payload;
    };

    /// Connects and shakes hands, with further header lines if any.
    explicit RawClient(quint16 port, const QByteArray &headers = {});
    /// What it asks the server for to shake hands.
    [[nodiscard]] static QByteArray request(const QByteArray &headers = {});

    void send(Opcode opcode, const QByteArray &payload, bool isFinal = true);
    /// All whole frames received so far.
    [[nodiscard]] QList<Frame> frames();
    [[nodiscard]] int count(Opcode opcode);

    QTcpSocket socket;
    QByteArray handshake;

private:
    QByteArray received;
};

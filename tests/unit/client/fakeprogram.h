// A program that answers on the wire as it is told to.
#pragma once

#include <QJsonObject>
#include <QList>
#include <QPointer>
#include <QString>
#include <QWebSocket>
#include <QWebSocketServer>

#include <functional>

struct FakeEndpoint
{
    QString type;
    QString name;
    QString id;
    int volume = 50;
    bool isMuted = false;

    [[nodiscard]] QJsonObject info() const;
};

/// Answers the newest client, as the real one does. The faults are what a test sets.
class FakeProgram
{
public:
    FakeProgram();

    /// Listens on the port, on any free one if it is 0.
    bool listen(quint16 port = 0);
    [[nodiscard]] quint16 port() const { return server.serverPort(); }
    [[nodiscard]] bool hasClient() const { return !sockets.isEmpty(); }
    void send(const QString &text);
    void sendEvent(const QString &event, const QJsonObject &payload);
    /// Ends every connection, as a program that quits does.
    void hangUp();
    /// The messages of this name that have come, whole.
    [[nodiscard]] QList<QJsonObject> received(const QString &command) const;
    [[nodiscard]] FakeEndpoint &endpoint(const QString &id);

    QList<FakeEndpoint> endpoints;
    /// What getAudioSessionInfos answers: a player on the speakers.
    QJsonObject sessionInfos;
    QString defaultOutput;
    QString defaultInput;
    QList<QJsonObject> messages;
    QList<int> closeCodes;

    /// Never says a word.
    bool isMute = false;
    /// Keeps levels and defaults as they are, without telling.
    bool ignoresOrders = false;
    /// Keeps levels as they are, and tells.
    bool refusesOrders = false;
    /// So many answers pass before an order shows.
    int delay = 0;
    /// Called for each command first; true if that was all.
    std::function<bool(const QString &)> script;

private:
    void accept();
    void receive(const QString &text);
    void answerInfos(const QString &type);
    void answerLevel(const QString &command, const QJsonObject &payload);
    void answerMove(const QJsonObject &payload);
    void order(const QString &command, const QJsonObject &payload);
    /// Runs what an order does once its delay is over.
    void settle();

    QWebSocketServer server{QStringLiteral("fake"), QWebSocketServer::NonSecureMode};
    QPointer<QWebSocket> client;
    QList<QWebSocket *> sockets;
    std::function<void()> pending;
};

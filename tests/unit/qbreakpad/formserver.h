// A collection service on loopback, for what is posted to it.
#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QTcpServer>
#include <QUrl>

class QTcpSocket;

/// One request as it came over the wire.
struct PostedForm
{
    QByteArray requestLine;
    QMap<QByteArray, QByteArray> headers; ///< by their names in lower case
    QByteArray body;

    /// Of the multipart body, as the header tells it.
    [[nodiscard]] QByteArray boundary() const;
};

/// Takes HTTP requests on a loopback port of its own and answers each as it was told to.
class FormServer : public QTcpServer
{
    Q_OBJECT

public:
    enum class Behaviour
    {
        Answer,
        HoldBack,
        HangUp
    };

    FormServer();

    [[nodiscard]] QUrl url() const;
    /// How the requests from now on are answered; with HoldBack, once release is called.
    void setAnswer(const QByteArray &status, const QByteArray &body = {});
    void setBehaviour(Behaviour value) { behaviour = value; }
    /// Answers what was held back.
    void release();

    [[nodiscard]] const QList<PostedForm> &forms() const { return received; }
    /// Whether a request is coming in.
    [[nodiscard]] bool hasBegun() const { return !unfinished.isEmpty(); }
    [[nodiscard]] int heldBack() const { return int(waiting.size()); }

private:
    void onNewConnection();
    void onReadyRead(QTcpSocket *socket);
    void answer(QTcpSocket *socket);

    Behaviour behaviour = Behaviour::Answer;
    QByteArray response;
    QMap<QTcpSocket *, QByteArray> unfinished;
    QList<QTcpSocket *> waiting;
    QList<PostedForm> received;
};

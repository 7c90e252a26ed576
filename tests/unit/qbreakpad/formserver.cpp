#include "tests/unit/qbreakpad/formserver.h"

#include <QTcpSocket>

#include <optional>

namespace
{

/// The request at the buffer's begin; nothing while it is incomplete.
std::optional<PostedForm> parse(const QByteArray &buffer)
{
    const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return std::nullopt;
    PostedForm form;
    const QList<QByteArray> lines = buffer.left(headEnd).split('\n');
    form.requestLine = lines.first().trimmed();
    for (const QByteArray &line : lines.mid(1)) {
        const qsizetype colon = line.indexOf(':');
        form.headers[line.left(colon).toLower()] = line.mid(colon + 1).trimmed();
    }
    const qsizetype length = form.headers.value("content-length").toLongLong();
    form.body = buffer.mid(headEnd + 4);
    if (form.body.size() < length)
        return std::nullopt;
    return form;
}

} // namespace

QByteArray PostedForm::boundary() const
{
    const QByteArray type = headers.value("content-type");
    const QByteArray begin = R"(multipart/form-data; boundary=")";
    return type.startsWith(begin) ? type.mid(begin.size()).chopped(1) : QByteArray();
}

FormServer::FormServer()
{
    setAnswer("200 OK");
    connect(this, &QTcpServer::newConnection, this, &FormServer::onNewConnection);
    listen(QHostAddress::LocalHost);
}

QUrl FormServer::url() const
{
    return QUrl(QString("http://127.0.0.1:%1/crashes/post").arg(serverPort()));
}

void FormServer::setAnswer(const QByteArray &status, const QByteArray &body)
{
    response = "HTTP/1.1 " + status +
               "\r\nConnection: close\r\nContent-Length: " + QByteArray::number(body.size()) +
               "\r\n\r\n" + body;
}

void FormServer::release()
{
    behaviour = Behaviour::Answer;
    for (QTcpSocket *socket : std::exchange(waiting, {}))
        answer(socket);
}

void FormServer::onNewConnection()
{
    while (QTcpSocket *socket = nextPendingConnection()) {
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            waiting.removeAll(socket);
            unfinished.remove(socket);
            socket->deleteLater();
        });
    }
}

void FormServer::onReadyRead(QTcpSocket *socket)
{
    unfinished[socket] += socket->readAll();
    const std::optional<PostedForm> form = parse(unfinished[socket]);
    if (!form)
        return;
    unfinished.remove(socket);
    received.append(*form);
    switch (behaviour) {
    case Behaviour::Answer:
        answer(socket);
        break;
    case Behaviour::HoldBack:
        waiting.append(socket);
        break;
    case Behaviour::HangUp:
        socket->abort();
        break;
    }
}

void FormServer::answer(QTcpSocket *socket)
{
    socket->write(response);
    socket->disconnectFromHost();
}

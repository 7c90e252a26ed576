#include "client/wire.h"

#include "client/interrupt.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QJsonDocument>
#include <QTimer>
#include <QUrl>

#include <algorithm>

namespace
{
constexpr int farewellMilliseconds = 1000;
/// How long a wait sleeps at most before it looks at its deadline and at the user again.
constexpr int tickMilliseconds = 100;
} // namespace

Wire::Wire()
{
    QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket,
                     [this](const QString &text) { receive(text); });
}

Wire::~Wire()
{
    if (!isOpen())
        return;
    socket.close(QWebSocketProtocol::CloseCodeNormal);
    wait([this] { return socket.state() == QAbstractSocket::UnconnectedState; },
         QDeadlineTimer(farewellMilliseconds));
}

Exit Wire::open(const QString &host, quint16 port, const QDeadlineTimer &deadline)
{
    QUrl url;
    url.setScheme("ws");
    url.setHost(host);
    url.setPort(port);
    const QString place = QStringLiteral("%1:%2").arg(host).arg(port);
    if (!url.isValid() || url.host().isEmpty())
        return fail(Exit::Usage, QStringLiteral("\"%1\" is no host").arg(host));

    socket.open(url);
    // A handshake with a stranger fails with a word of its own and leaves the connection open.
    const QString noError = socket.errorString();
    const auto isSettled = [&] {
        return isOpen() || socket.state() == QAbstractSocket::UnconnectedState ||
               socket.errorString() != noError;
    };
    if (!wait(isSettled, deadline))
        return fail(Exit::TimedOut, QStringLiteral("no answer from %1").arg(place));
    if (isOpen())
        return Exit::Ok;
    if (socket.error() == QAbstractSocket::ConnectionRefusedError) {
        return fail(Exit::NotListening,
                    QStringLiteral("nothing listens on %1; is Quorvane running?").arg(place));
    }
    return fail(Exit::NotListening,
                QStringLiteral("no connection to %1: %2").arg(place, socket.errorString()));
}

bool Wire::isOpen() const
{
    return socket.state() == QAbstractSocket::ConnectedState;
}

void Wire::send(const QString &command, const std::optional<QJsonObject> &payload)
{
    QJsonObject document{{"event", command}};
    if (payload)
        document.insert("payload", *payload);
    socket.sendTextMessage(
        QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Compact)));
}

std::optional<Event> Wire::next(const QDeadlineTimer &deadline)
{
    wait([this] { return !events.isEmpty() || !isOpen() || isInterrupted(); }, deadline);
    if (events.isEmpty())
        return std::nullopt;
    return events.dequeue();
}

bool Wire::waitForEnd(const QDeadlineTimer &deadline)
{
    return wait([this] { return !isOpen(); }, deadline);
}

void Wire::receive(const QString &text)
{
    const QJsonObject document = QJsonDocument::fromJson(text.toUtf8()).object();
    events.enqueue({document["event"].toString(), document["payload"].toObject(), text});
}

bool Wire::wait(const std::function<bool()> &condition, const QDeadlineTimer &deadline)
{
    QTimer tick;
    tick.start(tickMilliseconds);
    while (!condition()) {
        const qint64 left = deadline.remainingTime();
        if (left == 0)
            return false;
        if (left > 0 && left < tickMilliseconds)
            tick.start(int(left));
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

// One connection to the program: JSON envelopes over a WebSocket.
#pragma once

#include "client/exitcode.h"

#include <QDeadlineTimer>
#include <QJsonObject>
#include <QQueue>
#include <QWebSocket>

#include <functional>
#include <optional>

/// A message from the program.
struct Event
{
    QString name;
    QJsonObject payload;
    /// As it stood on the wire.
    QString text;
};

class Wire
{
public:
    Wire();
    /// Takes its leave properly, so that the program has nothing to complain of in its log.
    ~Wire();
    Q_DISABLE_COPY_MOVE(Wire)

    [[nodiscard]] Exit open(const QString &host, quint16 port, const QDeadlineTimer &deadline);
    [[nodiscard]] bool isOpen() const;

    /// Sends a command; without a payload if there is none.
    void send(const QString &command, const std::optional<QJsonObject> &payload = {});
    /// The next event; nothing when the deadline has passed, the connection has ended or the user
    /// has interrupted.
    std::optional<Event> next(const QDeadlineTimer &deadline);
    /// Waits for the program to end the connection; false if the deadline came first.
    bool waitForEnd(const QDeadlineTimer &deadline);

private:
    void receive(const QString &text);
    /// Runs the event loop until the condition or the deadline.
    static bool wait(const std::function<bool()> &condition, const QDeadlineTimer &deadline);

    QWebSocket socket;
    QQueue<Event> events;
};

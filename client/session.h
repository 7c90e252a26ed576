// What every verb works with: the options, the connection, and the way to print.
#pragma once

#include "client/endpoint.h"
#include "client/exitcode.h"
#include "client/wire.h"

#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>

/// The options that were given.
struct Options
{
    QString host = QStringLiteral("127.0.0.1");
    quint16 port = 24925;
    /// The longest wait for any one answer.
    std::chrono::milliseconds timeout{5000};
    bool json = false;
    /// Only endpoints of this direction count.
    std::optional<Direction> direction = {};
    /// `watch` ends after so many events.
    std::optional<int> count = {};
    /// How long `watch` watches, or `send` goes on listening.
    std::optional<std::chrono::milliseconds> duration = {};
};

class Session
{
public:
    explicit Session(const Options &options) : options(options) {}

    [[nodiscard]] Exit open();
    /// Sends a command and waits for the answer of this name that is accepted. What else comes in
    /// the meantime is kept in `asides` until the next question.
    Result<QJsonObject> ask(
        const QString &command, const std::optional<QJsonObject> &payload, const QString &answer,
        const std::function<bool(const QJsonObject &)> &accepts = [](const auto &) {
            return true;
        });
    /// Waits until the program has taken every command sent so far.
    [[nodiscard]] Exit barrier();

    /// The program's answer to the question for the endpoints of a direction.
    Result<QJsonObject> askInfos(Direction direction);
    /// The endpoints of the direction chosen, of both if none is.
    Result<QList<Endpoint>> endpoints(std::optional<Direction> direction);
    /// The one endpoint that the text means, of the direction that the options name if any.
    Result<Endpoint> find(const QString &text);

    /// One line on standard output: the object in `--json`, else the text.
    void print(const QString &text, const QJsonObject &json);
    void printEvent(const Event &event);
    /// True once a line could not be written, as to a pipe that nobody reads any more.
    [[nodiscard]] bool isOutputLost() const { return outputLost; }

    /// Tells that an awaited message did not come, and why.
    [[nodiscard]] Exit lost() const;

    const Options options;
    Wire wire;
    QList<Event> asides;

private:
    void printLine(const QString &line);

    bool outputLost = false;
};

/// The one of these endpoints that the text means.
[[nodiscard]] Result<Endpoint> pick(const QList<Endpoint> &endpoints, const QString &text);

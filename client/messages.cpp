// The verbs that deal in bare commands and events.
#include "client/interrupt.h"
#include "client/verbs.h"

#include <QJsonDocument>

namespace
{
/// The payload that a user gave; an empty optional if none, an exit code if it is no object.
Result<std::optional<QJsonObject>> parsePayload(const QStringList &arguments)
{
    if (arguments.size() < 2)
        return std::optional<QJsonObject>();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(arguments.at(1).toUtf8(), &error);
    if (document.isObject())
        return std::optional<QJsonObject>(document.object());
    const QString reason =
        error.error == QJsonParseError::NoError ? "it is not an object" : error.errorString();
    return fail(Exit::Usage, QStringLiteral("the payload is no JSON object: %1").arg(reason));
}

/// Shows events until one of this name has come, which is not shown; nothing if none comes.
std::optional<Event> showUntil(Session &session, const QString &name)
{
    const QDeadlineTimer deadline(session.options.timeout);
    while (auto event = session.wire.next(deadline)) {
        if (event->name == name)
            return event;
        session.printEvent(*event);
    }
    return std::nullopt;
}

/// Shows events while they come in time and somebody reads them; returns how many.
int showDuring(Session &session, const QDeadlineTimer &deadline, std::optional<int> most)
{
    int shown = 0;
    while ((!most || shown < *most) && !session.isOutputLost()) {
        const auto event = session.wire.next(deadline);
        if (!event)
            break;
        session.printEvent(*event);
        ++shown;
    }
    return shown;
}
} // namespace

Exit sendCommand(Session &session, const QStringList &arguments)
{
    const auto payload = parsePayload(arguments);
    if (!payload)
        return payload.exit();
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;

    const QString &command = arguments.at(0);
    session.wire.send(command, *payload);
    // What a command defers to the program's next turn is there by the second heartbeat.
    for (int turn = 0; turn < 2; ++turn) {
        const bool isOwnAnswer = turn == 0 && command == "heartbeat";
        if (!isOwnAnswer)
            session.wire.send("heartbeat");
        const auto answer = showUntil(session, "heartbeat");
        // One command ends the connection, and rightly so.
        if (!answer && command == "quitApp" && !session.wire.isOpen())
            return Exit::Ok;
        if (!answer)
            return session.lost();
        if (isOwnAnswer)
            session.printEvent(*answer);
    }
    if (session.options.duration)
        showDuring(session, QDeadlineTimer(*session.options.duration), {});
    return Exit::Ok;
}

Exit watchEvents(Session &session, const QStringList &)
{
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    noteInterrupts();
    const auto duration = session.options.duration;
    const auto count = session.options.count;
    const QDeadlineTimer deadline =
        duration ? QDeadlineTimer(*duration) : QDeadlineTimer(QDeadlineTimer::Forever);
    const int shown = showDuring(session, deadline, count);
    if (shown == count || isInterrupted() || session.isOutputLost())
        return Exit::Ok;
    if (!session.wire.isOpen())
        return session.lost();
    if (count)
        return fail(Exit::TimedOut, QStringLiteral("%1 of %2 events came").arg(shown).arg(*count));
    return Exit::Ok;
}

Exit quitProgram(Session &session, const QStringList &)
{
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    session.wire.send("quitApp");
    if (!session.wire.waitForEnd(QDeadlineTimer(session.options.timeout)))
        return fail(Exit::TimedOut, "the program has not ended the connection");
    session.print("the program ends", {{"quit", true}});
    return Exit::Ok;
}

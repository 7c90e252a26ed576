// The verbs that decide where sound goes.
#include "client/channel.h"
#include "client/verbs.h"

#include <algorithm>
#include <iterator>

namespace
{
constexpr int pollMilliseconds = 100;

QList<Endpoint> ofDirection(const QList<Endpoint> &endpoints, Direction direction)
{
    QList<Endpoint> found;
    std::copy_if(endpoints.begin(), endpoints.end(), std::back_inserter(found),
                 [=](const Endpoint &endpoint) { return endpoint.direction == direction; });
    return found;
}

/// Asks until the default is the endpoint, since the system may take its time with a change.
Result<bool> becomesDefault(Session &session, const Endpoint &endpoint)
{
    const QDeadlineTimer deadline(session.options.timeout);
    while (true) {
        const auto infos = session.askInfos(endpoint.direction);
        if (!infos)
            return infos.exit();
        if ((*infos)["defaultDevice"]["deviceID"].toString() == endpoint.id)
            return true;
        if (deadline.hasExpired())
            return false;
        const QDeadlineTimer pause(pollMilliseconds);
        while (session.wire.next(pause)) {
        }
    }
}
} // namespace

Exit routeChannel(Session &session, const QStringList &arguments)
{
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    const auto all = session.endpoints({});
    if (!all)
        return all.exit();
    const auto channel = findChannel(*all, arguments.at(0));
    if (!channel)
        return channel.exit();
    if (channel->channel() == streamChannel)
        return fail(Exit::Refused,
                    "Stream takes no route: it is what the streaming mix plays into");

    const bool isInput = channel->channel() == microphoneChannel;
    const Direction direction = isInput ? Direction::Input : Direction::Output;
    const auto endpoint = pick(ofDirection(*all, direction), arguments.at(1));
    if (!endpoint)
        return endpoint.exit();

    QJsonObject payload = endpoint->address();
    payload.insert("routeDeviceName", channel->name);
    session.wire.send("switchDevice", payload);
    if (const Exit code = session.barrier(); code != Exit::Ok)
        return code;
    session.print(QStringLiteral("%1 %2 %3 (taken; the program reports no result of a route)")
                      .arg(channel->channel(), isInput ? "<-" : "->", endpoint->name),
                  payload);
    return Exit::Ok;
}

Exit setDefault(Session &session, const QStringList &arguments)
{
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    const auto endpoint = session.find(arguments.at(0));
    if (!endpoint)
        return endpoint.exit();

    session.wire.send("setCurrentDevice", endpoint->address());
    const auto isDefault = becomesDefault(session, *endpoint);
    if (!isDefault)
        return isDefault.exit();
    const QString kind = endpoint->direction == Direction::Output ? "output" : "input";
    if (!*isDefault) {
        return fail(Exit::Refused,
                    QStringLiteral("%1 did not become the default %2").arg(endpoint->name, kind));
    }
    session.print(QStringLiteral("%1 is the default %2").arg(endpoint->name, kind),
                  endpoint->address());
    return Exit::Ok;
}

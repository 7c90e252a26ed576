// The verbs for the two mixes of the streamer mode, and for the balance of game and chat.
#include "client/channel.h"
#include "client/verbs.h"

#include <algorithm>
#include <optional>

namespace
{
constexpr int mostBalance = 200; // percent

/// The words of one mix, for the user and on the wire.
struct Mix
{
    const char *word;
    const char *target;
    const char *member;
    const char *volume;
    const char *mute;
};
constexpr Mix personal{"personal", "switchPersonalSynthesizerDevice", "addToPersonalSynthesizer",
                       "setPersonalSynthesizerDeviceVolume", "setPersonalSynthesizerDeviceMute"};
constexpr Mix streaming{"streaming", "switchStreamingSynthesizerDevice",
                        "addToStreamingSynthesizer", "setStreamingSynthesizerDeviceVolume",
                        "setStreamingSynthesizerDeviceMute"};

/// An order to a mix, ready but for the endpoint that it is about.
struct Order
{
    const char *command;
    QString key; ///< empty for a change of the target
    QJsonValue value;
    QString text; ///< what it says of the endpoint
};

std::optional<int> percentOf(const QString &text, int most)
{
    bool isNumber = false;
    const uint number = text.toUInt(&isNumber);
    return isNumber && number <= uint(most) ? std::optional(int(number)) : std::nullopt;
}

std::optional<Order> volumeOrder(const Mix &mix, const QString &value)
{
    const auto percent = percentOf(value, 100);
    if (!percent)
        return {};
    return Order{mix.volume, "deviceVolume", *percent, QString::number(*percent) + '%'};
}

std::optional<Order> muteOrder(const Mix &mix, const QString &value)
{
    if (value != "on" && value != "off")
        return {};
    const bool mutes = value == "on";
    return Order{mix.mute, "mute", mutes, mutes ? "muted" : "not muted"};
}

/// Nothing if the words make no order.
std::optional<Order> parse(const Mix &mix, const QStringList &words)
{
    const QString &action = words.at(0);
    if (words.size() == 2) {
        if (action == "to")
            return Order{mix.target, {}, {}, "is what it plays on"};
        if (action == "add" || action == "remove") {
            return Order{mix.member, "checked", action == "add",
                         action == "add" ? "takes part" : "takes no part"};
        }
        return {};
    }
    if (action == "volume")
        return volumeOrder(mix, words.at(2));
    if (action == "mute")
        return muteOrder(mix, words.at(2));
    return {};
}

Result<Endpoint> findMember(const QList<Endpoint> &endpoints, const QString &text)
{
    auto channel = findChannel(endpoints, text);
    if (channel && channel->channel() == streamChannel)
        return fail(Exit::Refused, "Stream takes part in no mix: it is what a mix can play on");
    return channel;
}

Result<Endpoint> findTarget(const QList<Endpoint> &endpoints, const QString &text)
{
    QList<Endpoint> outputs;
    std::copy_if(endpoints.begin(), endpoints.end(), std::back_inserter(outputs),
                 [](const Endpoint &each) { return each.direction == Direction::Output; });
    return pick(outputs, text);
}

Exit run(Session &session, const Mix &mix, const QStringList &words)
{
    const auto order = parse(mix, words);
    if (!order) {
        return fail(Exit::Usage, QStringLiteral("\"%1\" is no order to a mix; see quorvanectl %2 "
                                                "--help")
                                     .arg(words.join(' '), mix.word));
    }
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    const auto all = session.endpoints({});
    if (!all)
        return all.exit();
    const auto endpoint =
        order->key.isEmpty() ? findTarget(*all, words.at(1)) : findMember(*all, words.at(1));
    if (!endpoint)
        return endpoint.exit();

    QJsonObject payload = endpoint->address();
    if (!order->key.isEmpty())
        payload.insert(order->key, order->value);
    session.wire.send(order->command, payload);
    if (const Exit code = session.barrier(); code != Exit::Ok)
        return code;
    session.print(QStringLiteral("%1 mix: %2 %3 (taken; the program reports no result)")
                      .arg(mix.word, endpoint->name, order->text),
                  payload);
    return Exit::Ok;
}
} // namespace

Exit personalMix(Session &session, const QStringList &arguments)
{
    return run(session, personal, arguments);
}

Exit streamingMix(Session &session, const QStringList &arguments)
{
    return run(session, streaming, arguments);
}

Exit balance(Session &session, const QStringList &arguments)
{
    const bool isOff = arguments.size() == 1 && arguments.at(0) == "off";
    const auto gaming = percentOf(arguments.at(0), mostBalance);
    const auto chat = percentOf(arguments.value(1), mostBalance);
    if (!isOff && (!gaming || !chat)) {
        return fail(Exit::Usage, "a balance is \"off\", or two whole percentages from 0 to 200");
    }
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    QJsonObject payload{{"enable", !isOff}};
    if (!isOff) {
        // On the wire, 0 is the channel's own level.
        payload.insert("gaming", *gaming - 100);
        payload.insert("chat", *chat - 100);
        session.wire.send("setGamingChatMixProportion", payload);
    }
    session.wire.send("setGamingChatMixEnable", payload);
    if (const Exit code = session.barrier(); code != Exit::Ok)
        return code;
    session.print(isOff ? "no balance"
                        : QStringLiteral("Gaming at %1%, Chat at %2%").arg(*gaming).arg(*chat),
                  payload);
    return Exit::Ok;
}

// The verbs that decide what there is: the control mode and the channels on demand.
#include "client/verbs.h"

#include <algorithm>

namespace
{
struct Mode
{
    const char *word;
    const char *name; ///< on the wire
};
constexpr std::array modes{Mode{"normal", "NormalMode"}, Mode{"streamer", "StreamerMode"}};

/// The program knows them by exactly these words.
constexpr std::array onDemandWords{"Browser", "Aux2", "Aux3"};

/// The program's spelling; the user's own if there is no such channel, for the program to refuse.
QString spelling(const QString &word)
{
    const auto known =
        std::find_if(onDemandWords.begin(), onDemandWords.end(), [&](const char *each) {
            return word.compare(QLatin1StringView(each), Qt::CaseInsensitive) == 0;
        });
    return known == onDemandWords.end() ? word : QString(*known);
}

/// The words of one kind of order on the wire.
struct ChannelOrder
{
    const char *command;
    const char *done;
    const char *refused;
    const char *result;
};
constexpr ChannelOrder addition{"addOutputDevice", "finishAddOutputDevice", "cannotAddOutputDevice",
                                "is there"};
constexpr ChannelOrder removal{"removeOutputDevice", "finishRemoveOutputDevice",
                               "cannotRemoveOutputDevice", "is gone"};

Exit run(Session &session, const ChannelOrder &order, const QString &text)
{
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    const QJsonObject payload{{"outputDeviceName", spelling(text)}};
    session.wire.send(order.command, payload);
    const QDeadlineTimer deadline(session.options.timeout);
    while (const auto event = session.wire.next(deadline)) {
        if (event->payload != payload)
            continue;
        if (event->name == QLatin1StringView(order.refused)) {
            return fail(Exit::Refused,
                        QStringLiteral("\"%1\" is no channel on demand; there are: Browser, Aux2, "
                                       "Aux3")
                            .arg(text));
        }
        if (event->name == QLatin1StringView(order.done)) {
            session.print(spelling(text) + ' ' + order.result, payload);
            return Exit::Ok;
        }
    }
    return session.lost();
}
} // namespace

Exit addChannel(Session &session, const QStringList &arguments)
{
    return run(session, addition, arguments.at(0));
}

Exit removeChannel(Session &session, const QStringList &arguments)
{
    return run(session, removal, arguments.at(0));
}

Exit setMode(Session &session, const QStringList &arguments)
{
    const auto mode = std::find_if(modes.begin(), modes.end(), [&](const Mode &each) {
        return arguments.at(0) == QLatin1StringView(each.word);
    });
    if (mode == modes.end()) {
        return fail(
            Exit::Usage,
            QStringLiteral("\"%1\" is neither \"normal\" nor \"streamer\"").arg(arguments.at(0)));
    }
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    const QJsonObject payload{{"mode", mode->name}};
    // Nothing sounds between the two.
    session.wire.send("setControlMode", payload);
    session.wire.send("finishSetControlMode", payload);
    if (const Exit code = session.barrier(); code != Exit::Ok)
        return code;
    session.print(QStringLiteral("%1 mode").arg(mode->word), payload);
    return Exit::Ok;
}

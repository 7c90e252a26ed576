// The verbs for volume and mute. They are alike but for their words and values.
#include "client/verbs.h"

#include <algorithm>

namespace
{
constexpr int settleMilliseconds = 1000;
constexpr int pollMilliseconds = 50;

/// The words of one kind of level on the wire.
struct Level
{
    const char *key;
    const char *get;
    const char *set;
    const char *answer;
    const char *failure;
};

constexpr Level volumeLevel{"deviceVolume", "getDeviceVolume", "setDeviceVolume",
                            "didReceiveDeviceVolume", "failedToSetDeviceVolume"};
constexpr Level muteLevel{"deviceMute", "getDeviceMute", "setDeviceMute", "didReceiveDeviceMute",
                          "failedToSetDeviceMute"};

QString describe(const QJsonValue &value)
{
    if (value.isBool())
        return value.toBool() ? "muted" : "not muted";
    return QString::number(value.toInt()) + '%';
}

Result<QJsonValue> read(Session &session, const Level &level, const Endpoint &endpoint)
{
    const auto payload =
        session.ask(level.get, endpoint.address(), level.answer, [&](const QJsonObject &answer) {
            return answer["deviceID"].toString() == endpoint.id;
        });
    if (!payload)
        return payload.exit();
    return (*payload)[QLatin1StringView(level.key)];
}

bool hasFailed(const Session &session, const Level &level, const Endpoint &endpoint)
{
    return std::any_of(session.asides.begin(), session.asides.end(), [&](const Event &event) {
        return event.name == QLatin1StringView(level.failure) &&
               event.payload["deviceID"].toString() == endpoint.id;
    });
}

/// Sets the level and reads it back. A change of the system's may take its time, a refusal not.
Result<QJsonValue> write(Session &session, const Level &level, const Endpoint &endpoint,
                         const QJsonValue &wanted)
{
    QJsonObject payload = endpoint.address();
    payload.insert(QLatin1StringView(level.key), wanted);
    session.wire.send(level.set, payload);
    const QDeadlineTimer deadline(settleMilliseconds);
    while (true) {
        auto value = read(session, level, endpoint);
        if (!value || *value == wanted)
            return value;
        if (hasFailed(session, level, endpoint) || deadline.hasExpired()) {
            return fail(Exit::Refused, QStringLiteral("the program refused: %1 is %2")
                                           .arg(endpoint.name, describe(*value)));
        }
        const QDeadlineTimer pause(pollMilliseconds);
        while (session.wire.next(pause)) {
        }
    }
}

/// Orders a step and tells the volume that came of it.
Exit step(Session &session, const char *command, const QStringList &arguments)
{
    bool isNumber = false;
    const uint percent = arguments.at(1).toUInt(&isNumber);
    if (!isNumber || percent > 100) {
        return fail(
            Exit::Usage,
            QStringLiteral("\"%1\" is no whole percentage from 0 to 100").arg(arguments.at(1)));
    }
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    const auto endpoint = session.find(arguments.at(0));
    if (!endpoint)
        return endpoint.exit();
    QJsonObject payload = endpoint->address();
    payload.insert("singleStep", int(percent));
    session.wire.send(command, payload);
    const auto value = read(session, volumeLevel, *endpoint);
    if (!value)
        return value.exit();
    if (hasFailed(session, volumeLevel, *endpoint)) {
        return fail(
            Exit::Refused,
            QStringLiteral("the program refused: %1 is %2").arg(endpoint->name, describe(*value)));
    }
    QJsonObject json = endpoint->address();
    json.insert(QLatin1StringView(volumeLevel.key), *value);
    session.print(QStringLiteral("%1: %2").arg(endpoint->name, describe(*value)), json);
    return Exit::Ok;
}

/// Reads the level, or sets it if a value is wanted, and prints what it is then.
Exit run(Session &session, const Level &level, const QString &text, const QJsonValue &wanted)
{
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    const auto endpoint = session.find(text);
    if (!endpoint)
        return endpoint.exit();
    const auto value = wanted.isUndefined() ? read(session, level, *endpoint)
                                            : write(session, level, *endpoint, wanted);
    if (!value)
        return value.exit();
    QJsonObject json = endpoint->address();
    json.insert(QLatin1StringView(level.key), *value);
    session.print(QStringLiteral("%1: %2").arg(endpoint->name, describe(*value)), json);
    return Exit::Ok;
}
} // namespace

Exit volume(Session &session, const QStringList &arguments)
{
    if (arguments.size() == 1)
        return run(session, volumeLevel, arguments.at(0), QJsonValue::Undefined);
    bool isNumber = false;
    const uint percent = arguments.at(1).toUInt(&isNumber);
    if (!isNumber || percent > 100) {
        return fail(
            Exit::Usage,
            QStringLiteral("\"%1\" is no whole percentage from 0 to 100").arg(arguments.at(1)));
    }
    return run(session, volumeLevel, arguments.at(0), int(percent));
}

Exit mute(Session &session, const QStringList &arguments)
{
    if (arguments.size() == 1)
        return run(session, muteLevel, arguments.at(0), QJsonValue::Undefined);
    if (arguments.at(1) != "on" && arguments.at(1) != "off")
        return fail(Exit::Usage,
                    QStringLiteral("\"%1\" is neither \"on\" nor \"off\"").arg(arguments.at(1)));
    return run(session, muteLevel, arguments.at(0), arguments.at(1) == "on");
}

Exit louder(Session &session, const QStringList &arguments)
{
    return step(session, "increaseDeviceVolume", arguments);
}

Exit softer(Session &session, const QStringList &arguments)
{
    return step(session, "decreaseDeviceVolume", arguments);
}

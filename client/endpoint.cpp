#include "client/endpoint.h"

#include <QJsonArray>

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>

namespace
{
// A virtual endpoint is named "tavori - Gaming (tavori Virtual Audio Device)".
constexpr QLatin1StringView channelPrefix{"tavori - "};
constexpr QLatin1StringView channelSuffix{" (tavori Virtual Audio Device)"};

bool isSame(const QString &text, const QString &other)
{
    return text.compare(other, Qt::CaseInsensitive) == 0;
}

bool begins(const QString &text, const QString &start)
{
    return text.startsWith(start, Qt::CaseInsensitive);
}
} // namespace

QString deviceType(Direction direction)
{
    return direction == Direction::Output ? "outputDevice" : "inputDevice";
}

QString Endpoint::channel() const
{
    if (!name.startsWith(channelPrefix) || !name.endsWith(channelSuffix))
        return {};
    return name.sliced(channelPrefix.size()).chopped(channelSuffix.size());
}

QJsonObject Endpoint::address() const
{
    return {{"deviceType", deviceType(direction)}, {"deviceName", name}, {"deviceID", id}};
}

QList<Endpoint> endpointsOf(const QJsonObject &payload, Direction direction)
{
    const QString defaultID = payload["defaultDevice"]["deviceID"].toString();
    QList<Endpoint> endpoints;
    for (const QJsonValue device : payload[deviceType(direction)].toArray()) {
        const QString id = device["deviceID"].toString();
        endpoints.append({direction, device["deviceName"].toString(), id,
                          device["deviceVolume"].toInt(), device["deviceMute"].toBool(),
                          id == defaultID});
    }
    return endpoints;
}

QList<Endpoint> matches(const QList<Endpoint> &endpoints, const QString &text)
{
    using Test = std::function<bool(const Endpoint &)>;
    const std::array<Test, 4> tests{
        [&](const Endpoint &endpoint) { return endpoint.id == text; },
        [&](const Endpoint &endpoint) { return endpoint.name == text; },
        [&](const Endpoint &endpoint) {
            return isSame(endpoint.name, text) || isSame(endpoint.channel(), text);
        },
        [&](const Endpoint &endpoint) {
            return begins(endpoint.name, text) || begins(endpoint.channel(), text) ||
                   begins(endpoint.id, text);
        },
    };
    QList<Endpoint> found;
    if (text.isEmpty())
        return found;
    for (const Test &test : tests) {
        std::copy_if(endpoints.begin(), endpoints.end(), std::back_inserter(found), test);
        if (!found.isEmpty())
            break;
    }
    return found;
}

QString describe(const QList<Endpoint> &endpoints)
{
    QString lines;
    for (const Endpoint &endpoint : endpoints) {
        lines += QStringLiteral("\n  %1  %2  %3")
                     .arg(endpoint.direction == Direction::Output ? "output" : "input ",
                          endpoint.name, endpoint.id);
    }
    return lines;
}

#include "common/channels.h"

#include <algorithm>

QString Channel::fullName() const
{
    return shortName + QLatin1StringView(" (") + adapterName + QLatin1Char(')');
}

namespace
{
template <typename Predicate>
const Channel *findChannel(Predicate predicate)
{
    const auto found = std::find_if(channels.begin(), channels.end(), predicate);
    return found == channels.end() ? nullptr : &*found;
}
} // namespace

const Channel *channelOfType(tavoriDeviceType type)
{
    return findChannel([type](const Channel &channel) { return channel.type == type; });
}

const Channel *channelOfFullName(const QString &fullName)
{
    return findChannel([&](const Channel &channel) { return channel.fullName() == fullName; });
}

const Channel *channelOfShortName(const QString &shortName)
{
    return findChannel([&](const Channel &channel) { return channel.shortName == shortName; });
}

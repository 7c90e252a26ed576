#include "common/channels.h"

#include <algorithm>

QString Channel::fullName() const
{
    return shortName + QLatin1StringView(" (") + adapterName + QLatin1Char(')');
}

QString deviceFilePath(int driverIndex, QLatin1StringView fileSuffix)
{
    return QStringLiteral("\\??\\ROOT#MEDIA#%1#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\")
               .arg(driverIndex, 4, 16, QLatin1Char('0')) +
           fileSuffix;
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

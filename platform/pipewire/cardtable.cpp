// The eleven endpoints of the card, made from the channel table.
#include "platform/pipewire/card.h"
#include "platform/pipewire/endpointid.h"

#include <algorithm>
#include <vector>

namespace
{
card::CardEndpoint makeEndpoint(const Channel &channel, EDataFlow flow)
{
    const QString nodeName = flow == eRender ? channel.renderSuffix : channel.captureSuffix;
    return {&channel, flow, nodeName, endpointIdOf(nodeName, flow), channel.fullName()};
}

std::vector<card::CardEndpoint> makeEndpoints()
{
    std::vector<card::CardEndpoint> result;
    result.reserve(2 * std::size(channels));
    for (const Channel &channel : channels)
        result.push_back(makeEndpoint(channel, eRender));
    for (const Channel &channel : channels)
        if (!channel.captureSuffix.isEmpty())
            result.push_back(makeEndpoint(channel, eCapture));
    return result;
}

const card::CardEndpoint *findEndpoint(QString card::CardEndpoint::*member, const QString &text)
{
    const auto all = card::endpoints();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const auto &endpoint) { return endpoint.*member == text; });
    return found == all.end() ? nullptr : &*found;
}
} // namespace

std::span<const card::CardEndpoint> card::endpoints()
{
    // Never destroyed: the connection's thread looks at it until the process ends.
    static const auto *all = new std::vector<CardEndpoint>(makeEndpoints());
    return *all;
}

const card::CardEndpoint *card::endpointOfId(const QString &id)
{
    return findEndpoint(&CardEndpoint::id, id);
}

QString card::lineOutputOf(const QString &nodeName)
{
    const CardEndpoint *endpoint = endpointOfNodeName(nodeName);
    return endpoint && endpoint->flow == eRender ? endpoint->channel->captureSuffix : QString();
}

const card::CardEndpoint *card::endpointOfNodeName(const QString &nodeName)
{
    return findEndpoint(&CardEndpoint::nodeName, nodeName);
}

// The side of the table that the platform's own objects call: requests and reads.
#include "platform/linux/endpointmodel.h"

#include <cmath>

namespace pulse
{
void EndpointModel::expectShown(const QString &id, bool shown)
{
    const std::lock_guard lock(mutex);
    Entry *entry = find(id);
    if (!entry || !entry->isCard)
        return;
    entry->isShown = shown;
    entry->isExpected = true;
    settleCard(*entry);
}

bool EndpointModel::awaitShown(const QString &id, std::chrono::milliseconds bound)
{
    std::unique_lock lock(mutex);
    const bool inTime = listingChanged.wait_for(lock, bound, [this, &id] {
        const Entry *entry = find(id);
        return !entry || !entry->isExpected;
    });
    if (Entry *entry = find(id)) {
        entry->isExpected = false;
        settleCard(*entry);
    }
    return inTime;
}

LevelRequest EndpointModel::requestVolume(const QString &id, float scalar, const GUID &context)
{
    const std::lock_guard lock(mutex);
    Entry *entry = find(id);
    if (!entry || entry->nodes.empty())
        return {};
    const Node &node = entry->nodes.front();
    LevelRequest request{S_OK, node.flow, node.index, node.volume, ++lastTicket};
    pa_cvolume_scale(&request.volume,
                     static_cast<pa_volume_t>(std::lround(scalar * PA_VOLUME_NORM)));
    entry->volume.request(request.ticket, scalar, context);
    return request;
}

LevelRequest EndpointModel::requestMute(const QString &id, bool muted, const GUID &context)
{
    const std::lock_guard lock(mutex);
    Entry *entry = find(id);
    if (!entry || entry->nodes.empty())
        return {};
    const float wanted = muted ? 1.0f : 0.0f;
    const bool isNew = entry->mute.value(TrackedLevel::Clock::now()) != wanted;
    const Node &node = entry->nodes.front();
    entry->mute.request(++lastTicket, wanted, context);
    return {isNew ? S_OK : S_FALSE, node.flow, node.index, node.volume, lastTicket};
}

void EndpointModel::requestAnswered(const QString &id, TrackedLevel::Ticket ticket, bool taken)
{
    const std::lock_guard lock(mutex);
    Entry *entry = find(id);
    if (!entry)
        return;
    const auto now = TrackedLevel::Clock::now();
    entry->volume.answered(ticket, taken, now);
    entry->mute.answered(ticket, taken, now);
}

std::vector<Endpoint> EndpointModel::endpoints(EDataFlow flow, DWORD states) const
{
    const std::lock_guard lock(mutex);
    std::vector<Endpoint> result;
    for (const Entry &entry : entries) {
        const Endpoint &endpoint = entry.endpoint;
        if ((flow == eAll || endpoint.flow == flow) && (endpoint.state & states))
            result.push_back(endpoint);
    }
    return result;
}

std::optional<Endpoint> EndpointModel::endpoint(const QString &id) const
{
    const std::lock_guard lock(mutex);
    const Entry *entry = find(id);
    return entry ? std::optional(entry->endpoint) : std::nullopt;
}

std::optional<Endpoint> EndpointModel::defaultEndpoint(EDataFlow flow) const
{
    const std::lock_guard lock(mutex);
    const Entry *entry = find(defaultIds[flow]);
    if (!entry || entry->endpoint.state != DEVICE_STATE_ACTIVE)
        return std::nullopt;
    return entry->endpoint;
}

std::optional<Levels> EndpointModel::levels(const QString &id) const
{
    const std::lock_guard lock(mutex);
    const Entry *entry = find(id);
    if (!entry || entry->nodes.empty())
        return std::nullopt;
    const auto now = TrackedLevel::Clock::now();
    return Levels{entry->volume.value(now), entry->mute.value(now) > 0.5f};
}
} // namespace pulse

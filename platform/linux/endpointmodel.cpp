#include "platform/linux/endpointmodel.h"

#include "platform/pipewire/endpointid.h"

#include <algorithm>

namespace pulse
{
namespace
{
float scalarOf(const pa_cvolume &volume)
{
    return std::min(1.0f, static_cast<float>(pa_cvolume_max(&volume)) / PA_VOLUME_NORM);
}

DWORD stateOf(const Node &node)
{
    return node.plugged ? DEVICE_STATE_ACTIVE : DEVICE_STATE_UNPLUGGED;
}
} // namespace

EndpointModel::EndpointModel(Dispatcher &dispatcher) : dispatcher(dispatcher) {}

void EndpointModel::addCardEndpoint(const QString &id, EDataFlow flow, const QString &nodeName,
                                    const QString &description)
{
    const std::lock_guard lock(mutex);
    Entry entry;
    entry.endpoint = {id, flow, nodeName, description, DEVICE_STATE_DISABLED, 0, 0};
    entry.isCard = true;
    entries.push_back(std::move(entry));
}

void EndpointModel::serverFound()
{
    const std::lock_guard lock(mutex);
    hasServer = true;
}

// What does not come back with the next server is forgotten when that one is lost too.
void EndpointModel::serverLost()
{
    const std::lock_guard lock(mutex);
    if (!hasServer)
        return;
    hasServer = false;
    std::erase_if(entries, [](const Entry &entry) {
        return !entry.isCard && entry.endpoint.state == DEVICE_STATE_NOTPRESENT;
    });
    for (Entry &entry : entries) {
        entry.nodes.clear();
        if (entry.isCard)
            settleCard(entry);
        else
            setState(entry, DEVICE_STATE_NOTPRESENT);
    }
    defaultNames = {};
    settleDefault(eRender);
    settleDefault(eCapture);
    listingChanged.notify_all();
}

void EndpointModel::nodeListed(const Node &node)
{
    const std::lock_guard lock(mutex);
    const QString id = endpointIdOf(node.name, node.flow);
    if (const Entry *holder = holderOf(node.flow, node.index); holder && holder->endpoint.id != id)
        removeNode(node.flow, node.index); // renamed: another endpoint from now on

    Entry *entry = find(id);
    if (!entry) {
        entry = &entries.emplace_back();
        entry->endpoint = {id, node.flow, node.name, {}, DEVICE_STATE_NOTPRESENT, 0, 0};
    }
    const auto known = std::find_if(entry->nodes.begin(), entry->nodes.end(),
                                    [&](const Node &each) { return each.index == node.index; });
    if (known == entry->nodes.end()) {
        entry->nodes.push_back(node);
        if (entry->nodes.size() == 1)
            arrive(*entry);
        return;
    }
    const Node before = std::exchange(*known, node);
    if (known == entry->nodes.begin())
        change(*entry, before);
}

void EndpointModel::nodeRemoved(EDataFlow flow, quint32 index)
{
    const std::lock_guard lock(mutex);
    removeNode(flow, index);
}

void EndpointModel::defaultNamed(EDataFlow flow, const QString &name)
{
    const std::lock_guard lock(mutex);
    defaultNames[flow] = name;
    settleDefault(flow);
}

QString EndpointModel::defaultName(EDataFlow flow) const
{
    const std::lock_guard lock(mutex);
    return defaultNames[flow];
}

void EndpointModel::removeNode(EDataFlow flow, quint32 index)
{
    Entry *entry = holderOf(flow, index);
    if (!entry)
        return;
    const bool counted = entry->nodes.front().index == index;
    std::erase_if(entry->nodes, [index](const Node &node) { return node.index == index; });
    if (counted)
        leave(entry->endpoint.id);
}

void EndpointModel::arrive(Entry &entry)
{
    const Node &node = entry.nodes.front();
    Endpoint &endpoint = entry.endpoint;
    if (!entry.isCard)
        endpoint.description = node.description;
    endpoint.sampleRate = node.sampleRate;
    endpoint.channels = node.channels;
    entry.volume.reset(scalarOf(node.volume));
    entry.mute.reset(node.muted ? 1.0f : 0.0f);
    if (entry.isCard) {
        settleCard(entry);
    } else {
        endpoint.state = stateOf(node);
        dispatcher.post(DeviceEvent{DeviceEvent::Added, endpoint.id});
        settleDefault(endpoint.flow);
    }
    listingChanged.notify_all();
}

void EndpointModel::change(Entry &entry, const Node &before)
{
    const Node &node = entry.nodes.front();
    Endpoint &endpoint = entry.endpoint;
    endpoint.sampleRate = node.sampleRate;
    endpoint.channels = node.channels;
    if (node.description != before.description && !entry.isCard) {
        endpoint.description = node.description;
        dispatcher.post(DeviceEvent{DeviceEvent::NameChanged, endpoint.id});
    }
    if (!entry.isCard)
        setState(entry, stateOf(node));
    reportLevels(entry);
}

void EndpointModel::leave(const QString &id)
{
    Entry &entry = *find(id);
    listingChanged.notify_all();
    if (entry.isCard) {
        settleCard(entry);
        return;
    }
    dispatcher.post(DeviceEvent{DeviceEvent::Removed, id});
    if (!entry.nodes.empty())
        arrive(entry); // another node of the same name stood behind it
    else
        std::erase_if(entries, [&id](const Entry &each) { return each.endpoint.id == id; });
}

void EndpointModel::reportLevels(Entry &entry)
{
    const Node &node = entry.nodes.front();
    const auto now = TrackedLevel::Clock::now();
    const auto byVolume = entry.volume.report(scalarOf(node.volume), now);
    const auto byMute = entry.mute.report(node.muted ? 1.0f : 0.0f, now);
    const auto post = [&](const GUID &context) {
        dispatcher.post(LevelEvent{entry.endpoint.id, context, node.muted, entry.volume.reported(),
                                   node.volume});
    };
    if (byVolume)
        post(*byVolume);
    if (byMute && byMute != byVolume)
        post(*byMute);
}

// Shown and listed is active; neither is disabled. Shown but not listed is not present, and
// hidden but listed is disabled all the same, unless the node is just on its way.
void EndpointModel::settleCard(Entry &entry)
{
    const bool isListed = !entry.nodes.empty();
    if (isListed == entry.isShown || !hasServer)
        entry.isExpected = false;
    if (entry.isExpected)
        return;
    if (!entry.isShown)
        setState(entry, DEVICE_STATE_DISABLED);
    else
        setState(entry, isListed ? DEVICE_STATE_ACTIVE : DEVICE_STATE_NOTPRESENT);
}

// A default that is not listed yet is waited for, so that nobody hears of it before its arrival.
void EndpointModel::settleDefault(EDataFlow flow)
{
    const QString &name = defaultNames[flow];
    QString id;
    if (!name.isEmpty()) {
        id = endpointIdOf(name, flow);
        const Entry *entry = find(id);
        if (!entry || entry->endpoint.state != DEVICE_STATE_ACTIVE)
            return;
    }
    if (id == defaultIds[flow])
        return;
    defaultIds[flow] = id;
    dispatcher.post(DeviceEvent{DeviceEvent::DefaultChanged, id, 0, flow});
}

void EndpointModel::setState(Entry &entry, DWORD state)
{
    if (entry.endpoint.state == state)
        return;
    entry.endpoint.state = state;
    dispatcher.post(DeviceEvent{DeviceEvent::StateChanged, entry.endpoint.id, state});
    if (state == DEVICE_STATE_ACTIVE)
        settleDefault(entry.endpoint.flow);
}

EndpointModel::Entry *EndpointModel::find(const QString &id)
{
    return const_cast<Entry *>(std::as_const(*this).find(id));
}

const EndpointModel::Entry *EndpointModel::find(const QString &id) const
{
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&id](const Entry &entry) { return entry.endpoint.id == id; });
    return found == entries.end() ? nullptr : &*found;
}

EndpointModel::Entry *EndpointModel::holderOf(EDataFlow flow, quint32 index)
{
    const auto holds = [flow, index](const Entry &entry) {
        return entry.endpoint.flow == flow &&
               std::any_of(entry.nodes.begin(), entry.nodes.end(),
                           [index](const Node &node) { return node.index == index; });
    };
    const auto found = std::find_if(entries.begin(), entries.end(), holds);
    return found == entries.end() ? nullptr : &*found;
}
} // namespace pulse

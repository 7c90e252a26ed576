#include "platform/linux/sessionmodel.h"

#include "platform/linux/processfiles.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace pulse
{
namespace
{
constexpr QLatin1StringView noGrouping{"%b{00000000-0000-0000-0000-000000000000}"};

float scalarOf(const pa_cvolume &volume)
{
    return std::min(1.0f, static_cast<float>(pa_cvolume_max(&volume)) / PA_VOLUME_NORM);
}

SessionEvent eventOf(SessionEvent::Kind kind, const Session &session)
{
    return {kind, sessionTopic(session.instanceIdentifier), session.instanceIdentifier};
}
} // namespace

SessionModel::SessionModel(Dispatcher &dispatcher) : dispatcher(dispatcher) {}

void SessionModel::nodeListed(EDataFlow flow, quint32 index, const QString &endpointId)
{
    {
        const std::lock_guard lock(mutex);
        QString &known = nodes[{flow, index}];
        if (known == endpointId)
            return;
        known = endpointId;
    }
    settleAll([=](const Stream &stream) { return stream.flow == flow && stream.node == index; });
}

void SessionModel::nodeRemoved(EDataFlow flow, quint32 index)
{
    const std::lock_guard lock(mutex);
    nodes.erase({flow, index});
    for (auto &[key, entry] : entries) {
        if (entry.stream.flow == flow && entry.stream.node == index)
            disconnect(entry, DisconnectReasonDeviceRemoval);
    }
}

void SessionModel::clientListed(const Client &client)
{
    {
        const std::lock_guard lock(mutex);
        clients[client.index] = client;
    }
    settleAll([&](const Stream &stream) { return stream.client == client.index; });
}

void SessionModel::clientRemoved(quint32 index)
{
    const std::lock_guard lock(mutex);
    clients.erase(index);
}

void SessionModel::streamListed(const Stream &stream)
{
    std::optional<Session> fresh;
    {
        const std::lock_guard lock(mutex);
        Entry &entry = entries[{stream.flow, stream.index}];
        entry.stream = stream;
        fresh = settle(entry);
    }
    if (fresh && newStream)
        newStream(*fresh);
}

void SessionModel::streamRemoved(EDataFlow flow, quint32 index)
{
    const std::lock_guard lock(mutex);
    const auto found = entries.find({flow, index});
    if (found == entries.end())
        return;
    expire(found->second);
    entries.erase(found);
}

void SessionModel::serverLost()
{
    const std::lock_guard lock(mutex);
    for (auto &[key, entry] : entries)
        disconnect(entry, DisconnectReasonServerShutdown);
    entries.clear();
    nodes.clear();
    clients.clear();
}

std::optional<StreamRequest> SessionModel::requestVolume(const QString &instanceIdentifier,
                                                         float scalar, const GUID &context)
{
    const std::lock_guard lock(mutex);
    Entry *entry = find(instanceIdentifier);
    if (!entry)
        return std::nullopt;
    StreamRequest request{entry->stream.flow, entry->stream.index, entry->stream.volume};
    pa_cvolume_scale(&request.volume,
                     static_cast<pa_volume_t>(std::lround(scalar * PA_VOLUME_NORM)));
    entry->volume.request(++lastTicket, scalar, context);
    entry->volume.answered(lastTicket, true, TrackedLevel::Clock::now());
    return request;
}

std::optional<StreamRequest> SessionModel::requestMute(const QString &instanceIdentifier,
                                                       bool muted, const GUID &context)
{
    const std::lock_guard lock(mutex);
    Entry *entry = find(instanceIdentifier);
    if (!entry)
        return std::nullopt;
    entry->mute.request(++lastTicket, muted ? 1.0f : 0.0f, context);
    entry->mute.answered(lastTicket, true, TrackedLevel::Clock::now());
    return StreamRequest{entry->stream.flow, entry->stream.index, entry->stream.volume};
}

std::vector<Session> SessionModel::sessionsAt(const QString &endpointId) const
{
    const std::lock_guard lock(mutex);
    std::vector<const Entry *> here;
    for (const auto &[key, entry] : entries) {
        if (entry.session && entry.session->endpointId == endpointId)
            here.push_back(&entry);
    }
    std::sort(here.begin(), here.end(),
              [](const Entry *one, const Entry *other) { return one->order < other->order; });
    std::vector<Session> result;
    result.reserve(here.size());
    for (const Entry *entry : here)
        result.push_back(*entry->session);
    return result;
}

std::optional<Session> SessionModel::session(const QString &instanceIdentifier) const
{
    const std::lock_guard lock(mutex);
    const Entry *entry = find(instanceIdentifier);
    return entry ? entry->session : std::nullopt;
}

std::vector<Session> SessionModel::sessionsOf(quint32 processId, EDataFlow flow) const
{
    const std::lock_guard lock(mutex);
    std::vector<Session> result;
    for (const auto &[key, entry] : entries) {
        if (entry.session && entry.session->processId == processId && entry.session->flow == flow)
            result.push_back(*entry.session);
    }
    return result;
}

QString SessionModel::endpointOf(const Stream &stream) const
{
    const auto found = nodes.find({stream.flow, stream.node});
    return found == nodes.end() ? QString() : found->second;
}

// A stream of the PulseAudio protocol names its process itself, one of PipeWire's by its client.
quint32 SessionModel::processOf(const Stream &stream) const
{
    if (stream.processId != 0)
        return stream.processId;
    const auto found = clients.find(stream.client);
    return found == clients.end() ? 0 : found->second.processId;
}

Session SessionModel::sessionOf(const Stream &stream) const
{
    const auto found = clients.find(stream.client);
    const Client client = found == clients.end() ? Client{} : found->second;
    Session session;
    session.endpointId = endpointOf(stream);
    session.flow = stream.flow;
    session.stream = stream.index;
    session.processId = processOf(stream);
    session.displayName = stream.name.isEmpty() ? client.name : stream.name;
    session.iconPath = stream.icon.isEmpty() ? client.icon : stream.icon;
    session.isSystemSounds = stream.isEvent;
    session.state = stream.corked ? AudioSessionStateInactive : AudioSessionStateActive;
    session.muted = stream.muted;
    session.volume = stream.volume;
    return session;
}

template <typename Concerned>
void SessionModel::settleAll(Concerned concerned)
{
    std::vector<Session> fresh;
    {
        const std::lock_guard lock(mutex);
        for (auto &[key, entry] : entries) {
            if (!concerned(entry.stream))
                continue;
            if (const std::optional<Session> session = settle(entry))
                fresh.push_back(*session);
        }
    }
    for (const Session &session : fresh) {
        if (newStream)
            newStream(session);
    }
}

std::optional<Session> SessionModel::settle(Entry &entry)
{
    Session now = sessionOf(entry.stream);
    const bool isPlaced = !now.endpointId.isEmpty() && now.processId != 0;
    if (entry.session && (!isPlaced || entry.session->endpointId != now.endpointId ||
                          entry.session->processId != now.processId))
        expire(entry);
    if (!isPlaced)
        return std::nullopt;
    if (entry.session) {
        change(entry, now);
        return std::nullopt;
    }
    begin(entry, std::move(now));
    return std::exchange(entry.wasSeen, true) ? std::nullopt : entry.session;
}

void SessionModel::begin(Entry &entry, Session session)
{
    const QString executable = processfiles::executable(session.processId);
    const QString program = executable.isEmpty() ? session.displayName : executable;
    entry.order = ++lastOrder;
    session.identifier = session.endpointId + QLatin1Char('|') + program + noGrouping;
    session.instanceIdentifier =
        session.identifier + QStringLiteral("|1%b%1").arg(QString::number(entry.order));
    entry.volume.reset(scalarOf(session.volume));
    entry.mute.reset(session.muted ? 1.0f : 0.0f);
    sessionKeys.insert(session.instanceIdentifier, Key(session.flow, session.stream));
    entry.session = std::move(session);
    dispatcher.post(SessionEvent{SessionEvent::Created, sessionsTopic(entry.session->endpointId),
                                 entry.session->instanceIdentifier});
}

void SessionModel::change(Entry &entry, const Session &now)
{
    Session &session = *entry.session;
    const auto post = [&](SessionEvent::Kind kind, auto &&fill) {
        SessionEvent event = eventOf(kind, session);
        fill(event);
        dispatcher.post(event);
    };
    if (std::exchange(session.displayName, now.displayName) != now.displayName)
        post(SessionEvent::NameChanged, [&](SessionEvent &event) { event.text = now.displayName; });
    if (std::exchange(session.iconPath, now.iconPath) != now.iconPath)
        post(SessionEvent::IconChanged, [&](SessionEvent &event) { event.text = now.iconPath; });
    session.isSystemSounds = now.isSystemSounds;
    session.muted = now.muted;
    session.volume = now.volume;
    reportLevels(entry);
    if (std::exchange(session.state, now.state) != now.state)
        post(SessionEvent::StateChanged, [&](SessionEvent &event) { event.state = now.state; });
}

void SessionModel::reportLevels(Entry &entry)
{
    const Session &session = *entry.session;
    const auto now = TrackedLevel::Clock::now();
    const auto byVolume = entry.volume.report(scalarOf(session.volume), now);
    const auto byMute = entry.mute.report(session.muted ? 1.0f : 0.0f, now);
    if (!byVolume && !byMute)
        return;
    SessionEvent event = eventOf(SessionEvent::VolumeChanged, session);
    event.scalar = entry.volume.reported();
    event.muted = session.muted;
    event.context = byVolume ? *byVolume : *byMute;
    dispatcher.post(event);
}

void SessionModel::expire(Entry &entry)
{
    if (!entry.session)
        return;
    SessionEvent event = eventOf(SessionEvent::StateChanged, *entry.session);
    event.state = AudioSessionStateExpired;
    leave(entry, event);
}

void SessionModel::disconnect(Entry &entry, AudioSessionDisconnectReason reason)
{
    if (!entry.session)
        return;
    SessionEvent event = eventOf(SessionEvent::Disconnected, *entry.session);
    event.reason = reason;
    leave(entry, event);
}

void SessionModel::leave(Entry &entry, const SessionEvent &last)
{
    sessionKeys.remove(entry.session->instanceIdentifier);
    entry.session.reset();
    dispatcher.post(last);
}

const SessionModel::Entry *SessionModel::find(const QString &instanceIdentifier) const
{
    const auto key = sessionKeys.constFind(instanceIdentifier);
    return key == sessionKeys.cend() ? nullptr : &entries.at(*key);
}

SessionModel::Entry *SessionModel::find(const QString &instanceIdentifier)
{
    return const_cast<Entry *>(std::as_const(*this).find(instanceIdentifier));
}
} // namespace pulse

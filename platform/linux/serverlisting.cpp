#include "platform/linux/serverlisting.h"

#include "platform/linux/servercontext.h"
#include "platform/pipewire/endpointid.h"

#include <algorithm>
#include <optional>

namespace pulse
{
namespace
{
// The server's stand-in while it has no sink of its own.
constexpr QLatin1StringView standIn{"auto_null"};
constexpr WORD mostChannels = 8;

bool isEndpoint(const pa_sink_info &info)
{
    return info.name && info.name != standIn;
}

// What a sink plays can be recorded from its monitor; that is a view of the sink, no endpoint.
bool isEndpoint(const pa_source_info &info)
{
    return info.name && info.monitor_of_sink == PA_INVALID_INDEX;
}

template <typename Info>
bool isPlugged(const Info &info)
{
    return !info.active_port || info.active_port->available != PA_PORT_AVAILABLE_NO;
}

template <typename Info>
constexpr EDataFlow flowOf = std::is_same_v<Info, pa_source_info> ? eCapture : eRender;

template <typename Info>
Node nodeOf(const Info &info)
{
    return {.flow = flowOf<Info>,
            .index = info.index,
            .name = QString::fromUtf8(info.name),
            .description = QString::fromUtf8(info.description),
            .plugged = isPlugged(info),
            .muted = info.mute != 0,
            .volume = info.volume,
            .sampleRate = info.sample_spec.rate,
            .channels = std::min<WORD>(info.sample_spec.channels, mostChannels)};
}

// Empty for a default that is no endpoint; nothing while the server, whose default has vanished,
// has not chosen the next.
std::optional<QString> nameOf(const char *node)
{
    const QString text = QString::fromUtf8(node);
    if (text.startsWith(QLatin1Char('@')))
        return std::nullopt;
    const bool isNone = text == standIn || text.endsWith(QLatin1StringView(".monitor"));
    return isNone ? QString() : text;
}

DefaultNames namesIn(const pa_server_info &info)
{
    return {nameOf(info.default_sink_name), nameOf(info.default_source_name)};
}

// Only there can a connection lose the defaults.
bool isPipeWire(const pa_server_info &info)
{
    return QByteArray(info.server_name).contains("PipeWire");
}
} // namespace

ServerListing::ServerListing(pa_mainloop_api *api, EndpointModel &model, SessionModel &sessions)
    : model(model), sessions(sessions),
      witness(api, {.believed = [this] { return believedNames(); },
                    .namesIn = &namesIn,
                    .told = [this](const DefaultNames &names) { believe(names); }})
{
}

void ServerListing::begin(pa_context *connected, std::function<void()> whenListed)
{
    context = connected;
    listed = std::move(whenListed);
    listsToCome = 3;
    drop(pa_context_get_sink_info_list(context, &nodeListed<pa_sink_info>, this));
    drop(pa_context_get_source_info_list(context, &nodeListed<pa_source_info>, this));
    queryServer();
}

void ServerListing::end()
{
    witness.end();
    toldNames = {};
    context = nullptr;
    listed = nullptr;
    queries.clear();
    serverQueried = false;
    serverAgain = false;
}

void ServerListing::onEvent(pa_subscription_event_type_t event, quint32 index)
{
    const int facility = event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    const int type = event & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
    if (facility == PA_SUBSCRIPTION_EVENT_SERVER) {
        queryServer();
        return;
    }
    if (facility == PA_SUBSCRIPTION_EVENT_CLIENT) {
        if (type == PA_SUBSCRIPTION_EVENT_NEW)
            witness.clientCame(index);
        return;
    }
    const EDataFlow flow = facility == PA_SUBSCRIPTION_EVENT_SINK ? eRender : eCapture;
    if (type == PA_SUBSCRIPTION_EVENT_REMOVE)
        forget(flow, index);
    else
        query(flow, index);
}

void ServerListing::query(EDataFlow flow, quint32 index)
{
    if (!context)
        return;
    const auto [place, isNew] = queries.try_emplace({flow, index}, Query{this, flow, index, false});
    if (isNew)
        send(place->second);
    else
        place->second.again = true;
}

// The endpoint stands before its first session.
void ServerListing::tellNode(const Node &node)
{
    model.nodeListed(node);
    sessions.nodeListed(node.flow, node.index, endpointIdOf(node.name, node.flow));
}

// The sessions end before their endpoint.
void ServerListing::forget(EDataFlow flow, quint32 index)
{
    sessions.nodeRemoved(flow, index);
    model.nodeRemoved(flow, index);
}

void ServerListing::send(Query &query)
{
    pa_operation *operation = query.flow == eRender
                                  ? pa_context_get_sink_info_by_index(
                                        context, query.index, &nodeQueried<pa_sink_info>, &query)
                                  : pa_context_get_source_info_by_index(
                                        context, query.index, &nodeQueried<pa_source_info>, &query);
    if (operation)
        pa_operation_unref(operation);
    else
        queries.erase({query.flow, query.index});
}

void ServerListing::queryFinished(Query &query)
{
    if (std::exchange(query.again, false))
        send(query);
    else
        queries.erase({query.flow, query.index});
}

void ServerListing::queryServer()
{
    if (serverQueried) {
        serverAgain = true;
        return;
    }
    serverQueried = true;
    drop(pa_context_get_server_info(
        context,
        [](pa_context *, const pa_server_info *info, void *listing) {
            static_cast<ServerListing *>(listing)->serverTold(info);
        },
        this));
}

void ServerListing::serverTold(const pa_server_info *info)
{
    serverQueried = false;
    if (info) {
        const DefaultNames names = namesIn(*info);
        for (const EDataFlow flow : {eRender, eCapture})
            if (names[flow])
                toldNames[flow] = names[flow];
        if (witness.isTelling())
            dismissWitness();
        else
            believe(names);
        if (isPipeWire(*info))
            witness.begin(pa_context_get_server(context));
    }
    if (std::exchange(serverAgain, false))
        queryServer();
    listFinished();
}

DefaultNames ServerListing::believedNames() const
{
    return {model.defaultName(eRender), model.defaultName(eCapture)};
}

void ServerListing::believe(const DefaultNames &names)
{
    for (const EDataFlow flow : {eRender, eCapture})
        if (names[flow])
            model.defaultNamed(flow, *names[flow]);
    dismissWitness();
}

// No longer needed once this connection tells what is believed. A default that it never named is
// none.
void ServerListing::dismissWitness()
{
    for (const EDataFlow flow : {eRender, eCapture})
        if (toldNames[flow].value_or(QString()) != model.defaultName(flow))
            return;
    witness.dismiss();
}

void ServerListing::listFinished()
{
    if (listsToCome > 0 && --listsToCome == 0)
        listed();
}

template <typename Info>
void ServerListing::nodeListed(pa_context *, const Info *info, int end, void *data)
{
    auto *listing = static_cast<ServerListing *>(data);
    if (end != 0)
        listing->listFinished();
    else if (isEndpoint(*info))
        listing->tellNode(nodeOf(*info));
}

template <typename Info>
void ServerListing::nodeQueried(pa_context *, const Info *info, int end, void *data)
{
    auto *query = static_cast<Query *>(data);
    if (end != 0)
        query->owner->queryFinished(*query);
    else if (isEndpoint(*info))
        query->owner->tellNode(nodeOf(*info));
}
} // namespace pulse

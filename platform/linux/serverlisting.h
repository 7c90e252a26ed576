// Keeps the endpoint table at what the server has: lists, queries.
#pragma once

#include "platform/linux/defaultswitness.h"
#include "platform/linux/endpointmodel.h"
#include "platform/linux/sessionmodel.h"

#include <pulse/context.h>
#include <pulse/introspect.h>
#include <pulse/subscribe.h>

#include <functional>
#include <map>

namespace pulse
{
/// Runs on the main loop's thread, under its lock. One query for a node is under way at a time:
/// a burst of changes costs two.
class ServerListing
{
public:
    static constexpr auto facilities = static_cast<pa_subscription_mask_t>(
        PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE | PA_SUBSCRIPTION_MASK_SERVER |
        PA_SUBSCRIPTION_MASK_CLIENT);

    /// Tells `sessions` which endpoint stands behind a node's number.
    ServerListing(pa_mainloop_api *api, EndpointModel &model, SessionModel &sessions);

    /// Lists everything; `listed` is called when the first lists have come.
    void begin(pa_context *context, std::function<void()> listed);
    /// The connection is gone. No callback of it comes after this.
    void end();

    /// An event of one of the facilities.
    void onEvent(pa_subscription_event_type_t event, quint32 index);
    /// Asks for a node anew.
    void query(EDataFlow flow, quint32 index);

private:
    struct Query
    {
        ServerListing *owner;
        EDataFlow flow;
        quint32 index;
        bool again;
    };
    using Key = std::pair<EDataFlow, quint32>;

    void tellNode(const Node &node);
    void forget(EDataFlow flow, quint32 index);
    void send(Query &query);
    void queryFinished(Query &query);
    void queryServer();
    void serverTold(const pa_server_info *info);
    [[nodiscard]] DefaultNames believedNames() const;
    void believe(const DefaultNames &names);
    void dismissWitness();
    void listFinished();

    template <typename Info>
    static void nodeListed(pa_context *, const Info *info, int end, void *listing);
    template <typename Info>
    static void nodeQueried(pa_context *, const Info *info, int end, void *query);

    EndpointModel &model;
    SessionModel &sessions;
    pa_context *context = nullptr; ///< borrowed from the connection
    std::function<void()> listed;
    std::map<Key, Query> queries; ///< under way; their addresses are the callbacks' data
    int listsToCome = 0;
    bool serverQueried = false;
    bool serverAgain = false;
    DefaultNames toldNames; ///< over this connection, last
    DefaultsWitness witness;
};
} // namespace pulse

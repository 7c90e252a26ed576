// Keeps the session table at what the server has: its streams and their clients.
#pragma once

#include "platform/linux/sessionmodel.h"

#include <pulse/context.h>
#include <pulse/introspect.h>
#include <pulse/subscribe.h>

#include <functional>
#include <map>

namespace pulse
{
/// Runs on the main loop's thread, under its lock. One query for an object is under way at a time.
class SessionListing
{
public:
    static constexpr auto facilities = static_cast<pa_subscription_mask_t>(
        PA_SUBSCRIPTION_MASK_SINK_INPUT | PA_SUBSCRIPTION_MASK_SOURCE_OUTPUT |
        PA_SUBSCRIPTION_MASK_CLIENT);

    explicit SessionListing(SessionModel &model);

    /// Lists everything; `listed` is called when the first lists have come.
    void begin(pa_context *context, std::function<void()> listed);
    /// The connection is gone. No callback of it comes after this.
    void end();
    /// An event of one of the facilities.
    void onEvent(pa_subscription_event_type_t event, quint32 index);

private:
    using Facility = int;
    using Key = std::pair<Facility, quint32>;
    struct Query
    {
        SessionListing *owner;
        Key key;
        bool again;
    };

    void query(Facility facility, quint32 index);
    void send(Query &query);
    void finish(Query &query);
    void forget(Facility facility, quint32 index);
    void listFinished();

    template <typename Info>
    void take(const Info &info);
    template <typename Info>
    static void onListed(pa_context *, const Info *info, int end, void *listing);
    template <typename Info>
    static void onQueried(pa_context *, const Info *info, int end, void *query);

    SessionModel &model;
    pa_context *context = nullptr; ///< borrowed from the connection
    std::function<void()> listed;
    std::map<Key, Query> queries; ///< under way; their addresses are the callbacks' data
    int listsToCome = 0;
};
} // namespace pulse

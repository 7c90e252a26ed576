#include "platform/linux/sessionlisting.h"

#include "platform/linux/listedstream.h"
#include "platform/linux/servercontext.h"

#include <utility>

namespace pulse
{
SessionListing::SessionListing(SessionModel &model) : model(model) {}

void SessionListing::begin(pa_context *connected, std::function<void()> whenListed)
{
    context = connected;
    listed = std::move(whenListed);
    listsToCome = 3;
    drop(pa_context_get_client_info_list(context, &onListed<pa_client_info>, this));
    drop(pa_context_get_sink_input_info_list(context, &onListed<pa_sink_input_info>, this));
    drop(pa_context_get_source_output_info_list(context, &onListed<pa_source_output_info>, this));
}

void SessionListing::end()
{
    context = nullptr;
    listed = nullptr;
    queries.clear();
}

void SessionListing::onEvent(pa_subscription_event_type_t event, quint32 index)
{
    const Facility facility = event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    if ((event & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_REMOVE)
        forget(facility, index);
    else
        query(facility, index);
}

void SessionListing::forget(Facility facility, quint32 index)
{
    if (facility == PA_SUBSCRIPTION_EVENT_CLIENT)
        model.clientRemoved(index);
    else
        model.streamRemoved(facility == PA_SUBSCRIPTION_EVENT_SINK_INPUT ? eRender : eCapture,
                            index);
}

void SessionListing::query(Facility facility, quint32 index)
{
    if (!context)
        return;
    const Key key{facility, index};
    const auto [place, isNew] = queries.try_emplace(key, Query{this, key, false});
    if (isNew)
        send(place->second);
    else
        place->second.again = true;
}

void SessionListing::send(Query &query)
{
    const auto [facility, index] = query.key;
    pa_operation *operation = nullptr;
    if (facility == PA_SUBSCRIPTION_EVENT_CLIENT)
        operation = pa_context_get_client_info(context, index, &onQueried<pa_client_info>, &query);
    else if (facility == PA_SUBSCRIPTION_EVENT_SINK_INPUT)
        operation =
            pa_context_get_sink_input_info(context, index, &onQueried<pa_sink_input_info>, &query);
    else
        operation = pa_context_get_source_output_info(context, index,
                                                      &onQueried<pa_source_output_info>, &query);
    if (operation)
        pa_operation_unref(operation);
    else
        queries.erase(query.key);
}

void SessionListing::finish(Query &query)
{
    if (std::exchange(query.again, false))
        send(query);
    else
        queries.erase(Key(query.key));
}

void SessionListing::listFinished()
{
    if (listsToCome > 0 && --listsToCome == 0)
        listed();
}

template <typename Info>
void SessionListing::take(const Info &info)
{
    if constexpr (std::is_same_v<Info, pa_client_info>)
        model.clientListed(clientOf(info));
    else
        model.streamListed(streamOf(info));
}

template <typename Info>
void SessionListing::onListed(pa_context *, const Info *info, int end, void *data)
{
    auto *listing = static_cast<SessionListing *>(data);
    if (end != 0)
        listing->listFinished();
    else
        listing->take(*info);
}

template <typename Info>
void SessionListing::onQueried(pa_context *, const Info *info, int end, void *data)
{
    auto *query = static_cast<Query *>(data);
    if (end != 0)
        query->owner->finish(*query);
    else
        query->owner->take(*info);
}
} // namespace pulse

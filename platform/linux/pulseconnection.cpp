#include "platform/linux/pulseconnection.h"

#include "platform/linux/mainlooplock.h"
#include "platform/linux/mainlooptimer.h"
#include "platform/linux/servercontext.h"
#include "platform/signalstack.h"

#include <pulse/error.h>

#include <array>

namespace pulse
{
namespace
{
using namespace std::chrono_literals;

// A socket file stands before anybody listens on it, so a refused attempt is tried again a few
// times, and then only when something happens.
constexpr std::array<std::chrono::milliseconds, 6> retryDelays{50ms,  100ms, 200ms,
                                                               400ms, 800ms, 1600ms};
// Nobody tells when a server on another machine comes back, or when one that hangs goes on.
constexpr std::chrono::milliseconds slowRetry = 5s;
} // namespace

PulseConnection::PulseConnection(EndpointModel &model, SessionModel &sessions)
    : model(model), sessions(sessions), mainloop(pa_threaded_mainloop_new()),
      api(pa_threaded_mainloop_get_api(mainloop)), listing(api, model, sessions),
      sessionListing(sessions), watch(api, serverSockets(), [this] {
          attempts = 0;
          connect();
      })
{
    pa_threaded_mainloop_set_name(mainloop, "endpoints");
    const auto begin = [](pa_mainloop_api *, void *) { SignalStack::provide(); };
    pa_mainloop_api_once(api, begin, nullptr);
}

PulseConnection::~PulseConnection()
{
    stop();
    pa_threaded_mainloop_free(mainloop);
}

void PulseConnection::start()
{
    const MainloopLock lock(mainloop);
    connect();
    pa_threaded_mainloop_start(mainloop);
}

void PulseConnection::stop()
{
    {
        const MainloopLock lock(mainloop);
        cancelRetry();
        watch.off();
        dropContext();
        settleFirst();
    }
    pa_threaded_mainloop_stop(mainloop);
}

void PulseConnection::waitForFirstListing(std::chrono::milliseconds bound)
{
    std::unique_lock lock(firstMutex);
    firstSettled.wait_for(lock, bound, [this] { return isFirstSettled; });
}

void PulseConnection::settleFirst()
{
    const std::lock_guard lock(firstMutex);
    isFirstSettled = true;
    firstSettled.notify_all();
}

// The watch is on before the attempt, so that nothing that comes in between is missed.
void PulseConnection::connect()
{
    cancelRetry();
    dropContext();
    watch.on();
    context = newContext(api);
    if (!context)
        return;
    const auto onState = [](pa_context *, void *connection) {
        static_cast<PulseConnection *>(connection)->onState();
    };
    if (!beginConnecting(context, nullptr, onState, this))
        onLost(pa_context_errno(context));
}

void PulseConnection::onState()
{
    switch (pa_context_get_state(context)) {
    case PA_CONTEXT_READY:
        attempts = 0;
        watch.off();
        model.serverFound();
        listingsToCome = 2;
        subscribe();
        listing.begin(context, [this] { listFinished(); });
        sessionListing.begin(context, [this] { listFinished(); });
        break;
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
        onLost(pa_context_errno(context));
        break;
    default:
        break;
    }
}

void PulseConnection::subscribe()
{
    pa_context_set_subscribe_callback(
        context,
        [](pa_context *, pa_subscription_event_type_t event, quint32 index, void *connection) {
            static_cast<PulseConnection *>(connection)->onEvent(event, index);
        },
        this);
    const auto all =
        static_cast<pa_subscription_mask_t>(ServerListing::facilities | SessionListing::facilities);
    if (pa_operation *operation = pa_context_subscribe(context, all, nullptr, nullptr))
        pa_operation_unref(operation);
}

void PulseConnection::onEvent(pa_subscription_event_type_t event, quint32 index)
{
    const unsigned facility = 1u << (event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK);
    if (facility & SessionListing::facilities)
        sessionListing.onEvent(event, index);
    if (facility & ServerListing::facilities)
        listing.onEvent(event, index);
}

void PulseConnection::listFinished()
{
    if (--listingsToCome == 0)
        settleFirst();
}

void PulseConnection::onLost(int error)
{
    dropContext();
    watch.on();
    sessions.serverLost();
    model.serverLost();
    settleFirst();
    if (watch.anySocket() && attempts < retryDelays.size())
        retryIn(retryDelays[attempts++]);
    else if (error == PA_ERR_TIMEOUT || !watch.canWatch())
        retryIn(slowRetry);
}

void PulseConnection::dropContext()
{
    listing.end();
    sessionListing.end();
    replies.clear();
    moves.refuseAll();
    drop(context);
}

void PulseConnection::retryIn(std::chrono::milliseconds delay)
{
    cancelRetry();
    retry = callLater(
        api, delay,
        [](pa_mainloop_api *, pa_time_event *, const timeval *, void *connection) {
            static_cast<PulseConnection *>(connection)->connect();
        },
        this);
}

void PulseConnection::cancelRetry()
{
    cancel(api, retry);
}

HRESULT PulseConnection::setVolume(const QString &id, float scalar, const GUID &guid)
{
    const MainloopLock lock(mainloop);
    const LevelRequest request = model.requestVolume(id, scalar, guid);
    const auto sendTo = [&request](auto setVolume) {
        return [&request, setVolume](pa_context *server, Reply *reply) {
            return setVolume(server, request.index, &request.volume, &onReply, reply);
        };
    };
    return send(id, request, sendTo(&pa_context_set_sink_volume_by_index),
                sendTo(&pa_context_set_source_volume_by_index));
}

HRESULT PulseConnection::setMute(const QString &id, bool muted, const GUID &guid)
{
    const MainloopLock lock(mainloop);
    const LevelRequest request = model.requestMute(id, muted, guid);
    const auto sendTo = [&request, muted](auto setMute) {
        return [&request, muted, setMute](pa_context *server, Reply *reply) {
            return setMute(server, request.index, muted ? 1 : 0, &onReply, reply);
        };
    };
    return send(id, request, sendTo(&pa_context_set_sink_mute_by_index),
                sendTo(&pa_context_set_source_mute_by_index));
}

// Under one lock with the table's entry, so that both keep the same order of requests.
template <typename SendToSink, typename SendToSource>
HRESULT PulseConnection::send(const QString &id, const LevelRequest &request, SendToSink toSink,
                              SendToSource toSource)
{
    if (FAILED(request.result))
        return request.result;
    Reply &reply = replies.emplace_back(Reply{this, id, request});
    pa_operation *operation = nullptr;
    if (context)
        operation = request.flow == eRender ? toSink(context, &reply) : toSource(context, &reply);
    if (!operation) {
        replies.pop_back();
        model.requestAnswered(id, request.ticket, false);
        return AUDCLNT_E_DEVICE_INVALIDATED;
    }
    pa_operation_unref(operation);
    return request.result;
}

// A change that made no difference raises no event of the server, so the node is asked for.
void PulseConnection::onReply(pa_context *, int success, void *data)
{
    auto *reply = static_cast<Reply *>(data);
    PulseConnection *self = reply->connection;
    self->model.requestAnswered(reply->id, reply->request.ticket, success != 0);
    self->listing.query(reply->request.flow, reply->request.index);
    self->replies.remove_if([reply](const Reply &each) { return &each == reply; });
}

HRESULT PulseConnection::setDefault(const QString &id)
{
    const std::optional<Endpoint> endpoint = model.endpoint(id);
    if (!endpoint)
        return E_NOTFOUND;
    if (endpoint->state != DEVICE_STATE_ACTIVE)
        return AUDCLNT_E_DEVICE_INVALIDATED;
    const MainloopLock lock(mainloop);
    if (!context)
        return AUDCLNT_E_DEVICE_INVALIDATED;
    const auto set =
        endpoint->flow == eRender ? &pa_context_set_default_sink : &pa_context_set_default_source;
    pa_operation *operation =
        set(context, endpoint->nodeName.toUtf8().constData(), nullptr, nullptr);
    if (!operation)
        return AUDCLNT_E_DEVICE_INVALIDATED;
    pa_operation_unref(operation);
    return S_OK;
}
} // namespace pulse

#include "platform/linux/defaultscontext.h"

#include "platform/linux/servercontext.h"

#include <pulse/subscribe.h>

#include <utility>

namespace pulse
{
namespace
{
DefaultsContext *self(void *context)
{
    return static_cast<DefaultsContext *>(context);
}
} // namespace

DefaultsContext::DefaultsContext(pa_mainloop_api *api, Callbacks callbacks)
    : callbacks(std::move(callbacks)), context(newContext(api))
{
}

DefaultsContext::~DefaultsContext()
{
    drop(context);
}

void DefaultsContext::connect(const char *server)
{
    const auto onState = [](pa_context *, void *data) { self(data)->onState(); };
    if (!context || !beginConnecting(context, server, onState, this))
        lose();
}

void DefaultsContext::onState()
{
    const pa_context_state_t state = pa_context_get_state(context);
    if (!PA_CONTEXT_IS_GOOD(state)) {
        lose();
    } else if (state == PA_CONTEXT_READY) {
        callbacks.connected(pa_context_get_index(context));
        subscribe();
        ask();
    }
}

void DefaultsContext::subscribe()
{
    const auto onEvent = [](pa_context *, pa_subscription_event_type_t, quint32, void *data) {
        self(data)->ask();
    };
    pa_context_set_subscribe_callback(context, onEvent, this);
    drop(pa_context_subscribe(context, PA_SUBSCRIPTION_MASK_SERVER, nullptr, nullptr));
}

void DefaultsContext::ask()
{
    if (isAsked) {
        again = true;
        return;
    }
    const auto onInfo = [](pa_context *, const pa_server_info *info, void *data) {
        self(data)->onAnswer(info);
    };
    isAsked = drop(pa_context_get_server_info(context, onInfo, this));
    if (!isAsked)
        lose();
}

void DefaultsContext::onAnswer(const pa_server_info *info)
{
    isAsked = false;
    if (std::exchange(again, false)) {
        ask(); // this answer may be old
    } else if (info) {
        const auto told = callbacks.told; // outlives this object, which may go in the call
        told(*this, *info);
    } else {
        lose();
    }
}

void DefaultsContext::lose()
{
    const auto lost = callbacks.lost;
    lost(*this);
}
} // namespace pulse

#include "platform/linux/servercontext.h"

#include <pulse/proplist.h>
#include <pulse/subscribe.h>

#include <utility>

namespace pulse
{
pa_context *newContext(pa_mainloop_api *api)
{
    pa_proplist *properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "Quorvane");
    pa_context *context = pa_context_new_with_proplist(api, nullptr, properties);
    pa_proplist_free(properties);
    return context;
}

bool beginConnecting(pa_context *context, const char *server, pa_context_notify_cb_t onState,
                     void *data)
{
    if (pa_context_connect(context, server, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        return false;
    pa_context_set_state_callback(context, onState, data);
    return true;
}

void drop(pa_context *&context)
{
    if (!context)
        return;
    pa_context_set_state_callback(context, nullptr, nullptr);
    pa_context_set_subscribe_callback(context, nullptr, nullptr);
    pa_context_disconnect(context);
    pa_context_unref(std::exchange(context, nullptr));
}

bool drop(pa_operation *operation)
{
    if (!operation)
        return false;
    pa_operation_unref(operation);
    return true;
}
} // namespace pulse

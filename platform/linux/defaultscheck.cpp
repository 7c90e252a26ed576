#include "platform/linux/defaultscheck.h"

#include "platform/linux/servercontext.h"

#include <utility>

namespace pulse
{
namespace
{
// By then a client that has come has got what it asked for.
constexpr std::chrono::milliseconds settlingTime{1000};

DefaultsCheck *self(void *check)
{
    return static_cast<DefaultsCheck *>(check);
}
} // namespace

DefaultsCheck::DefaultsCheck(pa_mainloop_api *api, std::function<bool(const pa_server_info &)> seen)
    : api(api), seen(std::move(seen))
{
}

void DefaultsCheck::request()
{
    if (timer || context) {
        again = true;
        return;
    }
    timer = callLater(
        api, settlingTime,
        [](pa_mainloop_api *, pa_time_event *, const timeval *, void *check) {
            self(check)->look();
        },
        this);
}

void DefaultsCheck::clientCame(quint32 index)
{
    if (context && ownIndex == PA_INVALID_INDEX)
        cameMeanwhile.push_back(index);
    else if (index != ownIndex)
        request();
}

void DefaultsCheck::cancel()
{
    pulse::cancel(api, timer);
    drop(context);
    cameMeanwhile.clear();
    again = false;
}

void DefaultsCheck::look()
{
    pulse::cancel(api, timer);
    ownIndex = PA_INVALID_INDEX;
    context = newContext(api);
    const auto onState = [](pa_context *, void *check) { self(check)->onState(); };
    if (!context || !beginConnecting(context, onState, this))
        finish();
}

void DefaultsCheck::onState()
{
    switch (pa_context_get_state(context)) {
    case PA_CONTEXT_READY: {
        knowOwnIndex();
        const auto onInfo = [](pa_context *, const pa_server_info *info, void *check) {
            self(check)->onServerInfo(info);
        };
        if (pa_operation *operation = pa_context_get_server_info(context, onInfo, this))
            pa_operation_unref(operation);
        else
            finish();
        break;
    }
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
        finish();
        break;
    default:
        break;
    }
}

void DefaultsCheck::knowOwnIndex()
{
    ownIndex = pa_context_get_index(context);
    for (const quint32 index : std::exchange(cameMeanwhile, {}))
        clientCame(index);
}

void DefaultsCheck::onServerInfo(const pa_server_info *info)
{
    if (info && seen(*info))
        again = true;
    finish();
}

void DefaultsCheck::finish()
{
    drop(context);
    cameMeanwhile.clear();
    if (std::exchange(again, false))
        request();
}
} // namespace pulse

#include "platform/linux/mainlooptimer.h"

#include <pulse/timeval.h>

#include <utility>

namespace pulse
{
pa_time_event *callLater(pa_mainloop_api *api, std::chrono::milliseconds delay,
                         pa_time_event_cb_t call, void *data)
{
    timeval when;
    pa_gettimeofday(&when);
    pa_timeval_add(&when, static_cast<pa_usec_t>(delay.count()) * PA_USEC_PER_MSEC);
    return api->time_new(api, &when, call, data);
}

void cancel(pa_mainloop_api *api, pa_time_event *&timer)
{
    if (timer)
        api->time_free(std::exchange(timer, nullptr));
}
} // namespace pulse

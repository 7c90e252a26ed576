// Timers of a main loop.
#pragma once

#include <pulse/mainloop-api.h>

#include <chrono>

namespace pulse
{
/// Calls back once, on the loop's thread. The timer is to be freed by cancel(), after the call too.
[[nodiscard]] pa_time_event *callLater(pa_mainloop_api *api, std::chrono::milliseconds delay,
                                       pa_time_event_cb_t call, void *data);
/// Leaves a null pointer, which it may find too.
void cancel(pa_mainloop_api *api, pa_time_event *&timer);
} // namespace pulse

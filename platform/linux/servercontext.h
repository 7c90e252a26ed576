// What every connection to the PulseAudio server needs of libpulse.
#pragma once

#include <pulse/context.h>
#include <pulse/mainloop-api.h>

#include <chrono>

namespace pulse
{
/// A context in the program's name that is not connected yet; nothing without memory.
[[nodiscard]] pa_context *newContext(pa_mainloop_api *api);
/// Begins to connect; false when that fails at once.
[[nodiscard]] bool beginConnecting(pa_context *context, pa_context_notify_cb_t onState, void *data);
/// Disconnects. No callback of the context comes after this. Leaves a null pointer, which it may
/// find too.
void drop(pa_context *&context);

/// Once, on the loop's thread.
[[nodiscard]] pa_time_event *callLater(pa_mainloop_api *api, std::chrono::milliseconds delay,
                                       pa_time_event_cb_t call, void *data);
/// Leaves a null pointer, which it may find too.
void cancel(pa_mainloop_api *api, pa_time_event *&timer);
} // namespace pulse

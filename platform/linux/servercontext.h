// What every connection to the PulseAudio server needs of libpulse.
#pragma once

#include <pulse/context.h>
#include <pulse/mainloop-api.h>
#include <pulse/operation.h>

namespace pulse
{
/// A context in the program's name that is not connected yet; nothing without memory.
[[nodiscard]] pa_context *newContext(pa_mainloop_api *api);
/// Begins to connect to this server, or to the one that the environment names; false when that
/// fails at once.
[[nodiscard]] bool beginConnecting(pa_context *context, const char *server,
                                   pa_context_notify_cb_t onState, void *data);
/// Disconnects. No callback of the context comes after this, which may be called in one of them.
/// Leaves a null pointer, which it may find too.
void drop(pa_context *&context);
/// Lets an operation go on alone. It may be null, for a request that could not be sent: false.
bool drop(pa_operation *operation);
} // namespace pulse

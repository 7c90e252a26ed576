// The simulated platform: an audio system in memory whose every call is recorded and can be made
// to fail. This is what tests include; everything here is callable from any thread.
#pragma once

#include "platform/simulated/applications.h"
#include "platform/simulated/approutes.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/crashes.h"
#include "platform/simulated/devicefiles.h"
#include "platform/simulated/endpoints.h"
#include "platform/simulated/hiddevices.h"
#include "platform/simulated/notifications.h"
#include "platform/simulated/sessions.h"
#include "platform/simulated/settings.h"
#include "platform/simulated/streams.h"
#include "platform/simulated/system.h"

namespace simulated
{

/// Back to the pristine state, for the start of each test: no endpoints, sessions, files, settings,
/// faults, calls or sinks. Objects that still live go on answering, but find nothing, and are no
/// longer counted as leaks.
void reset();

/// What was handed out since the last reset and not given back: interfaces, handles and blocks of
/// task memory.
[[nodiscard]] qsizetype liveObjects();
/// One line for each of them; empty when nothing is left.
[[nodiscard]] QString leakReport();

} // namespace simulated

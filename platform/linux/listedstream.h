// What the server's lists tell of a stream and of a client, in the session table's terms.
#pragma once

#include "platform/linux/sessionmodel.h"

#include <pulse/introspect.h>

namespace pulse
{
[[nodiscard]] Stream streamOf(const pa_sink_input_info &info);
[[nodiscard]] Stream streamOf(const pa_source_output_info &info);
/// Its process is the one that the client tells, else the one that the server saw connect.
[[nodiscard]] Client clientOf(const pa_client_info &info);
} // namespace pulse

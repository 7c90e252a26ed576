// What is left of the system: its version, its events, and the process in it.
#pragma once

#include "platform/basetypes.h"

#include <QList>

namespace simulated
{

/// 10.0.19045 after a reset.
void setSystemVersion(int major, int minor, int build);

/// The events that are open, in the order of their making; a test may signal one.
[[nodiscard]] QList<HANDLE> openEvents();

/// How many threads this process has now.
[[nodiscard]] qsizetype threadCount();

} // namespace simulated

// What is left of the system: its version.
#pragma once

namespace simulated
{

/// 10.0.19045 after a reset.
void setSystemVersion(int major, int minor, int build);

} // namespace simulated

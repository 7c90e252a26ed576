// The handlers that were installed, as the rest of the simulated platform sees them.
#pragma once

namespace simulated
{

void resetCrashes();

} // namespace simulated

// What the rest of the system tells about itself.
#pragma once

namespace simulated
{

void resetSystem();

} // namespace simulated

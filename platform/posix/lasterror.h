// The last error of each thread.
#pragma once

#include "platform/basetypes.h"

namespace posix
{

[[nodiscard]] DWORD lastError();
void setLastError(DWORD error);

} // namespace posix

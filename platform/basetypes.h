// The one include of the basic types and result codes.
#pragma once

#ifdef _WIN32
#include "platform/windows/sdk.h"
#else
#include "platform/vocabulary/basetypes.h"
#endif

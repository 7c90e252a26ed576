// The SDK headers of the Windows Runtime's strings and activation.
#pragma once

#include "platform/windows/sdk.h"

// clang-format off
#include <activation.h>
#include <inspectable.h>
#include <roapi.h>
#include <winstring.h>
// clang-format on

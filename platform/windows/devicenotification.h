// The SDK headers that device and session notifications stand in.
#pragma once

#include "platform/windows/sdk.h"

// clang-format off
#include <dbt.h>
#include <wtsapi32.h>
// clang-format on

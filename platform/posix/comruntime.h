// Starting COM and making GUIDs.
#pragma once

#include "platform/coreaudio.h"

namespace posix
{

/// Counts the calls of each thread, nothing else: S_OK for the first, S_FALSE for further ones.
HRESULT initializeCom();
/// Unbalanced calls are harmless.
void uninitializeCom();

/// Fills in a random GUID (version 4). E_POINTER for null.
HRESULT createGuid(GUID *guid);

} // namespace posix

// Events and waits on eventfd and poll.
#pragma once

#include "platform/posix/handletable.h"

namespace posix
{

/// The most handles of one wait.
inline constexpr DWORD maximumWaitHandles = 64;

/// Makes an event, unnamed. Null, with the last error set, when no descriptor or slot is left.
[[nodiscard]] HANDLE createEvent(bool manualReset, bool initiallySet);

/// Real-time safe: no lock, no allocation, one non-blocking write. False, with
/// ERROR_INVALID_HANDLE, for anything but an open event.
bool setEvent(HANDLE event);
bool resetEvent(HANDLE event);

/// Waits for any of the events: WAIT_OBJECT_0 plus the lowest index that is set, WAIT_TIMEOUT, or
/// WAIT_FAILED with ERROR_INVALID_PARAMETER (no handles or more than 64) or ERROR_INVALID_HANDLE
/// (not an open event, or closed during the wait). A set auto-reset event releases one wait only.
[[nodiscard]] DWORD waitForMultiple(DWORD count, const HANDLE *handles, DWORD milliseconds);

} // namespace posix

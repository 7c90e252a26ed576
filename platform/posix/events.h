// Events and waits on eventfd and poll.
#pragma once

#include "platform/posix/handletable.h"

#include <chrono>

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

/// Makes setEventAfter usable for an event; not real-time safe. A wait that has begun before does
/// not see delayed signals: wake it with setEvent. False for anything but an open event, and when
/// no descriptor is left.
bool allowDelay(HANDLE event);
/// Sets the event when the time is over; zero takes the order back. A new order replaces one that
/// is still to come. Real-time safe like setEvent, and as cheap: no thread wakes in between.
bool setEventAfter(HANDLE event, std::chrono::nanoseconds delay);

/// Waits for any of the events: WAIT_OBJECT_0 plus the lowest index that is set, WAIT_TIMEOUT, or
/// WAIT_FAILED with ERROR_INVALID_PARAMETER (no handles or more than 64) or ERROR_INVALID_HANDLE
/// (not an open event, or closed during the wait). A set auto-reset event releases one wait only.
[[nodiscard]] DWORD waitForMultiple(DWORD count, const HANDLE *handles, DWORD milliseconds);

} // namespace posix

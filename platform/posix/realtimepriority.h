// The real-time priorities of the threads that sound passes through.
#pragma once

namespace posix
{

// All lie below the server's own threads, which desktops run at 83 to 88, and above everything
// ordinary. Were they one, a thread that wakes another would send it to a processor that sleeps and
// has to be woken first. As they are, a paced thread runs where the data thread woke it, and what
// it wakes runs there after it: a route takes a good part less of the processors' time, at the
// price of some more where many channels play at once.

/// Of play, capture and speaker threads.
inline constexpr int pacedPriority = 20;
/// Of libpipewire's data thread, which wakes the paced ones, and of those that they feed.
inline constexpr int fedPriority = 19;

/// Lets a calling thread that has a higher real-time priority have that of a fed thread; others
/// stay as they are. Needs no rights.
void lowerToFedPriority() noexcept;

} // namespace posix

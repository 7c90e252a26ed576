// The real-time priorities of the threads that sound passes through.
#pragma once

namespace posix
{

// All lie below the server's own threads, which desktops run at 83 to 88, and above everything
// ordinary. Were they one, a thread that wakes another would send it to a processor that sleeps and
// has to be woken first. As they are, a paced thread runs where the data thread woke it, and what
// it wakes runs there after it: measured on two processors, a route takes a fifth less of their
// time, and near half of what it takes with the data thread among the server's.

/// Of play, capture and speaker threads.
inline constexpr int pacedPriority = 20;
/// Of what wakes a paced thread, libpipewire's data thread, and of what a paced thread wakes.
inline constexpr int fedPriority = 19;

/// Lets a calling thread that has a higher real-time priority have that of a fed thread; others
/// stay as they are. Needs no rights.
void lowerToFedPriority() noexcept;

} // namespace posix

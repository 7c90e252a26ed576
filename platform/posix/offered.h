// What a class derives from to offer an interface.
#pragma once

namespace posix
{

/// The interface itself, which has nothing but what the system calls.
template <typename Interface>
struct Offered
{
    using Type = Interface;
};

} // namespace posix

#ifdef _WIN32
#include "platform/windows/offeredaudio.h"
#include "platform/windows/offeredxml.h"
#endif

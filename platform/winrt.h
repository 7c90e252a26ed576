// The one include of the Windows Runtime's strings and activation.
#pragma once

#ifdef _WIN32
#include "platform/windows/winrt.h"
#else
#include "platform/vocabulary/winrt.h"
#endif

/// IActivationFactory, under a name that no SDK header declares.
inline constexpr IID IID_RuntimeActivationFactory{
    0x00000035, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

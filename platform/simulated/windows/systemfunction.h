// The way past our own answers to the system's functions.
#pragma once

#include "platform/coreaudio.h"

namespace simulated
{

/// The kernel's function of a name that imports.cpp answers; null if there is none.
template <typename Function>
[[nodiscard]] Function *systemFunction(const char *name)
{
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    return reinterpret_cast<Function *>(reinterpret_cast<void *>(GetProcAddress(kernel, name)));
}

} // namespace simulated

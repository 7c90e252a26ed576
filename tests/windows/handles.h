// What shows whether handles stay open.
#pragma once

#include <QtGlobal>

#include <windows.h>

/// The number of the next handle. The system gives the lowest that is free, four apart: many that
/// stay open push it up. Wine counts no process's handles.
inline qintptr nextHandle()
{
    const HANDLE handle = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(handle);
    return reinterpret_cast<qintptr>(handle) / 4;
}

/// How many handles the call leaves open each time.
template <typename Call>
qintptr leftOpen(Call call)
{
    constexpr int rounds = 100;
    call(); // what is kept from the first time on does not count
    const qintptr before = nextHandle();
    for (int round = 0; round < rounds; ++round)
        call();
    return (nextHandle() - before) / rounds;
}

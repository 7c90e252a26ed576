// A process opened for questions about it.
#pragma once

#include "platform/applications.h"

/// Open while it lives. Asks for all that is wanted first and takes the little that is granted
/// for any process otherwise.
class OpenedProcess
{
public:
    explicit OpenedProcess(DWORD pid)
        : handle(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, pid))
    {
        if (!handle)
            handle = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid);
    }
    ~OpenedProcess()
    {
        if (handle)
            CloseHandle(handle);
    }
    OpenedProcess(const OpenedProcess &) = delete;
    OpenedProcess &operator=(const OpenedProcess &) = delete;

    /// False if the process can't be opened at all.
    explicit operator bool() const { return handle != nullptr; }
    [[nodiscard]] HANDLE get() const { return handle; }

private:
    HANDLE handle;
};
